#include "render/RenderQueue.h"

#include <QCoreApplication>
#include <QThread>
#include <QtGlobal>

namespace velumen {

namespace {

std::function<void()>& reentranceHandler() {
    static std::function<void()> handler;
    return handler;
}

}  // namespace

RenderQueue::RenderQueue(std::function<bool()> makeCurrent)
    : makeCurrent_(std::move(makeCurrent)), gate_(new QObject) {
    if (QCoreApplication* app = QCoreApplication::instance()) gate_->moveToThread(app->thread());
}

RenderQueue::~RenderQueue() {
    delete gate_;
}

void RenderQueue::setReentranceHandler(std::function<void()> handler) {
    reentranceHandler() = std::move(handler);
}

void RenderQueue::sync(const std::function<void()>& fn) {
    if (QThread::currentThread() != gate_->thread()) {
        QMetaObject::invokeMethod(
            gate_, [&] { runHere(fn); }, Qt::BlockingQueuedConnection);
        return;
    }
    runHere(fn);
}

void RenderQueue::runHere(const std::function<void()>& fn) {
    if (depth_ > 0) {
        if (reentranceHandler()) {
            reentranceHandler()();
        } else {
            Q_ASSERT_X(false, "RenderQueue::sync", "a GL batch started another batch");
        }
    }
    ++depth_;
    if (makeCurrent_) makeCurrent_();
    fn();
    --depth_;
}

}  // namespace velumen
