#include <gtest/gtest.h>

#include <cstdio>
#include <limits>

#include "TestImages.h"
#include "objects/FoliantImage.h"
#include "objects/FoliantTextBox.h"
#include "objects/KInkCanvasImage.h"
#include "objects/KInkCanvasTextBox.h"
#include "objects/Md5.h"
#include "objects/qt/QtImageCodec.h"

using namespace velumen;

TEST(FoliantImage, StoresJpegAndSharesItsBytesWithCopies) {
    const QtImageCodec codec;
    const FoliantImagePtr image = FoliantImage::foliantImageWithImage(test::twoColourImage(40, 20, 2.7),
                                                                      {10, 20, 30, 40}, 0.5, 1, codec);
    ASSERT_TRUE(image->imageData());
    EXPECT_EQ(image->imageScale(), 2.0f);  // truncated
    const KImagePtr decoded = image->image(codec);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->width, 40);
    EXPECT_EQ(decoded->scale, 2.0);

    const FoliantImagePtr copy = image->copy();
    EXPECT_EQ(copy->imageData(), image->imageData());
    EXPECT_TRUE(copy->isEqualToFoliantImage(*image));
    for (auto change : {+[](FoliantImage& i) { i.angle = 0.1f; }, +[](FoliantImage& i) { i.filterType = 1; },
                        +[](FoliantImage& i) { i.borderStyle = 0; }, +[](FoliantImage& i) { i.alpha = 0.4; },
                        +[](FoliantImage& i) { i.frame.width = 31; },
                        +[](FoliantImage& i) { i.setImageData(i.imageData(), 3); },
                        // The same bytes in another data object: not the same image.
                        +[](FoliantImage& i) {
                            i.setImageData(std::make_shared<const std::vector<std::uint8_t>>(*i.imageData()),
                                           2);
                        }}) {
        FoliantImage changed;
        changed.copyFromFoliantImage(*image);
        change(changed);
        EXPECT_FALSE(changed.isEqualToFoliantImage(*image));
    }

    // No image, or one the codec cannot encode: no bytes, and the copy's bytes are untouched.
    const KImage empty;
    copy->setImage(&empty, codec);
    EXPECT_FALSE(copy->imageData());
    EXPECT_EQ(copy->image(codec), nullptr);
    EXPECT_TRUE(image->imageData());
}

TEST(KInkCanvasImage, HashFollowsTheBytesEqualityTheirIdentity) {
    const QtImageCodec codec;
    const KImage picture = test::twoColourImage(24, 24, 2.0);
    const auto a = KInkCanvasImage::KInkCanvasImageWithSourceImage(picture, {1, 2, 3, 4}, codec);
    const auto b = KInkCanvasImage::KInkCanvasImageWithSourceImage(picture, {1, 2, 3, 4}, codec);
    ASSERT_TRUE(a->sourceImageData());
    EXPECT_EQ(a->imageHash(), Md5::upperHex(*a->sourceImageData()));
    EXPECT_EQ(a->sourceImage(codec)->scale, 2.0);
    EXPECT_EQ(a->imageHash(), b->imageHash());
    EXPECT_FALSE(a->isEqual(*b));
    const KInkCanvasImagePtr c = a->copy();
    EXPECT_TRUE(a->isEqual(*c));
    c->isLocked = true;
    EXPECT_FALSE(a->isEqual(*c));

    KImage other = picture;
    other.pixels[0] = test::argb(255, 0, 255, 0);
    b->setSourceImage(&other, codec);
    EXPECT_NE(a->imageHash(), b->imageHash());
    b->setSourceImage(nullptr, codec);
    EXPECT_EQ(b->imageHash(), "");
    EXPECT_EQ(b->sourceImage(codec), nullptr);
}

TEST(TextBoxes, EqualityTakesEveryField) {
    const FoliantTextBoxPtr box = FoliantTextBox::foliantTextBoxWithText(
        "hello", {5, 6, 100, 50}, KFont::initWithFontName("Georgia", 24.5f), 1.0, 2);
    EXPECT_TRUE(box->copy()->isEqualToTextBox(*box));
    for (auto change :
         {+[](FoliantTextBox& b) { b.text = "hellO"; }, +[](FoliantTextBox& b) { b.frame.y = 7; },
          +[](FoliantTextBox& b) { b.alpha = 0.5; },
          +[](FoliantTextBox& b) { b.font = b.font.fontWithSize(24.0f); },
          +[](FoliantTextBox& b) { b.font.fontName = "Georgia-Bold"; },
          +[](FoliantTextBox& b) { b.foregroundColor.a = 0.5; },
          +[](FoliantTextBox& b) { b.backgroundColor.r = 0.5; },
          +[](FoliantTextBox& b) { b.borderStyle = 0; }, +[](FoliantTextBox& b) { b.textAlignment = 1; }}) {
        FoliantTextBox changed;
        changed.copyFromTextBox(*box);
        change(changed);
        EXPECT_FALSE(changed.isEqualToTextBox(*box));
    }
    KInkCanvasTextBox turned;
    turned.angle = 0.25;
    EXPECT_FALSE(turned.isEqualToTextBox(KInkCanvasTextBox{}));
}

TEST(KInkCanvasTextBox, HashFormatsLikePrintfAndIgnoresFrameAndAngle) {
    const KInkCanvasTextBoxPtr box = KInkCanvasTextBox::inkCanvasTextBoxWithText(
        "two words-and a dash", {1, 2, 3, 4}, KFont::initWithFontName("Menlo-Regular", 14.125f), 0.5, 3);
    box->foregroundColor = {1.0, 0.5, 0.0, 1};
    box->backgroundColor = {0.25, 0.75, 1.0, 0.2};
    box->textAlignment = 2;
    // 14.125 is exact in binary and a tie: printf rounds it to even.
    EXPECT_EQ(box->textboxHash(), "Menlo-Regular-14.12-0.50-FF8000-40BFFF-3-2-two words-and a dash");
    const std::string before = box->textboxHash();
    box->frame = {100, 200, 300, 400};
    box->angle = 1.5;
    EXPECT_EQ(box->textboxHash(), before);
    box->backgroundColor.g = 0.5;
    EXPECT_NE(box->textboxHash(), before);

    // The numbers as the C library prints "%1.2f" (this test sets no locale): ties, values just under a
    // tie, large, negative and non-finite values.
    for (double value : {0.0, -0.0, 0.005, 0.015, 0.125, 0.375, 2.675, 1.005, 99.995, 12.3456789, -3.14159,
                         1e20, 1e300, -0.001, 0.1 + 0.2, std::numeric_limits<double>::infinity(),
                         std::numeric_limits<double>::quiet_NaN()}) {
        box->alpha = value;
        box->font.pointSize = static_cast<float>(value);
        char expected[1024];
        std::snprintf(expected, sizeof expected,
                      "Menlo-Regular-%1.2f-%1.2f-FF8000-4080FF-3-2-two words-and a dash",
                      static_cast<double>(static_cast<float>(value)), value);
        EXPECT_EQ(box->textboxHash(), expected) << value;
    }
}
