#include <gtest/gtest.h>

#include <functional>

#include "TestImages.h"
#include "document/KeyedArchive.h"
#include "objects/FLTextSettings.h"
#include "objects/FoliantImage.h"
#include "objects/FoliantTextBox.h"
#include "objects/KInkCanvasImage.h"
#include "objects/KInkCanvasTextBox.h"
#include "objects/qt/QtImageCodec.h"

using namespace velumen;

namespace {

template <class T>
std::vector<std::uint8_t> archive(const T& root) {
    KeyedArchiver archiver;
    auto bytes = archiver.archivedDataWithRootObject(
        root, {T::kClassName, "NSObject"},
        [](const T& object, KeyedEncoder& c) { object.encodeWithCoder(c); });
    EXPECT_TRUE(bytes);
    return bytes.value_or(std::vector<std::uint8_t>{});
}

template <class T>
std::shared_ptr<T> unarchive(const std::vector<std::uint8_t>& bytes) {
    KeyedUnarchiver unarchiver(bytes);
    return unarchiver.decodeRootObject<T>({T::kClassName},
                                          [](const KeyedDecoder& c) { return T::initWithCoder(c); });
}

// An object written in a shape of our choosing under a class name, as an old file or another program has it.
struct Shape {
    std::function<void(KeyedEncoder&)> write;
};

template <class T>
std::shared_ptr<T> unarchiveShape(std::function<void(KeyedEncoder&)> write) {
    const Shape shape{std::move(write)};
    KeyedArchiver archiver;
    auto bytes = archiver.archivedDataWithRootObject(shape, {T::kClassName, "NSObject"},
                                                     [](const Shape& s, KeyedEncoder& c) { s.write(c); });
    return unarchive<T>(bytes.value());
}

}  // namespace

TEST(ObjectCoding, FoliantImageKeysAndFallbacks) {
    const QtImageCodec codec;
    const FoliantImagePtr image = FoliantImage::foliantImageWithImage(test::twoColourImage(16, 16, 3.0),
                                                                      {0.1, -2.5, 1e-7, 1536}, 0.3, 1, codec);
    image->angle = -1.25f;
    image->filterType = 1;
    const FoliantImagePtr back = unarchive<FoliantImage>(archive(*image));
    ASSERT_TRUE(back && back->imageData());
    EXPECT_EQ(*back->imageData(), *image->imageData());
    EXPECT_EQ(back->imageScale(), 3.0f);
    EXPECT_EQ(back->frame, image->frame);  // rectangles keep every digit
    EXPECT_EQ(back->alpha, double(0.3f));  // alpha is stored as a float
    EXPECT_EQ(back->angle, -1.25f);
    EXPECT_EQ(back->borderStyle, 1);
    EXPECT_EQ(back->filterType, 1);

    // Without bytes neither "image" nor "image.scale" is written.
    FoliantImage empty;
    const std::vector<std::uint8_t> emptyBytes = archive(empty);
    KeyedUnarchiver probe(emptyBytes);
    probe.decodeRootObject<int>({"FoliantImage"}, [](const KeyedDecoder& c) {
        EXPECT_FALSE(c.containsValueForKey("image"));
        EXPECT_FALSE(c.containsValueForKey("image.scale"));
        EXPECT_TRUE(c.containsValueForKey("alpha") && c.containsValueForKey("filterType"));
        return std::make_shared<int>();
    });
    EXPECT_FALSE(unarchive<FoliantImage>(emptyBytes)->imageData());

    // A stored alpha of 0 comes back at the slider's lowest value, a missing one at 1; scale at least 1.
    const std::vector<std::uint8_t> jpeg = *image->imageData();
    auto odd = unarchiveShape<FoliantImage>([&](KeyedEncoder& c) {
        c.encodeFloat("alpha", 0);
        c.encodeInt("image.scale", -4);
        c.encodeData("image", jpeg);
    });
    EXPECT_EQ(odd->alpha, 0.1);
    EXPECT_EQ(odd->imageScale(), 1.0f);
    EXPECT_TRUE(odd->image(codec));
    odd = unarchiveShape<FoliantImage>([](KeyedEncoder& c) { c.encodeCGRect("frame", {1, 2, 3, 4}); });
    EXPECT_EQ(odd->alpha, 1.0);
    EXPECT_EQ(odd->frame, (Rect{1, 2, 3, 4}));
    EXPECT_FALSE(odd->imageData());
}

