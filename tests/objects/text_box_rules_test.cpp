// Where new text boxes go, the ladder of sizes, and how stored frames, sizes and alignments (sound or not)
// become what a view shows.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "ink/ViewTransform.h"
#include "objects/TextBoxRules.h"

namespace velumen {
namespace {

using namespace textbox;

TEST(TextBoxRules, ANewBoxIsCentredOnTheTouchAndKeptInsideThePageMargin) {
    struct Case {
        Point touch;
        Rect frame;
    };
    const double bottom = kPageSize.height - 10;  // the inside rect's bottom edge
    for (const Case& c : std::vector<Case>{
             {{768, 960}, {393, 929.5, 750, 61}},
             {{0, 500}, {10, 469.5, 750, 61}},
             {{1536, 500}, {1536 - 10 - 750, 469.5, 750, 61}},
             {{700, 0}, {325, 10, 750, 61}},
             // At the foot the box keeps its y and its x becomes the bottom limit less its height.
             {{700, kPageSize.height}, {bottom - 61, kPageSize.height - 30.5, 750, 61}},
         }) {
        const Rect f = newTextBoxFrame(c.touch, kPageSize);
        EXPECT_EQ(f, c.frame) << c.touch.x << "," << c.touch.y << " -> " << f.x << "," << f.y;
    }
}

TEST(TextBoxRules, SizeButtonsFollowTheLadder) {
    struct Case {
        int present, smaller, larger;
    };
    for (const Case& c : std::vector<Case>{{1, 1, 10},
                                           {2, 1, 10},
                                           {9, 8, 10},
                                           {10, 9, 12},
                                           {11, 10, 12},
                                           {24, 18, 36},
                                           {48, 36, 64},
                                           {359, 288, 360},
                                           {360, 288, 361},
                                           {500, 360, 501}}) {
        EXPECT_EQ(smallerTextSize(c.present), c.smaller) << c.present;
        EXPECT_EQ(largerTextSize(c.present), c.larger) << c.present;
    }
    EXPECT_EQ(customTextSizeMaximum(24), 48.0f);
    EXPECT_EQ(customTextSizeMaximum(25), 360.0f);
}

TEST(TextBoxRules, StoredValuesBecomeShownOnesWithinLimits) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(shownFrame({10.7, 20.2, 100.1, 30.0}), (Rect{10, 20, 101, 30}));
    EXPECT_EQ(shownFrame({nan, nan, nan, nan}), (Rect{0, 0, kMinimumShownWidth, kMinimumHeight}));
    EXPECT_EQ(shownFrame({-5, -7, -100, -3}), (Rect{-5, -7, kMinimumShownWidth, kMinimumHeight}));
    EXPECT_EQ(shownFrame({inf, -inf, 1e300, 1e300}),
              (Rect{0, 0, kMaximumShownWidth, kMaximumShownWidth}));
    EXPECT_EQ(shownFrame({1e9, -1e9, 5, 5}), (Rect{kOriginLimit, -kOriginLimit, 5, kMinimumHeight}));

    EXPECT_EQ(shownPointSize(0), kMinimumPointSize);
    EXPECT_EQ(shownPointSize(-3), kMinimumPointSize);
    EXPECT_EQ(shownPointSize(10000), kMaximumPointSize);
    EXPECT_EQ(shownPointSize(23.5f), 24);
    EXPECT_EQ(shownPointSize(std::numeric_limits<float>::quiet_NaN()), int(kDefaultPointSize));
    EXPECT_EQ(shownPointSize(std::numeric_limits<float>::infinity()), int(kDefaultPointSize));

    for (std::int64_t a : {0, 1, 2}) EXPECT_EQ(shownAlignment(a), a);
    for (std::int64_t a : {-1, 3, 4, 1000}) EXPECT_EQ(shownAlignment(a), 0);
}

TEST(TextBoxRules, DragsKeepTheBoxOnThePageAndTheWidthAboveItsFloor) {
    EXPECT_EQ(draggedOrigin({10.9, 20.1}, {100, 50}, kPageSize), (Point{10, 20}));
    EXPECT_EQ(draggedOrigin({-40, -1}, {100, 50}, kPageSize), (Point{0, 0}));
    EXPECT_EQ(draggedOrigin({1500, 1900}, {100, 50}, kPageSize), (Point{1436, 1870}));
    EXPECT_EQ(draggedWidth(-1000, 300), kMinimumWidth);
    EXPECT_EQ(draggedWidth(10.2, 300), 311);
}

}  // namespace
}  // namespace velumen
