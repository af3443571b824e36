// The pen palettes end to end on the editor with real mouse and key events: the toolbar's pen button opens
// the palette, a click on a colour reaches the next stroke, the picker redefines an entry that survives a
// restart, the eyedropper takes a colour from drawn ink, and the phone's sheet does the same in its form.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QWheelEvent>

#include "shell/BookFile.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantViewController.h"
#include "shell/palette/EyeDropperBar.h"
#include "shell/palette/PaletteWidgets.h"
#include "shell/palette/PenWidthIndicatorView.h"

namespace velumen {
namespace {

struct PaletteEditor {
    QTemporaryDir& dir;
    std::unique_ptr<FoliantGlobals> globals;
    ManualClock clock;
    std::unique_ptr<FoliantViewController> vc;

    PaletteEditor(QTemporaryDir& folder, const FoliantDataPtr& book,
                  std::optional<DeviceProfile> profile = std::nullopt, QSize size = {600, 750})
        : dir(folder), globals(std::make_unique<FoliantGlobals>(openDefaultsStore(dir.filePath("defaults.plist")), 0.0)) {
        vc = std::make_unique<FoliantViewController>(*globals, clock, profile);
        vc->resize(size);
        vc->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(vc.get()));
        vc->openBook(book);
    }
    ~PaletteEditor() {
        vc.reset();
        globals.reset();
    }
    // A horizontal mouse stroke on the page, in view points of the surface.
    void stroke(int x0, int x1, int y) {
        QWidget* surface = vc->touchTarget();
        QTest::mousePress(surface, Qt::LeftButton, Qt::NoModifier, QPoint(x0, y));
        for (int x = x0 + 10; x <= x1; x += 10) {
            clock.advance(1.0 / 60);
            QTest::mouseMove(surface, QPoint(x, y));
        }
        QTest::mouseRelease(surface, Qt::LeftButton, Qt::NoModifier, QPoint(x1, y));
        QApplication::processEvents();
    }
    PenPalette* openPalette() {
        QTest::mouseClick(vc->window().penButton(), Qt::LeftButton);
        return vc->penPalette();
    }
};

void expectColorNear(const KColor& a, const KColor& b) {
    EXPECT_NEAR(a.r, b.r, 1e-9);
    EXPECT_NEAR(a.g, b.g, 1e-9);
    EXPECT_NEAR(a.b, b.b, 1e-9);
    EXPECT_NEAR(a.a, b.a, 1e-9);
}

TEST(PenPaletteEndToEnd, AColourChosenAndRedefinedReachesTheNextStrokesAndSurvivesARestart) {
    QTemporaryDir dir;
    FoliantDataPtr book = newOnePageBook();
    KColor redefined;
    {
        PaletteEditor e(dir, book);
        QWidget* focusBefore = QApplication::focusWidget();
        PenPalette* palette = e.openPalette();
        ASSERT_TRUE(palette && palette->isVisible());
        // It floats under the pen button, inside the editor, and leaves the keyboard where it was.
        EXPECT_EQ(palette->parentWidget(), e.vc.get());
        EXPECT_EQ(QApplication::focusWidget(), focusBefore);
        EXPECT_EQ(palette->penTypeIndex(), 1);
        EXPECT_TRUE(palette->penTypeButton(1)->isChecked());
        const KColor second = e.globals->penColors()[1];
        QTest::mouseClick(palette->swatch(1), Qt::LeftButton);
        EXPECT_EQ(palette->selectedColorIndex(), 1u);
        EXPECT_EQ(palette->ring()->geometry().center(), palette->swatch(1)->geometry().center());
        EXPECT_EQ(e.vc->session().currentLineColor(), second);

        // A stroke on the page closes the unpinned palette and carries the colour.
        e.stroke(100, 300, 300);
        QApplication::processEvents();
        EXPECT_FALSE(e.vc->penPalette());
        ASSERT_EQ(book->pointSets()->count(), 1u);
        EXPECT_EQ(book->pointSets()->pointSets()[0]->color(), second);

        // Reopened, the ring is on that colour; a click on it opens the picker on it.
        palette = e.openPalette();
        ASSERT_TRUE(palette);
        EXPECT_EQ(palette->selectedColorIndex(), 1u);
        QTest::mouseClick(palette->swatch(1), Qt::LeftButton);
        ColorPickerViewController* picker = palette->colorPicker();
        ASSERT_TRUE(picker && picker->isVisible());
        expectColorNear(picker->selectedColor(), second);
        // Typed in hexadecimal through the dialog: the entry changes at once, the pen only at Done.
        QTest::mouseClick(picker->view()->colorHexButton(), Qt::LeftButton);
        ASSERT_TRUE(picker->hexDialog() && picker->hexDialog()->isVisible());
        auto* edit = picker->hexDialog()->findChild<QLineEdit*>();
        ASSERT_TRUE(edit);
        QTest::keyClicks(edit, "2080C0");
        QPushButton* ok = nullptr;
        for (QPushButton* b : picker->hexDialog()->findChildren<QPushButton*>())
            if (b->text() == "Ok") ok = b;
        ASSERT_TRUE(ok);
        QTest::mouseClick(ok, Qt::LeftButton);
        const KColor typed{32.0 / 255, 128.0 / 255, 192.0 / 255, 0.35};
        EXPECT_EQ(e.globals->penColors()[1], typed);
        EXPECT_EQ(e.vc->session().currentLineColor(), second);
        // The brightness bar, dragged to its right end: full brightness, the same hue and saturation.
        ColorPickerView* view = picker->view();
        const QRectF bar = view->gradientFrame();
        QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, bar.center().toPoint());
        QTest::mouseMove(view, QPoint(int(bar.right()) + 40, int(bar.center().y())));
        QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, QPoint(int(bar.right()) + 40, int(bar.center().y())));
        EXPECT_EQ(view->currentBrightness, 1.0);
        redefined = e.globals->penColors()[1];
        expectColorNear(redefined, {32.0 / 192, 128.0 / 192, 1.0, 0.35});
        QTest::mouseClick(picker->findChild<QPushButton*>("doneButton"), Qt::LeftButton);
        EXPECT_FALSE(picker->isVisible());
        EXPECT_EQ(e.vc->session().currentLineColor(), redefined);
        EXPECT_EQ(palette->swatch(1)->swatchColor(), FoliantGlobals::displayColorForColor(redefined));
        e.stroke(100, 300, 400);
        ASSERT_EQ(book->pointSets()->count(), 2u);
        EXPECT_EQ(book->pointSets()->pointSets()[1]->color(), redefined);
        EXPECT_EQ(book->pointSets()->pointSets()[0]->color(), second);
        // Quitting stores the settings.
        e.vc->applicationWillResignActive();
    }
    // After a restart the palette holds the new colour (as the store keeps colours, in single precision) and
    // the pen draws with it.
    PaletteEditor e(dir, book);
    redefined = {float(redefined.r), float(redefined.g), float(redefined.b), float(redefined.a)};
    EXPECT_EQ(e.globals->penColors()[1], redefined);
    PenPalette* palette = e.openPalette();
    ASSERT_TRUE(palette);
    EXPECT_EQ(palette->selectedColorIndex(), 1u);
    EXPECT_EQ(palette->swatch(1)->swatchColor(), FoliantGlobals::displayColorForColor(redefined));
    e.stroke(100, 300, 500);
    ASSERT_EQ(book->pointSets()->count(), 3u);
    EXPECT_EQ(book->pointSets()->pointSets()[2]->color(), redefined);
    EXPECT_EQ(book->pointSets()->pointSets()[0]->color(), e.globals->_defaultPenColors[1]);
}

