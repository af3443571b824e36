// Editing a picture by touch records through the real dispatcher: drag on the unrotated frame, the grip,
// the pinch with its 50-unit floor, switching and dismissing, the toolbar's values, and one undo step for
// a whole session against the copy taken at its start. A tap of the pen on a picture draws nothing.
#include <gtest/gtest.h>

#include "TouchRig.h"
#include "input/tools/ImageEditTool.h"

namespace velumen {
namespace {

struct ImageEditRig : Rig {
    ImageEditTool tool{editor, viewport};
    FoliantImagePtr image;
    FoliantImagePtr other;

    void SetUp() override {
        Rig::SetUp();
        dispatcher.registerTool(TouchMode::EditImage, tool);
        dispatcher.isObjectAtPoint = [this](Point p) { return editor.pageImageAtPoint(p) != nullptr; };
        usePen(1, 10);
        image = std::make_shared<FoliantImage>();
        image->frame = {200, 200, 400, 300};
        other = std::make_shared<FoliantImage>();
        other->frame = {900, 1200, 300, 300};
        editor.addPageImage(image);
        editor.addPageImage(other);
        editor.endUndoGrouping();
    }
    Point at(Point canvas) const { return viewport.viewPointFromEaglPoint(canvas); }
    void edit(const FoliantImagePtr& which, bool page = true) {
        tool.beginEditingImage(which, page);
        editor.endUndoGrouping();
        dispatcher.singlePointerMode = TouchMode::EditImage;
    }
    void finish() {
        tool.finishEditingImage();
        editor.endUndoGrouping();
        dispatcher.singlePointerMode = TouchMode::Draw;
    }
    void drag(Point from, Point to) {
        begin(1, at(from));
        move(1, at({(from.x + to.x) / 2, (from.y + to.y) / 2}));
        move(1, at(to));
        end(1);
    }
};

constexpr double kTolerance = 1e-6;

void expectFrame(const Rect& r, Rect expected) {
    EXPECT_NEAR(r.x, expected.x, 0.01);
    EXPECT_NEAR(r.y, expected.y, 0.01);
    EXPECT_NEAR(r.width, expected.width, 0.01);
    EXPECT_NEAR(r.height, expected.height, 0.01);
}

TEST_F(ImageEditRig, DragResizeAndBorderAreOneUndoStepForTheSession) {
    edit(image);
    // Editing brought it to the front (one step of its own).
    ASSERT_EQ(book.currentPage()->images.back(), image);
    const std::size_t stepsBefore = undoCount();
    drag({300, 300}, {400, 350});
    expectFrame(image->frame, {300, 250, 400, 300});
    // The grip at the bottom right corner: resize with the aspect kept, the origin fixed.
    drag({700, 550}, {900, 600});
    expectFrame(image->frame, {300, 250, 600, 450});
    tool.imageBorderTapped();
    tool.imageGrayscaleTapped();
    tool.imageOpacitySliderChanged(0.97);
    EXPECT_EQ(undoCount(), stepsBefore);  // nothing recorded during the session
    finish();
    EXPECT_EQ(undoCount(), stepsBefore + 1);
    editor.undo();
    editor.endUndoGrouping();
    expectFrame(image->frame, {200, 200, 400, 300});
    EXPECT_EQ(image->borderStyle, 0);
    EXPECT_EQ(image->filterType, 0);
    EXPECT_EQ(image->alpha, 1.0);
    editor.redo();
    expectFrame(image->frame, {300, 250, 600, 450});
    EXPECT_NEAR(image->alpha, 0.95, kTolerance);
    // A session that changed nothing records nothing.
    edit(image);
    const std::size_t steps = undoCount();
    finish();
    EXPECT_EQ(undoCount(), steps);
}

TEST_F(ImageEditRig, TheGripAndThePinchNeverTakeTheShortSideUnder50) {
    edit(image);
    drag({600, 500}, {-500, -500});
    EXPECT_NEAR(std::min(image->frame.width, image->frame.height), 50, kTolerance);
    EXPECT_EQ(image->frame.x, 200);
    // Two fingers inside the frame pinch it about their midpoint.
    image->frame = {200, 200, 400, 300};
    begin(1, at({300, 350}));
    begin(2, at({500, 350}));
    EXPECT_EQ(dispatcher.touchMode, TouchMode::EditImage);
    move(1, at({380, 350}));
    move(2, at({420, 350}));  // a fifth of the distance: 0.2 x 300 = 60 is still above 50
    expectFrame(image->frame, {400 + (200 - 400) * 0.2, 350 + (200 - 350) * 0.2, 80, 60});
    move(1, at({399, 350}));
    move(2, at({401, 350}));  // a hundredth: held at 50 on the short side
    EXPECT_NEAR(image->frame.height, 50, kTolerance);
    end(1);
    end(2);
}

TEST_F(ImageEditRig, DragUsesTheUnrotatedFrameAndOutsideTapsSwitchOrDismiss) {
    image->angle = 0.6f;
    edit(image);
    // The frame's own corner region, which the turned outline leaves out, still drags.
    drag({205, 205}, {215, 215});
    EXPECT_EQ(image->frame.x, 210);
    // A touch on the other picture switches to it and drags it at once.
    drag({1000, 1300}, {1010, 1300});
    EXPECT_EQ(tool.imageBeingEdited, other);
    EXPECT_EQ(other->frame.x, 910);
    // A tap on nothing ends the editing.
    begin(1, at({50, 1800}));
    end(1);
    EXPECT_FALSE(tool.isEditing());
    EXPECT_TRUE(tool.takeDismissed());
}

TEST_F(ImageEditRig, AMasterImageIgnoresTouchesOutsideItAndTwoFingersElsewherePan) {
    edit(image, false);
    begin(1, at({50, 1800}));
    end(1);
    EXPECT_TRUE(tool.isEditing());
    begin(1, at({50, 1700}));
    begin(2, at({150, 1800}));
    EXPECT_EQ(dispatcher.touchMode, TouchMode::PanZoom);
    end(1);
    end(2);
}

TEST_F(ImageEditRig, ATapOfThePenOnAPictureDrawsNothingAndAsksForEditing) {
    effects = {};
    const std::size_t runsBefore = runs();
    begin(1, at({300, 300}));
    end(1);
    EXPECT_TRUE(effects.objectTapped);
    EXPECT_EQ(runs(), runsBefore);
    // A tap on empty paper makes its dot.
    effects = {};
    begin(1, at({100, 1800}));
    end(1);
    EXPECT_FALSE(effects.objectTapped);
    EXPECT_EQ(runs(), runsBefore + 1);
}

TEST(ImageEditTool, OpacityStepsAndPresets) {
    struct Case {
        double slider, alpha;
    };
    for (const Case c : {Case{0.04, 0.1}, Case{0.97, 0.95}, Case{1.0, 1.0}, Case{0.5, 0.5}, Case{-3, 0.1}, Case{7, 1.0}})
        EXPECT_NEAR(ImageEditTool::opacityForSliderValue(c.slider), c.alpha, 1e-12) << c.slider;
    PageInkEditor editor;
    EditorViewport viewport;
    ImageEditTool tool{editor, viewport};
    auto image = std::make_shared<FoliantImage>();
    image->frame = {10, 10, 100, 50};
    tool.beginEditingImage(image, false);
    tool.imagePresetFullTapped();
    // Fills the page grown by 20: the height rules, centred across.
    EXPECT_NEAR(image->frame.height, 1960 * 1.0 * (3920.0 / 1960) / 2, 1e-9);
    EXPECT_EQ(image->frame.y, -20);
    tool.imagePresetCenterTapped();
    expectFrame(image->frame, {384, 480, 768, 384});
}

}  // namespace
}  // namespace velumen
