// The editor's side of the pen palettes, the colour picker and the eyedropper: it opens them, and does
// what each of their reports asks of the pen (type, width, colour) and of the settings (eraser mode, pin).

#include <QGraphicsOpacityEffect>
#include <QPropertyAnimation>
#include <QScreen>
#include <QToolButton>

#include "shell/FoliantViewController.h"
#include "shell/palette/EyeDropperBar.h"
#include "shell/palette/PaletteModel.h"
#include "shell/WristGuardView.h"

namespace velumen {

namespace {
// Narrower than this, a tablet shows the phone's palette.
constexpr int kMinimumPopoverViewWidth = 438;
constexpr int kSheetFadeMilliseconds = 200;

// Fades a widget in or out over the sheet's time; `finished` runs at the end.
void fade(QWidget* widget, bool in, std::function<void()> finished = {}) {
    auto* effect = new QGraphicsOpacityEffect(widget);
    widget->setGraphicsEffect(effect);
    auto* animation = new QPropertyAnimation(effect, "opacity", widget);
    animation->setDuration(kSheetFadeMilliseconds);
    animation->setStartValue(in ? 0.0 : 1.0);
    animation->setEndValue(in ? 1.0 : 0.0);
    QObject::connect(animation, &QPropertyAnimation::finished, widget, [widget, in, finished] {
        if (in) widget->setGraphicsEffect(nullptr);
        if (finished) finished();
    });
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}
}  // namespace

void FoliantViewController::penButtonTapped() {
    if (!acceptsPenCommands()) return;
    if ((penPalette_ && penPalette_->isShowing()) || (bigPenPalette_ && bigPenPalette_->isShowing())) {
        dismissPopovers();
        return;
    }
    dismissPopovers();
    if (session_.viewport.profile == DeviceProfile::Tablet && width() >= kMinimumPopoverViewWidth)
        showPenPalettePopoverFromButton(window_->penButton());
    else
        showBigPenPaletteDialog();
}

void FoliantViewController::showPenPalettePopoverFromButton(QWidget* button) {
    FoliantGlobals& globals = session_.globals;
    auto* palette = new PenPalette(globals, this);
    penPalette_ = palette;
    palette->delegate = this;
    std::vector<QPointer<QWidget>> through{QPointer<QWidget>(window_)};
    if (WristGuardView* guard = view_->wristGuard()) {
        through.emplace_back(guard->guardView());
        through.emplace_back(guard->tabButton());
    }
    palette->setPassthroughViews(std::move(through));
    palette->setPenWidths(globals.penWidths());
    palette->setSelectedColor(session_.currentLineColor());
    palette->setIsPinned(globals.isPenPalettePinned());
    palette->setIsErasingSelectedColor(globals.isErasingSelectedColor());
    palette->setPenTypeIndex(int(penTypeIndexForInkType(session_.sampler.inkType)));
    palette->dismissed = [this, palette] {
        if (penPalette_ == palette) penPalette_ = nullptr;
        palette->deleteLater();
    };
    palette->showFromWidget(button);
}

void FoliantViewController::showBigPenPaletteDialog() {
    FoliantGlobals& globals = session_.globals;
    const QSize screen = this->screen() ? this->screen()->size() : size();
    auto* palette = new BigPenPalette(globals, this, session_.viewport.profile == DeviceProfile::Tablet,
                                      double(std::min(screen.width(), screen.height())));
    bigPenPalette_ = palette;
    palette->delegate = this;
    palette->setPenWidths(globals.penWidths());
    palette->setSelectedColor(session_.currentLineColor());
    palette->setIsErasingSelectedColor(globals.isErasingSelectedColor());
    palette->setPenTypeIndex(int(penTypeIndexForInkType(session_.sampler.inkType)));
    palette->dismissed = [this, palette] {
        if (bigPenPalette_ == palette) bigPenPalette_ = nullptr;
        palette->deleteLater();
    };
    palette->showOverHost();
    fade(palette, true);
}

void FoliantViewController::dismissPopovers() {
    if (penPalette_) {
        penPalette_->dismissPresented();
        penPalette_->dismiss();
    }
    if (bigPenPalette_) {
        bigPenPalette_->dismissPresented();
        bigPenPalette_->dismiss();
    }
}

void FoliantViewController::setPenColor(const KColor& color) {
    session_.setPenColor(color);
    updatePenToolbarIcon();
}

void FoliantViewController::updatePenToolbarIcon() {
    window_->setPenIcon(int(penTypeIndexForInkType(session_.sampler.inkType)),
                        FoliantGlobals::displayColorForColor(session_.currentLineColor()));
}

void FoliantViewController::editPenColorTapped() {
    if (!acceptsPenCommands()) return;
    if (!penPalette_ && !bigPenPalette_) penButtonTapped();
    PenPaletteBase* palette = penPalette_ ? static_cast<PenPaletteBase*>(penPalette_) : bigPenPalette_;
    if (palette && palette->selectedColorIndex()) palette->colorTapped(*palette->selectedColorIndex());
}

void FoliantViewController::stepPenWidth(int steps) {
    if (!acceptsPenCommands()) return;
    const int penTypeIndex = int(penTypeIndexForInkType(session_.sampler.inkType));
    if (penTypeIndex == 0) return;
    const auto table = penWidthStepsForPenTypeIndex(penTypeIndex);
    const int at = sliderIndexForWidth(table, session_.sampler.currentStrokeThickness);
    const int to = std::clamp(at + steps, 0, int(table.size()) - 1);
    session_.setPenTypeIndex(penTypeIndex, table[std::size_t(to)]);
    setPenTypeIndex(penTypeIndex);
}

void FoliantViewController::eyeDropperTapped() {
    if (!acceptsPenCommands()) return;
    const FoliantGlobals& globals = session_.globals;
    const auto index = indexOfColorFromPage(globals.penColors(), session_.currentLineColor(), globals.colorPalettePage());
    penPaletteDidTapEyeDropper(nullptr, index.value_or(std::size_t(-1)));
}

void FoliantViewController::eyeDropperDoneTapped() {
    updatePenToolbarIcon();
    showEyeDropperToolbar(false);
    session_.endEyeDropping();
    window_->eyeDropperDoneAction->setEnabled(false);
}

void FoliantViewController::showEyeDropperToolbar(bool show) {
    eyeDropperToolbar_->showEyeDropperToolbar(show);
}

void FoliantViewController::eyeDropPickedColor() {
    const auto pick = session_.applyEyeDropperPick();
    if (!pick) return;
    eyeDropperToolbar_->showColor(pick->color);
    if (pick->color) updatePenToolbarIcon();
}

// ---- What the palettes report ----
// Both palettes report alike; the phone's has no pin and no eyedropper, and gives its colour at Done.

void FoliantViewController::palettePenTypeChanged(PenPaletteBase* palette, int penTypeIndex, float width) {
    session_.setPenTypeIndex(penTypeIndex, width);
    updatePenToolbarIcon();
    // Each ink type keeps its own colour: the ring moves to it.
    if (palette) palette->setSelectedColor(session_.currentLineColor());
}

void FoliantViewController::palettePenWidthChanged(PenPaletteBase* palette, float width) {
    session_.setPenTypeIndex(palette ? palette->penTypeIndex() : int(penTypeIndexForInkType(session_.sampler.inkType)),
                             width);
    updatePenToolbarIcon();
}

void FoliantViewController::paletteEraserModeChanged(bool isErasingSelectedColor) {
    session_.globals.setIsErasingSelectedColor(isErasingSelectedColor);
    session_.applySettings();
}

void FoliantViewController::penPaletteDidSelectColor(PenPalette*, const KColor& color) {
    setPenColor(color);
}

void FoliantViewController::penPaletteDidChangePenType(PenPalette* palette, int penTypeIndex, float width) {
    palettePenTypeChanged(palette, penTypeIndex, width);
}

void FoliantViewController::penPaletteDidChangePenWidth(PenPalette* palette, float width) {
    palettePenWidthChanged(palette, width);
}

void FoliantViewController::penPaletteDidChangeEraserMode(PenPalette*, bool isErasingSelectedColor) {
    paletteEraserModeChanged(isErasingSelectedColor);
}

void FoliantViewController::penPaletteDidTapEyeDropper(PenPalette*, std::size_t colorIndex) {
    session_.beginEyeDropping(colorIndex);
    dismissPopovers();
    window_->eyeDropperDoneAction->setEnabled(true);
    eyeDropperToolbar_->showColor(std::nullopt);
    showEyeDropperToolbar(true);
}

void FoliantViewController::penPaletteWasPinned(PenPalette*, bool isPinned) {
    session_.globals.setIsPenPalettePinned(isPinned);
}

void FoliantViewController::bigPenPaletteDidSelectColor(BigPenPalette*, const KColor& color) {
    setPenColor(color);
}

void FoliantViewController::bigPenPaletteDidChangePenType(BigPenPalette* palette, int penTypeIndex, float width) {
    palettePenTypeChanged(palette, penTypeIndex, width);
}

void FoliantViewController::bigPenPaletteDidChangePenWidth(BigPenPalette* palette, float width) {
    palettePenWidthChanged(palette, width);
}

void FoliantViewController::bigPenPaletteDidChangeEraserMode(BigPenPalette*, bool isErasingSelectedColor) {
    paletteEraserModeChanged(isErasingSelectedColor);
}

void FoliantViewController::bigPenPaletteDidClose(BigPenPalette* palette) {
    setPenColor(palette->selectedColor());
    bigPenPalette_ = nullptr;
    fade(palette, false, [palette] { palette->dismiss(); });
}

}  // namespace velumen
