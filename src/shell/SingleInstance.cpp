#include "shell/SingleInstance.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStringDecoder>
#include <QThread>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace velumen {

SingleInstance::SingleInstance(QString name, QObject* parent) : QObject(parent), name_(std::move(name)) {}

SingleInstance::~SingleInstance() {
    stopListening();
    releaseLock();
}

QString SingleInstance::defaultName() {
    return QString("velumen-%1").arg(::getuid());
}

QString SingleInstance::lockPath() const {
    return QDir(QDir::tempPath()).filePath(name_ + ".lock");
}

bool SingleInstance::sendToRunning(const QString& path, int timeoutMs) {
    QLocalSocket socket;
    socket.connectToServer(name_);
    if (!socket.waitForConnected(timeoutMs)) return false;
    const QByteArray line = (path.isEmpty() ? QString() : QDir(path).absolutePath()).toUtf8() + '\n';
    socket.write(line);
    if (!socket.waitForBytesWritten(timeoutMs)) return false;
    // The running instance answers once it has the line.
    if (!socket.waitForReadyRead(timeoutMs)) return false;
    return socket.readAll().startsWith("ok");
}

bool SingleInstance::tryLock() {
    if (lockFd_ >= 0) return true;
    // An advisory lock that the system drops when its holder ends, however it ends.
    const int fd = ::open(QFile::encodeName(lockPath()).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) return false;
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        return false;
    }
    lockFd_ = fd;
    return true;
}

void SingleInstance::releaseLock() {
    if (lockFd_ < 0) return;
    ::close(lockFd_);
    lockFd_ = -1;
}

bool SingleInstance::listen() {
    if (!tryLock()) return false;
    if (listenLocked()) return true;
    releaseLock();
    return false;
}

SingleInstance::Launch SingleInstance::handOverOrListen(const QString& path, int waitMs,
                                                        const std::function<void()>& waiting) {
    QElapsedTimer clock;
    clock.start();
    bool told = false;
    for (;;) {
        if (sendToRunning(path)) return Launch::HandedOver;
        if (tryLock() && listenLocked()) return Launch::Running;
        if (clock.elapsed() >= waitMs) break;
        if (!told && waiting) waiting();
        told = true;
        QThread::msleep(50);
    }
    // The holder of the lock never came to listen, nor went: take the socket over all the same.
    releaseLock();
    listenLocked();
    return Launch::Running;
}

void SingleInstance::stopListening() {
    if (!server_) return;
    QLocalServer* server = server_;
    server_ = nullptr;
    server->close();
    server->deleteLater();
}

bool SingleInstance::listenLocked() {
    QLocalServer::removeServer(name_);
    auto* server = new QLocalServer(this);
    server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server->listen(name_)) {
        delete server;
        return false;
    }
    server_ = server;
    connect(server, &QLocalServer::newConnection, this, [this, server] {
        while (QLocalSocket* socket = server->nextPendingConnection()) {
            // The socket outlives the server's closing: it must not answer once this notebook stopped.
            socket->setParent(this);
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
                if (!server_) {
                    socket->abort();
                    socket->deleteLater();
                    return;
                }
                if (socket->bytesAvailable() > kMaxMessageBytes && !socket->canReadLine()) {
                    socket->abort();
                    return;
                }
                if (!socket->canReadLine()) return;
                QByteArray line = socket->readLine(kMaxMessageBytes);
                if (!line.endsWith('\n')) {
                    socket->abort();
                    return;
                }
                line.chop(1);
                QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
                const QString path = utf8.decode(line);
                const bool valid = !utf8.hasError() && !path.contains(QChar(0)) &&
                                   (path.isEmpty() || QDir::isAbsolutePath(path));
                socket->write(valid ? "ok\n" : "refused\n");
                socket->flush();
                socket->disconnectFromServer();
                if (valid && openRequested) openRequested(path);
            });
        }
    });
    return true;
}

}  // namespace velumen
