#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "ink/Pens.h"

using namespace velumen;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

float justBelow(float v) {
    return std::nextafter(v, -kInf);
}
float justAbove(float v) {
    return std::nextafter(v, kInf);
}

TouchRecord touch(TouchType type, double force, double maximum) {
    TouchRecord t;
    t.type = type;
    t.force = force;
    t.maximumPossibleForce = maximum;
    return t;
}

}  // namespace

TEST(PenCurves, BandEdgesAndContinuity) {
    // Brush: an eighth at rest, full width at speed.
    EXPECT_EQ(variableBrushPointSizeRatioForLength(0.0f), 0.125f);
    EXPECT_EQ(variableBrushPointSizeRatioForLength(0.5f), 0.125f);
    EXPECT_EQ(variableBrushPointSizeRatioForLength(1.0f), 0.125f);
    EXPECT_EQ(variableBrushPointSizeRatioForLength(80.0f), 1.0f);
    EXPECT_EQ(variableBrushPointSizeRatioForLength(500.0f), 1.0f);
    EXPECT_NEAR(variableBrushPointSizeRatioForLength(justAbove(1.0f)), 0.125f, 1e-6f);
    EXPECT_NEAR(variableBrushPointSizeRatioForLength(justBelow(80.0f)), 1.0f, 1e-6f);

    // Fountain pen: full width up to 3, 40% from 30 on.
    EXPECT_EQ(variableFountainPenPointSizeRatioForLength(0.0f), 1.0f);
    EXPECT_EQ(variableFountainPenPointSizeRatioForLength(justBelow(3.0f)), 1.0f);
    EXPECT_EQ(variableFountainPenPointSizeRatioForLength(3.0f), 1.0f);
    EXPECT_EQ(variableFountainPenPointSizeRatioForLength(30.0f), 0.4f);
    EXPECT_EQ(variableFountainPenPointSizeRatioForLength(justAbove(30.0f)), 0.4f);
    EXPECT_NEAR(variableFountainPenPointSizeRatioForLength(justAbove(3.0f)), 1.0f, 1e-6f);
    EXPECT_NEAR(variableFountainPenPointSizeRatioForLength(justBelow(30.0f)), 0.4f, 1e-6f);

    // Gel pen down to a half, pencil and hilighter down to three quarters.
    EXPECT_EQ(variableGelPenPointSizeRatioForLength(3.0f), 1.0f);
    EXPECT_EQ(variableGelPenPointSizeRatioForLength(30.0f), 0.5f);
    EXPECT_EQ(variableGelPenPointSizeRatioForLength(31.0f), 0.5f);
    EXPECT_EQ(variableGelPenPointSizeRatioForLength(16.5f), 0.75f);
    EXPECT_EQ(variablePencilPointSizeRatioForLength(3.0f), 1.0f);
    EXPECT_EQ(variablePencilPointSizeRatioForLength(60.0f), 0.75f);
    EXPECT_EQ(variablePencilPointSizeRatioForLength(61.0f), 0.75f);
    EXPECT_EQ(variablePencilPointSizeRatioForLength(2.0f), 1.0f);

    // A speed that is not a number, or infinite, takes the upper branch.
    EXPECT_EQ(variableFountainPenPointSizeRatioForLength(kInf), 0.4f);
    EXPECT_EQ(variableFountainPenPointSizeRatioForLength(kNaN), 0.4f);
    EXPECT_EQ(variableBrushPointSizeRatioForLength(kNaN), 1.0f);
    EXPECT_EQ(variableGelPenPointSizeRatioForLength(kNaN), 0.5f);
    EXPECT_EQ(variablePencilPointSizeRatioForLength(kInf), 0.75f);
}

TEST(PenCurves, FountainPenRoundsOnceInItsBand) {
    // Reference: the product of two floats and the sum with a third are exact in double, so narrowing
    // once gives the fused result. An unfused evaluation differs from it somewhere in the band.
    int unfusedDiffers = 0;
    for (float v = 3.0f; v <= 30.0f; v += 0.01f) {
        const float w = 1.0f - (v - 3.0f) / 27.0f;
        const float reference = static_cast<float>(static_cast<double>(w) * static_cast<double>(0.6f) +
                                                   static_cast<double>(0.4f));
        ASSERT_EQ(variableFountainPenPointSizeRatioForLength(v), reference) << v;
        const float product = w * 0.6f;
        if (product + 0.4f != reference) ++unfusedDiffers;
    }
    EXPECT_GT(unfusedDiffers, 0);
}

