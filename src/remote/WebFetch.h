// One HTTP exchange that the network can never turn against the program: the answer is capped in size and
// in time (a deadline for the whole transfer, so a server that never answers or drips its answer slowly is
// cut off as surely as one that sends too much), redirects are followed only to the same scheme, host and
// port, TLS errors are never ignored, and everything happens on the event loop without blocking it. The
// result reaches a completion once, on the thread that started the fetch.
#pragma once

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QString>
#include <QUrl>
#include <functional>

namespace velumen {

struct WebFetchLimits {
    // The most bytes of body accepted; a larger answer (announced or received) fails the fetch.
    qint64 maxBytes = 256 * 1024;
    // The whole exchange, from sending to the last byte, in milliseconds.
    int timeoutMs = 10000;
};

struct WebFetchResult {
    bool succeeded = false;
    // The body when the fetch succeeded; empty otherwise.
    QByteArray data;
    // The HTTP status, 0 when none came.
    int status = 0;
    // Why it failed, in words, for the tests and for the helpers that keep it; empty on success.
    QString error;
};

// Starts a request with `method` ("GET", "POST", ...) and `body` (sent even on a GET when not empty). The
// completion is called exactly once, later, from the event loop, unless `manager` is destroyed first. A
// status outside 200 to 299 is a failure. Caching is off: every fetch goes to the network.
void fetchWithLimits(QNetworkAccessManager& manager, QNetworkRequest request, const QByteArray& method,
                     const QByteArray& body, WebFetchLimits limits,
                     std::function<void(const WebFetchResult&)> completion);

// The process's network access for the remote messages, made on first use on the GUI thread.
QNetworkAccessManager& remoteNetworkAccess();

}  // namespace velumen
