// Converted ink on a page: centred on the given point, pulled into the page, added as one undo step that
// takes exactly that ink away again.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "document/PageInkEditor.h"
#include "ink/KGeometry.h"

namespace velumen {
namespace {

TEST(ConstrainRectToBounds, PullsRectanglesIntoTheBoundsWithoutResizing) {
    const Rect page{0, 0, 1536, 1920};
    struct Case {
        Rect in;
        Rect out;
    };
    const std::vector<Case> cases{
        {{100, 200, 50, 60}, {100, 200, 50, 60}},      // inside: unchanged
        {{-30, 200, 50, 60}, {0, 200, 50, 60}},        // left of the page
        {{1500, 1900, 50, 60}, {1486, 1860, 50, 60}},  // beyond the right and bottom edges
        {{-10, -10, 2000, 3000}, {0, 0, 2000, 3000}},  // larger, starting above and left: at the edge
        {{10, 10, 2000, 3000},
         {-464, -1080, 2000, 3000}},  // larger, starting inside: its far edge at the page's
        {{100.25, 0, 1435.5, 10}, {100.25, 0, 1435.5, 10}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(constrainRectToBounds(c.in, page), c.out) << c.in.x << "," << c.in.y;
    // The bounds' far edge less the width is rounded to float.
    const Rect odd = constrainRectToBounds({5, 0, 0.1, 1}, {0, 0, 1, 1});
    EXPECT_EQ(odd.x, static_cast<double>(static_cast<float>(1 - 0.1)));
}

// Two runs with the extent (0, 0) to (w, h).
KVSPointSetArrayPtr ink(float w, float h) {
    auto array = std::make_shared<KVSPointSetArray>();
    float* a = array->addPointSetWithSize(2)->buffer();
    a[0] = 0, a[1] = 0, a[2] = 2, a[3] = w, a[4] = 0, a[5] = 2;
    float* b = array->addPointSetWithSize(1)->buffer();
    b[0] = w / 2, b[1] = h, b[2] = 2;
    return array;
}

class PlacementTest : public ::testing::Test {
  protected:
    PlacementTest() {
        page->pointSets = std::make_shared<KVSPointSetArray>();
        page->pointSets->addPointSetWithSize(3);
        editor.setCurrentPage(page);
        editor.takeEffects();
    }
    std::shared_ptr<FoliantPage> page = std::make_shared<FoliantPage>();
    PageInkEditor editor;
};

TEST_F(PlacementTest, InkIsCentredOnThePointAndPulledIntoThePage) {
    struct Case {
        Point centre;
        Rect expected;
    };
    const std::vector<Case> cases{
        {{768, 960}, {718, 930, 100, 60}},
        {{20, 20}, {0, 0, 100, 60}},
        {{1530, 1915}, {1436, 1860, 100, 60}},
    };
    for (const Case& c : cases) {
        const KVSPointSetArrayPtr runs = ink(100, 60);
        const EditorEffects effects = editor.addPointSetsCentredAt(runs, c.centre);
        EXPECT_TRUE(effects.repaint && effects.bookChanged);
        EXPECT_EQ(runs->boundingRect(), c.expected);
        EXPECT_EQ(page->pointSets->pointSets().back(), runs->pointSets().back());
        editor.endUndoGrouping();
    }
}

TEST_F(PlacementTest, ConversionIsOneUndoStepThatTakesExactlyItsInkAway) {
    const std::vector<KVSPointSetPtr> before = page->pointSets->pointSets();
    const KVSPointSetArrayPtr runs = ink(40, 40);
    editor.addPointSetsCentredAt(runs, {768, 960});
    editor.endUndoGrouping();
    ASSERT_EQ(page->pointSets->count(), 3u);
    EXPECT_EQ(editor.undoManager()->undoCount(), 1u);
    editor.undoManager()->undo();
    editor.endUndoGrouping();
    EXPECT_EQ(page->pointSets->pointSets(), before);
    editor.undoManager()->redo();
    editor.endUndoGrouping();
    EXPECT_EQ(page->pointSets->count(), 3u);
    EXPECT_EQ(page->pointSets->pointSets()[1], runs->objectAtIndex(0));
}

TEST_F(PlacementTest, NoInkChangesNothingAndRecordsNothing) {
    EXPECT_FALSE(editor.addPointSetsCentredAt(std::make_shared<KVSPointSetArray>(), {768, 960}).any());
    EXPECT_FALSE(editor.addPointSetsCentredAt(nullptr, {768, 960}).any());
    editor.endUndoGrouping();
    EXPECT_EQ(editor.undoManager()->undoCount(), 0u);
    EXPECT_EQ(page->pointSets->count(), 1u);
}

}  // namespace
}  // namespace velumen
