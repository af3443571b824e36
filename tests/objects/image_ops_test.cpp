// Pictures readied for pages: sizes of wide, tall, tiny and huge pictures, the scale counted in pixels,
// greyscale kept out of the stored bytes, and files that are no pictures.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QFile>
#include <QImageWriter>
#include <QTemporaryDir>
#include <zlib.h>

#include "TestImages.h"
#include "objects/FoliantImage.h"
#include "objects/qt/ImageOps.h"
#include "objects/qt/QtImageCodec.h"
#include "objects/qt/StationeryPapers.h"

namespace velumen {
namespace {

TEST(ImageOps, FixedPicturesFitTheLimitWithTheirAspect) {
    struct Case {
        int w, h;
        double scale;
        int maxSide;
        int expectW, expectH;
    };
    const Case cases[] = {
        {4000, 1000, 1, 1024, 1024, 256},  // wide
        {1000, 4000, 1, 1024, 256, 1024},  // tall
        {3, 2, 1, 1024, 3, 2},             // tiny: left as it is
        {5000, 5000, 1, 2048, 2048, 2048}, // huge
        {1024, 1024, 1, 1024, 1024, 1024}, // at the limit: as it is
        {200, 100, 2, 1024, 200, 100},     // scale 2: pixels count, scale becomes 1
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h));
        const KImage fixed = fixImageForTexture(test::twoColourImage(c.w, c.h, c.scale), c.maxSide);
        EXPECT_EQ(fixed.width, c.expectW);
        EXPECT_EQ(fixed.height, c.expectH);
        EXPECT_EQ(fixed.scale, 1.0);
        EXPECT_EQ(fixed.pixels.size(), std::size_t(fixed.width) * std::size_t(fixed.height));
    }
}

TEST(ImageOps, ScalingWithFillCropsTheCentre) {
    // Left red, right blue, 200 x 100 filled into 100 x 100: the centre column holds both halves' edge.
    const KImage filled = imageByScalingAndCroppingForSize(test::twoColourImage(200, 100), {100, 100}, true);
    ASSERT_EQ(filled.width, 100);
    ASSERT_EQ(filled.height, 100);
    EXPECT_TRUE(test::near(filled.pixels[50 * 100 + 10], test::argb(255, 255, 0, 0), 8));
    EXPECT_TRUE(test::near(filled.pixels[50 * 100 + 90], test::argb(255, 0, 0, 255), 8));
}

TEST(ImageOps, GreyIsAppliedToTexturesNeverToTheStoredBytes) {
    QtImageCodec codec;
    FoliantImagePtr image = FoliantImage::foliantImageWithImage(test::twoColourImage(64, 32), {0, 0, 64, 32}, 1.0, 1, codec);
    const auto bytes = image->imageData();
    image->filterType = 1;
    const KImagePtr decoded = image->image(codec);
    ASSERT_TRUE(decoded);
    // The stored picture keeps its colours; only the texture's copy is grey.
    EXPECT_TRUE(test::near(decoded->pixels[16 * 64 + 4], test::argb(255, 255, 0, 0), 24));
    const KImage grey = grayScaleKImage(*decoded);
    const std::uint32_t g = grey.pixels[16 * 64 + 4];
    EXPECT_EQ((g >> 16) & 0xff, g & 0xff);
    EXPECT_EQ(image->imageData(), bytes);
    image->filterType = 0;
    EXPECT_TRUE(test::near(image->image(codec)->pixels[16 * 64 + 4], test::argb(255, 255, 0, 0), 24));
}

class PictureFiles : public ::testing::Test {
  protected:
    QTemporaryDir dir;
    QString write(const char* name, const QByteArray& bytes) {
        const QString path = dir.filePath(name);
        QFile f(path);
        EXPECT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(bytes);
        return path;
    }
    QByteArray encoded(const QImage& image, const char* format) {
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        QImageWriter writer(&buffer, format);
        EXPECT_TRUE(writer.write(image));
        return buffer.data();
    }
};

TEST_F(PictureFiles, GoodPicturesAreReadShrunkToTheLimit) {
    QImage wide(3000, 1000, QImage::Format_RGB32);
    wide.fill(Qt::green);
    std::string error;
    const KImage jpeg = readPictureFile(write("wide.jpg", encoded(wide, "jpeg")), 1024, error);
    EXPECT_EQ(jpeg.width, 1024);
    EXPECT_NEAR(jpeg.height, 341, 1);
    const KImage png = readPictureFile(write("wide.png", encoded(wide, "png")), 1024, error);
    EXPECT_EQ(png.width, 1024);
    EXPECT_TRUE(error.empty()) << error;
}

TEST_F(PictureFiles, BadFilesGiveAMessageAndNoPicture) {
    QImage photo(400, 300, QImage::Format_RGB32);
    photo.fill(Qt::red);
    const QByteArray jpeg = encoded(photo, "jpeg");
    // A 30000 x 30000 PNG: its header says so (with a valid checksum), its pixels would take 3.6 GB.
    QByteArray hugePng = encoded(QImage(8, 8, QImage::Format_Grayscale8), "png");
    // Rewrite the header's size (bytes 16..23) to 30000 x 30000; the body no longer matches.
    const auto put = [&](int at, quint32 v) {
        hugePng[at] = char(v >> 24);
        hugePng[at + 1] = char(v >> 16);
        hugePng[at + 2] = char(v >> 8);
        hugePng[at + 3] = char(v);
    };
    put(16, 30000);
    put(20, 30000);
    put(29, quint32(crc32(0, reinterpret_cast<const Bytef*>(hugePng.constData() + 12), 17)));
    struct Case {
        const char* name;
        QByteArray bytes;
    };
    const Case cases[] = {
        {"text.jpg", QByteArray("this is not a picture at all")},
        {"empty.png", QByteArray()},
        {"truncated.jpg", jpeg.left(jpeg.size() / 3)},
        {"huge.png", hugePng},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string error;
        const KImage image = readPictureFile(write(c.name, c.bytes), 1024, error);
        // Nothing, or a picture within the limit: never a crash nor a giant bitmap.
        if (image.isEmpty()) {
            EXPECT_FALSE(error.empty());
        } else {
            EXPECT_LE(image.width, 1024);
            EXPECT_LE(image.height, 1024);
        }
    }
    std::string error;
    EXPECT_TRUE(readPictureFile(dir.filePath("missing.png"), 1024, error).isEmpty());
    EXPECT_FALSE(error.empty());
}

TEST(StationeryPapers, EveryPaperIsPageProportionedAndDrawn) {
    const auto& rows = stationeryChoices();
    ASSERT_EQ(rows.size(), 6u);
    EXPECT_EQ(rows[0].title, "Blank");
    EXPECT_EQ(rows[5].title, "Custom stationery");
    for (StationeryPaper paper : {StationeryPaper::White, StationeryPaper::Ruled, StationeryPaper::Grid, StationeryPaper::Music}) {
        const QImage image = drawStationeryPaper(paper, 768);
        EXPECT_EQ(image.width() * 5, image.height() * 4);
        int inked = 0;
        for (int y = 0; y < image.height(); y += 3)
            inked += qGray(image.pixel(384, y)) < 230;
        if (paper == StationeryPaper::White)
            EXPECT_EQ(inked, 0);
        else
            EXPECT_GT(inked, 3);
    }
}

}  // namespace
}  // namespace velumen
