// The run time: the seconds the notebook has spent in the foreground over its whole life on this machine,
// kept under "rtx" in the defaults store. It is the program's clock for every decision that waits for so
// much use. A session starts when the notebook becomes active (its window shown) and is added when it
// resigns active (hidden, minimised, quitting), in 32-bit arithmetic as the store has always held it.
#pragma once

#include <cstdint>

#include "ink/Clock.h"

namespace velumen {

class UserDefaults;

class FLRunTime {
  public:
    // `clock` is monotonic seconds (a steady clock in the notebook, a manual one in tests).
    FLRunTime(UserDefaults& defaults, const Clock& clock) : defaults_(defaults), clock_(clock) {}

    // A session starts now.
    void startRuntime();
    // Adds the whole seconds since the session started to "rtx" (wrapping as a 32-bit integer), saves the
    // store, and starts a new session. Nothing is added when no session was started.
    void updateRuntime();
    // "rtx" as stored.
    std::int64_t runTime() const;

  private:
    UserDefaults& defaults_;
    const Clock& clock_;
    double sessionStartTime = 0;
    bool started_ = false;
};

// `rtx` plus `seconds` truncated to whole seconds, both as 32-bit integers, wrapping.
std::int32_t addRunTime(std::int64_t rtx, double seconds);

}  // namespace velumen
