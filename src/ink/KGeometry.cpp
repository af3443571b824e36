#include "ink/KGeometry.h"

#include <algorithm>
#include <cmath>

namespace velumen {

bool Rect::isNull() const {
    return std::isinf(x) && x > 0 && std::isinf(y) && y > 0;
}

bool Rect::isEmpty() const {
    return isNull() || width == 0 || height == 0;
}

Rect Rect::standardized() const {
    Rect r = *this;
    if (r.width < 0) {
        r.x += r.width;
        r.width = -r.width;
    }
    if (r.height < 0) {
        r.y += r.height;
        r.height = -r.height;
    }
    return r;
}

double Rect::minX() const {
    return std::min(x, x + width);
}
double Rect::minY() const {
    return std::min(y, y + height);
}
double Rect::maxX() const {
    return std::max(x, x + width);
}
double Rect::maxY() const {
    return std::max(y, y + height);
}

Rect Rect::unite(const Rect& a, const Rect& b) {
    if (a.isNull()) return b.isNull() ? null() : b.standardized();
    if (b.isNull()) return a.standardized();
    const double left = std::min(a.minX(), b.minX());
    const double top = std::min(a.minY(), b.minY());
    const double right = std::max(a.maxX(), b.maxX());
    const double bottom = std::max(a.maxY(), b.maxY());
    return {left, top, right - left, bottom - top};
}

Rect boundingRectOfPoints(const float* p, std::uint64_t count, std::size_t floatsPerPoint) {
    if (count == 0) return Rect::null();
    float minX = p[0], maxX = p[0], minY = p[1], maxY = p[1];
    for (std::uint64_t i = 1; i < count; ++i) {
        const float x = p[floatsPerPoint * i];
        const float y = p[floatsPerPoint * i + 1];
        if (x < minX) minX = x;
        if (x > maxX) maxX = x;
        if (y < minY) minY = y;
        if (y > maxY) maxY = y;
    }
    return {minX, minY, maxX - minX, maxY - minY};
}

Rect constrainRectToBounds(const Rect& rect, const Rect& bounds) {
    Rect out = rect;
    if (rect.x < bounds.x)
        out.x = bounds.x;
    else
        out.x = std::min(rect.x, static_cast<double>(static_cast<float>(bounds.x + bounds.width - rect.width)));
    if (rect.y < bounds.y)
        out.y = bounds.y;
    else
        out.y = std::min(rect.y, static_cast<double>(static_cast<float>(bounds.y + bounds.height - rect.height)));
    return out;
}

}  // namespace velumen
