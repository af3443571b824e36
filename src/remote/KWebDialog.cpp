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
    _webView = new KWebView(this);
    _webView->setOpenLinks(false);
    _webView->setOpenExternalLinks(false);
    _webView->setReadOnly(true);
    layout->addWidget(_webView, 1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { cancelTapped(); });
    connect(_webView, &QTextBrowser::anchorClicked, this, [this](const QUrl& link) {
        const QUrl url = pageUrl_.resolved(link);
        if (webView(*_webView, url)) loadPage(url);
    });
    _webView->wantsImage = [this](const QUrl& url) { fetchImage(url); };
    openExternally = [](const QUrl& url) { QDesktopServices::openUrl(url); };
    presentationTimer_.setSingleShot(true);
    connect(&presentationTimer_, &QTimer::timeout, this, [this] {
        if (closed_ || !_modalParent) return;
        show();
        raise();
    });
}

KWebDialog::~KWebDialog() {
    _webView->wantsImage = nullptr;
}

void KWebDialog::showFromViewController(QWidget* modalParent, const QUrl& url) {
    _modalParent = modalParent;
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
    _modalParent = nullptr;
}

bool KWebDialog::webView(KWebView&, const QUrl& request, int) {
    const WebDialogRoute route = routeForNavigation(request);
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
        if (pageUrl_.isEmpty()) webView(*_webView, QStringLiteral("not an allowed address"));
        return;
    }
    const int number = ++loadNumber_;
    QPointer<KWebDialog> self(this);
    fetchWithLimits(network ? *network : remoteNetworkAccess(), QNetworkRequest(url), "GET", {}, pageLimits,
                    [self, number, url](const WebFetchResult& result) {
                        if (!self || self->loadNumber_ != number || self->closed_) return;
                        if (!result.succeeded)
                            self->webView(*self->_webView, result.error);
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
    _webView->images.clear();
    _webView->baseUrl = url;
    _webView->document()->setBaseUrl(url);
    _webView->setHtml(html_);
}

void KWebDialog::webView(KWebView&, const QString&) {
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
                        self->_webView->images.insert(url, image);
                        // Laid out again, the page now finds the image.
                        const int position = self->_webView->verticalScrollBar()->value();
                        self->_webView->setHtml(self->html_);
                        self->_webView->verticalScrollBar()->setValue(position);
                    });
}

}  // namespace velumen
