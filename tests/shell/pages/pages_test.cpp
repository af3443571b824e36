// Page navigation without a display: moving list elements, the title text, and the picker's two caches
// through deletes, moves and adds, in the order the editor hears of them.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "shell/pages/PageNavigator.h"
#include "shell/pages/PagePickerModel.h"
#include "shell/pages/Rearrange.h"

namespace {

using namespace velumen;

TEST(Rearrange, MovesTakeOutThenInsertOrAppend) {
    std::vector<int> v{0, 1, 2, 3, 4};
    EXPECT_EQ(moveObjectFromIndex(v, 1, 3), 3u);
    EXPECT_EQ(v, (std::vector<int>{0, 2, 3, 1, 4}));
    EXPECT_EQ(moveObjectFromIndex(v, 4, 0), 0u);
    EXPECT_EQ(v, (std::vector<int>{4, 0, 2, 3, 1}));
    // A destination past the shortened list appends; equal indices and a source past the end do nothing.
    EXPECT_EQ(moveObjectFromIndex(v, 0, 4), 4u);
    EXPECT_EQ(v, (std::vector<int>{0, 2, 3, 1, 4}));
    EXPECT_EQ(moveObjectFromIndex(v, 1, 9), 4u);
    EXPECT_EQ(v, (std::vector<int>{0, 3, 1, 4, 2}));
    moveObjectFromIndex(v, 2, 2);
    moveObjectFromIndex(v, 7, 0);
    EXPECT_EQ(v, (std::vector<int>{0, 3, 1, 4, 2}));
}

TEST(PageTitle, FollowsIdiomWidthAndCount) {
    const auto T = DeviceProfile::Tablet;
    const auto P = DeviceProfile::Phone;
    EXPECT_EQ(pageTitleText(0, 0, T, 1024), "");
    EXPECT_EQ(pageTitleText(2, 7, T, 639), "Page 3 of 7");
    EXPECT_EQ(pageTitleText(98, 99, T, 1024), "Page 99 of 99");
    EXPECT_EQ(pageTitleText(41, 100, T, 768), "42 / 100");
    EXPECT_EQ(pageTitleText(2, 7, T, 638), "3/7");
    EXPECT_EQ(pageTitleText(41, 100, T, 600), "42");
    EXPECT_EQ(pageTitleText(2, 7, P, 900), "3/7");
    EXPECT_EQ(pageTitleText(99, 100, P, 375), "100");
    EXPECT_EQ(pageTitleText(1233, 1500, T, 800), "1234 / 1500");
}

TEST(ThumbnailCache, HoldsFiftyDroppingTheLeastRecentlyUsed) {
    ThumbnailCache cache(PagePickerModel::kCacheLimit);
    QImage image(2, 2, QImage::Format_ARGB32);
    for (int i = 0; i < 50; ++i)
        cache.setObject(i, image);
    ASSERT_TRUE(cache.object(0));  // now the most recent
    cache.setObject(50, image);
    EXPECT_EQ(cache.count(), 50u);
    EXPECT_TRUE(cache.object(0));
    EXPECT_FALSE(cache.object(1));
    EXPECT_TRUE(cache.object(50));
}

// A delegate that records the calls and keeps a page list of its own, as the editor would.
struct RecordingDelegate : PagePickerDelegate {
    PagePickerModel* picker = nullptr;
    std::vector<std::string> calls;
    int thumbnailsMade = 0;
    void didPickPageWithIndex(std::int64_t i) override { calls.push_back("pick " + std::to_string(i)); }
    void didMovePage(std::int64_t f, std::int64_t t) override {
        calls.push_back("move " + std::to_string(f) + " " + std::to_string(t) + cachedState());
    }
    void didDeletePageWithIndex(std::int64_t i) override {
        calls.push_back("delete " + std::to_string(i) + cachedState());
    }
    void didAddPageAtIndex(std::int64_t i) override {
        calls.push_back("add " + std::to_string(i));
        picker->setNumberOfPages(picker->numberOfPages() + 1);
    }
    QImage thumbnailImageForPage(std::int64_t i) override {
        ++thumbnailsMade;
        QImage image(1, 1, QImage::Format_ARGB32);
        image.setPixel(0, 0, qRgb(int(i), 0, 0));
        return image;
    }
    PageContentCounts contentsOfPage(std::int64_t) override { return {}; }
    // The caches as the delegate sees them when called: the picker tells it before it shifts anything.
    std::string cachedState() const {
        std::string s = " [";
        for (std::int64_t r = 0; r < picker->numberOfPages(); ++r)
            s += (r ? " " : "") + tag(r);
        return s + "]";
    }
    std::string tag(std::int64_t row) const {
        auto image = picker->cachedThumbnailForPage(row);
        return image ? std::to_string(qRed(image->pixel(0, 0))) : "-";
    }
};

struct Picker : ::testing::Test {
    ManualClock clock{100};
    PagePickerModel model{clock};
    RecordingDelegate delegate;
    std::vector<std::function<void()>> queued;
    std::vector<std::string> tableCalls;

