// velumen import-pdf as a program: a PDF written by the test becomes pages of pictures in a new book and
// in an existing one, the pictures' JPEG bytes come through `velumen upgrade` byte for byte, and a file
// that is no PDF leaves the book as it was.
#include <gtest/gtest.h>

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <string>
#include <vector>

#include "document/FoliantData.h"
#include "objects/qt/QtImageCodec.h"

namespace velumen {
namespace {

QByteArray twoPagePdf() {
    const std::vector<std::string> objects{
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 5 0 R >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 792 612] /Contents 5 0 R >>",
        "<< /Length 25 >>\nstream\n1 0 0 rg 0 0 300 300 re f\nendstream"};
    std::string out = "%PDF-1.4\n";
    std::vector<std::size_t> offsets;
    for (std::size_t n = 0; n < objects.size(); ++n) {
        offsets.push_back(out.size());
        out += std::to_string(n + 1) + " 0 obj\n" + objects[n] + "\nendobj\n";
    }
    const std::size_t xref = out.size();
    out += "xref\n0 6\n0000000000 65535 f \n";
    for (std::size_t o : offsets) {
        const std::string number = std::to_string(o);
        out += std::string(10 - number.size(), '0') + number + " 00000 n \n";
    }
    out += "trailer\n<< /Size 6 /Root 1 0 R >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
    return QByteArray::fromStdString(out);
}

FoliantDataPtr readBack(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return nullptr;
    const QByteArray bytes = f.readAll();
    const QtImageCodec codec;
    return unarchiveFoliantData({reinterpret_cast<const std::uint8_t*>(bytes.constData()), std::size_t(bytes.size())},
                                &codec);
}

int run(const QStringList& args, QString* err = nullptr) {
    QProcess tool;
    tool.start(VELUMEN_TOOL, args);
    tool.waitForFinished(60000);
    if (err) *err = QString::fromUtf8(tool.readAllStandardError());
    return tool.exitStatus() == QProcess::NormalExit ? tool.exitCode() : -1;
}

TEST(ImportPdfCommand, PagesOfPicturesSurviveUpgradeByteForByteAndBadFilesChangeNothing) {
    QTemporaryDir dir;
    const QString pdf = dir.filePath("in.pdf");
    QFile f(pdf);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(twoPagePdf());
    f.close();
    const QString book = dir.filePath("book.velumen");
    ASSERT_EQ(run({"import-pdf", pdf, book}), 0);
    FoliantDataPtr read = readBack(book);
    ASSERT_TRUE(read);
    ASSERT_EQ(read->pages().size(), 2u);
    const auto& first = read->pages()[0]->images;
    ASSERT_EQ(first.size(), 1u);
    // A letter page is a little narrower than the canvas: fitted to its height, centred across.
    EXPECT_EQ(first[0]->frame.height, 1920);
    // (The picture has whole pixels, so the aspect is the page's within a pixel.)
    EXPECT_NEAR(first[0]->frame.width, 1920 * 612 / 792.0, 1.0);
    EXPECT_NEAR(first[0]->frame.x, (1536 - first[0]->frame.width) / 2, 0.01);
    // Landscape: fitted across, centred down the page.
    EXPECT_EQ(read->pages()[1]->images.at(0)->frame.width, 1536);
    EXPECT_NEAR(read->pages()[1]->images.at(0)->frame.height, 1536 * 612 / 792.0, 1.0);

    // Appending to an existing book keeps its pages.
    ASSERT_EQ(run({"import-pdf", pdf, book}), 0);
    read = readBack(book);
    ASSERT_EQ(read->pages().size(), 4u);

    const QString upgraded = dir.filePath("upgraded.velumen");
    ASSERT_EQ(run({"upgrade", book, upgraded}), 0);
    const FoliantDataPtr again = readBack(upgraded);
    ASSERT_TRUE(again);
    for (std::size_t p = 0; p < 4; ++p)
        EXPECT_EQ(*again->pages()[p]->images.at(0)->imageData(), *read->pages()[p]->images.at(0)->imageData()) << p;

    // No PDF: one line, status 1, the book unchanged.
    QFile bookFile(book);
    ASSERT_TRUE(bookFile.open(QIODevice::ReadOnly));
    const QByteArray before = bookFile.readAll();
    bookFile.close();
    QFile junk(dir.filePath("junk.pdf"));
    ASSERT_TRUE(junk.open(QIODevice::WriteOnly));
    junk.write("%PDF-1.4 and then nothing");
    junk.close();
    QString err;
    EXPECT_EQ(run({"import-pdf", junk.fileName(), book}, &err), 1);
    EXPECT_TRUE(err.startsWith("velumen: ")) << err.toStdString();
    ASSERT_TRUE(bookFile.open(QIODevice::ReadOnly));
    EXPECT_EQ(bookFile.readAll(), before);
    EXPECT_FALSE(QFile::exists(dir.filePath("never.velumen")));
    EXPECT_EQ(run({"import-pdf", junk.fileName(), dir.filePath("never.velumen")}), 1);
    EXPECT_FALSE(QFile::exists(dir.filePath("never.velumen")));
}

}  // namespace
}  // namespace velumen
