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

// The page's runs as identities.
std::vector<const KVSPointSet*> ink(const FoliantPage& page) {
    std::vector<const KVSPointSet*> out;
    for (const auto& r : page.pointSets->pointSets())
        out.push_back(r.get());
    return out;
}

std::vector<const KVSPointSet*> ids(std::initializer_list<KVSPointSetPtr> runs) {
    std::vector<const KVSPointSet*> out;
    for (const auto& r : runs)
        out.push_back(r.get());
    return out;
}

class PageInkEditorTest : public ::testing::Test {
  protected:
    PageInkEditorTest() : editor(makeHooks()) { editor.setCurrentPage(page); }

    PageInkEditorHooks makeHooks() {
        PageInkEditorHooks h;
        h.clearSelection = [this] { ++clearSelections; };
        h.deleteInkSnapshotTexture = [this] { ++snapshotDeletes; };
        h.forgetCurrentLine = [this] { ++lineForgets; };
        h.eraseView = [this] { ++viewErases; };
        h.registerDocumentChange = [this] { ++documentChanges; };
        return h;
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

    int clearSelections = 0, snapshotDeletes = 0, lineForgets = 0, viewErases = 0, documentChanges = 0;
    std::shared_ptr<FoliantPage> page = std::make_shared<FoliantPage>();
    PageInkEditor editor;
};

TEST_F(PageInkEditorTest, AddingRunsUndoesAndRedoesWithTheSameObjects) {
    auto x = run(1), y = run(2), z = run(3), a = run(4), b = run(5);
    page->pointSets = arrayOf({x});
    editor.addPointSets(arrayOf({a, b}));
    EXPECT_EQ(ink(*page), ids({x, a, b}));
    EXPECT_TRUE(editor.isFrameUpdateNeeded);
    EXPECT_EQ(documentChanges, 1);
    editor.endUndoGrouping();
    EXPECT_EQ(documentChanges, 2);  // the checkpoint marks the book too

    editor.isFrameUpdateNeeded = false;
    undo();
    EXPECT_EQ(ink(*page), ids({x}));
    EXPECT_TRUE(editor.isFrameUpdateNeeded);
    redo();
    EXPECT_EQ(ink(*page), ids({x, a, b}));
    undo();

    // Insertion at indices, in list order; an index past the end appends.
    page->pointSets = arrayOf({x, y, z});
    editor.addPointSets(arrayOf({a, b}), {0, 3});
    EXPECT_EQ(ink(*page), ids({a, x, y, b, z}));
    auto tail = run(1);
    editor.addPointSets(arrayOf({tail}), {99});
    EXPECT_EQ(ink(*page), ids({a, x, y, b, z, tail}));
    undo();  // both additions were one event
    EXPECT_EQ(ink(*page), ids({x, y, z}));
    redo();
    EXPECT_EQ(ink(*page), ids({a, x, y, b, z, tail}));
}

TEST_F(PageInkEditorTest, RemovingRunsRestoresThemAtTheirIndices) {
    auto p0 = run(1), p1 = run(2), p2 = run(3), p3 = run(4), p4 = run(5), stranger = run(6);
    page->pointSets = arrayOf({p0, p1, p2, p3, p4});
    // Given out of z order, with a run that is not on the page.
    editor.removePointSets(arrayOf({p3, stranger, p1}));
    EXPECT_EQ(ink(*page), ids({p0, p2, p4}));
    EXPECT_EQ(clearSelections, 1);
    editor.endUndoGrouping();

    undo();
    EXPECT_EQ(ink(*page), ids({p0, p1, p2, p3, p4}));
    redo();
    EXPECT_EQ(ink(*page), ids({p0, p2, p4}));
    undo();
    EXPECT_EQ(ink(*page), ids({p0, p1, p2, p3, p4}));

    // Removing nothing that is on the page is no edit.
    const int changes = documentChanges;
    editor.isFrameUpdateNeeded = false;
    editor.removePointSets(arrayOf({stranger}));
    editor.removePointSets(nullptr);
    editor.endUndoGrouping();
    EXPECT_TRUE(editor.undoManager()->canRedo());
    EXPECT_FALSE(editor.isFrameUpdateNeeded);
    EXPECT_EQ(documentChanges, changes);
}

TEST_F(PageInkEditorTest, RunsAddedAtTheBackKeepTheirOrderBelowTheInk) {
    auto x = run(1), y = run(2), a = run(3), b = run(4), c = run(5);
    page->pointSets = arrayOf({x, y});
    editor.addPointSetsAtBack(arrayOf({a, b, c}));
    EXPECT_EQ(ink(*page), ids({a, b, c, x, y}));
    editor.endUndoGrouping();
    undo();
    EXPECT_EQ(ink(*page), ids({x, y}));
    EXPECT_EQ(clearSelections, 1);
    redo();
    EXPECT_EQ(ink(*page), ids({a, b, c, x, y}));

    editor.removePointSetsFromBack(arrayOf({a, b}));
    EXPECT_EQ(ink(*page), ids({c, x, y}));
    editor.endUndoGrouping();
    undo();
    EXPECT_EQ(ink(*page), ids({a, b, c, x, y}));
    undo();
    EXPECT_EQ(ink(*page), ids({x, y}));
    EXPECT_FALSE(editor.undoManager()->canUndo());
}

TEST_F(PageInkEditorTest, ClearingTheBoardGivesBackTheSameArray) {
    auto a = run(3), b = run(4);
    auto original = arrayOf({a, b});
    page->pointSets = original;
    editor.clearBoard();
    EXPECT_NE(page->pointSets, original);
    EXPECT_EQ(page->pointSets->count(), 0u);
    EXPECT_EQ(original->count(), 2u);
    EXPECT_EQ(snapshotDeletes, 1);
    EXPECT_EQ(lineForgets, 1);
    EXPECT_EQ(viewErases, 1);
    EXPECT_FALSE(editor.isFrameUpdateNeeded);
    EXPECT_EQ(documentChanges, 1);
    editor.endUndoGrouping();

    undo();
    EXPECT_EQ(page->pointSets, original);
    EXPECT_EQ(ink(*page), ids({a, b}));
    EXPECT_TRUE(editor.isFrameUpdateNeeded);
    redo();
    EXPECT_NE(page->pointSets, original);
    EXPECT_EQ(page->pointSets->count(), 0u);
    EXPECT_EQ(viewErases, 2);
    undo();
    EXPECT_EQ(page->pointSets, original);
}

TEST_F(PageInkEditorTest, EachPageHasItsOwnStack) {
    auto page1 = page, page2 = std::make_shared<FoliantPage>();
    EXPECT_NE(page1->pageId(), page2->pageId());
    auto s1 = run(2), s2 = run(3);
    editor.addPointSets(arrayOf({s1}));
    editor.endUndoGrouping();
    UndoManager* stack1 = editor.undoManager();

    editor.setCurrentPage(page2);
    EXPECT_NE(editor.undoManager(), stack1);
    EXPECT_FALSE(editor.undoManager()->canUndo());
    editor.addPointSets(arrayOf({s2}));
    editor.endUndoGrouping();
    undo();
    EXPECT_EQ(page2->pointSets->count(), 0u);
    EXPECT_EQ(ink(*page1), ids({s1}));

    editor.setCurrentPage(page1);
    EXPECT_EQ(editor.undoManager(), stack1);
    EXPECT_TRUE(editor.undoManager()->canUndo());

    // An undo recorded on page 2 still edits page 2 while page 1 is current, and its redo lands on page
    // 2's stack.
    UndoManager& stack2 = editor.undoManagerForPage(*page2);
    stack2.redo();
    EXPECT_EQ(ink(*page2), ids({s2}));
    EXPECT_EQ(ink(*page1), ids({s1}));
    EXPECT_TRUE(stack2.canUndo());
    EXPECT_FALSE(stack1->canRedo());
    // Undo and redo of a clear on page 1 while page 2 is on screen leave the surface alone.
    editor.clearBoard();
    editor.endUndoGrouping();
    EXPECT_EQ(viewErases, 1);
    editor.setCurrentPage(page2);
    stack1->undo();
    EXPECT_EQ(ink(*page1), ids({s1}));
    stack1->redo();
    EXPECT_EQ(page1->pointSets->count(), 0u);
    EXPECT_EQ(viewErases, 1);
    EXPECT_EQ(snapshotDeletes, 1);
    EXPECT_EQ(ink(*page2), ids({s2}));
    EXPECT_TRUE(stack1->canUndo());

    // No page: edits do nothing and there is no stack.
    editor.setCurrentPage(nullptr);
    EXPECT_EQ(editor.undoManager(), nullptr);
    const int changes = documentChanges;
    editor.addPointSets(arrayOf({run(1)}));
    editor.addPointSetsAtBack(arrayOf({run(1)}));
    editor.clearBoard();
    editor.addUndoToRevertToPointsetsSnapshot(arrayOf({run(1)}));
    EXPECT_EQ(documentChanges, changes);
}

TEST_F(PageInkEditorTest, AnErasingGestureIsOneUndoStep) {
    auto a = run(3), b = run(4), c = run(2), d = run(5), e = run(6);
    auto snapshot = arrayOf({a, b, c, d, e});
    // The eraser worked on copies: b and d lost points, c lost all of them, a and e were untouched.
    auto a2 = KVSPointSet::initWithPointSet(*a), e2 = KVSPointSet::initWithPointSet(*e);
    auto b2 = run(2), c2 = run(0), d2 = run(1);
    page->pointSets = arrayOf({a2, b2, c2, d2, e2});

    editor.addUndoToRevertToPointsetsSnapshot(snapshot);
    // Untouched runs are the snapshot's own objects again; the empty run keeps its place for now.
    EXPECT_EQ(ink(*page), ids({a, b2, c2, d2, e}));
    EXPECT_EQ(documentChanges, 1);
    page->pointSets->removeEmptyPointSets();
    EXPECT_EQ(ink(*page), ids({a, b2, d2, e}));
    editor.endUndoGrouping();
    EXPECT_EQ(editor.undoManager()->undoCount(), 1u);

    undo();
    EXPECT_EQ(ink(*page), ids({a, b, c, d, e}));
    EXPECT_FALSE(editor.undoManager()->canUndo());
    redo();
    EXPECT_EQ(ink(*page), ids({a, b2, d2, e}));
    undo();
    EXPECT_EQ(ink(*page), ids({a, b, c, d, e}));

    // A gesture that erased nothing records nothing, and the redo step survives it.
    auto untouched = arrayOf({run(2), run(3)});
    page->pointSets = arrayOf({KVSPointSet::initWithPointSet(*untouched->objectAtIndex(0)),
                               KVSPointSet::initWithPointSet(*untouched->objectAtIndex(1))});
    const int changes = documentChanges;
    editor.addUndoToRevertToPointsetsSnapshot(untouched);
    editor.endUndoGrouping();
    EXPECT_EQ(page->pointSets->objectAtIndex(0), untouched->objectAtIndex(0));
    EXPECT_EQ(page->pointSets->objectAtIndex(1), untouched->objectAtIndex(1));
    EXPECT_FALSE(editor.undoManager()->canUndo());
    EXPECT_TRUE(editor.undoManager()->canRedo());
    EXPECT_EQ(documentChanges, changes);
}

}  // namespace
}  // namespace velumen
