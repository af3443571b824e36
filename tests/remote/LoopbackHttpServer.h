// A real HTTP/1.1 server on the loopback interface for the tests of the remote messages: each path has an
// answer, plain or hostile (one that never comes, one that drips a byte at a time, ten megabytes with or
// without a length, a redirect), and every request is recorded with its method, path and body.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

namespace velumen::test {

struct LoopbackAnswer {
    enum class Kind { Plain, Never, Drip, Huge, Redirect };
    Kind kind = Kind::Plain;
    int status = 200;
    QByteArray contentType = "text/plain; charset=utf-8";
    QByteArray body;
    // Header lines added as they stand, each ending in "\r\n".
    QByteArray extraHeaders;
    // Redirect: where to. Huge: the size, and whether a Content-Length announces it.
    QByteArray location;
    qint64 hugeSize = 10 * 1024 * 1024;
    bool announceLength = true;

    static LoopbackAnswer plain(QByteArray body, QByteArray contentType = "text/plain; charset=utf-8") {
        LoopbackAnswer a;
        a.body = std::move(body);
        a.contentType = std::move(contentType);
        return a;
    }
    static LoopbackAnswer of(Kind kind) {
        LoopbackAnswer a;
        a.kind = kind;
        return a;
    }
    static LoopbackAnswer withStatus(int code) {
        LoopbackAnswer a;
        a.status = code;
        return a;
    }
    static LoopbackAnswer redirect(QByteArray to) {
        LoopbackAnswer a;
        a.kind = Kind::Redirect;
        a.status = 302;
        a.location = std::move(to);
        return a;
    }
};

struct LoopbackRequest {
    QByteArray method;
    QByteArray path;
    QByteArray body;
};

class LoopbackHttpServer : public QTcpServer {
  public:
    LoopbackHttpServer() {
        listen(QHostAddress::LocalHost, 0);
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { readFrom(socket); });
                connect(socket, &QTcpSocket::disconnected, this, [this] { ++closedConnections_; });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }

    // "http://127.0.0.1:PORT" with `path` after it.
    QString url(const QString& path = "/") const {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(path);
    }
    void answer(const QByteArray& path, LoopbackAnswer a) { answers_.insert(path, std::move(a)); }
    const QList<LoopbackRequest>& requests() const { return requests_; }
    // Connections that ended, by either side.
    int closedConnections() const { return closedConnections_; }
    int requestCount(const QByteArray& path) const {
        int n = 0;
        for (const auto& r : requests_)
            n += r.path == path;
        return n;
    }

  private:
    void readFrom(QTcpSocket* socket) {
        QByteArray& buffer = buffers_[socket];
        buffer += socket->readAll();
        // A TLS handshake to this plain server: a plain answer, which the client cannot take for TLS.
        if (buffer.startsWith('\x16')) {
            socket->write("HTTP/1.1 400 Bad Request\r\nConnection: close\r\n\r\n");
            socket->disconnectFromHost();
            return;
        }
        const qsizetype headerEnd = buffer.indexOf("\r\n\r\n");
        if (headerEnd < 0) return;
        const QList<QByteArray> lines = buffer.left(headerEnd).split('\n');
        const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
        qsizetype length = 0;
        for (const QByteArray& line : lines) {
            if (line.toLower().startsWith("content-length:")) length = line.mid(15).trimmed().toLongLong();
        }
        if (buffer.size() < headerEnd + 4 + length) return;
        LoopbackRequest request{first.value(0), first.value(1), buffer.mid(headerEnd + 4, length)};
        buffer.remove(0, headerEnd + 4 + length);
        requests_.append(request);
        respond(socket, answers_.value(request.path, LoopbackAnswer::withStatus(404)));
    }

    void respond(QTcpSocket* socket, const LoopbackAnswer& a) {
        using Kind = LoopbackAnswer::Kind;
        const QByteArray reason = a.status == 200 ? "OK" : a.status == 302 ? "Found" : "Other";
        QByteArray head = "HTTP/1.1 " + QByteArray::number(a.status) + " " + reason + "\r\n";
        head += "Content-Type: " + a.contentType + "\r\nConnection: close\r\n" + a.extraHeaders;
        switch (a.kind) {
            case Kind::Never:
                return;
            case Kind::Plain:
                socket->write(head + "Content-Length: " + QByteArray::number(a.body.size()) + "\r\n\r\n" + a.body);
                break;
            case Kind::Redirect:
                socket->write(head + "Location: " + a.location + "\r\nContent-Length: 0\r\n\r\n");
                break;
            case Kind::Huge:
                if (a.announceLength) head += "Content-Length: " + QByteArray::number(a.hugeSize) + "\r\n";
                socket->write(head + "\r\n");
                socket->write(QByteArray(a.hugeSize, 'x'));
                break;
            case Kind::Drip: {
                socket->write(head + "Content-Length: 1000\r\n\r\n");
                auto* timer = new QTimer(socket);
                connect(timer, &QTimer::timeout, socket, [socket] { socket->write("d"); });
                timer->start(20);
                return;
            }
        }
        socket->disconnectFromHost();
    }

    QHash<QByteArray, LoopbackAnswer> answers_;
    QHash<QTcpSocket*, QByteArray> buffers_;
    QList<LoopbackRequest> requests_;
    int closedConnections_ = 0;
};

}  // namespace velumen::test
