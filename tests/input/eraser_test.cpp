// The eraser through the touch state machine on a real page: the stamp's size at each zoom, the touching
// test, the colour form, and one undo step per gesture that brings back the very runs it took.
#include "TouchRig.h"

namespace velumen {
namespace {

struct EraserRig : Rig {
    void SetUp() override {
        Rig::SetUp();
        viewport.setCanvasPoint({0, 0}, {0, 0}, 1.0f);
        usePen(0, 64);
    }
    // A run of dots of one size along y = row, every 10 units from x0 to x1, in the colour.
    KVSPointSetPtr addRun(double row, double x0, double x1, float size, KColor color = {0, 0, 0, 0.35}) {
        std::vector<float> xs;
        for (double x = x0; x <= x1; x += 10)
            xs.insert(xs.end(), {float(x), float(row), size});
        auto run = KVSPointSet::initWithLength(xs.size() / 3);
        std::copy(xs.begin(), xs.end(), run->buffer());
        run->setColor(color);
        if (!book.pointSets()) book.setPointSets(std::make_shared<KVSPointSetArray>());
        book.pointSets()->pointSets().push_back(run);
        return run;
    }
    void tap(Point p) {
        begin(7, p);
        end(7);
    }
};

TEST_F(EraserRig, StampKeepsItsScreenSizeAndTakesWholeDotsItTouches) {
    viewport.view.zoomFactor = 2.0f;
    EXPECT_DOUBLE_EQ(eraserTool.eraserCircleAtViewPoint({200, 200}).width, 25.0);
    viewport.view.zoomFactor = 0.5f;
    const Rect wide = eraserTool.eraserCircleAtViewPoint({200, 200});
    EXPECT_DOUBLE_EQ(wide.width, 100.0);
    EXPECT_DOUBLE_EQ(wide.x, 350.0);

    // At zoom 1 the stamp is a circle of radius 25: a dot of size 20 whose centre is 30 away is touched,
    // one of size 8 at 30 is not.
    viewport.setCanvasPoint({0, 0}, {0, 0}, 1.0f);
    const KVSPointSetPtr big = addRun(530, 500, 500, 20);
    const KVSPointSetPtr small = addRun(830, 800, 800, 8);
    eraserTool.begin({{500, 500}});
    eraserTool.move({{800, 800}});
    // The gesture erases copies of the runs; emptied runs stay while it lasts.
    ASSERT_EQ(runs(), 2u);
    EXPECT_EQ(book.pointSets()->pointSets()[0]->length(), 0u);
    EXPECT_EQ(book.pointSets()->pointSets()[1]->length(), 1u);
    EXPECT_EQ(big->length(), 1u);
}

TEST_F(EraserRig, AGestureIsOneUndoStepThatRestoresTheVeryRuns) {
    const KVSPointSetPtr a = addRun(100, 100, 400, 4);
    const KVSPointSetPtr b = addRun(300, 100, 400, 4);
    const KVSPointSetPtr c = addRun(500, 100, 130, 4);
    const KVSPointSetPtr far = addRun(900, 100, 400, 4);
    editor.endUndoGrouping();

    // A swipe down through a and b, then across all of c.
    begin(1, {250, 90});
    move(1, {250, 300});
    move(1, {115, 500});
    end(1);
    editor.endUndoGrouping();
    ASSERT_EQ(runs(), 3u);  // c vanished, and is gone from the list after the gesture
    EXPECT_LT(book.pointSets()->pointSets()[0]->length(), a->length());
    EXPECT_NE(book.pointSets()->pointSets()[0], a);
    EXPECT_EQ(book.pointSets()->pointSets()[2], far);  // an untouched run keeps its identity
    EXPECT_EQ(undoCount(), 1u);
    EXPECT_TRUE(effects.repaint && effects.inkReplaced && effects.bookChanged);

    editor.undoManager()->undo();
    const auto& back = book.pointSets()->pointSets();
    ASSERT_EQ(back.size(), 4u);
    EXPECT_EQ(back[0], a);
    EXPECT_EQ(back[1], b);
    EXPECT_EQ(back[2], c);
    EXPECT_EQ(back[3], far);
    EXPECT_EQ(a->length(), 31u);
    editor.undoManager()->redo();
    EXPECT_EQ(runs(), 3u);
}

TEST_F(EraserRig, ColourFormTapsAndGesturesWithoutEffect) {
    const KColor red{1, 0, 0, 0.35};
    const KVSPointSetPtr black = addRun(200, 100, 300, 4);
    addRun(200, 100, 300, 4, {1, 0, 0, 1.0});  // alpha is not compared
    editor.endUndoGrouping();

    eraserTool.isErasingSelectedColor = true;
    sampler.currentLineColor = red;
    tap({200, 200});
    editor.endUndoGrouping();
    EXPECT_EQ(black->length(), 21u);
    EXPECT_LT(book.pointSets()->pointSets()[1]->length(), 21u);
    EXPECT_EQ(undoCount(), 1u);  // a tap stamps twice and is one step

    // Nothing under the eraser: no step, no repaint, the same runs.
    eraserTool.isErasingSelectedColor = false;
    effects = {};
    tap({1000, 1500});
    editor.endUndoGrouping();
    EXPECT_EQ(undoCount(), 1u);
    EXPECT_FALSE(effects.bookChanged);
    EXPECT_EQ(book.pointSets()->pointSets()[0], black);
}

}  // namespace
}  // namespace velumen
