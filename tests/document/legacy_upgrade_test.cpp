// The upgrade of legacy runs (one pointSize per run) to runs with a size per point.
#include <gtest/gtest.h>

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
    return {run.constBuffer(), run.constBuffer() + run.length() * KVSPointSet::kFloatsPerPoint};
}

TEST(LegacyUpgrade, DropsEmptyRunsHalvesSizesAndKeepsColourAndOrder) {
    const KColor translucent{0.2, 0.4, 0.6, 0.3};
    const KColor blue{0.0, 0.0, 1.0, 1.0};
    KPointSetArray legacy;
    legacy.addObject(KPointSet::initWithLength(0));
    legacy.addObject(makeLegacy({1, 2, 3, 4}, 6.0f, translucent));
    legacy.addObject(KPointSet::initWithData(PointBuffer()));  // decoded without a buffer
    legacy.addObject(makeLegacy({5, 6, 7}, 1.0f, blue));       // one point and an odd tail
    auto upgraded = convertKPointSetArrayToKVSPointSetArray(legacy);
    ASSERT_EQ(upgraded->count(), 2u);
    EXPECT_EQ(floatsOf(*upgraded->objectAtIndex(0)), (std::vector<float>{1, 2, 3, 3, 4, 3}));
    EXPECT_TRUE(upgraded->objectAtIndex(0)->color().isEqualToColor(translucent));  // alpha too
    EXPECT_EQ(upgraded->objectAtIndex(1)->data().byteSize(), 12u);
    EXPECT_EQ(floatsOf(*upgraded->objectAtIndex(1)), (std::vector<float>{5, 6, 0.5f}));
    EXPECT_TRUE(upgraded->objectAtIndex(1)->color().isEqualToColor(blue));

    // Only empty runs give an empty array.
    KPointSetArray empty;
    empty.addPointSetWithSize(0);
    empty.addObject(KPointSet::initWithData(PointBuffer::zeroed(7)));  // a tail and no point
    upgraded = convertKPointSetArrayToKVSPointSetArray(empty);
    ASSERT_NE(upgraded, nullptr);
    EXPECT_EQ(upgraded->count(), 0u);
}

}  // namespace
}  // namespace velumen
