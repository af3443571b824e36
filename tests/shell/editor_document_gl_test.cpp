// The editor with its book file, under a display: the autosave waits for the finger and then saves once, a
// save in the background is granted mid-stroke, an autosave paints nothing and keeps the book's preview, a
// locked book comes through viewing and page turns byte for byte, quitting saves what is unsaved and writes
// nothing for a book left unchanged, files that are missing, are not books, or vanish behind the open book
// neither crash nor get written over, a missing one is called missing, and a hostile book's name reaches
// the refusal as visible text.
#include <gtest/gtest.h>

#include "WaitFor.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <sys/stat.h>

#include "document/KeyedArchive.h"
#include "document/MappedFile.h"
#include "objects/qt/QtImageCodec.h"
#include "shell/BookFile.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantViewController.h"
#include "shell/NotebookSession.h"

namespace {

using namespace velumen;

QByteArray bytesOf(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// The file's inode: a save replaces the file, so a new inode is a new save.
ino_t inodeOf(const QString& path) {
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? st.st_ino : 0;
}

void writeBytes(const QString& path, const char* data, qint64 size) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(data, size);
}

FoliantDataPtr readBack(const QString& path) {
    QtImageCodec codec;
    std::string error;
    return readBook(path, codec, error);
}

struct EditorWithFile {
    QTemporaryDir dir;
    FoliantGlobals globals{openDefaultsStore(dir.filePath("defaults.plist")), 0.0};
    SteadyClock clock;
    FoliantViewController vc{globals, clock};
    QString path = dir.filePath("Book.velumen");
    QtImageCodec codec;
    double t = 0;

    EditorWithFile() {
        vc.setSavesSettingsInBackground(false);
        vc.resize(600, 750);
        vc.show();
        // On a busy machine the window takes a while to appear; every test needs it on screen.
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&vc));
    }
    void write(FoliantData& book) {
        std::string error;
        ASSERT_TRUE(writeBook(book, path, codec, error)) << error;
    }
    bool open() {
        std::optional<bool> opened;
        vc.loadDocumentFromFile(path, [&](bool ok) { opened = ok; });
        if (!QTest::qWaitFor([&] { return opened.has_value(); }, 10000)) return false;
        // Autosave only when the test asks.
        if (vc.document()) vc.document()->setAutosaveInterval(std::chrono::hours(1));
        return *opened;
    }
    // A new one-page book written to the file and opened.
    bool openNew() {
        write(*newOnePageBook());
        return open();
    }
    void touch(TouchPhase phase, Point p) {
        TouchRecord r;
        r.id = 1;
        r.phase = phase;
        r.location = p;
        r.timestamp = t += 0.02;
        vc.view().router.routeRecords({r});
    }
    void strokeDown(double y) {
        touch(TouchPhase::Began, {100, y});
        for (int i = 1; i <= 15; ++i)
            touch(TouchPhase::Moved, {100.0 + 15 * i, y + 2 * i});
    }
    void stroke(double y) {
        strokeDown(y);
        touch(TouchPhase::Ended, {325, y + 30});
    }
    bool close() {
        std::optional<bool> closed;
        vc.closeDocumentWithCompletion([&](bool ok) { closed = ok; });
        FoliantDocument::waitForAllWrites();
        return QTest::qWaitFor([&] { return closed.has_value(); }, 10000) && *closed;
    }
};

// The notebook's session over the editor, books in the temporary folder, with what it says and opens.
struct BookSession : ::testing::Test {
    EditorWithFile e;
    NotebookSession session{e.vc, e.dir.filePath("Books")};
    QStringList messages;
    QString opened;

    BookSession() {
        session.showMessage = [this](const QString& text) { messages << text; };
        session.didOpen = [this](const QString& path) { opened = path; };
    }
    // Starts the session on the file (the books folder's notebook when empty); true once a book is open.
    bool start(const QString& path = {}) {
        opened.clear();
        session.start(path);
        return QTest::qWaitFor([&] { return !opened.isEmpty(); }, 10000);
    }
};

TEST(EditorDocument, APenUpShowsTheInkOnceAndMarksTheBookChangedOnce) {
    EditorWithFile e;
    ASSERT_TRUE(e.openNew());
    e.strokeDown(200);
    QCoreApplication::processEvents();
    const auto before = e.vc.appliedCounts();
    e.touch(TouchPhase::Ended, {325, 230});
    // Whatever the end of the turn still settles.
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    EXPECT_EQ(e.vc.appliedCounts().repaintsAsked - before.repaintsAsked, 1);
    EXPECT_EQ(e.vc.appliedCounts().changesRegistered - before.changesRegistered, 1);
    EXPECT_EQ(e.vc.book()->pointSets()->count(), 1u);
    EXPECT_TRUE(e.vc.document()->hasUnsavedChanges());
}

