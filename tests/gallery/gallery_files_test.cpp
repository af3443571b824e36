// The gallery's file side against a real books folder: serial names, cleaned and cut names, renames through
// the parked name, duplicates, deletes with their cached thumbnails, files taken in, stray and unreadable
// entries, search and sort.
#include <dirent.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QSignalSpy>
#include <csignal>

#include "GalleryFixture.h"

namespace velumen::gallerytest {
namespace {

// Runs a command that ends with fileWorkDone and waits for it.
template <class Command>
void runAndWait(KCloudGallery& gallery, Command command) {
    QSignalSpy done(&gallery, &KCloudGallery::fileWorkDone);
    command();
    ASSERT_TRUE(done.count() > 0 || done.wait(10000));
}

class RecordingDelegate : public KCloudGalleryDelegate {
  public:
    void reelGalleryWillOpenFile(KCloudGallery&, const QUrl& url) override { willOpen.push_back(url); }
    void reelGalleryDidOpenFile(KCloudGallery&, const QUrl& url) override { didOpen.push_back(url); }
    void reelGalleryDidGetFileList(KCloudGallery&, const std::vector<FileInfo>& list) override {
        lists.push_back(list.size());
    }
    std::vector<QUrl> willOpen, didOpen;
    std::vector<std::size_t> lists;
};

using GalleryFiles = GalleryTest;

TEST_F(GalleryFiles, NewBooksTakeTheFirstFreeSerialName) {
    auto gallery = makeGallery();
    const QUrl first = gallery->createNewFile();
    const QUrl second = gallery->createNewFile();
    const QUrl third = gallery->createNewFile();
    EXPECT_EQ(first.toLocalFile(), book("New Book.velumen"));
    EXPECT_EQ(second.toLocalFile(), book("New Book 2.velumen"));
    EXPECT_EQ(third.toLocalFile(), book("New Book 3.velumen"));
    // A new book is a real one-page book, byte for byte the template.
    EXPECT_EQ(readFile(first.toLocalFile()), readFile(resources + "/New Page.velumen"));

    gallery->updateFileList();
    gallery->selectFile(first);
    runAndWait(*gallery, [&] { gallery->deleteSelectedFile(); });
    EXPECT_EQ(gallery->createNewFile().toLocalFile(), book("New Book.velumen"));
}

TEST_F(GalleryFiles, AddingABookClearsTheSearchAndSelectsIt) {
    auto gallery = makeGallery();
    gallery->textFieldDidChange("zzz");
    QSignalSpy added(gallery.get(), &KCloudGallery::newFileAdded);
    const QUrl url = gallery->addFileTapped();
    EXPECT_EQ(gallery->searchText(), "");
    EXPECT_EQ(gallery->titleText(), "");
    EXPECT_EQ(gallery->selectedFileUrl, url);
    EXPECT_EQ(gallery->selectedFileIndex, 0);
    EXPECT_EQ(gallery->visibleOrder().size(), 1u);
    EXPECT_EQ(added.count(), 1);
}

TEST_F(GalleryFiles, TypedNamesAreCleanedBeforeARename) {
    struct Case {
        const char* typed;
        const char* expected;  // nullptr: nothing changes
    };
    const Case cases[] = {
        {"a/b.c", "abc.velumen"},
        {"/\\?%*|\"<>:.", nullptr},           // nothing but forbidden characters
        {"Trip ", nullptr},                   // the present name after the trim
        {"  Road Trip\t", "Road Trip.velumen"},
        {"Other", "Other 2.velumen"},         // another book's name gets a serial
        {"trip", "trip.velumen"},             // only the case differs
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.typed);
        QDir(documents).removeRecursively();
        QDir().mkpath(documents);
        writeFile(book("Trip.velumen"), bookBytes());
        writeFile(book("Other.velumen"), bookBytes());
        const QByteArray original = readFile(book("Trip.velumen"));
        auto gallery = makeGallery();
        gallery->selectFile(QUrl::fromLocalFile(book("Trip.velumen")));
        if (!c.expected) {
            EXPECT_FALSE(gallery->renameSelectedFile(c.typed));
            EXPECT_EQ(entries(documents), QStringList({"Other.velumen", "Trip.velumen"}));
            continue;
        }
        runAndWait(*gallery, [&] { ASSERT_TRUE(gallery->renameSelectedFile(c.typed)); });
        EXPECT_EQ(readFile(book(c.expected)), original);
        EXPECT_EQ(entries(documents).size(), 2);
        EXPECT_EQ(QFileInfo(gallery->selectedFileUrl.toLocalFile()).fileName(), c.expected);
        EXPECT_EQ(gallery->selectedFileIndex, gallery->indexOfFileUrl(gallery->selectedFileUrl));
    }
}

TEST_F(GalleryFiles, LongNamesAreCutAtACharacterBoundaryWithRoomForASerial) {
    const QString eAcute = QString::fromUtf8("\xC3\xA9");  // two bytes
    const QString family = QString::fromUtf8("\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x91\xA7");  // one character, 11 bytes
    for (const QString& typed : {QString(300, 'x'), eAcute.repeated(200), family.repeated(40)}) {
        SCOPED_TRACE(typed.size());
        QDir(documents).removeRecursively();
        QDir().mkpath(documents);
        writeFile(book("Trip.velumen"), bookBytes());
        auto gallery = makeGallery();
        gallery->selectFile(QUrl::fromLocalFile(book("Trip.velumen")));
        runAndWait(*gallery, [&] { ASSERT_TRUE(gallery->renameSelectedFile(typed)); });
        const QString renamed = QFileInfo(gallery->selectedFileUrl.toLocalFile()).completeBaseName();
        const QByteArray bytes = renamed.toUtf8();
        EXPECT_LE(bytes.size() + 8 + KUtils::kSerialRoom, KUtils::kMaxNameBytes);
        EXPECT_GT(bytes.size() + 8 + KUtils::kSerialRoom + 11, KUtils::kMaxNameBytes);
        EXPECT_TRUE(typed.startsWith(renamed));
        EXPECT_EQ(QString::fromUtf8(bytes), renamed);  // whole characters only
        if (typed.startsWith(family)) {
            EXPECT_EQ(renamed.size() % family.size(), 0);
        }

        // A duplicate and a second book of the same name still fit.
        runAndWait(*gallery, [&] { gallery->duplicateSelectedFile(); });
        EXPECT_EQ(QFileInfo(gallery->selectedFileUrl.toLocalFile()).fileName(), renamed + " 2.velumen");
    }
}

TEST_F(GalleryFiles, DuplicatesCountOnFromTheBaseName) {
    writeFile(book("Trip.velumen"), bookBytes(previewImage(8, 8)));
    setModificationTime(book("Trip.velumen"), 1000000000);
    auto gallery = makeGallery();
    const QUrl trip = QUrl::fromLocalFile(book("Trip.velumen"));
    gallery->selectFile(trip);
    runAndWait(*gallery, [&] { gallery->duplicateSelectedFile(); });
    EXPECT_EQ(gallery->selectedFileUrl.toLocalFile(), book("Trip 2.velumen"));
    EXPECT_EQ(gallery->selectedFileIndex, 0);  // the copy is the newest
    gallery->selectFile(trip);
    runAndWait(*gallery, [&] { gallery->duplicateSelectedFile(); });
    EXPECT_EQ(gallery->selectedFileUrl.toLocalFile(), book("Trip 3.velumen"));
    gallery->selectFile(QUrl::fromLocalFile(book("Trip 2.velumen")));
    runAndWait(*gallery, [&] { gallery->duplicateSelectedFile(); });
    EXPECT_EQ(gallery->selectedFileUrl.toLocalFile(), book("Trip 2 2.velumen"));
    EXPECT_EQ(readFile(book("Trip 2 2.velumen")), readFile(book("Trip.velumen")));
    EXPECT_EQ(entries(documents).size(), 4);  // no leftovers of the copies
}

TEST_F(GalleryFiles, OnlyBooksAreListedNewestFirst) {
    writeFile(book("Old.velumen"), bookBytes());
    writeFile(book("New.velumen"), bookBytes());
    writeFile(book("notes.txt"), QByteArray("not a book"));
    writeFile(book("Loud.VELUMEN"), bookBytes());  // the suffix test is exact
    writeFile(book("ends-in-velumen"), QByteArray("x"));
    writeFile(book("Broken.velumen"), QByteArray("not a book at all"));
    QDir(documents).mkpath("Stationery");
    setModificationTime(book("Old.velumen"), 1000000000);
    setModificationTime(book("New.velumen"), 1000000300);
    setModificationTime(book("ends-in-velumen"), 1000000200);
    setModificationTime(book("Broken.velumen"), 1000000100);
    auto gallery = makeGallery();
    EXPECT_EQ(listed(*gallery), QStringList({"New.velumen", "ends-in-velumen", "Broken.velumen", "Old.velumen"}));
}

TEST_F(GalleryFiles, AnUnreadableEntryEndsTheWalkWhereItStands) {
    for (int i = 0; i < 12; ++i) writeFile(book(QString("Book %1.velumen").arg(i)), bookBytes());
    ASSERT_EQ(::symlink("/nonexistent/target", QFile::encodeName(book("Dangling.velumen")).constData()), 0);
    // The books before the dangling link in the folder's own order are the ones listed.
    QStringList before;
    DIR* dir = ::opendir(QFile::encodeName(documents).constData());
    ASSERT_TRUE(dir);
    while (const dirent* entry = ::readdir(dir)) {
        const QString name = QString::fromUtf8(entry->d_name);
        if (name == "Dangling.velumen") break;
        if (name.endsWith(".velumen")) before << name;
    }
    ::closedir(dir);
    auto gallery = makeGallery();
    QStringList names = listed(*gallery);
    names.sort();
    before.sort();
    EXPECT_EQ(names, before);
    // The next read starts clean: without the link, all are there.
    QFile::remove(book("Dangling.velumen"));
    gallery->updateFileList();
    EXPECT_EQ(gallery->files.size(), 12u);
}

TEST_F(GalleryFiles, AFolderThatCannotBeReadGivesAnEmptyGallery) {
    documents = root.filePath("Nowhere");
    auto gallery = makeGallery();
    EXPECT_TRUE(gallery->files.empty());
    EXPECT_TRUE(gallery->visibleOrder().empty());
    EXPECT_FALSE(KUtils::getDateSortedFileList(documents).has_value());
}

TEST_F(GalleryFiles, AnIncomingFileIsMovedInWithTheBookExtensionAndOpened) {
    QTemporaryDir outside;
    const QString pdf = outside.filePath("Report.pdf");
    writeFile(pdf, QByteArray("%PDF-1.4 not a book"));
    writeFile(book("Report.velumen"), bookBytes());
    auto gallery = makeGallery();
    RecordingDelegate delegate;
    gallery->delegate = &delegate;
    gallery->handleOpenUrl(QUrl::fromLocalFile(pdf), false);
    const QString target = book("Report 2.velumen");
    EXPECT_FALSE(QFileInfo::exists(pdf));  // moved, not copied
    EXPECT_EQ(readFile(target), QByteArray("%PDF-1.4 not a book"));
    EXPECT_EQ(gallery->selectedFileUrl.toLocalFile(), target);
    EXPECT_EQ(gallery->selectedFileIndex, 0);
    ASSERT_EQ(delegate.didOpen.size(), 1u);
    EXPECT_EQ(delegate.willOpen.front().toLocalFile(), target);
    EXPECT_EQ(delegate.didOpen.front().toLocalFile(), target);
    // Not a readable book: no picture for the zoom, nothing cached.
    EXPECT_TRUE(gallery->zoomThumbnailForSelectedFile().isNull());

    // Opened in place, a book stays where it is.
    const QString elsewhere = outside.filePath("Kept.velumen");
    writeFile(elsewhere, bookBytes());
    gallery->handleOpenUrl(QUrl::fromLocalFile(elsewhere), true);
    EXPECT_TRUE(QFileInfo::exists(elsewhere));
    EXPECT_EQ(delegate.didOpen.back().toLocalFile(), elsewhere);
    EXPECT_FALSE(QFileInfo::exists(book("Kept.velumen")));
    // A URL that is no file does nothing.
    gallery->handleOpenUrl(QUrl("https://example.invalid/book.velumen"), false);
    EXPECT_EQ(delegate.didOpen.size(), 2u);

    // A book already in the folder is found by its base name and opened where it is.
    gallery->handleOpenExistingFileWithUrl(QUrl::fromLocalFile("/anywhere/Report.velumen"));
    ASSERT_EQ(delegate.didOpen.size(), 3u);
    EXPECT_EQ(delegate.didOpen.back().toLocalFile(), book("Report.velumen"));
    gallery->handleOpenExistingFileWithUrl(QUrl::fromLocalFile("/anywhere/Absent.velumen"));
    EXPECT_EQ(delegate.didOpen.size(), 3u);
}

TEST_F(GalleryFiles, DeleteAndRenameTakeTheCachedThumbnailsAlong) {
    writeFile(book("Trip.velumen"), bookBytes(previewImage(40, 50)));
    auto gallery = makeGallery();
    const QUrl trip = QUrl::fromLocalFile(book("Trip.velumen"));
    gallery->setThumbnail(QImage(QSize(40, 50), QImage::Format_RGB32), trip);
    gallery->waitForThumbnailWork();
    ASSERT_TRUE(QFileInfo::exists(gallery->getDiskCacheSmallThumbnailFilePathForFile(trip)));
    ASSERT_TRUE(QFileInfo::exists(gallery->getDiskCacheLargeThumbnailFilePathForFile(trip)));

    gallery->selectFile(trip);
    runAndWait(*gallery, [&] { gallery->renameSelectedFile("Road"); });
    gallery->waitForThumbnailWork();
    EXPECT_EQ(entries(gallery->thumbnailCacheDirectory), QStringList());
    EXPECT_EQ(entries(gallery->largeThumbnailCacheDirectory), QStringList());
    EXPECT_FALSE(gallery->cachedThumbnailImages().object(trip).has_value());

    const QUrl road = gallery->selectedFileUrl;
    gallery->setThumbnail(QImage(QSize(40, 50), QImage::Format_RGB32), road);
    gallery->waitForThumbnailWork();
    ASSERT_EQ(entries(gallery->thumbnailCacheDirectory), QStringList({"Road.png"}));
    EXPECT_EQ(gallery->deleteConfirmationMessage(), "Permanently delete Road?");
    runAndWait(*gallery, [&] { gallery->deleteSelectedFile(); });
    gallery->waitForThumbnailWork();
    EXPECT_EQ(entries(documents), QStringList());
    EXPECT_EQ(entries(gallery->thumbnailCacheDirectory), QStringList());
    EXPECT_EQ(entries(gallery->largeThumbnailCacheDirectory), QStringList());
    EXPECT_TRUE(gallery->files.empty());
    EXPECT_EQ(gallery->selectedFileIndex, -1);
}

TEST_F(GalleryFiles, ChangesWhileABookIsOpenWaitForTheGalleryToComeBack) {
    writeFile(book("Open.velumen"), bookBytes());
    auto gallery = makeGallery();
    QSignalSpy reads(gallery.get(), &KCloudGallery::filesChanged);
    gallery->show(false);
    // The editor's save: a temporary file renamed over the book.
    QString error;
    ASSERT_TRUE(writeFileAtomically(book("Open.velumen"), bookBytes(previewImage(4, 4)), error));
    gallery->directoryChanged();
    EXPECT_EQ(reads.count(), 0);
    gallery->show(true);
    ASSERT_EQ(reads.count(), 1);
    EXPECT_FALSE(reads.front().at(0).toBool());  // the date changed: icons are rebuilt
    gallery->directoryChanged();
    ASSERT_EQ(reads.count(), 2);
    EXPECT_TRUE(reads.back().at(0).toBool());  // nothing changed: only arranged again
}

TEST_F(GalleryFiles, SearchMatchesBaseNamesAndTheTitleCounts) {
    for (const char* name : {"Garden Plans", "garden diary", "Recipes", "zebra", "Apple"})
        writeFile(book(QString(name) + ".velumen"), bookBytes());
    auto gallery = makeGallery();
    struct Case {
        const char* text;
        int matches;
    };
    for (const Case& c : {Case{"GARDEN", 2}, Case{"garden", 2}, Case{"velumen", 0}, Case{"qqq", 0}, Case{"e", 5}}) {
        SCOPED_TRACE(c.text);
        gallery->textFieldDidChange(c.text);
        EXPECT_EQ(int(gallery->visibleOrder().size()), c.matches);
        EXPECT_EQ(gallery->titleText(), QString("Showing %1 of 5 Books").arg(c.matches));
        EXPECT_TRUE(gallery->isToolbarTinted());
    }
    gallery->isTabletIdiom = false;
    gallery->textFieldDidChange("garden");
    EXPECT_EQ(gallery->titleText(), "2 of 5 Books");
    // The search survives a change of the folder.
    writeFile(book("Garden Tools.velumen"), bookBytes());
    gallery->updateFileList();
    EXPECT_EQ(gallery->visibleOrder().size(), 3u);
    gallery->textFieldDidChange("");
    EXPECT_EQ(gallery->titleText(), "");
    EXPECT_FALSE(gallery->isToolbarTinted());
    EXPECT_EQ(gallery->visibleOrder().size(), 6u);
}

TEST_F(GalleryFiles, SortByNameIsCodePointOrderAndIsRemembered) {
    const char* names[] = {"banana", "Cherry", "apple", "Zoo", "\xC3\x89" "clair", "Apple"};
    long when = 1000000000;
    for (const char* name : names) {
        writeFile(book(QString::fromUtf8(name) + ".velumen"), bookBytes());
        setModificationTime(book(QString::fromUtf8(name) + ".velumen"), when += 10);
    }
    auto gallery = makeGallery();
    auto order = [&] {
        QStringList out;
        for (int index : gallery->arrangedOrder()) out << QFileInfo(gallery->files[index].fileName).completeBaseName();
        return out;
    };
    EXPECT_EQ(order(), QStringList({"Apple", QString::fromUtf8("\xC3\x89" "clair"), "Zoo", "apple", "Cherry", "banana"}));
    gallery->sortSelectorChanged(1);
    EXPECT_EQ(order(), QStringList({"Apple", "Cherry", "Zoo", "apple", "banana", QString::fromUtf8("\xC3\x89" "clair")}));
    EXPECT_EQ(defaults->value(FoliantGallery::kGalleryThumbnailArrangement).toInt(), 1);
    // `files` stays in date order whatever the arrangement.
    EXPECT_EQ(gallery->files.front().fileName, "Apple.velumen");
    auto again = makeGallery();
    EXPECT_EQ(again->thumbnailArrangement, 1);
}

TEST_F(GalleryFiles, TheContextMenuAndTheDateLine) {
    auto gallery = makeGallery();
    EXPECT_EQ(gallery->contextMenuTitles(), QStringList({"Rename", "Duplicate", "Delete"}));
    FileInfo record;
    const QDateTime now = QDateTime::currentDateTime();
    record.lastModDate = now.toMSecsSinceEpoch() * 1000000;
    EXPECT_TRUE(KCloudGallery::dateText(record, now).startsWith("Today "));
    record.lastModDate = now.addDays(-3).toMSecsSinceEpoch() * 1000000;
    EXPECT_FALSE(KCloudGallery::dateText(record, now).startsWith("Today"));
}

TEST_F(GalleryFiles, ADuplicateOnAFullDiskLeavesNothingBehind) {
    std::vector<std::uint8_t> big = bookBytes(previewImage(300, 300, 7));
    big.resize(big.size() + 200000, 0);  // trailing bytes make it large without changing what it holds
    writeFile(book("Trip.velumen"), big);
    // The disk fills up: a child whose files may not grow beyond 64 KB.
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{65536, 65536};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        // Left alive: the child ends with _exit, never waiting on the parent's threads.
        auto* gallery = new KCloudGallery({documents, caches, resources});
        const QUrl copy = gallery->duplicateFile(QUrl::fromLocalFile(book("Trip.velumen")));
        ::_exit(copy.isEmpty() ? 0 : 3);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(entries(documents), QStringList({"Trip.velumen"}));
    EXPECT_EQ(readFile(book("Trip.velumen")).size(), qsizetype(big.size()));
}

TEST_F(GalleryFiles, FileOperationsNeverReplaceABook) {
    writeFile(book("A.velumen"), QByteArray("a"));
    writeFile(book("B.velumen"), QByteArray("b"));
    setModificationTime(book("A.velumen"), 1000000000);
    EXPECT_FALSE(KUtils::copyAndTouchFileFrom(book("A.velumen"), book("B.velumen")));
    EXPECT_FALSE(KUtils::moveFileNoReplace(book("A.velumen"), book("B.velumen")));
    EXPECT_FALSE(KUtils::moveFileSafely(book("A.velumen"), book("B.velumen")));
    EXPECT_EQ(readFile(book("B.velumen")), QByteArray("b"));
    EXPECT_EQ(entries(documents), QStringList({"A.velumen", "B.velumen"}));
    // Half copies a crash left behind go at the next start; the user's own files stay.
    writeFile(book(".Trip 2.velumen.k3x9q1.part"), QByteArray("half"));
    writeFile(book("notes.part"), QByteArray("mine"));
    writeFile(book(".hidden"), QByteArray("mine"));
    makeGallery();
    EXPECT_EQ(entries(documents), QStringList({".hidden", "A.velumen", "B.velumen", "notes.part"}));
    QFile::remove(book(".hidden"));
    QFile::remove(book("notes.part"));
    // A copy is the newest file, whatever the date of its source.
    ASSERT_TRUE(KUtils::copyAndTouchFileFrom(book("A.velumen"), book("C.velumen")));
    EXPECT_GT(*KUtils::modificationTime(book("C.velumen")), *KUtils::modificationTime(book("B.velumen")));
    EXPECT_FALSE(KUtils::copyAndTouchFileFrom(book("Missing.velumen"), book("D.velumen")));
    EXPECT_FALSE(KUtils::copyAndTouchFileFrom(documents, book("D.velumen")));  // a folder is no book
    EXPECT_EQ(entries(documents), QStringList({"A.velumen", "B.velumen", "C.velumen"}));

    // Temporary files are named by the milliseconds since 2001.
    const QString temporary = KUtils::getTemporaryFilePath();
    EXPECT_EQ(QFileInfo(temporary).absolutePath(), QFileInfo(QDir::tempPath()).absoluteFilePath());
    EXPECT_TRUE(temporary.endsWith(".temp"));
    const double stamp = QFileInfo(temporary).completeBaseName().toDouble();
    EXPECT_NEAR(stamp, (QDateTime::currentMSecsSinceEpoch() - 978307200000.0), 60000.0);
    EXPECT_TRUE(KUtils::ensureDirectoryExists(root.filePath("a/b/c")));
    EXPECT_FALSE(KUtils::ensureDirectoryExists(root.filePath("a/b/c")));
}

}  // namespace
}  // namespace velumen::gallerytest
