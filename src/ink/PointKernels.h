// The per-point loops under the hit tests of ink runs. Each works on packed x, y, size floats.
#pragma once

#include <cstdint>

#include "ink/KGeometry.h"

namespace velumen::kernels {

// A rectangle narrowed to floats: left = x, right = x + width, top = y, bottom = y + height, the sums
// made in double. Not standardised: a negative width matches nothing.
struct RectF {
    float left, right, top, bottom;
};
RectF narrowRect(const Rect& rect);

// A circle given as a rectangle: centre at the rectangle's centre, radius half its shorter side.
struct CircleF {
    RectF rect;
    float radius;
    float cx, cy;
};
CircleF prepareCircle(const Rect& circle);

// The reach of the touching test beyond the circle's rectangle: a hard limit, whatever the dot's size.
constexpr float kTouchWindow = 128.0f;

std::uint64_t markInRect(float* points, std::uint64_t count, const RectF& rect);
std::uint64_t markCentresInCircle(float* points, std::uint64_t count, const CircleF& circle);
std::uint64_t countTouching(const float* points, std::uint64_t count, const CircleF& circle);
std::uint64_t markTouching(float* points, std::uint64_t count, const CircleF& circle);
bool anyTouching(const float* points, std::uint64_t count, const CircleF& circle);
std::uint64_t countUnmarked(const float* points, std::uint64_t count);
// Copies the unmarked points, in order, until `capacity` points are written; returns how many were.
std::uint64_t copyUnmarked(const float* points, std::uint64_t count, float* out, std::uint64_t capacity);
// Minimum and maximum of the centres, ignoring NaN; min > max when there is no number at all. maxSize is
// the largest size, at least 0, and infinite when any size is NaN (such a dot is never passed over).
void centreBounds(const float* points, std::uint64_t count, float& minX, float& minY, float& maxX,
                  float& maxY, float& maxSize);
void addDelta(float* points, std::uint64_t count, float dx, float dy);

}  // namespace velumen::kernels

namespace velumen::kernels {
// Whether a run whose centres lie within these bounds can hold a point that passes the touching test's
// window. False only where the per-point test would find nothing.
inline bool mayTouch(const CircleF& c, float minX, float minY, float maxX, float maxY) {
    return maxX >= c.rect.left - kTouchWindow && minX <= c.rect.right + kTouchWindow &&
           maxY >= c.rect.top - kTouchWindow && minY <= c.rect.bottom + kTouchWindow;
}
}  // namespace velumen::kernels
