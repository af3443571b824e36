// One notebook per session over a real local socket: a later launch's path reaches the running one, a
// socket left by a dead instance is taken over, and garbage on the socket opens nothing.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QThread>
#include <atomic>

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
    QElapsedTimer clock;
    clock.start();
    while (!done && clock.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
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

}  // namespace
}  // namespace velumen
