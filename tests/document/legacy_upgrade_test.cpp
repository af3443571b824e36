// The upgrade of legacy runs (one pointSize per run) to runs with a size per point.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "document/LegacyUpgrade.h"

namespace velumen {
namespace {

KPointSetPtr makeLegacy(const std::vector<float>& xy, float pointSize, const KColor& color) {
    auto run = KPointSet::initWithData(PointBuffer::copyOf(xy.data(), xy.size() * sizeof(float)));
    run->setPointSize(pointSize);
    run->setColor(color);
    return run;
}

std::vector<float> floatsOf(const KVSPointSet& run) {
    return std::vector<float>(run.constBuffer(),
                              run.constBuffer() + run.length() * KVSPointSet::kFloatsPerPoint);
}

const KColor kBlue{0.0, 0.0, 1.0, 1.0};
const KColor kTranslucent{0.2, 0.4, 0.6, 0.3};

TEST(LegacyUpgrade, HalvesThePointSizeAndKeepsPositionsAndColour) {
    KPointSetArray legacy;
    legacy.addObject(makeLegacy({1, 2, 3, 4, 5, 6}, 6.0f, kTranslucent));
    auto upgraded = convertKPointSetArrayToKVSPointSetArray(legacy);
    ASSERT_NE(upgraded, nullptr);
    ASSERT_EQ(upgraded->count(), 1u);
    const KVSPointSet& run = *upgraded->objectAtIndex(0);
    EXPECT_EQ(run.length(), 3u);
    EXPECT_EQ(run.data().byteSize(), 36u);
    EXPECT_EQ(floatsOf(run), (std::vector<float>{1, 2, 3, 3, 4, 3, 5, 6, 3}));
    EXPECT_TRUE(run.color().isEqualToColor(kTranslucent));  // alpha too
    EXPECT_FALSE(run.isNull());
}

TEST(LegacyUpgrade, HalvingIsDoneInFloat) {
    KPointSetArray legacy;
    legacy.addObject(makeLegacy({0, 0}, 0.3f, kBlue));
    legacy.addObject(makeLegacy({0, 0}, 1e-45f, kBlue));  // the smallest subnormal halves to 0 in float
    auto upgraded = convertKPointSetArrayToKVSPointSetArray(legacy);
    ASSERT_EQ(upgraded->count(), 2u);
    EXPECT_EQ(upgraded->objectAtIndex(0)->constBuffer()[2], 0.3f * 0.5f);
    EXPECT_EQ(upgraded->objectAtIndex(1)->constBuffer()[2], 0.0f);
}

TEST(LegacyUpgrade, DropsEmptyRunsAndKeepsOrder) {
    KPointSetArray legacy;
    legacy.addObject(KPointSet::initWithLength(0));
    legacy.addObject(makeLegacy({1, 1}, 2.0f, kBlue));
    legacy.addObject(KPointSet::initWithData(PointBuffer()));  // decoded without a buffer
    legacy.addObject(makeLegacy({2, 2, 3, 3}, 8.0f, kTranslucent));
    legacy.addObject(KPointSet::initWithData(PointBuffer::zeroed(7)));  // a tail and no point
    auto upgraded = convertKPointSetArrayToKVSPointSetArray(legacy);
    ASSERT_EQ(upgraded->count(), 2u);
    EXPECT_EQ(floatsOf(*upgraded->objectAtIndex(0)), (std::vector<float>{1, 1, 1}));
    EXPECT_TRUE(upgraded->objectAtIndex(0)->color().isEqualToColor(kBlue));
    EXPECT_EQ(floatsOf(*upgraded->objectAtIndex(1)), (std::vector<float>{2, 2, 4, 3, 3, 4}));
    EXPECT_TRUE(upgraded->objectAtIndex(1)->color().isEqualToColor(kTranslucent));
    EXPECT_EQ(legacy.count(), 5u);  // the legacy array is left as it was
}

TEST(LegacyUpgrade, OnlyEmptyRunsGiveAnEmptyArray) {
    KPointSetArray legacy;
    legacy.addPointSetWithSize(0);
    legacy.addObject(KPointSet::initWithData(PointBuffer()));
    auto upgraded = convertKPointSetArrayToKVSPointSetArray(legacy);
    ASSERT_NE(upgraded, nullptr);
    EXPECT_EQ(upgraded->count(), 0u);
    EXPECT_TRUE(upgraded->boundingRect().isNull());

    KPointSetArray none;
    auto fromNothing = convertKPointSetArrayToKVSPointSetArray(none);
    ASSERT_NE(fromNothing, nullptr);
    EXPECT_EQ(fromNothing->count(), 0u);
}

TEST(LegacyUpgrade, OddTailIsNotCarriedOver) {
    const float raw[5] = {1, 2, 3, 4, 99};  // 20 bytes: two points and a tail
    auto run = KPointSet::initWithData(PointBuffer::copyOf(raw, sizeof raw));
    run->setPointSize(4.0f);
    KPointSetArray legacy;
    legacy.addObject(run);
    auto upgraded = convertKPointSetArrayToKVSPointSetArray(legacy);
    ASSERT_EQ(upgraded->count(), 1u);
    EXPECT_EQ(upgraded->objectAtIndex(0)->length(), 2u);
    EXPECT_EQ(upgraded->objectAtIndex(0)->data().byteSize(), 24u);
    EXPECT_EQ(floatsOf(*upgraded->objectAtIndex(0)), (std::vector<float>{1, 2, 2, 3, 4, 2}));
}

TEST(LegacyUpgrade, ResultSharesNothingWithTheLegacyRuns) {
    KPointSetArray legacy;
    auto run = makeLegacy({1, 2}, 2.0f, kBlue);
    legacy.addObject(run);
    auto upgraded = convertKPointSetArrayToKVSPointSetArray(legacy);
    run->buffer()[0] = 50;
    run->setColor(kTranslucent);
    EXPECT_EQ(upgraded->objectAtIndex(0)->constBuffer()[0], 1.0f);
    EXPECT_TRUE(upgraded->objectAtIndex(0)->color().isEqualToColor(kBlue));
}

TEST(LegacyUpgrade, DefaultsOfALegacyRunBecomeRedAndHalfSize) {
    KPointSetArray legacy;
    legacy.addPointSetWithSize(2);
    auto upgraded = convertKPointSetArrayToKVSPointSetArray(legacy);
    ASSERT_EQ(upgraded->count(), 1u);
    EXPECT_EQ(floatsOf(*upgraded->objectAtIndex(0)), (std::vector<float>{0, 0, 0.5f, 0, 0, 0.5f}));
    EXPECT_TRUE(upgraded->objectAtIndex(0)->color().isEqualToColor(KVSPointSet::defaultColor()));
}

}  // namespace
}  // namespace velumen
