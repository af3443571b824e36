// `velumen thumbnail` run as a program, as a file manager runs it through the desktop thumbnailer entry:
// the preview scaled to fit the size asked, as PNG whatever the output is named; books without a readable
// preview fail with a message and leave no output.
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QTemporaryDir>
#include <string>

#include <gtest/gtest.h>

#include "document/FoliantData.h"
#include "objects/qt/QtImageCodec.h"

namespace velumen {
namespace {

// Runs `command` with sh; its exit status.
int shell(const std::string& command) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    int raw = 0;
    if (child < 0 || ::waitpid(child, &raw, 0) != child) return -1;
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

std::string quoted(const QString& path) { return "'" + path.toStdString() + "'"; }

void writeBook(const QString& path, int width, int height) {
    FoliantData book;
    book.pages().push_back(FoliantData::createNewPage());
    auto image = std::make_shared<KImage>();
    image->width = width;
    image->height = height;
    image->pixels.assign(std::size_t(width) * std::size_t(height), 0xFF3366CCu);
    book.setThumbnail(image);
    const QtImageCodec codec;
    const auto bytes = archivedDataWithRootObject(book, &codec);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(reinterpret_cast<const char*>(bytes.data()), qsizetype(bytes.size()));
}

// The Exec line of the thumbnailer entry for this build, with the file manager's fields filled in.
std::string thumbnailerCommand(int size, const QString& in, const QString& out) {
    QFile entry(QStringLiteral(VELUMEN_SOURCE_DIR "/resources/desktop/velumen.thumbnailer.in"));
    EXPECT_TRUE(entry.open(QIODevice::ReadOnly));
    for (QString line : QString::fromUtf8(entry.readAll()).split('\n')) {
        if (!line.startsWith("Exec=")) continue;
        line = line.mid(5).replace("@VELUMEN_TOOL@", VELUMEN_TOOL).replace("%s", QString::number(size));
        return line.replace("%i", QString::fromStdString(quoted(in)))
            .replace("%o", QString::fromStdString(quoted(out)))
            .toStdString();
    }
    ADD_FAILURE() << "no Exec line";
    return "false";
}

TEST(ThumbnailCommand, TheFileManagersEntryWritesAPngThatFitsTheSize) {
    QTemporaryDir dir;
    const QString book = dir.filePath("My Trip.velumen");
    writeBook(book, 300, 400);
    struct Case {
        int size;
        QSize expected;
    };
    for (const Case& c : {Case{128, QSize(96, 128)}, Case{256, QSize(192, 256)}, Case{1024, QSize(300, 400)}}) {
        SCOPED_TRACE(c.size);
        const QString out = dir.filePath("out.jpg");  // the name does not choose the format
        ASSERT_EQ(shell(thumbnailerCommand(c.size, book, out)), 0);
        QImageReader reader(out);
        reader.setDecideFormatFromContent(true);
        EXPECT_EQ(reader.format(), "png");
        EXPECT_EQ(reader.read().size(), c.expected);
    }
    // Without -s: 256.
    ASSERT_EQ(shell(std::string(VELUMEN_TOOL) + " thumbnail " + quoted(book) + " " + quoted(dir.filePath("d.png"))), 0);
    EXPECT_EQ(QImage(dir.filePath("d.png")).size(), QSize(192, 256));
}

TEST(ThumbnailCommand, NoPreviewNoOutput) {
    QTemporaryDir dir;
    QFile broken(dir.filePath("Broken.velumen"));
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write("bplist00 and no more");
    broken.close();
    FoliantData bare;
    bare.pages().push_back(FoliantData::createNewPage());
    const auto bytes = archivedDataWithRootObject(bare, nullptr);
    QFile bareFile(dir.filePath("Bare.velumen"));
    ASSERT_TRUE(bareFile.open(QIODevice::WriteOnly));
    bareFile.write(reinterpret_cast<const char*>(bytes.data()), qsizetype(bytes.size()));
    bareFile.close();
    for (const char* name : {"Broken.velumen", "Bare.velumen", "Missing.velumen"}) {
        SCOPED_TRACE(name);
        const QString out = dir.filePath("out.png");
        EXPECT_EQ(shell(std::string(VELUMEN_TOOL) + " thumbnail -s 64 " + quoted(dir.filePath(name)) + " " +
                        quoted(out) + " 2>/dev/null"),
                  1);
        EXPECT_FALSE(QFile::exists(out));
    }
    EXPECT_EQ(shell(std::string(VELUMEN_TOOL) + " thumbnail -s 0 a b 2>/dev/null"), 2);
    EXPECT_EQ(shell(std::string(VELUMEN_TOOL) + " thumbnail a 2>/dev/null"), 2);
}

}  // namespace
}  // namespace velumen
