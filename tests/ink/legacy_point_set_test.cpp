// The legacy runs: stride 8, one pointSize per run, marks over x and y, centre-only circles.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "ink/KPointSet.h"
#include "ink/KVSPointSet.h"

namespace velumen {
namespace {

constexpr float kMark = KPointSet::kRemovalMark;
using XY = std::pair<float, float>;
using Points = std::vector<XY>;
const KColor kBlue{0.0, 0.0, 1.0, 1.0};

KPointSetPtr makeRun(const Points& points, float pointSize = 1.0f,
                     KColor color = KVSPointSet::defaultColor()) {
    std::vector<float> flat;
    for (const auto& [x, y] : points)
        flat.insert(flat.end(), {x, y});
    auto run = KPointSet::initWithData(PointBuffer::copyOf(flat.data(), flat.size() * sizeof(float)));
    run->setPointSize(pointSize);
    run->setColor(color);
    return run;
}

Points pointsOf(const KPointSet& run) {
    Points out;
    for (std::uint64_t i = 0; i < run.length(); ++i)
        out.emplace_back(run.constBuffer()[2 * i], run.constBuffer()[2 * i + 1]);
    return out;
}

TEST(LegacyPointSet, StrideEightAndOddTailsAreIgnored) {
    auto zeroed = KPointSet::initWithLength(3);
    EXPECT_EQ(zeroed->data().byteSize(), 24u);
    EXPECT_EQ(pointsOf(*zeroed), (Points{{0, 0}, {0, 0}, {0, 0}}));
    EXPECT_EQ(zeroed->pointSize(), 1.0f);
    EXPECT_FALSE(KPointSet::initWithData(PointBuffer())->removePointsInCircle({-1e9, -1e9, 2e9, 2e9}));

    const float raw[5] = {1, 2, 3, 4, 1e30f};  // two points and a 4-byte tail
    auto run = KPointSet::initWithData(PointBuffer::copyOf(raw, sizeof raw));
    EXPECT_EQ(run->length(), 2u);
    run->setPointSize(100.0f);
    EXPECT_EQ(run->boundingRect(), (Rect{1, 2, 2, 2}));  // centres only, no tail, no dot size

    // Nothing that copies points copies the tail.
    zeroed->addPointsFromSet(*run);
    EXPECT_EQ(zeroed->data().byteSize(), 40u);
    EXPECT_EQ(pointsOf(*zeroed).back(), (XY{3, 4}));
    KPointSetArray array;
    array.addObject(run);
    EXPECT_EQ(array.mergedPointSet()->data().byteSize(), 16u);
    run->buffer()[0] = kMark;
    EXPECT_EQ(run->removeNegativeMaxFloatPoints(), 1u);
    EXPECT_EQ(run->data().byteSize(), 8u);
    EXPECT_EQ(pointsOf(*run), (Points{{3, 4}}));
}

TEST(LegacyPointSet, MarksCoverXAndYAndTheCircleTestsCentresOnly) {
    auto run = makeRun({{5, 5}, {50, 50}, {0, 10}});
    EXPECT_EQ(run->markPointsInRect({0, 0, 10, 10}), 2u);  // edges included
    EXPECT_EQ(pointsOf(*run), (Points{{kMark, kMark}, {50, 50}, {kMark, kMark}}));
    EXPECT_EQ(makeRun({{5, 5}})->markPointsInRect({10, 10, -10, -10}), 0u);  // not standardised

    // Width 10, height 40: radius 5, centre (5, 20). However big the dots, only centres count.
    const float justOutside = std::nextafter(25.0f, 100.0f);
    auto dots = makeRun({{5, 25}, {5, justOutside}, {1, 1}, {5, 110}}, 1000.0f);
    EXPECT_EQ(dots->markPointsInCircle({0, 0, 10, 40}), 1u);
    EXPECT_EQ(pointsOf(*dots), (Points{{kMark, kMark}, {5, justOutside}, {1, 1}, {5, 110}}));

    // A new run's dot of that size 85 units off the circle touches it; the legacy dot is kept.
    const float xyz[3] = {5, 110, 1000};
    auto modern = KVSPointSet::initWithData(PointBuffer::copyOf(xyz, sizeof xyz));
    EXPECT_EQ(modern->markPointsTouchingCircle({0, 0, 10, 40}), 1u);
}

TEST(LegacyPointSet, CompactionTestsXAndTrustsTheCountWithinItsBuffers) {
    auto run = makeRun({{1, 1}, {kMark, 2}, {3, kMark}, {4, 4}});
    EXPECT_EQ(run->removeNegativeMaxFloatPoints(), 1u);
    EXPECT_EQ(pointsOf(*run), (Points{{1, 1}, {3, kMark}, {4, 4}}));

    run->markPointsInRect({0, 0, 1, 1});  // told nothing went: the marks stay
    EXPECT_EQ(run->removeNegativeMaxFloatPointsWithRemainingPoints(3), 0u);
    EXPECT_EQ(pointsOf(*run)[0], (XY{kMark, kMark}));

    // Fewer survivors than there are: the copy stops at the count.
    auto few = makeRun({{1, 1}, {kMark, kMark}, {3, 3}, {4, 4}, {5, 5}});
    EXPECT_EQ(few->removeNegativeMaxFloatPointsWithRemainingPoints(2), 3u);
    EXPECT_EQ(pointsOf(*few), (Points{{1, 1}, {3, 3}}));
    // More than the survivors but fewer than the points: the last slot is the zero fill.
    auto between = makeRun({{1, 1}, {kMark, kMark}, {kMark, 0}, {4, 4}, {5, 5}});
    EXPECT_EQ(between->removeNegativeMaxFloatPointsWithRemainingPoints(4), 1u);
    EXPECT_EQ(pointsOf(*between), (Points{{1, 1}, {4, 4}, {5, 5}, {0, 0}}));
    // More than the points: no allocation of that size, no write past the new buffer.
    auto many = makeRun({{1, 1}, {kMark, kMark}, {3, 3}});
    many->removeNegativeMaxFloatPointsWithRemainingPoints(std::numeric_limits<std::uint64_t>::max());
    ASSERT_LE(many->length(), 3u);
    EXPECT_EQ(many->data().byteSize(), many->length() * KPointSet::kStride);
    ASSERT_GE(many->length(), 2u);
    EXPECT_EQ(pointsOf(*many)[1], (XY{3, 3}));
}

TEST(LegacyPointSetArray, ConsolidateJoinsNeighboursOfEqualColourAndSizeIntoTheFirst) {
    auto a1 = makeRun({{1, 1}}, 2.0f, kBlue);
    auto a2 = makeRun({{2, 2}}, 2.0f, kBlue);
    auto big = makeRun({{3, 3}}, 3.0f, kBlue);
    auto faint = makeRun({{4, 4}}, 3.0f, {0.0, 0.0, 1.0, 0.5});
    KPointSetArray array;
    for (const auto& r : {a1, a2, a1, big, faint})
        array.addObject(r);
    array.consolidatePointSets();
    ASSERT_EQ(array.count(), 3u);
    EXPECT_EQ(array.pointSets()[0], a1);
    EXPECT_EQ(array.pointSets()[1], big);
    EXPECT_EQ(array.pointSets()[2], faint);
    // a1 met again inside its own stretch brings everything gathered so far.
    EXPECT_EQ(pointsOf(*a1), (Points{{1, 1}, {2, 2}, {1, 1}, {2, 2}}));
    EXPECT_EQ(pointsOf(*a2), (Points{{2, 2}}));
}

TEST(LegacyPointSetArray, MergeTakesTheFirstRunAndRemovalDropsEmptyRuns) {
    KPointSetArray array;
    EXPECT_EQ(array.mergedPointSet(), nullptr);
    auto first = makeRun({{1, 1}, {2, 2}}, 7.0f, kBlue);
    array.addObject(first);
    array.addPointSetWithSize(0);
    array.addObject(makeRun({{5, 11}}, 1000.0f));
    auto merged = array.mergedPointSet();
    ASSERT_NE(merged, first);
    EXPECT_EQ(pointsOf(*merged), (Points{{1, 1}, {2, 2}, {5, 11}}));
    EXPECT_EQ(merged->pointSize(), 7.0f);
    EXPECT_TRUE(merged->color().isEqualToColor(kBlue));

    EXPECT_FALSE(array.removePointsInCircle({100, 100, 10, 10}));
    EXPECT_EQ(array.count(), 3u);  // nothing removed: the empty run stays
    EXPECT_TRUE(array.removePointsInCircle({0, 0, 4, 4}));
    ASSERT_EQ(array.count(), 1u);
    EXPECT_EQ(pointsOf(*array.pointSets()[0]), (Points{{5, 11}}));
    EXPECT_EQ(pointsOf(*merged)[0], (XY{1, 1}));  // the merged run is a copy
}

}  // namespace
}  // namespace velumen
