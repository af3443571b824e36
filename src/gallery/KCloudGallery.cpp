#include "gallery/KCloudGallery.h"

#include <QColor>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QTimeZone>
#include <QMetaObject>
#include <algorithm>
#include <charconv>
#include <cmath>

#include "gallery/KUtils.h"

namespace velumen {

KCloudGallery::KCloudGallery(Folders folders, QObject* parent)
    : QObject(parent), folders_(std::move(folders)), fileQueue_(FileQueue::shared()) {
    documentsPath = folders_.documents;
    thumbnailQueue_.setMaxThreadCount(2);
}

KCloudGallery::~KCloudGallery() {
    // Work in flight refers to this object: let it end first.
    directoryWatcher_.reset();
    thumbnailQueue_.waitForDone();
    thumbnailCacheQueue_.waitUntilIdle();
    fileQueue_.waitUntilIdle();
}

void KCloudGallery::viewDidLoad(std::unique_ptr<Scheduler> scheduler) {
    selectedFileIndex = -1;
    selectedFileUrl = QUrl();
    initializeSettings();
    files.clear();
    fileFilter.clear();
    initThumbnailCache();
    initializeiCloud();
    KUtils::removeStrayCopies(documentsPath);
    directoryWatcher_ = std::make_unique<KDirectoryWatcher>(std::move(scheduler));
    if (directoryWatcher_->startMonitoringDirectory(documentsPath)) {
        connect(directoryWatcher_.get(), &KDirectoryWatcher::directoryChanged, this, [this] { directoryChanged(); });
    }
}

void KCloudGallery::viewWillAppear() {
    listStale_ = false;
    updateFileListAndScroll(false, false);
}

void KCloudGallery::show(bool shown) {
    isGalleryActive = shown;
    if (shown && listStale_) viewWillAppear();
}

// ---- the list -----------------------------------------------------------------------------------------

std::vector<FileInfo> KCloudGallery::getFileInfoList() {
    std::vector<FileInfo> list;
    if (useiCloud_ && container_) {
        if (!cachediCloudFiles_) {
            std::vector<FileInfo> built;
            for (const UbiquitousItem& item : container_->results()) {
                FileInfo record;
                record.fileName = QFileInfo(item.url.toLocalFile()).fileName();
                record.fileUrl = item.url;
                record.lastModDate =
                    KUtils::modificationTime(item.url.toLocalFile()).value_or(item.contentChangeDate);
                const std::optional<bool> ubiquitous = container_->isUbiquitousItem(item.url);
                if (ubiquitous.value_or(false)) {
                    record.isDownloaded = item.isDownloaded;
                    record.isDownloading = item.isDownloading;
                    record.percentDownloaded = item.isDownloading ? item.percentDownloaded.value_or(0.0) : 0.0;
                } else {
                    record.isDownloaded = true;
                    record.isDownloading = false;
                    record.percentDownloaded = 0.0;
                }
                record.isIniCloud = ubiquitous.value_or(false);
                built.push_back(std::move(record));
            }
            cachediCloudFiles_ = std::move(built);
        }
        list = *cachediCloudFiles_;
    } else {
        list = KUtils::getDateSortedFileList(documentsPath).value_or(std::vector<FileInfo>{});
    }
    if (delegate) delegate->reelGalleryDidGetFileList(*this, list);
    return list;
}

void KCloudGallery::updateFileListAndScroll(bool scroll, bool animated) {
    const std::vector<FileInfo> records = getFileInfoList();
    const QUrl remembered = selectedFileUrl;
    selectedFileUrl = QUrl();
    selectedFileIndex = -1;
    std::vector<FileInfo> listed;
    fileFilter.clear();
    for (const FileInfo& record : records) {
        // A plain suffix test: the name need not have a full stop before the letters.
        if (!record.fileName.endsWith(templateFileExtension)) continue;
        if (record.isIniCloud.value_or(false)) {
            if (!(record.isDownloaded.value_or(false) && !record.isDownloading.value_or(false)))
                removeCachedThumbnailForFile(record.fileUrl);
            downloadFileIfNotAvailable(record.fileUrl);
        }
        fileFilter[record.fileUrl.toString()] = isFilteredIn(record);
        if (record.fileUrl == remembered) {
            selectedFileUrl = remembered;
            selectedFileIndex = static_cast<std::int64_t>(listed.size());
        }
        listed.push_back(record);
    }
    const bool same = arePreviousFiles(files, listed);
    files = std::move(listed);
    isNotFirstRun = true;
    arrangeIconsAs(thumbnailArrangement);
    emit filesChanged(same, scroll, animated);
}

void KCloudGallery::directoryChanged() {
    if (!isGalleryActive) {
        listStale_ = true;
        return;
    }
    updateFileListAndScroll(false, false);
}

std::int32_t KCloudGallery::indexOfFileUrl(const QUrl& url) const {
    for (std::size_t i = 0; i < files.size(); ++i)
        if (files[i].fileUrl == url) return static_cast<std::int32_t>(i);
    return -1;
}

bool KCloudGallery::arePreviousFiles(const std::vector<FileInfo>& previous, const std::vector<FileInfo>& current) {
    if (previous.size() != current.size()) return false;
    for (std::size_t i = 0; i < previous.size(); ++i) {
        if (previous[i].fileUrl != current[i].fileUrl || previous[i].lastModDate != current[i].lastModDate)
            return false;
    }
    return true;
}

// ---- file work ----------------------------------------------------------------------------------------

QString KCloudGallery::baseName(const QUrl& url) { return QFileInfo(url.toLocalFile()).completeBaseName(); }

void KCloudGallery::runFileWork(std::function<void()> work, std::function<void()> then) {
    fileQueue_.post([this, work = std::move(work), then = std::move(then)] {
        work();
        QMetaObject::invokeMethod(this, [then] { then(); }, Qt::QueuedConnection);
    });
}

QUrl KCloudGallery::createNewFile() {
    const QString target = KUtils::getUniqueSerialFilePathInDirectory(
        documentsPath, KUtils::fitBaseName(templateNewFileName, templateFileExtension), templateFileExtension);
    if (!copyTemplateTo(target)) return QUrl();
    const QUrl url = QUrl::fromLocalFile(target);
    fileWasAdded(url);
    return url;
}

bool KCloudGallery::copyTemplateTo(const QString& target) {
    return KUtils::copyAndTouchFileFrom(folders_.resources + QLatin1Char('/') + templateNewFileResourceName, target);
}

QUrl KCloudGallery::addFileTapped() {
    textFieldDidChange(QString());
    const QUrl url = createNewFile();
    selectedFileUrl = url;
    updateFileList();
    if (!url.isEmpty()) emit newFileAdded(url);
    return url;
}

std::optional<QString> KCloudGallery::renameFile(const QString& path, const QString& name, const QString& extension) {
    const QString folder = QFileInfo(path).absolutePath();
    QString from = path;
    // Parked under a name nothing else has: a rename that only changes case works, and a crash between the
    // two moves leaves the book whole under this name.
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, std::round(KUtils::millisecondsSinceReferenceDate()),
                                   std::chars_format::fixed, 0)
                         .ptr;
    const QString parked = folder + QLatin1String("/Recovered ") + QString::fromLatin1(digits, int(end - digits)) +
                           QLatin1Char('.') + extension;
    if (KUtils::moveFileNoReplace(path, parked)) from = parked;
    else if (!KUtils::entryExists(path)) return std::nullopt;
    const QString target = KUtils::getUniqueSerialFilePathInDirectory(
        folder, KUtils::fitBaseName(name, extension), extension);
    if (!KUtils::moveFileNoReplace(from, target)) return from;
    return target;
}

