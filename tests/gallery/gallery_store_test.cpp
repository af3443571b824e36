// The start-up rule for the bundled books (first launch against an update), the guide copied on request,
// and the ubiquitous store behind its switch over a folder standing in for the container.
#include <QSignalSpy>

#include "GalleryFixture.h"

namespace velumen::gallerytest {
namespace {

using GalleryStartup = GalleryTest;
using GalleryStore = GalleryTest;

// Gives each bundled book bytes of its own, so that a test can tell which one was copied.
void markBundledBooks(const QString& resources) {
    for (const char* name : {FoliantGallery::kQuickStartGuide, FoliantGallery::kQuickStartGuideLarge,
                             FoliantGallery::kReleaseNote}) {
        QFile file(resources + "/" + name);
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write(name);
    }
}

TEST_F(GalleryStartup, FirstLaunchGetsTheGuideAndAnUpdateTheReleaseNote) {
    markBundledBooks(resources);
    struct Case {
        const char* name;
        QVariant quickStart, releaseNote;
        bool largeScreen;
        bool ownReleaseNote;
        QStringList expected;
        const char* guideSource;
    };
    const Case cases[] = {
        {"first launch", {}, {}, false, false, {"QuickStart Guide.velumen"}, FoliantGallery::kQuickStartGuide},
        {"first launch, larger screen", {}, {}, true, false, {"QuickStart Guide.velumen"},
         FoliantGallery::kQuickStartGuideLarge},
        {"update from version 3", 100, 300, false, false, {"New in v4.velumen"}, nullptr},
        {"update, the user's own note", 100, 0, false, true, {"New in v4.velumen"}, nullptr},
        {"already up to date", 100, 400, false, false, {}, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QDir(documents).removeRecursively();
        QDir().mkpath(documents);
        defaults->clear();
        if (c.quickStart.isValid()) defaults->setValue(FoliantGallery::kQuickStartVersion, c.quickStart);
        if (c.releaseNote.isValid()) defaults->setValue(FoliantGallery::kReleaseNoteVersion, c.releaseNote);
        if (c.ownReleaseNote) writeFile(book("New in v4.velumen"), QByteArray("mine"));
        FoliantGallery gallery({documents, caches, resources}, *defaults);
        gallery.is4InchScreenOrLarger = c.largeScreen;
        gallery.viewDidLoad();
        EXPECT_EQ(entries(documents), c.expected);
        if (c.guideSource) {
            EXPECT_EQ(readFile(book("QuickStart Guide.velumen")), readFile(resources + "/" + c.guideSource));
        }
        if (c.ownReleaseNote) {
            EXPECT_EQ(readFile(book("New in v4.velumen")), QByteArray("mine"));
        } else if (c.expected.contains("New in v4.velumen")) {
            EXPECT_EQ(readFile(book("New in v4.velumen")), readFile(resources + "/New in v4.velumen"));
        }
        EXPECT_EQ(defaults->value(FoliantGallery::kQuickStartVersion).toInt(), 100);
        EXPECT_EQ(defaults->value(FoliantGallery::kReleaseNoteVersion).toInt(), 400);
    }
}

TEST_F(GalleryStartup, FirstLaunchReplacesAFileOfTheGuidesName) {
    writeFile(book("QuickStart Guide.velumen"), QByteArray("old"));
    FoliantGallery gallery({documents, caches, resources}, *defaults);
    gallery.viewDidLoad();
    EXPECT_EQ(readFile(book("QuickStart Guide.velumen")), readFile(resources + "/QuickStart Guide.velumen"));
    gallery.copyNewQuickstartGuide();
    gallery.copyNewQuickstartGuide();
    EXPECT_EQ(entries(documents), QStringList({"QuickStart Guide 2.velumen", "QuickStart Guide 3.velumen",
                                               "QuickStart Guide.velumen"}));
}

TEST_F(GalleryStartup, WithoutBundledBooksANewBookIsStillAOnePageBook) {
    QDir(resources).removeRecursively();
    auto gallery = makeGallery();
    const QUrl url = gallery->createNewFile();
    const std::vector<std::uint8_t> expected = FoliantGallery::onePageBookBytes();
    EXPECT_EQ(readFile(url.toLocalFile()), QByteArray(reinterpret_cast<const char*>(expected.data()), qsizetype(expected.size())));
}

TEST_F(GalleryStore, SwitchedOffRecordsCarryNoStoreFields) {
    writeFile(book("Local.velumen"), bookBytes());
    auto gallery = makeGallery();
    EXPECT_FALSE(gallery->useiCloud());
    ASSERT_EQ(gallery->files.size(), 1u);
    const FileInfo& record = gallery->files.front();
    EXPECT_FALSE(record.isIniCloud || record.isDownloaded || record.isDownloading || record.percentDownloaded);
    EXPECT_FALSE(gallery->cachediCloudFiles().has_value());
    EXPECT_FALSE(KCloudGallery::showsSyncProgress(record));
}

TEST_F(GalleryStore, SwitchedOnTheContainersItemsAreListedWithTheirDownloads) {
    FolderUbiquityContainer container(root.filePath("Container/Documents"));
    const QString folder = container.documentsUrl().toLocalFile();
    for (const char* name : {"Ready.velumen", "Coming.velumen", "Busy.velumen", "Odd.velumen"})
        writeFile(folder + "/" + name, bookBytes(previewImage(10, 10)));
    auto url = [&](const char* name) { return QUrl::fromLocalFile(folder + "/" + name); };
    container.setItemState(url("Coming.velumen"), false, true, 40.0);
    container.setItemState(url("Busy.velumen"), true, true, std::nullopt);
    container.setItemState(url("Odd.velumen"), false, false, std::nullopt);
    container.setAttributesUnreadable(url("Odd.velumen"));
    auto gallery = makeGallery();
    for (const char* name : {"Coming.velumen", "Busy.velumen", "Ready.velumen"})
        gallery->setCachedThumbnail(QImage(QSize(4, 4), QImage::Format_RGB32), url(name));
    gallery->waitForThumbnailWork();
    gallery->setUseiCloud(true, &container);
    gallery->updateFileList();
    ASSERT_EQ(gallery->files.size(), 4u);
    auto record = [&](const char* name) { return gallery->files[std::size_t(gallery->indexOfFileUrl(url(name)))]; };
    EXPECT_TRUE(*record("Ready.velumen").isIniCloud);
    EXPECT_FALSE(KCloudGallery::showsSyncProgress(record("Ready.velumen")));
    EXPECT_TRUE(KCloudGallery::showsSyncProgress(record("Coming.velumen")));
    EXPECT_EQ(KCloudGallery::syncProgressText(record("Coming.velumen")), "Syncing: 40%");
    // Downloaded and still downloading counts as not ready, yet shows no progress.
    EXPECT_FALSE(KCloudGallery::showsSyncProgress(record("Busy.velumen")));
    EXPECT_EQ(*record("Busy.velumen").percentDownloaded, 0.0);
    gallery->waitForThumbnailWork();
    EXPECT_FALSE(gallery->cachedThumbnailImages().object(url("Busy.velumen")));
    EXPECT_FALSE(gallery->cachedThumbnailImages().object(url("Coming.velumen")));
    EXPECT_TRUE(gallery->cachedThumbnailImages().object(url("Ready.velumen")));
    // An attribute that cannot be read counts as available: no download for it.
    const auto& started = container.downloadsStarted();
    EXPECT_EQ(std::count(started.begin(), started.end(), url("Coming.velumen")), 1);
    EXPECT_EQ(std::count(started.begin(), started.end(), url("Odd.velumen")), 0);
    EXPECT_FALSE(*record("Odd.velumen").isIniCloud);
}

TEST_F(GalleryStore, AddedBooksMoveIntoTheContainerAndTheCachedListFollows) {
    FolderUbiquityContainer container(root.filePath("Container/Documents"));
    auto gallery = makeGallery();
    gallery->setUseiCloud(true, &container);
    gallery->updateFileList();
    EXPECT_TRUE(gallery->files.empty());
    // A book made while the store is on is listed at once and moved into the container.
    const QUrl made = gallery->createNewFile();
    ASSERT_TRUE(gallery->cachediCloudFiles());
    EXPECT_EQ(gallery->cachediCloudFiles()->front().fileUrl, made);
    gallery->waitForFileWork();
    EXPECT_TRUE(QFileInfo::exists(made.toLocalFile()));
    // The query says the folder changed: the list is rebuilt while its updates hold still.
    gallery->iCloudDidUpdate();
    EXPECT_FALSE(container.updatesDisabled());
    ASSERT_EQ(gallery->files.size(), 1u);
    gallery->markCachediCloudFileAsDownloadingWithUrl(made);
    EXPECT_TRUE(KCloudGallery::showsSyncProgress(gallery->cachediCloudFiles()->front()));
    gallery->removeCachediCloudFileWithUrl(made);
    EXPECT_TRUE(gallery->cachediCloudFiles()->empty());
    // Switched off again: the local folder.
    gallery->setUseiCloud(false, nullptr);
    EXPECT_EQ(gallery->documentsPath, documents);
}

}  // namespace
}  // namespace velumen::gallerytest
