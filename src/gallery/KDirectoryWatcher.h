// Notices that somebody changed the books folder: files made, removed or renamed in it. A burst of changes
// yields one notice, five seconds after the last one. The delay runs on an injectable scheduler so that the
// coalescing can be tested against a clock that only moves when told.
#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QString>
#include <QTimer>
#include <functional>
#include <memory>

#include "ink/Clock.h"

namespace velumen {

// One pending delayed call at a time: a new one replaces the old.
class Scheduler {
  public:
    virtual ~Scheduler() = default;
    virtual void callAfter(double seconds, std::function<void()> call) = 0;
    virtual void cancel() = 0;
};

// On the event loop's timer.
class TimerScheduler final : public Scheduler {
  public:
    TimerScheduler();
    void callAfter(double seconds, std::function<void()> call) override;
    void cancel() override;

  private:
    QTimer timer_;
    std::function<void()> call_;
};

// On a manual clock: the call runs from runDue() once the clock has reached its time.
class ManualScheduler final : public Scheduler {
  public:
    explicit ManualScheduler(const ManualClock& clock) : clock_(clock) {}
    void callAfter(double seconds, std::function<void()> call) override;
    void cancel() override { call_ = nullptr; }
    // Runs the pending call if it is due; true if it ran.
    bool runDue();
    bool isPending() const { return static_cast<bool>(call_); }
    double dueTime() const { return due_; }
    // How many calls were scheduled so far (each change of the folder schedules one).
    int scheduledCount() const { return scheduled_; }

  private:
    const ManualClock& clock_;
    std::function<void()> call_;
    double due_ = 0;
    int scheduled_ = 0;
};

class KDirectoryWatcher : public QObject {
    Q_OBJECT

  public:
    // Seconds from the last change to the notice.
    static constexpr double kCoalescingDelay = 5.0;

    // A watcher already monitoring `path`, or null when the folder cannot be watched. Without a scheduler the
    // event loop's timer is used.
    static std::unique_ptr<KDirectoryWatcher> watchDirectoryWithPath(const QString& path,
                                                                     std::unique_ptr<Scheduler> scheduler = {});

    explicit KDirectoryWatcher(std::unique_ptr<Scheduler> scheduler = {}, QObject* parent = nullptr);
    ~KDirectoryWatcher() override;

    // Refuses an empty path or a running watch; false when the folder cannot be watched.
    bool startMonitoringDirectory(const QString& path);
    // Stops watching and drops a pending notice.
    void stopMonitoring();
    QString watchPath() const { return directoryPath_; }

  signals:
    // "KDirectoryWatcher_DirectoryChangedNotification": the folder changed, and then stayed still for the
    // coalescing delay.
    void directoryChanged();

  private:
    void noteChange();

    std::unique_ptr<Scheduler> scheduler_;
    std::unique_ptr<QFileSystemWatcher> src_;
    QString directoryPath_;
};

}  // namespace velumen
