// The small archivable values under the ink model: a point, a rectangle and the raw stroke.
#pragma once

#include <vector>

#include "ink/KColor.h"
#include "ink/KGeometry.h"

namespace velumen {

struct KPoint {
    double x = 0;
    double y = 0;

    static KPoint fromCGPoint(Point p) { return {p.x, p.y}; }
    static KPoint getPointWithX(double x, double y) { return {x, y}; }
    Point toCGPoint() const { return {x, y}; }
    friend bool operator==(const KPoint&, const KPoint&) = default;
};

struct KRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    static KRect fromCGRect(const Rect& r) { return {r.x, r.y, r.width, r.height}; }
    Rect toCGRect() const { return {x, y, width, height}; }
    Point origin() const { return {x, y}; }
};

// The raw touch positions of one stroke, in canvas units. Copies are deep.
struct KLine {
    std::vector<Point> points;
    KColor color{0, 0, 0, 1.0};
    double strokeThickness = 1.0;

    // Whether a hand-drawn line is meant to be straight: at least three points, and more than three
    // quarters of those beyond a tenth of the length within 5 degrees of the end-to-end bearing.
    bool isAlmostStraight() const;
    // A new line with the same colour and thickness holding only the first and last points.
    KLine getStraightLine() const;
    // Drops every inner point; a line of fewer than three points is left alone.
    void straighten();
};

}  // namespace velumen
