// The wrist guard's gestures and placement on a 768 x 1024 tablet view.
#include <gtest/gtest.h>

#include "input/WristGuard.h"

namespace velumen {
namespace {

constexpr Size kView{768, 1024};

TEST(WristGuard, TapsRestoreTheLastHeightButNeverBelowTheDefault) {
    WristGuard g;
    WristGuardPlacement p = g.placement(kView);
    EXPECT_EQ(p.tab.y, 1024 - 40);  // hidden: the tab sticks up from the bottom edge
    EXPECT_TRUE(p.tabHasBackground);

    g.wristGuardButtonTapped(kView);
    EXPECT_TRUE(g.isWristGuardVisible);
    EXPECT_EQ(g.wristGuardVisibleHeight, 200.0f);
    p = g.placement(kView);
    EXPECT_EQ(p.guard.y, 1024 - 200);
    EXPECT_EQ(p.guard.height, 1024 + 200);
    EXPECT_EQ(p.tab.y, 1024 - 200);  // raised: inside the guard's top right corner
    EXPECT_EQ(p.tab.x, 768 - 40);
    EXPECT_FALSE(p.tabHasBackground);

    // Lowered by hand to 120, closed by a tap, opened again: back at 200, not 120.
    g.wristGuardPanned(80);
    g.wristGuardPanEnded(0, kView);
    EXPECT_EQ(g.wristGuardVisibleHeight, 120.0f);
    g.wristGuardButtonTapped(kView);
    EXPECT_EQ(g.wristGuardVisibleHeight, 0.0f);
    g.wristGuardButtonTapped(kView);
    EXPECT_EQ(g.wristGuardVisibleHeight, 200.0f);
    // Raised to 500, closed, opened: 500 again, within 0.8 of a short view's height.
    g.wristGuardPanned(-300);
    g.wristGuardPanEnded(0, kView);
    g.wristGuardButtonTapped(kView);
    g.wristGuardButtonTapped({1024, 600});
    EXPECT_EQ(g.wristGuardVisibleHeight, 480.0f);
}

TEST(WristGuard, ReleaseHidesAtFortyFiveAndFlicksCarryOn) {
    WristGuard g;
    g.wristGuardPanned(-46);
    g.wristGuardPanEnded(0, kView);
    EXPECT_TRUE(g.isWristGuardVisible);
    EXPECT_EQ(g.wristGuardVisibleHeight, 46.0f);
    g.wristGuardPanned(1);
    g.wristGuardPanEnded(0, kView);
    EXPECT_FALSE(g.isWristGuardVisible);
    EXPECT_EQ(g.wristGuardVisibleHeight, 0.0f);

    g.wristGuardPanned(-300);
    g.wristGuardPanEnded(-2000, kView);
    EXPECT_EQ(g.wristGuardVisibleHeight, 400.0f);
    g.wristGuardPanned(-500);  // no limit while dragging
    EXPECT_EQ(g.wristGuardVisibleHeight, 900.0f);
    g.wristGuardPanEnded(-2000, kView);
    EXPECT_FLOAT_EQ(g.wristGuardVisibleHeight, 1024 * 0.8f);
}

TEST(WristGuard, RotationCapsByTheWidthAndAHiddenGuardFollowsTheBottom) {
    WristGuard g;
    g.wristGuardPanned(-700);
    g.wristGuardPanEnded(0, {1024, 768});
    EXPECT_FLOAT_EQ(g.wristGuardVisibleHeight, 768 * 0.8f);
    g.layoutWristguardForViewSize({600, 1024});  // the width, not the height, caps it
    EXPECT_FLOAT_EQ(g.wristGuardVisibleHeight, 480.0f);

    WristGuard hidden;
    hidden.layoutWristguardForViewSize({1024, 768});
    EXPECT_EQ(hidden.wristGuardVisibleHeight, 0.0f);
    EXPECT_EQ(hidden.placement({1024, 768}).tab.y, 768 - 40);
    EXPECT_EQ(hidden.placement({1024, 768}).tab.x, 1024 - 40);
}

}  // namespace
}  // namespace velumen
