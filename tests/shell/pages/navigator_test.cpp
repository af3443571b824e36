// The navigator against a real book, page ink editor and viewport, with the turn animation on a widget
// (under a display): index repair on moves, deletes, the lock, turning to the current page, overlapping
// turns and the lift-off geometry. Undo stacks through moves and deletes are the book history test's.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QElapsedTimer>
#include <QWidget>
#include <vector>

#include "shell/pages/PageNavigator.h"
#include "shell/pages/PagePicker.h"
#include "shell/pages/PageTurnOverlay.h"

namespace {

using namespace velumen;

struct Navigator : ::testing::Test {
    FoliantDataPtr book = std::make_shared<FoliantData>();
    PageInkEditor editor;
    EditorViewport viewport;
    QWidget window;
    QWidget* frame = new QWidget(&window);
    PageNavigator nav{*book, editor, viewport};
    std::vector<FoliantPagePtr> original;
    int pictures = 0;
    int dirty = 0;
    int frameUpdates = 0;
    std::vector<bool> inputCalls;
    std::vector<double> alphaCalls;
    std::string title;
    PageIconState icons;

    void SetUp() override { makeBook(8); }

    void makeBook(int pages, int current = 0) {
        std::vector<FoliantPagePtr> list;
        for (int i = 0; i < pages; ++i)
            list.push_back(FoliantData::createNewPage());
        original = list;
        book->setPages(list);
        book->setPageNum(current);
        window.resize(700, 900);
        frame->setGeometry(0, 100, 600, 750);
        viewport.document = book.get();
        viewport.layoutForFrameSize({600, 750});
        viewport.handleDocumentChanged();
        editor.setCurrentPage(book->currentPage());
        nav.setCanvasFrame(frame);
        PageNavigatorHooks& h = nav.hooks();
        h.getThumbnailImage = [this] {
            ++pictures;
            QImage image(60, 75, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::white);
            return image;
        };
        h.registerDocumentChange = [this] { ++dirty; };
        h.setFrameUpdateNeeded = [this] { ++frameUpdates; };
        h.setRootInputEnabled = [this](bool on) { inputCalls.push_back(on); };
        h.setCanvasFrameAlpha = [this](double a) { alphaCalls.push_back(a); };
        h.setPageTitle = [this](const std::string& t) { title = t; };
        h.setPageIcons = [this](PageIconState s) { icons = s; };
        h.viewSize = [] { return Size{768, 1024}; };
    }
    // Runs the event loop until every turn animation has ended (or a generous deadline passes).
    void settle() {
        QElapsedTimer t;
        t.start();
        while (nav.pendingPageTurnOperations() > 0 && t.elapsed() < 5000)
            QApplication::processEvents(QEventLoop::AllEvents, 20);
        ASSERT_EQ(nav.pendingPageTurnOperations(), 0);
    }
    // The turn's pictures on screen (the views have no meta-object of their own).
    std::vector<PageTurnView*> turnViews() const {
        std::vector<PageTurnView*> views;
        for (QWidget* w : window.findChildren<QWidget*>())
            if (auto* v = dynamic_cast<PageTurnView*>(w)) views.push_back(v);
        return views;
    }
};

TEST_F(Navigator, MovesKeepTheCurrentPageTheSameObject) {
    const SteadyClock clock;
    PagePickerModel picker{clock};
    // (current, from, to, expected current)
    const struct {
        int current, from, to, expected;
    } cases[] = {{2, 2, 5, 5}, {3, 1, 5, 2}, {3, 5, 1, 4}, {0, 3, 5, 0}, {6, 1, 5, 6}, {4, 4, 4, 4}, {7, 7, 0, 0}};
    for (const auto& c : cases) {
        makeBook(8, c.current);
        nav.setPagePicker(&picker);
        const FoliantPagePtr shown = book->currentPage();
        const int before = dirty;
        nav.didMovePage(c.from, c.to);
        EXPECT_EQ(book->pageNum(), c.expected) << c.current << ": " << c.from << " -> " << c.to;
        EXPECT_EQ(book->currentPage(), shown);
        EXPECT_EQ(book->pages()[std::size_t(c.expected)], shown);
        EXPECT_EQ(editor.currentPage(), shown);
        EXPECT_EQ(picker.currentPage(), c.expected);
        EXPECT_GT(dirty, before);
        EXPECT_EQ(nav.pendingPageTurnOperations(), 0);
        EXPECT_EQ(pictures, 0) << "repairing the index is never animated";
    }
    nav.setPagePicker(nullptr);
}

TEST_F(Navigator, DeletingTheCurrentPageShowsTheNextAndTheOnlyPageStays) {
    book->pages()[1]->zoomFactor = 1e9f;  // out of bounds: limited on arrival
    nav.didDeletePageWithIndex(0);
    EXPECT_EQ(book->pages().size(), 7u);
    EXPECT_EQ(book->pageNum(), 0);
    EXPECT_EQ(book->currentPage(), original[1]);
    EXPECT_EQ(editor.currentPage(), original[1]);
    EXPECT_EQ(frameUpdates, 1);
    EXPECT_LE(viewport.view.zoomFactor, viewport.maxZoomFactor);
    EXPECT_EQ(title, "Page 1 of 7");
    // Deleting a page before the current one moves the index, not the page.
    book->setPageNum(3);
    editor.setCurrentPage(book->currentPage());
    nav.didDeletePageWithIndex(1);
    EXPECT_EQ(book->pageNum(), 2);
    EXPECT_EQ(book->currentPage(), original[4]);
    EXPECT_EQ(frameUpdates, 1);
    // Bad indices and the only page are refused.
    nav.didDeletePageWithIndex(-1);
    nav.didDeletePageWithIndex(6);
    EXPECT_EQ(book->pages().size(), 6u);
    makeBook(1);
    const int before = dirty;
    nav.didDeletePageWithIndex(0);
    EXPECT_EQ(book->pages().size(), 1u);
    EXPECT_EQ(dirty, before);
}

TEST_F(Navigator, APageIsDeletedOnlyAfterItsRowControlAndTheConfirmationThatCountsItsContents) {
    makeBook(3);
    // Page 2 holds two strokes joined in one run (as a close joins them) and a third of its own.
    auto ink = std::make_shared<KVSPointSetArray>();
    float* joined = ink->addPointSetWithSize(4)->buffer();
    const float dots[] = {100, 100, 4, 102, 100, 4, 600, 900, 4, 601, 901, 4};
    std::copy(std::begin(dots), std::end(dots), joined);
    ink->addPointSetWithSize(1)->buffer()[2] = 3;
    original[1]->pointSets = ink;
    original[1]->textBoxes.push_back(nullptr);

    const SteadyClock clock;
    PagePicker picker(clock);
    picker.model().delegate = &nav;
    nav.setPagePicker(&picker.model());
    picker.model().setNumberOfPages(3);
    picker.show();
    picker.model().reloadTableData();
    ASSERT_EQ(picker.tableView()->count(), 3);
    EXPECT_EQ(picker.deleteControlForRow(1), nullptr);  // no delete outside editing

    QTest::mouseClick(picker.editButton(), Qt::LeftButton);
    ASSERT_TRUE(picker.isEditing());
    QAbstractButton* control = picker.deleteControlForRow(1);
    ASSERT_NE(control, nullptr);
    QTest::mouseClick(control, Qt::LeftButton);
    EXPECT_EQ(book->pages().size(), 3u);  // asked, not deleted
    ASSERT_TRUE(picker.deleteConfirmation()->isVisible());
    EXPECT_EQ(picker.deleteConfirmationLabel()->text(),
              "Delete page 2? Its 3 strokes, no pictures and 1 text box go with it. This cannot be undone.");
    QTest::mouseClick(picker.cancelDeleteButton(), Qt::LeftButton);
    EXPECT_FALSE(picker.deleteConfirmation()->isVisible());
    EXPECT_EQ(book->pages().size(), 3u);

    // The Delete key asks about the selected row; the confirmation deletes that page alone.
    picker.tableView()->setCurrentRow(1);
    QTest::keyClick(picker.tableView(), Qt::Key_Delete);
    ASSERT_TRUE(picker.deleteConfirmation()->isVisible());
    QTest::mouseClick(picker.confirmDeleteButton(), Qt::LeftButton);
    ASSERT_EQ(book->pages().size(), 2u);
    EXPECT_EQ(book->pages()[0], original[0]);
    EXPECT_EQ(book->pages()[1], original[2]);

    // With one page left no row can be deleted.
    QTest::mouseClick(picker.deleteControlForRow(0), Qt::LeftButton);
    QTest::mouseClick(picker.confirmDeleteButton(), Qt::LeftButton);
    ASSERT_EQ(book->pages().size(), 1u);
    EXPECT_EQ(picker.deleteControlForRow(0), nullptr);
    picker.askToDeleteRow(0);
    EXPECT_FALSE(picker.deleteConfirmation()->isVisible());
    nav.setPagePicker(nullptr);
}

TEST_F(Navigator, NextOnTheLastPageAddsAPageUnlessLocked) {
    makeBook(3, 2);
    book->setIsLocked(true);
    nav.nextPageButtonTapped();
    EXPECT_EQ(book->pages().size(), 3u);
    EXPECT_EQ(book->pageNum(), 2);
    EXPECT_EQ(pictures, 0);
    EXPECT_EQ(dirty, 0);
    // Earlier pages still turn in a locked book.
    nav.previousPageButtonTapped();
    EXPECT_EQ(book->pageNum(), 1);
    settle();
    book->setIsLocked(false);
    nav.hooks().now = [] { return 7.5; };
    nav.nextPageButtonTapped();
    nav.nextPageButtonTapped();
    EXPECT_EQ(book->pages().size(), 4u);
    EXPECT_EQ(book->pageNum(), 3);
    EXPECT_EQ(book->pages()[3]->modifiedDate, 7.5);
    EXPECT_EQ(icons, (PageIconState{true, true}));
    settle();
    // Arrows wait for the gesture to end.
    nav.hooks().isGestureRunning = [] { return true; };
    nav.previousPageButtonTapped();
    EXPECT_EQ(book->pageNum(), 3);
}

TEST_F(Navigator, TurningToTheCurrentPageIsNotAnimatedButMarksTheBookDirty) {
    makeBook(100, 41);
    nav.turnToPage(41, true);
    EXPECT_EQ(nav.pendingPageTurnOperations(), 0);
    EXPECT_EQ(pictures, 0);
    EXPECT_EQ(dirty, 1);
    EXPECT_EQ(frameUpdates, 1);
    EXPECT_EQ(title, "42 / 100");
    EXPECT_EQ(icons, (PageIconState{false, true}));
    viewport.profile = DeviceProfile::Phone;
    nav.updatePageTitleWithViewSize({375, 667});
    EXPECT_EQ(title, "42");
    // Out of range: nothing at all.
    nav.turnToPage(100, true);
    nav.turnToPage(-1, false);
    EXPECT_EQ(book->pageNum(), 41);
    EXPECT_EQ(dirty, 1);
}

TEST_F(Navigator, AnAnimatedTurnTakesTwoPicturesAndOverlappingTurnsHoldInput) {
    bool abortedSave = true;
    int saves = 0;
    nav.hooks().didAbortAutoSave = [&] { return abortedSave; };
    nav.hooks().clearDidAbortAutoSave = [&] { abortedSave = false; };
    nav.hooks().autoSaveDocument = [&] { ++saves; };
    window.show();
    nav.nextPageButtonTapped();
    EXPECT_EQ(saves, 1);
    EXPECT_FALSE(abortedSave);
    EXPECT_EQ(nav.pendingPageTurnOperations(), 1);
    EXPECT_EQ(pictures, 1) << "the page being left, before the turn";
    EXPECT_TRUE(inputCalls.empty()) << "a single turn leaves input on";
    EXPECT_EQ(frameUpdates, 0);
    settle();
    EXPECT_EQ(pictures, 2);
    EXPECT_EQ(alphaCalls, (std::vector<double>{0, 1}));
    EXPECT_EQ(inputCalls, (std::vector<bool>{true}));

    // The second of two quick taps turns input off; each end turns it on again.
    pictures = 0;
    inputCalls.clear();
    nav.nextPageButtonTapped();
    nav.nextPageButtonTapped();
    EXPECT_EQ(book->pageNum(), 3);
    EXPECT_EQ(nav.pendingPageTurnOperations(), 2);
    EXPECT_EQ(inputCalls, (std::vector<bool>{false}));
    settle();
    EXPECT_EQ(inputCalls, (std::vector<bool>{false, true, true}));
    EXPECT_EQ(pictures, 4);
    EXPECT_EQ(saves, 1);
    // Every temporary picture is gone.
    EXPECT_TRUE(turnViews().empty());
}

TEST_F(Navigator, ALiftedPageMovesUpLeftAndTiltsAboutItsCentre) {
    const QPointF centre(300, 475);
    const QTransform t = PageTurnView::liftTransform(centre, 680, 1);
    EXPECT_EQ(t.map(centre), QPointF(300 - 680, 475 - 300));
    // The top edge, rotated by -7 degrees: its right end rises.
    const QLineF top(t.map(QPointF(0, 100)), t.map(QPointF(600, 100)));
    EXPECT_NEAR(top.angle(), 7.0, 1e-9);
    EXPECT_TRUE(PageTurnView::liftTransform(centre, 680, 0).isIdentity());

    // Forward: the old page, with its shadow, lifts off above the new one; back: the new page lands.
    window.show();
    nav.turnToPage(3, true);
    auto views = turnViews();
    ASSERT_EQ(views.size(), 1u);
    EXPECT_TRUE(views[0]->hasShadow());
    EXPECT_EQ(views[0]->pageFrame(), QRectF(0, 100, 600, 750));
    settle();
    nav.turnToPage(1, true);
    QElapsedTimer wait;
    wait.start();
    PageTurnView* landing = nullptr;
    while (!landing && wait.elapsed() < 2000) {
        QApplication::processEvents(QEventLoop::AllEvents, 5);
        for (PageTurnView* v : turnViews())
            if (v->hasShadow()) landing = v;
    }
    ASSERT_TRUE(landing);
    EXPECT_GT(landing->lift(), 0.5);
    settle();
}

}  // namespace
