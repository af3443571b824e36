// The gate for GL on the surface: every batch, full repaint or live segment, runs through sync() on the
// GUI thread with the surface's context current, and the caller waits for it. A batch must not start
// another batch: that is a programming error, which a debug build reports.
#pragma once

#include <QObject>
#include <functional>

namespace velumen {

class RenderQueue {
  public:
    // makeCurrent makes the surface's context current and says whether there is one.
    explicit RenderQueue(std::function<bool()> makeCurrent);
    ~RenderQueue();
    RenderQueue(const RenderQueue&) = delete;
    RenderQueue& operator=(const RenderQueue&) = delete;

    // Runs fn with the context current and returns when it is done. From another thread the call is
    // handed to the GUI thread and blocks until it ran there. Without a context fn still runs: the
    // drawing paths themselves see that there is nothing to draw on.
    void sync(const std::function<void()>& fn);
    bool isInsideBatch() const { return depth_ > 0; }

    // What a nested sync() does besides running inline. The default, in a debug build, stops the program.
    static void setReentranceHandler(std::function<void()> handler);

  private:
    void runHere(const std::function<void()>& fn);

    std::function<bool()> makeCurrent_;
    QObject* gate_;  // lives on the GUI thread; target of the blocking hand-over
    int depth_ = 0;
};

}  // namespace velumen
