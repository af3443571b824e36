// Turns the toolkit's touch, tablet and mouse events on the surface widget into touch records and feeds
// them to the touch dispatcher's four entry points. A plain mouse acts as one finger; mouse events that
// the toolkit made up from touches or a pen are ignored, since their originals arrive too. The wheel
// pans, and with Ctrl it zooms about the pointer, as desktop users expect.
#pragma once

#include <QObject>
#include <QPointF>
#include <functional>
#include <map>
#include <utility>

#include "input/ScreenEdgeSwipes.h"
#include "input/TouchDispatcher.h"

class QTouchEvent;
class QTabletEvent;
class QMouseEvent;
class QWheelEvent;
class QWidget;

namespace velumen {

class TouchRouter : public QObject {
  public:
    // Ids of the touches that are no touch-screen contact.
    static constexpr std::int64_t kMouseTouchId = -1;
    static constexpr std::int64_t kStylusTouchId = -2;

    TouchRouter(TouchDispatcher& dispatcher, EditorViewport& viewport, QObject* parent = nullptr);

    // Routes the widget's events through this filter and asks for touch events.
    void attach(QWidget* surface);

    // Called after each routed event with what it changed, merged, for the owner to apply once (the undo
    // group closes, the view repaints).
    std::function<void(const EditorEffects&)> didRouteEvent;
    // Called after the wheel panned or zoomed the page.
    std::function<void()> didMovePageByWheel;
    // Swipes in from the screen's edges, which see every touch around the page's own handling; may be null.
    ScreenEdgeSwipes* edgeSwipes = nullptr;

    bool eventFilter(QObject* watched, QEvent* event) override;

    bool routeTouch(QTouchEvent* event);
    bool routeTablet(QTabletEvent* event);
    bool routeMouse(QMouseEvent* event);
    bool routeWheel(QWheelEvent* event);
    // Touch records made elsewhere (a replayed script): the changed touches of one event, in view points.
    // Their previous locations are taken from the touches down; then didRouteEvent as for any event.
    void routeRecords(std::vector<TouchRecord> changed);
    // Every touch still down ends as cancelled, as when the system takes the touches away: a running stroke
    // is dropped. For the application quitting.
    void cancelAllTouches();
    // The number of touches down, as last reported.
    std::size_t touchesDown() const { return down_.size(); }

  private:
    // Sends the changed records: began, moved, then ended or cancelled, each with the whole event. A
    // stationary record is no movement (only a stylus whose pressure changed counts as one).
    void dispatch(const std::vector<TouchRecord>& changed);
    // Hands what the event changed to didRouteEvent.
    void finishEvent();

    TouchDispatcher& dispatcher_;
    EditorViewport& viewport_;
    // The touches down, by id, as last reported.
    std::map<std::int64_t, TouchRecord> down_;
    // What the dispatcher reported for the event being routed.
    EditorEffects routed_;
};

}  // namespace velumen
