// Thumbnails: the cache files are valid while not older than their book, are read by content whatever
// their name, and are rebuilt from the book's own preview; the memory cache keeps fifty; a broken book shows
// no picture and caches nothing.
#include <QBuffer>
#include <QImageWriter>
#include <QSignalSpy>
#include <QTest>
#include <set>

#include "GalleryFixture.h"
#include "WaitFor.h"
#include "gallery/BookPreview.h"

namespace velumen::gallerytest {
namespace {

using GalleryThumbnails = GalleryTest;

// Waits for the picture of `url` from setThumbnailAsync.
QImage asyncThumbnail(KCloudGallery& gallery, const QUrl& url) {
    QSignalSpy ready(&gallery, &KCloudGallery::thumbnailReady);
    gallery.setThumbnailAsync(url);
    for (int round = 0; round < 100; ++round) {
        for (const QList<QVariant>& args : ready)
            if (args.at(0).toUrl() == url) {
                gallery.waitForThumbnailWork();
                return args.at(1).value<QImage>();
            }
        ready.wait(100);
    }
    ADD_FAILURE() << "no thumbnail came";
    return {};
}

TEST_F(GalleryThumbnails, ACacheFileOlderThanItsBookIsIgnoredAndReplaced) {
    writeFile(book("Trip.velumen"), bookBytes(previewImage(120, 150, 3)));
    setModificationTime(book("Trip.velumen"), 1700000000, 500);
    auto gallery = makeGallery();
    const QUrl trip = QUrl::fromLocalFile(book("Trip.velumen"));
    // A cached picture of another size from before the book's last change.
    const QString small = gallery->getDiskCacheSmallThumbnailFilePathForFile(trip);
    ASSERT_TRUE(QImage(QSize(10, 10), QImage::Format_RGB32).save(small, "PNG"));
    setModificationTime(small, 1700000000, 499);
    EXPECT_TRUE(gallery->getDiskCacheThumbnailForFile(trip).isNull());

    const QImage shown = asyncThumbnail(*gallery, trip);
    ASSERT_FALSE(shown.isNull());
    EXPECT_EQ(shown.size(), QSize(120, 150));  // from the book
    // Both files were written again, newer than the book, as JPEG under the .png name.
    const QImage cached = gallery->getDiskCacheThumbnailForFile(trip);
    ASSERT_FALSE(cached.isNull());
    EXPECT_EQ(cached.size(), QSize(200, 250));  // scaled and cropped to fill the thumbnail size
    EXPECT_TRUE(readFile(small).startsWith("\xFF\xD8\xFF"));
    EXPECT_EQ(gallery->getDiskCacheThumbnailForFile(trip, true).size(), QSize(120, 150));
}

TEST_F(GalleryThumbnails, ACacheFileOfTheBooksOwnDateIsValid) {
    writeFile(book("Trip.velumen"), bookBytes(previewImage(20, 20)));
    auto gallery = makeGallery();
    const QUrl trip = QUrl::fromLocalFile(book("Trip.velumen"));
    const QString small = gallery->getDiskCacheSmallThumbnailFilePathForFile(trip);
    // JPEG bytes under the .png name.
    QImage picture(QSize(30, 40), QImage::Format_RGB32);
    picture.fill(Qt::red);
    ASSERT_TRUE(picture.save(small, "JPEG"));
    setModificationTime(book("Trip.velumen"), 1700000000, 123456789);
    setModificationTime(small, 1700000000, 123456789);
    EXPECT_EQ(gallery->getDiskCacheThumbnailForFile(trip).size(), QSize(30, 40));
    setModificationTime(small, 1700000000, 123456788);  // one nanosecond older
    EXPECT_TRUE(gallery->getDiskCacheThumbnailForFile(trip).isNull());
    // A book that cannot be examined counts as newer.
    EXPECT_TRUE(KCloudGallery::isSourceFile(book("Missing.velumen"), small));
}

TEST_F(GalleryThumbnails, WidePicturesAreHighDensity) {
    writeFile(book("Trip.velumen"), bookBytes());
    setModificationTime(book("Trip.velumen"), 1600000000);
    struct Case {
        bool tablet;
        int width;
        double ratio;
    };
    for (const Case& c : {Case{true, 1536, 2.0}, Case{true, 1535, 1.0}, Case{false, 640, 2.0}, Case{false, 639, 1.0}}) {
        SCOPED_TRACE(c.width);
        auto gallery = makeGallery();
        gallery->isTabletIdiom = c.tablet;
        const QUrl trip = QUrl::fromLocalFile(book("Trip.velumen"));
        ASSERT_TRUE(QImage(QSize(c.width, 8), QImage::Format_RGB32)
                        .save(gallery->getDiskCacheLargeThumbnailFilePathForFile(trip), "JPEG"));
        EXPECT_EQ(gallery->getDiskCacheThumbnailForFile(trip, true).devicePixelRatio(), c.ratio);
    }
}

TEST_F(GalleryThumbnails, TheMemoryCacheKeepsTheFiftyMostRecentlyUsed) {
    KThumbnailMemoryCache cache(KCloudGallery::kThumbnailCacheLimit);
    auto url = [](int i) { return QUrl::fromLocalFile(QString("/books/%1.velumen").arg(i)); };
    for (int i = 0; i < 50; ++i) cache.setObject(QImage(QSize(1 + i, 1), QImage::Format_RGB32), url(i));
    ASSERT_TRUE(cache.object(url(0)).has_value());  // used again: now the most recent
    for (int i = 50; i < 120; ++i) cache.setObject(QImage(QSize(1, 1), QImage::Format_RGB32), url(i));
    EXPECT_EQ(cache.count(), 50u);
    EXPECT_FALSE(cache.object(url(1)).has_value());
    EXPECT_FALSE(cache.object(url(69)).has_value());
    EXPECT_TRUE(cache.object(url(70)).has_value());
    EXPECT_TRUE(cache.object(url(119)).has_value());
    cache.removeObject(url(119));
    EXPECT_EQ(cache.count(), 49u);
}

TEST_F(GalleryThumbnails, ABrokenBookShowsNoPictureAndCachesNothing) {
    writeFile(book("Broken.velumen"), QByteArray("bplist00 but nothing more"));
    writeFile(book("Bare.velumen"), bookBytes());  // a book without a preview
    auto gallery = makeGallery();
    for (const char* name : {"Broken.velumen", "Bare.velumen"}) {
        SCOPED_TRACE(name);
        const QUrl url = QUrl::fromLocalFile(book(name));
        EXPECT_TRUE(asyncThumbnail(*gallery, url).isNull());
        EXPECT_FALSE(gallery->loadInfoForFile(url).has_value());
    }
    EXPECT_EQ(entries(gallery->thumbnailCacheDirectory), QStringList());
    EXPECT_EQ(entries(gallery->largeThumbnailCacheDirectory), QStringList());
}

TEST_F(GalleryThumbnails, TheEditorsPictureReplacesTheCachesOnlyForListedBooks) {
    writeFile(book("Trip.velumen"), bookBytes(previewImage(12, 15)));
    auto gallery = makeGallery();
    const QUrl trip = QUrl::fromLocalFile(book("Trip.velumen"));
    QImage fresh(QSize(300, 375), QImage::Format_RGB32);
    fresh.fill(Qt::blue);
    QSignalSpy ready(gallery.get(), &KCloudGallery::thumbnailReady);
    gallery->setThumbnail(fresh, trip);
    gallery->waitForThumbnailWork();
    EXPECT_EQ(ready.count(), 1);
    EXPECT_EQ(gallery->getCachedThumbnailForFile(trip).size(), QSize(300, 375));
    EXPECT_EQ(gallery->getDiskCacheThumbnailForFile(trip).size(), QSize(200, 250));
    // The zoom starts from the large file, not the book.
    EXPECT_EQ((gallery->selectFile(trip), gallery->zoomThumbnailForSelectedFile().size()), QSize(300, 375));
    // A closed book that is not listed (opened in place elsewhere) leaves no cache behind.
    const QUrl outside = QUrl::fromLocalFile(root.filePath("Elsewhere.velumen"));
    gallery->setThumbnail(fresh, outside);
    gallery->waitForThumbnailWork();
    EXPECT_FALSE(QFileInfo::exists(gallery->getDiskCacheSmallThumbnailFilePathForFile(outside)));
    gallery->setThumbnail(QImage(), trip);
    gallery->waitForThumbnailWork();
    EXPECT_EQ(entries(gallery->thumbnailCacheDirectory), QStringList());
}

TEST_F(GalleryThumbnails, ThePreviewReadKeepsTheStoredScale) {
    auto image = std::const_pointer_cast<KImage>(previewImage(64, 80));
    image->scale = 2.0;
    writeFile(book("Sharp.velumen"), bookBytes(image));
    const std::optional<BookPreview> preview = readBookPreview(book("Sharp.velumen"));
    ASSERT_TRUE(preview);
    EXPECT_EQ(preview->thumbnail.size(), QSize(64, 80));
    EXPECT_EQ(preview->thumbnail.devicePixelRatio(), 2.0);
    EXPECT_EQ(scaledToFit(preview->thumbnail, 40).size(), QSize(32, 40));
    EXPECT_EQ(scaledToFit(preview->thumbnail, 400).size(), QSize(64, 80));  // never enlarged
    EXPECT_FALSE(readBookPreview(root.path()).has_value());                // a folder
}

TEST_F(GalleryThumbnails, AScreenfulOfRequestsAnswersEachBookOnceAndKeepsFiftyInMemory) {
    for (int i = 0; i < 60; ++i)
        writeFile(book(QString("Book %1.velumen").arg(i)), bookBytes(previewImage(16, 20, std::uint32_t(i + 1))));
    auto gallery = makeGallery();
    ASSERT_EQ(gallery->files.size(), 60u);
    QSignalSpy ready(gallery.get(), &KCloudGallery::thumbnailReady);
    for (const FileInfo& record : gallery->files) gallery->setThumbnailAsync(record.fileUrl);
    WAIT_EQ(ready.count(), 60, 20000);
    gallery->waitForThumbnailWork();
    std::set<QString> answered;
    for (const QList<QVariant>& args : ready) {
        answered.insert(args.at(0).toUrl().toString());
        const QImage image = args.at(1).value<QImage>();
        EXPECT_EQ(image.size(), QSize(16, 20));
        // Each book's own picture: its colour.
        const int index = QFileInfo(args.at(0).toUrl().toLocalFile()).completeBaseName().mid(5).toInt();
        const QRgb expected = QColor::fromRgb(previewImage(1, 1, std::uint32_t(index + 1))->pixels[0]).rgb();
        EXPECT_LE(std::abs(qRed(image.pixel(8, 10)) - qRed(expected)), 8);
    }
    EXPECT_EQ(answered.size(), 60u);
    EXPECT_EQ(gallery->cachedThumbnailImages().count(), 50u);
    EXPECT_EQ(entries(gallery->thumbnailCacheDirectory).size(), 60);
    EXPECT_EQ(entries(gallery->largeThumbnailCacheDirectory).size(), 60);
}

}  // namespace
}  // namespace velumen::gallerytest