std::optional<QString> KCloudGallery::renameCurrentFileTo(const QString& name) {
    if (selectedFileUrl.isEmpty()) return std::nullopt;
    const QUrl old = selectedFileUrl;
    const std::optional<QString> now = renameFile(old.toLocalFile(), name, templateFileExtension);
    if (!now) return std::nullopt;
    removeCachedThumbnailForFile(old);
    if (useiCloud_) markCachediCloudFileAsDownloadingWithUrl(old);
    selectedFileUrl = QUrl::fromLocalFile(*now);
    return QFileInfo(*now).fileName();
}

bool KCloudGallery::renameSelectedFile(const QString& typed) {
    const QString name = KUtils::sanitizeFileNameString(typed);
    if (selectedFileUrl.isEmpty() || name.isEmpty() || name == baseName(selectedFileUrl)) return false;
    const QUrl old = selectedFileUrl;
    const QString extension = templateFileExtension;
    auto result = std::make_shared<std::optional<QString>>();
    runFileWork([old, name, extension, result] { *result = renameFile(old.toLocalFile(), name, extension); },
                [this, old, result] {
                    if (*result) {
                        removeCachedThumbnailForFile(old);
                        if (useiCloud_) markCachediCloudFileAsDownloadingWithUrl(old);
                        if (selectedFileUrl == old) selectedFileUrl = QUrl::fromLocalFile(**result);
                    }
                    updateFileList();
                    emit fileWorkDone();
                });
    return true;
}

