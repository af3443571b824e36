#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include "ink/KVSPointSetArray.h"

using namespace velumen;

namespace {

KVSPointSetPtr runOf(const std::vector<float>& xys, KColor color = KVSPointSet::defaultColor()) {
    auto run = KVSPointSet::initWithData(PointBuffer::copyOf(xys.data(), xys.size() * sizeof(float)));
    run->setColor(color);
    return run;
}

std::vector<float> floatsOf(const KVSPointSet& run) {
    return std::vector<float>(run.constBuffer(), run.constBuffer() + run.length() * 3);
}

// The touching test written out plainly, one point at a time, as the reference for the optimised paths.
bool referenceTouches(float px, float py, float size, const Rect& c) {
    const float left = static_cast<float>(c.x), right = static_cast<float>(c.x + c.width);
    const float top = static_cast<float>(c.y), bottom = static_cast<float>(c.y + c.height);
    const float r = static_cast<float>((c.width < c.height ? c.width : c.height) * 0.5);
    const float cx = (left + right) * 0.5f, cy = (top + bottom) * 0.5f;
    if (!(left - 128 <= px && px <= right + 128 && top - 128 <= py && py <= bottom + 128)) return false;
    const float dx = px - cx, dy = py - cy;
    const float d2 = std::fma(dx, dx, dy * dy);
    const float s = size * 0.5f;
    return d2 <= (r + s) * (r + s);
}

constexpr KColor kBlue{0, 0, 1, 1};
constexpr KColor kGreen{0, 1, 0, 1};

}  // namespace

