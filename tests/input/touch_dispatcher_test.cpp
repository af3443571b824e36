// The touch state machine, driven by touch records as the router makes them, on a real book page with
// its undo stack and the real stroke sampler.
#include <cmath>
#include <limits>

#include "TouchRig.h"

namespace velumen {
namespace {

TEST_F(Rig, OneFingerDrawsAndATapStillMakesADot) {
    strokeWithSamples(1, 6);
    EXPECT_EQ(dispatcher.touchMode, TouchModeDraw);
    end(1);
    EXPECT_EQ(dispatcher.touchMode, TouchModeNone);
    EXPECT_EQ(runs(), 1u);
    EXPECT_EQ(undoCount(), 1u);
    // Within the dead zone movement is silent, yet the tap draws.
    begin(2, {400, 400});
    move(2, {400.5, 400.5});
    EXPECT_FALSE(dispatcher.didTouchMove);
    EXPECT_EQ(sampler.currentLine->points.size(), 1u);
    end(2);
    EXPECT_EQ(runs(), 2u);
}

TEST_F(Rig, SecondFingerCancelsAShortStrokeAndCommitsALongOne) {
    // 1 down point + 8 samples: 9 raw points die.
    strokeWithSamples(1, 8);
    ASSERT_EQ(sampler.currentLine->points.size(), 9u);
    begin(2, {300, 300});
    EXPECT_EQ(dispatcher.touchMode, TouchModePanZoom);
    end(2);
    end(1);
    EXPECT_EQ(runs(), 0u);
    EXPECT_EQ(undoCount(), 0u);
    // 10 raw points are kept, and the gesture goes on as a pinch.
    strokeWithSamples(3, 9);
    ASSERT_EQ(sampler.currentLine->points.size(), 10u);
    begin(4, {300, 300});
    EXPECT_EQ(runs(), 1u);
    EXPECT_EQ(dispatcher.touchMode, TouchModePanZoom);
    const float zoom = viewport.zoomFactor;
    move(4, {600, 700});
    EXPECT_GT(viewport.zoomFactor, zoom);
    // A third finger ends the zoom; the page keeps its state.
    const float zoomed = viewport.zoomFactor;
    begin(5, {500, 500});
    EXPECT_EQ(dispatcher.touchMode, TouchModeNone);
    move(4, {700, 800});
    EXPECT_EQ(viewport.zoomFactor, zoomed);
    for (int id : {3, 4, 5})
        end(id);
    EXPECT_EQ(runs(), 1u);
}

TEST_F(Rig, SecondFingerDuringErasingRestoresThePageWithoutUndo) {
    strokeWithSamples(1, 12);
    end(1);
    const KVSPointSetArrayPtr before = book.pointSets();
    ASSERT_EQ(before->count(), 1u);
    const std::size_t undos = undoCount();
    // A stand-in eraser that empties the page list it is given.
    dispatcher.hooks.eraseAtPoint = [&](Point) { book.pointSets()->removeAllObjects(); };
    sampler.setPenTypeIndex(0, 64, globals.penTables());
    begin(2, {110, 100});
    EXPECT_EQ(dispatcher.touchMode, TouchModeErase);
    EXPECT_EQ(runs(), 0u);
    begin(3, {300, 300});
    EXPECT_EQ(book.pointSets(), before);
    EXPECT_EQ(runs(), 1u);
    EXPECT_EQ(undoCount(), undos);
    end(3);
    end(2);
}

TEST_F(Rig, StylusRulesAndPalms) {
    // A finger during a stylus stroke is ignored, its lifting too.
    begin(1, {100, 100}, TouchType::Stylus);
    EXPECT_TRUE(dispatcher._isDrawingWithStylus);
    move(1, {150, 120});
    begin(2, {400, 400});
    EXPECT_EQ(dispatcher.touchMode, TouchModeDraw);
    end(2);
    EXPECT_EQ(dispatcher.touchMode, TouchModeDraw);
    move(1, {200, 140});
    end(1);
    EXPECT_FALSE(dispatcher._isDrawingWithStylus);
    EXPECT_EQ(runs(), 1u);

    // A palm above 70 does not count; at 70 it does.
    begin(3, {300, 300}, TouchType::Finger, 70.1);
    EXPECT_EQ(dispatcher.touchMode, TouchModeNone);
    end(3);
    begin(4, {300, 300}, TouchType::Finger, 70.0);
    EXPECT_EQ(dispatcher.touchMode, TouchModeDraw);
    // A touch that grows into a palm leaves the set at that event: its movement draws nothing more.
    move(4, {320, 300});
    const auto points = sampler.currentLine->points.size();
    move(4, {340, 300}, 90.0);
    EXPECT_EQ(sampler.currentLine->points.size(), points);
    end(4);
    globals.setDisablePalmRejection(true);
    begin(5, {300, 300}, TouchType::Finger, 200.0);
    EXPECT_EQ(dispatcher.touchMode, TouchModeDraw);
    end(5);
}

TEST_F(Rig, StylusOnlyRefusesAFingerButTwoFingersZoom) {
    globals.setOnlyDrawWithStylus(true);
    dispatcher.isPencilConnected = true;
    begin(1, {100, 100});
    EXPECT_EQ(dispatcher.touchMode, TouchModeNone);
    EXPECT_EQ(flashes, 1);
    begin(2, {300, 300});
    EXPECT_EQ(dispatcher.touchMode, TouchModePanZoom);
    end(1);
    end(2);
    begin(3, {100, 100}, TouchType::Stylus);
    EXPECT_EQ(dispatcher.touchMode, TouchModeDraw);
    end(3);
    EXPECT_EQ(runs(), 1u);
    // Without a stylus connected the setting does not lock the user out.
    dispatcher.isPencilConnected = false;
    begin(4, {100, 100});
    EXPECT_EQ(dispatcher.touchMode, TouchModeDraw);
    end(4);
}

TEST_F(Rig, LockedBookTakesTheSelectionPathAndTheGuardSwallowsTouches) {
    book.setIsLocked(true);
    strokeWithSamples(1, 5);
    EXPECT_EQ(dispatcher.touchMode, TouchModeSelect);
    end(1);
    EXPECT_EQ(runs(), 0u);
    book.setIsLocked(false);
    TouchRecord& t = put(2, {100, 1000}, TouchPhase::Began);
    t.view = TouchView::WristGuard;
    dispatcher.touchesBegan({t}, event());
    EXPECT_EQ(dispatcher.touchMode, TouchModeNone);
    down.clear();
}

TEST_F(Rig, BadRecordsChangeNothing) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    begin(1, {nan, 100});
    begin(2, {1e300, -1e300});
    EXPECT_EQ(dispatcher.touchMode, TouchModeNone);
    down.clear();
    // Movement and ends of touches that never began.
    TouchRecord ghost;
    ghost.id = 99;
    ghost.location = {10, 10};
    dispatcher.touchesMoved({ghost}, {{ghost}});
    dispatcher.touchesEnded({ghost}, {{ghost}});
    dispatcher.touchesCancelled({}, {});
    EXPECT_EQ(runs(), 0u);
    EXPECT_EQ(dispatcher.touchMode, TouchModeNone);
    // A stroke with a NaN movement in it goes on unharmed.
    begin(3, {100, 100});
    move(3, {nan, nan});
    move(3, {200, 200});
    end(3);
    EXPECT_EQ(runs(), 1u);
}

TouchRecord touchWithForce(TouchType type, double force, double maximum = 4.0) {
    TouchRecord t;
    t.type = type;
    t.force = force;
    t.maximumPossibleForce = maximum;
    return t;
}

TEST(StylusForce, ClampsReadsTheFirstStylusAndIgnoresBadReadings) {
    EXPECT_EQ(stylusForceFactorWithTouches({}), 1.0);
    EXPECT_EQ(stylusForceFactorWithTouches({touchWithForce(TouchType::Stylus, 0.0)}), 0.8);
    EXPECT_EQ(stylusForceFactorWithTouches({touchWithForce(TouchType::Stylus, 9.0)}), 1.2);
    EXPECT_DOUBLE_EQ(stylusForceFactorWithTouches({touchWithForce(TouchType::Stylus, 1.8)}), 0.9);
    EXPECT_EQ(stylusForceFactorWithTouches({touchWithForce(TouchType::Finger, 4.0)}), 1.0);
    EXPECT_DOUBLE_EQ(
        stylusForceFactorWithTouches({touchWithForce(TouchType::Finger, 4.0), touchWithForce(TouchType::Stylus, 1.8)}), 0.9);
    EXPECT_DOUBLE_EQ(
        stylusForceFactorWithTouches({touchWithForce(TouchType::Stylus, 2.2), touchWithForce(TouchType::Stylus, 0.0)}), 1.1);
    EXPECT_EQ(stylusForceFactorWithTouches({touchWithForce(TouchType::Stylus, 3.0, 0.0)}), 1.0);
    EXPECT_EQ(stylusForceFactorWithTouches({touchWithForce(TouchType::Stylus, std::nan(""))}), 1.0);
    EXPECT_EQ(stylusForceFactorWithTouches({touchWithForce(TouchType::Stylus, HUGE_VAL)}), 1.0);
}

}  // namespace
}  // namespace velumen
