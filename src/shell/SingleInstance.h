// One notebook per user session: the first launch listens on a local socket; a later launch hands its book
// path to the running one and exits. A message is one line of UTF-8 holding an absolute path; anything
// else that arrives on the socket is dropped.
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

    // `name`: the socket's name; by default one per user.
    explicit SingleInstance(QString name = defaultName(), QObject* parent = nullptr);
    ~SingleInstance() override;

    static QString defaultName();

    // Hands the path (empty: just come to the front) to a running instance. True when one took it.
    bool sendToRunning(const QString& path, int timeoutMs = 2000);
    // Becomes the running instance, replacing a socket left behind by one that died. False when the
    // socket cannot be made.
    bool listen();

    // A later launch asked for this book (empty: for the window only).
    std::function<void(const QString& path)> openRequested;

  private:
    QString name_;
    QLocalServer* server_ = nullptr;
};

}  // namespace velumen