TEST(PenTables, InkTypeTables) {
    // Dispatch: the eraser and unknown types take the fountain curve; the gel pen its own.
    for (float v : {0.0f, 5.0f, 12.25f, 29.0f, 45.0f}) {
        const float fountain = variableFountainPenPointSizeRatioForLength(v);
        EXPECT_EQ(variablePointSizeRatioForInkType(InkTypeFountainPen, v), fountain);
        EXPECT_EQ(variablePointSizeRatioForInkType(InkTypeEraser, v), fountain);
        EXPECT_EQ(variablePointSizeRatioForInkType(17, v), fountain);
        EXPECT_EQ(variablePointSizeRatioForInkType(InkTypePencil, v),
                  variablePencilPointSizeRatioForLength(v));
        EXPECT_EQ(variablePointSizeRatioForInkType(InkTypeBrush, v), variableBrushPointSizeRatioForLength(v));
        EXPECT_EQ(variablePointSizeRatioForInkType(InkTypeGelPen, v),
                  variableGelPenPointSizeRatioForLength(v));
        EXPECT_EQ(variablePointSizeRatioForInkType(InkTypeHilighter, v),
                  variableHilighterPointSizeRatioForLength(v));
    }
    EXPECT_NE(variablePointSizeRatioForInkType(InkTypeGelPen, 20.0f),
              variablePointSizeRatioForInkType(InkTypeFountainPen, 20.0f));

    struct Row {
        InkType type;
        float acc, dec;
        bool bySize;
        std::int64_t index;
    };
    const Row rows[] = {{0, 0.006f, 0.006f, false, 1}, {1, 0.012f, 0.012f, false, 2},
                        {2, 0.005f, 0.002f, true, 3},  {3, 0.005f, 0.002f, false, 0},
                        {4, 0.012f, 0.012f, false, 1}, {5, 0.01f, 0.001f, true, 4},
                        {6, 0.005f, 0.002f, false, 1}, {-3, 0.005f, 0.002f, false, 1}};
    for (const Row& row : rows) {
        const InkFilter f = inkFilterForInkType(row.type);
        EXPECT_EQ(f.inkAcceleration, row.acc) << row.type;
        EXPECT_EQ(f.inkDeceleration, row.dec) << row.type;
        EXPECT_EQ(spacesByCurrentSize(row.type), row.bySize) << row.type;
        EXPECT_EQ(rendersAtBack(row.type), row.type == InkTypeHilighter) << row.type;
        EXPECT_EQ(penTypeIndexForInkType(row.type), row.index) << row.type;
    }

    const InkType byIndex[] = {InkTypeEraser, InkTypeFountainPen, InkTypePencil, InkTypeBrush,
                               InkTypeHilighter};
    for (std::int64_t i = 0; i < 5; ++i) {
        EXPECT_EQ(inkTypeForPenTypeIndex(i), byIndex[i]);
        EXPECT_EQ(penTypeIndexForInkType(byIndex[i]), i);
    }
    EXPECT_EQ(inkTypeForPenTypeIndex(5), InkTypeFountainPen);
    EXPECT_EQ(inkTypeForPenTypeIndex(1000), InkTypeFountainPen);
    EXPECT_EQ(inkTypeForPenTypeIndex(-1), InkTypeFountainPen);
    for (std::int64_t i = -2; i < 10; ++i)
        EXPECT_NE(inkTypeForPenTypeIndex(i), InkTypeGelPen);
}

