// Text boxes on the editor with real events under Xvfb: the live text lies exactly over the page at every
// zoom and pan, the off-screen picture of a box breaks and places its lines as the live view does, an
// editing session is one undo step, typing keeps the editor's keys and never repaints the page, pasted text
// is cleaned, the pickers reach the box, and books with odd boxes open and draw.
#include <gtest/gtest.h>

#include "WaitFor.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QTemporaryDir>
#include <QTest>
#include <QTextDocument>
#include <QToolButton>
#include <cmath>
#include <limits>

#include "shell/BookFile.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantViewController.h"
#include "shell/text/TextBoxDrawing.h"
#include "shell/text/TextBoxEditor.h"
#include "shell/text/TextFonts.h"
#include "shell/text/TextToolbar.h"

namespace velumen {
namespace {

// An installed family, so that line breaks do not depend on the machine's default font.
constexpr const char* kFace = "DejaVuSans";

struct TextEditor {
    QTemporaryDir dir;
    std::unique_ptr<FoliantGlobals> globals;
    ManualClock clock;
    std::unique_ptr<FoliantViewController> vc;
    FoliantDataPtr book = newOnePageBook();

    explicit TextEditor(std::vector<FoliantTextBoxPtr> boxes = {}) {
        globals = std::make_unique<FoliantGlobals>(openDefaultsStore(dir.filePath("defaults.plist")), 0.0);
        FLTextSettings defaults = globals->defaultTextSettings();
        defaults.fontName = kFace;
        defaults.fontSize = 36;
        globals->setDefaultTextSettings(defaults);
        book->pages()[0]->textBoxes = std::move(boxes);
        vc = std::make_unique<FoliantViewController>(*globals, clock, DeviceProfile::Tablet);
        vc->resize(700, 800);
        vc->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(vc.get()));
        vc->openBook(book);
        QApplication::processEvents();
    }
    ~TextEditor() {
        vc.reset();
        globals.reset();
    }
    TextBoxEditor& text() { return vc->textBoxEditor(); }
    FoliantPage& page() { return *book->pages()[0]; }
    EditorViewport& viewport() { return vc->session().viewport; }
    // The overlay as drawn, over transparency.
    QImage overlayImage() {
        TextOverlayView* overlay = text().overlay();
        QImage image(overlay->viewport()->size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        overlay->render(&painter, QRectF(image.rect()), overlay->viewport()->rect());
        return image;
    }
    void typeIntoBox(const QString& typed) {
        QTest::keyClicks(text().overlay()->viewport(), typed);
        QApplication::processEvents();
    }
};

FoliantTextBoxPtr makeBox(std::string text, Rect frame, float size = 40) {
    return FoliantTextBox::foliantTextBoxWithText(text, frame, KFont::initWithFontName(kFace, size), 1, 0);
}

// The rows of an image that hold dark text, as runs of rows (lines), each with its horizontal extent.
struct Line {
    int top, bottom, left, right;
};
std::vector<Line> textLines(const QImage& image, QRect within) {
    std::vector<Line> lines;
    bool in = false;
    for (int y = within.top(); y <= within.bottom(); ++y) {
        int left = INT32_MAX, right = -1;
        for (int x = within.left(); x <= within.right(); ++x)
            if (qAlpha(image.pixel(x, y)) > 128) {
                left = std::min(left, x);
                right = x;
            }
        if (right >= 0) {
            if (!in) lines.push_back({y, y, left, right});
            Line& l = lines.back();
            l.bottom = y;
            l.left = std::min(l.left, left);
            l.right = std::max(l.right, right);
        }
        in = right >= 0;
    }
    return lines;
}

TEST(TextOverlay, LiveTextLiesInsideItsBoxAtEveryZoomAndPanAndMeetsTheInk) {
    const Rect frame{300, 400, 500, 61};
    TextEditor e({makeBox("Words over the page that wrap", frame)});
    ASSERT_TRUE(e.vc->hasSurface());
    EditorViewport& v = e.viewport();
    struct View {
        Point canvas, viewPoint;
        float zoomTimes;
    };
    for (const View& view : {View{{300, 400}, {50, 60}, 1.0f}, View{{350, 420}, {120, 200}, 2.0f},
                             View{{310, 410}, {33.5, 77.25}, 3.5f}}) {
        v.setCanvasPoint(view.canvas, view.viewPoint, v.minZoomFactor * view.zoomTimes);
        e.vc->applyEffects({.repaint = true});
        const QImage shown = e.overlayImage();
        const FoliantTextBox& box = *e.page().textBoxes[0];
        const double height = fittedTextHeight(box);
        const Rect inView = v.viewRectFromEaglRect({frame.x, frame.y, frame.width, height});
        int inside = 0, outside = 0;
        for (int y = 0; y < shown.height(); ++y)
            for (int x = 0; x < shown.width(); ++x) {
                if (qAlpha(shown.pixel(x, y)) < 40) continue;
                const bool in = x >= std::floor(inView.x) - 1 && x <= std::ceil(inView.x + inView.width) + 1 &&
                                y >= std::floor(inView.y) - 1 && y <= std::ceil(inView.y + inView.height) + 1;
                (in ? inside : outside)++;
            }
        EXPECT_GT(inside, 50) << view.zoomTimes;
        EXPECT_EQ(outside, 0) << view.zoomTimes;
    }

    // A horizontal stroke along the box's top edge: the ink's middle row is the row where the box starts.
    TextEditor f({makeBox("", frame)});
    f.page().textBoxes[0]->backgroundColor = {1, 0, 0, 1};
    f.vc->openBook(f.book);
    f.viewport().setCanvasPoint({300, 400}, {100, 150}, f.viewport().minZoomFactor * 2);
    f.vc->applyEffects({.repaint = true});
    QWidget* surface = f.vc->touchTarget();
    const Point corner = f.viewport().viewPointFromEaglPoint({frame.x, frame.y});
    const int y = int(std::lround(corner.y));
    QTest::mousePress(surface, Qt::LeftButton, Qt::NoModifier, QPoint(int(corner.x) - 60, y));
    for (int x = int(corner.x) - 50; x <= int(corner.x) + 40; x += 10) {
        f.clock.advance(1.0 / 60);
        QTest::mouseMove(surface, QPoint(x, y));
    }
    QTest::mouseRelease(surface, Qt::LeftButton, Qt::NoModifier, QPoint(int(corner.x) + 40, y));
    QApplication::processEvents();
    f.vc->redrawAllLines();
    const QImage ink = f.vc->session().book() ? f.vc->view().compositor.getThumbnailImage() : QImage();
    ASSERT_FALSE(ink.isNull());
    const double ratio = double(ink.width()) / surface->width();
    // The ink's rows in the column left of the box.
    const int column = int((corner.x - 30) * ratio);
    int top = -1, bottom = -1;
    for (int row = 0; row < ink.height(); ++row) {
        const QColor c = ink.pixelColor(column, row);
        if (c.red() + c.green() + c.blue() < 200) {
            if (top < 0) top = row;
            bottom = row;
        }
    }
    ASSERT_GE(top, 0);
    const QImage shown = f.overlayImage();
    int boxTop = -1;
    for (int row = 0; row < shown.height() && boxTop < 0; ++row)
        if (qAlpha(shown.pixel(int(corner.x) + 10, row)) > 128) boxTop = row;
    EXPECT_NEAR((top + bottom) / 2.0 / ratio, boxTop, 1.5);
}

TEST(TextOverlay, TheOffScreenPictureBreaksAndPlacesLinesAsTheLiveView) {
    const Rect frame{0, 0, 420, 61};
    auto box = makeBox("The quick brown fox jumps over the lazy dog, twice over, and then rests a while.", frame, 30);
    box->textAlignment = 1;
    TextEditor e({box});
    e.viewport().setCanvasPoint({0, 0}, {0, 0}, 1.0f);
    e.vc->applyEffects({.repaint = true});
    ASSERT_FLOAT_EQ(e.viewport().view.zoomFactor, 1.0f);
    const QImage live = e.overlayImage();
    const QImage picture = textBoxImage(*box, 1.0);
    const std::vector<Line> liveLines = textLines(live, QRect(0, 0, 420, picture.height()));
    const std::vector<Line> pictureLines = textLines(picture, picture.rect());
    ASSERT_GE(pictureLines.size(), 3u);
    ASSERT_EQ(liveLines.size(), pictureLines.size());
    for (std::size_t i = 0; i < liveLines.size(); ++i) {
        EXPECT_NEAR(liveLines[i].top, pictureLines[i].top, 1) << i;
        EXPECT_NEAR(liveLines[i].bottom, pictureLines[i].bottom, 1) << i;
        EXPECT_NEAR(liveLines[i].left, pictureLines[i].left, 1) << i;
        EXPECT_NEAR(liveLines[i].right, pictureLines[i].right, 1) << i;
    }
    // The page's picture carries the text too, where the box is, at the picture's own scale.
    const QImage page = e.vc->screenImage();
    const double ratio = double(page.width()) / e.vc->touchTarget()->width();
    const QImage scaled = textBoxImage(*box, ratio);
    const std::vector<Line> scaledLines = textLines(scaled, scaled.rect());
    QImage dark(page.size(), QImage::Format_ARGB32);
    for (int y = 0; y < page.height(); ++y)
        for (int x = 0; x < page.width(); ++x)
            dark.setPixel(x, y, qGray(page.pixel(x, y)) < 128 ? qRgba(0, 0, 0, 255) : qRgba(0, 0, 0, 0));
    const std::vector<Line> pageLines = textLines(dark, QRect(0, 0, scaled.width(), scaled.height()));
    ASSERT_EQ(pageLines.size(), scaledLines.size());
    for (std::size_t i = 0; i < pageLines.size(); ++i) {
        EXPECT_NEAR(pageLines[i].top, scaledLines[i].top, 1) << i;
        EXPECT_NEAR(pageLines[i].left, scaledLines[i].left, 1) << i;
    }
}

TEST(TextEditing, ASessionOfTextFontSizeColourAndAlignmentIsOneUndoStep) {
    TextEditor e;
    e.vc->window().insertTextBoxAction->trigger();
    ASSERT_EQ(e.page().textBoxes.size(), 1u);
    const FoliantTextBoxPtr box = e.page().textBoxes[0];
    ASSERT_TRUE(e.text().isEditing());
    EXPECT_EQ(box->font.fontName, kFace);
    EXPECT_EQ(box->frame.width, 750);
    const FoliantTextBox inserted = *box;
    // "<Text>" is selected: the first key replaces it. E and 1 are typed, not pen keys.
    const int inkType = int(e.vc->session().sampler.inkType);
    const auto repaints = e.vc->view().compositor.repaintCount();
    const int asked = e.vc->appliedCounts().repaintsAsked;
    e.vc->view().compositor.isFrameUpdateNeeded = false;
    e.typeIntoBox("Hello E1");
    EXPECT_EQ(int(e.vc->session().sampler.inkType), inkType);
    EXPECT_EQ(e.vc->view().compositor.repaintCount(), repaints);
    EXPECT_EQ(e.vc->appliedCounts().repaintsAsked, asked);
    EXPECT_FALSE(e.vc->view().compositor.isFrameUpdateNeeded);
    EXPECT_EQ(e.text().activeTextView()->document()->toPlainText(), "Hello E1");
    // Undo and redo inside the box take back typing, not the page's steps.
    QTest::keyClick(e.text().overlay()->viewport(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(e.text().activeTextView()->document()->toPlainText(), "<Text>");
    EXPECT_EQ(e.page().textBoxes.size(), 1u);
    QTest::keyClick(e.text().overlay()->viewport(), Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(e.text().activeTextView()->document()->toPlainText(), "Hello E1");
    e.typeIntoBox("!");

    TextToolbar* bar = e.text().toolbar();
    ASSERT_TRUE(bar->isVisible());
    QTest::mouseClick(bar->largerButton(), Qt::LeftButton);
    EXPECT_EQ(box->font.pointSize, 48.0f);
    QTest::mouseClick(bar->alignmentButton(), Qt::LeftButton);
    EXPECT_EQ(box->textAlignment, 1);
    QTest::mouseClick(bar->fontButton(), Qt::LeftButton);
    ASSERT_TRUE(bar->fontPicker());
    QListWidget* families = bar->fontPicker()->tableView();
    const auto found = families->findItems("Liberation Serif", Qt::MatchExactly);
    ASSERT_FALSE(found.isEmpty());
    families->setCurrentItem(found.front());
    emit families->itemClicked(found.front());
    EXPECT_EQ(box->font.fontName, "LiberationSerif");
    QTest::mouseClick(bar->colorButton(), Qt::LeftButton);
    ASSERT_TRUE(bar->colorPicker());
    bar->colorPicker()->colorTapped(2);
    const KColor chosen = box->foregroundColor;
    EXPECT_FALSE(chosen.isEqualToColor(inserted.foregroundColor));
    // The text still has the keyboard.
    e.typeIntoBox("?");
    const double widthBefore = e.text().activeTextView()->shownFrame().height;
    EXPECT_GE(widthBefore, 20);

    QTest::keyClick(e.text().overlay()->viewport(), Qt::Key_Escape);
    EXPECT_FALSE(e.text().isEditing());
    EXPECT_EQ(box->text, "Hello E1!?");
    EXPECT_EQ(e.globals->recentFontFamilies().front(), "Liberation Serif");
    e.vc->undoButtonTapped();
    QApplication::processEvents();
    ASSERT_EQ(e.page().textBoxes.size(), 1u);
    EXPECT_TRUE(box->isEqualToTextBox(inserted));
    // The view shows the model again.
    EXPECT_EQ(e.text().pageTextViews().front()->document()->toPlainText(), "<Text>");
    e.vc->undoButtonTapped();
    EXPECT_TRUE(e.page().textBoxes.empty());
    EXPECT_TRUE(e.text().pageTextViews().empty());
}

TEST(TextEditing, ATapOnABoxOpensItAStrokeOverItDrawsAndATapOutsideEndsIt) {
    TextEditor e({makeBox("tap me", {100, 100, 400, 61})});
    e.viewport().setCanvasPoint({0, 0}, {0, 0}, e.viewport().minZoomFactor);
    e.vc->applyEffects({});
    QWidget* surface = e.vc->touchTarget();
    const Point inside = e.viewport().viewPointFromEaglPoint({150, 120});
    QTest::mouseClick(surface, Qt::LeftButton, Qt::NoModifier, QPoint(int(inside.x), int(inside.y)));
    QApplication::processEvents();
    ASSERT_TRUE(e.text().isEditing());
    EXPECT_EQ(e.book->pointSets()->pointSets().size(), 0u);  // the tap left no dot
    // A tap on the overlay outside the box ends the session, with no step for an unchanged box.
    const Point outside = e.viewport().viewPointFromEaglPoint({1000, 1500});
    QTest::mouseClick(e.text().overlay()->viewport(), Qt::LeftButton, Qt::NoModifier,
                      QPoint(int(outside.x), int(outside.y)));
    EXPECT_FALSE(e.text().isEditing());
    EXPECT_FALSE(e.vc->session().editor.undoManager()->canUndo());
    // A stroke that starts over the box draws.
    QTest::mousePress(surface, Qt::LeftButton, Qt::NoModifier, QPoint(int(inside.x), int(inside.y)));
    for (int dx = 10; dx <= 80; dx += 10) {
        e.clock.advance(1.0 / 60);
        QTest::mouseMove(surface, QPoint(int(inside.x) + dx, int(inside.y)));
    }
    QTest::mouseRelease(surface, Qt::LeftButton, Qt::NoModifier, QPoint(int(inside.x) + 80, int(inside.y)));
    QApplication::processEvents();
    EXPECT_FALSE(e.text().isEditing());
    EXPECT_EQ(e.book->pointSets()->pointSets().size(), 1u);
}

TEST(TextEditing, TurningThePageEndsTheSessionOnThePageItBelongsTo) {
    TextEditor e({makeBox("first", {100, 100, 400, 61})});
    TextBoxEditor& t = e.text();
    t.beginEditingTextBoxWithTextView(t.pageTextViews().front());
    QTest::keyClick(t.overlay()->viewport(), Qt::Key_End, Qt::ControlModifier);
    e.typeIntoBox(" page");
    const FoliantPagePtr first = e.book->pages()[0];
    e.vc->nextPageButtonTapped();  // adds a page and turns to it
    WAIT_FOR(e.vc->session().editor.currentPage() != first, 5000);
    EXPECT_FALSE(t.isEditing());
    EXPECT_EQ(first->textBoxes[0]->text, "first page");
    EXPECT_TRUE(t.pageTextViews().empty());
    EXPECT_TRUE(e.vc->session().editor.undoManagerForPage(*first).canUndo());
    e.vc->previousPageButtonTapped();
    WAIT_FOR(e.vc->session().editor.currentPage() == first, 5000);
    ASSERT_EQ(t.pageTextViews().size(), 1u);
    EXPECT_EQ(t.pageTextViews().front()->document()->toPlainText(), "first page");
}

TEST(TextEditing, PastedTextIsCleanedOfControlCharacters) {
    EXPECT_EQ(cleanPastedText(QString("a\r\nb\rc\x01" "d\te") + QChar(0) + QString("f") + QChar(0x2029) + "g"),
              QString("a\nb\ncd\tef\ng"));
    TextEditor e;
    e.vc->window().insertTextBoxAction->trigger();
    QApplication::clipboard()->setText(QString("one\r\ntwo\x07three"));
    QTest::keyClick(e.text().overlay()->viewport(), Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(e.text().activeTextView()->document()->toPlainText(), "one\ntwothree");
}

TEST(TextEditing, TheWidthGripIsItsOwnStepAndStopsAtFiftyUnits) {
    TextEditor e({makeBox("grip", {100, 100, 400, 61})});
    e.viewport().setCanvasPoint({0, 0}, {0, 0}, e.viewport().minZoomFactor);
    e.vc->applyEffects({});
    TextBoxEditor& t = e.text();
    t.beginEditingTextBoxWithTextView(t.pageTextViews().front());
    const QPointF grip = t.overlay()->widthResizeGrip()->pos();
    QWidget* port = t.overlay()->viewport();
    QTest::mousePress(port, Qt::LeftButton, Qt::NoModifier, grip.toPoint());
    QTest::mouseMove(port, grip.toPoint() - QPoint(600, 0));
    QTest::mouseRelease(port, Qt::LeftButton, Qt::NoModifier, grip.toPoint() - QPoint(600, 0));
    const FoliantTextBoxPtr box = e.page().textBoxes[0];
    EXPECT_EQ(box->frame.width, 50);
    EXPECT_GT(box->frame.height, 61);  // the text wraps in the narrow box and the height follows
    t.endEditing();
    e.vc->undoButtonTapped();
    EXPECT_EQ(box->frame.width, 400);
}

TEST(TextBoxesFromFiles, OddBoxesOpenAndDrawWithinLimits) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    auto nanFrame = makeBox("nan", {nan, nan, nan, nan});
    auto negative = makeBox("negative", {-50, -60, -300, -2});
    auto huge = makeBox(std::string(1 << 20, 'w'), {0, 0, 600, 61}, 12);
    auto tiny = makeBox("zero", {10, 10, 200, 30}, 0);
    auto enormous = makeBox("big", {10, 10, 200, 30}, 10000);
    enormous->textAlignment = 99;
    auto missing = makeBox("missing family", {10, 300, 400, 61});
    missing->font.fontName = "NoSuchFamilyHere-Bold";
    TextEditor e({nanFrame, negative, huge, tiny, enormous, missing});
    ASSERT_EQ(e.text().pageTextViews().size(), 6u);
    for (TextBoxItem* view : e.text().pageTextViews()) {
        const Rect f = view->shownFrame();
        EXPECT_TRUE(std::isfinite(f.x) && std::isfinite(f.y) && f.width >= 1 && f.height >= 20);
    }
    EXPECT_FALSE(e.vc->screenImage().isNull());
    // The long text opens for reading only: no session, the stored text whole.
    e.text().beginEditingTextBoxWithTextView(e.text().pageTextViews()[2]);
    EXPECT_FALSE(e.text().isEditing());
    EXPECT_EQ(huge->text.size(), std::size_t(1) << 20);
    // The stored name stays; a stand-in draws it.
    EXPECT_EQ(missing->font.fontName, "NoSuchFamilyHere-Bold");
    EXPECT_TRUE(textfonts::qFontForKFont(missing->font).bold());
    EXPECT_EQ(textfonts::qFontForKFont(enormous->font).pixelSize(), 2000);
    // Opening the box with the negative frame and leaving it changes nothing and records nothing.
    e.text().beginEditingTextBoxWithTextView(e.text().pageTextViews()[1]);
    e.text().endEditing();
    EXPECT_EQ(negative->frame.width, -300);
    EXPECT_FALSE(e.vc->session().editor.undoManager()->canUndo());
}

TEST(TextPickers, FontsStylesAndColoursFollowTheirRules) {
    EXPECT_EQ(textfonts::styleDisplayNameForFontName("Helvetica-Bold"), "Bold");
    EXPECT_EQ(textfonts::styleDisplayNameForFontName("Helvetica"), "Regular");
    EXPECT_EQ(textfonts::styleDisplayNameForFontName("X-"), "Regular");
    EXPECT_EQ(textfonts::nextFontNameInRing("Nothing"), textfonts::fontRing().front());
    EXPECT_EQ(textfonts::familyForFontName("DejaVuSans-Bold"), "DejaVu Sans");
    EXPECT_EQ(textfonts::fontNameForFamily("DejaVu Sans"), "DejaVuSans");
    EXPECT_GE(textfonts::fontNamesOfFamily("DejaVu Sans").size(), 2u);

    TextEditor e({makeBox("style", {100, 100, 400, 61})});
    TextBoxEditor& t = e.text();
    t.beginEditingTextBoxWithTextView(t.pageTextViews().front());
    TextToolbar* bar = t.toolbar();
    // A family this machine lacks shows, selected, at the top of all fonts.
    FLFontPickerViewController picker(e.vc.get());
    picker.setFontName("A Family Nobody Has");
    EXPECT_EQ(picker.tableView()->currentItem()->text(), "A Family Nobody Has");
    EXPECT_EQ(picker.tableView()->currentRow(), int(textfonts::commonFamilies().size()) + 2);
    // The style picker of the box's family applies a face.
    QTest::mouseClick(bar->styleButton(), Qt::LeftButton);
    ASSERT_TRUE(bar->stylePicker());
    const auto& faces = bar->stylePicker()->fontNames();
    const auto bold = std::find(faces.begin(), faces.end(), "DejaVuSans-Bold");
    ASSERT_NE(bold, faces.end());
    bar->stylePicker()->tableView()->setCurrentRow(int(bold - faces.begin()));
    emit bar->stylePicker()->tableView()->itemClicked(bar->stylePicker()->tableView()->currentItem());
    EXPECT_EQ(e.page().textBoxes[0]->font.fontName, "DejaVuSans-Bold");
    EXPECT_EQ(t.activeTextView()->document()->defaultFont().styleName(), "Bold");

    // The colour picker: a colour not among the swatches parks the ring; opacity 0 becomes 50 % on a tap.
    QTest::mouseClick(bar->colorButton(), Qt::LeftButton);
    FLTextColorViewController* colors = bar->colorPicker();
    ASSERT_TRUE(colors);
    colors->setColors({0.123, 0.456, 0.789, 1}, {1, 1, 1, 0});
    EXPECT_EQ(colors->ring()->pos(), FLTextColorViewController::kRingParked);
    colors->selectionModeChanged(1);
    EXPECT_EQ(colors->alpha(), 0);
    EXPECT_EQ(colors->opacityLabel()->text(), "Opacity: 0%");
    colors->colorTapped(0);
    EXPECT_EQ(colors->alpha(), 0.5);
    EXPECT_EQ(e.page().textBoxes[0]->backgroundColor.a, 0.5);
    colors->setAlpha(0.57);
    EXPECT_EQ(colors->opacityLabel()->text(), "Opacity: 55%");
    // A tap on the chosen swatch opens the colour picker without opacity and eyedropper.
    colors->colorTapped(0);
    ASSERT_TRUE(colors->colorPicker());
    EXPECT_TRUE(colors->colorPicker()->isShowing());

    // The favourite style: set as default, then new boxes take it.
    t.updateEditedPointSize(64);
    t.setAsDefaultStyle();
    EXPECT_EQ(e.globals->defaultTextSettings().fontName, "DejaVuSans-Bold");
    EXPECT_EQ(e.globals->defaultTextSettings().fontSize, 64.0f);
    EXPECT_EQ(e.globals->recentFontSize(), 64.0f);
}

}  // namespace
}  // namespace velumen

namespace velumen {
namespace {

TEST(TextOverlay, TheWindowShowsInkThroughABoxAndTheTextOverIt) {
    TextEditor e({makeBox("Over ink", {100, 100, 500, 61}, 48)});
    e.viewport().setCanvasPoint({0, 0}, {0, 0}, e.viewport().minZoomFactor);
    e.vc->applyEffects({});
    QWidget* surface = e.vc->touchTarget();
    // A stroke across the box, right of its text.
    const Point from = e.viewport().viewPointFromEaglPoint({450, 130});
    const Point to = e.viewport().viewPointFromEaglPoint({590, 130});
    QTest::mousePress(surface, Qt::LeftButton, Qt::NoModifier, QPoint(int(from.x), int(from.y)));
    for (double x = from.x + 5; x <= to.x; x += 5) {
        e.clock.advance(1.0 / 60);
        QTest::mouseMove(surface, QPoint(int(x), int(from.y)));
    }
    QTest::mouseRelease(surface, Qt::LeftButton, Qt::NoModifier, QPoint(int(to.x), int(to.y)));
    QApplication::processEvents();
    e.vc->redrawAllLines();
    const QImage window = surface->grab().toImage();
    const double r = window.devicePixelRatio();
    auto darkAt = [&](Point p) {
        const QRgb c = window.pixel(int(p.x * r), int(p.y * r));
        return qGray(c) < 128;
    };
    EXPECT_TRUE(darkAt(e.viewport().viewPointFromEaglPoint({520, 130})));  // ink through the box
    // Some of the text's pixels, and none of the box's empty part hides the paper.
    int textPixels = 0;
    for (int x = 105; x < 300; ++x)
        for (int y = 105; y < 155; ++y)
            textPixels += darkAt(e.viewport().viewPointFromEaglPoint({double(x), double(y)}));
    EXPECT_GT(textPixels, 20);
    EXPECT_FALSE(darkAt(e.viewport().viewPointFromEaglPoint({520, 100 + 55})));
}

}  // namespace
}  // namespace velumen

namespace velumen {
namespace {

void sendFinger(QWidget* target, const QPointingDevice& finger, QEvent::Type type, QPointF at) {
    QMouseEvent event(type, at, at, target->mapToGlobal(at), Qt::LeftButton,
                      type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton, Qt::NoModifier, &finger);
    QApplication::sendEvent(target, &event);
}

TEST(TextEditing, OneFingerMovesTheEditedBoxAndAFingerTapPlacesTheCaret) {
    TextEditor e({makeBox("finger", {100, 100, 400, 61})});
    e.viewport().setCanvasPoint({0, 0}, {0, 0}, e.viewport().minZoomFactor);
    e.vc->applyEffects({});
    TextBoxEditor& t = e.text();
    t.beginEditingTextBoxWithTextView(t.pageTextViews().front());
    const QPointingDevice finger("finger", 4242, QInputDevice::DeviceType::TouchScreen,
                                 QPointingDevice::PointerType::Finger, QInputDevice::Capability::Position, 10, 0);
    QWidget* port = t.overlay()->viewport();
    const float zoom = e.viewport().view.zoomFactor;
    const Point start = e.viewport().viewPointFromEaglPoint({200, 130});
    const QPointF at(start.x, start.y);
    // A tap puts the caret where the finger was and leaves the box in place.
    sendFinger(port, finger, QEvent::MouseButtonPress, at);
    sendFinger(port, finger, QEvent::MouseButtonRelease, at);
    const FoliantTextBoxPtr box = e.page().textBoxes[0];
    EXPECT_EQ(box->frame.origin(), (Point{100, 100}));
    EXPECT_GT(t.activeTextView()->textCursor().position(), 0);
    EXPECT_LT(t.activeTextView()->textCursor().position(), 6);
    // A drag moves it, by the finger's movement in page units.
    sendFinger(port, finger, QEvent::MouseButtonPress, at);
    sendFinger(port, finger, QEvent::MouseMove, at + QPointF(20, 10));
    sendFinger(port, finger, QEvent::MouseMove, at + QPointF(60, 40));
    sendFinger(port, finger, QEvent::MouseButtonRelease, at + QPointF(60, 40));
    EXPECT_TRUE(t.isEditing());
    EXPECT_EQ(box->frame.x, std::floor(100 + 60 / zoom));
    EXPECT_EQ(box->frame.y, std::floor(100 + 40 / zoom));
    EXPECT_EQ(t.activeTextView()->document()->toPlainText(), "finger");
}

}  // namespace
}  // namespace velumen
