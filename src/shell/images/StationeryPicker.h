// The stationery picker: the built-in papers, "Blank" to remove the background, and the user's own
// pictures kept in the folder "Stationery" (JPEG files named "Image 1.jpg", "Image 2.jpg", ..., newest
// first). Thumbnails of the custom pictures are made one at a time on a worker and kept in a cache of at
// most 50. The picker only reports: the editor sets the book's master image.
#pragma once

#include <QCache>
#include <QDialog>
#include <QImage>
#include <QString>
#include <QThreadPool>
#include <functional>
#include <memory>

#include "objects/KImage.h"

class QListWidget;
class QListWidgetItem;
class QStackedWidget;

namespace velumen {

class StationeryPicker : public QDialog {
  public:
    StationeryPicker(QString customFolder, QWidget* parent);
    ~StationeryPicker() override;

    // ---- The custom folder ----
    // Writes the picture as a new JPEG at quality 0.8 (the folder is made when missing); its path, or empty.
    static QString addCustomImage(const QString& folder, const KImage& image);
    // The folder's "jpg" files, newest first.
    static QStringList getCustomImageFileList(const QString& folder);
    // Removes the file; errors are ignored.
    static void removeCustomImageWithUrl(const QString& path);

    // A choice: the picture (null for "Blank", or a custom file that could not be read) and whether it is
    // the user's own.
    std::function<void(KImagePtr image, bool isCustom)> didSelectBackgroundImage;
    // The add button of the custom list: the editor asks for a picture to add.
    std::function<void()> requestAddCustomImage;

    QListWidget* firstLevel() const { return firstLevel_; }
    QListWidget* customList() const { return customList_; }
    // Shows the list of custom pictures (thumbnails fill in as they are made).
    void showCustomList();
    void selectRow(int row);
    void selectCustomFile(const QString& path);
    // Thumbnails made so far and held in the cache.
    int cachedThumbnailCount() const { return thumbnailCache_.count(); }
    // Waits for the thumbnail worker (tests).
    void waitForThumbnails() { thumbnailQueue_.waitForDone(); }

  private:
    void reloadCustomList();
    void requestThumbnail(QListWidgetItem* item, const QString& path);

    QString customFolder_;
    QStackedWidget* stack_ = nullptr;
    QListWidget* firstLevel_ = nullptr;
    QListWidget* customList_ = nullptr;
    QThreadPool thumbnailQueue_;
    QCache<QString, QImage> thumbnailCache_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace velumen