TEST(PenSettingsTest, ConstructionDefaultsAndTables) {
    const KColor red{1, 0, 0, 0.35};
    const PenSettings made = PenSettings::initWithColor(red, 7.5f);
    EXPECT_EQ(made.version, 1);
    EXPECT_EQ(made.thickness, 7.5f);
    EXPECT_EQ(made.inkType, InkTypeFountainPen);
    EXPECT_TRUE(made.color.isEqualToColor(red));

    const PenSettings bare = PenSettings::fromDecoded(std::nullopt, std::nullopt, std::nullopt);
    EXPECT_EQ(bare.version, 1);
    EXPECT_EQ(bare.thickness, 4.0f);
    EXPECT_EQ(bare.inkType, 0);
    EXPECT_EQ(bare.color.r, 0.0);
    EXPECT_EQ(bare.color.g, 0.0);
    EXPECT_EQ(bare.color.b, 0.0);
    EXPECT_EQ(bare.color.a, static_cast<double>(0.05f));
    EXPECT_NE(bare.color.a, 0.05);

    EXPECT_EQ(PenSettings::fromDecoded(red, 0.0f, 2).thickness, 4.0f);
    const PenSettings stored = PenSettings::fromDecoded(red, 2.5f, InkTypeGelPen);
    EXPECT_EQ(stored.thickness, 2.5f);
    EXPECT_EQ(stored.inkType, InkTypeGelPen);
    EXPECT_TRUE(stored.color.isEqualToColor(red));
    EXPECT_EQ(stored.version, 1);

    const KInkBrush brush = KInkBrush::brushWithAcceleration(0.006f, 0.003f);
    EXPECT_EQ(brush.inkAcceleration, 0.006f);
    EXPECT_EQ(brush.inkDeceleration, 0.003f);
    EXPECT_FALSE(brush.shouldRenderCurrentLineAtBack);
    EXPECT_FALSE(brush.hasWideSizeRange);

    const PenTables tables;
    const KColor black{0, 0, 0, 0.35};
    ASSERT_EQ(tables.penSettings.size(), 3u);
    for (const PenSettings& slot : tables.penSettings) {
        EXPECT_EQ(slot.thickness, 6.0f);
        EXPECT_EQ(slot.inkType, 0);
        EXPECT_EQ(slot.version, 1);
        EXPECT_TRUE(slot.color.isEqualToColor(black));
    }
    EXPECT_EQ(tables.penWidths, (std::vector<float>{64.0f, 6.0f, 3.0f, 32.0f, 16.0f}));
    ASSERT_EQ(tables.currentPenColors.size(), 6u);
    for (const KColor& c : tables.currentPenColors)
        EXPECT_TRUE(c.isEqualToColor(black));
}

TEST(StylusForce, Factors) {
    EXPECT_EQ(stylusForceFactorWithTouches({}), 1.0);
    EXPECT_EQ(stylusForceFactorWithTouches({touch(TouchType::Stylus, 0.0, 4.0)}), 0.8);
    EXPECT_EQ(stylusForceFactorWithTouches({touch(TouchType::Stylus, 4.0, 4.0)}), 1.2);
    EXPECT_EQ(stylusForceFactorWithTouches({touch(TouchType::Stylus, 2.0, 4.0)}), 1.0);
    EXPECT_DOUBLE_EQ(stylusForceFactorWithTouches({touch(TouchType::Stylus, 1.8, 4.0)}), 0.9);

    // A finger's force is never read; the first stylus touch decides.
    EXPECT_EQ(stylusForceFactorWithTouches({touch(TouchType::Finger, 4.0, 4.0)}), 1.0);
    EXPECT_DOUBLE_EQ(stylusForceFactorWithTouches(
                         {touch(TouchType::Finger, 4.0, 4.0), touch(TouchType::Stylus, 1.8, 4.0)}),
                     0.9);
    EXPECT_DOUBLE_EQ(stylusForceFactorWithTouches(
                         {touch(TouchType::Stylus, 2.2, 4.0), touch(TouchType::Stylus, 0.0, 4.0)}),
                     1.1);

    // Unusable readings are neutral and never produce a non-number.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(stylusForceFactorWithTouches({touch(TouchType::Stylus, 0.0, 0.0)}), 1.0);
    EXPECT_EQ(stylusForceFactorWithTouches({touch(TouchType::Stylus, 3.0, 0.0)}), 1.0);
    EXPECT_EQ(stylusForceFactorWithTouches({touch(TouchType::Stylus, nan, 4.0)}), 1.0);
    EXPECT_EQ(stylusForceFactorWithTouches({touch(TouchType::Stylus, 1.0, nan)}), 1.0);
    EXPECT_EQ(stylusForceFactorWithTouches({touch(TouchType::Stylus, inf, 4.0)}), 1.0);
    // A force beyond the maximum still clamps.
    EXPECT_EQ(stylusForceFactorWithTouches({touch(TouchType::Stylus, 9.0, 4.0)}), 1.2);
}