TEST(PenPaletteEndToEnd, PenTypeWidthPinAndTheEyedropperWorkByMouse) {
    QTemporaryDir dir;
    FoliantDataPtr book = newOnePageBook();
    PaletteEditor e(dir, book);
    e.vc->setPenColor({0.25, 0.5, 0.75, 0.35});
    e.stroke(100, 300, 300);
    ASSERT_EQ(book->pointSets()->count(), 1u);

    PenPalette* palette = e.openPalette();
    ASSERT_TRUE(palette);
    // The hilighter: its own colour moves the ring; the brush's width table; the eraser has no slider.
    QTest::mouseClick(palette->penTypeButton(4), Qt::LeftButton);
    EXPECT_EQ(e.vc->session().sampler.inkType, InkTypeHilighter);
    EXPECT_EQ(palette->selectedColor(), e.globals->currentPenColors()[5]);
    QTest::mouseClick(palette->penTypeButton(3), Qt::LeftButton);
    QTest::mouseClick(palette->penWidthButton(), Qt::LeftButton);
    KSliderViewController* slider = palette->sliderViewController();
    ASSERT_TRUE(slider && slider->isVisible());
    EXPECT_EQ(slider->slider()->maximum(), 6);
    EXPECT_EQ(slider->value(), 1);  // 32
    // One notch of the wheel is one step, whatever the desktop's scroll lines.
    QWheelEvent notch(QPointF(10, 10), slider->slider()->mapToGlobal(QPointF(10, 10)), QPoint(), QPoint(0, 120),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(slider->slider(), &notch);
    EXPECT_EQ(slider->value(), 2);
    EXPECT_EQ(e.vc->session().sampler.currentStrokeThickness, 48);
    EXPECT_EQ(e.globals->penWidths()[3], 48);
    EXPECT_EQ(palette->penWidthLabel()->text(), "48");
    EXPECT_EQ(palette->widthIndicator()->value(), 48);
    QTest::mouseClick(palette->penTypeButton(0), Qt::LeftButton);
    EXPECT_FALSE(slider->isVisible());
    QTest::mouseClick(palette->penWidthButton(), Qt::LeftButton);
    EXPECT_FALSE(palette->sliderViewController() && palette->sliderViewController()->isVisible());
    EXPECT_TRUE(palette->eraserModeButton()->isVisible());
    QTest::mouseClick(palette->eraserModeButton(), Qt::LeftButton);
    EXPECT_TRUE(e.globals->isErasingSelectedColor());
    EXPECT_TRUE(e.vc->session().eraserTool.isErasingSelectedColor);
    QTest::mouseClick(palette->penTypeButton(1), Qt::LeftButton);

    // Pinned, the palette stays open over strokes, and a picker change reaches the pen at once.
    QTest::mouseClick(palette->pushpinButton(), Qt::LeftButton);
    EXPECT_TRUE(e.globals->isPenPalettePinned());
    e.stroke(100, 300, 400);
    ASSERT_EQ(e.vc->penPalette(), palette);
    EXPECT_TRUE(palette->isVisible());
    const std::size_t entry = *palette->selectedColorIndex();
    QTest::mouseClick(palette->swatch(entry), Qt::LeftButton);
    ColorPickerViewController* picker = palette->colorPicker();
    ASSERT_TRUE(picker && picker->isVisible());
    // The colour map is drawn once, however often the picker repaints.
    for (int i = 0; i < 5; ++i)
        picker->view()->grab();
    EXPECT_EQ(picker->view()->colorMapRenders(), 1);
    const QRectF map = picker->view()->colorMapFrame();
    QTest::mouseClick(picker->view(), Qt::LeftButton, Qt::NoModifier, map.topLeft().toPoint() + QPoint(1, 1));
    EXPECT_EQ(e.vc->session().currentLineColor(), e.globals->penColors()[entry]);

    // The eyedropper from the picker: a click on the first stroke takes its colour into the entry.
    ASSERT_TRUE(picker->view()->eyeDropperButton()->isVisible());
    QTest::mouseClick(picker->view()->eyeDropperButton(), Qt::LeftButton);
    EXPECT_FALSE(e.vc->penPalette() && e.vc->penPalette()->isVisible());
    EyeDropperBar* bar = e.vc->eyeDropperToolbar();
    EXPECT_TRUE(bar->isShown());
    const std::size_t runsBefore = book->pointSets()->count();
    QTest::mouseClick(e.vc->touchTarget(), Qt::LeftButton, Qt::NoModifier, QPoint(600, 700));
    EXPECT_FALSE(bar->shownColor());
    QTest::mouseClick(e.vc->touchTarget(), Qt::LeftButton, Qt::NoModifier, QPoint(200, 300));
    const KColor first = book->pointSets()->pointSets()[0]->color();
    EXPECT_EQ(e.globals->penColors()[entry], first);
    EXPECT_EQ(e.vc->session().currentLineColor(), first);
    ASSERT_TRUE(bar->shownColor());
    EXPECT_EQ(*bar->shownColor(), first);
    EXPECT_EQ(book->pointSets()->count(), runsBefore);
    // Escape ends it; the next click draws again.
    e.vc->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(e.vc.get()));
    QTest::keyClick(e.vc.get(), Qt::Key_Escape);
    EXPECT_FALSE(e.vc->session().isEyeDropPickingColor());
    e.stroke(100, 300, 500);
    EXPECT_EQ(book->pointSets()->count(), runsBefore + 1);
}

