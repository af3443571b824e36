#include "shell/pages/PageNavigator.h"

#include <QTimer>
#include <charconv>
#include <chrono>
#include <cmath>

#include "shell/pages/PagePicker.h"
#include "shell/pages/PageTurnOverlay.h"
#include "shell/pages/Rearrange.h"

namespace velumen {

namespace {

// Seconds from 1 January 1970 to 1 January 2001.
constexpr double kReferenceDateOffset = 978307200.0;

void appendNumber(std::string& text, std::int64_t value) {
    char buffer[24];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
    text.append(buffer, end);
}

}  // namespace

std::string pageTitleText(std::int64_t pageNum, std::int64_t pageCount, DeviceProfile profile, double viewWidth) {
    std::string text;
    if (pageCount == 0) return text;
    const std::int64_t n = pageNum + 1;
    const bool wide = profile == DeviceProfile::Tablet && viewWidth >= 639;
    if (wide && pageCount <= 99) {
        text = "Page ";
        appendNumber(text, n);
        text += " of ";
        appendNumber(text, pageCount);
    } else if (wide) {
        appendNumber(text, n);
        text += " / ";
        appendNumber(text, pageCount);
    } else if (pageCount <= 99) {
        appendNumber(text, n);
        text += "/";
        appendNumber(text, pageCount);
    } else {
        appendNumber(text, n);
    }
    return text;
}

PageNavigator::PageNavigator(FoliantData& book, PageInkEditor& editor, EditorViewport& viewport,
                             PageNavigatorHooks hooks)
    : book_(book), editor_(editor), viewport_(viewport), hooks_(std::move(hooks)),
      animationOwner_(std::make_unique<QObject>()) {}

PageNavigator::~PageNavigator() {
    if (pickerWidget_) {
        pickerWidget_->model().delegate = nullptr;
        delete pickerWidget_.data();
    }
}

void PageNavigator::showFitView() {
    viewport_.setCanvasPoint({0, 0}, {0, 0}, viewport_.minZoomFactor);
}

void PageNavigator::takeViewFromBook() {
    viewport_.view.zoomFactor = book_.zoomFactor();
    viewport_.panDelta = book_.panDelta();
    viewport_.ensurePanZoomAreInBounds();
    viewport_.updateInkPanDelta();
}

void PageNavigator::turnToPage(std::int64_t index, bool animated) {
    const auto count = static_cast<std::int64_t>(book_.pages().size());
    if (index < 0 || index >= count) return;
    if (hooks_.didAbortAutoSave && hooks_.didAbortAutoSave()) {
        call(hooks_.autoSaveDocument);
        call(hooks_.clearDidAbortAutoSave);
    }
    animated = animated && book_.pageNum() != index;
    if (animated && pendingPageTurnOperations_++ >= 1 && hooks_.setRootInputEnabled)
        hooks_.setRootInputEnabled(false);
    const bool forward = book_.pageNum() <= index;

    // Every page is left at its fit view.
    showFitView();
    updateThumbnailForCurrentPage();
    QPointer<PageTurnOverlay> overlay;
    const double frameWidth = canvasFrame_ ? canvasFrame_->width() : viewport_.eaglFrameSize.width;
    const double offset = static_cast<float>(frameWidth + kOffsetMargin);
    if (animated) {
        QImage oldPage = hooks_.getThumbnailImage ? hooks_.getThumbnailImage() : QImage();
        overlay = new PageTurnOverlay(canvasFrame_, std::move(oldPage), forward, offset, animationOwner_.get());
    }

    book_.setPageNum(index);
    editor_.setCurrentPage(book_.currentPage());
    call(hooks_.currentPageChanged);

    showFitView();
    takeViewFromBook();

    if (animated) {
        // The delay lets the new page's textures settle before its picture is taken.
        QTimer::singleShot(int(kAnimationDelay * 1000), overlay, [this, overlay] { runTurnAnimation(overlay); });
    }
    updatePageTitle();
    call(hooks_.registerDocumentChange);
    if (!animated) call(hooks_.setFrameUpdateNeeded);
    updatePageIcons();
}

void PageNavigator::runTurnAnimation(QPointer<PageTurnOverlay> overlay) {
    if (!overlay) return;
    if (hooks_.setCanvasFrameAlpha) hooks_.setCanvasFrameAlpha(0);
    call(hooks_.redrawAllLines);
    QImage newPage = hooks_.getThumbnailImage ? hooks_.getThumbnailImage() : QImage();
    overlay->start(std::move(newPage), [this, overlay] {
        if (hooks_.setCanvasFrameAlpha) hooks_.setCanvasFrameAlpha(1);
        if (overlay) {
            overlay->removeViews();
            overlay->deleteLater();
        }
        if (hooks_.setRootInputEnabled) hooks_.setRootInputEnabled(true);
        --pendingPageTurnOperations_;
    });
}

void PageNavigator::insertNewPageAtIndex(std::uint64_t index) {
    FoliantPagePtr page = FoliantData::createNewPage();
    page->modifiedDate = hooks_.now ? hooks_.now()
                                    : std::chrono::duration<double>(
                                          std::chrono::system_clock::now().time_since_epoch())
                                              .count() -
                                          kReferenceDateOffset;
    auto& pages = book_.pages();
    const std::size_t at = index < pages.size() ? std::size_t(index) : pages.size();
    pages.insert(pages.begin() + static_cast<std::ptrdiff_t>(at), std::move(page));
    if (picker_) picker_->setNumberOfPages(static_cast<std::int64_t>(pages.size()));
    call(hooks_.registerDocumentChange);
}

void PageNavigator::previousPageButtonTapped() {
    if (!isIdle()) return;
    if (book_.pageNum() < 1) return;
    turnToPage(book_.pageNum() - 1, true);
    if (picker_) picker_->setCurrentPage(book_.pageNum());
}

void PageNavigator::nextPageButtonTapped() {
    if (!isIdle()) return;
    const auto count = static_cast<std::int64_t>(book_.pages().size());
    if (book_.pageNum() >= count - 1) {
        if (bookIsLocked()) return;
        insertNewPageAtIndex(static_cast<std::uint64_t>(count));
    }
    turnToPage(book_.pageNum() + 1, true);
    if (picker_) picker_->setCurrentPage(book_.pageNum());
}

void PageNavigator::updatePageTitle() {
    updatePageTitleWithViewSize(hooks_.viewSize ? hooks_.viewSize() : viewport_.eaglFrameSize);
}

void PageNavigator::updatePageTitleWithViewSize(Size size) {
    if (!hooks_.setPageTitle) return;
    hooks_.setPageTitle(pageTitleText(book_.pageNum(), static_cast<std::int64_t>(book_.pages().size()),
                                      viewport_.profile, size.width));
}

PageIconState PageNavigator::pageIconState() const {
    const auto count = static_cast<std::int64_t>(book_.pages().size());
    return {book_.pageNum() >= count - 1, book_.pageNum() != 0};
}

void PageNavigator::updatePageIcons() {
    if (hooks_.setPageIcons) hooks_.setPageIcons(pageIconState());
}

void PageNavigator::updateThumbnailForCurrentPage() {
    if (picker_) picker_->invalidateThumbnailForPage(book_.pageNum());
}

void PageNavigator::updateAllPageThumbnails() {
    if (picker_) picker_->invalidateAllThumbnails();
}

QImage PageNavigator::getThumbnailForPage(const FoliantPage& page, Size size) {
    return hooks_.getThumbnailForPage ? hooks_.getThumbnailForPage(page, size) : QImage();
}

void PageNavigator::preparePagePicker() {
    if (!pickerWidget_) {
        pickerWidget_ = new PagePicker(pickerClock_);
        pickerWidget_->model().delegate = this;
        picker_ = &pickerWidget_->model();
    }
    PagePickerModel& picker = pickerWidget_->model();
    picker.setHeaderText(hooks_.bookName ? hooks_.bookName() : std::string());
    picker.setNumberOfPages(static_cast<std::int64_t>(book_.pages().size()));
    picker.setCurrentPage(book_.pageNum());
    picker.setIsLockedForEditing(bookIsLocked());
}

void PageNavigator::titleButtonTapped(QWidget* button) {
    if (!isIdle()) return;
    if (isPhone()) {
        showPagePickerAsModalDialog();
    } else if (pickerWidget_ && pickerWidget_->isPresented()) {
        pickerWidget_->dismiss();
    } else {
        showPagePickerPopoverFromButton(button);
    }
}

void PageNavigator::showPagePickerPopoverFromButton(QWidget* button) {
    updateThumbnailForCurrentPage();
    preparePagePicker();
    pickerWidget_->showPopoverFromButton(button);
}

void PageNavigator::showPagePickerAsModalDialog() {
    updateThumbnailForCurrentPage();
    preparePagePicker();
    pickerWidget_->showAsModalDialog(canvasFrame_ ? canvasFrame_->window() : nullptr);
}

void PageNavigator::dismissPagePicker() {
    if (pickerWidget_ && pickerWidget_->isPresented()) pickerWidget_->dismiss();
}

void PageNavigator::didPickPageWithIndex(std::int64_t index) {
    dismissPagePicker();
    if (isPhone())
        QTimer::singleShot(0, animationOwner_.get(), [this, index] { turnToPage(index, true); });
    else
        turnToPage(index, true);
}

void PageNavigator::didMovePage(std::int64_t from, std::int64_t to) {
    auto& pages = book_.pages();
    if (from < 0 || to < 0 || from >= static_cast<std::int64_t>(pages.size())) return;
    const auto landed = static_cast<std::int64_t>(moveObjectFromIndex(pages, std::size_t(from), std::size_t(to)));
    const std::int64_t c = book_.pageNum();
    // The current page stays the same object: its index follows it.
    if (c == from)
        turnToPage(landed, false);
    else if (c > from && c <= to)
        turnToPage(c - 1, false);
    else if (c < from && c >= to)
        turnToPage(c + 1, false);
    if (picker_) picker_->setCurrentPage(book_.pageNum());
    call(hooks_.registerDocumentChange);
}

void PageNavigator::didDeletePageWithIndex(std::int64_t index) {
    const auto count = static_cast<std::int64_t>(book_.pages().size());
    if (count < 2 || index < 0 || index >= count) return;
    // The deleted page's undo stack stays with the editor, keyed by that page's identity alone: no page
    // made later can reach it.
    const bool changed = book_.removePageAtIndex(static_cast<std::uint64_t>(index));
    if (picker_) picker_->setCurrentPage(book_.pageNum());
    if (changed) {
        editor_.setCurrentPage(book_.currentPage());
        call(hooks_.currentPageChanged);
        takeViewFromBook();
        call(hooks_.setFrameUpdateNeeded);
    }
    updatePageTitle();
    call(hooks_.registerDocumentChange);
}

void PageNavigator::didAddPageAtIndex(std::int64_t index) {
    if (index < 0) return;
    insertNewPageAtIndex(static_cast<std::uint64_t>(index));
}

PageContentCounts PageNavigator::contentsOfPage(std::int64_t index) {
    PageContentCounts counts;
    const auto& pages = book_.pages();
    if (index < 0 || index >= static_cast<std::int64_t>(pages.size()) || !pages[std::size_t(index)]) return counts;
    const FoliantPage& page = *pages[std::size_t(index)];
    counts.pictures = page.images.size();
    counts.textBoxes = page.textBoxes.size();
    if (!page.pointSets) return counts;
    for (const KVSPointSetPtr& run : page.pointSets->pointSets()) {
        const float* p = run->constBuffer();
        for (std::uint64_t i = 0; i < run->length(); ++i, p += 3) {
            // Within a stroke, neighbouring dots overlap; a gap wider than both dots starts another.
            const bool starts = i == 0 || std::hypot(p[0] - p[-3], p[1] - p[-2]) > 2 * (p[2] + p[-1]) + 1;
            counts.strokes += starts;
        }
    }
    return counts;
}

QImage PageNavigator::thumbnailImageForPage(std::int64_t index) {
    const auto& pages = book_.pages();
    if (index < 0 || index >= static_cast<std::int64_t>(pages.size()) || !pages[std::size_t(index)]) return {};
    return getThumbnailForPage(*pages[std::size_t(index)]);
}

}  // namespace velumen
