// One notebook per session over a real local socket: a later launch's path reaches the running one, a
// socket left by a dead instance is taken over, garbage on the socket opens nothing, and a notebook that has
// begun to close takes no hand-over while a launch waits for it to end. The quit signals reach the event
// loop, never the code that runs when they arrive.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QThread>
#include <atomic>
#include <csignal>
#include <vector>

#include "shell/QuitSignals.h"
#include "shell/SingleInstance.h"

namespace velumen {
namespace {

QCoreApplication& app() {
    static int argc = 1;
    static char name[] = "single_instance_test";
    static char* argv[] = {name, nullptr};
    if (!QCoreApplication::instance()) new QCoreApplication(argc, argv);
    return *QCoreApplication::instance();
}

// Serves events until `until` holds or `ms` have passed.
template <typename Until>
void serve(Until until, int ms) {
    QElapsedTimer clock;
    clock.start();
    while (!until() && clock.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

// Runs `work` on a thread of its own while this thread serves events; its result.
template <typename Work>
auto whileServing(Work work) {
    decltype(work()) result{};
    std::atomic<bool> done = false;
    QThread* thread = QThread::create([&] {
        result = work();
        done = true;
    });
    thread->start();
    serve([&] { return bool(done); }, 10000);
    thread->wait();
    delete thread;
    QCoreApplication::processEvents();
    return result;
}

QString uniqueName(const char* tag) {
    return QString("velumen-test-%1-%2").arg(QCoreApplication::applicationPid()).arg(tag);
}

TEST(SingleInstance, ALaterLaunchHandsItsBookToTheRunningOne) {
    app();
    const QString name = uniqueName("hand");
    SingleInstance running(name);
    QStringList opened;
    running.openRequested = [&](const QString& path) { opened << path; };
    ASSERT_TRUE(running.listen());

    EXPECT_TRUE(whileServing([&] { return SingleInstance(name).sendToRunning("/tmp/a b/Trip.velumen"); }));
    EXPECT_TRUE(whileServing([&] { return SingleInstance(name).sendToRunning(""); }));
    EXPECT_EQ(opened, QStringList({"/tmp/a b/Trip.velumen", ""}));

    // A second listener on the same name does not take over a live one.
    SingleInstance rival(name);
    EXPECT_FALSE(rival.listen());
    // With nobody there, the launch finds no instance.
    EXPECT_FALSE(SingleInstance(uniqueName("nobody")).sendToRunning("/x.velumen", 300));
}

TEST(SingleInstance, AStaleSocketIsTakenOverAndGarbageOpensNothing) {
    app();
    const QString name = uniqueName("stale");
    {
        // A server that went away without cleaning up leaves its socket file behind.
        QLocalServer dead;
        dead.setSocketOptions(QLocalServer::UserAccessOption);
        ASSERT_TRUE(dead.listen(name));
        dead.close();
    }
    SingleInstance running(name);
    QStringList opened;
    running.openRequested = [&](const QString& path) { opened << path; };
    ASSERT_TRUE(running.listen());

    auto raw = [&](QByteArray bytes) {
        return whileServing([&] {
            QLocalSocket socket;
            socket.connectToServer(name);
            if (!socket.waitForConnected(2000)) return QByteArray("no connection");
            socket.write(bytes);
            socket.waitForBytesWritten(2000);
            socket.waitForReadyRead(1500);
            return socket.readAll();
        });
    };
    EXPECT_EQ(raw("relative/path.velumen\n"), "refused\n");
    EXPECT_EQ(raw("/bad\xff\xfe utf8\n"), "refused\n");
    EXPECT_EQ(raw(QByteArray("/nul\0inside\n", 12)), "refused\n");
    EXPECT_EQ(raw(QByteArray(SingleInstance::kMaxMessageBytes + 10, 'x')), "");  // no line end: cut off
    EXPECT_EQ(raw("/no/line/end"), "");
    EXPECT_TRUE(opened.isEmpty());
    EXPECT_EQ(raw("/ok.velumen\n"), "ok\n");
    EXPECT_EQ(opened, QStringList({"/ok.velumen"}));
}

TEST(SingleInstance, AClosingNotebookTakesNoHandOverAndALaunchWaitsForItToEnd) {
    app();
    const QString name = uniqueName("closing");
    SingleInstance closing(name);
    QStringList opened;
    closing.openRequested = [&](const QString& path) { opened << path; };
    ASSERT_TRUE(closing.listen());

    // A launch connected just before the close began: its line is never answered, so it goes elsewhere.
    QLocalSocket early;
    early.connectToServer(name);
    ASSERT_TRUE(early.waitForConnected(2000));
    early.write("/early.velumen\n");
    early.waitForBytesWritten(2000);
    closing.stopListening();
    serve([] { return false; }, 300);
    EXPECT_FALSE(early.readAll().startsWith("ok"));
    EXPECT_FALSE(closing.isListening());

    // A launch now waits while the closing notebook holds on, and becomes the running one once it has gone.
    std::atomic<bool> waited = false, done = false;
    std::atomic<int> outcome = -1;
    QThread* launch = QThread::create([&] {
        SingleInstance later(name);
        outcome = int(later.handOverOrListen("/later.velumen", 20000, [&] { waited = true; }));
        // Still running, the later one answers launches of its own.
        done = true;
        while (done) QThread::msleep(10);
    });
    launch->start();
    serve([&] { return bool(waited); }, 10000);
    EXPECT_TRUE(waited);
    EXPECT_FALSE(done);
    closing.releaseLock();
    serve([&] { return bool(done); }, 10000);
    EXPECT_EQ(outcome, int(SingleInstance::Launch::Running));
    // Nothing was handed to the closing notebook.
    EXPECT_TRUE(opened.isEmpty());
    // A rival finds the later one holding the lock.
    EXPECT_FALSE(SingleInstance(name).listen());
    done = false;
    launch->wait();
    delete launch;
}

TEST(QuitSignals, ArriveInTheEventLoopAfterTheSignalHasReturned) {
    app();
    std::vector<int> heard;
    {
        QuitSignals signals_([&](int signal) { heard.push_back(signal); });
        ASSERT_TRUE(signals_.isActive());
        // Only one set of handlers at a time.
        EXPECT_FALSE(QuitSignals([](int) {}).isActive());
        for (int signal : {SIGTERM, SIGHUP, SIGINT}) {
            ASSERT_EQ(::raise(signal), 0);
            EXPECT_TRUE(heard.empty() || heard.back() != signal);  // not from inside the handler
            serve([&] { return !heard.empty() && heard.back() == signal; }, 5000);
        }
    }
    EXPECT_EQ(heard, std::vector<int>({SIGTERM, SIGHUP, SIGINT}));
}

}  // namespace
}  // namespace velumen
