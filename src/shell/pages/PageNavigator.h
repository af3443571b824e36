// The editor's page navigation: turning pages with the lift-off animation, adding, moving and deleting
// pages, the title text and the arrow buttons' states, and the editor's side of the page picker. It works
// on the open book, the page ink editor (one undo stack per page) and the viewport, and reaches the rest of
// the editor through hooks.
#pragma once

#include <QImage>
#include <QPointer>
#include <QWidget>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "document/FoliantData.h"
#include "document/PageInkEditor.h"
#include "ink/Clock.h"
#include "input/EditorViewport.h"
#include "shell/pages/PagePicker.h"
#include "shell/pages/PagePickerModel.h"

namespace velumen {

class PageTurnOverlay;

// The title button's text: empty without pages; "Page n of c" on a tablet at least 639 wide, "n / c" there
// from 100 pages on; elsewhere "n/c", or the page number alone from 100 pages on. `pageNum` is 0-based.
std::string pageTitleText(std::int64_t pageNum, std::int64_t pageCount, DeviceProfile profile, double viewWidth);

// The arrow buttons: the next button adds a page on the last page, and the previous one is off on the first.
struct PageIconState {
    bool nextAddsPage = false;
    bool previousEnabled = false;
    friend bool operator==(const PageIconState&, const PageIconState&) = default;
};

// What the navigator asks of the editor around it. Any member may be empty.
struct PageNavigatorHooks {
    // A touch gesture runs on the page (then the buttons wait); none without this hook.
    std::function<bool()> isGestureRunning;
    // The surface as the user sees it (an off-screen picture).
    std::function<QImage()> getThumbnailImage;
    // A whole page of the book at a size in points, with its text boxes.
    std::function<QImage(const FoliantPage& page, Size size)> getThumbnailForPage;
    std::function<void()> redrawAllLines;
    // The shown page changed: the surface takes its ink.
    std::function<void()> currentPageChanged;
    std::function<void()> registerDocumentChange;
    std::function<void()> setFrameUpdateNeeded;
    // Input of the editor's root widget.
    std::function<void(bool enabled)> setRootInputEnabled;
    std::function<void(double alpha)> setCanvasFrameAlpha;
    // An autosave refused earlier is paid at the next turn.
    std::function<bool()> didAbortAutoSave;
    std::function<void()> clearDidAbortAutoSave;
    std::function<void()> autoSaveDocument;
    std::function<void(const std::string& text)> setPageTitle;
    std::function<void(PageIconState state)> setPageIcons;
    // The root view's size for the title; without it the surface's size.
    std::function<Size()> viewSize;
    // Seconds since 1 January 2001 UTC, to stamp a new page; without it the system clock.
    std::function<double()> now;
    // The book's name without its extension: the picker's header.
    std::function<std::string()> bookName;
};

class PageNavigator : public PagePickerDelegate {
  public:
    // The lift-off: a translation by (-offset, -300), then a rotation by -7 degrees.
    static constexpr double kLiftRise = 300;
    static constexpr double kLiftAngle = -0.12217304763960307;
    static constexpr double kAnimationDelay = 0.01;
    static constexpr double kAnimationDuration = 0.3;
    static constexpr double kShadowAlpha = 0.15;
    static constexpr double kShadowDrift = 20;
    static constexpr double kOffsetMargin = 80;
    static constexpr Size kPickerThumbnailSize{200, 250};

    PageNavigator(FoliantData& book, PageInkEditor& editor, EditorViewport& viewport, PageNavigatorHooks hooks = {});
    ~PageNavigator() override;
    PageNavigator(const PageNavigator&) = delete;
    PageNavigator& operator=(const PageNavigator&) = delete;

    PageNavigatorHooks& hooks() { return hooks_; }
    // The widget over which the turn is shown (the surface's frame); without one turns are not animated
    // on screen, though they still take their time.
    void setCanvasFrame(QWidget* frame) { canvasFrame_ = frame; }
    // The picker's state, while a picker exists; the navigator tells it of every change of the pages.
    void setPagePicker(PagePickerModel* picker) { picker_ = picker; }
    PagePickerModel* pagePicker() const { return picker_; }

    // Page-turn animations not yet finished.
    std::int64_t pendingPageTurnOperations() const { return pendingPageTurnOperations_; }

    void turnToPage(std::int64_t index, bool animated);
    void insertNewPageAtIndex(std::uint64_t index);
    void previousPageButtonTapped();
    void nextPageButtonTapped();
    void updatePageTitle();
    void updatePageTitleWithViewSize(Size size);
    void updatePageIcons();
    PageIconState pageIconState() const;
    // The picker's thumbnail of the current page, or of every page, is stale.
    void updateThumbnailForCurrentPage();
    void updateAllPageThumbnails();
    QImage getThumbnailForPage(const FoliantPage& page) { return getThumbnailForPage(page, kPickerThumbnailSize); }
    QImage getThumbnailForPage(const FoliantPage& page, Size size);

    // The picker's delegate.
    void didPickPageWithIndex(std::int64_t index) override;
    void didMovePage(std::int64_t from, std::int64_t to) override;
    void didDeletePageWithIndex(std::int64_t index) override;
    void didAddPageAtIndex(std::int64_t index) override;
    QImage thumbnailImageForPage(std::int64_t index) override;
    // Strokes are counted as the ink's unbroken trails of dots, so that a page whose runs were joined
    // on closing, or split by the eraser, counts what the user sees.
    PageContentCounts contentsOfPage(std::int64_t index) override;

    // The title button: on a tablet a second tap closes the picker, else it opens under the button; on a
    // phone it covers the editor. Honoured only while no gesture runs.
    void titleButtonTapped(QWidget* button);
    void showPagePickerPopoverFromButton(QWidget* button);
    void showPagePickerAsModalDialog();
    // The picker's widget, made on first use; null before.
    PagePicker* pagePickerWidget() const { return pickerWidget_; }
    void dismissPagePicker();
    bool isPhone() const { return viewport_.profile == DeviceProfile::Phone; }

  private:
    bool isIdle() const { return !hooks_.isGestureRunning || !hooks_.isGestureRunning(); }
    bool bookIsLocked() const { return book_.isLocked(); }
    void showFitView();
    // Pan and zoom from the book, kept in bounds, and the page's views rebuilt.
    void takeViewFromBook();
    void runTurnAnimation(QPointer<PageTurnOverlay> overlay);
    // Makes the picker if missing and gives it the book's name, pages, current page and lock.
    void preparePagePicker();
    static void call(const std::function<void()>& hook) {
        if (hook) hook();
    }

    FoliantData& book_;
    PageInkEditor& editor_;
    EditorViewport& viewport_;
    PageNavigatorHooks hooks_;
    QPointer<QWidget> canvasFrame_;
    PagePickerModel* picker_ = nullptr;
    SteadyClock pickerClock_;
    QPointer<PagePicker> pickerWidget_;
    std::int64_t pendingPageTurnOperations_ = 0;
    // Owns the delayed starts and the overlays; its destruction cancels them.
    std::unique_ptr<QObject> animationOwner_;
};

}  // namespace velumen