QUrl KCloudGallery::duplicateFile(const QUrl& url) {
    const QString folder = QFileInfo(url.toLocalFile()).absolutePath();
    const QString base = baseName(url);
    QString target;
    for (long serial = 2;; ++serial) {
        const QString number = QLatin1Char(' ') + QString::number(serial);
        const QString dotExtension = QLatin1Char('.') + templateFileExtension;
        target = folder + QLatin1Char('/') +
                 KUtils::cutToBytes(base, KUtils::kMaxNameBytes - int((number + dotExtension).toUtf8().size())) +
                 number + dotExtension;
        if (!KUtils::entryExists(target)) break;
    }
    if (!KUtils::copyAndTouchFileFrom(url.toLocalFile(), target)) return QUrl();
    return QUrl::fromLocalFile(target);
}

void KCloudGallery::duplicateSelectedFile() {
    if (selectedFileUrl.isEmpty()) return;
    const QUrl source = selectedFileUrl;
    auto copy = std::make_shared<QUrl>();
    runFileWork([this, source, copy] { *copy = duplicateFile(source); },
                [this, copy] {
                    if (!copy->isEmpty()) selectedFileUrl = *copy;
                    updateFileList();
                    emit fileWorkDone();
                });
}

void KCloudGallery::deleteSelectedFile() {
    if (selectedFileUrl.isEmpty()) return;
    const QUrl doomed = selectedFileUrl;
    removeCachedThumbnailForFile(doomed);
    runFileWork([doomed] { KUtils::removeFile(doomed.toLocalFile()); },
                [this, doomed] {
                    removeCachediCloudFileWithUrl(doomed);
                    updateFileList();
                    emit fileWorkDone();
                });
}

void KCloudGallery::fileWasAdded(const QUrl& url) {
    if (!useiCloud_ || !container_) return;
    addCachediCloudFileWithUrl(url);
    const QUrl destination =
        QUrl::fromLocalFile(container_->documentsUrl().toLocalFile() + QLatin1Char('/') + QFileInfo(url.toLocalFile()).fileName());
    UbiquityContainer* container = container_;
    auto ok = std::make_shared<bool>(false);
    runFileWork([container, url, destination, ok] { *ok = container->setUbiquitous(true, url, destination); },
                [this, url, ok] { didSetItemUbiquitousAtURL(url, *ok); });
}

void KCloudGallery::handleOpenUrl(const QUrl& url, bool openInPlace) {
    if (!url.isLocalFile()) return;
    if (openInPlace) {
        selectedFileUrl = url;
        openSelectedFileInPlace();
        return;
    }
    const QString target = KUtils::getUniqueSerialFilePathInDirectory(
        documentsPath, KUtils::fitBaseName(baseName(url), templateFileExtension), templateFileExtension);
    KUtils::moveFileSafely(url.toLocalFile(), target);
    KUtils::touchFileAtPath(target);
    selectedFileUrl = QUrl::fromLocalFile(target);
    fileWasAdded(selectedFileUrl);
    updateFileList();
    openSelectedFile();
}

void KCloudGallery::handleOpenExistingFileWithUrl(const QUrl& url) {
    if (!url.isLocalFile()) return;
    const QString path = documentsPath + QLatin1Char('/') + baseName(url) + QLatin1Char('.') + templateFileExtension;
    if (!QFileInfo(path).isFile()) return;
    selectedFileUrl = QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath());
    updateFileList();
    openSelectedFile();
}

void KCloudGallery::selectFile(const QUrl& url) {
    selectedFileIndex = url.isEmpty() ? -1 : indexOfFileUrl(url);
    selectedFileUrl = selectedFileIndex < 0 ? QUrl() : url;
}

