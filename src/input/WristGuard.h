// The wrist guard: a translucent panel that the user pulls up from the bottom of a tablet's screen to cover
// the area where the hand rests; touches on it go nowhere. This is its geometry and its gestures on the tab,
// in view points; the editor shows it and animates between placements.
#pragma once

#include "ink/KGeometry.h"

namespace velumen {

struct WristGuardPlacement {
    Rect guard;
    Rect tab;
    // The tab shows its background picture only while the guard is down.
    bool tabHasBackground = true;
};

class WristGuard {
  public:
    static constexpr double kTabSize = 40;
    // The panel reaches this far below the view, so that it always covers the bottom edge.
    static constexpr double kOverhang = 200;
    static constexpr float kDefaultPresetHeight = 200;
    // A release at or below this height hides the guard.
    static constexpr float kHideHeight = 45;
    static constexpr float kMaxHeightFraction = 0.8f;
    // A flick carries on for this long.
    static constexpr double kFlickSeconds = 0.05;
    static constexpr double kTapAnimationSeconds = 0.3;
    static constexpr double kReleaseAnimationSeconds = 0.2;

    bool isWristGuardVisible = false;
    float wristGuardVisibleHeight = 0;
    float wristGuardPresetHeight = kDefaultPresetHeight;

    // Guard and tab for the view's bounds at the current height.
    WristGuardPlacement placement(Size view) const;
    // The tab tapped: a raised guard goes down remembering its height (at least the default); a hidden
    // one comes back to that height, within 0.8 of the view's height.
    void wristGuardButtonTapped(Size view);
    // The tab dragged by dy points (down is positive); no limit while dragging.
    void wristGuardPanned(double dy);
    // The drag released with this vertical velocity in points per second.
    void wristGuardPanEnded(double velocityY, Size view);
    // After a layout or rotation: the height capped at 0.8 of the view's width (sic: width).
    void layoutWristguardForViewSize(Size view);
};

}  // namespace velumen
