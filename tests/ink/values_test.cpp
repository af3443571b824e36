#include <gtest/gtest.h>

#include <cmath>

#include "ink/KLine.h"

using namespace velumen;

TEST(KColor, HexStringRoundsHalfAwayFromZeroAndIgnoresAlpha) {
    // Out of range: more digits, and two's complement for negatives, as "%02X" prints an int.
    const std::pair<KColor, const char*> cases[] = {
        {{1.0, 0.5, 0.0, 0.3}, "FF8000"},        {{0.0, 1.0 / 255 * 0.5, 254.5 / 255, 1}, "0001FF"},
        {{0.0, 0.0, 0.0, 0.0}, "000000"},        {{2.0, 0, 0, 1}, "1FE0000"},
        {{-1.0 / 255, 0, 0, 1}, "FFFFFFFF0000"}, {{std::nan(""), 0, 0, 1}, "000000"}};
    for (const auto& [colour, hex] : cases)
        EXPECT_EQ(colour.hexString(), hex);
    const KColor c{0.25, 0.5, 0.75, 1};
    EXPECT_TRUE(c.isEqualToColor({0.25, 0.5, 0.75, 1}));
    EXPECT_FALSE(c.isEqualToColor({0.25, 0.5, 0.75, 0.999}));
}

TEST(Rect, NullAndUnion) {
    EXPECT_TRUE(Rect::null().isNull());
    EXPECT_TRUE(Rect::unite(Rect::null(), Rect::null()).isNull());
    EXPECT_EQ(Rect::unite(Rect::null(), Rect{1, 2, 0, 0}), (Rect{1, 2, 0, 0}));
    // Zero-sized rectangles still take part: two points span the rectangle between them.
    EXPECT_EQ(Rect::unite(Rect{1, 2, 0, 0}, Rect{4, -2, 0, 0}), (Rect{1, -2, 3, 4}));
    EXPECT_EQ(Rect::unite(Rect{0, 0, -2, 2}, Rect::null()), (Rect{-2, 0, 2, 2}));
}

TEST(KLine, StraightnessAndStraightening) {
    // Points within a tenth of the length are not counted; the rest must lie within 5 degrees. With nothing
    // beyond the near limit, 0/0 is not above three quarters. Along the negative y axis the bearing sits on
    // the branch cut: points either side of it fail.
    const std::pair<std::vector<Point>, bool> cases[] = {
        {{{0, 0}, {100, 100}}, false},
        {{{0, 0}, {1, 5}, {30, 31}, {60, 59}, {90, 92}, {100, 100}}, true},
        {{{0, 0}, {30, 31}, {60, 20}, {90, 92}, {100, 100}}, false},
        {{{0, 0}, {1, 1}, {100, 100}}, false},
        {{{0, 0}, {0.01, -30}, {-0.01, -60}, {0.01, -90}, {0, -100}}, false},
        {{{0, 0}, {0.01, 30}, {-0.01, 60}, {0.01, 90}, {0, 100}}, true}};
    KLine line;
    for (const auto& [points, straight] : cases) {
        line.points = points;
        EXPECT_EQ(line.isAlmostStraight(), straight) << points.size() << " points";
    }
    line.color = {1, 0, 0, 0.5};
    line.strokeThickness = 3;
    const KLine straight = line.getStraightLine();
    EXPECT_EQ(straight.points, (std::vector<Point>{{0, 0}, {0, 100}}));
    EXPECT_EQ(straight.strokeThickness, 3);
    EXPECT_TRUE(straight.color.isEqualToColor(line.color));
    line.straighten();
    EXPECT_EQ(line.points, straight.points);
    KLine shortLine;
    shortLine.points = {{1, 1}, {2, 2}};
    shortLine.straighten();
    EXPECT_EQ(shortLine.points.size(), 2u);
}
