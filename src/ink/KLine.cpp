#include "ink/KLine.h"

#include <cmath>
#include <numbers>

namespace velumen {

namespace {
constexpr double kDegreesPerRadian = 180.0 / std::numbers::pi;
}

bool KLine::isAlmostStraight() const {
    if (points.size() < 3) return false;
    const Point first = points.front();
    const Point last = points.back();
    const float dx = static_cast<float>(last.x - first.x);
    const float dy = static_cast<float>(last.y - first.y);
    // x before y: the bearing is measured from the y axis, and it is deliberately not wrapped.
    const double reference = std::atan2(dx, dy) * kDegreesPerRadian;
    const float length = std::sqrt(dx * dx + dy * dy);
    const float nearLimit = length * 0.1f;
    int counted = 0;
    int onCourse = 0;
    for (std::size_t i = 1; i + 1 < points.size(); ++i) {
        const float px = static_cast<float>(points[i].x - first.x);
        const float py = static_cast<float>(points[i].y - first.y);
        if (px * px + py * py > nearLimit * nearLimit) {
            ++counted;
            const double angle = std::atan2(px, py) * kDegreesPerRadian;
            if (std::fabs(angle - reference) < 5.0) ++onCourse;
        }
    }
    // With nothing counted the quotient is NaN, which is not above 0.75.
    return static_cast<float>(onCourse) / static_cast<float>(counted) > 0.75f;
}

KLine KLine::getStraightLine() const {
    KLine line;
    line.color = color;
    line.strokeThickness = strokeThickness;
    if (!points.empty()) {
        line.points.push_back(points.front());
        line.points.push_back(points.back());
    }
    return line;
}

void KLine::straighten() {
    if (points.size() < 3) return;
    points.erase(points.begin() + 1, points.end() - 1);
}

}  // namespace velumen