TEST(PenPaletteEndToEnd, ThePhoneSheetCoversTheEditorHasNoEyedropperAndAppliesItsColourAtDone) {
    QTemporaryDir dir;
    FoliantDataPtr book = newOnePageBook();
    PaletteEditor e(dir, book, DeviceProfile::Phone, {400, 700});
    QTest::mouseClick(e.vc->window().penButton(), Qt::LeftButton);
    EXPECT_FALSE(e.vc->penPalette());
    BigPenPalette* sheet = e.vc->bigPenPalette();
    ASSERT_TRUE(sheet && sheet->isVisible());
    EXPECT_EQ(sheet->geometry(), e.vc->rect());
    QTest::mouseClick(sheet->penTypeButton(2), Qt::LeftButton);
    EXPECT_EQ(e.vc->session().sampler.inkType, InkTypePencil);
    sheet->penWidthSlider()->setValue(sheet->penWidthSlider()->value() + 2);
    EXPECT_EQ(e.vc->session().sampler.currentStrokeThickness, 6);
    EXPECT_EQ(sheet->penWidthLabel()->text(), "6");
    const std::size_t last = std::size_t(sheet->numberOfColors() - 1);
    QTest::mouseClick(sheet->swatch(last), Qt::LeftButton);
    EXPECT_EQ(sheet->swatch(last + 1), nullptr);
    QTest::mouseClick(sheet->swatch(last), Qt::LeftButton);
    ASSERT_TRUE(sheet->colorPicker() && sheet->colorPicker()->isVisible());
    EXPECT_FALSE(sheet->colorPicker()->view()->eyeDropperButton()->isVisibleTo(sheet->colorPicker()));
    QTest::mouseClick(sheet->colorPicker()->findChild<QPushButton*>("cancelButton"), Qt::LeftButton);
    QTest::mouseClick(sheet->doneButton(), Qt::LeftButton);
    EXPECT_EQ(e.vc->session().currentLineColor(), e.globals->penColors()[last]);
    // The sheet fades out and goes.
    const QPointer<BigPenPalette> closing(sheet);
    EXPECT_FALSE(e.vc->bigPenPalette());
    EXPECT_TRUE(QTest::qWaitFor([&] { return !closing || closing->isHidden(); }, 2000));
}

}  // namespace
}  // namespace velumen
