// Swipes in from the screen's edges on a phone, through the router, the touch state machine and a page.
#include "TouchRig.h"
#include "input/TouchRouter.h"

namespace velumen {
namespace {

struct SwipeRig : Rig {
    TouchRouter router{dispatcher, viewport};
    ScreenEdgeSwipes swipes;
    std::vector<ScreenEdgeSwipes::Edge> turns;
    double now = 100;

    void SetUp() override {
        Rig::SetUp();
        swipes.enabled = true;
        swipes.viewWidth = 768;
        swipes.touchMode = [this] { return dispatcher.touchMode; };
        swipes.disableScreenPanning = [this] { return globals.disableScreenPanning(); };
        swipes.edgePanned = [this](ScreenEdgeSwipes::Edge edge) {
            dispatcher.cancelDrawing();
            dispatcher.touchMode = TouchModeNone;
            turns.push_back(edge);
        };
        router.edgeSwipes = &swipes;
    }
    void send(TouchPhase phase, Point p, double dt) {
        now += dt;
        TouchRecord t;
        t.id = 1;
        t.phase = phase;
        t.location = p;
        t.timestamp = now;
        router.routeRecords({t});
    }
    // A swipe of `dx` points from x in `steps` movements over `seconds`.
    void swipe(double x, double dx, double seconds, int steps = 5) {
        send(TouchPhase::Began, {x, 500}, 0);
        for (int i = 1; i <= steps; ++i)
            send(TouchPhase::Moved, {x + dx * i / steps, 500}, seconds / steps);
        send(TouchPhase::Ended, {x + dx, 500}, 0.01);
    }
};

TEST_F(SwipeRig, OnlyAQuickSwipeFromNearTheEdgeTurnsAndASlowOneStaysAStroke) {
    swipe(768 - 51, -90, 0.1);
    EXPECT_TRUE(turns.empty());
    EXPECT_EQ(runs(), 1u);  // the page drew it

    swipe(768 - 50, -90, 0.1);
    ASSERT_EQ(turns.size(), 1u);
    EXPECT_EQ(turns[0], ScreenEdgeSwipes::Edge::Right);
    EXPECT_EQ(runs(), 1u);  // the stroke begun at the edge was dropped

    swipe(768 - 10, -90, 0.3);
    EXPECT_EQ(turns.size(), 1u);
    EXPECT_EQ(runs(), 2u);

    swipe(5, 120, 0.15);
    ASSERT_EQ(turns.size(), 2u);
    EXPECT_EQ(turns[1], ScreenEdgeSwipes::Edge::Left);

    globals.setDisableScreenPanning(true);
    swipe(5, 120, 0.15);
    EXPECT_EQ(turns.size(), 2u);
    EXPECT_EQ(runs(), 3u);
}

TEST_F(SwipeRig, AnEraserTouchAtTheEdgeIsClaimedAndThePageKeepsItsInk) {
    swipe(300, 100, 0.5);
    ASSERT_EQ(runs(), 1u);
    const std::uint64_t dots = book.pointSets()->pointSets()[0]->length();
    int stamps = 0;
    dispatcher.hooks.eraseAtPoint = [&](Point) { ++stamps; };
    sampler.setPenTypeIndex(0, 64, globals.penTables());
    send(TouchPhase::Began, {760, 500}, 0);
    EXPECT_EQ(dispatcher.touchMode, TouchModeNone);  // cancelled for the page at once
    send(TouchPhase::Moved, {700, 500}, 0.02);
    send(TouchPhase::Moved, {600, 500}, 0.02);
    send(TouchPhase::Ended, {600, 500}, 0.02);
    EXPECT_EQ(stamps, 2);  // the touch-down's stamp and the cancel's, none from the swipe
    EXPECT_EQ(book.pointSets()->pointSets()[0]->length(), dots);
    EXPECT_EQ(turns.size(), 1u);
    EXPECT_EQ(undoCount(), 1u);
}

}  // namespace
}  // namespace velumen
