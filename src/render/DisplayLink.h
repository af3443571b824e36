// The frame clock: a timer at the screen's refresh rate that calls its target once per tick. What a tick
// does is the target's business; the editor's drawFrame repaints at most once, and not at all when clean.
#pragma once

#include <QObject>
#include <QTimer>
#include <functional>

class QScreen;

namespace velumen {

class DisplayLink : public QObject {
  public:
    explicit DisplayLink(std::function<void()> target, QObject* parent = nullptr);

    // Starts ticking at the screen's refresh rate (60 Hz when there is no screen or it reports none).
    void start(const QScreen* screen = nullptr);
    // Stops for good until the next start.
    void invalidate();
    bool isRunning() const { return timer_.isActive(); }
    int intervalMs() const { return timer_.interval(); }
    // One tick, as the timer gives it.
    void tick();
    std::uint64_t tickCount() const { return ticks_; }

    // Interval in whole milliseconds for a refresh rate, at least 1.
    static int intervalForRefreshRate(double hertz);

  private:
    std::function<void()> target_;
    QTimer timer_;
    std::uint64_t ticks_ = 0;
};

}  // namespace velumen
