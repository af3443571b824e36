// The notebook's way between its gallery and its editor: a book chosen in the gallery opens in the editor
// once the zoom has run, and the window's title names it; a book that does not open is refused with a
// message and the gallery stays; closing a book brings the gallery back with the book's new picture, the
// zoom running the other way. A book handed over from outside (the command line, a later launch, the file
// manager) is opened where it is.
#pragma once

#include <QObject>
#include <QString>
#include <functional>

#include "gallery/KCloudGallery.h"

namespace velumen {

class FoliantViewController;
class GalleryView;
class NotebookWindow;

class NotebookGallery : public QObject, public KCloudGalleryDelegate {
  public:
    // All four outlive this object. Takes over the editor's ways back to the gallery and its thumbnails.
    NotebookGallery(FoliantViewController& editor, NotebookWindow& window, GalleryView& view,
                    QObject* parent = nullptr);

    // Shows the gallery at start, or opens `path` in place when one was handed over.
    void start(const QString& path = {});
    // The window's title for a book (or for the gallery with an empty path).
    static QString titleFor(const QString& path);

    void reelGalleryWillOpenFile(KCloudGallery& gallery, const QUrl& url) override;
    void reelGalleryDidOpenFile(KCloudGallery& gallery, const QUrl& url) override;
    void reelGalleryDidGetFileList(KCloudGallery& gallery, const std::vector<FileInfo>& list) override;

    // A message for the user (a book that would not open).
    std::function<void(const QString&)> showMessage;
    // A book is open in the editor (its path); and the gallery is back after a close.
    std::function<void(const QString&)> didOpen;
    std::function<void()> didReturn;
    // The path of the open book, empty while the gallery shows.
    QString openBookPath() const { return openPath_; }

  private:
    void returnToGallery(bool zoom);

    FoliantViewController& editor_;
    NotebookWindow& window_;
    GalleryView& view_;
    QString openPath_;
    bool opening_ = false;
};

}  // namespace velumen
