#include "document/PageInkEditor.h"

#include <initializer_list>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

namespace velumen {
namespace {

KVSPointSetPtr run(std::uint64_t length) {
    return KVSPointSet::initWithLength(length);
}

KVSPointSetArrayPtr arrayOf(std::initializer_list<KVSPointSetPtr> runs) {
    auto array = std::make_shared<KVSPointSetArray>();
    array->pointSets().assign(runs);
    return array;
}

// Runs as identities, to compare a page's list with the very objects expected.
std::vector<const KVSPointSet*> ids(const std::vector<KVSPointSetPtr>& runs) {
    std::vector<const KVSPointSet*> out;
    for (const auto& r : runs)
        out.push_back(r.get());
    return out;
}
std::vector<const KVSPointSet*> ink(const FoliantPage& page) {
    return ids(page.pointSets->pointSets());
}

class PageInkEditorTest : public ::testing::Test {
  protected:
    PageInkEditorTest() {
        editor.setCurrentPage(page);
        editor.takeEffects();
    }

    // What the event loop does after each event.
    void undo() {
        editor.undoManager()->undo();
        editor.endUndoGrouping();
    }
    void redo() {
        editor.undoManager()->redo();
        editor.endUndoGrouping();
    }

    std::shared_ptr<FoliantPage> page = std::make_shared<FoliantPage>();
    PageInkEditor editor;
};

TEST_F(PageInkEditorTest, AddedAndRemovedRunsComeBackAsTheSameObjectsInOrder) {
    auto x = run(1), y = run(2), z = run(3), a = run(4), b = run(5), c = run(6), d = run(7), e = run(8);
    page->pointSets = arrayOf({x, y, z});
    editor.addPointSets(arrayOf({a}));
    editor.endUndoGrouping();
    // The edit and its checkpoint make one change of the book.
    EXPECT_EQ(editor.takeEffects(), (EditorEffects{.repaint = true, .bookChanged = true, .undoChanged = true}));
    undo();
    EXPECT_EQ(ink(*page), ids({x, y, z}));
    redo();
    // Insertion at indices, in list order; an index past the end appends.
    editor.addPointSets(arrayOf({b, c, d}), {0, 3, 99});
    EXPECT_EQ(ink(*page), ids({b, x, y, c, z, a, d}));
    editor.endUndoGrouping();

    // Given out of z order, with a run that is not on the page.
    editor.removePointSets(arrayOf({z, e, b}));
    EXPECT_EQ(ink(*page), ids({x, y, c, a, d}));
    editor.endUndoGrouping();
    undo();
    EXPECT_EQ(ink(*page), ids({b, x, y, c, z, a, d}));
    undo();
    EXPECT_EQ(ink(*page), ids({x, y, z, a}));
    redo();
    redo();
    EXPECT_EQ(ink(*page), ids({x, y, c, a, d}));

    // Removing nothing that is on the page is no edit and keeps the redo step.
    undo();
    editor.removePointSets(arrayOf({e}));
    editor.endUndoGrouping();
    EXPECT_TRUE(editor.undoManager()->canRedo());

    // Runs added at the back keep their order below the ink.
    const auto f = run(9);
    editor.addPointSetsAtBack(arrayOf({e, f}));
    EXPECT_EQ(ink(*page), ids({e, f, b, x, y, c, z, a, d}));
    editor.endUndoGrouping();
    undo();
    redo();
    EXPECT_EQ(ink(*page), ids({e, f, b, x, y, c, z, a, d}));
}

TEST_F(PageInkEditorTest, EachPageHasItsOwnStackAndAClearGivesBackTheSameArray) {
    auto page2 = std::make_shared<FoliantPage>();
    auto original = arrayOf({run(3), run(4)});
    page->pointSets = original;
    const EditorEffects cleared = editor.clearBoard();
    EXPECT_EQ(original->count(), 2u);
    // The page on screen lost its ink: a stroke on it goes, and the view takes the new list.
    EXPECT_TRUE(cleared.strokeDropped && cleared.inkReplaced && cleared.bookChanged);
    editor.endUndoGrouping();
    UndoManager* stack1 = editor.undoManager();

    page2->pointSets = nullptr;  // as an old book's page may come
    editor.setCurrentPage(page2);
    EXPECT_FALSE(editor.undoManager()->canUndo());
    editor.takeEffects();
    auto s = run(2);
    editor.addPointSets(arrayOf({s}));
    editor.endUndoGrouping();
    // Page 2 had no list: the view must take the one the stroke made.
    EXPECT_TRUE(editor.takeEffects().inkReplaced);
    // Page 1's stack, replayed while page 2 is on screen, edits page 1, records on its own stack and
    // leaves the surface alone; the same for page 2's stack the other way round.
    stack1->undo();
    EXPECT_EQ(page->pointSets, original);
    stack1->redo();
    EXPECT_EQ(page->pointSets->count(), 0u);
    const EditorEffects offScreen = editor.takeEffects();
    EXPECT_TRUE(offScreen.bookChanged);
    EXPECT_FALSE(offScreen.repaint || offScreen.inkReplaced || offScreen.strokeDropped);
    UndoManager* stack2 = editor.undoManager();
    editor.setCurrentPage(page);
    EXPECT_EQ(editor.undoManager(), stack1);
    stack2->undo();
    EXPECT_EQ(page2->pointSets->count(), 0u);

    // No page: edits do nothing and there is no stack.
    editor.setCurrentPage(nullptr);
    EXPECT_EQ(editor.undoManager(), nullptr);
    editor.takeEffects();
    editor.addPointSets(arrayOf({s}));
    EXPECT_FALSE(editor.clearBoard().bookChanged);
    EXPECT_FALSE(editor.addUndoToRevertToPointsetsSnapshot(arrayOf({s})).bookChanged);
    EXPECT_FALSE(editor.takeEffects().bookChanged);
}

TEST_F(PageInkEditorTest, AnErasingGestureIsOneUndoStep) {
    auto a = run(3), b = run(4), c = run(2), d = run(5), e = run(6);
    // The eraser worked on copies: b and d lost points, c lost all of them, a and e were untouched.
    auto b2 = run(2), c2 = run(0), d2 = run(1);
    page->pointSets =
        arrayOf({KVSPointSet::initWithPointSet(*a), b2, c2, d2, KVSPointSet::initWithPointSet(*e)});

    editor.addUndoToRevertToPointsetsSnapshot(arrayOf({a, b, c, d, e}));
    // Untouched runs are the snapshot's own objects again; the empty run keeps its place for now.
    EXPECT_EQ(ink(*page), ids({a, b2, c2, d2, e}));
    page->pointSets->removeEmptyPointSets();
    editor.endUndoGrouping();
    EXPECT_EQ(editor.undoManager()->undoCount(), 1u);
    undo();
    EXPECT_EQ(ink(*page), ids({a, b, c, d, e}));
    redo();
    EXPECT_EQ(ink(*page), ids({a, b2, d2, e}));
    undo();

    // A gesture that erased nothing records nothing, and the redo step survives it.
    page->pointSets = arrayOf({KVSPointSet::initWithPointSet(*a), KVSPointSet::initWithPointSet(*b)});
    editor.addUndoToRevertToPointsetsSnapshot(arrayOf({a, b}));
    editor.endUndoGrouping();
    EXPECT_EQ(ink(*page), ids({a, b}));
    EXPECT_FALSE(editor.undoManager()->canUndo());
    EXPECT_TRUE(editor.undoManager()->canRedo());
}

}  // namespace
}  // namespace velumen
