// The touch state machine, driven by touch records as the router makes them, on a real book page with
// its undo stack and the real stroke sampler.
#include <cmath>
#include <limits>

#include "TouchRig.h"

namespace velumen {
namespace {

TEST_F(Rig, OneFingerDrawsAndATapStillMakesADot) {
    strokeWithSamples(1, 6);
    EXPECT_EQ(dispatcher.touchMode, TouchMode::Draw);
    end(1);
    EXPECT_EQ(dispatcher.touchMode, TouchMode::None);
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
    EXPECT_EQ(dispatcher.touchMode, TouchMode::PanZoom);
    end(2);
    end(1);
    EXPECT_EQ(runs(), 0u);
    EXPECT_EQ(undoCount(), 0u);
    // 10 raw points are kept, and the gesture goes on as a pinch.
    strokeWithSamples(3, 9);
    ASSERT_EQ(sampler.currentLine->points.size(), 10u);
    begin(4, {300, 300});
    EXPECT_EQ(runs(), 1u);
    EXPECT_EQ(dispatcher.touchMode, TouchMode::PanZoom);
    const float zoom = viewport.view.zoomFactor;
    move(4, {600, 700});
    EXPECT_GT(viewport.view.zoomFactor, zoom);
    // A third finger ends the zoom; the page keeps its state.
    const float zoomed = viewport.view.zoomFactor;
    begin(5, {500, 500});
    EXPECT_EQ(dispatcher.touchMode, TouchMode::None);
    move(4, {700, 800});
    EXPECT_EQ(viewport.view.zoomFactor, zoomed);
    for (int id : {3, 4, 5})
        end(id);
    EXPECT_EQ(runs(), 1u);
}

TEST_F(Rig, APalmLandingDuringAnErasureLeavesEveryErasedDotUndoable) {
    strokeWithSamples(1, 12);
    end(1);
    editor.endUndoGrouping();
    const KVSPointSetPtr original = book.pointSets()->pointSets()[0];
    const std::uint64_t dots = original->length();
    usePen(0, 64);
    begin(2, {100, 100});
    move(2, {110, 103});
    begin(3, {500, 800}, TouchType::Finger, 90.0);  // a resting palm, which does not count
    move(2, {120, 106});
    end(3);
    end(2);
    editor.endUndoGrouping();
    ASSERT_EQ(runs(), 1u);
    ASSERT_LT(book.pointSets()->pointSets()[0]->length(), dots);
    editor.undoManager()->undo();
    ASSERT_EQ(runs(), 1u);
    EXPECT_EQ(book.pointSets()->pointSets()[0], original);
}

TEST_F(Rig, SecondFingerDuringErasingRestoresThePageWithoutUndo) {
    strokeWithSamples(1, 12);
    end(1);
    const KVSPointSetArrayPtr before = book.pointSets();
    ASSERT_EQ(before->count(), 1u);
    const std::size_t undos = undoCount();
    const std::uint64_t dots = before->pointSets()[0]->length();
    usePen(0, 64);
    begin(2, {110, 100});
    EXPECT_EQ(dispatcher.touchMode, TouchMode::Erase);
    // The eraser works on a copy of the page's list.
    EXPECT_NE(book.pointSets(), before);
    EXPECT_LT(book.pointSets()->pointSets()[0]->length(), dots);
    begin(3, {300, 300});
    EXPECT_EQ(book.pointSets(), before);
    EXPECT_EQ(before->pointSets()[0]->length(), dots);
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
    EXPECT_EQ(dispatcher.touchMode, TouchMode::Draw);
    end(2);
    EXPECT_EQ(dispatcher.touchMode, TouchMode::Draw);
    move(1, {200, 140});
    end(1);
    EXPECT_FALSE(dispatcher._isDrawingWithStylus);
    EXPECT_EQ(runs(), 1u);

    // A palm above 70 does not count; at 70 it does.
    begin(3, {300, 300}, TouchType::Finger, 70.1);
    EXPECT_EQ(dispatcher.touchMode, TouchMode::None);
    end(3);
    begin(4, {300, 300}, TouchType::Finger, 70.0);
    EXPECT_EQ(dispatcher.touchMode, TouchMode::Draw);
    // A touch that grows into a palm leaves the set at that event: its movement draws nothing more.
    move(4, {320, 300});
    const auto points = sampler.currentLine->points.size();
    move(4, {340, 300}, 90.0);
    EXPECT_EQ(sampler.currentLine->points.size(), points);
    end(4);
    dispatcher.policy.disablePalmRejection = true;
    begin(5, {300, 300}, TouchType::Finger, 200.0);
    EXPECT_EQ(dispatcher.touchMode, TouchMode::Draw);
    end(5);
}

TEST_F(Rig, StylusOnlyRefusesAFingerButTwoFingersZoom) {
    dispatcher.policy.onlyDrawWithStylus = true;
    dispatcher.isPencilConnected = true;
    begin(1, {100, 100});
    EXPECT_EQ(dispatcher.touchMode, TouchMode::None);
    EXPECT_EQ(flashes, 1);
    begin(2, {300, 300});
    EXPECT_EQ(dispatcher.touchMode, TouchMode::PanZoom);
    end(1);
    end(2);
    begin(3, {100, 100}, TouchType::Stylus);
    EXPECT_EQ(dispatcher.touchMode, TouchMode::Draw);
    end(3);
    EXPECT_EQ(runs(), 1u);
    // Without a stylus connected the setting does not lock the user out.
    dispatcher.isPencilConnected = false;
    begin(4, {100, 100});
    EXPECT_EQ(dispatcher.touchMode, TouchMode::Draw);
    end(4);
}

TEST_F(Rig, LockedBookTakesTheSelectionPathAndTheGuardSwallowsTouches) {
    book.setIsLocked(true);
    strokeWithSamples(1, 5);
    EXPECT_EQ(dispatcher.touchMode, TouchMode::Select);
    end(1);
    EXPECT_EQ(runs(), 0u);
    book.setIsLocked(false);
    TouchRecord& t = put(2, {100, 1000}, TouchPhase::Began);
    t.view = TouchView::WristGuard;
    dispatcher.touchesBegan({t}, event());
    EXPECT_EQ(dispatcher.touchMode, TouchMode::None);
    down.clear();
}

TEST_F(Rig, BadRecordsChangeNothing) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    begin(1, {nan, 100});
    begin(2, {1e300, -1e300});
    EXPECT_EQ(dispatcher.touchMode, TouchMode::None);
    down.clear();
    // Movement and ends of touches that never began.
    TouchRecord ghost;
    ghost.id = 99;
    ghost.location = {10, 10};
    dispatcher.touchesMoved({ghost}, {{ghost}});
    dispatcher.touchesEnded({ghost}, {{ghost}});
    dispatcher.touchesCancelled({}, {});
    EXPECT_EQ(runs(), 0u);
    EXPECT_EQ(dispatcher.touchMode, TouchMode::None);
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
