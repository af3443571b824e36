// A small general HTTP helper: one GET or one form POST, its answer gathered under the same caps as every
// remote answer (size, a deadline, same-origin redirects), and a completion told whether it succeeded.
// Nothing in the notebook sends anything through it unless a deployment configures an address.
#pragma once

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QObject>
#include <QString>
#include <QUrl>
#include <functional>

#include "remote/WebFetch.h"

namespace velumen {

class KAsyncWebRequest : public QObject {
  public:
    explicit KAsyncWebRequest(QObject* parent = nullptr) : QObject(parent) {}

    // GET with a deadline of sixty seconds.
    void makeGetRequest(const QUrl& url);
    // POST of `params` as a form, in ASCII (other characters become "?"), with its length.
    void makePostRequest(const QUrl& url, const QString& params);
    // Called once per request, from the event loop, with this request.
    void setOnCompleteDelegate(std::function<void(KAsyncWebRequest&)> onComplete) {
        onCompleteSelector = std::move(onComplete);
    }

    QByteArray receivedData;
    std::function<void(KAsyncWebRequest&)> onCompleteSelector;
    QUrl requestUrl;
    QString postParams;
    int tag = 0;
    bool succeeded = false;
    QString error;

    QNetworkAccessManager* network = nullptr;
    WebFetchLimits limits{1024 * 1024, 60000};

  private:
    void start(const QByteArray& method, const QByteArray& body, const QByteArray& contentType);
};

// `text` in ASCII, every other character as "?".
QByteArray lossyAscii(const QString& text);

}  // namespace velumen