TEST(KVSPointSet, ConstructionCopiesAndTheNullRun) {
    // A tail shorter than one point is kept in the buffer and ignored.
    std::vector<std::uint8_t> bytes(1199, 0);
    auto odd = KVSPointSet::initWithData(PointBuffer::copyOf(bytes.data(), bytes.size()));
    EXPECT_EQ(odd->length(), 99u);
    EXPECT_EQ(odd->data().byteSize(), 1199u);
    EXPECT_TRUE(odd->boundingRect().width == 0);

    auto zeroed = KVSPointSet::initWithLength(4);
    EXPECT_EQ(floatsOf(*zeroed), std::vector<float>(12, 0.0f));
    EXPECT_TRUE(zeroed->color().isEqualToColor({1.0, 0.1f, 0.1f, 1.0}));
    EXPECT_FALSE(zeroed->color().isEqualToColor({1.0, 0.1, 0.1, 1.0}));

    auto a = runOf({1, 2, 3, 4, 5, 6}, kBlue);
    auto copy = KVSPointSet::initWithPointSet(*a);
    EXPECT_EQ(floatsOf(*copy), floatsOf(*a));
    EXPECT_NE(copy->constBuffer(), a->constBuffer());
    copy->buffer()[0] = 42;
    EXPECT_EQ(a->constBuffer()[0], 1.0f);

    a->addPointsFromSet(*runOf({7, 8, 9}, kGreen));
    EXPECT_EQ(floatsOf(*a), (std::vector<float>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_TRUE(a->color().isEqualToColor(kBlue));

    EXPECT_TRUE(KVSPointSet::null()->isNull());
    EXPECT_EQ(KVSPointSet::null(), KVSPointSet::null());
    EXPECT_EQ(KVSPointSet::null()->length(), 0u);
    EXPECT_FALSE(KVSPointSet::null()->data().isPresent());
    EXPECT_FALSE(KVSPointSet::initWithLength(0)->isNull());
}

TEST(KVSPointSet, RectangleAndCircleTests) {
    // Edges count; a rectangle of negative width matches nothing.
    auto run = runOf({0, 0, 1, 10, 10, 1, 10.5f, 5, 1, 5, 10.0001f, 1});
    EXPECT_EQ(run->markPointsInRect({0, 0, 10, 10}), 2u);
    EXPECT_EQ(run->constBuffer()[0], KVSPointSet::kRemovalMark);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(KVSPointSet::kRemovalMark), 0xFF7FFFFFu);
    EXPECT_EQ(runOf({5, 5, 1})->markPointsInRect({10, 0, -10, 10}), 0u);

    // The circle of a 10 x 40 rectangle has radius 5 around the rectangle's centre.
    auto centres = runOf({5, 20, 1, 9.9f, 20, 1, 5, 25.5f, 1, 5, 24.9f, 1});
    EXPECT_EQ(centres->markPointsWithCentersInCircle({0, 0, 10, 40}), 3u);
    EXPECT_EQ(centres->constBuffer()[3 * 2], 5.0f);

    // Touching counts the dot's radius: size 20 at distance 30 from a stamp of radius 25 touches.
    EXPECT_TRUE(runOf({30, 0, 20})->isTouchingCircle({-25, -25, 50, 50}));
    EXPECT_TRUE(runOf({35, 0, 20})->isTouchingCircle({-25, -25, 50, 50}));
    EXPECT_FALSE(runOf({35.01f, 0, 20})->isTouchingCircle({-25, -25, 50, 50}));
    // The 128-unit window is a hard limit: a dot of size 500 whose centre is 200 units out never touches.
    EXPECT_FALSE(runOf({210, 5, 500})->isTouchingCircle({0, 0, 10, 10}));
    EXPECT_TRUE(runOf({130, 5, 500})->isTouchingCircle({0, 0, 10, 10}));
    // A marked point is not recognised as such: it simply lies far outside.
    auto twice = runOf({5, 5, 2});
    EXPECT_EQ(twice->markPointsTouchingCircle({0, 0, 10, 10}), 1u);
    EXPECT_EQ(twice->markPointsTouchingCircle({0, 0, 10, 10}), 0u);
}

TEST(KVSPointSet, CompactionTrustsTheCountAndStaysInBounds) {
    auto run = runOf({1, 1, 1, 2, 2, 2, 3, 3, 3});
    run->buffer()[3] = KVSPointSet::kRemovalMark;
    // With remaining equal to length nothing happens, marks included.
    EXPECT_EQ(run->removeNegativeMaxFloatPointsWithRemainingPoints(3), 0u);
    EXPECT_EQ(run->constBuffer()[3], KVSPointSet::kRemovalMark);
    // A count too large leaves zeroed points at the end; one too small cuts the survivors short.
    auto generous = KVSPointSet::initWithPointSet(*run);
    EXPECT_EQ(generous->removeNegativeMaxFloatPointsWithRemainingPoints(2), 1u);
    EXPECT_EQ(floatsOf(*generous), (std::vector<float>{1, 1, 1, 3, 3, 3}));
    auto stingy = KVSPointSet::initWithPointSet(*run);
    EXPECT_EQ(stingy->removeNegativeMaxFloatPointsWithRemainingPoints(1), 2u);
    EXPECT_EQ(floatsOf(*stingy), (std::vector<float>{1, 1, 1}));
    auto lying = runOf({1, 1, 1, 2, 2, 2, 3, 3, 3});
    lying->buffer()[0] = KVSPointSet::kRemovalMark;
    lying->buffer()[3] = KVSPointSet::kRemovalMark;
    EXPECT_EQ(lying->removeNegativeMaxFloatPointsWithRemainingPoints(2), 1u);
    EXPECT_EQ(floatsOf(*lying), (std::vector<float>{3, 3, 3, 0, 0, 0}));
    EXPECT_EQ(run->removeNegativeMaxFloatPoints(), 1u);
    EXPECT_EQ(floatsOf(*run), (std::vector<float>{1, 1, 1, 3, 3, 3}));

    EXPECT_TRUE(runOf({})->boundingRect().isNull());
    EXPECT_EQ(runOf({4, 5, 100})->boundingRect(), (Rect{4, 5, 0, 0}));
    EXPECT_EQ(runOf({4, 5, 100, -1, 9, 1})->boundingRect(), (Rect{-1, 5, 5, 4}));
}

TEST(KVSPointSetArray, ListOperations) {
    KVSPointSetArray list;
    EXPECT_EQ(list.mergedPointSet(), nullptr);
    EXPECT_TRUE(list.boundingRect().isNull());
    list.addObject(runOf({}));
    list.addObject(runOf({}));
    EXPECT_TRUE(list.boundingRect().isNull());

    KVSPointSetArray one;
    one.addObject(runOf({1, 2, 3}, kBlue));
    auto merged = one.mergedPointSet();
    EXPECT_NE(merged, one.objectAtIndex(0));
    EXPECT_EQ(floatsOf(*merged), floatsOf(*one.objectAtIndex(0)));

    // Colours A, A, B, A consolidate to A, B, A, keeping the first run of each stretch.
    KVSPointSetArray page;
    auto a1 = runOf({1, 1, 1}, kBlue);
    page.addObject(a1);
    page.addObject(runOf({2, 2, 2, 3, 3, 3}, kBlue));
    page.addObject(runOf({4, 4, 4}, kGreen));
    page.addObject(runOf({5, 5, 5}, kBlue));
    auto mergedAll = page.mergedPointSet();
    EXPECT_EQ(mergedAll->length(), 5u);
    EXPECT_TRUE(mergedAll->color().isEqualToColor(kBlue));
    page.consolidatePointSets();
    ASSERT_EQ(page.count(), 3u);
    EXPECT_EQ(page.objectAtIndex(0), a1);
    EXPECT_EQ(floatsOf(*a1), (std::vector<float>{1, 1, 1, 2, 2, 2, 3, 3, 3}));
    EXPECT_TRUE(page.objectAtIndex(2)->color().isEqualToColor(kBlue));

    // Deep copy shares no run; removeObject goes by identity.
    auto copy = KVSPointSetArray::initWithPointSetArray(page);
    EXPECT_NE(copy->objectAtIndex(0), page.objectAtIndex(0));
    EXPECT_EQ(floatsOf(*copy->objectAtIndex(0)), floatsOf(*a1));
    copy->removeObject(a1);
    EXPECT_EQ(copy->count(), 3u);
    page.removeObject(a1);
    EXPECT_EQ(page.count(), 2u);

    page.applyDelta({0.5, -1});
    EXPECT_EQ(floatsOf(*page.objectAtIndex(0)), (std::vector<float>{4.5f, 3, 4}));
    EXPECT_EQ(page.boundingRect(), (Rect{4.5, 3, 1, 1}));
}

TEST(KVSPointSetArray, ErasingByCircle) {
    KVSPointSetArray page;
    auto hit = runOf({5, 5, 2, 500, 500, 2}, kBlue);
    auto gone = runOf({6, 6, 2}, KColor{0, 0, 1, 0.2});
    auto far = runOf({900, 900, 2}, kGreen);
    page.addObject(hit);
    page.addObject(gone);
    page.addObject(far);
    const float* farBuffer = far->constBuffer();
    EXPECT_EQ(page.topmostPointSetInCircle({0, 0, 10, 10}), gone);
    EXPECT_EQ(page.topmostPointSetInCircle({2000, 0, 10, 10}), nullptr);

    // With the flag clear the emptied run stays in place, and the call still reports the removal.
    EXPECT_TRUE(page.removePointsInCircle({0, 0, 10, 10}, false));
    ASSERT_EQ(page.count(), 3u);
    EXPECT_EQ(gone->length(), 0u);
    EXPECT_EQ(hit->length(), 1u);
    EXPECT_EQ(far->constBuffer(), farBuffer);
    EXPECT_FALSE(page.removePointsInCircle({0, 0, 10, 10}, true));
    EXPECT_EQ(page.count(), 3u);
    page.removeEmptyPointSets();
    EXPECT_EQ(page.count(), 2u);

    // The colour form compares r, g, b as floats and ignores alpha.
    KVSPointSetArray tinted;
    tinted.addObject(runOf({5, 5, 2}, KColor{0.1, 0.2, 0.3, 0.05}));
    tinted.addObject(runOf({5, 5, 2}, KColor{0.1, 0.2, 0.31, 1}));
    EXPECT_TRUE(tinted.removePointsInCircle({0, 0, 10, 10}, true, KColor{0.1f, 0.2f, 0.3f, 1}));
    ASSERT_EQ(tinted.count(), 1u);
    EXPECT_EQ(tinted.objectAtIndex(0)->color().b, 0.31);
}

// The optimised eraser (run skipping by cached extents, vector clones) must give exactly what a plain
// loop over every point gives, including for runs with NaN and infinite coordinates and earlier marks.
TEST(KVSPointSetArray, EraserMatchesThePlainLoop) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> coord(-200, 1800);
    std::uniform_real_distribution<float> size(0.5f, 60);
    KVSPointSetArray page;
    for (int r = 0; r < 60; ++r) {
        std::vector<float> xys;
        const float ox = coord(rng), oy = coord(rng);
        for (int i = 0; i < 200; ++i) {
            xys.push_back(ox + static_cast<float>(i % 37));
            xys.push_back(oy + static_cast<float>(i / 7));
            xys.push_back(size(rng));
        }
        if (r % 13 == 0) xys[0] = std::nanf("");
        if (r % 17 == 0) xys[4] = -INFINITY;
        if (r % 11 == 0) xys[6] = KVSPointSet::kRemovalMark;
        page.addObject(runOf(xys));
    }
    for (int stamp = 0; stamp < 300; ++stamp) {
        const float w = stamp % 3 ? 50.0f : 7.0f;
        const Rect circle{coord(rng), coord(rng), w, stamp % 5 ? w : w * 3};
        auto expected = KVSPointSetArray::initWithPointSetArray(page);
        std::vector<const float*> buffers;
        std::vector<std::uint64_t> lengths;
        for (const auto& run : page.pointSets()) {
            buffers.push_back(run->constBuffer());
            lengths.push_back(run->length());
        }
        bool expectRemoved = false;
        for (const auto& run : expected->pointSets()) {
            // Survivors in order; an old mark is dropped by the compaction too, which trusts the count of
            // newly touched points and so leaves zeroed points at the end.
            std::vector<float> kept;
            std::uint64_t touched = 0;
            const float* p = run->constBuffer();
            for (std::uint64_t i = 0; i < run->length(); ++i, p += 3) {
                if (referenceTouches(p[0], p[1], p[2], circle)) {
                    ++touched;
                } else if (p[0] != KVSPointSet::kRemovalMark) {
                    kept.insert(kept.end(), p, p + 3);
                }
            }
            if (touched == 0) continue;
            expectRemoved = true;
            kept.resize((run->length() - touched) * 3, 0.0f);
            run->setData(PointBuffer::copyOf(kept.data(), kept.size() * sizeof(float)));
        }
        ASSERT_EQ(page.removePointsInCircle(circle, false), expectRemoved);
        ASSERT_EQ(page.count(), expected->count());
        for (std::size_t i = 0; i < page.count(); ++i) {
            const auto& run = *page.objectAtIndex(i);
            ASSERT_EQ(run.length(), expected->objectAtIndex(i)->length())
                << "stamp " << stamp << " run " << i;
            ASSERT_EQ(0, std::memcmp(run.constBuffer(), expected->objectAtIndex(i)->constBuffer(),
                                     run.length() * 12));
            // A run that lost nothing keeps its very buffer.
            if (lengths[i] == run.length()) {
                ASSERT_EQ(run.constBuffer(), buffers[i]);
            }
        }
    }
}

