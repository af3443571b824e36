// One notebook per user session: the first launch holds the instance lock and listens on a local socket; a
// later launch hands its book path to the running one and exits. A notebook that is closing stops listening
// at once but keeps the lock until its last write has ended, so a launch made meanwhile waits for it and then
// becomes the running notebook itself: no hand-over goes to a notebook that will not open it. A message is
// one line of UTF-8 holding an absolute path; anything else that arrives on the socket is dropped.
#pragma once

#include <QObject>
#include <QString>
#include <functional>

class QLocalServer;

namespace velumen {

class SingleInstance : public QObject {
  public:
    // The longest message taken; a connection that sends more is closed.
    static constexpr qint64 kMaxMessageBytes = 64 * 1024;

    // How a launch went: its book went to the running notebook, or this process is the running one now.
    enum class Launch { HandedOver, Running };

    // `name`: the socket's name, and the lock file's; by default one per user.
    explicit SingleInstance(QString name = defaultName(), QObject* parent = nullptr);
    // Stops listening and lets the lock go.
    ~SingleInstance() override;

    static QString defaultName();
    // The lock file held by the running notebook for the whole of its life, its last write included.
    QString lockPath() const;

    // Hands the path (empty: just come to the front) to a running instance. True when one took it.
    bool sendToRunning(const QString& path, int timeoutMs = 2000);
    // Becomes the running instance when no other holds the lock, replacing a socket left behind by one that
    // died. False when another instance runs or the socket cannot be made.
    bool listen();
    // The launch: the path goes to the running notebook when one listens; while one holds the lock without
    // listening (starting up or closing), the launch tries again until it listens or ends, up to `waitMs`,
    // calling `waiting` once when that wait begins. Past the wait the launch takes over the socket without
    // the lock, so that a hung notebook never keeps the user from theirs.
    Launch handOverOrListen(const QString& path, int waitMs = 30000, const std::function<void()>& waiting = {});
    // Takes no more hand-overs: the socket closes at once (a connection already made is dropped without an
    // answer, so its sender tries again). The lock stays until releaseLock or the process ends.
    void stopListening();
    // Lets the lock go: a launch waiting for this notebook goes ahead.
    void releaseLock();
    bool isListening() const { return server_ != nullptr; }

    // A later launch asked for this book (empty: for the window only).
    std::function<void(const QString& path)> openRequested;

  private:
    bool tryLock();
    bool listenLocked();

    QString name_;
    QLocalServer* server_ = nullptr;
    int lockFd_ = -1;
};

}  // namespace velumen