    void SetUp() override {
        delegate.picker = &model;
        model.delegate = &delegate;
        model.table.runLater = [this](double s, std::function<void()> work) {
            if (s > 0) tableCalls.push_back("later");
            queued.push_back(std::move(work));
        };
        model.table.reloadData = [this] { tableCalls.push_back("reload"); };
        model.table.deleteRow = [this](std::int64_t r) { tableCalls.push_back("delete " + std::to_string(r)); };
        model.table.setRowImage = [this](std::int64_t r, const QImage&) {
            tableCalls.push_back("image " + std::to_string(r));
        };
        model.setNumberOfPages(5);
        // Rows 0..4 hold pictures of pages 10..14, row 3 none.
        for (int r = 0; r < 5; ++r) {
            if (r == 3) continue;
            QImage image(1, 1, QImage::Format_ARGB32);
            image.setPixel(0, 0, qRgb(10 + r, 0, 0));
            model.setCachedThumbnail(image, r);
        }
        model.viewWillAppear();
        tableCalls.clear();
    }
    std::string rows() const { return delegate.cachedState(); }
    void runQueued() {
        auto work = std::move(queued);
        queued.clear();
        for (auto& w : work)
            w();
    }
};

TEST_F(Picker, DeleteTellsTheEditorFirstThenShiftsRowsUp) {
    clock.advance(1);
    model.deleteRow(1);
    ASSERT_EQ(delegate.calls.size(), 1u);
    EXPECT_EQ(delegate.calls[0], "delete 1 [10 11 12 - 14]");
    EXPECT_EQ(model.numberOfPages(), 4);
    EXPECT_EQ(rows(), " [10 12 - 14]");
    EXPECT_EQ(model.thumbnailCacheInvalidBeforeTime(), 101);
    EXPECT_EQ(tableCalls, (std::vector<std::string>{"delete 1", "later"}));
    EXPECT_FALSE(model.isUpdating);
    runQueued();
    EXPECT_EQ(tableCalls.back(), "reload");
}

TEST_F(Picker, MovesKeepTheMovedPictureAndShiftTheRowsBetween) {
    model.moveRow(0, 3);
    EXPECT_EQ(delegate.calls.back(), "move 0 3 [10 11 12 - 14]");
    EXPECT_EQ(rows(), " [11 12 - 10 14]");
    model.moveRow(4, 1);
    EXPECT_EQ(rows(), " [11 14 12 - 10]");
    // Moving a row without a picture invalidates its destination.
    model.moveRow(3, 0);
    EXPECT_EQ(rows(), " [- 11 14 12 10]");
    EXPECT_EQ(delegate.calls.size(), 3u);
}

TEST_F(Picker, AddMakesRoomAfterTheCurrentRowAndForgetsBothPicturesThere) {
    model.setCurrentPage(1);
    model.addButtonTapped();
    EXPECT_EQ(delegate.calls, (std::vector<std::string>{"add 2"}));
    EXPECT_EQ(model.numberOfPages(), 6);
    EXPECT_EQ(rows(), " [10 11 - 12 - 14]");
    EXPECT_FALSE(model.previousThumbnailForPage(2));
    // Row 4 keeps its last known picture to show until a fresh one is made.
    EXPECT_TRUE(model.previousThumbnailForPage(4));
    // Without a delegate the picker only counts up.
    model.delegate = nullptr;
    model.addButtonTapped();
    EXPECT_EQ(model.numberOfPages(), 7);
}

TEST_F(Picker, APictureBegunBeforeAChangeOfTheListIsShownOnceAndNeverStored) {
    model.deleteRow(1);  // at 100: rows [10 12 - 14]
    runQueued();
    tableCalls.clear();
    // Not later than the change: the stale picture shows and nothing is asked.
    EXPECT_EQ(qRed(model.thumbnailForRow(2, true).pixel(0, 0)), 12);
    EXPECT_EQ(delegate.thumbnailsMade, 0);
    clock.advance(0.25);
    // Invisible rows are never asked for.
    model.thumbnailForRow(2, false);
    EXPECT_EQ(delegate.thumbnailsMade, 0);
    model.thumbnailForRow(2, true);
    EXPECT_EQ(delegate.thumbnailsMade, 1);
    EXPECT_TRUE(tableCalls.empty()) << "the picture is shown on the next turn of the loop";
    clock.advance(0.25);
    model.moveRow(0, 1);
    queued.erase(queued.begin() + 1, queued.end());  // keep the picture's block, drop the reload
    runQueued();
    EXPECT_EQ(tableCalls.back(), "image 2");
    EXPECT_FALSE(model.cachedThumbnailForPage(2));
    // A request after the change is stored in both caches.
    clock.advance(0.25);
    model.thumbnailForRow(2, true);
    runQueued();
    ASSERT_TRUE(model.cachedThumbnailForPage(2));
    EXPECT_EQ(qRed(model.previousThumbnailForPage(2)->pixel(0, 0)), 2);
}

TEST_F(Picker, LockedOrSinglePagePickersRefuseEdits) {
    model.setIsLockedForEditing(true);
    EXPECT_FALSE(model.canDeleteRows());
    EXPECT_FALSE(model.canMoveRows());
    model.deleteRow(0);
    model.moveRow(0, 2);
    model.addButtonTapped();
    EXPECT_TRUE(delegate.calls.empty());
    EXPECT_EQ(model.numberOfPages(), 5);
    model.setIsLockedForEditing(false);
    model.setNumberOfPages(1);
    EXPECT_FALSE(model.canDeleteRows());
    model.deleteRow(0);
    EXPECT_TRUE(delegate.calls.empty());
    EXPECT_EQ(PagePickerModel::rowText(0), "Page 1");
    EXPECT_EQ(PagePickerModel::rowText(119), "Page 120");
}

}  // namespace
