// The books' one move into the documents folder: every book of the old folder arrives whole, a name
// already taken there is never overwritten and its book stays behind, other files are left alone, and a
// second start moves nothing.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "app/BooksFolder.h"

namespace velumen {
namespace {

void write(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

QByteArray read(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

TEST(BooksFolder, BooksMoveOnceIntoDocumentsVelumenWithoutOverwritingAnything) {
    QTemporaryDir dir;
    const QString old = dir.filePath("data/Books");
    const QString documents = dir.filePath("Documents");
    ASSERT_TRUE(QDir().mkpath(old));
    ASSERT_TRUE(QDir().mkpath(booksFolderIn(documents)));
    const QString books = booksFolderIn(documents);
    EXPECT_EQ(books, documents + "/Velumen");
    write(old + "/Notebook.velumen", "old notebook");
    write(old + "/Trip.velumen", "trip");
    write(old + "/notes.txt", "not a book");
    write(books + "/Trip.velumen", "the new folder's own trip");

    const BooksMove move = moveBooksOnce(old, books);
    EXPECT_EQ(move.moved, QStringList({"Notebook.velumen"}));
    EXPECT_EQ(move.skipped, QStringList({"Trip.velumen"}));
    EXPECT_EQ(read(books + "/Notebook.velumen"), "old notebook");
    EXPECT_FALSE(QFile::exists(old + "/Notebook.velumen"));
    // The clash: both books kept, each where it was.
    EXPECT_EQ(read(books + "/Trip.velumen"), "the new folder's own trip");
    EXPECT_EQ(read(old + "/Trip.velumen"), "trip");
    EXPECT_EQ(read(old + "/notes.txt"), "not a book");

    // Again: nothing more moves, nothing changes.
    const BooksMove again = moveBooksOnce(old, books);
    EXPECT_TRUE(again.moved.isEmpty());
    EXPECT_EQ(read(books + "/Trip.velumen"), "the new folder's own trip");
}

TEST(BooksFolder, AMissingOrSameOldFolderMovesNothing) {
    QTemporaryDir dir;
    const QString books = booksFolderIn(dir.path());
    EXPECT_TRUE(moveBooksOnce(dir.filePath("nowhere"), books).moved.isEmpty());
    EXPECT_FALSE(QDir(books).exists());
    ASSERT_TRUE(QDir().mkpath(books));
    write(books + "/A.velumen", "a");
    EXPECT_TRUE(moveBooksOnce(books, books).moved.isEmpty());
    EXPECT_EQ(read(books + "/A.velumen"), "a");
}

}  // namespace
}  // namespace velumen
