// `velumen trace` run as a program: a photo-like drawing drawn here becomes grey and red ink where its lines
// are and nothing on its paper; bad pictures, pages and options are refused with one line and leave the
// book as it was.
#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <QTemporaryDir>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "document/FoliantData.h"
#include "objects/qt/QtImageCodec.h"

namespace velumen {
namespace {

namespace fs = std::filesystem;

std::string slurp(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

struct ToolRun {
    int status = -1;
    std::string out, err;
};

// The picture's geometry: a pencil rectangle and a red stroke across it, on paper lit unevenly.
constexpr int kWidth = 900, kHeight = 700;
const QRect kPencil(100, 100, 700, 500);
const QLine kRed(200, 350, 700, 420);

QImage photoLikeDrawing() {
    QImage image(kWidth, kHeight, QImage::Format_RGB32);
    for (int y = 0; y < kHeight; ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < kWidth; ++x) {
            // Brighter at the top left, a warm grey in the far corner, and a little grain.
            const double light = 1.0 - 0.35 * (x + y) / double(kWidth + kHeight);
            const int grain = ((x * 7 + y * 13) % 5) - 2;
            row[x] = qRgb(std::clamp(int(250 * light) + grain, 0, 255),
                          std::clamp(int(245 * light) + grain, 0, 255),
                          std::clamp(int(230 * light) + grain, 0, 255));
        }
    }
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(QPen(QColor(95, 95, 100), 3));
    painter.drawRect(kPencil);
    painter.setPen(QPen(QColor(210, 25, 30), 5));
    painter.drawLine(kRed);
    return image;
}

double distanceToSegment(QPointF p, QPointF a, QPointF b) {
    const QPointF ab = b - a, ap = p - a;
    const double t = std::clamp(QPointF::dotProduct(ap, ab) / QPointF::dotProduct(ab, ab), 0.0, 1.0);
    const QPointF d = ap - ab * t;
    return std::hypot(d.x(), d.y());
}

double distanceToRectOutline(QPointF p) {
    const QPointF tl = kPencil.topLeft(), br(kPencil.x() + kPencil.width(), kPencil.y() + kPencil.height());
    const QPointF tr(br.x(), tl.y()), bl(tl.x(), br.y());
    return std::min({distanceToSegment(p, tl, tr), distanceToSegment(p, tr, br), distanceToSegment(p, br, bl),
                     distanceToSegment(p, bl, tl)});
}

class TraceTool : public ::testing::Test {
  protected:
    ToolRun tool(const std::string& args) {
        const fs::path out = dir / "stdout", err = dir / "stderr";
        const std::string command =
            std::string(VELUMEN_TOOL) + " trace " + args + " >" + out.string() + " 2>" + err.string();
        const int raw = std::system(command.c_str());
        return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp(out), slurp(err)};
    }
    FoliantDataPtr book(const fs::path& path) {
        const std::string bytes = slurp(path);
        return unarchiveFoliantData({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()},
                                    &codec);
    }
    std::string path(const char* name) const { return (dir / name).string(); }

    QTemporaryDir temp;
    const fs::path dir = temp.path().toStdString();
    QtImageCodec codec;
};

TEST_F(TraceTool, PhotoOfADrawingBecomesGreyAndRedInkOnItsLinesAndNothingOnThePaper) {
    ASSERT_TRUE(photoLikeDrawing().save(QString::fromStdString(path("drawing.png"))));
    const ToolRun run = tool(path("drawing.png") + " " + path("book.velumen") + " --mask " +
                             path("mask.png") + " --preview " + path("preview.png"));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out.rfind("page 1: ", 0), 0u) << run.out;
    const FoliantDataPtr traced = book(dir / "book.velumen");
    ASSERT_TRUE(traced);
    ASSERT_EQ(traced->pages().size(), 1u);
    const KVSPointSetArray& ink = *traced->pages()[0]->pointSets;
    ASSERT_GT(ink.count(), 0u);

    // The default target width of 512 scales the picture by 512 / 900; the ink's extent is centred on the
    // page's centre, and the extent of the lines is the outline of the rectangle.
    const double s = 512.0 / kWidth;
    const Rect extent = ink.boundingRect();
    EXPECT_NEAR(extent.midX(), 768, 0.01);
    EXPECT_NEAR(extent.midY(), 960, 0.01);
    EXPECT_NEAR(extent.width / s, kPencil.width(), 6);
    EXPECT_NEAR(extent.height / s, kPencil.height(), 6);
    const QPointF pictureCentre(kPencil.x() + kPencil.width() / 2.0, kPencil.y() + kPencil.height() / 2.0);

