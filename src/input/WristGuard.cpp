#include "input/WristGuard.h"

#include <algorithm>

namespace velumen {

WristGuardPlacement WristGuard::placement(Size view) const {
    const double h = wristGuardVisibleHeight;
    const double lift = isWristGuardVisible ? 0 : kTabSize;
    WristGuardPlacement p;
    p.guard = {0, view.height - h, view.width, view.height + kOverhang};
    p.tab = {view.width - kTabSize, view.height - h - lift, kTabSize, kTabSize};
    p.tabHasBackground = !isWristGuardVisible;
    return p;
}

void WristGuard::wristGuardButtonTapped(Size view) {
    if (isWristGuardVisible) {
        wristGuardPresetHeight = std::max(wristGuardVisibleHeight, kDefaultPresetHeight);
        wristGuardVisibleHeight = 0;
        isWristGuardVisible = false;
    } else {
        wristGuardVisibleHeight = std::min(wristGuardPresetHeight, float(view.height) * kMaxHeightFraction);
        isWristGuardVisible = true;
    }
}

void WristGuard::wristGuardPanned(double dy) {
    wristGuardVisibleHeight -= float(dy);
}

void WristGuard::wristGuardPanEnded(double velocityY, Size view) {
    float h = wristGuardVisibleHeight - float(kFlickSeconds * velocityY);
    h = std::min(h, float(view.height) * kMaxHeightFraction);
    if (h <= kHideHeight) {
        isWristGuardVisible = false;
        wristGuardVisibleHeight = 0;
    } else {
        isWristGuardVisible = true;
        wristGuardVisibleHeight = h;
    }
}

void WristGuard::layoutWristguardForViewSize(Size view) {
    wristGuardVisibleHeight = std::min(wristGuardVisibleHeight, float(view.width) * kMaxHeightFraction);
}

}  // namespace velumen
