// The start-up dialogs and how they are presented.
#include "remote/RemoteDialogs.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPalette>
#include <QPushButton>
#include <QScrollBar>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "remote/KWebDialog.h"
#include "remote/RemoteMessages.h"

namespace velumen {

namespace {

const char* const kWhatsNewText = R"(<h2>What's new in Velumen 7.2</h2>
<ul>
<li>Ink in six pens, drawn as dots and shown straight from the page's own data.</li>
<li>Pages turn with an animation; a page picker shows them all.</li>
<li>Undo and redo per page, with a long press for the menu.</li>
<li>Palm rejection and a wrist guard for drawing with a stylus.</li>
<li>Books lock against changes with one tap.</li>
</ul>)";

void openOutside(const QUrl& url) {
    QDesktopServices::openUrl(url);
}

}  // namespace

WhatsNewDialog::WhatsNewDialog(DeviceProfile profile, QWidget* parent) : QDialog(parent) {
    setObjectName(profile == DeviceProfile::Phone ? "WhatsNewDialog_iPhone" : "WhatsNewDialog");
    setWindowTitle(tr("What's New"));
    resize(profile == DeviceProfile::Phone ? QSize(320, 480) : QSize(540, 620));
    auto* layout = new QVBoxLayout(this);
    _textView = new QTextBrowser(this);
    _textView->setOpenLinks(false);
    _textView->setHtml(tr(kWhatsNewText));
    // The colours of the system's theme, light or dark.
    _textView->setPalette(QApplication::palette());
    _textView->verticalScrollBar()->setValue(0);
    layout->addWidget(_textView, 1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

PleaseRateDialog::PleaseRateDialog(DeviceProfile profile, QUrl ratingPage, QWidget* parent)
    : QDialog(parent), ratingPage_(std::move(ratingPage)) {
    setObjectName(profile == DeviceProfile::Phone ? "PleaseRateDialog_iPhone" : "PleaseRateDialog");
    setWindowTitle(tr("Enjoying Velumen?"));
    auto* layout = new QVBoxLayout(this);
    auto* text = new QLabel(tr("If Velumen is useful to you, would you take a moment to rate it?"), this);
    text->setWordWrap(true);
    layout->addWidget(text);
    auto* buttons = new QDialogButtonBox(this);
    QPushButton* rate = buttons->addButton(tr("Rate"), QDialogButtonBox::AcceptRole);
    buttons->addButton(tr("Not Now"), QDialogButtonBox::RejectRole);
    layout->addWidget(buttons);
    connect(rate, &QPushButton::clicked, this, [this] { okTapped(); });
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { cancelTapped(); });
    openExternally = openOutside;
}

void PleaseRateDialog::okTapped() {
    accept();
    if (openExternally && ratingPage_.isValid()) openExternally(ratingPage_);
}

void PleaseRateDialog::cancelTapped() {
    reject();
}

void installRemoteDialogs(RemoteMessages& messages, QWidget& editor) {
    QPointer<QWidget> parent(&editor);
    const DeviceProfile profile = messages.profile();
    // The one sheet in view, kept until the next replaces it.
    auto shown = std::make_shared<QPointer<QDialog>>();
    auto present = [parent, shown](QDialog* dialog) {
        if (*shown) (*shown)->deleteLater();
        *shown = dialog;
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->setWindowModality(Qt::WindowModal);
        dialog->open();
    };
    messages.isPresenting = [shown] {
        return QApplication::activeModalWidget() != nullptr || QApplication::activePopupWidget() != nullptr ||
               (*shown && (*shown)->isVisible());
    };
    messages.presentWhatsNewDialog = [parent, profile, present] {
        if (parent) present(new WhatsNewDialog(profile, parent));
    };
    const QUrl ratingPage(messages.endpoints().ratingPageUrl);
    messages.presentPleaseRateDialog = [parent, profile, present, ratingPage] {
        if (parent) present(new PleaseRateDialog(profile, ratingPage, parent));
    };
    const QUrl promotionPage(messages.endpoints().promotionPageUrl);
    messages.presentPromotion = [parent, present, promotionPage] {
        if (!parent) return;
        auto* dialog = new QDialog(parent);
        dialog->setWindowTitle(QObject::tr("From the makers of Velumen"));
        auto* layout = new QVBoxLayout(dialog);
        auto* text = new QLabel(QObject::tr("There is something new from the makers of Velumen. Have a look?"),
                                dialog);
        text->setWordWrap(true);
        layout->addWidget(text);
        auto* buttons = new QDialogButtonBox(dialog);
        QPushButton* look = buttons->addButton(QObject::tr("Have a Look"), QDialogButtonBox::AcceptRole);
        buttons->addButton(QObject::tr("No Thanks"), QDialogButtonBox::RejectRole);
        layout->addWidget(buttons);
        QObject::connect(look, &QPushButton::clicked, dialog, [dialog, promotionPage] {
            dialog->accept();
            openOutside(promotionPage);
        });
        QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
        present(dialog);
    };
    const QStringList prefixes = messages.endpoints().allowedPrefixes;
    QNetworkAccessManager* network = messages.network;
    messages.presentWebDialog = [parent, shown, prefixes, network](const QUrl& url) {
        if (!parent) return;
        if (*shown) (*shown)->deleteLater();
        auto* dialog = new KWebDialog(prefixes, parent);
        dialog->network = network;
        *shown = dialog;
        dialog->showFromViewController(parent, url);
    };
}

}  // namespace velumen
