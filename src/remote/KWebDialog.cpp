// The web dialog's loading, its links and its presentation.
#include "remote/KWebDialog.h"

#include <QBuffer>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QImageReader>
#include <QNetworkRequest>
#include <QPushButton>
#include <QScrollBar>
#include <QStringDecoder>
#include <QTimer>
#include <QVBoxLayout>

#include "remote/RemoteEndpoints.h"
#include "remote/WebDialogRoutes.h"

namespace velumen {

namespace {

// An image decoded from untrusted bytes, refused when it claims more than 4096 pixels a side.
QImage decodeImage(const QByteArray& data) {
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QSize size = reader.size();
    if (!size.isValid() || size.width() > 4096 || size.height() > 4096) return {};
    return reader.read();
}

}  // namespace

QVariant KWebView::loadResource(int type, const QUrl& name) {
    const QUrl url = baseUrl.resolved(name);
    if (type != QTextDocument::ImageResource) return {};
    if (auto it = images.constFind(url); it != images.constEnd()) return *it;
    if (wantsImage) wantsImage(url);
    return {};
}

KWebDialog::KWebDialog(QStringList allowedPrefixes, QWidget* parent)
    : QDialog(parent), allowedPrefixes_(std::move(allowedPrefixes)) {
    setWindowTitle(tr("Velumen"));
    resize(540, 620);
    auto* layout = new QVBoxLayout(this);
    webView_ = new KWebView(this);
    webView_->setOpenLinks(false);
    webView_->setOpenExternalLinks(false);
    webView_->setReadOnly(true);
    layout->addWidget(webView_, 1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { cancelTapped(); });
    connect(webView_, &QTextBrowser::anchorClicked, this, [this](const QUrl& link) {
        const QUrl url = pageUrl_.resolved(link);
        if (shouldStartLoadWithRequest(url)) loadPage(url);
    });
    webView_->wantsImage = [this](const QUrl& url) { fetchImage(url); };
    openExternally = [](const QUrl& url) { QDesktopServices::openUrl(url); };
    presentationTimer_.setSingleShot(true);
    connect(&presentationTimer_, &QTimer::timeout, this, [this] {
        if (closed_ || !modalParent_) return;
        show();
        raise();
    });
}

KWebDialog::~KWebDialog() {
    webView_->wantsImage = nullptr;
}

void KWebDialog::showFromViewController(QWidget* modalParent, const QUrl& url) {
    modalParent_ = modalParent;
    closed_ = false;
    setWindowModality(Qt::WindowModal);
    // The wait starts first: a page refused at once closes the dialog and stops it.
    presentationTimer_.start(presentationDelayMs);
    loadPage(url);
}

void KWebDialog::closeDialog() {
    closed_ = true;
    presentationTimer_.stop();
    ++loadNumber_;
    hide();
    modalParent_ = nullptr;
}

bool KWebDialog::shouldStartLoadWithRequest(const QUrl& url) {
    const WebDialogRoute route = routeForNavigation(url);
    switch (route.action) {
        case WebDialogRoute::Action::Close:
            jsCloseDialog();
            return false;
        case WebDialogRoute::Action::Open:
            jsOpenURL(route.openUrl);
            return false;
        case WebDialogRoute::Action::Refuse:
            return false;
        case WebDialogRoute::Action::Load:
            break;
    }
    return true;
}

void KWebDialog::jsOpenURL(const QString& address) {
    const QUrl url(address, QUrl::StrictMode);
    if (isOpenableOutside(url) && openExternally) openExternally(url);
    closeDialog();
}

void KWebDialog::loadPage(const QUrl& url) {
    // Only pages under the allowed prefixes load; a link elsewhere is simply not followed.
    if (!isAllowedAddress(url.toString(QUrl::FullyEncoded), allowedPrefixes_)) {
        if (pageUrl_.isEmpty()) webViewDidFailLoad();
        return;
    }
    const int number = ++loadNumber_;
    QPointer<KWebDialog> self(this);
    fetchWithLimits(network ? *network : remoteNetworkAccess(), QNetworkRequest(url), "GET", {}, pageLimits,
                    [self, number, url](const WebFetchResult& result) {
                        if (!self || self->loadNumber_ != number || self->closed_) return;
                        if (!result.succeeded)
                            self->webViewDidFailLoad();
                        else
                            self->pageArrived(url, result.data);
                    });
}

void KWebDialog::pageArrived(const QUrl& url, const QByteArray& body) {
    QStringDecoder decoder(QStringDecoder::encodingForHtml(body).value_or(QStringDecoder::Utf8));
    if (!decoder.isValid()) decoder = QStringDecoder(QStringDecoder::Utf8);
    pageUrl_ = url;
    html_ = decoder(body);
    requestedImages_.clear();
    webView_->images.clear();
    webView_->baseUrl = url;
    webView_->document()->setBaseUrl(url);
    webView_->setHtml(html_);
}

void KWebDialog::webViewDidFailLoad() {
    closeDialog();
}

void KWebDialog::fetchImage(const QUrl& url) {
    if (requestedImages_.contains(url) || requestedImages_.size() >= maxImages) return;
    if (!isAllowedAddress(url.toString(QUrl::FullyEncoded), allowedPrefixes_)) return;
    requestedImages_.insert(url);
    const int number = loadNumber_;
    QPointer<KWebDialog> self(this);
    fetchWithLimits(network ? *network : remoteNetworkAccess(), QNetworkRequest(url), "GET", {}, imageLimits,
                    [self, number, url](const WebFetchResult& result) {
                        if (!self || self->loadNumber_ != number || self->closed_ || !result.succeeded) return;
                        const QImage image = decodeImage(result.data);
                        if (image.isNull()) return;
                        self->webView_->images.insert(url, image);
                        // Laid out again, the page now finds the image.
                        const int position = self->webView_->verticalScrollBar()->value();
                        self->webView_->setHtml(self->html_);
                        self->webView_->verticalScrollBar()->setValue(position);
                    });
}

}  // namespace velumen
