// Plain geometry in canvas units: a point and a rectangle of doubles, with the rectangle semantics
// the ink model relies on (a distinct null rectangle, unions that skip it, no implicit standardising).
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace velumen {

struct Point {
    double x = 0;
    double y = 0;

    friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0;
    double height = 0;

    friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    // The null rectangle: the result of bounding nothing. Its origin is at infinity.
    static Rect null() {
        constexpr double inf = std::numeric_limits<double>::infinity();
        return {inf, inf, 0, 0};
    }
    bool isNull() const;
    // Zero area, or null.
    bool isEmpty() const;
    // Same rectangle with non-negative width and height.
    Rect standardized() const;
    double minX() const;
    double minY() const;
    double maxX() const;
    double maxY() const;
    double midX() const { return x + width * 0.5; }
    double midY() const { return y + height * 0.5; }
    Point origin() const { return {x, y}; }

    // Smallest rectangle holding both; a null operand is ignored, the union of two nulls is null.
    static Rect unite(const Rect& a, const Rect& b);

    friend bool operator==(const Rect&, const Rect&) = default;
};

// The rectangle pulled into `bounds` without changing its size: in x, one left of the bounds takes their x,
// any other the smaller of its x and the bounds' right edge less its width (that sum rounded to float); the
// same in y. A rectangle larger than the bounds stands at their left or top edge only if it started left of
// or above it.
Rect constrainRectToBounds(const Rect& rect, const Rect& bounds);

// The extent of the centres of `count` points stored as x, y and `floatsPerPoint - 2` more floats each, in
// single precision; the null rectangle for none.
Rect boundingRectOfPoints(const float* points, std::uint64_t count, std::size_t floatsPerPoint);

}  // namespace velumen