    std::uint64_t grey = 0, red = 0;
    for (const KVSPointSetPtr& runPtr : ink.pointSets()) {
        const KColor c = runPtr->color();
        EXPECT_EQ(c.a, 0.5);
        const bool isGrey = c.r == c.g && c.g == c.b && c.r < 0.5;
        const bool isRed = c.r >= 0.6 && c.g <= 0.2 && c.b <= 0.2;
        ASSERT_TRUE(isGrey || isRed) << c.r << " " << c.g << " " << c.b;
        const float* p = runPtr->constBuffer();
        for (std::uint64_t i = 0; i < runPtr->length(); ++i) {
            EXPECT_FLOAT_EQ(p[3 * i + 2], static_cast<float>(2 * s));
            const QPointF at((p[3 * i] - extent.midX()) / s + pictureCentre.x(),
                             (p[3 * i + 1] - extent.midY()) / s + pictureCentre.y());
            const double near =
                isGrey ? std::min(distanceToRectOutline(at), distanceToSegment(at, kRed.p1(), kRed.p2()))
                       : distanceToSegment(at, kRed.p1(), kRed.p2());
            ASSERT_LT(near, 6.0) << (isGrey ? "grey" : "red") << " ink on the paper at " << at.x() << ", "
                                 << at.y();
        }
        (isGrey ? grey : red) += runPtr->length();
    }
    // At least the lines' length in dots.
    EXPECT_GT(grey, 2u * (700 + 500));
    EXPECT_GT(red, 500u);

    const QImage mask(QString::fromStdString(path("mask.png")));
    const QImage preview(QString::fromStdString(path("preview.png")));
    EXPECT_EQ(mask.size(), QSize(kWidth, kHeight));
    EXPECT_EQ(preview.size(), QSize(kWidth, kHeight));
    // Mid grey on the paper, dark on the pencil; white paper and the red line in the preview.
    EXPECT_NEAR(qGray(mask.pixel(450, 200)), 128, 4);
    EXPECT_LT(qRed(mask.pixel(100, 300)), 100);
    EXPECT_EQ(preview.pixel(450, 200), qRgb(255, 255, 255));
    EXPECT_GT(qRed(preview.pixel(450, 386)), 180);
}

TEST_F(TraceTool, SecondConversionAddsToTheChosenPageOfAnExistingBook) {
    ASSERT_TRUE(photoLikeDrawing().save(QString::fromStdString(path("drawing.png"))));
    ASSERT_EQ(tool(path("drawing.png") + " " + path("book.velumen")).status, 0);
    const std::size_t first = book(dir / "book.velumen")->pages()[0]->pointSets->count();
    const ToolRun again = tool(path("drawing.png") + " " + path("book.velumen") +
                               " --page 1 --threshold 125 --target-width 1536");
    ASSERT_EQ(again.status, 0) << again.err;
    const FoliantDataPtr twice = book(dir / "book.velumen");
    const KVSPointSetArray& ink = *twice->pages()[0]->pointSets;
    ASSERT_GT(ink.count(), first);
    // The full picture is narrower than 1536: not scaled up, dots of size 2.
    EXPECT_EQ(ink.objectAtIndex(ink.count() - 1)->constBuffer()[2], 2.0f);
}

TEST_F(TraceTool, RefusalsLeaveTheBookAsItWasWithOneClearLine) {
    ASSERT_TRUE(photoLikeDrawing().save(QString::fromStdString(path("drawing.png"))));
    ASSERT_EQ(tool(path("drawing.png") + " " + path("book.velumen")).status, 0);
    const std::string before = slurp(dir / "book.velumen");
    { std::ofstream(dir / "text.png") << "not a picture at all"; }
    QImage white(300, 200, QImage::Format_RGB32);
    white.fill(Qt::white);
    ASSERT_TRUE(white.save(QString::fromStdString(path("white.png"))));
    QImage onePixel(1, 1, QImage::Format_RGB32);
    onePixel.fill(Qt::black);
    ASSERT_TRUE(onePixel.save(QString::fromStdString(path("one.png"))));

    struct Case {
        std::string args;
        int status;
        std::string says;
    };
    const std::string bookPath = path("book.velumen");
    const std::vector<Case> cases{
        {path("text.png") + " " + bookPath, 1, "text.png: not a readable picture"},
        {path("missing.png") + " " + bookPath, 1, "missing.png: cannot be read"},
        {path("drawing.png") + " " + bookPath + " --page 2", 1, "no page 2 (the book has 1)"},
        {path("drawing.png") + " " + bookPath + " --page 0", 1, "no page 0"},
        {path("drawing.png") + " " + bookPath + " --threshold 256", 1, "--threshold 256: not a whole number"},
        {path("drawing.png") + " " + bookPath + " --target-width -3", 1,
         "--target-width -3: not a positive number"},
        {path("drawing.png") + " " + bookPath + " --page", 2, "usage:"},
        {path("drawing.png") + " " + bookPath + " --colour red", 2, "usage:"},
        {path("white.png") + " " + bookPath, 0, "no ink at threshold 118"},
        {path("one.png") + " " + bookPath, 0, "no ink"},
        {path("drawing.png") + " " + bookPath + " --threshold 0", 0, "no ink at threshold 0"},
    };
    for (const Case& c : cases) {
        const ToolRun run = tool(c.args);
        EXPECT_EQ(run.status, c.status) << c.args << "\n" << run.err;
        EXPECT_NE((run.err + run.out).find(c.says), std::string::npos) << c.args << "\n"
                                                                       << run.err << run.out;
        EXPECT_EQ(slurp(dir / "book.velumen"), before) << c.args;
    }
    // A book that did not exist is not made when nothing could be converted.
    EXPECT_EQ(tool(path("text.png") + " " + path("new.velumen")).status, 1);
    EXPECT_EQ(tool(path("white.png") + " " + path("new.velumen")).status, 0);
    EXPECT_FALSE(fs::exists(dir / "new.velumen"));
}

}  // namespace
}  // namespace velumen
