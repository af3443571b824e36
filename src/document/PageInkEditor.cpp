#include "document/PageInkEditor.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "ink/ViewTransform.h"

namespace velumen {

namespace {

std::uint64_t lengthOf(const KVSPointSetPtr& run) {
    return run ? run->length() : 0;
}

bool sameRuns(const std::vector<KVSPointSetPtr>& a, const std::vector<KVSPointSetPtr>& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
}

}  // namespace

PageInkEditor::PageInkEditor(PageInkEditorHooks hooks) : hooks_(std::move(hooks)) {}

PageInkEditor::~PageInkEditor() {
    if (undoManager_) undoManager_->setCheckpointListener({});
}

void PageInkEditor::note(const EditorEffects& effects) {
    const bool wasEmpty = !pending_.any();
    pending_ |= effects;
    if (wasEmpty && pending_.any() && hooks_.needsSettling) hooks_.needsSettling();
}

EditorEffects PageInkEditor::takeEffects() {
    return std::exchange(pending_, EditorEffects{});
}

// Undo stacks

void PageInkEditor::setCurrentPage(PageRef page) {
    if (isErasing()) endErasing();
    currentPage_ = std::move(page);
    switchToUndoManagerForCurrentPage();
    note(EditorEffects::newInk());
}

void PageInkEditor::switchToUndoManagerForCurrentPage() {
    if (undoManager_) undoManager_->setCheckpointListener({});
    undoManager_ = currentPage_ ? &undoManagerForPage(*currentPage_) : nullptr;
    note({.undoChanged = true});
    // At each checkpoint of the current stack (a step closed, undone, redone) the undo controls follow; the
    // edits themselves report the change of the book.
    if (undoManager_) undoManager_->setCheckpointListener([this] { note({.undoChanged = true}); });
}

UndoManager& PageInkEditor::undoManagerForPage(const FoliantPage& page) {
    auto& slot = undoManagers_[page.pageId()];
    if (!slot) {
        slot = std::make_unique<UndoManager>();
        slot->setGroupOpenedListener([this] {
            if (hooks_.needsSettling) hooks_.needsSettling();
        });
    }
    return *slot;
}

void PageInkEditor::removeAllUndoManagers() {
    undoManager_ = nullptr;
    undoManagers_.clear();
    switchToUndoManagerForCurrentPage();
}

void PageInkEditor::endUndoGrouping() {
    for (auto& entry : undoManagers_)
        entry.second->endUndoGrouping();
}

EditorEffects PageInkEditor::undo() {
    if (undoManager_ && undoManager_->canUndo()) undoManager_->undo();
    return takeEffects();
}

EditorEffects PageInkEditor::redo() {
    if (undoManager_ && undoManager_->canRedo()) undoManager_->redo();
    return takeEffects();
}

// Page-list edits on the current page

void PageInkEditor::addPointSets(const KVSPointSetArrayPtr& pointSets) {
    addPointSets(currentPage_, pointSets);
}

EditorEffects PageInkEditor::addPointSets(const KVSPointSetArrayPtr& pointSets, const IndexList& indices) {
    addPointSets(currentPage_, pointSets, indices);
    return takeEffects();
}

EditorEffects PageInkEditor::addPointSetsCentredAt(const KVSPointSetArrayPtr& pointSets, Point centre) {
    if (!currentPage_ || !pointSets || pointSets->count() == 0) return {};
    const Rect bounds = pointSets->boundingRect();
    if (bounds.isNull()) return {};
    const Rect centred{centre.x - bounds.width * 0.5, centre.y - bounds.height * 0.5, bounds.width, bounds.height};
    const Rect placed = constrainRectToBounds(centred, {0, 0, kPageSize.width, kPageSize.height});
    const Point delta{placed.midX() - bounds.midX(), placed.midY() - bounds.midY()};
    if (delta.x != 0 || delta.y != 0) pointSets->applyDelta(delta);
    addPointSets(currentPage_, pointSets);
    return takeEffects();
}

EditorEffects PageInkEditor::removePointSets(const KVSPointSetArrayPtr& pointSets) {
    removePointSets(currentPage_, pointSets);
    return takeEffects();
}

void PageInkEditor::addPointSetsAtBack(const KVSPointSetArrayPtr& pointSets) {
    addPointSetsAtBack(currentPage_, pointSets);
}

EditorEffects PageInkEditor::removePointSetsFromBack(const KVSPointSetArrayPtr& pointSets) {
    removePointSetsFromBack(currentPage_, pointSets);
    return takeEffects();
}

EditorEffects PageInkEditor::clearBoard() {
    clearBoard(currentPage_);
    return takeEffects();
}

EditorEffects PageInkEditor::undoClearBoard(const KVSPointSetArrayPtr& oldPointSets) {
    undoClearBoard(currentPage_, oldPointSets);
    return takeEffects();
}

// Page-list edits on a given page

KVSPointSetArray& PageInkEditor::inkOf(FoliantPage& page) {
    if (!page.pointSets) {
        page.pointSets = std::make_shared<KVSPointSetArray>();
        // A page on screen without a list shows the new one.
        if (&page == currentPage_.get()) note(EditorEffects::newInk());
    }
    return *page.pointSets;
}

void PageInkEditor::didChangeInk(const PageRef& page) {
    note({.repaint = isCurrent(page), .bookChanged = true});
}

void PageInkEditor::addPointSets(const PageRef& page, const KVSPointSetArrayPtr& pointSets) {
    if (!page || !pointSets) return;
    undoManagerForPage(*page).registerUndo([this, page, pointSets] { removePointSets(page, pointSets); });
    auto& runs = inkOf(*page).pointSets();
    // A copy of the list first: the page's own array may be the argument.
    const std::vector<KVSPointSetPtr> added = pointSets->pointSets();
    runs.insert(runs.end(), added.begin(), added.end());
    didChangeInk(page);
}

void PageInkEditor::addPointSets(const PageRef& page, const KVSPointSetArrayPtr& pointSets,
                                 const IndexList& indices) {
    if (!page || !pointSets) return;
    undoManagerForPage(*page).registerUndo([this, page, pointSets] { removePointSets(page, pointSets); });
    auto& runs = inkOf(*page).pointSets();
    const std::vector<KVSPointSetPtr> added = pointSets->pointSets();
    for (std::size_t k = 0; k < added.size(); ++k) {
        const std::size_t at = k < indices.size() ? std::min(indices[k], runs.size()) : runs.size();
        runs.insert(runs.begin() + static_cast<std::ptrdiff_t>(at), added[k]);
    }
    didChangeInk(page);
}

void PageInkEditor::removePointSets(const PageRef& page, const KVSPointSetArrayPtr& pointSets) {
    if (!page || !pointSets) return;
    IndexList indices;
    const KVSPointSetArrayPtr removed = takeRuns(*page, pointSets, &indices);
    if (!removed) return;
    undoManagerForPage(*page).registerUndo(
        [this, page, removed, indices] { addPointSets(page, removed, indices); });
    didChangeInk(page);
}

void PageInkEditor::addPointSetsAtBack(const PageRef& page, const KVSPointSetArrayPtr& pointSets) {
    if (!page || !pointSets) return;
    undoManagerForPage(*page).registerUndo(
        [this, page, pointSets] { removePointSetsFromBack(page, pointSets); });
    auto& runs = inkOf(*page).pointSets();
    const std::vector<KVSPointSetPtr> added = pointSets->pointSets();
    for (auto it = added.rbegin(); it != added.rend(); ++it)
        runs.insert(runs.begin(), *it);
    didChangeInk(page);
}

void PageInkEditor::removePointSetsFromBack(const PageRef& page, const KVSPointSetArrayPtr& pointSets) {
    if (!page || !pointSets) return;
    const KVSPointSetArrayPtr removed = takeRuns(*page, pointSets, nullptr);
    if (!removed) return;
    undoManagerForPage(*page).registerUndo([this, page, removed] { addPointSetsAtBack(page, removed); });
    didChangeInk(page);
}

KVSPointSetArrayPtr PageInkEditor::takeRuns(FoliantPage& page, const KVSPointSetArrayPtr& pointSets,
                                            IndexList* indices) {
    std::unordered_set<const KVSPointSet*> doomed;
    for (const auto& run : pointSets->pointSets())
        doomed.insert(run.get());

    // Note every position that goes, in z order, so that inserting them back in this order, each at its
    // noted index, rebuilds the list exactly.
    auto& runs = inkOf(page).pointSets();
    std::vector<KVSPointSetPtr> removed;
    std::vector<KVSPointSetPtr> remaining;
    remaining.reserve(runs.size());
    for (std::size_t i = 0; i < runs.size(); ++i) {
        if (doomed.count(runs[i].get()) != 0) {
            removed.push_back(runs[i]);
            if (indices) indices->push_back(i);
        } else {
            remaining.push_back(runs[i]);
        }
    }
    if (removed.empty()) return nullptr;
    runs = std::move(remaining);
    // The caller's array stands for the removed runs when it holds exactly them, in order.
    if (sameRuns(removed, pointSets->pointSets())) return pointSets;
    auto taken = std::make_shared<KVSPointSetArray>();
    taken->pointSets() = std::move(removed);
    return taken;
}

void PageInkEditor::clearBoard(const PageRef& page) {
    if (!page) return;
    KVSPointSetArrayPtr old = page->pointSets ? page->pointSets : std::make_shared<KVSPointSetArray>();
    undoManagerForPage(*page).registerUndo([this, page, old] { undoClearBoard(page, old); });
    page->pointSets = std::make_shared<KVSPointSetArray>();
    // The surface, the ink snapshot and the stroke in progress belong to the page on screen.
    const bool onScreen = isCurrent(page);
    note({.repaint = onScreen, .inkReplaced = onScreen, .bookChanged = true, .strokeDropped = onScreen});
}

void PageInkEditor::undoClearBoard(const PageRef& page, const KVSPointSetArrayPtr& oldPointSets) {
    if (!page) return;
    undoManagerForPage(*page).registerUndo([this, page] { clearBoard(page); });
    page->pointSets = oldPointSets ? oldPointSets : std::make_shared<KVSPointSetArray>();
    note({.inkReplaced = isCurrent(page)});
    didChangeInk(page);
}

// Erasing

EditorEffects PageInkEditor::beginErasing() {
    if (isErasing()) endErasing();
    if (!currentPage_) return takeEffects();
    KVSPointSetArray& ink = inkOf(*currentPage_);
    erasingSnapshot_ = currentPage_->pointSets;
    currentPage_->pointSets = KVSPointSetArray::initWithPointSetArray(ink);
    note(EditorEffects::newInk());
    return takeEffects();
}

EditorEffects PageInkEditor::eraseInCircle(const Rect& circle, const KColor* onlyColor) {
    if (!isErasing() || !currentPage_ || !currentPage_->pointSets) return {};
    KVSPointSetArray& ink = *currentPage_->pointSets;
    const bool removed = onlyColor ? ink.removePointsInCircle(circle, false, *onlyColor)
                                   : ink.removePointsInCircle(circle, false);
    return {.repaint = removed};
}

EditorEffects PageInkEditor::cancelErasing() {
    if (!isErasing()) return {};
    if (currentPage_) currentPage_->pointSets = std::move(erasingSnapshot_);
    erasingSnapshot_.reset();
    note(EditorEffects::newInk());
    return takeEffects();
}

EditorEffects PageInkEditor::endErasing() {
    if (!isErasing()) return {};
    const KVSPointSetArrayPtr snapshot = std::move(erasingSnapshot_);
    erasingSnapshot_.reset();
    note(addUndoToRevertToPointsetsSnapshot(snapshot));
    if (currentPage_ && currentPage_->pointSets) currentPage_->pointSets->removeEmptyPointSets();
    note(EditorEffects::newInk());
    return takeEffects();
}

EditorEffects PageInkEditor::addUndoToRevertToPointsetsSnapshot(const KVSPointSetArrayPtr& snapshot) {
    const PageRef page = currentPage_;
    if (!page || !snapshot) return takeEffects();
    const std::vector<KVSPointSetPtr> before = snapshot->pointSets();
    const std::vector<KVSPointSetPtr> live = inkOf(*page).pointSets();

    auto oldRuns = std::make_shared<KVSPointSetArray>();
    IndexList indices;
    auto newRuns = std::make_shared<KVSPointSetArray>();
    auto kept = std::make_shared<KVSPointSetArray>();
    // The two lists line up index by index. Should one be longer, a missing run counts as changed.
    const std::size_t n = std::max(before.size(), live.size());
    for (std::size_t i = 0; i < n; ++i) {
        const KVSPointSetPtr s = i < before.size() ? before[i] : nullptr;
        const KVSPointSetPtr l = i < live.size() ? live[i] : nullptr;
        if (s && l && s->length() == l->length()) {
            kept->pointSets().push_back(s);
            continue;
        }
        if (s) {
            oldRuns->pointSets().push_back(s);
            indices.push_back(i);
        }
        if (l) {
            if (lengthOf(l) > 0) newRuns->pointSets().push_back(l);
            kept->pointSets().push_back(l);
        }
    }

    page->pointSets = kept;
    note(EditorEffects::newInk());
    if (oldRuns->count() == 0 && newRuns->count() == 0) return takeEffects();

    UndoManager& manager = undoManagerForPage(*page);
    if (oldRuns->count() > 0) {
        manager.registerUndo([this, page, oldRuns, indices] { addPointSets(page, oldRuns, indices); });
    }
    if (newRuns->count() > 0) {
        manager.registerUndo([this, page, newRuns] { removePointSets(page, newRuns); });
    }
    didChangeInk(page);
    return takeEffects();
}

}  // namespace velumen
