// The open book's file in one process: load and encode, opens that fail, the autosave entry with its veto
// and its timer, changes made while a write is in flight, close and quit waiting for the write, a failed
// write and the state it raises.
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <gtest/gtest.h>

#include "TestBooks.h"
#include "document/KeyedArchive.h"
#include "document/qt/FoliantDocument.h"
#include "objects/qt/QtImageCodec.h"

namespace velumen {
namespace {

namespace fs = std::filesystem;
using namespace testbooks;
using Kind = FoliantDocument::ChangeKind;

// Runs the event loop until `done`; false after 30 s, as a guard against a hang.
bool spin(const std::function<bool()>& done) {
    const QDeadlineTimer deadline(30000);
    while (!done()) {
        if (deadline.hasExpired()) return false;
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

struct Editor : FoliantDocumentDelegate {
    bool grant = true;
    int asked = 0;
    int updated = 0;
    bool documentWillAutoSave(FoliantDocument&) override {
        ++asked;
        return grant;
    }
    void documentContentsDidUpdate(FoliantDocument&) override { ++updated; }
};

// The answer of a completion handler, once it came.
struct Answer {
    int count = 0;
    bool success = false;
    FoliantDocument::CompletionHandler handler() {
        return [this](bool ok) {
            ++count;
            success = ok;
        };
    }
};

class FoliantDocumentTest : public ::testing::Test {
  protected:
    void SetUp() override {
        path = dir / "Book.velumen";
        book = inkBook(2, 20000);
        bytes = archivedDataWithRootObject(*book, &codec);
        writeFile(path, bytes);
    }

    std::unique_ptr<FoliantDocument> open(const fs::path& file) {
        auto document = std::make_unique<FoliantDocument>(QString::fromStdString(file.string()), codec);
        Answer opened;
        document->openWithCompletionHandler(opened.handler());
        EXPECT_TRUE(spin([&] { return opened.count == 1; }));
        EXPECT_TRUE(opened.success) << document->errorString().toStdString();
        return document;
    }
    std::unique_ptr<FoliantDocument> open() { return open(path); }
    // Marks an edit: every dot one unit further right.
    static void edit(FoliantDocument& document) {
        shiftBook(*document.data());
        document.updateChangeCount(Kind::Done);
    }
    FoliantDataPtr onDisk(const fs::path& file) { return unarchiveFoliantData(fileBytes(file), &codec); }
    FoliantDataPtr onDisk() { return onDisk(path); }
    static bool answered(Answer& answer, int count) {
        return spin([&] { return answer.count == count; });
    }

    QtImageCodec codec;
    TempDir temp;
    const fs::path dir = temp.path();
    fs::path path;
    FoliantDataPtr book;
    Bytes bytes;
};

TEST_F(FoliantDocumentTest, LoadAndEncodeTakeSizePanAndZoom) {
    FoliantDocument document(QString::fromStdString(path.string()), codec);
    book->setPanDelta({3, 4});
    book->setZoomFactor(2.5f);
    const Bytes contents = archivedDataWithRootObject(*book, &codec);
    EXPECT_TRUE(document.loadFromContents(contents));
    EXPECT_EQ(document.dataSize(), contents.size());
    EXPECT_EQ(document.savedPanDelta(), (Point{3, 4}));
    EXPECT_EQ(document.savedZoomFactor(), 2.5f);
    EXPECT_TRUE(sameInk(*document.data(), *book));

    // With a delegate, every load tells it; bytes holding no book give an empty one.
    Editor editor;
    document.setDelegate(&editor);
    EXPECT_TRUE(document.loadFromContents({}));
    EXPECT_EQ(editor.updated, 1);
    EXPECT_TRUE(document.data()->pages().empty());
    EXPECT_EQ(document.dataSize(), 0u);

    // Bytes that are not a book raise and change nothing.
    const FoliantDataPtr before = document.data();
    const Bytes truncated(contents.begin(), contents.begin() + std::ptrdiff_t(contents.size() / 2));
    EXPECT_THROW(document.loadFromContents(truncated), ArchiveError);
    EXPECT_EQ(document.data(), before);
    EXPECT_EQ(editor.updated, 1);

    ASSERT_TRUE(document.loadFromContents(contents));
    document.data()->setPanDelta({7, 8});
    document.data()->setZoomFactor(1.5f);
    const Bytes& encoded = document.contentsForType();
    EXPECT_EQ(document.dataSize(), encoded.size());
    EXPECT_EQ(document.savedPanDelta(), (Point{7, 8}));
    EXPECT_EQ(document.savedZoomFactor(), 1.5f);
    FoliantDataPtr decoded = unarchiveFoliantData(encoded, &codec);
    ASSERT_TRUE(decoded);
    EXPECT_TRUE(sameInk(*decoded, *book));
    EXPECT_EQ(decoded->zoomFactor(), 1.5f);
}

TEST_F(FoliantDocumentTest, AFailedOpenNeverWritesTheFile) {
    const fs::path missing = dir / "Missing.velumen", folder = dir / "Folder.velumen";
    const fs::path garbage = dir / "Garbage.velumen", truncated = dir / "Truncated.velumen";
    fs::create_directory(folder);
    writeFile(garbage, Bytes{'n', 'o', 't', ' ', 'a', ' ', 'b', 'o', 'o', 'k'});
    writeFile(truncated, Bytes(bytes.begin(), bytes.begin() + std::ptrdiff_t(bytes.size() / 2)));
    const std::size_t entries = std::distance(fs::directory_iterator(dir), fs::directory_iterator());

    for (const fs::path& file : {missing, folder, garbage, truncated}) {
        SCOPED_TRACE(file.filename().string());
        const Bytes before = fs::is_regular_file(file) ? fileBytes(file) : Bytes{};
        FoliantDocument document(QString::fromStdString(file.string()), codec);
        Answer opened, saved, closed;
        document.openWithCompletionHandler(opened.handler());
        ASSERT_TRUE(answered(opened, 1));
        EXPECT_FALSE(opened.success);
        EXPECT_FALSE(document.errorString().isEmpty());
        EXPECT_TRUE(document.data()->pages().empty());

        // Whatever the editor does with it, the document refuses to write.
        document.data()->pages().push_back(FoliantData::createNewPage());
        document.updateChangeCount(Kind::Done);
        document.autosaveWithCompletionHandler(saved.handler());
        document.closeWithCompletionHandler(closed.handler());
        ASSERT_TRUE(answered(saved, 1) && answered(closed, 1));
        EXPECT_FALSE(saved.success);
        EXPECT_FALSE(closed.success);
        FoliantDocument::waitForAllWrites();
        EXPECT_EQ(fs::exists(file), file != missing);
        if (fs::is_regular_file(file)) {
            EXPECT_EQ(fileBytes(file), before);
        }
    }
    EXPECT_TRUE(fs::is_directory(folder));
    EXPECT_EQ(std::size_t(std::distance(fs::directory_iterator(dir), fs::directory_iterator())), entries);

    // An empty file holds no book: it opens as an empty one.
    const fs::path empty = dir / "Empty.velumen";
    writeFile(empty, {});
    EXPECT_TRUE(open(empty)->data()->pages().empty());
}

TEST_F(FoliantDocumentTest, TheAutosaveEntryAsksTheDelegateAndWritesOnceWhenGranted) {
    auto document = open();
    Editor editor;
    editor.grant = false;
    document->setDelegate(&editor);
    const ino_t original = inode(path);
    edit(*document);

    Answer vetoed;
    document->autosaveWithCompletionHandler(vetoed.handler());
    EXPECT_EQ(vetoed.count, 1);  // a veto answers at once
    EXPECT_FALSE(vetoed.success);
    FoliantDocument::waitForAllWrites();
    QCoreApplication::processEvents();
    EXPECT_EQ(inode(path), original);
    EXPECT_EQ(fileBytes(path), bytes);
    EXPECT_TRUE(document->hasUnsavedChanges());

    editor.grant = true;
    Answer granted;
    document->autosaveWithCompletionHandler(granted.handler());
    ASSERT_TRUE(answered(granted, 1));
    EXPECT_TRUE(granted.success);
    EXPECT_FALSE(document->hasUnsavedChanges());
    EXPECT_TRUE(sameInk(*onDisk(), *document->data()));
    const ino_t written = inode(path);
    EXPECT_NE(written, original);

    // Nothing new: granted, answered true, and nothing written.
    document->autosaveWithCompletionHandler(granted.handler());
    ASSERT_TRUE(answered(granted, 2));
    EXPECT_TRUE(granted.success);
    EXPECT_EQ(inode(path), written);
    EXPECT_EQ(editor.asked, 3);
}

TEST_F(FoliantDocumentTest, TheTimerCallsTheAutosaveEntryWhileChangesWait) {
    auto document = open();
    Editor editor;
    editor.grant = false;
    document->setDelegate(&editor);
    document->setAutosaveInterval(std::chrono::milliseconds(5));
    edit(*document);
    // Vetoed ticks write nothing, and the timer comes back.
    ASSERT_TRUE(spin([&] { return editor.asked >= 3; }));
    FoliantDocument::waitForAllWrites();
    EXPECT_EQ(fileBytes(path), bytes);

    editor.grant = true;
    ASSERT_TRUE(spin([&] { return !document->hasUnsavedChanges(); }));
    EXPECT_TRUE(sameInk(*onDisk(), *document->data()));
    // With nothing to save the timer stays quiet.
    const int asked = editor.asked;
    const QDeadlineTimer ticks(100);  // twenty periods
    while (!ticks.hasExpired())
        QCoreApplication::processEvents();
    EXPECT_EQ(editor.asked, asked);
}

TEST_F(FoliantDocumentTest, ChangesAfterTheEncodeStayUnsaved) {
    auto document = open();
    edit(*document);
    Answer saved;
    document->autosaveWithCompletionHandler(saved.handler());
    edit(*document);  // while the write is in flight
    ASSERT_TRUE(answered(saved, 1));
    EXPECT_TRUE(saved.success);
    EXPECT_TRUE(document->hasUnsavedChanges());
    FoliantDataPtr once = inkBook(2, 20000);
    shiftBook(*once);
    EXPECT_TRUE(sameInk(*onDisk(), *once));

    document->autosaveWithCompletionHandler(saved.handler());
    ASSERT_TRUE(answered(saved, 2));
    EXPECT_FALSE(document->hasUnsavedChanges());
    EXPECT_TRUE(sameInk(*onDisk(), *document->data()));
}

TEST_F(FoliantDocumentTest, CloseWaitsForItsWriteAndThenWritesNoMore) {
    auto document = open();
    edit(*document);
    document->autosaveWithCompletionHandler(nullptr);
    shiftBook(*document->data());  // as the editor's preparations for a close: no change counted
    Answer closed;
    bool diskHeldEveryChange = false;
    document->closeWithCompletionHandler([&](bool ok) {
        diskHeldEveryChange = sameInk(*onDisk(), *document->data());
        closed.handler()(ok);
    });
    ASSERT_TRUE(answered(closed, 1));
    EXPECT_TRUE(closed.success);
    EXPECT_TRUE(diskHeldEveryChange);

    const ino_t last = inode(path);
    edit(*document);
    Answer late;
    document->autosaveWithCompletionHandler(late.handler());
    ASSERT_TRUE(answered(late, 1));
    EXPECT_FALSE(late.success);
    FoliantDocument::waitForAllWrites();
    EXPECT_EQ(inode(path), last);
}

TEST_F(FoliantDocumentTest, DestroyingTheDocumentOrQuittingWaitsForTheWrite) {
    auto document = open();
    edit(*document);
    document->autosaveWithCompletionHandler(nullptr);
    const FoliantDataPtr saved = document->data();
    document.reset();  // no event is processed from here on
    EXPECT_TRUE(sameInk(*onDisk(), *saved));

    document = open();
    edit(*document);
    document->autosaveWithCompletionHandler(nullptr);
    FoliantDocument::waitForAllWrites();
    EXPECT_TRUE(sameInk(*onDisk(), *document->data()));
}

TEST_F(FoliantDocumentTest, AFailedWriteRaisesSavingErrorUntilAWriteSucceeds) {
    const fs::path shelf = dir / "shelf", moved = dir / "moved";
    fs::create_directory(shelf);
    writeFile(shelf / "Book.velumen", bytes);
    auto document = open(shelf / "Book.velumen");
    std::vector<FoliantDocument::DocumentState> states;
    QObject::connect(document.get(), &FoliantDocument::documentStateChanged,
                     [&](FoliantDocument::DocumentState state) { states.push_back(state); });

    fs::rename(shelf, moved);  // the book's folder goes away behind the open book
    edit(*document);
    Answer saved;
    document->autosaveWithCompletionHandler(saved.handler());
    ASSERT_TRUE(answered(saved, 1));
    EXPECT_FALSE(saved.success);
    EXPECT_EQ(document->documentState(), FoliantDocument::SavingError);
    EXPECT_EQ(states, std::vector<FoliantDocument::DocumentState>{FoliantDocument::SavingError});
    EXPECT_TRUE(document->hasUnsavedChanges());
    EXPECT_FALSE(document->errorString().isEmpty());
    EXPECT_EQ(fileBytes(moved / "Book.velumen"), bytes);
    EXPECT_EQ(std::distance(fs::directory_iterator(moved), fs::directory_iterator()), 1);

    fs::rename(moved, shelf);
    document->autosaveWithCompletionHandler(saved.handler());
    ASSERT_TRUE(answered(saved, 2));
    EXPECT_TRUE(saved.success);
    EXPECT_EQ(document->documentState(), FoliantDocument::Normal);
    EXPECT_EQ(states.back(), FoliantDocument::Normal);
    EXPECT_TRUE(sameInk(*onDisk(shelf / "Book.velumen"), *document->data()));
}

TEST_F(FoliantDocumentTest, AnOpenReadsWhatTheWritesBeforeItLeft) {
    auto writer = open();
    edit(*writer);
    writer->autosaveWithCompletionHandler(nullptr);
    auto reader = open();
    EXPECT_TRUE(sameInk(*reader->data(), *writer->data()));
}

}  // namespace
}  // namespace velumen
