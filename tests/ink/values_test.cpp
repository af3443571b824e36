#include <gtest/gtest.h>

#include <cmath>

#include "ink/KLine.h"

using namespace velumen;

TEST(KColor, HexStringRoundsHalfAwayFromZeroAndIgnoresAlpha) {
    EXPECT_EQ((KColor{1.0, 0.5, 0.0, 0.3}).hexString(), "FF8000");
    EXPECT_EQ((KColor{0.0, 1.0 / 255 * 0.5, 254.5 / 255, 1}).hexString(), "0001FF");
    EXPECT_EQ((KColor{0.0, 0.0, 0.0, 0.0}).hexString(), "000000");
    // Out of range: more digits, and two's complement for negatives, as "%02X" prints an int.
    EXPECT_EQ((KColor{2.0, 0, 0, 1}).hexString(), "1FE0000");
    EXPECT_EQ((KColor{-1.0 / 255, 0, 0, 1}).hexString(), "FFFFFFFF0000");
    EXPECT_EQ((KColor{std::nan(""), 0, 0, 1}).hexString(), "000000");

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

TEST(KLine, StraightnessAndCopies) {
    KLine line;
    EXPECT_EQ(line.strokeThickness, 1.0);
    EXPECT_TRUE(line.color.isEqualToColor({0, 0, 0, 1}));
    line.points = {{0, 0}, {100, 100}};
    EXPECT_FALSE(line.isAlmostStraight());

    // Points within a tenth of the length are not counted; the rest must lie within 5 degrees.
    line.points = {{0, 0}, {1, 5}, {30, 31}, {60, 59}, {90, 92}, {100, 100}};
    EXPECT_TRUE(line.isAlmostStraight());
    line.points = {{0, 0}, {30, 31}, {60, 20}, {90, 92}, {100, 100}};
    EXPECT_FALSE(line.isAlmostStraight());
    // Nothing beyond the near limit: 0/0 is not above three quarters.
    line.points = {{0, 0}, {1, 1}, {100, 100}};
    EXPECT_FALSE(line.isAlmostStraight());
    // Along the negative y axis the bearing sits on the branch cut: points either side of it fail.
    line.points = {{0, 0}, {0.01, -30}, {-0.01, -60}, {0.01, -90}, {0, -100}};
    EXPECT_FALSE(line.isAlmostStraight());
    line.points = {{0, 0}, {0.01, 30}, {-0.01, 60}, {0.01, 90}, {0, 100}};
    EXPECT_TRUE(line.isAlmostStraight());

    line.color = {1, 0, 0, 0.5};
    line.strokeThickness = 3;
    KLine copy = line;
    copy.points.push_back({1, 1});
    copy.color.r = 0;
    EXPECT_EQ(line.points.size(), 5u);
    EXPECT_EQ(line.color.r, 1);

    const KLine straight = line.getStraightLine();
    EXPECT_EQ(straight.points, (std::vector<Point>{{0, 0}, {0, 100}}));
    EXPECT_EQ(straight.strokeThickness, 3);
    line.straighten();
    EXPECT_EQ(line.points, straight.points);
    KLine shortLine;
    shortLine.points = {{1, 1}, {2, 2}};
    shortLine.straighten();
    EXPECT_EQ(shortLine.points.size(), 2u);
}
