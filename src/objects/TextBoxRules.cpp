#include "objects/TextBoxRules.h"

#include <algorithm>
#include <cmath>

namespace velumen::textbox {

Rect newTextBoxFrame(Point touch, Size page) {
    Rect frame{touch.x - kNewBoxWidth / 2, touch.y - (kNewBoxHeight / 2), kNewBoxWidth, kNewBoxHeight};
    const Rect inside{kNewBoxMargin, kNewBoxMargin, page.width - 2 * kNewBoxMargin, page.height - 2 * kNewBoxMargin};
    if (frame.x + frame.width > inside.x + inside.width) frame.x = inside.x + inside.width - frame.width;
    if (frame.x < inside.x) frame.x = inside.x;
    // The foot of the page moves the box sideways, not up: kept so that boxes land where they always did.
    if (frame.y + frame.height > inside.y + inside.height) frame.x = inside.y + inside.height - frame.height;
    if (frame.y < inside.y) frame.y = inside.y;
    return frame;
}

int smallerTextSize(int present) {
    if (present < 2) return present;
    for (auto it = kSizeLadder.rbegin(); it != kSizeLadder.rend(); ++it)
        if (*it < present) return *it;
    return present - 1;
}

int largerTextSize(int present) {
    if (present < 10) return 10;
    for (int size : kSizeLadder)
        if (size > present) return size;
    return present + 1;
}

float customTextSizeMaximum(float present) {
    return present <= 24.0f ? 48.0f : 360.0f;
}

int shownPointSize(float stored) {
    if (!std::isfinite(stored)) return int(kDefaultPointSize);
    return int(std::clamp(std::lround(stored), long(kMinimumPointSize), long(kMaximumPointSize)));
}

namespace {
double finiteOr(double value, double fallback) {
    return std::isfinite(value) ? value : fallback;
}
}  // namespace

Rect shownFrame(const Rect& stored) {
    const double x = std::clamp(std::floor(finiteOr(stored.x, 0)), -kOriginLimit, kOriginLimit);
    const double y = std::clamp(std::floor(finiteOr(stored.y, 0)), -kOriginLimit, kOriginLimit);
    const double w = std::clamp(std::ceil(finiteOr(stored.width, 0)), kMinimumShownWidth, kMaximumShownWidth);
    const double h = std::clamp(std::ceil(finiteOr(stored.height, 0)), kMinimumHeight, kMaximumShownWidth);
    return {x, y, w, h};
}

std::int64_t shownAlignment(std::int64_t stored) {
    return stored >= 0 && stored <= 2 ? stored : 0;
}

Point draggedOrigin(Point wanted, Size boxSize, Size page) {
    const double x = std::floor(wanted.x);
    const double y = std::floor(wanted.y);
    return {std::max(0.0, std::min(x, page.width - boxSize.width)), std::max(0.0, std::min(y, page.height - boxSize.height))};
}

double draggedWidth(double movement, double widthAtStart) {
    return std::max(kMinimumWidth, std::ceil(movement + widthAtStart));
}

}  // namespace velumen::textbox
