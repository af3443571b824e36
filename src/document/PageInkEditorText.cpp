// The page editor's text box edits: adding, removing and restyling a box of a page, each recording its
// exact inverse on the stack of the page it edits, and the one undo step that closes an editing session
// whose changes the text view already wrote into the box.

#include <algorithm>

#include "document/PageInkEditor.h"

namespace velumen {

namespace {
std::size_t indexOfBox(const FoliantPage& page, const FoliantTextBoxPtr& box) {
    const auto it = std::find(page.textBoxes.begin(), page.textBoxes.end(), box);
    return std::size_t(it - page.textBoxes.begin());
}
}  // namespace

void PageInkEditor::didChangeTextBoxes(const PageRef& page) {
    note({.bookChanged = true, .textBoxesChanged = isCurrent(page)});
}

EditorEffects PageInkEditor::addTextBox(const FoliantTextBoxPtr& box) {
    if (currentPage_ && box) addTextBox(currentPage_, box, currentPage_->textBoxes.size());
    return takeEffects();
}

EditorEffects PageInkEditor::removeTextBox(const FoliantTextBoxPtr& box) {
    removeTextBox(currentPage_, box);
    return takeEffects();
}

EditorEffects PageInkEditor::setTextBoxState(const FoliantTextBoxPtr& box, const FoliantTextBox& state) {
    if (currentPage_ && box) setTextBoxState(currentPage_, box, state);
    return takeEffects();
}

EditorEffects PageInkEditor::setTextBoxFrame(const FoliantTextBoxPtr& box, const Rect& frame) {
    if (!currentPage_ || !box) return takeEffects();
    FoliantTextBox state = *box;
    state.frame = frame;
    setTextBoxState(currentPage_, box, state);
    return takeEffects();
}

EditorEffects PageInkEditor::recordTextBoxEdit(const FoliantTextBoxPtr& box, const FoliantTextBox& before,
                                               PageRef page) {
    if (!page) page = currentPage_;
    if (!page || !box || box->isEqualToTextBox(before)) return takeEffects();
    undoManagerForPage(*page).registerUndo([this, page, box, before] { setTextBoxState(page, box, before); });
    note({.bookChanged = true});
    return takeEffects();
}

EditorEffects PageInkEditor::recordTextBoxFrameChange(const FoliantTextBoxPtr& box, const Rect& before) {
    if (!box || box->frame == before) return takeEffects();
    FoliantTextBox old = *box;
    old.frame = before;
    return recordTextBoxEdit(box, old);
}

void PageInkEditor::addTextBox(const PageRef& page, const FoliantTextBoxPtr& box, std::size_t index) {
    if (!page || !box) return;
    undoManagerForPage(*page).registerUndo([this, page, box] { removeTextBox(page, box); });
    auto& boxes = page->textBoxes;
    boxes.insert(boxes.begin() + std::ptrdiff_t(std::min(index, boxes.size())), box);
    didChangeTextBoxes(page);
}

void PageInkEditor::removeTextBox(const PageRef& page, const FoliantTextBoxPtr& box) {
    if (!page || !box) return;
    const std::size_t index = indexOfBox(*page, box);
    if (index == page->textBoxes.size()) return;
    undoManagerForPage(*page).registerUndo([this, page, box, index] { addTextBox(page, box, index); });
    page->textBoxes.erase(page->textBoxes.begin() + std::ptrdiff_t(index));
    didChangeTextBoxes(page);
}

void PageInkEditor::setTextBoxState(const PageRef& page, const FoliantTextBoxPtr& box, const FoliantTextBox& state) {
    if (!page || !box) return;
    const FoliantTextBox old = *box;
    undoManagerForPage(*page).registerUndo([this, page, box, old] { setTextBoxState(page, box, old); });
    box->copyFromTextBox(state);
    didChangeTextBoxes(page);
}

}  // namespace velumen
