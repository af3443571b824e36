// The editor's session without a widget or a display: pens choose the tool that a single pointer drives,
// undo waits for a gesture and refuses a locked book, and the settings reach input.
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "shell/DefaultsStore.h"
#include "shell/EditorSession.h"

namespace velumen {
namespace {

struct HeadlessSession : ::testing::Test {
    QTemporaryDir dir;
    FoliantGlobals globals{openDefaultsStore(dir.filePath("defaults.plist")), 0.0};
    ManualClock clock{10.0};
    EditorSession session{globals, clock};
    // An empty book: the session gives it its first page.
    FoliantDataPtr book = std::make_shared<FoliantData>();
    EditorEffects effects;

    HeadlessSession() {
        session.setBook(book);
        session.viewport.layoutForFrameSize({768, 1024});
        session.viewport.showHomeView();
    }
    TouchRecord record(TouchPhase phase, Point p, TouchType type) {
        TouchRecord t;
        t.id = 1;
        t.phase = phase;
        t.location = p;
        t.type = type;
        t.force = type == TouchType::Stylus ? 0.5 : 0;
        return t;
    }
    // One pointer from `from` to `to` in ten steps; `lift` ends it.
    void drag(Point from, Point to, bool lift = true, TouchType type = TouchType::Finger) {
        TouchRecord t = record(TouchPhase::Began, from, type);
        effects |= session.dispatcher.touchesBegan({t}, {{t}});
        for (int i = 1; i <= 10; ++i) {
            clock.advance(0.02);
            t = record(TouchPhase::Moved, {from.x + (to.x - from.x) * i / 10, from.y + (to.y - from.y) * i / 10}, type);
            effects |= session.dispatcher.touchesMoved({t}, {{t}});
        }
        if (!lift) return;
        t.phase = TouchPhase::Ended;
        effects |= session.dispatcher.touchesEnded({t}, {{t}});
        session.editor.endUndoGrouping();
    }
    std::size_t runs() const { return book->pointSets()->count(); }
};

TEST_F(HeadlessSession, PensChooseTheToolAndUndoWaitsForTheGestureAndRefusesALockedBook) {
    drag({100, 100}, {300, 160});
    ASSERT_EQ(runs(), 1u);
    EXPECT_TRUE(effects.repaint && effects.bookChanged && effects.gestureEnded);

    session.setPenTypeIndex(0);
    effects = {};
    drag({90, 90}, {320, 170}, false);
    EXPECT_EQ(session.dispatcher.touchMode, TouchMode::Erase);
    EXPECT_TRUE(effects.inkReplaced);
    // Undo waits while a finger is down.
    EXPECT_FALSE(session.undo().any());
    TouchRecord up = record(TouchPhase::Ended, {320, 170}, TouchType::Finger);
    session.dispatcher.touchesEnded({up}, {{up}});
    session.editor.endUndoGrouping();
    EXPECT_EQ(runs(), 0u);
    EXPECT_TRUE(session.undo().bookChanged);
    EXPECT_EQ(runs(), 1u);

    // A locked book: undo, redo and touches change nothing.
    book->setIsLocked(true);
    EXPECT_FALSE(session.redo().any());
    session.setPenTypeIndex(1);
    drag({100, 400}, {300, 460});
    EXPECT_EQ(runs(), 1u);
    EXPECT_TRUE(session.editor.undoManager()->canRedo());
}

TEST_F(HeadlessSession, TheSettingsReachInput) {
    session.dispatcher.isPencilConnected = true;
    globals.setOnlyDrawWithStylus(true);
    session.applySettings();
    drag({100, 100}, {300, 160});
    EXPECT_EQ(runs(), 0u);
    EXPECT_TRUE(effects.stylusRefused);
    drag({100, 100}, {300, 160}, true, TouchType::Stylus);
    EXPECT_EQ(runs(), 1u);

    // Without palm rejection a wide touch draws.
    globals.setDisablePalmRejection(true);
    session.applySettings();
    globals.setOnlyDrawWithStylus(false);
    session.applySettings();
    TouchRecord wide = record(TouchPhase::Began, {100, 500}, TouchType::Finger);
    wide.majorRadius = 120;
    session.dispatcher.touchesBegan({wide}, {{wide}});
    EXPECT_EQ(session.dispatcher.touchMode, TouchMode::Draw);
}

TEST_F(HeadlessSession, TheEyedropperTakesTheTopmostRunsColourIntoItsEntryAndNeverChangesThePage) {
    session.setPenTypeIndex(2);
    const KColor pencil{0.25, 0.5, 0.75, 0.35};
    session.setPenColor(pencil);
    drag({100, 100}, {300, 100});
    session.setPenTypeIndex(1);
    const KColor pen{1, 0, 0.5, 0.5};
    session.setPenColor(pen);
    drag({200, 80}, {200, 120});  // crosses the first stroke, on top of it
    ASSERT_EQ(runs(), 2u);
    const KVSPointSetArrayPtr ink = book->pointSets();
    const bool couldUndo = session.editor.undoManager()->canUndo();
    session.setPenColor({0, 0, 0, 0.35});

    session.beginEyeDropping(5);
    ASSERT_EQ(session.dispatcher.singlePointerMode, TouchMode::EyeDrop);
    // Over the crossing the run on top wins; the entry and the pen take its colour with its alpha.
    effects = {};
    drag({200, 100}, {200, 100});
    EXPECT_TRUE(effects.colorPicked);
    ASSERT_TRUE(session.applyEyeDropperPick());
    EXPECT_EQ(globals.penColors()[5], pen);
    EXPECT_EQ(session.currentLineColor(), pen);
    // Moving on to the lower run only.
    drag({120, 100}, {140, 100});
    auto pick = session.applyEyeDropperPick();
    ASSERT_TRUE(pick && pick->color);
    EXPECT_EQ(*pick->color, pencil);
    EXPECT_EQ(globals.penColors()[5], pencil);
    // Over empty paper: the swatch clears, nothing else changes.
    drag({600, 700}, {610, 700});
    pick = session.applyEyeDropperPick();
    ASSERT_TRUE(pick);
    EXPECT_FALSE(pick->color);
    EXPECT_EQ(globals.penColors()[5], pencil);
    EXPECT_EQ(session.currentLineColor(), pencil);
    // The page is as it was: the same runs, no new undo step.
    EXPECT_EQ(book->pointSets(), ink);
    EXPECT_EQ(runs(), 2u);
    EXPECT_EQ(session.editor.undoManager()->canUndo(), couldUndo);

    // The square searched is 30 view points across at every zoom: it shrinks on the page as the view zooms in.
    const Rect atOne = session.eyeDropperTool.pickRectAtViewPoint({200, 200});
    session.viewport.view.zoomFactor *= 2;
    const Rect atTwo = session.eyeDropperTool.pickRectAtViewPoint({200, 200});
    EXPECT_NEAR(atTwo.width, atOne.width / 2, 1e-4);
    EXPECT_NEAR(atOne.width, 30 / double(session.viewport.view.zoomFactor) * 2, 1e-4);
    // After picking, pointers draw again.
    session.endEyeDropping();
    EXPECT_EQ(session.dispatcher.singlePointerMode, TouchMode::Draw);
}

}  // namespace
}  // namespace velumen
