#include "objects/ImageGeometry.h"

#include <algorithm>
#include <cmath>

namespace velumen {

Size fitSize(Size source, Size target) {
    if (source == target) return target;
    const double s = std::min(target.width / source.width, target.height / source.height);
    return {source.width * s, source.height * s};
}

Rect fitRect(Size source, const Rect& target) {
    if (source.width == 0 || source.height == 0) return target;
    const Size s = fitSize(source, Size{target.width, target.height});
    return {target.x, target.y, s.width, s.height};
}

Rect fillRect(Size source, const Rect& target) {
    if (source.width == 0 || source.height == 0) return target;
    const double rx = target.width / source.width;
    const double ry = target.height / source.height;
    const double s = std::max(rx, ry);
    const double w = source.width * s, h = source.height * s;
    if (rx > ry) return {target.x, (target.height - h) / 2, w, h};
    if (ry > rx) return {(target.width - w) / 2, target.y, w, h};
    return {target.x, target.y, w, h};
}

Size scaledAndCroppedSize(Size source, Size target, bool fill) {
    if (source == target || fill) return target;
    if (source.width <= 0 || source.height <= 0) return target;
    const double s = std::min(target.width / source.width, target.height / source.height);
    return {std::round(source.width * s), std::round(source.height * s)};
}

}  // namespace velumen
