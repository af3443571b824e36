// The general request's two forms.
#include "remote/KAsyncWebRequest.h"

#include <QNetworkRequest>
#include <QPointer>

namespace velumen {

QByteArray lossyAscii(const QString& text) {
    QByteArray bytes;
    bytes.reserve(text.size());
    for (const QChar c : text)
        bytes.append(c.unicode() < 0x80 ? char(c.unicode()) : '?');
    return bytes;
}

void KAsyncWebRequest::makeGetRequest(const QUrl& url) {
    requestUrl = url;
    postParams.clear();
    start("GET", {}, {});
}

void KAsyncWebRequest::makePostRequest(const QUrl& url, const QString& params) {
    requestUrl = url;
    postParams = params;
    start("POST", lossyAscii(params), "application/x-www-form-urlencoded");
}

void KAsyncWebRequest::start(const QByteArray& method, const QByteArray& body, const QByteArray& contentType) {
    receivedData.clear();
    succeeded = false;
    error.clear();
    QNetworkRequest request(requestUrl);
    if (!contentType.isEmpty()) {
        request.setHeader(QNetworkRequest::ContentTypeHeader, contentType);
        request.setHeader(QNetworkRequest::ContentLengthHeader, QByteArray::number(body.size()));
    }
    QPointer<KAsyncWebRequest> self(this);
    fetchWithLimits(network ? *network : remoteNetworkAccess(), request, method, body, limits,
                    [self](const WebFetchResult& result) {
                        if (!self) return;
                        self->succeeded = result.succeeded;
                        self->receivedData = result.data;
                        self->error = result.error;
                        if (self->onCompleteSelector) self->onCompleteSelector(*self);
                    });
}

}  // namespace velumen