void KCloudGallery::zoomInThumbnail(const QImage&, bool, std::function<void()> done) { done(); }

QImage KCloudGallery::zoomThumbnailForSelectedFile() {
    if (selectedFileUrl.isEmpty()) return {};
    QImage image = getDiskCacheThumbnailForFile(selectedFileUrl, true);
    if (!image.isNull()) return image;
    if (const auto info = loadInfoForFile(selectedFileUrl); info && !info->thumbnail.isNull()) {
        setCachedThumbnail(info->thumbnail, selectedFileUrl);
        return info->thumbnail;
    }
    removeCachedThumbnailForFile(selectedFileUrl);
    return {};
}

void KCloudGallery::openFile(bool inPlace) {
    if (selectedFileUrl.isEmpty()) return;
    const QUrl url = selectedFileUrl;
    if (delegate) delegate->reelGalleryWillOpenFile(*this, url);
    didOpenFile();
    zoomInThumbnail(zoomThumbnailForSelectedFile(), inPlace, [this, url] {
        if (delegate) delegate->reelGalleryDidOpenFile(*this, url);
    });
}

void KCloudGallery::openSelectedFile() { openFile(false); }
void KCloudGallery::openSelectedFileInPlace() { openFile(true); }

QUrl KCloudGallery::localDocumentsURL() const { return QUrl::fromLocalFile(folders_.documents); }

QUrl KCloudGallery::ubiquitousDocumentsURL() const { return container_ ? container_->documentsUrl() : QUrl(); }

QStringList KCloudGallery::contextMenuTitles() const {
    QStringList titles{QStringLiteral("Rename"), QStringLiteral("Duplicate")};
    if (showCategories()) titles << QStringLiteral("Categorize");
    titles << QStringLiteral("Delete");
    return titles;
}

QString KCloudGallery::deleteConfirmationMessage() const {
    return QString::fromLatin1(kDeleteMessage).replace(QLatin1String("%@"), baseName(selectedFileUrl));
}

QString KCloudGallery::dateText(const FileInfo& record, const QDateTime& now) {
    const QDateTime date = record.lastModDateTime().toTimeZone(now.timeZone());
    const QLocale locale;
    const QString time = locale.toString(date.time(), QLocale::ShortFormat);
    if (date.date() == now.date()) return QStringLiteral("Today %1").arg(time);
    return locale.toString(date.date(), QStringLiteral("MMM d, yyyy")) + QLatin1Char(' ') + time;
}

// ---- search and sort ----------------------------------------------------------------------------------

bool KCloudGallery::isFilteredIn(const FileInfo& record) const {
    if (searchText_.isEmpty()) return true;
    return QFileInfo(record.fileName).completeBaseName().contains(searchText_, Qt::CaseInsensitive);
}

void KCloudGallery::textFieldDidChange(const QString& text) {
    searchText_ = text;
    fileFilter.clear();
    int matches = 0;
    for (const FileInfo& record : files) {
        const bool in = isFilteredIn(record);
        fileFilter[record.fileUrl.toString()] = in;
        matches += in ? 1 : 0;
    }
    arrangeIconsAs(thumbnailArrangement);
    if (text.isEmpty()) {
        titleText_.clear();
    } else {
        titleText_ = (isTabletIdiom ? QStringLiteral("Showing %1 of %2 Books") : QStringLiteral("%1 of %2 Books"))
                         .arg(matches)
                         .arg(files.size());
    }
}

void KCloudGallery::sortSelectorChanged(int segment) {
    thumbnailArrangement = segment == 0 ? 0 : 1;
    thumbnailArrangementChanged();
    arrangeIconsAs(thumbnailArrangement);
}

void KCloudGallery::arrangeIconsAs(std::int32_t arrangement) {
    thumbnailArrangement = arrangement;
    arranged_.resize(files.size());
    for (std::size_t i = 0; i < files.size(); ++i) arranged_[i] = static_cast<int>(i);
    if (arrangement == 1) {
        // Plain code-point order of the whole name: upper case before lower, extension included.
        std::vector<QList<uint>> keys;
        keys.reserve(files.size());
        for (const FileInfo& record : files) keys.push_back(record.fileName.toUcs4());
        std::stable_sort(arranged_.begin(), arranged_.end(), [&keys](int a, int b) {
            return std::lexicographical_compare(keys[a].begin(), keys[a].end(), keys[b].begin(), keys[b].end());
        });
    } else {
        std::stable_sort(arranged_.begin(), arranged_.end(),
                         [this](int a, int b) { return files[a].lastModDate > files[b].lastModDate; });
    }
    emit iconsArranged();
}