TEST(KVSPointSetArray, SvgText) {
    const std::string header =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\r\n"
        "<!DOCTYPE svg PUBLIC \"-//W3C//DTD SVG 1.1//EN\" "
        "\"http://www.w3.org/Graphics/SVG/1.1/DTD/svg11.dtd\">\r\n"
        "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"1536\" height=\"1920\">\r\n";
    KVSPointSetArray empty;
    EXPECT_EQ(empty.svgRepresentation(), header + "</svg>");

    KVSPointSetArray page;
    page.addObject(runOf({1.005f, -0.004f, 10, 1536, 1920.125f, 0.5f}, KColor{1.0, 0.5, 0.0, 0.35}));
    // r = size * 0.6 in float; 1.005f prints from its exact binary value.
    EXPECT_EQ(
        page.svgRepresentation(),
        header +
            "<circle cx=\"1.00\" cy=\"-0.00\" r=\"6.00\" fill=\"#FF8000\" fill-opacity=\"0.3\" />\r\n"
            "<circle cx=\"1536.00\" cy=\"1920.12\" r=\"0.30\" fill=\"#FF8000\" fill-opacity=\"0.3\" />\r\n"
            "</svg>");
}

namespace {

// The extent of a run's centres and its largest size, computed plainly from the stored floats.
KVSPointSet::CentreBounds plainBounds(const KVSPointSet& run) {
    KVSPointSet::CentreBounds b{INFINITY, INFINITY, -INFINITY, -INFINITY, 0};
    const float* p = run.constBuffer();
    for (std::uint64_t i = 0; i < run.length(); ++i, p += 3) {
        if (!std::isnan(p[0])) b.minX = std::min(b.minX, p[0]), b.maxX = std::max(b.maxX, p[0]);
        if (!std::isnan(p[1])) b.minY = std::min(b.minY, p[1]), b.maxY = std::max(b.maxY, p[1]);
        b.maxSize = std::isnan(p[2]) ? INFINITY : std::max(b.maxSize, p[2]);
    }
    return b;
}

bool contains(const KVSPointSet::CentreBounds& outer, const KVSPointSet::CentreBounds& inner) {
    return outer.minX <= inner.minX && outer.minY <= inner.minY && outer.maxX >= inner.maxX &&
           outer.maxY >= inner.maxY && outer.maxSize >= inner.maxSize;
}

}  // namespace

