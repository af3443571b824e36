// The capped fetch: one reply watched for its size, its deadline and where it redirects to.
#include "remote/WebFetch.h"

#include <QNetworkReply>
#include <QPointer>
#include <QTimer>
#include <memory>

namespace velumen {

namespace {

// The state of one exchange; it ends itself exactly once.
class Fetch : public QObject {
  public:
    Fetch(QNetworkReply* reply, WebFetchLimits limits, std::function<void(const WebFetchResult&)> completion)
        : QObject(reply), reply_(reply), limits_(limits), completion_(std::move(completion)) {
        deadline_.setSingleShot(true);
        connect(&deadline_, &QTimer::timeout, this, [this] { fail("timed out"); });
        deadline_.start(limits_.timeoutMs);
        connect(reply_, &QNetworkReply::metaDataChanged, this, [this] {
            const QVariant length = reply_->header(QNetworkRequest::ContentLengthHeader);
            if (length.isValid() && length.toLongLong() > limits_.maxBytes) fail("too large");
        });
        connect(reply_, &QNetworkReply::readyRead, this, [this] { take(); });
        connect(reply_, &QNetworkReply::finished, this, [this] { finish(); });
    }

  private:
    void take() {
        if (done_) return;
        data_ += reply_->readAll();
        if (data_.size() > limits_.maxBytes) fail("too large");
    }

    void finish() {
        if (done_) return;
        take();
        if (done_) return;
        WebFetchResult result;
        result.status = reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (reply_->error() != QNetworkReply::NoError) {
            fail(reply_->errorString());
            return;
        }
        if (result.status < 200 || result.status > 299) {
            fail(QStringLiteral("status %1").arg(result.status));
            return;
        }
        result.succeeded = true;
        result.data = std::move(data_);
        end(result);
    }

    void fail(const QString& why) {
        if (done_) return;
        WebFetchResult result;
        result.status = reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        result.error = why;
        end(result);
    }

    void end(const WebFetchResult& result) {
        done_ = true;
        deadline_.stop();
        disconnect(reply_, nullptr, this, nullptr);
        // The completion runs from the event loop, never inside a call into the reply.
        auto completion = std::move(completion_);
        QTimer::singleShot(0, reply_->manager(), [completion = std::move(completion), result] {
            if (completion) completion(result);
        });
        if (reply_->isRunning()) reply_->abort();
        reply_->deleteLater();
    }

    QNetworkReply* reply_;
    WebFetchLimits limits_;
    std::function<void(const WebFetchResult&)> completion_;
    QByteArray data_;
    QTimer deadline_;
    bool done_ = false;
};

}  // namespace

void fetchWithLimits(QNetworkAccessManager& manager, QNetworkRequest request, const QByteArray& method,
                     const QByteArray& body, WebFetchLimits limits,
                     std::function<void(const WebFetchResult&)> completion) {
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::SameOriginRedirectPolicy);
    request.setMaximumRedirectsAllowed(5);
    const QString scheme = request.url().scheme().toLower();
    if (!request.url().isValid() || (scheme != "http" && scheme != "https")) {
        QTimer::singleShot(0, &manager, [completion = std::move(completion)] {
            WebFetchResult result;
            result.error = "not an http or https address";
            if (completion) completion(result);
        });
        return;
    }
    QNetworkReply* reply = body.isEmpty() && method == "GET" ? manager.get(request)
                                                              : manager.sendCustomRequest(request, method, body);
    new Fetch(reply, limits, std::move(completion));
}

QNetworkAccessManager& remoteNetworkAccess() {
    static QNetworkAccessManager* manager = [] {
        auto* m = new QNetworkAccessManager();
        // No cache and no cookies: nothing the network says outlives the fetch that brought it.
        m->setCache(nullptr);
        return m;
    }();
    return *manager;
}

}  // namespace velumen