std::vector<int> KCloudGallery::visibleOrder() const {
    std::vector<int> shown;
    for (int index : arranged_) {
        const auto it = fileFilter.find(files[index].fileUrl.toString());
        if (it == fileFilter.end() || it->second) shown.push_back(index);
    }
    return shown;
}

QColor KCloudGallery::colorForCategoryIndex(int) const { return QColor(Qt::white); }
int KCloudGallery::categoryIndexForFileWithName(const QString&) const { return 0; }
void KCloudGallery::setCategoryIndex(int, const QString&) {}

// ---- the ubiquitous store -----------------------------------------------------------------------------

void KCloudGallery::initializeiCloud() {
    useiCloud_ = false;
    container_ = nullptr;
    documentsPath = folders_.documents;
}

void KCloudGallery::setUseiCloud(bool use, UbiquityContainer* container) {
    useiCloud_ = use && container;
    container_ = useiCloud_ ? container : nullptr;
    cachediCloudFiles_.reset();
    documentsPath = useiCloud_ ? container_->documentsUrl().toLocalFile() : folders_.documents;
}

void KCloudGallery::iCloudDidUpdate() {
    if (!useiCloud_) return;
    cachediCloudFiles_.reset();
    if (!isGalleryActive) return;
    container_->disableUpdates();
    getFileInfoList();
    updateFileListAndScroll(false, false);
    container_->enableUpdates();
}

bool KCloudGallery::downloadFileIfNotAvailable(const QUrl& url) {
    if (!container_) return true;
    const std::optional<bool> ubiquitous = container_->isUbiquitousItem(url);
    if (!ubiquitous || !*ubiquitous) return true;
    const std::optional<bool> downloaded = container_->isDownloadedItem(url);
    if (!downloaded || *downloaded) return true;
    container_->startDownloading(url);
    return false;
}

void KCloudGallery::addCachediCloudFileWithUrl(const QUrl& url) {
    if (!cachediCloudFiles_) cachediCloudFiles_.emplace();
    FileInfo record;
    record.fileName = QFileInfo(url.toLocalFile()).fileName();
    record.fileUrl = url;
    record.lastModDate = QDateTime::currentMSecsSinceEpoch() * 1000000;
    record.isIniCloud = true;
    record.isDownloaded = true;
    record.isDownloading = false;
    record.percentDownloaded = 0.0;
    cachediCloudFiles_->insert(cachediCloudFiles_->begin(), record);
}

void KCloudGallery::removeCachediCloudFileWithUrl(const QUrl& url) {
    if (!cachediCloudFiles_) return;
    auto& list = *cachediCloudFiles_;
    const auto it = std::find_if(list.begin(), list.end(), [&url](const FileInfo& r) { return r.fileUrl == url; });
    if (it != list.end()) list.erase(it);
}

void KCloudGallery::markCachediCloudFileAsDownloadingWithUrl(const QUrl& url) {
    if (!cachediCloudFiles_) return;
    for (FileInfo& record : *cachediCloudFiles_) {
        if (record.fileUrl != url) continue;
        record.isDownloaded = false;
        record.isDownloading = true;
        record.percentDownloaded = 0.0;
        return;
    }
}

void KCloudGallery::updateTimestampForCachediCloudFile(const QUrl& url) {
    if (!cachediCloudFiles_) return;
    for (FileInfo& record : *cachediCloudFiles_) {
        if (record.fileUrl != url) continue;
        if (const auto time = KUtils::modificationTime(url.toLocalFile())) record.lastModDate = *time;
    }
}

bool KCloudGallery::showsSyncProgress(const FileInfo& record) {
    return record.isIniCloud.value_or(false) && !record.isDownloaded.value_or(true);
}

QString KCloudGallery::syncProgressText(const FileInfo& record) {
    return QStringLiteral("Syncing: %1%").arg(record.percentDownloaded.value_or(0.0), 0, 'f', 0);
}

}  // namespace velumen
