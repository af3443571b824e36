// The arithmetic behind the pen palettes and the colour picker, without a widget: width steps and the
// slider's index, where a colour stands in the palette, the ten opacity steps, hue/saturation/brightness,
// and the hexadecimal form people type.
#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <cmath>
#include <random>

#include "shell/DefaultsStore.h"
#include "shell/EditorSession.h"
#include "shell/palette/ColorPickerMath.h"
#include "shell/palette/PaletteModel.h"

namespace velumen {
namespace {

TEST(PenWidths, TheSliderIsAnIndexIntoTheBrushTableOrTheSharedOne) {
    const auto brush = penWidthStepsForPenTypeIndex(3);
    const auto pen = penWidthStepsForPenTypeIndex(1);
    ASSERT_EQ(std::vector<float>(brush.begin(), brush.end()), (std::vector<float>{24, 32, 48, 64, 96, 128, 164}));
    ASSERT_EQ(std::vector<float>(pen.begin(), pen.end()),
              (std::vector<float>{1, 2, 3, 4, 6, 8, 10, 12, 14, 16, 24, 32}));
    for (std::int64_t index : {0, 2, 4, 5, -1})
        EXPECT_EQ(penWidthStepsForPenTypeIndex(index).data(), pen.data()) << index;
    // The largest step not above the width; below every step, or no number, the first.
    EXPECT_EQ(sliderIndexForWidth(pen, 5), 3);
    EXPECT_EQ(sliderIndexForWidth(pen, 6), 4);
    EXPECT_EQ(sliderIndexForWidth(pen, 1000), 11);
    EXPECT_EQ(sliderIndexForWidth(pen, 0.5f), 0);
    EXPECT_EQ(sliderIndexForWidth(pen, NAN), 0);
    EXPECT_EQ(sliderIndexForWidth(brush, 6), 0);
    EXPECT_EQ(sliderIndexForWidth(brush, 100), 4);
    // The slider's value is truncated to a whole index and kept in the table.
    EXPECT_EQ(widthForSliderValue(pen, 4.9), 6);
    EXPECT_EQ(widthForSliderValue(pen, 99), 32);
    EXPECT_EQ(widthForSliderValue(brush, -3), 24);
}

TEST(PaletteRow, SwatchesFormPagesOfEightAndTheSearchStartsOnThePageInUse) {
    EXPECT_EQ(ColorRowGeometry::contentWidth(32), 1448);
    EXPECT_EQ(ColorRowGeometry::swatchX(7), 318);
    EXPECT_EQ(ColorRowGeometry::swatchX(8), 8 * 44 + 10 + 10);
    for (int i = 0; i < 32; ++i)
        EXPECT_EQ(ColorRowGeometry::pageOfRingX(ColorRowGeometry::ringX(i)), i / 8) << i;
    EXPECT_EQ(ColorRowGeometry::pageOfRingX(-100), 0);

    QTemporaryDir dir;
    FoliantGlobals globals(openDefaultsStore(dir.filePath("d.plist")), 0.0);
    const std::vector<KColor>& colors = globals.penColors();
    const KColor black = colors[0];
    // Black stands first on every page: the page in view wins, then the search wraps round.
    EXPECT_EQ(indexOfColorFromPage(colors, black, 0), 0u);
    EXPECT_EQ(indexOfColorFromPage(colors, black, 2), 16u);
    EXPECT_EQ(indexOfColorFromPage(colors, colors[9], 3), 9u);
    EXPECT_EQ(indexOfColorFromPage(colors, black, 99), 0u);
    EXPECT_FALSE(indexOfColorFromPage(colors, {0.123, 0, 0, 1}, 1));
    EXPECT_FALSE(indexOfColorFromPage({}, black, 0));

    EXPECT_EQ(numberOfPhoneColors(true, 320), 4);
    EXPECT_EQ(numberOfPhoneColors(false, 414), 8);
    EXPECT_EQ(numberOfPhoneColors(false, 413), 6);
    EXPECT_EQ(numberOfPhoneColors(false, 375), 6);
    EXPECT_EQ(numberOfPhoneColors(false, 374), 4);
    // The width preview: a share of the view's inner side, at least 2, all of it with no maximum.
    EXPECT_EQ(penWidthIndicatorDiameter(40, 16, 32), 16);
    EXPECT_EQ(penWidthIndicatorDiameter(40, 64, 32), 32);
    EXPECT_EQ(penWidthIndicatorDiameter(40, 0.1f, 32), 2);
    EXPECT_EQ(penWidthIndicatorDiameter(40, 5, 0), 32);
}

TEST(ColorPicking, TheOpacitySliderHasTenPlateausAndAnAlphaShowsAtTheFirstStepAtOrAboveIt) {
    EXPECT_EQ(getSteppedAlpha(0.5), 0.15);
    EXPECT_EQ(getSteppedAlpha(1.0), 1.00);
    EXPECT_EQ(getSteppedAlpha(-1), 0.01);
    EXPECT_EQ(getSteppedAlpha(NAN), 0.01);
    EXPECT_EQ(getSteppedValueFromAlpha(0.35), 7.0 / 9);
    EXPECT_EQ(getSteppedValueFromAlpha(0.36), 8.0 / 9);
    EXPECT_EQ(getSteppedValueFromAlpha(0.0), 0.0);
    EXPECT_EQ(getSteppedValueFromAlpha(2.0), 1.0);
    const double expected[] = {0.01, 0.03, 0.05, 0.10, 0.15, 0.20, 0.25, 0.35, 0.50, 1.00};
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(kOpacitySteps[i], expected[i]);
        // Every step survives the trip through the slider's position.
        EXPECT_EQ(getSteppedAlpha(getSteppedValueFromAlpha(expected[i])), expected[i]) << i;
    }
}

TEST(ColorPicking, HueSaturationAndBrightnessRoundTripAwayFromTheGreyEdges) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unit(0.02, 0.98);
    for (int i = 0; i < 2000; ++i) {
        const HSB in{unit(random), unit(random), unit(random), 0.35};
        const HSB out = hsbFromColor(colorWithHSB(in));
        EXPECT_NEAR(out.hue, in.hue, 1e-12);
        EXPECT_NEAR(out.saturation, in.saturation, 1e-12);
        EXPECT_NEAR(out.brightness, in.brightness, 1e-12);
        EXPECT_EQ(out.alpha, 0.35);
    }
    // At the edges the hue is lost; the colour is kept.
    for (const KColor c : {KColor{0, 0, 0, 1}, KColor{0.5, 0.5, 0.5, 1}, KColor{1, 1, 1, 1}, KColor{1, 0, 0, 1}}) {
        const KColor back = colorWithHSB(hsbFromColor(c));
        EXPECT_NEAR(back.r, c.r, 1e-12);
        EXPECT_NEAR(back.g, c.g, 1e-12);
        EXPECT_NEAR(back.b, c.b, 1e-12);
    }
    // A hue of 1 is red again; the six sectors land on their primaries and secondaries.
    const KColor red = colorWithHSB({1, 1, 1, 1});
    EXPECT_EQ(red.r, 1);
    EXPECT_EQ(red.g, 0);
    const KColor cyan = colorWithHSB({0.5, 1, 1, 1});
    EXPECT_EQ(cyan.r, 0);
    EXPECT_EQ(cyan.g, 1);
    EXPECT_EQ(cyan.b, 1);
}

