// The gallery's model: every book in the books folder as a record, kept in date order, filtered by the
// search text and arranged by date or name; the file work on books (make, rename, duplicate, delete, take
// in) done off the GUI thread on the serial file queue; the thumbnails from a memory cache, two disk caches
// and the book's own preview; the folder's watcher; and the ubiquitous store behind its switch. No widgets:
// the grid shows what this holds and calls its commands.
#pragma once

#include <QColor>
#include <QImage>
#include <QObject>
#include <QSizeF>
#include <QString>
#include <QStringList>
#include <QThreadPool>
#include <QUrl>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

#include "document/qt/FileQueue.h"
#include "gallery/FileInfo.h"
#include "gallery/KDirectoryWatcher.h"
#include "gallery/UbiquityContainer.h"

namespace velumen {

class KCloudGallery;

// The editor, told about opening and about each read of the list.
class KCloudGalleryDelegate {
  public:
    virtual ~KCloudGalleryDelegate() = default;
    virtual void reelGalleryWillOpenFile(KCloudGallery& gallery, const QUrl& url) = 0;
    virtual void reelGalleryDidOpenFile(KCloudGallery& gallery, const QUrl& url) = 0;
    virtual void reelGalleryDidGetFileList(KCloudGallery& gallery, const std::vector<FileInfo>& list) = 0;
};

// A map from book to image holding at most `limit` entries, the least recently used going first. Safe to use
// from any thread.
class KThumbnailMemoryCache {
  public:
    explicit KThumbnailMemoryCache(std::size_t limit) : limit_(limit) {}
    std::optional<QImage> object(const QUrl& url);
    void setObject(const QImage& image, const QUrl& url);
    void removeObject(const QUrl& url);
    std::size_t count() const;
    std::size_t countLimit() const { return limit_; }

  private:
    mutable std::mutex mutex_;
    std::size_t limit_;
    std::list<std::pair<QString, QImage>> entries_;  // most recent first
    std::unordered_map<QString, std::list<std::pair<QString, QImage>>::iterator> index_;
};

class KCloudGallery : public QObject {
    Q_OBJECT

  public:
    // Where things are. Each can be redirected (tests, command-line options).
    struct Folders {
        QString documents;  // the books folder
        QString caches;     // holds "small-thumbnails" and "large-thumbnails"
        QString resources;  // the template and guide books
    };
    // Texts the user sees.
    static constexpr const char* kRenameTitle = "Rename File";
    static constexpr const char* kRenameButton = "Rename";
    static constexpr const char* kCancelButton = "Cancel";
    static constexpr const char* kDeleteTitle = "Confirm Delete";
    static constexpr const char* kDeleteMessage = "Permanently delete %@?";
    static constexpr const char* kDeleteNoButton = "No";
    static constexpr const char* kDeleteButton = "Delete";
    static constexpr int kThumbnailCacheLimit = 50;

    KCloudGallery(Folders folders, QObject* parent = nullptr);
    ~KCloudGallery() override;

    // Start-up, in order: selection cleared, settings, the caches, the store, the folder's watcher. The
    // watcher's delay runs on `scheduler` (the event loop's timer when null).
    void viewDidLoad(std::unique_ptr<Scheduler> scheduler = {});
    // The gallery comes on screen: the list is read again without scrolling.
    void viewWillAppear();
    // The gallery is shown (true) or hidden behind an open book (false).
    void show(bool shown);

    // ---- the list -------------------------------------------------------------------------------------
    // The records of the folder (or of the store), newest first; tells the delegate.
    std::vector<FileInfo> getFileInfoList();
    // Reads the list again, keeps the selection if its book is still there, and announces whether the
    // books are the same (only a re-arrangement) or not (icons rebuilt).
    void updateFileListAndScroll(bool scroll, bool animated);
    void updateFileList() { updateFileListAndScroll(true, true); }
    // The folder changed (the watcher's notice). While a book is open nothing is read: the editor's own
    // saves do not rebuild the list; it is read when the gallery comes back.
    void directoryChanged();
    // Position in `files` of the book, -1 if it is not listed.
    std::int32_t indexOfFileUrl(const QUrl& url) const;
    static bool arePreviousFiles(const std::vector<FileInfo>& previous, const std::vector<FileInfo>& current);

