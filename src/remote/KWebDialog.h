// The web dialog: a page from an allowed site, shown once in a modal sheet over the editor. The page is
// fetched with the same caps as every remote answer and shown as rich text (no scripts, no plug-ins); its
// images load only from the allowed prefixes, nothing loads from local files, and links do not navigate
// by themselves: each goes through webView (the navigation check), where the private scheme "knav" closes the
// dialog or opens an http or https address on the desktop, and any other address loads only under an
// allowed prefix. A page that does not load closes the dialog. The dialog appears a second after it was
// asked for, so the page has time to arrive; a page that fails before then is never seen.
#pragma once

#include <QDialog>
#include <QHash>
#include <QImage>
#include <QPointer>
#include <QSet>
#include <QStringList>
#include <QTextBrowser>
#include <QTimer>
#include <QUrl>
#include <functional>

#include "remote/WebFetch.h"

namespace velumen {

// The page view: rich text whose resources come only from what the dialog fetched.
class KWebView : public QTextBrowser {
  public:
    using QTextBrowser::QTextBrowser;
    // Images by address, filled by the dialog; anything else reads as nothing.
    QHash<QUrl, QImage> images;
    // An image the page asked for that is not there yet.
    std::function<void(const QUrl&)> wantsImage;
    QUrl baseUrl;
    QVariant loadResource(int type, const QUrl& name) override;
};

class KWebDialog : public QDialog {
  public:
    explicit KWebDialog(QStringList allowedPrefixes, QWidget* parent = nullptr);
    // The page view outlives the dialog's own members while it goes: it asks for nothing more.
    ~KWebDialog() override;

    // Starts loading `url` and presents the dialog over `modalParent` after presentationDelayMs.
    void showFromViewController(QWidget* modalParent, const QUrl& url);
    // Hides the dialog and forgets its parent; nothing more loads.
    void closeDialog();
    void cancelTapped() { closeDialog(); }
    // Whether a navigation of `view` to `request` should load as a page; acts on the private scheme.
    bool webView(KWebView& view, const QUrl& request, int navigationType = 0);
    // A page of `view` did not load (`error` says why): the dialog closes.
    void webView(KWebView& view, const QString& error);
    void jsCloseDialog() { closeDialog(); }
    // Hands `address` to openExternally when it is an http or https address; closes the dialog either way.
    void jsOpenURL(const QString& address);

    // Where "open" sends an address; the desktop's browser by default.
    std::function<void(const QUrl&)> openExternally;
    int presentationDelayMs = 1000;
    QNetworkAccessManager* network = nullptr;
    WebFetchLimits pageLimits{1024 * 1024, 10000};
    WebFetchLimits imageLimits{2 * 1024 * 1024, 10000};
    // The most images one page may load.
    int maxImages = 32;

    KWebView* webView() const { return _webView; }
    QWidget* modalParent() const { return _modalParent; }
    // The page shown, empty before one arrived.
    const QUrl& pageUrl() const { return pageUrl_; }
    bool isClosed() const { return closed_; }
    // Runs from showFromViewController until the dialog is presented or closed.
    const QTimer& presentationTimer() const { return presentationTimer_; }

  private:
    void loadPage(const QUrl& url);
    void pageArrived(const QUrl& url, const QByteArray& body);
    void fetchImage(const QUrl& url);

    QStringList allowedPrefixes_;
    KWebView* _webView = nullptr;
    QPointer<QWidget> _modalParent;
    QUrl pageUrl_;
    QString html_;
    QSet<QUrl> requestedImages_;
    // Each page load has its own number: an answer for an earlier one is dropped.
    int loadNumber_ = 0;
    bool closed_ = false;
    QTimer presentationTimer_;
};

}  // namespace velumen
