// The editor's core of page ink: the current page, one undo stack per page, and the page-list edits,
// each of which records its exact inverse on the stack of the page it edits.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "document/FoliantPage.h"
#include "document/UndoManager.h"
#include "ink/InkCommitTarget.h"
#include "ink/KVSPointSetArray.h"

namespace velumen {

// What the edits ask of the views around them. Any member may be empty.
struct PageInkEditorHooks {
    // Drops the selection, which points into live run buffers.
    std::function<void()> clearSelection;
    std::function<void()> deleteInkSnapshotTexture;
    // Drops the stroke sampler's current line and its lines.
    std::function<void()> forgetCurrentLine;
    // Clears the GL surface.
    std::function<void()> eraseView;
    // Marks the book dirty.
    std::function<void()> registerDocumentChange;
    // Enables the undo and redo buttons by the current stack.
    std::function<void()> updateUndoToolbarButtons;
    // An edit opened a new undo group on some page's stack: the owner of the event loop closes it
    // (endUndoGrouping) once the present turn of the loop is over, so that every user action is one step.
    std::function<void()> undoGroupOpened;
};

class PageInkEditor : public InkCommitTarget {
  public:
    using PageRef = std::shared_ptr<FoliantPage>;
    using IndexList = std::vector<std::size_t>;

    explicit PageInkEditor(PageInkEditorHooks hooks = {});
    ~PageInkEditor() override;
    PageInkEditor(const PageInkEditor&) = delete;
    PageInkEditor& operator=(const PageInkEditor&) = delete;

    PageInkEditorHooks& hooks() { return hooks_; }

    // Turns to the page (or to none) and to its undo stack.
    void setCurrentPage(PageRef page);
    const PageRef& currentPage() const { return currentPage_; }

    // Makes the current page's stack the observed one, creating it on first use.
    void switchToUndoManagerForCurrentPage();
    // The current page's stack; nullptr while no page is current.
    UndoManager* undoManager() { return undoManager_; }
    // The stack of any page, created on demand.
    UndoManager& undoManagerForPage(const FoliantPage& page);
    // Forgets every stack (the book's contents changed), then switches again. Not from inside an undo.
    void removeAllUndoManagers();
    // The end of an event: closes the open group of every stack.
    void endUndoGrouping();
    // Called by the current stack at each checkpoint: toolbar buttons, then registerDocumentChange.
    void undoManagerDidUpdate();

    // Set by every edit that changes what the page shows; the owner of the frame loop reads and clears it.
    bool isFrameUpdateNeeded = false;

    // Page-list edits on the current page. With no current page they do nothing.
    // Appends the runs by reference.
    void addPointSets(const KVSPointSetArrayPtr& pointSets) override;
    // Inserts run k at index k of the list, in list order; an index past the end appends, and a run
    // without an index is appended.
    void addPointSets(const KVSPointSetArrayPtr& pointSets, const IndexList& indices);
    // Removes every occurrence of the runs, noting their indices for the inverse.
    void removePointSets(const KVSPointSetArrayPtr& pointSets);
    // Inserts at the bottom of the ink, keeping the array's order.
    void addPointSetsAtBack(const KVSPointSetArrayPtr& pointSets) override;
    void removePointSetsFromBack(const KVSPointSetArrayPtr& pointSets);
    // Gives the page a new empty list; does not set isFrameUpdateNeeded (the view is erased instead).
    void clearBoard();
    // Gives the page back the very list that clearBoard took.
    void undoClearBoard(const KVSPointSetArrayPtr& oldPointSets);
    // Ends an erasing gesture: compares the snapshot taken at touch-down with the page's list index by
    // index, keeps the snapshot's run wherever the length did not change, and records one undo step
    // that brings back the old runs and removes their shortened copies. Records nothing when nothing
    // changed. Empty runs stay in the page's list for the caller to remove.
    void addUndoToRevertToPointsetsSnapshot(const KVSPointSetArrayPtr& snapshot);

  private:
    // The same edits on an explicit page; the closures recorded capture that page, so that an undo
    // edits it and records on its stack whatever page is current by then.
    void addPointSets(const PageRef& page, const KVSPointSetArrayPtr& pointSets);
    void addPointSets(const PageRef& page, const KVSPointSetArrayPtr& pointSets, const IndexList& indices);
    void removePointSets(const PageRef& page, const KVSPointSetArrayPtr& pointSets);
    void addPointSetsAtBack(const PageRef& page, const KVSPointSetArrayPtr& pointSets);
    void removePointSetsFromBack(const PageRef& page, const KVSPointSetArrayPtr& pointSets);
    void clearBoard(const PageRef& page);
    void undoClearBoard(const PageRef& page, const KVSPointSetArrayPtr& oldPointSets);

    KVSPointSetArray& inkOf(FoliantPage& page);
    // Removes the given runs from the page and returns them in their z order (the caller's array when it
    // holds exactly those), with their old indices when asked; nullptr when none was on the page.
    KVSPointSetArrayPtr takeRuns(FoliantPage& page, const KVSPointSetArrayPtr& pointSets, IndexList* indices);
    bool isCurrent(const PageRef& page) const { return page && page == currentPage_; }
    void didChangeInk();
    static void call(const std::function<void()>& hook) {
        if (hook) hook();
    }

    PageInkEditorHooks hooks_;
    PageRef currentPage_;
    UndoManager* undoManager_ = nullptr;
    std::map<FoliantPage::PageId, std::unique_ptr<UndoManager>> undoManagers_;
};

}  // namespace velumen
