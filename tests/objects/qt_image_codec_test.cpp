#include <gtest/gtest.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QImage>
#include <QImageWriter>

#include "TestImages.h"
#include "objects/qt/QtImageCodec.h"

using namespace velumen;
using velumen::test::argb;
using velumen::test::near;

namespace {

std::vector<std::uint8_t> qtWrite(const QImage& image, const char* format, int quality = -1) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setQuality(quality);
    EXPECT_TRUE(writer.write(image));
    return {buffer.data().begin(), buffer.data().end()};
}

// An Exif block saying "rotate 90 degrees clockwise to show" (orientation 6), put right after the SOI marker.
std::vector<std::uint8_t> withOrientation6(std::vector<std::uint8_t> jpeg) {
    const std::uint8_t app1[] = {0xFF, 0xE1, 0x00, 0x22, 'E',  'x',  'i',  'f',  0x00, 0x00, 'M',  'M',
                                 0x00, 0x2A, 0x00, 0x00, 0x00, 0x08, 0x00, 0x01, 0x01, 0x12, 0x00, 0x03,
                                 0x00, 0x00, 0x00, 0x01, 0x00, 0x06, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
    jpeg.insert(jpeg.begin() + 2, std::begin(app1), std::end(app1));
    return jpeg;
}

}  // namespace

TEST(QtImageCodec, JpegRoundTripQualityAndOrientationWithoutAnApplicationObject) {
    // The codec serves the command-line tool too: nothing here may need a QGuiApplication.
    ASSERT_EQ(QCoreApplication::instance(), nullptr);
    const QtImageCodec codec;
    const KImage source = test::twoColourImage(32, 16);
    const std::optional<std::vector<std::uint8_t>> jpeg = codec.encodeJpeg(source, 1.0);
    ASSERT_TRUE(jpeg);
    const KImagePtr decoded = codec.decode(*jpeg, 2.0);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->width, 32);
    EXPECT_EQ(decoded->scale, 2.0);
    ASSERT_EQ(decoded->pixels.size(), 32u * 16u);
    // Away from the colour edge, lossy compression at the best quality stays close.
    EXPECT_TRUE(near(decoded->pixels[5 * 32 + 3], argb(255, 255, 0, 0), 12));
    EXPECT_TRUE(near(decoded->pixels[10 * 32 + 28], argb(255, 0, 0, 255), 12));
    // A scale that means nothing reads as 1.
    EXPECT_EQ(codec.decode(*jpeg, std::nan(""))->scale, 1.0);

    // Quality 0..1 is Qt's 0..100: 0.8, the quality of placed pictures, is Qt's 80.
    EXPECT_LT(codec.encodeJpeg(source, 0.0)->size(), jpeg->size());
    const QImage wrapped(reinterpret_cast<const uchar*>(source.pixels.data()), 32, 16, 128,
                         QImage::Format_ARGB32_Premultiplied);
    EXPECT_EQ(*codec.encodeJpeg(source, 0.8), qtWrite(wrapped, "jpeg", 80));

    // Tagged "turn a quarter clockwise": the red left half becomes the top half.
    const KImagePtr upright = codec.decode(withOrientation6(*jpeg), 1.0);
    ASSERT_TRUE(upright);
    ASSERT_EQ(upright->width, 16);
    ASSERT_EQ(upright->height, 32);
    EXPECT_TRUE(near(upright->pixels[3 * 16 + 8], argb(255, 255, 0, 0), 12));
    EXPECT_TRUE(near(upright->pixels[28 * 16 + 8], argb(255, 0, 0, 255), 12));
}

TEST(QtImageCodec, PngAlphaIsPremultipliedAndRowsArePacked) {
    // An odd width, so that a row copy that kept the source's stride would show.
    QImage image(3, 2, QImage::Format_ARGB32);
    image.setPixel(0, 0, argb(128, 255, 0, 0));
    image.setPixel(1, 0, argb(255, 0, 255, 0));
    image.setPixel(2, 0, argb(0, 0, 0, 255));
    image.setPixel(0, 1, argb(255, 1, 2, 3));
    image.setPixel(1, 1, argb(64, 0, 0, 255));
    image.setPixel(2, 1, argb(255, 255, 255, 255));
    const QtImageCodec codec;
    const KImagePtr decoded = codec.decode(qtWrite(image, "png"), 1.0);
    ASSERT_TRUE(decoded);
    ASSERT_EQ(decoded->pixels.size(), 6u);
    const std::vector<std::uint32_t> expected = {
        argb(128, 128, 0, 0), argb(255, 0, 255, 0), 0,
        argb(255, 1, 2, 3),   argb(64, 0, 0, 64),   argb(255, 255, 255, 255)};
    EXPECT_EQ(decoded->pixels, expected);
}

TEST(QtImageCodec, BadInputIsRefused) {
    const QtImageCodec codec;
    EXPECT_EQ(codec.decode({}, 1.0), nullptr);
    const std::vector<std::uint8_t> garbage(300, 0x5A);
    EXPECT_EQ(codec.decode(garbage, 1.0), nullptr);
    std::vector<std::uint8_t> fakePng = garbage;
    const std::uint8_t signature[] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    std::copy(std::begin(signature), std::end(signature), fakePng.begin());
    EXPECT_EQ(codec.decode(fakePng, 1.0), nullptr);
    // A cut-off JPEG may still give a partial picture; it must not crash, and whatever comes out is whole.
    const auto jpeg = codec.encodeJpeg(test::twoColourImage(64, 64), 0.8);
    ASSERT_TRUE(jpeg);
    for (std::size_t cut : {std::size_t{2}, std::size_t{20}, jpeg->size() / 2, jpeg->size() - 2}) {
        const KImagePtr partial = codec.decode(std::span(*jpeg).first(cut), 1.0);
        if (partial) {
            EXPECT_EQ(partial->pixels.size(), std::size_t(partial->width) * partial->height);
        }
    }

    EXPECT_FALSE(codec.encodeJpeg(KImage{}, 0.8));
    KImage short_ = test::twoColourImage(8, 8);
    short_.pixels.pop_back();
    EXPECT_FALSE(codec.encodeJpeg(short_, 0.8));
}