TEST(EditorDocument, AnAutosaveWaitsForTheFingerAndThenSavesOnce) {
    EditorWithFile e;
    ASSERT_TRUE(e.openNew());
    const ino_t before = inodeOf(e.path);

    e.strokeDown(200);
    std::optional<bool> answer;
    e.vc.autoSaveDocumentWithCompletion([&](bool ok) { answer = ok; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return answer.has_value(); }, 2000));
    EXPECT_FALSE(*answer);
    EXPECT_TRUE(e.vc.didAbortAutoSave());
    // A second refusal arms no second retry.
    e.vc.autoSaveDocumentWithCompletion({});

    // The finger stays down past the first retry: still nothing written.
    QTest::qWait(1300);
    EXPECT_EQ(inodeOf(e.path), before);
    e.touch(TouchPhase::Ended, {325, 230});

    // After the lift (the retry runs once a second) exactly one save, holding the stroke: once it is seen,
    // two more retry periods pass without another.
    std::vector<ino_t> seen;
    auto look = [&] {
        const ino_t now = inodeOf(e.path);
        if (now != before && (seen.empty() || seen.back() != now)) seen.push_back(now);
        return !seen.empty();
    };
    ASSERT_TRUE(QTest::qWaitFor(look, 15000));
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < 2200) {
        QTest::qWait(10);
        look();
    }
    EXPECT_EQ(seen.size(), 1u);
    EXPECT_FALSE(e.vc.didAbortAutoSave());
    EXPECT_FALSE(e.vc.document()->hasUnsavedChanges());
    const FoliantDataPtr saved = readBack(e.path);
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->pointSets()->count(), 1u);
}

TEST(EditorDocument, InTheBackgroundASaveIsGrantedMidStrokeAndPaintsNothing) {
    EditorWithFile e;
    ASSERT_TRUE(e.openNew());
    e.stroke(150);
    ASSERT_TRUE(e.close());  // the close pays for a preview
    const auto previewOf = [](const FoliantDataPtr& book) {
        const auto& bytes = book->thumbnailData();
        return bytes ? QByteArray(reinterpret_cast<const char*>(bytes->data()), qsizetype(bytes->size()))
                     : QByteArray();
    };
    const QByteArray preview = previewOf(readBack(e.path));
    ASSERT_FALSE(preview.isEmpty());

    ASSERT_TRUE(e.open());
    e.vc.stopDisplayLink();
    e.stroke(300);
    const std::uint64_t presents = e.vc.view().surface.eaglView().presentCount();
    std::optional<bool> answer;
    e.vc.autoSaveDocumentWithCompletion([&](bool ok) { answer = ok; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return answer.has_value(); }, 5000));
    EXPECT_TRUE(*answer);
    EXPECT_EQ(e.vc.view().surface.eaglView().presentCount(), presents);  // nothing painted
    EXPECT_TRUE(e.vc.needsThumbnailUpdate());              // the preview is owed
    const FoliantDataPtr saved = readBack(e.path);
    EXPECT_EQ(saved->pointSets()->count(), 2u);
    // The old preview's very bytes: no picture was encoded.
    EXPECT_EQ(previewOf(saved), preview);

    // Going to the background mid-stroke: granted, and it pays the preview.
    e.strokeDown(450);
    const ino_t before = inodeOf(e.path);
    e.vc.applicationWillResignActive();
    EXPECT_TRUE(QTest::qWaitFor([&] { return inodeOf(e.path) != before; }, 5000));
    EXPECT_NE(previewOf(readBack(e.path)), preview);
    e.vc.applicationDidBecomeActive();
    e.touch(TouchPhase::Ended, {325, 480});
    EXPECT_TRUE(e.vc.document()->hasUnsavedChanges());
    const std::uint64_t dots = e.vc.book()->pointSets()->mergedPointSet()->length();
    EXPECT_TRUE(e.close());
    // The close joins runs of one colour; every dot is there.
    EXPECT_EQ(readBack(e.path)->pointSets()->mergedPointSet()->length(), dots);
    EXPECT_LT(readBack(e.path)->pointSets()->count(), 3u);
}

