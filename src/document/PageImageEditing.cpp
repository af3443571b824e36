// The page editor's edits of placed pictures and of the book's master image: each records its exact
// inverse on the stack of the page it edits and notes a repaint and a change of the book. Textures are not
// the editor's business: whoever shows the page compares its collections with the page after each event.
#include <algorithm>
#include <cmath>

#include "document/PageInkEditor.h"

namespace velumen {

namespace {

std::ptrdiff_t indexOf(const std::vector<FoliantImagePtr>& images, const FoliantImagePtr& image) {
    const auto it = std::find(images.begin(), images.end(), image);
    return it == images.end() ? -1 : it - images.begin();
}

}  // namespace

EditorEffects PageInkEditor::addPageImage(const FoliantImagePtr& image) {
    const PageRef page = currentPage_;
    if (!page || !image || indexOf(page->images, image) >= 0) return takeEffects();
    page->images.push_back(image);
    undoManagerForPage(*page).registerUndo([this, page, image] {
        // Undo runs on the stack of the page on screen, so the page is the current one.
        if (isCurrent(page)) removePageImage(image);
    });
    note({.repaint = true, .bookChanged = true});
    return takeEffects();
}

EditorEffects PageInkEditor::removePageImage(const FoliantImagePtr& image) {
    const PageRef page = currentPage_;
    if (!page) return takeEffects();
    const std::ptrdiff_t at = indexOf(page->images, image);
    if (at < 0) return takeEffects();
    page->images.erase(page->images.begin() + at);
    undoManagerForPage(*page).registerUndo([this, page, image, at] {
        if (!isCurrent(page)) return;
        // Back at its old place in the z order, not on top; its own inverse removes it again.
        auto& images = page->images;
        images.insert(images.begin() + std::min<std::ptrdiff_t>(at, std::ptrdiff_t(images.size())), image);
        undoManagerForPage(*page).registerUndo([this, page, image] {
            if (isCurrent(page)) removePageImage(image);
        });
        note({.repaint = true, .bookChanged = true});
    });
    note({.repaint = true, .bookChanged = true});
    return takeEffects();
}

EditorEffects PageInkEditor::movePageImageWithIndex(std::size_t from, std::size_t to) {
    const PageRef page = currentPage_;
    if (!page || from >= page->images.size() || to >= page->images.size() || from == to) return takeEffects();
    auto& images = page->images;
    FoliantImagePtr image = images[from];
    images.erase(images.begin() + std::ptrdiff_t(from));
    images.insert(images.begin() + std::ptrdiff_t(to), image);
    undoManagerForPage(*page).registerUndo([this, page, from, to] {
        if (isCurrent(page)) movePageImageWithIndex(to, from);
    });
    note({.repaint = isCurrent(page), .bookChanged = true});
    return takeEffects();
}

EditorEffects PageInkEditor::bringPageImageToFront(const FoliantImagePtr& image) {
    if (!currentPage_) return takeEffects();
    const std::ptrdiff_t at = indexOf(currentPage_->images, image);
    const std::size_t last = currentPage_->images.size() - 1;
    if (at < 0 || std::size_t(at) == last) return takeEffects();
    return movePageImageWithIndex(std::size_t(at), last);
}

EditorEffects PageInkEditor::setFoliantImage(const FoliantImagePtr& image, const FoliantImagePtr& state) {
    if (!image || !state || image->isEqualToFoliantImage(*state) || !currentPage_) return takeEffects();
    const PageRef page = currentPage_;
    const FoliantImagePtr present = image->copy();
    undoManagerForPage(*page).registerUndo([this, page, image, present] {
        if (isCurrent(page)) setFoliantImage(image, present);
    });
    image->copyFromFoliantImage(*state);
    note({.repaint = true, .bookChanged = true});
    return takeEffects();
}

EditorEffects PageInkEditor::setMasterImage(const FoliantDataPtr& book, const FoliantImagePtr& image) {
    if (!book || !currentPage_) return takeEffects();
    auto& masters = book->masterImages();
    const FoliantImagePtr old = masters.empty() ? nullptr : masters.front();
    if (old == image && masters.size() <= 1) return takeEffects();
    const PageRef page = currentPage_;
    undoManagerForPage(*page).registerUndo([this, page, book, old] {
        if (isCurrent(page)) setMasterImage(book, old);
    });
    masters.clear();
    if (image) masters.push_back(image);
    note({.repaint = true, .bookChanged = true});
    return takeEffects();
}

bool PageInkEditor::isPointInRotatedFrame(const FoliantImage& image, Point point) {
    const Rect& f = image.frame;
    const double cx = f.midX(), cy = f.midY();
    const double dx = point.x - cx, dy = point.y - cy;
    const double a = -double(image.angle);
    const double c = std::cos(a), s = std::sin(a);
    const double x = cx + dx * c - dy * s;
    const double y = cy + dx * s + dy * c;
    // Half-open on the far edges, as rectangles contain points.
    const Rect r = f.standardized();
    return x >= r.x && x < r.x + r.width && y >= r.y && y < r.y + r.height;
}

FoliantImagePtr PageInkEditor::pageImageAtPoint(Point point) const {
    if (!currentPage_) return nullptr;
    const auto& images = currentPage_->images;
    for (auto it = images.rbegin(); it != images.rend(); ++it) {
        if (*it && isPointInRotatedFrame(**it, point)) return *it;
    }
    return nullptr;
}

}  // namespace velumen