    // ---- file work ------------------------------------------------------------------------------------
    // A new book from the template: "New Book", then "New Book 2", ...; newest of all. Its URL.
    QUrl createNewFile();
    // The add button: clears the search, makes a book, selects it, reads the list.
    QUrl addFileTapped();
    // Renames the selected book: parked first under "Recovered <ms>", then given the new name (with a
    // serial on a clash). The final file name, or nothing without a selection. Runs where it is called.
    std::optional<QString> renameCurrentFileTo(const QString& name);
    // The same for any book: the path the book now has (its parked "Recovered" name if the second move
    // failed), or nothing when there is no book at `path`.
    static std::optional<QString> renameFile(const QString& path, const QString& name, const QString& extension);
    // The rename command with the text typed in its alert: cleaned; empty or unchanged does nothing (false).
    // Otherwise the work runs on the file queue and the list is read afterwards.
    bool renameSelectedFile(const QString& typed);
    // A copy named "<base> 2", "<base> 3", ... beside the book, made newest. Its URL (empty on failure).
    QUrl duplicateFile(const QUrl& url);
    // The duplicate command: copies on the file queue, then selects the copy and reads the list.
    void duplicateSelectedFile();
    // The delete command after its confirmation: the cached thumbnails go, the file is removed on the file
    // queue, then the list is read.
    void deleteSelectedFile();
    // Hook for a book that has just arrived; with the local store nothing happens.
    virtual void fileWasAdded(const QUrl& url);
    // A book handed over from outside. In place: opened where it is. Otherwise moved into the books folder
    // under its base name with the book extension (a serial on a clash), made newest, selected and opened.
    void handleOpenUrl(const QUrl& url, bool openInPlace);
    // Opens the listed book of the same base name, if there is one.
    void handleOpenExistingFileWithUrl(const QUrl& url);
    // Opens the selected book: the delegate hears willOpen, the zoom runs, then didOpen.
    void openSelectedFile();
    void openSelectedFileInPlace();
    // The image the zoom into the selected book starts from: the large cache, else the book's preview.
    QImage zoomThumbnailForSelectedFile();
    // Selects a listed book (or none for an empty URL).
    void selectFile(const QUrl& url);
    QUrl localDocumentsURL() const;
    QUrl ubiquitousDocumentsURL() const;

    // The entries of a book's context menu, in order.
    QStringList contextMenuTitles() const;
    // The message of the delete confirmation for the selected book.
    QString deleteConfirmationMessage() const;
    // The date line of an icon: "Today <time>" for today's books, else the medium date and the short time.
    static QString dateText(const FileInfo& record, const QDateTime& now);

    // ---- search and sort -----------------------------------------------------------------------------
    // True when the search text is empty or the book's base name contains it, case-insensitively.
    bool isFilteredIn(const FileInfo& record) const;
    // The search text changed: the filter is rebuilt and the title follows.
    void textFieldDidChange(const QString& text);
    QString searchText() const { return searchText_; }
    // The toolbar's title: empty (the title image) without a search, else "Showing %d of %d Books" on a
    // tablet, "%d of %d Books" otherwise.
    QString titleText() const { return titleText_; }
    bool isToolbarTinted() const { return !searchText_.isEmpty(); }
    // The sort selector: segment 0 by date, otherwise by name.
    void sortSelectorChanged(int segment);
    virtual void thumbnailArrangementChanged() {}
    // Sorts the icons by the arrangement (0 by date, newest first; 1 by name in code-point order).
    void arrangeIconsAs(std::int32_t arrangement);
    // Indices into `files` in the arranged order, every book; and only those the search lets through.
    const std::vector<int>& arrangedOrder() const { return arranged_; }
    std::vector<int> visibleOrder() const;
    // Category hooks: switched off.
    virtual bool showCategories() const { return false; }
    QColor colorForCategoryIndex(int index) const;
    int categoryIndexForFileWithName(const QString& name) const;
    void setCategoryIndex(int index, const QString& name);

    // ---- thumbnails ----------------------------------------------------------------------------------
    void initThumbnailCache();
    QString getDiskCacheSmallThumbnailFilePathForFile(const QUrl& url) const;
    QString getDiskCacheLargeThumbnailFilePathForFile(const QUrl& url) const;
    // Queues the writes of both cache files; returns true at once.
    bool saveDiskCacheThumbnail(const QImage& image, const QUrl& url);
    // True when the destination is older than the source, or the source cannot be read. Equal dates are not
    // newer.
    static bool isSourceFile(const QString& source, const QString& destination);
    // A cached file that is not older than its book, decoded by content; null otherwise.
    QImage getDiskCacheThumbnailForFile(const QUrl& url, bool largeSize = false) const;
    void deleteDiskCacheThumbnailForFile(const QUrl& url);
    // Memory, else the small file (then kept in memory); null when neither has it.
    QImage getCachedThumbnailForFile(const QUrl& url);
    void setCachedThumbnail(const QImage& image, const QUrl& url);
    void removeCachedThumbnailForFile(const QUrl& url);
    // The editor's picture of a book it closes: into the caches if the book is listed (null removes them).
    void setThumbnail(const QImage& image, const QUrl& url);
    // Finds the book's picture off the GUI thread (caches, else the book's preview, which then fills the
    // caches) and announces it with thumbnailReady (a null image for a book without one).
    void setThumbnailAsync(const QUrl& url);
    virtual QImage getScaledImage(const QImage& image) const { return image; }
    // Scaled and cropped to fill the thumbnail size.
    QImage getThumbnailSizedImageForImage(const QImage& image) const;
    static QImage getThumbnailSizedImageForImage(const QImage& image, QSizeF size);
    // The book's preview by the partial read: "thumbnail" and "pageNum" of the book. Nothing here.
    struct FileInfoDetails {
        QImage thumbnail;
        int pageCount = 1;
        int pageNum = 0;
    };
    virtual std::optional<FileInfoDetails> loadInfoForFile(const QUrl& url) const;
    // Blocks until queued cache writes and thumbnail reads have finished.
    void waitForThumbnailWork();
    KThumbnailMemoryCache& cachedThumbnailImages() { return cachedThumbnailImages_; }