// Every way of changing a run's points gives it a new version and leaves no stale extent behind: the
// cached one equals a fresh computation (or, after the eraser's marks, holds it).
TEST(KVSPointSet, EveryChangeOfThePointsRenewsTheVersionAndTheExtent) {
    struct Case {
        const char* path;
        std::function<void(KVSPointSetArray&, const KVSPointSetPtr&)> change;
        bool exact;
    };
    const std::vector<Case> cases = {
        {"write through buffer", [](auto&, const auto& run) { run->buffer()[3] = 700; }, true},
        {"grow a dot through buffer", [](auto&, const auto& run) { run->buffer()[8] = 80; }, true},
        {"replace the data",
         [](auto&, const auto& run) {
             const float xys[] = {-50, -60, 1};
             run->setData(PointBuffer::copyOf(xys, sizeof xys));
         },
         true},
        {"append", [](auto&, const auto& run) { run->addPointsFromSet(*runOf({400, -9, 33})); }, true},
        {"mark in a rectangle", [](auto&, const auto& run) { run->markPointsInRect({0, 0, 50, 50}); }, true},
        {"mark centres in a circle",
         [](auto&, const auto& run) { run->markPointsWithCentersInCircle({5, 15, 10, 10}); }, true},
        {"mark touching a circle",
         [](auto&, const auto& run) { run->markPointsTouchingCircle({5, 15, 10, 10}); }, false},
        {"remove in a rectangle", [](auto&, const auto& run) { run->removePointsInRect({20, 0, 20, 20}); }, true},
        {"remove touching a circle",
         [](auto&, const auto& run) { run->removePointsTouchingCircle({-8, 35, 10, 10}); }, true},
        {"compact marks",
         [](auto&, const auto& run) {
             run->buffer()[0] = KVSPointSet::kRemovalMark;
             run->centreBounds();
             run->removeNegativeMaxFloatPoints();
         },
         true},
        {"move the list", [](auto& list, auto&) { list.applyDelta({100, -7.5}); }, true},
        {"consolidate the list",
         [](auto& list, auto&) {
             list.addObject(runOf({1000, 1000, 50}, kBlue));
             list.consolidatePointSets();
         },
         true},
        {"erase from the list", [](auto& list, auto&) { list.removePointsInCircle({5, 15, 10, 10}, false); }, true},
        {"erase by colour from the list",
         [](auto& list, auto&) { list.removePointsInCircle({5, 15, 10, 10}, false, kBlue); }, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        KVSPointSetArray list;
        auto run = runOf({10, 20, 4, 30, 5, 9, -3, 40, 2}, kBlue);
        list.addObject(run);
        EXPECT_EQ(run->centreBounds().maxSize, 9.0f);
        const std::uint64_t version = run->version();
        c.change(list, run);
        EXPECT_NE(run->version(), version);
        const KVSPointSet::CentreBounds cached = run->centreBounds(), fresh = plainBounds(*run);
        if (c.exact) {
            EXPECT_EQ(std::tie(cached.minX, cached.minY, cached.maxX, cached.maxY, cached.maxSize),
                      std::tie(fresh.minX, fresh.minY, fresh.maxX, fresh.maxY, fresh.maxSize));
        } else {
            EXPECT_TRUE(contains(cached, fresh));
        }
        // The blocks hold their stretches too.
        for (const KVSPointSet::CentreBounds& block : run->blockBounds())
            EXPECT_TRUE(contains(run->centreBounds(), block));
    }
}

TEST(KVSPointSet, VersionsNameThePointsAndReadersKeepThem) {
    auto a = runOf({10, 20, 4, 30, 5, 9}, kBlue);
    auto b = runOf({10, 20, 4, 30, 5, 9}, kBlue);
    EXPECT_NE(a->version(), b->version());
    // A copy has the same points, so the same version, until either changes; then neither has it again.
    auto copy = KVSPointSet::initWithPointSet(*a);
    EXPECT_EQ(a->version(), copy->version());
    EXPECT_EQ(copy->centreBounds().maxSize, 9.0f);
    auto second = KVSPointSet::initWithPointSet(*copy);
    second->addPointsFromSet(*b);
    EXPECT_NE(second->version(), a->version());
    EXPECT_NE(second->version(), b->version());

    // Hit tests that find nothing, reads and a new colour leave the version as it is; so does a change of
    // the copy for the original.
    const std::uint64_t version = a->version();
    const Rect away{500, 500, 10, 10};
    a->centreBounds();
    EXPECT_FALSE(a->isTouchingCircle(away) || a->removePointsInRect(away));
    EXPECT_EQ(a->markPointsTouchingCircle(away) + a->markPointsInRect(away), 0u);
    EXPECT_EQ(a->removeNegativeMaxFloatPoints(), 0u);
    a->boundingRect();
    a->setColor(kGreen);
    copy->buffer()[0] = -1;
    EXPECT_EQ(a->version(), version);
    EXPECT_NE(copy->version(), version);
    EXPECT_EQ(a->centreBounds().minX, 10.0f);

    // The largest dot: at least 0, and infinite when a size is not a number, so that it is never passed
    // over.
    EXPECT_EQ(runOf({1, 1, -5})->centreBounds().maxSize, 0.0f);
    EXPECT_EQ(runOf({1, 1, 3, 2, 2, std::nanf(""), 3, 3, 1})->centreBounds().maxSize, INFINITY);
    std::vector<float> long_(3 * 1000, 1.0f);
    long_[3 * 777 + 2] = 250;
    EXPECT_EQ(runOf(long_)->centreBounds().maxSize, 250.0f);
}
