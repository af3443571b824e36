#include "gallery/KDirectoryWatcher.h"

#include <QFileInfo>
#include <cmath>

namespace velumen {

TimerScheduler::TimerScheduler() {
    timer_.setSingleShot(true);
    timer_.setTimerType(Qt::CoarseTimer);
    QObject::connect(&timer_, &QTimer::timeout, [this] {
        auto call = std::move(call_);
        call_ = nullptr;
        if (call) call();
    });
}

void TimerScheduler::callAfter(double seconds, std::function<void()> call) {
    call_ = std::move(call);
    timer_.start(static_cast<int>(std::lround(seconds * 1000.0)));
}

void TimerScheduler::cancel() {
    timer_.stop();
    call_ = nullptr;
}

void ManualScheduler::callAfter(double seconds, std::function<void()> call) {
    call_ = std::move(call);
    due_ = clock_.now() + seconds;
    ++scheduled_;
}

bool ManualScheduler::runDue() {
    if (!call_ || clock_.now() < due_) return false;
    auto call = std::move(call_);
    call_ = nullptr;
    call();
    return true;
}

std::unique_ptr<KDirectoryWatcher> KDirectoryWatcher::watchDirectoryWithPath(const QString& path,
                                                                             std::unique_ptr<Scheduler> scheduler) {
    auto watcher = std::make_unique<KDirectoryWatcher>(std::move(scheduler));
    if (!watcher->startMonitoringDirectory(path)) return nullptr;
    return watcher;
}

KDirectoryWatcher::KDirectoryWatcher(std::unique_ptr<Scheduler> scheduler, QObject* parent)
    : QObject(parent), scheduler_(scheduler ? std::move(scheduler) : std::make_unique<TimerScheduler>()) {}

KDirectoryWatcher::~KDirectoryWatcher() { stopMonitoring(); }

bool KDirectoryWatcher::startMonitoringDirectory(const QString& path) {
    if (path.isEmpty() || src_) return false;
    if (!QFileInfo(path).isDir()) return false;
    auto source = std::make_unique<QFileSystemWatcher>();
    if (!source->addPath(path)) return false;
    connect(source.get(), &QFileSystemWatcher::directoryChanged, this, [this] { noteChange(); });
    src_ = std::move(source);
    directoryPath_ = path;
    return true;
}

void KDirectoryWatcher::stopMonitoring() {
    src_.reset();
    scheduler_->cancel();
}

void KDirectoryWatcher::noteChange() {
    // Each change pushes the notice back: one notice for a burst, the delay after its last change.
    scheduler_->cancel();
    scheduler_->callAfter(kCoalescingDelay, [this] { emit directoryChanged(); });
}

}  // namespace velumen
