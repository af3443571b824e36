// The one place where a page's content changes: the current page, one undo stack per page, the page-list
// edits, each of which records its exact inverse on the stack of the page it edits, and the eraser's
// gesture on a private copy of the page's list. Every change also notes what it changed (EditorEffects);
// the owner takes those once per event, whether the change came from a gesture, an undo or a page turn.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "document/EditorEffects.h"
#include "document/FoliantData.h"
#include "document/FoliantPage.h"
#include "document/UndoManager.h"
#include "ink/InkCommitTarget.h"
#include "ink/KColor.h"
#include "ink/KGeometry.h"
#include "ink/KVSPointSetArray.h"
#include "objects/FoliantTextBox.h"

namespace velumen {

// The one call the editor makes outward. May be empty.
struct PageInkEditorHooks {
    // The editor holds effects not yet taken, or an edit opened a new undo group: the owner of the event
    // loop takes the effects (takeEffects) and closes the groups (endUndoGrouping) once the present turn of
    // the loop is over, so that every user action is one undo step and its effects are applied once.
    std::function<void()> needsSettling;
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

    // Turns to the page (or to none) and to its undo stack; an erasure in progress is ended first.
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
    // Undoes or redoes the current page's last group; nothing when there is none. The effects are those of
    // every edit that the group ran.
    EditorEffects undo();
    EditorEffects redo();

    // What the edits since the last call changed; the record starts empty again.
    EditorEffects takeEffects();

    // Page-list edits on the current page. With no current page they do nothing. The stroke engine commits
    // through the first and the fourth; their effects wait for takeEffects.
    // Appends the runs by reference.
    void addPointSets(const KVSPointSetArrayPtr& pointSets) override;
    // Inserts run k at index k of the list, in list order; an index past the end appends, and a run
    // without an index is appended.
    EditorEffects addPointSets(const KVSPointSetArrayPtr& pointSets, const IndexList& indices);
    // Removes every occurrence of the runs, noting their indices for the inverse.
    EditorEffects removePointSets(const KVSPointSetArrayPtr& pointSets);
    // Inserts at the bottom of the ink, keeping the array's order.
    void addPointSetsAtBack(const KVSPointSetArrayPtr& pointSets) override;
    EditorEffects removePointSetsFromBack(const KVSPointSetArrayPtr& pointSets);
    // Converted ink (origin at 0, 0) placed on the page as one undo step: its extent centred on `centre`,
    // pulled into the page (constrainRectToBounds), the runs moved there and appended by reference. An empty
    // or missing list changes nothing and records nothing.
    EditorEffects addPointSetsCentredAt(const KVSPointSetArrayPtr& pointSets, Point centre);
    // Gives the page a new empty list; a stroke in progress on it is dropped.
    EditorEffects clearBoard();
    // Gives the page back the very list that clearBoard took.
    EditorEffects undoClearBoard(const KVSPointSetArrayPtr& oldPointSets);

    // ---- Text boxes (PageInkEditorText.cpp) ----
    // Appends the box to the current page (on top of the others); undone by removing it.
    EditorEffects addTextBox(const FoliantTextBoxPtr& box);
    // Takes the box off the current page; undone by putting it back at its place in the z order.
    EditorEffects removeTextBox(const FoliantTextBoxPtr& box);
    // Gives the box every field of `state`; undone by giving it back what it held.
    EditorEffects setTextBoxState(const FoliantTextBoxPtr& box, const FoliantTextBox& state);
    // Gives the box a new frame; undone by giving it back the old one.
    EditorEffects setTextBoxFrame(const FoliantTextBoxPtr& box, const Rect& frame);
    // The end of an editing session whose changes are already in the box: one undo step, on the stack of
    // `page` (the current page when null), that brings back `before` (and redoes to the box as it is now).
    // Records nothing when the box equals `before`.
    EditorEffects recordTextBoxEdit(const FoliantTextBoxPtr& box, const FoliantTextBox& before,
                                    PageRef page = nullptr);
    // The end of a drag of the width grip, whose frames are already in the box: one undo step back to
    // `before`. Records nothing when the frame did not change.
    EditorEffects recordTextBoxFrameChange(const FoliantTextBoxPtr& box, const Rect& before);

