// The PDF reader and the import of PDF pages against files the tests write themselves: small PDF bodies
// with their cross-reference tables, a page turned a quarter, a file without pages, a truncated file, and a
// file encrypted with a user password by qpdf. Page count, the box poppler reports, rotation, the
// transparent bands of padded pictures, and a book left untouched by every bad file.
#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <string>
#include <vector>

#include "export/KPdfReader.h"
#include "export/PdfImport.h"
#include "objects/qt/QtImageCodec.h"

namespace velumen {
namespace {

struct PdfPage {
    double width, height;
    int rotate = 0;
};

// A PDF whose pages are filled blue on their lower half, with a correct cross-reference table.
QByteArray writePdf(const std::vector<PdfPage>& pages) {
    std::vector<std::string> objects;
    objects.push_back("<< /Type /Catalog /Pages 2 0 R >>");
    std::string kids;
    for (std::size_t i = 0; i < pages.size(); ++i)
        kids += std::to_string(3 + 2 * i) + " 0 R ";
    objects.push_back("<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pages.size()) + " >>");
    for (std::size_t i = 0; i < pages.size(); ++i) {
        const PdfPage& p = pages[i];
        const std::string w = std::to_string(int(p.width)), h = std::to_string(int(p.height));
        objects.push_back("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 " + w + " " + h + "] /Rotate " +
                          std::to_string(p.rotate) + " /Contents " + std::to_string(4 + 2 * i) + " 0 R >>");
        const std::string content = "0 0 1 rg 0 0 " + w + " " + std::to_string(int(p.height / 2)) + " re f";
        objects.push_back("<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "\nendstream");
    }
    std::string out = "%PDF-1.4\n";
    std::vector<std::size_t> offsets;
    for (std::size_t n = 0; n < objects.size(); ++n) {
        offsets.push_back(out.size());
        out += std::to_string(n + 1) + " 0 obj\n" + objects[n] + "\nendobj\n";
    }
    const std::size_t xref = out.size();
    out += "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (std::size_t o : offsets) {
        std::string number = std::to_string(o);
        out += std::string(10 - number.size(), '0') + number + " 00000 n \n";
    }
    out += "trailer\n<< /Size " + std::to_string(objects.size() + 1) + " /Root 1 0 R >>\nstartxref\n" +
           std::to_string(xref) + "\n%%EOF\n";
    return QByteArray::fromStdString(out);
}

class PdfFiles : public ::testing::Test {
  protected:
    QTemporaryDir dir;
    QString write(const char* name, const QByteArray& bytes) {
        const QString path = dir.filePath(name);
        QFile f(path);
        EXPECT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(bytes);
        return path;
    }
};

TEST_F(PdfFiles, PageCountBoxAndRotation) {
    KPdfReader reader;
    ASSERT_TRUE(reader.setFileOpenUrl(write("three.pdf", writePdf({{612, 792}, {400, 200, 90}, {300, 300, 270}}))));
    EXPECT_EQ(reader.totalNumberOfPages(), 3u);
    EXPECT_EQ(reader.getPageImageSize(1), (Size{612, 792}));
    EXPECT_EQ(reader.getPageRotation(1), 0);
    // A quarter turn: the box stays as written, the page shows the other way round.
    EXPECT_EQ(reader.getPageImageSize(2), (Size{400, 200}));
    EXPECT_EQ(reader.getPageRotation(2), 90);
    EXPECT_EQ(reader.getShownPageSize(2), (Size{200, 400}));
    EXPECT_EQ(reader.getPageRotation(3), 270);
    // Out of range: zero sizes, no pictures.
    EXPECT_EQ(reader.getPageImageSize(4), (Size{}));
    EXPECT_EQ(reader.getPageImageSize(0), (Size{}));
    EXPECT_TRUE(reader.getPageImage(4, 100, 100).isNull());
}

TEST_F(PdfFiles, PaddedPicturesCentreThePageWithTransparentBands) {
    KPdfReader reader;
    // A wide page (400 x 200) into a square: bands above and below.
    ASSERT_TRUE(reader.setFileOpenUrl(write("wide.pdf", writePdf({{400, 200}, {400, 200, 90}}))));
    const QImage square = reader.getPageImage(1, 200, 200);
    ASSERT_EQ(square.size(), QSize(200, 200));
    EXPECT_EQ(qAlpha(square.pixel(100, 10)), 0);    // the top band
    EXPECT_EQ(qAlpha(square.pixel(100, 190)), 0);   // the bottom band
    EXPECT_EQ(square.pixel(100, 140), qRgb(0, 0, 255));  // the page's blue lower half
    // The same page turned a quarter fills the height and leaves bands left and right.
    const QImage turned = reader.getPageImage(2, 200, 200);
    EXPECT_EQ(qAlpha(turned.pixel(10, 100)), 0);
    EXPECT_EQ(qAlpha(turned.pixel(190, 100)), 0);
    EXPECT_GT(qAlpha(turned.pixel(100, 100)), 0);
    // The maximum-size form: a page smaller than the maximum gets a proportionally smaller picture.
    const QImage small = reader.getPaddedPageImage(1, {800, 800});
    EXPECT_EQ(small.size(), QSize(400, 400));
    const QImage large = reader.getPaddedPageImage(1, {100, 100});
    EXPECT_EQ(large.size(), QSize(100, 100));
    // Unpadded on white: the page's own aspect, white where the page draws nothing.
    const QImage white = reader.getPageImageOnWhite(1, 400);
    EXPECT_EQ(white.size(), QSize(400, 200));
    EXPECT_EQ(white.pixel(200, 20), qRgb(255, 255, 255));
}

TEST_F(PdfFiles, BadFilesGiveNoPagesAndAReason) {
    QByteArray full = writePdf({{612, 792}, {612, 792}});
    struct Case {
        const char* name;
        QByteArray bytes;
    };
    const Case cases[] = {
        {"nopages.pdf", writePdf({})},
        {"text.pdf", QByteArray("just some words, no PDF here")},
        {"empty.pdf", QByteArray()},
        {"truncated.pdf", full.left(40)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        KPdfReader reader;
        EXPECT_FALSE(reader.setFileOpenUrl(write(c.name, c.bytes)));
        EXPECT_EQ(reader.totalNumberOfPages(), 0u);
        EXPECT_FALSE(reader.error().empty());
        EXPECT_TRUE(reader.getPageImage(1, 10, 10).isNull());
    }
    KPdfReader missing;
    EXPECT_FALSE(missing.setFileOpenUrl(dir.filePath("nowhere.pdf")));
}

TEST_F(PdfFiles, AFilePasswordProtectedByQpdfIsRefused) {
    const QString qpdf = QStandardPaths::findExecutable("qpdf");
    if (qpdf.isEmpty()) GTEST_FAIL() << "qpdf is not installed (scripts/velumen installs it)";
    const QString plain = write("plain.pdf", writePdf({{612, 792}}));
    const QString locked = dir.filePath("locked.pdf");
    ASSERT_EQ(QProcess::execute(qpdf, {"--encrypt", "secret", "owner", "256", "--", plain, locked}), 0);
    KPdfReader reader;
    EXPECT_FALSE(reader.setFileOpenUrl(locked));
    EXPECT_EQ(reader.error(), "The PDF file is protected by a password.");
}

TEST_F(PdfFiles, ImportAddsAPagePerPdfPageAndCancelKeepsThoseAdded) {
    const QtImageCodec codec;
    const QString path = write("five.pdf", writePdf({{612, 792}, {400, 200}, {612, 792}, {612, 792}, {612, 792}}));
    FoliantData book;
    book.pages().push_back(FoliantData::createNewPage());
    PdfImportResult result = importPdfPages(path, book, codec, 1024);
    EXPECT_EQ(result.pagesAdded, 5);
    ASSERT_EQ(book.pages().size(), 6u);
    const FoliantImagePtr& wide = book.pages()[2]->images.at(0);
    // Fitted and centred in the page, 1024 pixels on the long side, unframed.
    EXPECT_EQ(wide->frame.width, 1536);
    EXPECT_EQ(wide->frame.height, 768);
    EXPECT_EQ(wide->frame.y, (1920 - 768) / 2.0);
    EXPECT_EQ(wide->borderStyle, 0);
    const KImagePtr pixels = wide->image(codec);
    ASSERT_TRUE(pixels);
    EXPECT_EQ(pixels->width, 1024);
    EXPECT_EQ(pixels->height, 512);
    // Cancelled after two pages: those two stay.
    FoliantData second;
    result = importPdfPages(path, second, codec, 256, [](int done, int) { return done < 2; });
    EXPECT_TRUE(result.cancelled);
    EXPECT_EQ(result.pagesAdded, 2);
    EXPECT_EQ(second.pages().size(), 2u);
    // A bad file leaves the book as it was.
    FoliantData untouched;
    untouched.pages().push_back(FoliantData::createNewPage());
    result = importPdfPages(write("bad.pdf", "no"), untouched, codec, 256);
    EXPECT_EQ(result.pagesAdded, 0);
    EXPECT_FALSE(result.error.empty());
    EXPECT_EQ(untouched.pages().size(), 1u);
}

}  // namespace
}  // namespace velumen
