// The gallery's thumbnails: a memory cache of the last fifty pictures, two folders of cached files (small
// for the grid, large for the zoom), each valid while it is not older than its book, and the book's own
// preview when both miss. Cache files hold JPEG whatever their name says and are read by content.
#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QMetaObject>
#include <QSaveFile>

#include "gallery/BookPreview.h"
#include "gallery/KCloudGallery.h"
#include "gallery/KUtils.h"

namespace velumen {

std::optional<QImage> KThumbnailMemoryCache::object(const QUrl& url) {
    std::lock_guard lock(mutex_);
    const auto it = index_.find(url.toString());
    if (it == index_.end()) return std::nullopt;
    entries_.splice(entries_.begin(), entries_, it->second);
    return it->second->second;
}

void KThumbnailMemoryCache::setObject(const QImage& image, const QUrl& url) {
    std::lock_guard lock(mutex_);
    const QString key = url.toString();
    if (const auto it = index_.find(key); it != index_.end()) {
        it->second->second = image;
        entries_.splice(entries_.begin(), entries_, it->second);
        return;
    }
    entries_.emplace_front(key, image);
    index_[key] = entries_.begin();
    while (entries_.size() > limit_) {
        index_.erase(entries_.back().first);
        entries_.pop_back();
    }
}

void KThumbnailMemoryCache::removeObject(const QUrl& url) {
    std::lock_guard lock(mutex_);
    const auto it = index_.find(url.toString());
    if (it == index_.end()) return;
    entries_.erase(it->second);
    index_.erase(it);
}

std::size_t KThumbnailMemoryCache::count() const {
    std::lock_guard lock(mutex_);
    return entries_.size();
}

namespace {

// JPEG at quality 0.9, written through a temporary file renamed into place; errors are dropped.
void writeJpegAtomically(const QImage& image, const QString& path) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return;
    QImageWriter writer(&file, "jpeg");
    writer.setQuality(90);
    if (!writer.write(image.convertToFormat(QImage::Format_RGB32))) {
        file.cancelWriting();
        return;
    }
    file.commit();
}

}  // namespace

void KCloudGallery::initThumbnailCache() {
    thumbnailCacheDirectory = folders_.caches + QStringLiteral("/small-thumbnails");
    largeThumbnailCacheDirectory = folders_.caches + QStringLiteral("/large-thumbnails");
    KUtils::ensureDirectoryExists(thumbnailCacheDirectory);
    KUtils::ensureDirectoryExists(largeThumbnailCacheDirectory);
}

QString KCloudGallery::getDiskCacheSmallThumbnailFilePathForFile(const QUrl& url) const {
    return thumbnailCacheDirectory + QLatin1Char('/') + QFileInfo(url.toLocalFile()).completeBaseName() +
           QStringLiteral(".png");
}

QString KCloudGallery::getDiskCacheLargeThumbnailFilePathForFile(const QUrl& url) const {
    return largeThumbnailCacheDirectory + QLatin1Char('/') + QFileInfo(url.toLocalFile()).completeBaseName() +
           QStringLiteral(".png");
}

bool KCloudGallery::saveDiskCacheThumbnail(const QImage& image, const QUrl& url) {
    const QString large = getDiskCacheLargeThumbnailFilePathForFile(url);
    const QString small = getDiskCacheSmallThumbnailFilePathForFile(url);
    QSizeF target = thumbnailSize;
    if (isTabletIdiom && image.devicePixelRatio() < screenScale) target *= screenScale;
    thumbnailCacheQueue_.post([image, large, small, target, this] {
        writeJpegAtomically(image, large);
        writeJpegAtomically(getThumbnailSizedImageForImage(image, target), small);
    });
    return true;
}

bool KCloudGallery::isSourceFile(const QString& source, const QString& destination) {
    const std::optional<FileTime> destinationTime = KUtils::modificationTime(destination);
    const std::optional<FileTime> sourceTime = KUtils::modificationTime(source);
    if (!sourceTime) return true;
    if (!destinationTime) return true;
    return *destinationTime < *sourceTime;
}

