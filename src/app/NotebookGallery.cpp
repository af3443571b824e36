// Between the gallery and the editor: opening, refusing, closing and the window's title.
#include "app/NotebookGallery.h"

#include <QFileInfo>
#include <QStackedWidget>
#include <QUrl>

#include "document/DisplayText.h"
#include "gallery/ui/GalleryView.h"
#include "shell/FoliantViewController.h"
#include "shell/NotebookSession.h"
#include "shell/NotebookWindow.h"

namespace velumen {

namespace {

QImage toQImage(const KImagePtr& image) {
    if (!image || image->isEmpty() ||
        image->pixels.size() < std::size_t(image->width) * std::size_t(image->height))
        return {};
    return QImage(reinterpret_cast<const uchar*>(image->pixels.data()), image->width, image->height,
                  image->width * 4, QImage::Format_ARGB32_Premultiplied)
        .copy();
}

}  // namespace

NotebookGallery::NotebookGallery(FoliantViewController& editor, NotebookWindow& window, GalleryView& view,
                                 QObject* parent)
    : QObject(parent), editor_(editor), window_(window), view_(view) {
    view_.gallery().delegate = this;
    editor_.returnToGallery = [this] { returnToGallery(true); };
    editor_.openHandedOverFile = [this](const QString& path) {
        // The open book has been saved and closed: straight to the handed-over one, no zoom back.
        if (!openPath_.isEmpty()) returnToGallery(false);
        view_.gallery().handleOpenUrl(QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()), true);
    };
    editor_.setThumbnailForFile = [this](const QString& path, const KImagePtr& thumbnail) {
        view_.gallery().setThumbnail(toQImage(thumbnail), QUrl::fromLocalFile(path));
    };
}

QString NotebookGallery::titleFor(const QString& path) {
    if (path.isEmpty()) return QStringLiteral("Velumen");
    // A name may hold control characters: the title shows them as visible text on one line.
    const QString name =
        QString::fromStdString(escapedForDisplay(QFileInfo(path).completeBaseName().toStdString()));
    return name + QStringLiteral(" \u2014 Velumen");
}

void NotebookGallery::start(const QString& path) {
    window_.setWindowTitle(titleFor({}));
    view_.gallery().viewWillAppear();
    view_.setFocus();
    if (!path.isEmpty())
        view_.gallery().handleOpenUrl(QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()), true);
}

void NotebookGallery::reelGalleryWillOpenFile(KCloudGallery&, const QUrl&) {
    opening_ = true;
}

void NotebookGallery::reelGalleryDidOpenFile(KCloudGallery&, const QUrl& url) {
    const QString path = url.toLocalFile();
    editor_.loadDocumentFromFile(path, [this, path](bool success) {
        opening_ = false;
        if (!success) {
            view_.cancelZoom();
            if (showMessage) showMessage(NotebookSession::refusalMessage(path));
            return;
        }
        openPath_ = path;
        window_.stack()->setCurrentWidget(&editor_);
        editor_.setFocus();
        view_.show(false);
        window_.setWindowTitle(titleFor(path));
        if (didOpen) didOpen(path);
    });
}

void NotebookGallery::reelGalleryDidGetFileList(KCloudGallery&, const std::vector<FileInfo>&) {}

void NotebookGallery::returnToGallery(bool zoom) {
    openPath_.clear();
    window_.stack()->setCurrentWidget(&view_);
    window_.setWindowTitle(titleFor({}));
    view_.show(true);
    if (zoom) {
        view_.zoomOutWithCompletion([this] {
            if (didReturn) didReturn();
        });
    } else {
        view_.gallery().updateFileListAndScroll(true, false);
        if (didReturn) didReturn();
    }
}

}  // namespace velumen
