#include "input/TouchDispatcher.h"

#include <algorithm>
#include <cmath>


namespace velumen {

namespace {

// Coordinates beyond this, in view points, come from no real screen.
constexpr double kCoordinateLimit = 1e7;

bool isUsable(const TouchRecord& t) {
    return std::isfinite(t.location.x) && std::isfinite(t.location.y) &&
           std::fabs(t.location.x) < kCoordinateLimit && std::fabs(t.location.y) < kCoordinateLimit;
}

std::vector<TouchRecord> usable(const std::vector<TouchRecord>& touches) {
    std::vector<TouchRecord> kept;
    kept.reserve(touches.size());
    for (const TouchRecord& t : touches) {
        if (isUsable(t)) kept.push_back(t);
    }
    return kept;
}

TouchEvent usable(const TouchEvent& event) {
    return {usable(event.allTouches)};
}

}  // namespace

TouchDispatcher::TouchDispatcher(EditorViewport& viewport) : viewport_(viewport) {}

Tool* TouchDispatcher::currentTool() const {
    const auto it = tools_.find(touchMode);
    return it == tools_.end() ? nullptr : it->second;
}

std::vector<TouchRecord> TouchDispatcher::getFilteredTouchesWithEvent(const TouchEvent& event) const {
    std::vector<TouchRecord> all;
    for (const TouchRecord& t : event.allTouches) {
        if (t.view == TouchView::Surface) all.push_back(t);
    }
    std::vector<TouchRecord> styluses;
    for (const TouchRecord& t : all) {
        if (t.type == TouchType::Stylus) styluses.push_back(t);
    }
    if (!styluses.empty()) return styluses;
    if (!policy.disablePalmRejection) {
        const bool reportsArea = std::any_of(all.begin(), all.end(),
                                             [](const TouchRecord& t) { return t.majorRadius.has_value(); });
        if (reportsArea) {
            std::vector<TouchRecord> kept;
            for (const TouchRecord& t : all) {
                if (!t.majorRadius || *t.majorRadius <= kPalmRadius) kept.push_back(t);
            }
            return kept;
        }
    }
    return all;
}

bool TouchDispatcher::areTouchesOnlyOnWristGuard(const std::vector<TouchRecord>& touches) {
    return std::all_of(touches.begin(), touches.end(),
                       [](const TouchRecord& t) { return t.view != TouchView::Surface; });
}

double TouchDispatcher::distancefromPoint(Point a, Point b) {
    return std::hypot(b.x - a.x, b.y - a.y);
}

Point TouchDispatcher::getMidTouchPointInSurface(const std::vector<TouchRecord>& touches) {
    if (touches.empty()) return {};
    double x = 0, y = 0;
    for (const TouchRecord& t : touches) {
        x += t.location.x;
        y += t.location.y;
    }
    return {x / double(touches.size()), y / double(touches.size())};
}

Point TouchDispatcher::getMidTouchPoint(const std::vector<TouchRecord>& touches) const {
    if (touches.empty()) return {};
    const Point mid = getMidTouchPointInSurface(touches);
    return {mid.x + viewport_.surfaceTranslation.x, mid.y + viewport_.surfaceTranslation.y};
}

float TouchDispatcher::getTwoFingerTouchDistance(const std::vector<TouchRecord>& touches) const {
    if (touches.size() < 2) return 0;
    // Both in the same frame: the translation cancels.
    return static_cast<float>(distancefromPoint(touches[0].location, touches[1].location));
}

EditorEffects TouchDispatcher::touchesBegan(const std::vector<TouchRecord>& rawTouches,
                                           const TouchEvent& rawEvent) {
    const std::vector<TouchRecord> touches = usable(rawTouches);
    const TouchEvent event = usable(rawEvent);
    if (touches.empty() && !rawTouches.empty()) return {};  // nothing usable began
    // A resting hand on the guard; any touch while a stylus draws.
    if (areTouchesOnlyOnWristGuard(touches)) return {};
    if (_isDrawingWithStylus) return {};
    EditorEffects effects;
    // A further touch during a single-pointer gesture interrupts it (a short stroke dies, a longer one is
    // kept; an erasure is put back).
    if (Tool* tool = currentTool()) effects |= tool->interrupt();
    const std::vector<TouchRecord> filtered = getFilteredTouchesWithEvent(event);
    touchMode = TouchMode::None;
    didTouchMove = false;
    toolTookTwoFingers_ = false;

    // Anything but one touch: two start pan and zoom, unless the single-pointer tool takes them.
    if (filtered.size() != 1) {
        if (filtered.size() != 2) return effects;
        const auto tool = tools_.find(singlePointerMode);
        if (document && !isLocked() && tool != tools_.end() &&
            tool->second->beginTwoFingers(viewport_.eaglPointFromViewPoint(filtered[0].location),
                                          viewport_.eaglPointFromViewPoint(filtered[1].location))) {
            touchMode = singlePointerMode;
            toolTookTwoFingers_ = true;
            return effects;
        }
        touchDownCanvasPoint = viewport_.eaglPointFromViewPoint(getMidTouchPointInSurface(filtered));
        touchDownViewPoint = getMidTouchPoint(filtered);
        preTouchPanDelta = viewport_.panDelta;
        preTouchZoomFactor = viewport_.view.zoomFactor;
        zoomInitialTouchDistance = getTwoFingerTouchDistance(filtered);
        touchMode = TouchMode::PanZoom;
        return effects;
    }

    // One touch.
    const TouchRecord& touch = filtered.front();
    const Point p = touch.location;
    touchDownViewPoint = p;
    touchDownCanvasPoint = viewport_.eaglPointFromViewPoint(p);
    if (isLocked()) {
        touchMode = TouchMode::Select;
        return effects;
    }
    if (!document) return effects;
    const bool isStylus = touch.type == TouchType::Stylus;
    if (singlePointerMode == TouchMode::Draw) {
        if (isPencilConnected && policy.onlyDrawWithStylus && !isStylus) {
            effects.stylusRefused = true;
            return effects;
        }
        if (isStylus) _isDrawingWithStylus = true;
    }
    touchMode = singlePointerMode;
    lastSample_ = {p, stylusForceFactorWithTouches(filtered)};
    if (Tool* tool = currentTool()) effects |= tool->begin(lastSample_);
    return effects;
}

EditorEffects TouchDispatcher::touchesMoved(const std::vector<TouchRecord>& rawTouches,
                                           const TouchEvent& rawEvent) {
    const std::vector<TouchRecord> touches = usable(rawTouches);
    const TouchEvent event = usable(rawEvent);
    if (touches.empty()) return {};
    if (areTouchesOnlyOnWristGuard(touches)) return {};
    const std::vector<TouchRecord> filtered = getFilteredTouchesWithEvent(event);
    // Within the dead zone a single touch has not moved.
    if (!didTouchMove) {
        const double d = distancefromPoint(touchDownViewPoint, getMidTouchPoint(filtered));
        if (filtered.size() < 2 && !(d > kDeadZone)) return {};
        didTouchMove = true;
    }
    // Two-finger modes.
    if (toolTookTwoFingers_) {
        Tool* tool = currentTool();
        if (!tool || filtered.size() != 2) return {};
        return tool->moveTwoFingers(viewport_.eaglPointFromViewPoint(filtered[0].location),
                                    viewport_.eaglPointFromViewPoint(filtered[1].location));
    }
    if (filtered.size() != 1) {
        if (touchMode == TouchMode::PanZoom && filtered.size() == 2) {
            const bool moved =
                viewport_.zoomStep(getMidTouchPoint(filtered), getTwoFingerTouchDistance(filtered),
                                   touchDownCanvasPoint, zoomInitialTouchDistance, preTouchZoomFactor);
            return {.viewMoved = true, .pageMoved = moved};
        }
        return {};
    }
    // One touch, to the tool of the mode.
    Tool* tool = currentTool();
    if (!tool) return {};
    lastSample_ = {filtered.front().location, stylusForceFactorWithTouches(filtered)};
    return tool->move(lastSample_);
}

EditorEffects TouchDispatcher::touchesEndedOrCancelled(const std::vector<TouchRecord>& rawTouches,
                                                      const TouchEvent& rawEvent, bool cancelled) {
    const std::vector<TouchRecord> touches = usable(rawTouches);
    const TouchEvent event = usable(rawEvent);
    if (touches.empty() && !rawTouches.empty()) return {};
    if (areTouchesOnlyOnWristGuard(touches)) return {};
    // A finger lifted during a stylus stroke is ignored.
    if (_isDrawingWithStylus && !touches.empty()) {
        const bool hasStylus = std::any_of(touches.begin(), touches.end(),
                                           [](const TouchRecord& t) { return t.type == TouchType::Stylus; });
        if (!hasStylus) return {};
        _isDrawingWithStylus = false;
    }
    const std::vector<TouchRecord> filtered = getFilteredTouchesWithEvent(event);
    const TouchRecord* touch = nullptr;
    // The touch that ended, when it counts; else any that counts.
    for (const TouchRecord& t : filtered) {
        if (std::any_of(touches.begin(), touches.end(), [&](const TouchRecord& c) { return c.id == t.id; })) {
            touch = &t;
            break;
        }
    }
    if (!touch && !filtered.empty()) touch = &filtered.front();

    EditorEffects effects;
    if (Tool* tool = currentTool()) {
        // A stroke whose touch no longer counts waits for the next touch-down to decide about it.
        if (!touch && touchMode == TouchMode::Draw) return {};
        if (touch) lastSample_ = {touch->location, stylusForceFactorWithTouches(filtered)};
        if (touchMode == TouchMode::Draw && !didTouchMove && !cancelled && isObjectAtPoint &&
            isObjectAtPoint(touchDownCanvasPoint)) {
            effects |= tool->cancel();
            effects.objectTapped = true;
        } else {
            effects |= tool->end(lastSample_, cancelled);
        }
    }
    return effects | closeGesture();
}

EditorEffects TouchDispatcher::closeGesture() {
    viewport_.resetViewPanDelta(true);
    touchMode = TouchMode::None;
    toolTookTwoFingers_ = false;
    return {.gestureEnded = true};
}

EditorEffects TouchDispatcher::cancelGesture() {
    EditorEffects effects;
    if (Tool* tool = currentTool()) effects |= tool->cancel();
    touchMode = TouchMode::None;
    return effects;
}

}  // namespace velumen
