#include "shell/pages/PagePickerModel.h"

#include <charconv>
#include <utility>

namespace velumen {

std::optional<QImage> ThumbnailCache::object(std::int64_t page) {
    auto it = entries_.find(page);
    if (it == entries_.end()) return std::nullopt;
    it->second.lastUse = ++uses_;
    return it->second.image;
}

void ThumbnailCache::setObject(std::int64_t page, QImage image) {
    entries_[page] = {std::move(image), ++uses_};
    while (entries_.size() > limit_) {
        auto oldest = entries_.begin();
        for (auto it = entries_.begin(); it != entries_.end(); ++it)
            if (it->second.lastUse < oldest->second.lastUse) oldest = it;
        entries_.erase(oldest);
    }
}

void PagePickerModel::setHeaderText(std::string text) {
    headerText_ = std::move(text);
    if (table.headerChanged) table.headerChanged(headerText_);
}

void PagePickerModel::setNumberOfPages(std::int64_t count) {
    numberOfPages_ = count < 0 ? 0 : count;
    if (!isUpdating) reloadTableData();
}

void PagePickerModel::setCurrentPage(std::int64_t row) {
    currentPage_ = row;
    if (!isUpdating && table.selectRow) table.selectRow(row);
}

void PagePickerModel::setIsLockedForEditing(bool locked) {
    isLockedForEditing_ = locked;
    if (table.lockedChanged) table.lockedChanged(locked);
}

void PagePickerModel::setCachedThumbnail(const QImage& image, std::int64_t page) {
    thumbnailCache_.setObject(page, image);
    previousThumbnailCache_.setObject(page, image);
}

void PagePickerModel::reloadTableData() {
    if (table.reloadData) table.reloadData();
}

std::string PagePickerModel::rowText(std::int64_t row) {
    char buffer[32] = "Page ";
    const auto end = std::to_chars(buffer + 5, buffer + sizeof buffer, row + 1).ptr;
    return std::string(buffer, end);
}

QImage PagePickerModel::thumbnailForRow(std::int64_t row, bool rowIsVisible) {
    if (std::optional<QImage> cached = thumbnailCache_.object(row)) return *cached;
    QImage shown = previousThumbnailCache_.object(row).value_or(QImage());
    const double started = clock_.now();
    if (isViewActive_ && rowIsVisible && started > thumbnailCacheInvalidBeforeTime_ && delegate) {
        QImage fresh = delegate->thumbnailImageForPage(row);
        later(0, [this, row, started, fresh = std::move(fresh)] {
            if (table.setRowImage) table.setRowImage(row, fresh);
            if (started > thumbnailCacheInvalidBeforeTime_ && !fresh.isNull()) setCachedThumbnail(fresh, row);
        });
    }
    return shown;
}

void PagePickerModel::viewWillAppear() {
    isViewActive_ = true;
    reloadTableData();
    if (table.selectRow) table.selectRow(currentPage_);
}

void PagePickerModel::copyThumbnail(std::int64_t from, std::int64_t to) {
    if (std::optional<QImage> image = thumbnailCache_.object(from))
        setCachedThumbnail(*image, to);
    else
        invalidateThumbnailForPage(to);
}

void PagePickerModel::deleteRow(std::int64_t row) {
    if (!canDeleteRows() || row < 0 || row >= numberOfPages_) return;
    isUpdating = true;
    thumbnailCacheInvalidBeforeTime_ = clock_.now();
    if (delegate) delegate->didDeletePageWithIndex(row);
    --numberOfPages_;
    for (std::int64_t i = row; i < numberOfPages_; ++i)
        copyThumbnail(i + 1, i);
    if (table.deleteRow) table.deleteRow(row);
    endUpdate();
}

void PagePickerModel::moveRow(std::int64_t from, std::int64_t to) {
    if (!canMoveRows() || from < 0 || to < 0 || from >= numberOfPages_ || to >= numberOfPages_) return;
    isUpdating = true;
    if (delegate) delegate->didMovePage(from, to);
    thumbnailCacheInvalidBeforeTime_ = clock_.now();
    const std::optional<QImage> kept = thumbnailCache_.object(from);
    if (from < to) {
        for (std::int64_t i = from; i < to; ++i)
            copyThumbnail(i + 1, i);
    } else {
        for (std::int64_t i = from; i > to; --i)
            copyThumbnail(i - 1, i);
    }
    if (kept)
        setCachedThumbnail(*kept, to);
    else
        invalidateThumbnailForPage(to);
    if (table.moveRow) table.moveRow(from, to);
    endUpdate();
}

std::string PagePickerModel::deleteConfirmationText(std::int64_t row) const {
    const PageContentCounts counts = delegate ? delegate->contentsOfPage(row) : PageContentCounts{};
    auto amount = [](std::uint64_t n, const char* one, const char* many) {
        return n == 0 ? std::string("no ") + many : std::to_string(n) + " " + (n == 1 ? one : many);
    };
    return "Delete page " + std::to_string(row + 1) + "? Its " + amount(counts.strokes, "stroke", "strokes") + ", " +
           amount(counts.pictures, "picture", "pictures") + " and " +
           amount(counts.textBoxes, "text box", "text boxes") + " go with it. This cannot be undone.";
}

void PagePickerModel::addButtonTapped() {
    if (isLockedForEditing_) return;
    isUpdating = true;
    const std::int64_t row = currentPage_ + 1;
    if (delegate)
        delegate->didAddPageAtIndex(row);
    else
        ++numberOfPages_;
    thumbnailCacheInvalidBeforeTime_ = clock_.now();
    for (std::int64_t i = numberOfPages_ - 1; i >= currentPage_ + 2; --i)
        copyThumbnail(i - 1, i);
    invalidateThumbnailForPage(row);
    invalidatePreviousThumbnailForPage(row);
    if (table.insertRow) table.insertRow(row);
    endUpdate();
}

void PagePickerModel::didSelectRow(std::int64_t row) {
    if (row < 0 || row >= numberOfPages_) return;
    currentPage_ = row;
    if (delegate) delegate->didPickPageWithIndex(row);
}

void PagePickerModel::endUpdate() {
    isUpdating = false;
    later(kReloadDelay, [this] { reloadTableData(); });
}

void PagePickerModel::later(double seconds, std::function<void()> work) {
    if (table.runLater)
        table.runLater(seconds, std::move(work));
    else
        work();
}

}  // namespace velumen
