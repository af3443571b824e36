// The texture budget at both sides of every threshold, the page table of limits, and where pictures go
// (fit and fill).
#include <gtest/gtest.h>

#include <cmath>

#include "objects/ImageBudget.h"
#include "objects/ImageGeometry.h"

namespace velumen {
namespace {

constexpr std::uint64_t MB = 1000000;

struct BudgetCase {
    const char* name;
    std::uint64_t total;
    std::uint64_t available;
    std::uint64_t dataSize;
    int count;
    float expected;
};

TEST(ImageBudget, SideLimitFollowsFreeMemoryAtEveryThreshold) {
    const BudgetCase cases[] = {
        // count x 3200000 + base below free: no limit.
        {"plenty", 4000 * MB, 2000 * MB, 10 * MB, 10, 0},
        // Free memory is compared as a float: 1 byte more is the same float, 4 bytes more is above.
        {"one byte above the line is the same float", 4000 * MB, 10 * 3200000 + 15 * MB + 1, 10 * MB, 10, 894},
        {"just above the full-size line", 4000 * MB, 10 * 3200000 + 15 * MB + 4, 10 * MB, 10, 0},
        // At the line exactly it is no longer "less than": the square share.
        {"at the full-size line", 4000 * MB, 10 * 3200000 + 15 * MB, 10 * MB, 10, 894},
        // Free memory under the book and the reserve: the floor, never 0.
        {"free under the book, large machine", 2000 * MB, 14 * MB, 10 * MB, 3, 400},
        {"free under the book, small machine", 1000 * MB, 14 * MB, 10 * MB, 3, 200},
        {"free equal to the base is not below it", 1000 * MB, 15 * MB, 10 * MB, 3, 200},
        // The share: floor(sqrt((free - base) / n / 4)).
        {"share of 105 MB among 40", 4000 * MB, 105 * MB + 5 * MB, 0, 40, 810},
        {"share under the floor gives the floor", 4000 * MB, 6 * MB, 0, 10, 400},
        {"share under the small floor", 500 * MB, 6 * MB, 0, 10, 200},
        {"total exactly 1000000000 is small", 1000 * MB, 6 * MB, 0, 10, 200},
        {"total just above 1000000000 is large", 1000 * MB + 1, 6 * MB, 0, 10, 400},
    };
    for (const BudgetCase& c : cases) {
        SCOPED_TRACE(c.name);
        const float side = ImageBudget::getMaxImageSizeForCount(c.count, c.dataSize, {c.total, c.available});
        if (c.expected == 0) {
            EXPECT_EQ(side, 0.0f);
        } else {
            const double free = double(float(c.available)), base = double(float(double(c.dataSize) + 5000000.0));
            const float share = free < base ? 0.0f : float(std::floor(std::sqrt((free - base) / c.count * 0.25)));
            EXPECT_EQ(side, std::max(share, c.total > 1000 * MB ? 400.0f : 200.0f));
            EXPECT_NEAR(side, c.expected, 1.0f);
        }
    }
}

TEST(ImageBudget, InsertionAndMasterLimits) {
    EXPECT_EQ(ImageBudget::insertionLimit({2049024000 - 1, 0}), 1024);
    EXPECT_EQ(ImageBudget::insertionLimit({2049024000, 0}), 2048);
    EXPECT_EQ(ImageBudget::maxMasterImageSize(1.0), 1024);
    EXPECT_EQ(ImageBudget::maxMasterImageSize(1.99), 1024);
    EXPECT_EQ(ImageBudget::maxMasterImageSize(2.0), 2048);
}

// Memory that shrinks with every look, so that each recomputation shows in the limits.
struct ShrinkingMemory {
    std::uint64_t total;
    std::uint64_t available;
    int looks = 0;
    MemoryFigures operator()() {
        ++looks;
        const MemoryFigures figures{total, available};
        available -= 1 * MB;
        return figures;
    }
};

std::vector<int> recomputedIndexes(std::uint64_t total, int count) {
    ShrinkingMemory memory{total, 40 * MB};
    // Tight memory: every look gives a share that differs from the last.
    const std::vector<float> limits = ImageBudget::pageTextureLimits(count, 0, [&] { return memory(); });
    std::vector<int> changed;
    for (int i = 1; i < count; ++i)
        if (limits[std::size_t(i)] != limits[std::size_t(i - 1)]) changed.push_back(i);
    return changed;
}

TEST(ImageBudget, PageTableRecomputesOnlyAtItsIndexes) {
    // The first three are never recomputed; which later indexes are depends on the machine's memory.
    struct Row {
        std::uint64_t total;
        int first, last;
    };
    const Row rows[] = {{200 * MB, 3, 10}, {500 * MB, 11, 25}, {1500 * MB, 11, 50}, {3000 * MB, 11, 59}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.total);
        const std::vector<int> changed = recomputedIndexes(row.total, 60);
        ASSERT_FALSE(changed.empty());
        EXPECT_EQ(changed.front(), row.first);
        EXPECT_LE(changed.back(), row.last);
        for (int i : changed) EXPECT_GE(i, 3);
    }
}

TEST(ImageBudget, FirstImagesKeepFullSizeAndAreNeverRecomputed) {
    int looks = 0;
    auto tight = [&] {
        ++looks;
        return MemoryFigures{200 * MB, 1 * MB};
    };
    // Fewer than 6 pictures on a small machine: the first three at full size even with no memory free.
    const std::vector<float> five = ImageBudget::pageTextureLimits(5, 0, tight);
    ASSERT_EQ(five.size(), 5u);
    EXPECT_EQ(five[0], 0.0f);
    EXPECT_EQ(five[1], 0.0f);
    EXPECT_EQ(five[2], 0.0f);
    EXPECT_EQ(five[3], 200.0f);
    // Six or more: the budget of all of them from the start.
    const std::vector<float> six = ImageBudget::pageTextureLimits(6, 0, tight);
    EXPECT_EQ(six[0], 200.0f);
    // A large machine never looks for the first 11.
    looks = 0;
    auto large = [&] {
        ++looks;
        return MemoryFigures{8000 * MB, 1 * MB};
    };
    const std::vector<float> ten = ImageBudget::pageTextureLimits(10, 0, large);
    for (float limit : ten) EXPECT_EQ(limit, 0.0f);
    EXPECT_EQ(looks, 1);  // the total, once
    // A small machine beyond index 10 keeps the limit it last had.
    ShrinkingMemory shrinking{200 * MB, 40 * MB};
    const std::vector<float> many = ImageBudget::pageTextureLimits(20, 0, [&] { return shrinking(); });
    for (int i = 11; i < 20; ++i) EXPECT_EQ(many[std::size_t(i)], many[10]);
}

TEST(ImageBudget, SystemFiguresComeFromTheKernelUnlessReplaced) {
    const MemoryFigures system = readSystemMemory();
    EXPECT_GT(system.total, 0u);
    EXPECT_LE(system.available, system.total);
    setMemoryFiguresSource([] { return MemoryFigures{123, 45}; });
    EXPECT_EQ(currentMemoryFigures().total, 123u);
    setMemoryFiguresSource(nullptr);
    EXPECT_GT(currentMemoryFigures().total, 1000u);
}

TEST(ImageGeometry, FitAndFillRects) {
    // Fit keeps the target's origin; equal sizes give the target.
    EXPECT_EQ(fitSize({100, 50}, {100, 50}), (Size{100, 50}));
    EXPECT_EQ(fitRect({200, 100}, {10, 20, 768, 960}), (Rect{10, 20, 768, 384}));
    EXPECT_EQ(fitRect({100, 400}, {10, 20, 768, 960}), (Rect{10, 20, 240, 960}));
    EXPECT_EQ(fitRect({0, 100}, {10, 20, 768, 960}), (Rect{10, 20, 768, 960}));
    // Fill: the greater ratio, centred on the axis with slack, offsets without the target's origin.
    EXPECT_EQ(fillRect({100, 100}, {0, 0, 1536, 1920}), (Rect{-192, 0, 1920, 1920}));
    const Rect wide = fillRect({400, 100}, {-20, -20, 1576, 1960});
    EXPECT_NEAR(wide.x, (1576 - 7840) / 2.0, 1e-9);
    EXPECT_EQ(wide.y, -20);
    EXPECT_NEAR(wide.width, 7840, 1e-9);
    EXPECT_NEAR(wide.height, 1960, 1e-9);
    EXPECT_EQ(fillRect({1536, 100}, {-20, -20, 1576, 1960}).y, -20);
    // A page-proportioned paper fills the page exactly.
    EXPECT_EQ(fillRect({1024, 1280}, {0, 0, 1536, 1920}), (Rect{0, 0, 1536, 1920}));
    // Equal ratios keep the origin.
    EXPECT_EQ(fillRect({768, 980}, {-20, -20, 1576, 2011}).x, -20);
}

TEST(ImageGeometry, ScaledSizes) {
    EXPECT_EQ(scaledAndCroppedSize({4000, 1000}, {1024, 1024}, false), (Size{1024, 256}));
    EXPECT_EQ(scaledAndCroppedSize({1000, 4000}, {1024, 1024}, false), (Size{256, 1024}));
    EXPECT_EQ(scaledAndCroppedSize({3, 2}, {1024, 1024}, false), (Size{1024, 683}));
    EXPECT_EQ(scaledAndCroppedSize({3, 2}, {400, 400}, true), (Size{400, 400}));
}

}  // namespace
}  // namespace velumen
