// The page picker's state without its widgets: the rows, the current row, the lock, and the two thumbnail
// caches kept in step with row numbers through deletes, moves and adds, in the order in which the editor
// (the delegate) hears of each change. The list widget drives it and is driven back through a table of
// callbacks.
#pragma once

#include <QImage>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "ink/Clock.h"

namespace velumen {

// What a page holds, for the question asked before it is deleted.
struct PageContentCounts {
    std::uint64_t strokes = 0;
    std::uint64_t pictures = 0;
    std::uint64_t textBoxes = 0;
};

// The editor's side of the picker.
class PagePickerDelegate {
  public:
    virtual ~PagePickerDelegate() = default;
    virtual void didPickPageWithIndex(std::int64_t index) = 0;
    virtual void didMovePage(std::int64_t from, std::int64_t to) = 0;
    virtual void didDeletePageWithIndex(std::int64_t index) = 0;
    virtual void didAddPageAtIndex(std::int64_t index) = 0;
    // A picture of the page for its row; a null image shows the blank page.
    virtual QImage thumbnailImageForPage(std::int64_t index) = 0;
    // What goes with the page when it is deleted.
    virtual PageContentCounts contentsOfPage(std::int64_t index) = 0;
};

// Page index to picture, holding at most `limit` entries; the least recently used one goes first.
class ThumbnailCache {
  public:
    explicit ThumbnailCache(std::size_t limit) : limit_(limit) {}
    std::optional<QImage> object(std::int64_t page);
    void setObject(std::int64_t page, QImage image);
    void removeObject(std::int64_t page) { entries_.erase(page); }
    void removeAllObjects() { entries_.clear(); }
    std::size_t count() const { return entries_.size(); }

  private:
    struct Entry {
        QImage image;
        std::uint64_t lastUse = 0;
    };
    std::size_t limit_;
    std::uint64_t uses_ = 0;
    std::map<std::int64_t, Entry> entries_;
};

// What the model asks of the list it drives. Any member may be empty.
struct PagePickerTable {
    std::function<void()> reloadData;
    std::function<void(std::int64_t row)> selectRow;
    std::function<void(std::int64_t row)> deleteRow;
    // The list shows the row at `from` at `to` (a dragged row may be there already).
    std::function<void(std::int64_t from, std::int64_t to)> moveRow;
    // A new row, scrolled to the middle.
    std::function<void(std::int64_t row)> insertRow;
    // Shows the picture (null: the blank page) in the cell that is still tagged with this row, if any.
    std::function<void(std::int64_t row, const QImage& image)> setRowImage;
    std::function<void(bool locked)> lockedChanged;
    std::function<void(const std::string& text)> headerChanged;
    // Runs the work on the main event loop after so many seconds (0: its next turn).
    std::function<void(double seconds, std::function<void()> work)> runLater;
};

class PagePickerModel {
  public:
    static constexpr std::size_t kCacheLimit = 50;
    static constexpr int kRowHeight = 120;
    static constexpr double kReloadDelay = 0.5;

    explicit PagePickerModel(const Clock& clock) : clock_(clock) {}

    // A structural change is under way: the setters leave the table alone.
    bool isUpdating = false;
    PagePickerDelegate* delegate = nullptr;
    PagePickerTable table;

    void setHeaderText(std::string text);
    const std::string& headerText() const { return headerText_; }
    void setNumberOfPages(std::int64_t count);
    std::int64_t numberOfPages() const { return numberOfPages_; }
    void setCurrentPage(std::int64_t row);
    std::int64_t currentPage() const { return currentPage_; }
    void setIsLockedForEditing(bool locked);
    bool isLockedForEditing() const { return isLockedForEditing_; }

    void invalidateAllThumbnails() { thumbnailCache_.removeAllObjects(); }
    void invalidateThumbnailForPage(std::int64_t page) { thumbnailCache_.removeObject(page); }
    void invalidatePreviousThumbnailForPage(std::int64_t page) { previousThumbnailCache_.removeObject(page); }
    std::optional<QImage> cachedThumbnailForPage(std::int64_t page) { return thumbnailCache_.object(page); }
    std::optional<QImage> previousThumbnailForPage(std::int64_t page) { return previousThumbnailCache_.object(page); }
    // Writes both caches.
    void setCachedThumbnail(const QImage& image, std::int64_t page);
    void reloadTableData();
    double thumbnailCacheInvalidBeforeTime() const { return thumbnailCacheInvalidBeforeTime_; }

    // "Page %ld" with the row + 1.
    static std::string rowText(std::int64_t row);
    // What a row shows now: the cached picture, else the row's last known one, else null (the blank page).
    // Without a cached picture, a visible row of an active picker asks the delegate for a fresh one, shows
    // it on the next turn of the event loop, and keeps it unless the list changed meanwhile.
    QImage thumbnailForRow(std::int64_t row, bool rowIsVisible);

    bool isViewActive() const { return isViewActive_; }
    // Reloads; the widget then scrolls the current row to the middle.
    void viewWillAppear();
    void viewDidDisappear() { isViewActive_ = false; }

    bool canDeleteRows() const { return !isLockedForEditing_ && numberOfPages_ >= 2; }
    bool canMoveRows() const { return !isLockedForEditing_; }

    // The question asked before a row is deleted, naming what goes with the page.
    std::string deleteConfirmationText(std::int64_t row) const;

    // The user's structure changes; each ends by scheduling a reload half a second later. A delete is
    // the last step of editing: a row's delete control, then the confirmation.
    void deleteRow(std::int64_t row);
    void moveRow(std::int64_t from, std::int64_t to);
    void addButtonTapped();
    // A tap on a row.
    void didSelectRow(std::int64_t row);

  private:
    // Row `to` takes the cached picture of row `from`, or is invalidated.
    void copyThumbnail(std::int64_t from, std::int64_t to);
    void endUpdate();
    void later(double seconds, std::function<void()> work);

    const Clock& clock_;
    ThumbnailCache thumbnailCache_{kCacheLimit};
    ThumbnailCache previousThumbnailCache_{kCacheLimit};
    bool isViewActive_ = false;
    double thumbnailCacheInvalidBeforeTime_ = 0;
    bool isLockedForEditing_ = false;
    std::string headerText_;
    std::int64_t numberOfPages_ = 0;
    std::int64_t currentPage_ = 0;
};

}  // namespace velumen
