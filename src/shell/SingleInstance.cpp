#include "shell/SingleInstance.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStringDecoder>
#include <unistd.h>

namespace velumen {

SingleInstance::SingleInstance(QString name, QObject* parent) : QObject(parent), name_(std::move(name)) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultName() {
    return QString("velumen-%1").arg(::getuid());
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

bool SingleInstance::listen() {
    {
        // Someone answers: a notebook runs. Otherwise a socket file left by one that died is removed.
        QLocalSocket probe;
        probe.connectToServer(name_);
        if (probe.waitForConnected(500)) return false;
    }
    QLocalServer::removeServer(name_);
    server_ = new QLocalServer(this);
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_->listen(name_)) return false;
    connect(server_, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = server_->nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
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