    // ---- Erasing ----
    // The start of an erasing gesture: the page erases on a copy of its list, and the list as it was is
    // kept, so that cancelErasing can put it back without a trace. A gesture already running is ended first.
    EditorEffects beginErasing();
    bool isErasing() const { return erasingSnapshot_ != nullptr; }
    // One stamp of the eraser: removes the dots within the square's inscribed circle (only those of
    // `onlyColor`, alpha aside, when given). Emptied runs stay, so that indices hold during the gesture.
    EditorEffects eraseInCircle(const Rect& circle, const KColor* onlyColor = nullptr);
    // The page gets back its list as it was at beginErasing.
    EditorEffects cancelErasing();
    // The end of the gesture: one undo step for what went, then the emptied runs leave the list.
    EditorEffects endErasing();
    // Compares the snapshot taken at touch-down with the page's list index by index, keeps the snapshot's
    // run wherever the length did not change, and records one undo step that brings back the old runs and
    // removes their shortened copies. Records nothing when nothing changed. Empty runs stay in the page's
    // list for the caller to remove.
    EditorEffects addUndoToRevertToPointsetsSnapshot(const KVSPointSetArrayPtr& snapshot);

    // ---- Page images (PageImageEditing.cpp) ----
    // Appends the image on top of the current page's images; its inverse removes it.
    EditorEffects addPageImage(const FoliantImagePtr& image);
    // Removes the image from the current page; its inverse puts it back at the place it had in the z order.
    EditorEffects removePageImage(const FoliantImagePtr& image);
    // Moves an image of the current page in the z order; its inverse moves it back. Indexes out of range
    // do nothing.
    EditorEffects movePageImageWithIndex(std::size_t from, std::size_t to);
    // To the top of the z order; nothing when it is there already or not on the page.
    EditorEffects bringPageImageToFront(const FoliantImagePtr& image);
    // Gives the image the fields of `state` (frame, alpha, angle, border, filter, data) when they differ;
    // its inverse restores a copy of the fields it had. One step for a whole editing session.
    EditorEffects setFoliantImage(const FoliantImagePtr& image, const FoliantImagePtr& state);
    // The book's one master image, or none; its inverse, recorded on the current page's stack, restores
    // the one it had (or none).
    EditorEffects setMasterImage(const FoliantDataPtr& book, const FoliantImagePtr& image);
    // The topmost image of the current page whose rotated outline holds the page point; null for none.
    FoliantImagePtr pageImageAtPoint(Point point) const;
    // Whether the point is inside the image's rotated outline (its frame turned by its angle about the
    // frame's centre).
    static bool isPointInRotatedFrame(const FoliantImage& image, Point point);

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
    void addTextBox(const PageRef& page, const FoliantTextBoxPtr& box, std::size_t index);
    void removeTextBox(const PageRef& page, const FoliantTextBoxPtr& box);
    void setTextBoxState(const PageRef& page, const FoliantTextBoxPtr& box, const FoliantTextBox& state);
    // A text box of the page changed: its views follow and the book changed.
    void didChangeTextBoxes(const PageRef& page);

    KVSPointSetArray& inkOf(FoliantPage& page);
    // Removes the given runs from the page and returns them in their z order (the caller's array when it
    // holds exactly those), with their old indices when asked; nullptr when none was on the page.
    KVSPointSetArrayPtr takeRuns(FoliantPage& page, const KVSPointSetArrayPtr& pointSets, IndexList* indices);
    bool isCurrent(const PageRef& page) const { return page && page == currentPage_; }
    // Notes effects for takeEffects; the owner is asked to settle when the record was empty.
    void note(const EditorEffects& effects);
    // A page's ink changed: repaint and a book change (a repaint only matters for the page on screen).
    void didChangeInk(const PageRef& page);

    PageInkEditorHooks hooks_;
    EditorEffects pending_;
    KVSPointSetArrayPtr erasingSnapshot_;
    PageRef currentPage_;
    UndoManager* undoManager_ = nullptr;
    std::map<FoliantPage::PageId, std::unique_ptr<UndoManager>> undoManagers_;
};

}  // namespace velumen