TEST(EditorDocument, ALockedBookComesThroughViewingAndPageTurnsByteForByte) {
    EditorWithFile e;
    FoliantDataPtr book = newOnePageBook();
    for (int i = 0; i < 2; ++i)
        book->pages().push_back(FoliantData::createNewPage());
    book->setIsLocked(true);
    e.write(*book);
    const QByteArray original = bytesOf(e.path);

    ASSERT_TRUE(e.open());
    auto turned = [&] { return e.vc.pageNavigator()->pendingPageTurnOperations() == 0; };
    e.vc.pageNavigator()->turnToPage(1, true);
    WAIT_FOR(turned(), 5000);
    e.vc.nextPageButtonTapped();
    WAIT_FOR(turned(), 5000);
    e.vc.nextPageButtonTapped();  // the last page of a locked book adds none
    EXPECT_EQ(e.vc.book()->pages().size(), 3u);
    e.vc.session().viewport.setCanvasPoint({300, 300}, {100, 100}, e.vc.session().viewport.minZoomFactor * 3);
    e.stroke(200);  // a locked book takes the selection path: no ink
    e.vc.applicationWillResignActive();
    e.vc.applicationDidBecomeActive();
    ASSERT_TRUE(e.close());
    EXPECT_EQ(bytesOf(e.path), original);
}

