#include "input/ScreenEdgeSwipes.h"

#include <cmath>

namespace velumen {

bool ScreenEdgeSwipes::touchBegan(const TouchRecord& touch, std::size_t touchesDown, bool pageKeepsTouch) {
    tracked_.reset();
    if (!enabled || touchesDown != 1 || !std::isfinite(touch.location.x)) return false;
    const double x = touch.location.x;
    Edge edge;
    if (x >= viewWidth - kEdgeZone && x <= viewWidth)
        edge = Edge::Right;
    else if (x <= kEdgeZone && x >= 0)
        edge = Edge::Left;
    else
        return false;
    const bool claimed = !pageKeepsTouch;
    tracked_ = Tracked{touch.id, edge, x, touch.timestamp, claimed};
    return claimed;
}

bool ScreenEdgeSwipes::touchMoved(const TouchRecord& touch) {
    if (!tracked_ || tracked_->id != touch.id || tracked_->turned) return false;
    const double tx = touch.location.x - tracked_->startX;
    const bool far = tracked_->edge == Edge::Right ? tx < -kTurnDistance : tx > kTurnDistance;
    if (!far) return false;
    const Edge edge = tracked_->edge;
    const bool quick = touch.timestamp - tracked_->startTime <= kTurnSeconds;
    if (!quick) {
        // Too slow for a swipe: a claimed touch stays claimed until it lifts, any other goes on.
        if (!tracked_->claimed) tracked_.reset();
        return false;
    }
    // One turn per swipe; a claimed touch stays claimed until it lifts.
    if (tracked_->claimed)
        tracked_->turned = true;
    else
        tracked_.reset();
    if (edgePanned) edgePanned(edge);
    return true;
}

void ScreenEdgeSwipes::touchEnded(std::int64_t id) {
    if (tracked_ && tracked_->id == id) tracked_.reset();
}

}  // namespace velumen
