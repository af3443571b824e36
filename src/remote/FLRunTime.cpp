// The run time's sessions and its 32-bit sum.
#include "remote/FLRunTime.h"

#include <cmath>

#include "shell/FoliantGlobals.h"

namespace velumen {

std::int32_t addRunTime(std::int64_t rtx, double seconds) {
    // Truncated towards zero; a clock can only go forward here, but a bad value adds nothing.
    const double whole = std::isfinite(seconds) && seconds > 0 ? std::trunc(seconds) : 0.0;
    const auto added = static_cast<std::uint32_t>(static_cast<std::uint64_t>(std::fmin(whole, 4294967295.0)));
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(rtx) + added);
}

void FLRunTime::startRuntime() {
    sessionStartTime = clock_.now();
    started_ = true;
}

void FLRunTime::updateRuntime() {
    if (!started_) return;
    const double elapsed = clock_.now() - sessionStartTime;
    defaults_.setObject(FoliantGlobals::kRunTime, qlonglong(addRunTime(runTime(), elapsed)));
    defaults_.synchronize();
    startRuntime();
}

std::int64_t FLRunTime::runTime() const {
    return defaults_.integerForKey(FoliantGlobals::kRunTime);
}

}  // namespace velumen
