#include "input/TouchRecord.h"

#include <cmath>

namespace velumen {

double stylusForceFactorWithTouches(const std::vector<TouchRecord>& touches) {
    for (const TouchRecord& touch : touches) {
        if (touch.type != TouchType::Stylus) continue;
        const double maximum = touch.maximumPossibleForce;
        if (!(maximum > 0.0) || !std::isfinite(maximum) || !std::isfinite(touch.force)) return 1.0;
        const double f = 2.0 * touch.force / maximum;
        if (f < 0.8) return 0.8;
        if (f > 1.2) return 1.2;
        return f;
    }
    return 1.0;
}

}  // namespace velumen