TEST(ObjectCoding, TextBoxesKeepEveryFieldAndRepairOldFonts) {
    FoliantTextBox box;
    box.text = "Grüße\n\"quoted\"";
    box.alpha = 0.75;
    box.font = KFont::initWithFontName("Georgia-Italic", 31.5f);
    box.foregroundColor = {0.1, 0.2, 0.3, 0.4};
    box.backgroundColor = {1, 0.5, 0.25, 0};
    box.borderStyle = 5'000'000'000;
    box.textAlignment = 2;
    box.frame = {12.5, 40, 300, 80.25};
    const FoliantTextBoxPtr back = unarchive<FoliantTextBox>(archive(box));
    FoliantTextBox expected = box;
    // Colour channels travel as floats.
    expected.foregroundColor = {0.1f, 0.2f, 0.3f, 0.4f};
    EXPECT_TRUE(back->isEqualToTextBox(expected));

    KInkCanvasTextBox canvasBox;
    canvasBox.text = "x";
    canvasBox.angle = 0.5;
    canvasBox.alpha = 0;  // written as 0, read as 0.1
    const KInkCanvasTextBoxPtr canvasBack = unarchive<KInkCanvasTextBox>(archive(canvasBox));
    EXPECT_EQ(canvasBack->angle, 0.5);
    EXPECT_EQ(canvasBack->alpha, 0.1);
    EXPECT_TRUE(canvasBack->font.isEqual(canvasBox.font));

    // An old file's platform font, a string, or nothing at all: Helvetica 38. Missing colours keep the
    // new-box defaults, a missing alpha reads as 1.
    const Rect someRect{1, 1, 1, 1};
    auto oldBox = unarchiveShape<FoliantTextBox>([&](KeyedEncoder& c) {
        c.encodeObject("font", &someRect, {"UIFont", "NSObject"}, [](const Rect&, KeyedEncoder& f) {
            f.encodeString("UIFontName", "Futura");
            f.encodeFloat("UIFontPointSize", 20);
        });
        c.encodeString("text", "old");
    });
    EXPECT_TRUE(oldBox->font.isEqual(KFont::initWithFontName("Helvetica", 38)));
    EXPECT_EQ(oldBox->text, "old");
    EXPECT_EQ(oldBox->alpha, 1.0);
    EXPECT_TRUE(oldBox->foregroundColor.isEqualToColor({0, 0, 0, 1}));
    EXPECT_TRUE(oldBox->backgroundColor.isEqualToColor({1, 1, 1, 0}));
    auto stringFont =
        unarchiveShape<KInkCanvasTextBox>([](KeyedEncoder& c) { c.encodeString("font", "Futura"); });
    EXPECT_TRUE(stringFont->font.isEqual(KFont::initWithFontName("Helvetica", 38)));
    EXPECT_EQ(unarchiveShape<FoliantTextBox>([](KeyedEncoder&) {})->font.fontName, "Helvetica");

    // A colour key holding something else is garbage, not a colour.
    EXPECT_THROW(
        unarchiveShape<FoliantTextBox>([](KeyedEncoder& c) { c.encodeString("foregroundColor", "red"); }),
        ArchiveError);
}

TEST(ObjectCoding, CanvasImageAndTextSettings) {
    const QtImageCodec codec;
    const KInkCanvasImagePtr image =
        KInkCanvasImage::KInkCanvasImageWithSourceImage(test::twoColourImage(8, 8, 2.0), {5, 6, 7, 8}, codec);
    image->isLocked = true;
    image->angle = 0.5f;
    const KInkCanvasImagePtr back = unarchive<KInkCanvasImage>(archive(*image));
    EXPECT_EQ(*back->sourceImageData(), *image->sourceImageData());
    EXPECT_EQ(back->imageHash(), image->imageHash());
    EXPECT_EQ(back->sourceImageScale(), 2.0f);
    EXPECT_EQ(back->rect, image->rect);
    EXPECT_TRUE(back->isLocked);
    EXPECT_EQ(back->angle, 0.5f);
    auto zeroAlpha = unarchiveShape<KInkCanvasImage>([](KeyedEncoder& c) { c.encodeFloat("alpha", 0); });
    EXPECT_EQ(zeroAlpha->alpha, 0.1f);
    EXPECT_EQ(zeroAlpha->imageHash(), "");

    FLTextSettings settings;
    settings.fontSize = 17.5f;
    settings.fontName = "Avenir-Book";
    settings.textAlignment = 1;
    settings.backgroundColor = {0.5, 0.25, 0.125, 1};
    const FLTextSettingsPtr settingsBack = unarchive<FLTextSettings>(archive(settings));
    EXPECT_EQ(settingsBack->fontSize, 17.5f);
    EXPECT_EQ(settingsBack->fontName, "Avenir-Book");
    EXPECT_EQ(settingsBack->textAlignment, 1);
    EXPECT_TRUE(settingsBack->backgroundColor.isEqualToColor(settings.backgroundColor));
    EXPECT_TRUE(settingsBack->foregroundColor.isEqualToColor(settings.foregroundColor));
}
