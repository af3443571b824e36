// Pictures read for the conversion into ink through the real codecs: sized into the limit (JPEG decoded at
// reduced size, other formats whole and then scaled), oriented by their flag, and refused with a reason when
// they are not pictures or too large to decode whole.
#include <gtest/gtest.h>
#include <zlib.h>

#include <QBuffer>
#include <QImageWriter>
#include <QPainter>
#include <QTemporaryDir>
#include <cstring>
#include <fstream>
#include <vector>

#include "imagetoink/qt/TracegrabPicture.h"

namespace velumen {
namespace {

QByteArray encoded(const QImage& image, const char* format,
                   QImageIOHandler::Transformations transformation = QImageIOHandler::TransformationNone) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setTransformation(transformation);
    EXPECT_TRUE(writer.write(image)) << writer.errorString().toStdString();
    return buffer.data();
}

std::optional<RgbaImage> read(QByteArray bytes, int limit, std::string& why) {
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return readTracegrabPicture(&buffer, limit, why);
}

// A valid one-bit PNG of the given size, all black, written row by row so that it never exists decoded.
void writeHugePng(const std::string& path, std::uint32_t width, std::uint32_t height) {
    std::ofstream out(path, std::ios::binary);
    const auto be32 = [](std::uint32_t v) {
        return std::string{char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
    };
    const auto chunk = [&](const char* type, const std::string& data) {
        const std::string typed = std::string(type, 4) + data;
        const auto crc = static_cast<std::uint32_t>(
            crc32(0, reinterpret_cast<const Bytef*>(typed.data()), static_cast<uInt>(typed.size())));
        out << be32(static_cast<std::uint32_t>(data.size())) << typed << be32(crc);
    };
    out << "\x89PNG\r\n\x1a\n";
    chunk("IHDR", be32(width) + be32(height) + std::string{1, 0, 0, 0, 0});
    z_stream z{};
    ASSERT_EQ(deflateInit(&z, 9), Z_OK);
    std::vector<unsigned char> row(1 + (width + 7) / 8, 0), buffer(1 << 20);
    std::string compressed;
    for (std::uint32_t y = 0; y <= height; ++y) {
        z.next_in = row.data();
        z.avail_in = y < height ? static_cast<uInt>(row.size()) : 0;
        const int flush = y < height ? Z_NO_FLUSH : Z_FINISH;
        do {
            z.next_out = buffer.data();
            z.avail_out = static_cast<uInt>(buffer.size());
            deflate(&z, flush);
            compressed.append(reinterpret_cast<char*>(buffer.data()), buffer.size() - z.avail_out);
        } while (z.avail_out == 0);
    }
    deflateEnd(&z);
    chunk("IDAT", compressed);
    chunk("IEND", "");
}

TEST(TracegrabPicture, SizeLimitFollowsTheMachinesMemory) {
    EXPECT_EQ(tracegrabSizeLimit(8ull << 30, false), 1280);
    EXPECT_EQ(tracegrabSizeLimit(8ull << 30, true), 2048);
    EXPECT_EQ(tracegrabSizeLimit(300000, false), 1280);
    EXPECT_EQ(tracegrabSizeLimit(299999, true), 1024);
    EXPECT_GT(totalMemory(), 299999u);
}

TEST(TracegrabPicture, PicturesAreScaledDownIntoTheLimitAndNeverUp) {
    struct Case {
        QSize picture;
        const char* format;
        QSize expected;
    };
    const std::vector<Case> cases{
        {{640, 480}, "png", {640, 480}},    {{1280, 1280}, "png", {1280, 1280}},
        {{3000, 100}, "png", {1280, 43}},   {{2600, 1950}, "jpeg", {1280, 960}},  // decoded at reduced size
        {{20000, 200}, "jpeg", {1280, 13}}, {{1, 1}, "png", {1, 1}},
    };
    for (const Case& c : cases) {
        QImage image(c.picture, QImage::Format_RGB32);
        image.fill(QColor(200, 120, 40));
        std::string why;
        const std::optional<RgbaImage> picture = read(encoded(image, c.format), 1280, why);
        ASSERT_TRUE(picture.has_value()) << why;
        EXPECT_EQ(QSize(picture->width, picture->height), c.expected) << c.picture.width() << " " << c.format;
        // Premultiplied red, green, blue, alpha, whatever the codec's own layout.
        const std::uint8_t* p = picture->pixel(0, 0);
        EXPECT_NEAR(p[0], 200, 3);
        EXPECT_NEAR(p[1], 120, 3);
        EXPECT_NEAR(p[2], 40, 3);
        EXPECT_EQ(p[3], 255);
    }
}

TEST(TracegrabPicture, OrientationFlagIsBakedIntoThePixels) {
    // Red on the left; stored with the flag "rotate a quarter turn clockwise", it reads red on top.
    QImage image(40, 20, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter(&image).fillRect(0, 0, 20, 20, Qt::red);
    QBuffer probe;
    if (!QImageWriter(&probe, "jpeg").supportsOption(QImageIOHandler::ImageTransformation))
        GTEST_SKIP() << "this JPEG writer cannot store an orientation flag";
    std::string why;
    const std::optional<RgbaImage> picture =
        read(encoded(image, "jpeg", QImageIOHandler::TransformationRotate90), 1280, why);
    ASSERT_TRUE(picture.has_value()) << why;
    ASSERT_EQ(picture->width, 20);
    ASSERT_EQ(picture->height, 40);
    EXPECT_GT(picture->pixel(10, 5)[0], 200);
    EXPECT_LT(picture->pixel(10, 5)[1], 60);
    EXPECT_GT(picture->pixel(10, 35)[1], 200);
}

TEST(TracegrabPicture, WhatIsNotAPictureIsRefusedWithAReason) {
    std::string why;
    EXPECT_FALSE(read(QByteArray("this is text, not a picture"), 1280, why).has_value());
    EXPECT_EQ(why, "not a readable picture");
    why.clear();
    QByteArray truncated = encoded(QImage(50, 50, QImage::Format_RGB32), "png").left(40);
    EXPECT_FALSE(read(truncated, 1280, why).has_value());
    EXPECT_NE(why.find("not a readable picture"), std::string::npos) << why;
    why.clear();
    EXPECT_FALSE(readTracegrabPicture(QString("/nonexistent/picture.png"), 1280, why).has_value());
    EXPECT_NE(why.find("cannot be read"), std::string::npos) << why;
}

TEST(TracegrabPicture, HugePngIsRefusedBeforeItIsDecoded) {
    QTemporaryDir dir;
    const std::string path = dir.filePath("huge.png").toStdString();
    writeHugePng(path, 30000, 30000);
    std::string why;
    EXPECT_FALSE(readTracegrabPicture(QString::fromStdString(path), 1280, why).has_value());
    EXPECT_EQ(why,
              "30000 x 30000 pixels is too large to convert: this format cannot be read at reduced size, and "
              "at most 67 megapixels are read whole");
}

TEST(TracegrabPicture, ConversionBetweenLayoutsKeepsEveryByte) {
    RgbaImage image(3, 2);
    for (std::size_t i = 0; i < image.bytes.size(); ++i)
        image.bytes[i] = static_cast<std::uint8_t>(i % 4 == 3 ? 255 : i * 10);
    EXPECT_EQ(rgbaImageFromQImage(qImageFromRgbaImage(image)).bytes, image.bytes);
    EXPECT_TRUE(qImageFromRgbaImage(RgbaImage()).isNull());
    EXPECT_TRUE(rgbaImageFromQImage(QImage()).isEmpty());
}

}  // namespace
}  // namespace velumen
