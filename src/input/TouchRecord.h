// A touch as the editor sees it, whatever device produced it.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ink/KGeometry.h"

namespace velumen {

enum class TouchType { Finger, Stylus };
enum class TouchPhase { Began, Moved, Stationary, Ended, Cancelled };
// The view a touch landed in: the surface, or the wrist guard and its tab, where a resting hand goes nowhere.
enum class TouchView { Surface, WristGuard, WristGuardTab };

struct TouchRecord {
    std::int64_t id = 0;
    TouchPhase phase = TouchPhase::Began;
    TouchType type = TouchType::Finger;
    Point location;          // in the surface view, view points
    Point previousLocation;  // likewise
    double force = 0;
    double maximumPossibleForce = 1.0;
    std::optional<double> majorRadius;  // only where the device reports a contact area
    double timestamp = 0;
    TouchView view = TouchView::Surface;
};

// Pressure factor: 2 * force / maximumPossibleForce of the first stylus touch, clamped to
// [0.8, 1.2]; 1.0 without a stylus touch. A stylus touch whose reading is unusable (maximum not
// above 0, or a force or maximum that is not a finite number) counts as neutral, 1.0.
double stylusForceFactorWithTouches(const std::vector<TouchRecord>& touches);

}  // namespace velumen
