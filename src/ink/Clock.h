// Time in seconds for the stroke engine, injectable so that sample spacing can be tested exactly.
#pragma once

#include <chrono>

namespace velumen {

class Clock {
  public:
    virtual ~Clock() = default;
    virtual double now() const = 0;
};

// Monotonic wall time.
class SteadyClock final : public Clock {
  public:
    double now() const override {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    }
};

// A clock that only moves when told to.
class ManualClock final : public Clock {
  public:
    explicit ManualClock(double start = 0) : t_(start) {}
    double now() const override { return t_; }
    void set(double t) { t_ = t; }
    void advance(double dt) { t_ += dt; }

  private:
    double t_;
};

}  // namespace velumen