TEST(ColorPicking, HexadecimalTextReadsPairsAsTheyStandAndShortTextIsIgnored) {
    EXPECT_EQ(hexStringFromColor({1, 0.5, 0, 1}), "FF8000");
    EXPECT_EQ(hexStringFromColor({2, -1, NAN, 1}), "FF0000");
    std::mt19937 random(3);
    for (int i = 0; i < 500; ++i) {
        const KColor c{double(random() % 256) / 255, double(random() % 256) / 255, double(random() % 256) / 255, 0.5};
        const auto back = colorFromHexString(hexStringFromColor(c), 0.5);
        ASSERT_TRUE(back);
        EXPECT_EQ(*back, c);
    }
    // The sign is not cleaned away, so the pairs read are "#f", "f8" and "00".
    const QString typed = sanitizeFileNameString(" #ff8000 ");
    EXPECT_EQ(typed, "#ff8000");
    EXPECT_EQ(colorFromHexString(typed, 0.25), (KColor{0, 248.0 / 255, 0, 0.25}));
    EXPECT_EQ(colorFromHexString("zz10ffEXTRA", 1), (KColor{0, 16.0 / 255, 1, 1}));
    EXPECT_EQ(colorFromHexString("1.2.3.", 1), (KColor{1.0 / 255, 2.0 / 255, 3.0 / 255, 1}));
    EXPECT_FALSE(colorFromHexString("12345", 1));
    // Cleaning takes blanks at the ends and the characters a file name cannot hold.
    EXPECT_EQ(sanitizeFileNameString(R"(  a/b\c?d%e*f|g"h<i>j:k.l  )"), "abcdefghijkl");
    EXPECT_FALSE(colorFromHexString(sanitizeFileNameString("12.34.5"), 1));
}

// Every pen through the palette's delegate calls lands on its ink type, width and colour slot, and a
// stroke drawn after carries that colour and size base.
TEST(PenChoices, EveryPenTypeIndexGivesItsInkTypeWidthAndColourSlot) {
    QTemporaryDir dir;
    FoliantGlobals globals(openDefaultsStore(dir.filePath("d.plist")), 0.0);
    for (std::size_t slot = 0; slot < 6; ++slot)
        globals.currentPenColors()[slot] = {0.1 * double(slot), 0.2, 0.3, 0.35};
    ManualClock clock{10.0};
    EditorSession session(globals, clock);
    auto book = std::make_shared<FoliantData>();
    session.setBook(book);
    session.viewport.layoutForFrameSize({768, 1024});
    session.viewport.showHomeView();
    struct Row {
        int index;
        InkType inkType;
        std::size_t colorSlot;
        float width;
    };
    const Row rows[] = {{0, InkTypeEraser, 3, 64}, {1, InkTypeFountainPen, 0, 6},  {2, InkTypePencil, 1, 3},
                        {3, InkTypeBrush, 2, 32},  {4, InkTypeHilighter, 5, 16}, {7, InkTypeFountainPen, 0, 9}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.index);
        session.setPenTypeIndex(row.index, row.index == 7 ? std::optional<float>(9) : std::nullopt);
        EXPECT_EQ(session.sampler.inkType, row.inkType);
        EXPECT_EQ(session.sampler.currentStrokeThickness, row.width);
        EXPECT_EQ(session.currentLineColor(), globals.currentPenColors()[row.colorSlot]);
        EXPECT_EQ(penTypeIndexForInkType(row.inkType), row.index == 7 ? 1 : row.index);
        if (row.inkType == InkTypeEraser) continue;
        // A colour chosen now is this ink type's own, and the next stroke carries it.
        const KColor chosen{0.9, 0.1 * double(row.index), 0.5, 0.5};
        session.setPenColor(chosen);
        EXPECT_EQ(globals.currentPenColors()[row.colorSlot], chosen);
        const std::size_t before = book->pointSets()->count();
        TouchRecord t;
        t.id = 1;
        t.phase = TouchPhase::Began;
        t.location = {100, 100 + 20.0 * row.index};
        session.dispatcher.touchesBegan({t}, {{t}});
        for (int i = 1; i <= 8; ++i) {
            clock.advance(0.02);
            t.phase = TouchPhase::Moved;
            t.location.x += 20;
            session.dispatcher.touchesMoved({t}, {{t}});
        }
        t.phase = TouchPhase::Ended;
        session.dispatcher.touchesEnded({t}, {{t}});
        ASSERT_EQ(book->pointSets()->count(), before + 1);
        const auto& runs = book->pointSets()->pointSets();
        const KVSPointSetPtr run = row.inkType == InkTypeHilighter ? runs.front() : runs.back();
        EXPECT_EQ(run->color(), chosen);
        // The dots are sized from the pen's width: never above it, never below the brush's eighth of it.
        ASSERT_GT(run->length(), 0u);
        float largest = 0;
        for (std::uint64_t i = 0; i < run->length(); ++i)
            largest = std::max(largest, run->constBuffer()[3 * i + 2]);
        EXPECT_LE(largest, row.width);
        EXPECT_GT(largest, row.width / 8);
    }
    // The palette's choices are written back to the widths of each pen type.
    EXPECT_EQ(globals.penWidths()[0], 64);
    EXPECT_EQ(globals.penWidths()[3], 32);
}

}  // namespace
}  // namespace velumen
