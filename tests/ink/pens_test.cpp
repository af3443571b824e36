#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "ink/Pens.h"

using namespace velumen;

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();

}  // namespace

TEST(PenCurves, BandEdgesContinuityAndDispatch) {
    // Each curve is flat below its band, flat above it, and joins both flats without a jump.
    EXPECT_EQ(variableBrushPointSizeRatioForLength(1.0f), 0.125f);
    EXPECT_NEAR(variableBrushPointSizeRatioForLength(std::nextafter(1.0f, kInf)), 0.125f, 1e-6f);
    EXPECT_NEAR(variableBrushPointSizeRatioForLength(std::nextafter(80.0f, 0.0f)), 1.0f, 1e-6f);
    EXPECT_EQ(variableBrushPointSizeRatioForLength(80.5f), 1.0f);
    EXPECT_EQ(variableFountainPenPointSizeRatioForLength(std::nextafter(3.0f, 0.0f)), 1.0f);
    EXPECT_NEAR(variableFountainPenPointSizeRatioForLength(std::nextafter(3.0f, kInf)), 1.0f, 1e-6f);
    EXPECT_NEAR(variableFountainPenPointSizeRatioForLength(std::nextafter(30.0f, 0.0f)), 0.4f, 1e-6f);
    EXPECT_EQ(variableGelPenPointSizeRatioForLength(16.5f), 0.75f);
    EXPECT_EQ(variableGelPenPointSizeRatioForLength(30.5f), 0.5f);
    EXPECT_NEAR(variablePencilPointSizeRatioForLength(std::nextafter(60.0f, 0.0f)), 0.75f, 1e-6f);
    // A speed that is not a number takes the upper branch.
    EXPECT_EQ(variableFountainPenPointSizeRatioForLength(std::nanf("")), 0.4f);
    EXPECT_EQ(variableBrushPointSizeRatioForLength(std::nanf("")), 1.0f);

    // At 20 the distinct curves differ; the eraser and unknown types take the fountain pen's.
    const float v = 20.0f;
    const float fountain = variableFountainPenPointSizeRatioForLength(v);
    EXPECT_EQ(variablePointSizeRatioForInkType(InkTypeEraser, v), fountain);
    EXPECT_EQ(variablePointSizeRatioForInkType(17, v), fountain);
    EXPECT_EQ(variablePointSizeRatioForInkType(InkTypePencil, v), variablePencilPointSizeRatioForLength(v));
    EXPECT_EQ(variablePointSizeRatioForInkType(InkTypeBrush, v), variableBrushPointSizeRatioForLength(v));
    EXPECT_EQ(variablePointSizeRatioForInkType(InkTypeGelPen, v), variableGelPenPointSizeRatioForLength(v));
    EXPECT_EQ(variablePointSizeRatioForInkType(InkTypeHilighter, v),
              variableHilighterPointSizeRatioForLength(v));
    EXPECT_NE(variableGelPenPointSizeRatioForLength(v), fountain);
}

TEST(PenCurves, FountainPenRoundsOnceInItsBand) {
    // A float product plus a float is exact in double, so one narrowing gives the fused result. An unfused
    // evaluation must differ from it somewhere in the band, or this check would prove nothing.
    int unfusedDiffers = 0;
    for (float v = 3.0f; v <= 30.0f; v += 0.01f) {
        const float w = 1.0f - (v - 3.0f) / 27.0f;
        const float fused = static_cast<float>(static_cast<double>(w) * 0.6f + static_cast<double>(0.4f));
        ASSERT_EQ(variableFountainPenPointSizeRatioForLength(v), fused) << v;
        if (w * 0.6f + 0.4f != fused) ++unfusedDiffers;
    }
    EXPECT_GT(unfusedDiffers, 0);
}

TEST(PenTables, PaletteSpacingAndDecodedSettings) {
    for (std::int64_t i = 0; i < 5; ++i)
        EXPECT_EQ(penTypeIndexForInkType(inkTypeForPenTypeIndex(i)), i);
    EXPECT_EQ(inkTypeForPenTypeIndex(-1), InkTypeFountainPen);
    EXPECT_EQ(penTypeIndexForInkType(InkTypeGelPen), 1);
    EXPECT_TRUE(spacesByCurrentSize(InkTypeBrush) && spacesByCurrentSize(InkTypeHilighter));
    EXPECT_FALSE(spacesByCurrentSize(InkTypeFountainPen) || spacesByCurrentSize(InkTypeEraser));

    const PenSettings bare = PenSettings::fromDecoded(std::nullopt, std::nullopt, std::nullopt);
    EXPECT_EQ(bare.thickness, 4.0f);
    EXPECT_EQ(bare.inkType, InkTypeFountainPen);
    EXPECT_TRUE(bare.color.isEqualToColor(KColor{0, 0, 0, static_cast<double>(0.05f)}));
    EXPECT_NE(bare.color.a, 0.05);  // the alpha went through single precision
    const KColor red{1, 0, 0, 0.35};
    EXPECT_EQ(PenSettings::fromDecoded(red, 0.0f, 2).thickness, 4.0f);
    const PenSettings stored = PenSettings::fromDecoded(red, 2.5f, InkTypeGelPen);
    EXPECT_EQ(stored.thickness, 2.5f);
    EXPECT_EQ(stored.inkType, InkTypeGelPen);
    EXPECT_TRUE(stored.color.isEqualToColor(red));
}