TEST(EditorDocument, LockingHidesTheEditingButtonsAndNoKeyOrButtonChangesTheBookUntilUnlocked) {
    EditorWithFile e;
    ASSERT_TRUE(e.openNew());
    e.vc.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&e.vc));
    e.stroke(200);
    e.stroke(300);
    QApplication::processEvents();
    const KVSPointSetArrayPtr ink = e.vc.book()->pointSets();
    ASSERT_EQ(ink->count(), 2u);
    EXPECT_TRUE(e.vc.undoButton()->isVisible());
    EXPECT_FALSE(e.vc.unlockButton()->isVisible());

    // Ctrl+L: the book is saved locked, and only then does the toolbar turn.
    QTest::keyClick(&e.vc, Qt::Key_L, Qt::ControlModifier);
    EXPECT_TRUE(e.vc.book()->isLocked());
    WAIT_FOR(e.vc.unlockButton()->isVisible(), 10000);
    EXPECT_FALSE(e.vc.undoButton()->isVisible());
    EXPECT_FALSE(e.vc.redoButton()->isVisible());
    FoliantDocument::waitForAllWrites();
    WAIT_FOR(!e.vc.document()->hasUnsavedChanges(), 10000);
    const QByteArray locked = bytesOf(e.path);
    ASSERT_TRUE(readBack(e.path)->isLocked());

    // Undo and redo by key, button and menu, the pen keys and a stroke: nothing changes.
    QTest::keyClick(&e.vc, Qt::Key_Z, Qt::ControlModifier);
    e.vc.undoButtonTapped();
    e.vc.showUndoRedoMenu();
    EXPECT_EQ(e.vc.undoActionSheet(), nullptr);
    EXPECT_EQ(ink->count(), 2u);
    QTest::keyClick(&e.vc, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    e.vc.redoButtonTapped();
    QTest::keyClick(&e.vc, Qt::Key_E);
    EXPECT_NE(e.vc.session().sampler.inkType, 3);
    e.stroke(500);
    QApplication::processEvents();
    EXPECT_EQ(e.vc.book()->pointSets(), ink);
    EXPECT_EQ(ink->count(), 2u);
    ASSERT_TRUE(e.close());
    EXPECT_EQ(bytesOf(e.path), locked);

    // Opened again it shows locked at once; the unlock button saves nothing and gives editing back.
    ASSERT_TRUE(e.open());
    EXPECT_TRUE(e.vc.unlockButton()->isVisible());
    QTest::mouseClick(e.vc.unlockButton(), Qt::LeftButton);
    EXPECT_FALSE(e.vc.book()->isLocked());
    EXPECT_FALSE(e.vc.unlockButton()->isVisible());
    EXPECT_TRUE(e.vc.undoButton()->isVisible());
    EXPECT_EQ(bytesOf(e.path), locked);
    e.stroke(500);
    QApplication::processEvents();
    EXPECT_EQ(e.vc.book()->pointSets()->count(), 3u);
    QTest::keyClick(&e.vc, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(e.vc.book()->pointSets()->count(), 2u);
}

TEST_F(BookSession, QuittingSavesAndBadOrVanishedFilesNeitherCrashNorGetWritten) {
    // Not a book: refused with a message, left as it is, and the books folder's notebook opens instead.
    const QString junk = e.dir.filePath("junk.velumen");
    ASSERT_NO_FATAL_FAILURE(writeBytes(junk, "bplist00 this is not a book at all", 34));
    const QByteArray junkBytes = bytesOf(junk);
    ASSERT_TRUE(start(junk));
    ASSERT_EQ(messages.size(), 1);
    EXPECT_TRUE(messages[0].contains("junk.velumen"));
    EXPECT_EQ(opened, session.defaultBookPath());
    EXPECT_EQ(bytesOf(junk), junkBytes);
    ASSERT_NE(e.vc.document(), nullptr);
    EXPECT_EQ(e.vc.document()->filePath(), session.defaultBookPath());

    // Quitting with a stroke not yet saved writes it.
    if (e.vc.document()) e.vc.document()->setAutosaveInterval(std::chrono::hours(1));
    e.stroke(250);
    EXPECT_TRUE(e.vc.document()->hasUnsavedChanges());
    EXPECT_TRUE(session.quit());
    EXPECT_EQ(readBack(session.defaultBookPath())->pointSets()->count(), 1u);

    // A book deleted behind the open one: the close goes through without a crash.
    ASSERT_TRUE(start());
    e.stroke(400);
    ASSERT_TRUE(QFile::remove(session.defaultBookPath()));
    std::optional<bool> closed;
    e.vc.closeDocumentWithCompletion([&](bool ok) { closed = ok; });
    EXPECT_TRUE(QTest::qWaitFor([&] { return closed.has_value(); }, 10000));
    EXPECT_EQ(e.vc.document(), nullptr);
}

TEST_F(BookSession, AHostileBookIsRefusedWithItsNameAsOneLineOfVisibleText) {
    struct Thing {};
    KeyedArchiver archiver;
    const auto bytes = archiver.archivedDataWithRootObject(Thing{}, {"Evil\n\x1b[31mClass", "NSObject"},
                                                           [](const Thing&, KeyedEncoder&) {});
    ASSERT_TRUE(bytes);
    const QString hostile =
        e.dir.filePath(QString::fromUtf8("evil\n\x1b[31m\u009b2J\xe2\x80\xa8.velumen"));
    ASSERT_NO_FATAL_FAILURE(
        writeBytes(hostile, reinterpret_cast<const char*>(bytes->data()), qint64(bytes->size())));
    ASSERT_TRUE(start(hostile));
    ASSERT_EQ(messages.size(), 1);
    for (const QChar c : messages[0]) {
        const char16_t u = c.unicode();
        EXPECT_FALSE(u < 0x20 || (u >= 0x7F && u <= 0x9F) || u == 0x2028) << int(u);
    }
    EXPECT_TRUE(messages[0].contains("evil\\n\\x1b[31m\\u{9b}2J\\u{2028}.velumen"))
        << messages[0].toStdString();
    EXPECT_EQ(opened, session.defaultBookPath());
    EXPECT_EQ(bytesOf(hostile).size(), qsizetype(bytes->size()));
}

TEST_F(BookSession, AMissingFileIsCalledMissingAndAnUnchangedBookIsNotWrittenAgainAtQuit) {
    ASSERT_TRUE(start(e.dir.filePath("no/such/file.velumen"))) << messages.join("|").toStdString();
    ASSERT_EQ(messages.size(), 1);
    EXPECT_TRUE(messages[0].contains("file.velumen"));
    EXPECT_TRUE(messages[0].contains("no such file"));
    EXPECT_FALSE(messages[0].contains("not a book"));
    EXPECT_EQ(opened, session.defaultBookPath());
    EXPECT_FALSE(QFileInfo::exists(e.dir.filePath("no/such/file.velumen")));
    // The messages for the other refusals say what they are.
    EXPECT_TRUE(NotebookSession::refusalMessage(e.dir.path()).contains("folder"));
    ASSERT_TRUE(session.quit());  // the new notebook is stored at this window's fit view

    // Opened, sent to the background as a closing window is, and quit without a change: not written.
    ASSERT_TRUE(start());
    const ino_t before = inodeOf(session.defaultBookPath());
    const QByteArray bytes = bytesOf(session.defaultBookPath());
    e.vc.applicationWillResignActive();
    ASSERT_TRUE(session.quit());
    EXPECT_EQ(inodeOf(session.defaultBookPath()), before);
    EXPECT_EQ(bytesOf(session.defaultBookPath()), bytes);
}

}  // namespace