QImage KCloudGallery::getDiskCacheThumbnailForFile(const QUrl& url, bool largeSize) const {
    const QString path =
        largeSize ? getDiskCacheLargeThumbnailFilePathForFile(url) : getDiskCacheSmallThumbnailFilePathForFile(url);
    if (!QFileInfo::exists(path)) return {};
    if (isSourceFile(url.toLocalFile(), path)) return {};  // stale: the book changed after this was made
    QImageReader reader(path);
    reader.setDecideFormatFromContent(true);
    QImage image = reader.read();
    if (image.isNull()) return {};
    if (image.width() >= (isTabletIdiom ? 1536 : 640)) image.setDevicePixelRatio(2.0);
    return image;
}

void KCloudGallery::deleteDiskCacheThumbnailForFile(const QUrl& url) {
    const QString large = getDiskCacheLargeThumbnailFilePathForFile(url);
    const QString small = getDiskCacheSmallThumbnailFilePathForFile(url);
    // On the writes' queue, so that a write still waiting there cannot bring the files back.
    thumbnailCacheQueue_.post([large, small] {
        QFile::remove(large);
        QFile::remove(small);
    });
}

QImage KCloudGallery::getCachedThumbnailForFile(const QUrl& url) {
    if (const std::optional<QImage> held = cachedThumbnailImages_.object(url)) return *held;
    QImage image = getDiskCacheThumbnailForFile(url);
    if (!image.isNull()) cachedThumbnailImages_.setObject(image, url);
    return image;
}

void KCloudGallery::setCachedThumbnail(const QImage& image, const QUrl& url) {
    cachedThumbnailImages_.setObject(image, url);
    saveDiskCacheThumbnail(image, url);
}

void KCloudGallery::removeCachedThumbnailForFile(const QUrl& url) {
    cachedThumbnailImages_.removeObject(url);
    deleteDiskCacheThumbnailForFile(url);
}

void KCloudGallery::setThumbnail(const QImage& image, const QUrl& url) {
    if (indexOfFileUrl(url) < 0) {
        removeCachedThumbnailForFile(url);
        return;
    }
    if (image.isNull()) {
        removeCachedThumbnailForFile(url);
    } else {
        setCachedThumbnail(image, url);
        emit thumbnailReady(url, getScaledImage(image));
    }
}

void KCloudGallery::setThumbnailAsync(const QUrl& url) {
    thumbnailQueue_.start([this, url] {
        QImage image = getCachedThumbnailForFile(url);
        if (image.isNull()) {
            if (const auto info = loadInfoForFile(url); info && !info->thumbnail.isNull()) {
                image = info->thumbnail;
                setCachedThumbnail(image, url);
            } else {
                removeCachedThumbnailForFile(url);
            }
        }
        QMetaObject::invokeMethod(this, [this, url, image] { emit thumbnailReady(url, image); }, Qt::QueuedConnection);
    });
}

QImage KCloudGallery::getThumbnailSizedImageForImage(const QImage& image) const {
    return getThumbnailSizedImageForImage(image, thumbnailSize);
}

QImage KCloudGallery::getThumbnailSizedImageForImage(const QImage& image, QSizeF target) {
    if (image.isNull()) return image;
    const QSize size = target.toSize().expandedTo(QSize(1, 1));
    const QImage filled = image.scaled(size, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    QImage cropped = filled.copy((filled.width() - size.width()) / 2, (filled.height() - size.height()) / 2,
                                 size.width(), size.height());
    cropped.setDevicePixelRatio(1.0);
    return cropped;
}

std::optional<KCloudGallery::FileInfoDetails> KCloudGallery::loadInfoForFile(const QUrl&) const { return std::nullopt; }

void KCloudGallery::waitForThumbnailWork() {
    thumbnailQueue_.waitForDone();
    thumbnailCacheQueue_.waitUntilIdle();
}

}  // namespace velumen