    // ---- the ubiquitous store --------------------------------------------------------------------------
    void initializeiCloud();
    bool useiCloud() const { return useiCloud_; }
    // Switches the store on with a container, or off (null).
    void setUseiCloud(bool use, UbiquityContainer* container);
    void iCloudDidUpdate();
    void updateUbiquitousDocuments() { iCloudDidUpdate(); }
    void finishUpdatingUbiquitousDocuments() { iCloudDidUpdate(); }
    virtual void didSetItemUbiquitousAtURL(const QUrl&, bool) {}
    // False when a download had to start.
    bool downloadFileIfNotAvailable(const QUrl& url);
    void addCachediCloudFileWithUrl(const QUrl& url);
    void removeCachediCloudFileWithUrl(const QUrl& url);
    void markCachediCloudFileAsDownloadingWithUrl(const QUrl& url);
    void updateTimestampForCachediCloudFile(const QUrl& url);
    const std::optional<std::vector<FileInfo>>& cachediCloudFiles() const { return cachediCloudFiles_; }
    // Whether a record's icon shows download progress ("Syncing: N%") and is disabled.
    static bool showsSyncProgress(const FileInfo& record);
    static QString syncProgressText(const FileInfo& record);

    // Waits for the file queue (tests and quitting).
    void waitForFileWork() { fileQueue_.waitUntilIdle(); }

    // ---- fields ---------------------------------------------------------------------------------------
    KCloudGalleryDelegate* delegate = nullptr;
    QString templateNewFileResourceName;
    QString templateFileExtension = QStringLiteral("velumen");
    QString templateNewFileName = QStringLiteral("New Book");
    QString documentsPath;
    std::vector<FileInfo> files;
    std::map<QString, bool> fileFilter;  // by URL text
    QUrl selectedFileUrl;
    std::int64_t selectedFileIndex = -1;
    bool isNotFirstRun = false;
    bool isGalleryActive = true;
    bool isTabletIdiom = true;
    double screenScale = 1.0;
    std::int32_t thumbnailArrangement = 0;
    QSizeF thumbnailSize{200, 250};
    QString thumbnailCacheDirectory;
    QString largeThumbnailCacheDirectory;

  signals:
    // The list was read: `sameFiles` means only a re-arrangement is needed, else icons are rebuilt.
    void filesChanged(bool sameFiles, bool scroll, bool animated);
    // The order or the filter of the icons changed.
    void iconsArranged();
    // A new book was added by the add button (the grid animates its icon in).
    void newFileAdded(const QUrl& url);
    // A picture for a book was found (null: none).
    void thumbnailReady(const QUrl& url, const QImage& image);
    // File work finished and the list has been read (rename, duplicate, delete).
    void fileWorkDone();

  protected:
    virtual void initializeSettings() {}
    // The zoom into the book; the base calls `done` at once. The grid replaces it with its animation.
    virtual void zoomInThumbnail(const QImage& image, bool inPlace, std::function<void()> done);
    virtual void didOpenFile() {}
    virtual void copyNewQuickstartGuide() {}
    // Writes the template book at `target` (which is free), newest; false on failure.
    virtual bool copyTemplateTo(const QString& target);

    Folders folders_;

  private:
    // Runs `work` on the file queue, then `then` on this object's thread.
    void runFileWork(std::function<void()> work, std::function<void()> then);
    void openFile(bool inPlace);
    static QString baseName(const QUrl& url);

    FileQueue& fileQueue_;
    FileQueue thumbnailCacheQueue_;
    QThreadPool thumbnailQueue_;
    KThumbnailMemoryCache cachedThumbnailImages_{kThumbnailCacheLimit};
    std::unique_ptr<KDirectoryWatcher> directoryWatcher_;
    bool listStale_ = false;
    QString searchText_;
    QString titleText_;
    std::vector<int> arranged_;
    bool useiCloud_ = false;
    UbiquityContainer* container_ = nullptr;
    std::optional<std::vector<FileInfo>> cachediCloudFiles_;
};

}  // namespace velumen
