#include "input/TouchRouter.h"

#include <QInputDevice>
#include <QMouseEvent>
#include <QPointingDevice>
#include <QTabletEvent>
#include <QTouchEvent>
#include <QWheelEvent>
#include <QWidget>
#include <cmath>

namespace velumen {

namespace {

double secondsOf(const QInputEvent* event) {
    return double(event->timestamp()) / 1000.0;
}

}  // namespace

TouchRouter::TouchRouter(TouchDispatcher& dispatcher, EditorViewport& viewport, QObject* parent)
    : QObject(parent), dispatcher_(dispatcher), viewport_(viewport) {}

void TouchRouter::attach(QWidget* surface) {
    surface->setAttribute(Qt::WA_AcceptTouchEvents);
    surface->installEventFilter(this);
}

bool TouchRouter::eventFilter(QObject* watched, QEvent* event) {
    bool handled = false;
    switch (event->type()) {
        case QEvent::TouchBegin:
        case QEvent::TouchUpdate:
        case QEvent::TouchEnd:
        case QEvent::TouchCancel:
            handled = routeTouch(static_cast<QTouchEvent*>(event));
            break;
        case QEvent::TabletPress:
        case QEvent::TabletMove:
        case QEvent::TabletRelease:
            handled = routeTablet(static_cast<QTabletEvent*>(event));
            break;
        case QEvent::MouseButtonPress:
        case QEvent::MouseMove:
        case QEvent::MouseButtonRelease:
            handled = routeMouse(static_cast<QMouseEvent*>(event));
            break;
        case QEvent::Wheel:
            handled = routeWheel(static_cast<QWheelEvent*>(event));
            break;
        default:
            return QObject::eventFilter(watched, event);
    }
    if (handled) finishEvent();
    return handled;
}

void TouchRouter::dispatch(const std::vector<TouchRecord>& changed) {
    std::vector<TouchRecord> began, moved, ended, cancelled;
    for (const TouchRecord& t : changed) {
        switch (t.phase) {
            case TouchPhase::Began:
                // A second begin of a touch already down is a movement.
                if (down_.count(t.id)) {
                    moved.push_back(t);
                    moved.back().phase = TouchPhase::Moved;
                } else {
                    began.push_back(t);
                }
                break;
            case TouchPhase::Moved:
                if (down_.count(t.id)) moved.push_back(t);
                break;
            case TouchPhase::Stationary: {
                // A touch that did not move adds no sample, unless it is a stylus whose pressure changed:
                // pressing harder where it is widens the stroke.
                const auto it = down_.find(t.id);
                if (it == down_.end()) break;
                if (t.type == TouchType::Stylus && t.force != it->second.force) {
                    moved.push_back(t);
                    moved.back().phase = TouchPhase::Moved;
                }
                break;
            }
            case TouchPhase::Ended:
                if (down_.count(t.id)) ended.push_back(t);
                break;
            case TouchPhase::Cancelled:
                if (down_.count(t.id)) cancelled.push_back(t);
                break;
        }
    }
    // Touches claimed by an edge swipe are hidden from the page.
    auto event = [this] {
        TouchEvent e;
        for (const auto& [id, t] : down_) {
            if (!(edgeSwipes && edgeSwipes->isClaimed(id))) e.allTouches.push_back(t);
        }
        return e;
    };
    auto unclaimed = [this](const std::vector<TouchRecord>& list) {
        std::vector<TouchRecord> kept;
        for (const TouchRecord& t : list) {
            if (!(edgeSwipes && edgeSwipes->isClaimed(t.id))) kept.push_back(t);
        }
        return kept;
    };
    if (!began.empty()) {
        for (const TouchRecord& t : began)
            down_[t.id] = t;
        routed_ |= dispatcher_.touchesBegan(began, event());
        if (edgeSwipes && began.size() == 1) {
            const TouchEvent before = event();
            // Drawing and a locked book's touch keep their touch; any other is the swipe's to claim.
            const bool pageKeepsTouch =
                dispatcher_.touchMode == TouchMode::Draw || dispatcher_.touchMode == TouchMode::Select;
            if (edgeSwipes->touchBegan(began.front(), down_.size(), pageKeepsTouch)) {
                TouchRecord claimed = began.front();
                claimed.phase = TouchPhase::Cancelled;
                routed_ |= dispatcher_.touchesCancelled({claimed}, before);
            }
        }
    }
    if (!moved.empty()) {
        for (const TouchRecord& t : moved) {
            down_[t.id] = t;
            if (edgeSwipes) edgeSwipes->touchMoved(t);
        }
        const std::vector<TouchRecord> forPage = unclaimed(moved);
        if (!forPage.empty()) routed_ |= dispatcher_.touchesMoved(forPage, event());
    }
    for (auto* list : {&ended, &cancelled}) {
        if (list->empty()) continue;
        for (const TouchRecord& t : *list)
            down_[t.id] = t;
        const TouchEvent e = event();
        const std::vector<TouchRecord> forPage = unclaimed(*list);
        for (const TouchRecord& t : *list) {
            down_.erase(t.id);
            if (edgeSwipes) edgeSwipes->touchEnded(t.id);
        }
        if (forPage.empty()) continue;
        if (list == &ended)
            routed_ |= dispatcher_.touchesEnded(forPage, e);
        else
            routed_ |= dispatcher_.touchesCancelled(forPage, e);
    }
}

void TouchRouter::routeRecords(std::vector<TouchRecord> changed) {
    for (TouchRecord& t : changed) {
        const auto it = down_.find(t.id);
        t.previousLocation = it == down_.end() ? t.location : it->second.location;
    }
    dispatch(changed);
    finishEvent();
}

void TouchRouter::finishEvent() {
    const EditorEffects effects = std::exchange(routed_, EditorEffects{});
    if (didRouteEvent) didRouteEvent(effects);
}

void TouchRouter::cancelAllTouches() {
    if (down_.empty()) return;
    std::vector<TouchRecord> cancelled;
    for (const auto& [id, touch] : down_) {
        TouchRecord t = touch;
        t.phase = TouchPhase::Cancelled;
        cancelled.push_back(t);
    }
    routeRecords(std::move(cancelled));
}

bool TouchRouter::routeTouch(QTouchEvent* event) {
    const QPointingDevice* device = event->pointingDevice();
    const bool hasArea = device && device->capabilities().testFlag(QInputDevice::Capability::Area);
    const bool hasPressure = device && device->capabilities().testFlag(QInputDevice::Capability::Pressure);
    std::vector<TouchRecord> changed;
    for (const QEventPoint& point : event->points()) {
        TouchRecord t;
        t.id = point.id();
        t.location = {point.position().x(), point.position().y()};
        t.previousLocation = {point.lastPosition().x(), point.lastPosition().y()};
        t.force = hasPressure ? point.pressure() : 0;
        t.maximumPossibleForce = 1.0;
        if (hasArea) {
            const QSizeF d = point.ellipseDiameters();
            t.majorRadius = std::max(d.width(), d.height()) / 2;
        }
        t.timestamp = secondsOf(event);
        switch (point.state()) {
            case QEventPoint::State::Pressed:
                t.phase = TouchPhase::Began;
                break;
            case QEventPoint::State::Released:
                t.phase = event->type() == QEvent::TouchCancel ? TouchPhase::Cancelled : TouchPhase::Ended;
                break;
            case QEventPoint::State::Stationary:
                t.phase = TouchPhase::Stationary;
                break;
            default:
                t.phase = event->type() == QEvent::TouchCancel ? TouchPhase::Cancelled : TouchPhase::Moved;
                break;
        }
        // Stationary touches are part of the event but did not change.
        if (t.phase == TouchPhase::Stationary) {
            if (down_.count(t.id)) down_[t.id] = t;
            continue;
        }
        changed.push_back(t);
    }
    if (event->type() == QEvent::TouchCancel) {
        for (const auto& [id, t] : down_) {
            if (id >= 0) {
                TouchRecord c = t;
                c.phase = TouchPhase::Cancelled;
                changed.push_back(c);
            }
        }
    }
    dispatch(changed);
    event->accept();
    return true;
}

bool TouchRouter::routeTablet(QTabletEvent* event) {
    TouchRecord t;
    t.id = kStylusTouchId;
    t.type = TouchType::Stylus;
    t.location = {event->position().x(), event->position().y()};
    t.previousLocation = down_.count(t.id) ? down_[t.id].location : t.location;
    t.force = event->pressure();
    t.maximumPossibleForce = 1.0;
    t.timestamp = secondsOf(event);
    switch (event->type()) {
        case QEvent::TabletPress:
            t.phase = TouchPhase::Began;
            break;
        case QEvent::TabletRelease:
            t.phase = TouchPhase::Ended;
            break;
        default:
            // Hovering pens report moves with no button down.
            if (!down_.count(t.id)) {
                event->accept();
                return true;
            }
            t.phase = TouchPhase::Moved;
            break;
    }
    dispatch({t});
    event->accept();
    return true;
}

bool TouchRouter::routeMouse(QMouseEvent* event) {
    // Made up from a touch or a pen: their originals arrive on their own.
    const QPointingDevice* device = event->pointingDevice();
    if (device && device->type() != QInputDevice::DeviceType::Mouse) return true;
    if (event->source() != Qt::MouseEventNotSynthesized) return true;
    TouchRecord t;
    t.id = kMouseTouchId;
    t.location = {event->position().x(), event->position().y()};
    t.previousLocation = down_.count(t.id) ? down_[t.id].location : t.location;
    t.timestamp = secondsOf(event);
    if (event->type() == QEvent::MouseButtonPress) {
        if (event->button() != Qt::LeftButton) return false;
        t.phase = TouchPhase::Began;
    } else if (event->type() == QEvent::MouseButtonRelease) {
        if (event->button() != Qt::LeftButton) return false;
        t.phase = TouchPhase::Ended;
    } else {
        if (!down_.count(t.id)) return false;
        t.phase = TouchPhase::Moved;
    }
    dispatch({t});
    return true;
}

bool TouchRouter::routeWheel(QWheelEvent* event) {
    if (dispatcher_.touchMode != TouchMode::None || !down_.empty()) return true;
    const Point at{event->position().x(), event->position().y()};
    const QPoint angle = event->angleDelta();
    const QPoint pixels = event->pixelDelta();
    if (event->modifiers().testFlag(Qt::ControlModifier)) {
        // One notch (120) zooms by a tenth, about the pointer.
        const float factor = static_cast<float>(std::pow(1.1, angle.y() / 120.0));
        const float zoom =
            std::clamp(viewport_.view.zoomFactor * factor, viewport_.minZoomFactor, viewport_.maxZoomFactor);
        viewport_.setCanvasPoint(viewport_.eaglPointFromViewPoint(at), at, zoom);
    } else {
        const double dx = pixels.isNull() ? angle.x() / 2.0 : pixels.x();
        const double dy = pixels.isNull() ? angle.y() / 2.0 : pixels.y();
        // The pan as a step from where the page is, limited at once: a wheel has no rubber band.
        viewport_.setCanvasPoint({0, 0}, {viewport_.panDelta.x + dx, viewport_.panDelta.y + dy},
                                 viewport_.view.zoomFactor);
    }
    viewport_.updateInkPanDelta();
    viewport_.resetViewPanDelta();
    routed_ |= EditorEffects{.pageMoved = true};
    if (didMovePageByWheel) didMovePageByWheel();
    event->accept();
    return true;
}

}  // namespace velumen
