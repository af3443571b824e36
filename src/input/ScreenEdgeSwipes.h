// Page turns by a quick swipe in from the left or right edge of the screen, on phones. A single touch that
// goes down within 50 points of an edge is watched: moved 80 points inwards within a fifth of a second, it
// turns the page (and drops a stroke it had begun); slower, it stays whatever it was. A touch near the edge
// that neither draws nor lassos is claimed at once: the page hears no more of it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "input/TouchRecord.h"

namespace velumen {

class ScreenEdgeSwipes {
  public:
    enum class Edge { Left, Right };
    static constexpr double kEdgeZone = 50;
    static constexpr double kTurnDistance = 80;
    static constexpr double kTurnSeconds = 0.2;

    // Off on tablets, and when the user turned swipes off.
    bool enabled = false;
    double viewWidth = 0;

    // ---- Hooks; any may be empty ----
    // The swipe turned the page: drop a stroke, leave the gesture, then the next (right edge) or previous
    // (left edge) page.
    std::function<void(Edge)> edgePanned;

    // After the page saw the touch go down, with the number of touches now down and whether the page's
    // gesture keeps it (drawing does). True when the swipe claims the touch: the page must take it as
    // cancelled and hear no more of it.
    bool touchBegan(const TouchRecord& touch, std::size_t touchesDown, bool pageKeepsTouch);
    // Before the page sees the movement. True when the page turned.
    bool touchMoved(const TouchRecord& touch);
    void touchEnded(std::int64_t id);

    bool isClaimed(std::int64_t id) const { return tracked_ && tracked_->id == id && tracked_->claimed; }
    bool isTracking() const { return tracked_.has_value(); }

  private:
    struct Tracked {
        std::int64_t id;
        Edge edge;
        double startX;
        double startTime;
        bool claimed;
        bool turned = false;
    };
    std::optional<Tracked> tracked_;
};

}  // namespace velumen
