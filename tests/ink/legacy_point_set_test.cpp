// The legacy runs: stride 8, one pointSize per run, marks over x and y, centre-only circles.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "ink/KPointSet.h"
#include "ink/KVSPointSet.h"

namespace velumen {
namespace {

constexpr float kMark = KPointSet::kRemovalMark;

using XY = std::pair<float, float>;

KPointSetPtr makeRun(const std::vector<XY>& points, float pointSize = 1.0f,
                     KColor color = KVSPointSet::defaultColor()) {
    std::vector<float> flat;
    for (const auto& [x, y] : points) {
        flat.push_back(x);
        flat.push_back(y);
    }
    auto run = KPointSet::initWithData(PointBuffer::copyOf(flat.data(), flat.size() * sizeof(float)));
    run->setPointSize(pointSize);
    run->setColor(color);
    return run;
}

std::vector<XY> pointsOf(const KPointSet& run) {
    std::vector<XY> out;
    const float* p = run.constBuffer();
    for (std::uint64_t i = 0; i < run.length(); ++i)
        out.emplace_back(p[2 * i], p[2 * i + 1]);
    return out;
}

const KColor kBlue{0.0, 0.0, 1.0, 1.0};
const KColor kGreen{0.0, 1.0, 0.0, 1.0};

// ---- KPointSet: construction ----

TEST(LegacyPointSet, InitWithLengthIsZeroFilledRedAndSizeOne) {
    auto run = KPointSet::initWithLength(3);
    EXPECT_EQ(run->length(), 3u);
    EXPECT_EQ(run->data().byteSize(), 24u);
    EXPECT_EQ(pointsOf(*run), (std::vector<XY>{{0, 0}, {0, 0}, {0, 0}}));
    EXPECT_TRUE(run->color().isEqualToColor(KVSPointSet::defaultColor()));
    EXPECT_EQ(run->color().g, static_cast<double>(0.1f));
    EXPECT_EQ(run->pointSize(), 1.0f);
}

TEST(LegacyPointSet, InitWithDataUsesStrideEight) {
    auto run = KPointSet::initWithData(PointBuffer::zeroed(24));
    EXPECT_EQ(run->length(), 3u);  // would be 2 at stride 12
    EXPECT_EQ(run->pointSize(), 1.0f);
    EXPECT_TRUE(run->color().isEqualToColor(KVSPointSet::defaultColor()));
}

TEST(LegacyPointSet, OddTailOfTwentyBytesGivesTwoPointsAndIsIgnored) {
    const float raw[5] = {1, 2, 3, 4, 1e30f};  // 20 bytes: two points and a 4-byte tail
    auto run = KPointSet::initWithData(PointBuffer::copyOf(raw, sizeof raw));
    EXPECT_EQ(run->length(), 2u);
    EXPECT_EQ(run->data().byteSize(), 20u);  // the tail stays in the buffer
    EXPECT_EQ(run->boundingRect(), (Rect{1, 2, 2, 2}));

    // Nothing that copies points copies the tail.
    auto other = KPointSet::initWithLength(1);
    other->addPointsFromSet(*run);
    EXPECT_EQ(other->length(), 3u);
    EXPECT_EQ(other->data().byteSize(), 24u);
    EXPECT_EQ(pointsOf(*other), (std::vector<XY>{{0, 0}, {1, 2}, {3, 4}}));

    KPointSetArray array;
    array.addObject(run);
    EXPECT_EQ(array.mergedPointSet()->data().byteSize(), 16u);

    // A marked point removed from a run with a tail leaves a buffer of whole points.
    run->buffer()[0] = kMark;
    EXPECT_EQ(run->removeNegativeMaxFloatPoints(), 1u);
    EXPECT_EQ(run->data().byteSize(), 8u);
    EXPECT_EQ(pointsOf(*run), (std::vector<XY>{{3, 4}}));
}

TEST(LegacyPointSet, MissingBufferIsAnEmptyRun) {
    auto run = KPointSet::initWithData(PointBuffer());
    EXPECT_EQ(run->length(), 0u);
    EXPECT_TRUE(run->boundingRect().isNull());
    EXPECT_EQ(run->removeNegativeMaxFloatPoints(), 0u);
    EXPECT_FALSE(run->removePointsInRect({-1e9, -1e9, 2e9, 2e9}));
    EXPECT_FALSE(run->removePointsInCircle({-1e9, -1e9, 2e9, 2e9}));
}

TEST(LegacyPointSet, SettersKeepTheirValues) {
    auto run = KPointSet::initWithLength(0);
    run->setPointSize(6.5f);
    KColor c{0.25, 0.5, 0.75, 0.5};
    run->setColor(c);
    c.r = 1.0;  // the setter copied
    EXPECT_EQ(run->pointSize(), 6.5f);
    EXPECT_EQ(run->color().r, 0.25);
    EXPECT_EQ(run->color().a, 0.5);
}

TEST(LegacyPointSet, AddPointsFromSetAppendsAndKeepsColourAndSize) {
    auto a = makeRun({{1, 1}, {2, 2}}, 4.0f, kBlue);
    auto b = makeRun({{3, 3}}, 9.0f, kGreen);
    a->addPointsFromSet(*b);
    EXPECT_EQ(pointsOf(*a), (std::vector<XY>{{1, 1}, {2, 2}, {3, 3}}));
    EXPECT_EQ(a->pointSize(), 4.0f);
    EXPECT_TRUE(a->color().isEqualToColor(kBlue));
    EXPECT_EQ(b->length(), 1u);

    a->addPointsFromSet(*a);
    EXPECT_EQ(a->length(), 6u);
    EXPECT_EQ(pointsOf(*a)[3], (XY{1, 1}));
}

// ---- KPointSet: marks ----

TEST(LegacyPointSet, RectMarkIsWrittenOverXAndY) {
    auto run = makeRun({{5, 5}, {50, 50}, {0, 10}, {10, 0}});
    EXPECT_EQ(run->markPointsInRect({0, 0, 10, 10}), 3u);  // edges included
    const auto pts = pointsOf(*run);
    EXPECT_EQ(pts[0], (XY{kMark, kMark}));
    EXPECT_EQ(pts[1], (XY{50, 50}));
    EXPECT_EQ(pts[2], (XY{kMark, kMark}));
    EXPECT_EQ(pts[3], (XY{kMark, kMark}));
    EXPECT_EQ(std::bit_cast<std::uint32_t>(pts[0].second), 0xFF7FFFFFu);
}

TEST(LegacyPointSet, RectIsNotStandardised) {
    auto run = makeRun({{5, 5}});
    EXPECT_EQ(run->markPointsInRect({10, 10, -10, -10}), 0u);
    EXPECT_EQ(pointsOf(*run)[0], (XY{5, 5}));
}

TEST(LegacyPointSet, RectEdgesAreNarrowedToFloat) {
    // right = (float)(0.1 + 0.2) in double, which is the float 0.3f; a point at 0.3f is on the edge.
    auto run = makeRun({{0.3f, 0.0f}});
    EXPECT_EQ(run->markPointsInRect({0.1, 0.0, 0.2, 0.0}), 1u);
}

TEST(LegacyPointSet, CircleMarkIsWrittenOverXAndY) {
    auto run = makeRun({{5, 20}, {100, 100}});
    EXPECT_EQ(run->markPointsInCircle({0, 0, 10, 40}), 1u);
    EXPECT_EQ(pointsOf(*run)[0], (XY{kMark, kMark}));
    EXPECT_EQ(pointsOf(*run)[1], (XY{100, 100}));
}

TEST(LegacyPointSet, CircleTestsCentresOnlyWhateverThePointSize) {
    // Width 10, height 40: radius 5, centre (5, 20).
    const Rect circle{0, 0, 10, 40};
    const float justOutside = std::nextafter(25.0f, 100.0f);
    auto run = makeRun({{5, 25}, {5, justOutside}, {1, 1}, {5, 300}}, 1000.0f);
    EXPECT_EQ(run->markPointsInCircle(circle), 1u);  // only the centre on the circle's edge
    const auto pts = pointsOf(*run);
    EXPECT_EQ(pts[0], (XY{kMark, kMark}));
    EXPECT_EQ(pts[1], (XY{5, justOutside}));  // just outside the radius: kept, however big the dot
    EXPECT_EQ(pts[2], (XY{1, 1}));            // in the rectangle, outside the radius
    EXPECT_EQ(pts[3], (XY{5, 300}));          // far away: no 128 window, no touching test
}

TEST(LegacyPointSet, NoTouchingTestUnlikeTheNewRuns) {
    // A point 100 units below the circle: a new run's dot of the same size touches, a legacy dot does not.
    const Rect circle{0, 0, 10, 10};
    auto legacy = makeRun({{5, 110}}, 500.0f);
    EXPECT_EQ(legacy->markPointsInCircle(circle), 0u);
    EXPECT_FALSE(legacy->removePointsInCircle(circle));
    EXPECT_EQ(legacy->length(), 1u);

    const float xyz[3] = {5, 110, 500};
    auto modern = KVSPointSet::initWithData(PointBuffer::copyOf(xyz, sizeof xyz));
    EXPECT_EQ(modern->markPointsTouchingCircle(circle), 1u);
}

TEST(LegacyPointSet, CircleArithmeticMatchesTheCentreTestOfNewRuns) {
    // Same points, same circles: the legacy test marks exactly the points that
    // KVSPointSet::markPointsWithCentersInCircle marks.
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> coord(-20.0f, 120.0f);
    std::uniform_real_distribution<double> side(0.0, 100.0);
    for (int round = 0; round < 200; ++round) {
        const Rect circle{side(rng) - 10, side(rng) - 10, side(rng), side(rng)};
        std::vector<XY> pts;
        std::vector<float> xyz;
        for (int i = 0; i < 200; ++i) {
            const float x = coord(rng), y = coord(rng);
            pts.emplace_back(x, y);
            xyz.insert(xyz.end(), {x, y, 3.0f});
        }
        auto legacy = makeRun(pts);
        auto modern = KVSPointSet::initWithData(PointBuffer::copyOf(xyz.data(), xyz.size() * sizeof(float)));
        ASSERT_EQ(legacy->markPointsInCircle(circle), modern->markPointsWithCentersInCircle(circle));
        for (std::size_t i = 0; i < pts.size(); ++i) {
            ASSERT_EQ(legacy->constBuffer()[2 * i] == kMark, modern->constBuffer()[3 * i] == kMark) << i;
        }
    }
}

// ---- KPointSet: compaction ----

TEST(LegacyPointSet, CompactionTestsXOnly) {
    auto run = makeRun({{1, 1}, {kMark, 2}, {3, kMark}, {4, 4}});
    EXPECT_EQ(run->removeNegativeMaxFloatPoints(), 1u);
    EXPECT_EQ(pointsOf(*run), (std::vector<XY>{{1, 1}, {3, kMark}, {4, 4}}));
}

TEST(LegacyPointSet, RemainingEqualToLengthLeavesMarks) {
    auto run = makeRun({{1, 1}, {2, 2}});
    run->markPointsInRect({0, 0, 1, 1});
    const float* before = run->constBuffer();
    EXPECT_EQ(run->removeNegativeMaxFloatPointsWithRemainingPoints(2), 0u);
    EXPECT_EQ(run->constBuffer(), before);
    EXPECT_EQ(pointsOf(*run)[0], (XY{kMark, kMark}));
}

TEST(LegacyPointSet, RemoveInRectAndCircleCompact) {
    auto run = makeRun({{1, 1}, {5, 5}, {9, 9}, {50, 50}});
    EXPECT_TRUE(run->removePointsInRect({4, 4, 6, 6}));
    EXPECT_EQ(pointsOf(*run), (std::vector<XY>{{1, 1}, {50, 50}}));
    EXPECT_TRUE(run->removePointsInCircle({40, 40, 20, 20}));
    EXPECT_EQ(pointsOf(*run), (std::vector<XY>{{1, 1}}));
    const float* before = run->constBuffer();
    EXPECT_FALSE(run->removePointsInRect({100, 100, 1, 1}));
    EXPECT_FALSE(run->removePointsInCircle({100, 100, 1, 1}));
    EXPECT_EQ(run->constBuffer(), before);  // untouched runs are not reallocated
    EXPECT_TRUE(run->removePointsInCircle({0, 0, 2, 2}));
    EXPECT_EQ(run->length(), 0u);
}

TEST(LegacyPointSet, LyingCountAboveLengthStaysInBounds) {
    for (const std::uint64_t lie :
         {std::uint64_t{5}, std::uint64_t{1000}, std::numeric_limits<std::uint64_t>::max() / 8,
          std::numeric_limits<std::uint64_t>::max()}) {
        auto run = makeRun({{1, 1}, {kMark, kMark}, {3, 3}, {4, 4}});
        run->removeNegativeMaxFloatPointsWithRemainingPoints(lie);
        // Clamped to the points there are: no huge allocation, no write past the new buffer.
        EXPECT_LE(run->length(), 4u);
        EXPECT_EQ(run->data().byteSize(), run->length() * KPointSet::kStride);
        const auto pts = pointsOf(*run);
        ASSERT_GE(pts.size(), 3u);
        EXPECT_EQ(pts[0], (XY{1, 1}));
        EXPECT_EQ(pts[1], (XY{3, 3}));
        EXPECT_EQ(pts[2], (XY{4, 4}));
    }
}

TEST(LegacyPointSet, LyingCountBelowTheSurvivorsStaysInBounds) {
    auto run = makeRun({{1, 1}, {kMark, kMark}, {3, 3}, {4, 4}, {5, 5}});
    EXPECT_EQ(run->removeNegativeMaxFloatPointsWithRemainingPoints(2), 3u);
    EXPECT_EQ(pointsOf(*run), (std::vector<XY>{{1, 1}, {3, 3}}));
    EXPECT_EQ(run->data().byteSize(), 16u);

    auto none = makeRun({{1, 1}, {2, 2}});
    EXPECT_EQ(none->removeNegativeMaxFloatPointsWithRemainingPoints(0), 2u);
    EXPECT_EQ(none->length(), 0u);
}

TEST(LegacyPointSet, LyingCountBetweenKeepsZeroFilledSlots) {
    // Three survivors told as four of five: the fourth slot is the zero fill.
    auto run = makeRun({{1, 1}, {kMark, kMark}, {kMark, 0}, {4, 4}, {5, 5}});
    EXPECT_EQ(run->removeNegativeMaxFloatPointsWithRemainingPoints(4), 1u);
    EXPECT_EQ(pointsOf(*run), (std::vector<XY>{{1, 1}, {4, 4}, {5, 5}, {0, 0}}));
}

TEST(LegacyPointSet, BoundingRectIgnoresPointSize) {
    EXPECT_TRUE(KPointSet::initWithLength(0)->boundingRect().isNull());
    EXPECT_EQ(makeRun({{3, 4}}, 100.0f)->boundingRect(), (Rect{3, 4, 0, 0}));
    EXPECT_EQ(makeRun({{3, 4}, {-1, 10}, {2, -2}}, 100.0f)->boundingRect(), (Rect{-1, -2, 4, 12}));
    // Differences are made in float.
    const Rect r = makeRun({{0.1f, 0}, {0.7f, 0}})->boundingRect();
    EXPECT_EQ(r.width, static_cast<double>(0.7f - 0.1f));
}

// ---- KPointSetArray ----

TEST(LegacyPointSetArray, ListOperations) {
    KPointSetArray array;
    EXPECT_EQ(array.count(), 0u);
    EXPECT_EQ(array.currentPointIndex(), 0);
    array.setCurrentPointIndex(-3);
    EXPECT_EQ(array.currentPointIndex(), -3);

    auto made = array.addPointSetWithSize(2);
    EXPECT_EQ(array.count(), 1u);
    EXPECT_EQ(array.objectAtIndex(0), made);
    EXPECT_EQ(made->length(), 2u);
    EXPECT_EQ(made->pointSize(), 1.0f);

    auto a = makeRun({{1, 1}});
    auto twin = makeRun({{1, 1}});  // equal contents, another object
    array.insertObject(a, 0);
    array.addObject(twin);
    array.addObject(a);
    ASSERT_EQ(array.count(), 4u);
    EXPECT_EQ(array.pointSets()[0], a);

    array.removeObject(a);  // by identity: both occurrences, not the twin
    ASSERT_EQ(array.count(), 2u);
    EXPECT_EQ(array.pointSets()[0], made);
    EXPECT_EQ(array.pointSets()[1], twin);

    KPointSetArray other;
    other.addObject(a);
    array.addObjectsFromArray(other);
    EXPECT_EQ(array.pointSets()[2], a);  // by reference
    array.addObjectsFromArray(array);
    EXPECT_EQ(array.count(), 6u);
    EXPECT_EQ(array.pointSets()[5], a);

    array.removeAllObjects();
    EXPECT_EQ(array.count(), 0u);
}

TEST(LegacyPointSetArray, MergedPointSetTakesColourAndSizeOfTheFirstRun) {
    KPointSetArray array;
    EXPECT_EQ(array.mergedPointSet(), nullptr);

    array.addObject(makeRun({{1, 1}, {2, 2}}, 7.0f, kBlue));
    array.addObject(makeRun({}, 3.0f, kGreen));
    array.addObject(makeRun({{3, 3}}, 2.0f, kGreen));
    auto merged = array.mergedPointSet();
    ASSERT_NE(merged, nullptr);
    EXPECT_EQ(pointsOf(*merged), (std::vector<XY>{{1, 1}, {2, 2}, {3, 3}}));
    EXPECT_EQ(merged->pointSize(), 7.0f);
    EXPECT_TRUE(merged->color().isEqualToColor(kBlue));
    EXPECT_EQ(array.count(), 3u);

    KPointSetArray one;
    auto only = makeRun({{4, 5}}, 2.5f);
    one.addObject(only);
    auto copy = one.mergedPointSet();
    EXPECT_NE(copy, only);
    EXPECT_NE(copy->constBuffer(), only->constBuffer());
    EXPECT_EQ(pointsOf(*copy), pointsOf(*only));
    EXPECT_EQ(copy->pointSize(), 2.5f);
}

TEST(LegacyPointSetArray, ConsolidateKeepsNeighboursOfDifferentPointSize) {
    KPointSetArray array;
    array.addObject(makeRun({{1, 1}}, 2.0f, kBlue));
    array.addObject(makeRun({{2, 2}}, 3.0f, kBlue));
    array.consolidatePointSets();
    EXPECT_EQ(array.count(), 2u);
}

TEST(LegacyPointSetArray, ConsolidateJoinsEqualColourAndSizeIntoTheFirst) {
    KPointSetArray array;
    auto a1 = makeRun({{1, 1}}, 2.0f, kBlue);
    auto a2 = makeRun({{2, 2}}, 2.0f, kBlue);
    auto b = makeRun({{3, 3}}, 2.0f, kGreen);
    auto a3 = makeRun({{4, 4}}, 2.0f, kBlue);
    auto a4 = makeRun({{5, 5}, {6, 6}}, 2.0f, kBlue);
    for (const auto& r : {a1, a2, b, a3, a4})
        array.addObject(r);
    array.consolidatePointSets();
    ASSERT_EQ(array.count(), 3u);
    EXPECT_EQ(array.pointSets()[0], a1);
    EXPECT_EQ(array.pointSets()[1], b);
    EXPECT_EQ(array.pointSets()[2], a3);
    EXPECT_EQ(pointsOf(*a1), (std::vector<XY>{{1, 1}, {2, 2}}));
    EXPECT_EQ(pointsOf(*a3), (std::vector<XY>{{4, 4}, {5, 5}, {6, 6}}));
    EXPECT_EQ(pointsOf(*a2), (std::vector<XY>{{2, 2}}));  // the joined run itself is unchanged
}

TEST(LegacyPointSetArray, ConsolidateComparesAlphaAndFewerThanTwoIsNothing) {
    KPointSetArray array;
    array.addObject(makeRun({{1, 1}}, 1.0f, {0, 0, 1, 1.0}));
    array.addObject(makeRun({{2, 2}}, 1.0f, {0, 0, 1, 0.5}));
    array.consolidatePointSets();
    EXPECT_EQ(array.count(), 2u);

    KPointSetArray one;
    one.addObject(makeRun({{1, 1}}));
    one.consolidatePointSets();
    EXPECT_EQ(one.count(), 1u);
    KPointSetArray none;
    none.consolidatePointSets();
    EXPECT_EQ(none.count(), 0u);
}

// The plain algorithm, one append and one removal at a time.
void consolidateOneByOne(std::vector<KPointSetPtr>& runs) {
    if (runs.size() < 2) return;
    KPointSetPtr base = runs[0];
    std::size_t i = 1;
    while (i < runs.size()) {
        if (runs[i]->color().isEqualToColor(base->color()) && runs[i]->pointSize() == base->pointSize()) {
            base->addPointsFromSet(*runs[i]);
            runs.erase(runs.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
            base = runs[i];
            ++i;
        }
    }
}

TEST(LegacyPointSetArray, ConsolidateInOnePassEqualsAppendingOneByOne) {
    // Random lists over a small pool, runs repeated on purpose, compared with the one-by-one algorithm.
    std::mt19937 rng(11);
    for (int round = 0; round < 300; ++round) {
        const int poolSize = 1 + static_cast<int>(rng() % 5);
        std::vector<KPointSetPtr> mine, reference;
        for (int k = 0; k < poolSize; ++k) {
            std::vector<XY> pts;
            const int n = static_cast<int>(rng() % 3);
            for (int j = 0; j < n; ++j)
                pts.emplace_back(static_cast<float>(k), static_cast<float>(j));
            const KColor c = rng() % 2 ? kBlue : kGreen;
            const float size = rng() % 2 ? 1.0f : 2.0f;
            mine.push_back(makeRun(pts, size, c));
            reference.push_back(makeRun(pts, size, c));
        }
        const int listSize = static_cast<int>(rng() % 8);
        std::vector<int> recipe;
        for (int j = 0; j < listSize; ++j)
            recipe.push_back(static_cast<int>(rng() % poolSize));

        KPointSetArray array;
        std::vector<KPointSetPtr> refList;
        for (int idx : recipe) {
            array.addObject(mine[idx]);
            refList.push_back(reference[idx]);
        }
        array.consolidatePointSets();
        consolidateOneByOne(refList);

        ASSERT_EQ(array.count(), refList.size()) << round;
        for (std::size_t j = 0; j < refList.size(); ++j) {
            int mineIdx = -1, refIdx = -2;
            for (int k = 0; k < poolSize; ++k) {
                if (mine[k] == array.pointSets()[j]) mineIdx = k;
                if (reference[k] == refList[j]) refIdx = k;
            }
            ASSERT_EQ(mineIdx, refIdx) << round;
        }
        for (int k = 0; k < poolSize; ++k)
            ASSERT_EQ(pointsOf(*mine[k]), pointsOf(*reference[k])) << round;
    }
}

TEST(LegacyPointSetArray, ApplyDeltaNarrowsOnceAndAddsInFloat) {
    KPointSetArray array;
    array.addObject(makeRun({{1, 2}, {3, 4}}));
    array.addObject(makeRun({{0.1f, 0}}));
    array.applyDelta({0.1, -0.2});
    EXPECT_EQ(pointsOf(*array.pointSets()[0]), (std::vector<XY>{{1 + 0.1f, 2 - 0.2f}, {3 + 0.1f, 4 - 0.2f}}));
    EXPECT_EQ(pointsOf(*array.pointSets()[1]), (std::vector<XY>{{0.1f + 0.1f, 0 - 0.2f}}));
}

TEST(LegacyPointSetArray, BoundingRect) {
    KPointSetArray array;
    EXPECT_TRUE(array.boundingRect().isNull());
    array.addPointSetWithSize(0);
    array.addPointSetWithSize(0);
    EXPECT_TRUE(array.boundingRect().isNull());
    array.addObject(makeRun({{1, 2}}));
    array.addObject(makeRun({{5, -3}, {4, 4}}));
    EXPECT_EQ(array.boundingRect(), (Rect{1, -3, 4, 7}));
}

TEST(LegacyPointSetArray, MarksSumOverRuns) {
    KPointSetArray array;
    array.addObject(makeRun({{1, 1}, {50, 50}}));
    array.addObject(makeRun({{2, 2}, {5, 5}}, 1000.0f));
    EXPECT_EQ(array.markPointsInRect({0, 0, 3, 3}), 2u);
    EXPECT_EQ(pointsOf(*array.pointSets()[1])[0], (XY{kMark, kMark}));
    // Centre test: the big dot at (50, 50) does not reach in.
    EXPECT_EQ(array.markPointsInCircle({3, 3, 4, 4}), 1u);
    EXPECT_EQ(pointsOf(*array.pointSets()[1])[1], (XY{kMark, kMark}));
    EXPECT_EQ(pointsOf(*array.pointSets()[0])[1], (XY{50, 50}));
}

TEST(LegacyPointSetArray, RemoveEmptyPointSets) {
    KPointSetArray array;
    auto full = makeRun({{1, 1}});
    array.addPointSetWithSize(0);
    array.addPointSetWithSize(0);
    array.addObject(full);
    array.addPointSetWithSize(0);
    array.removeEmptyPointSets();
    ASSERT_EQ(array.count(), 1u);
    EXPECT_EQ(array.pointSets()[0], full);
}

TEST(LegacyPointSetArray, RemoveNegativeMaxFloatPointsDropsEmptyRunsOnlyWhenSomethingWent) {
    KPointSetArray array;
    array.addPointSetWithSize(0);
    array.addObject(makeRun({{1, 1}}));
    EXPECT_EQ(array.removeNegativeMaxFloatPoints(), 0u);
    EXPECT_EQ(array.count(), 2u);

    array.addObject(makeRun({{kMark, kMark}, {kMark, 3}, {4, kMark}}));
    array.addObject(makeRun({{kMark, kMark}}));
    EXPECT_EQ(array.removeNegativeMaxFloatPoints(), 3u);
    ASSERT_EQ(array.count(), 2u);
    EXPECT_EQ(pointsOf(*array.pointSets()[0]), (std::vector<XY>{{1, 1}}));
    EXPECT_EQ(pointsOf(*array.pointSets()[1]), (std::vector<XY>{{4, kMark}}));
}

TEST(LegacyPointSetArray, RemovePointsInRect) {
    KPointSetArray array;
    array.addPointSetWithSize(0);
    array.addObject(makeRun({{1, 1}, {20, 20}}));
    EXPECT_FALSE(array.removePointsInRect({100, 100, 5, 5}));
    EXPECT_EQ(array.count(), 2u);  // nothing removed: the empty run stays

    array.addObject(makeRun({{2, 2}}));
    EXPECT_TRUE(array.removePointsInRect({0, 0, 5, 5}));
    ASSERT_EQ(array.count(), 1u);
    EXPECT_EQ(pointsOf(*array.pointSets()[0]), (std::vector<XY>{{20, 20}}));
}

TEST(LegacyPointSetArray, RemovePointsInCircle) {
    KPointSetArray array;
    array.addPointSetWithSize(0);
    array.addObject(makeRun({{5, 5}, {5, 11}}, 1000.0f));
    EXPECT_FALSE(array.removePointsInCircle({100, 100, 10, 10}));
    EXPECT_EQ(array.count(), 2u);

    array.addObject(makeRun({{4, 4}}));
    EXPECT_TRUE(array.removePointsInCircle({0, 0, 10, 10}));
    ASSERT_EQ(array.count(), 1u);
    EXPECT_EQ(pointsOf(*array.pointSets()[0]), (std::vector<XY>{{5, 11}}));
}

}  // namespace
}  // namespace velumen
