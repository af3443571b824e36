#include "shell/palette/PenPalette.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <cmath>

#include "ink/Pens.h"
#include "shell/FoliantGlobals.h"
#include "shell/palette/PaletteModel.h"
#include "shell/palette/PaletteWidgets.h"
#include "shell/palette/PenWidthIndicatorView.h"

namespace velumen {

namespace {

const char* const kPenTypeNames[] = {"Eraser", "Fountain Pen", "Pencil", "Brush", "Highlighter"};

// The ring around the selected swatch: drawn, never in the way of a press.
class SelectionRing : public QWidget {
  public:
    explicit SelectionRing(QWidget* parent) : QWidget(parent) {
        setObjectName("colorSelectionFrame");
        setAttribute(Qt::WA_TransparentForMouseEvents);
        resize(ColorRowGeometry::kRingSize, ColorRowGeometry::kRingSize);
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(QPen(palette().color(QPalette::Highlight), 3));
        p.drawEllipse(QRectF(rect()).adjusted(2, 2, -2, -2));
    }
};

// "pushpin in" while pinned, "pushpin out" otherwise.
QIcon pushpinIcon(bool pinnedIn, qreal ratio) {
    QImage image(int(24 * ratio), int(24 * ratio), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(60, 60, 60), 2));
    p.setBrush(pinnedIn ? QColor(200, 40, 40) : QColor(150, 150, 150));
    if (pinnedIn) {
        p.drawEllipse(QRectF(6, 4, 12, 12));
        p.drawLine(QPointF(12, 16), QPointF(12, 21));
    } else {
        p.translate(12, 12);
        p.rotate(40);
        p.drawEllipse(QRectF(-6, -10, 12, 10));
        p.drawLine(QPointF(0, 0), QPointF(0, 9));
    }
    p.end();
    return QIcon(QPixmap::fromImage(image));
}

}  // namespace

// ---- Shared by both palettes ----

PenPaletteBase::PenPaletteBase(FoliantGlobals& globals, QWidget* host) : FloatingPanel(host), globals_(globals) {
    _penWidths = globals.penWidths();
    penTypeSegmentedControl = new QButtonGroup(this);
    penTypeSegmentedControl->setExclusive(true);
    for (int i = 0; i < 5; ++i) {
        auto* b = new QToolButton(this);
        b->setObjectName(QString("penType%1").arg(i));
        b->setCheckable(true);
        b->setAutoRaise(true);
        b->setFocusPolicy(Qt::TabFocus);
        b->setIcon(penToolbarIcon(i, {0.3, 0.3, 0.3, 1}, devicePixelRatioF()));
        b->setIconSize({32, 32});
        b->setToolTip(QString("%1 (%2)").arg(kPenTypeNames[i]).arg(i == 0 ? QString("E") : QString::number(i)));
        b->setAccessibleName(kPenTypeNames[i]);
        penTypeSegmentedControl->addButton(b, i);
        penTypeButtons_.push_back(b);
    }
    connect(penTypeSegmentedControl, &QButtonGroup::idClicked, this, [this](int id) { penTypeChanged(id); });
    _eraserModeButton = new QToolButton(this);
    _eraserModeButton->setObjectName("eraserModeButton");
    _eraserModeButton->setCheckable(true);
    _eraserModeButton->setText("Only This Colour");
    _eraserModeButton->setToolTip("The eraser removes only ink of the selected colour");
    _eraserModeButton->setFocusPolicy(Qt::TabFocus);
    connect(_eraserModeButton, &QToolButton::clicked, this, [this] { eraserModeTapped(); });
    _penWidthLabel = new QLabel(this);
    _penWidthLabel->setObjectName("penWidthLabel");
    _penWidthLabel->setMinimumWidth(28);
}

ColorSwatchButton* PenPaletteBase::swatch(std::size_t index) const {
    return index < swatches_.size() ? swatches_[index] : nullptr;
}

QToolButton* PenPaletteBase::penTypeButton(int index) const {
    return index >= 0 && std::size_t(index) < penTypeButtons_.size() ? penTypeButtons_[std::size_t(index)] : nullptr;
}

void PenPaletteBase::initializeColorButtons(QWidget* row, std::size_t count, int (*xOf)(int)) {
    for (ColorSwatchButton* b : swatches_)
        delete b;
    swatches_.clear();
    colorMap_.clear();
    const std::vector<KColor>& colors = globals_.penColors();
    count = std::min(count, colors.size());
    for (std::size_t i = 0; i < count; ++i) {
        auto* b = new ColorSwatchButton(int(i), row);
        b->setObjectName(QString("color%1").arg(i));
        b->move(xOf(int(i)), (row->height() - b->height()) / 2);
        b->setSwatchColor(FoliantGlobals::displayColorForColor(colors[i]));
        b->setToolTip(QString("Colour %1 (#%2); tap again to change it").arg(i + 1).arg(hexStringFromColor(colors[i])));
        connect(b, &QAbstractButton::clicked, this, [this, i] { colorTapped(i); });
        colorMap_[i] = colors[i];
        swatches_.push_back(b);
    }
    if (!colorSelectionFrame) colorSelectionFrame = new SelectionRing(ringParent());
    selectedIndex_.reset();
    if (!swatches_.empty()) {
        selectedIndex_ = 0;
        selectedColor_ = colorMap_[0];
    }
    moveRingTo(selectedIndex_);
}

void PenPaletteBase::moveRingTo(std::optional<std::size_t> index) {
    if (!colorSelectionFrame) return;
    if (index && *index < swatches_.size()) {
        const QRect b = swatches_[*index]->geometry();
        colorSelectionFrame->move(b.center() - QPoint(ColorRowGeometry::kRingSize / 2, ColorRowGeometry::kRingSize / 2) +
                                  QPoint(1, 1));
    } else {
        colorSelectionFrame->move(-100, 50);
    }
    colorSelectionFrame->show();
    colorSelectionFrame->raise();
}

void PenPaletteBase::setSelectedColor(const KColor& color) {
    selectedColor_ = color;
    std::vector<KColor> shown;
    for (const auto& [index, c] : colorMap_)
        shown.push_back(c);
    if (const auto index = indexOfColorFromPage(shown, color, globals_.colorPalettePage())) {
        selectedIndex_ = *index;
        moveRingTo(selectedIndex_);
        scrollToSelectedColor();
    }
    updatePenWidthIndicator();
}

void PenPaletteBase::setIsErasingSelectedColor(bool erasing) {
    _isErasingSelectedColor = erasing;
    _eraserModeButton->setChecked(erasing);
}

void PenPaletteBase::setPenTypeIndex(int index) {
    penTypeIndex_ = index;
    if (QAbstractButton* b = penTypeSegmentedControl->button(index)) b->setChecked(true);
    penTypeIndexDidChange();
}

float PenPaletteBase::currentWidth() const {
    const auto i = std::size_t(penTypeIndex_);
    return i < _penWidths.size() ? _penWidths[i] : 0.0f;
}

void PenPaletteBase::updatePenWidthIndicator() {
    const auto steps = penWidthStepsForPenTypeIndex(penTypeIndex_);
    indicator_->setMaxValue(steps.empty() ? 0 : steps.back());
    indicator_->setValue(currentWidth());
    indicator_->setColor(FoliantGlobals::displayColorForColor(selectedColor_));
}

void PenPaletteBase::penTypeIndexDidChange() {
    const bool eraser = penTypeIndex_ == 0;
    _penWidthLabel->setVisible(!eraser);
    _eraserModeButton->setVisible(eraser);
    _penWidthLabel->setText(QString::number(static_cast<long>(currentWidth())));
    updatePenWidthIndicator();
    updateWidthControls();
}

void PenPaletteBase::colorTapped(std::size_t index) {
    if (index >= swatches_.size()) return;
    if (selectedIndex_ == index) {
        showColorPickerPopoverFromButton(swatches_[index]);
        return;
    }
    dismissPresented();
    selectedColor_ = colorMap_[index];
    selectedIndex_ = index;
    moveRingTo(index);
    recordColorScrollViewPage();
    updatePenWidthIndicator();
    reportSelectedColor(selectedColor_);
}

void PenPaletteBase::penTypeChanged(int index) {
    penTypeIndex_ = index;
    reportPenType(index, currentWidth());
    penTypeIndexDidChange();
}

void PenPaletteBase::eraserModeTapped() {
    _isErasingSelectedColor = !_isErasingSelectedColor;
    _eraserModeButton->setChecked(_isErasingSelectedColor);
    reportEraserMode(_isErasingSelectedColor);
}

void PenPaletteBase::dismissPresented() {
    if (colorPicker_ && colorPicker_->isShowing()) colorPicker_->cancelTapped();
}

void PenPaletteBase::showColorPickerPopoverFromButton(QWidget* button) {
    if (colorPicker_ && colorPicker_->isShowing()) {
        colorPicker_->cancelTapped();
        return;
    }
    dismissPresented();
    if (!colorPicker_) {
        colorPicker_ = new ColorPickerViewController(parentWidget());
        colorPicker_->delegate = this;
        colorPicker_->setHasOpacityControl(true);
    }
    colorPicker_->setHasEyeDropperControl(hasEyeDropper());
    std::vector<QPointer<QWidget>> through{QPointer<QWidget>(this)};
    colorPicker_->setPassthroughViews(through);
    colorPicker_->setSelectedColor(selectedColor_);
    colorPicker_->showFromWidget(button);
}

void PenPaletteBase::replaceSelectedColor(const KColor& color) {
    selectedColor_ = color;
    if (!selectedIndex_) return;
    const std::size_t i = *selectedIndex_;
    std::vector<KColor> colors = globals_.penColors();
    if (i < colors.size()) {
        colors[i] = color;
        globals_.setPenColors(std::move(colors));
    }
    colorMap_[i] = color;
    if (i < swatches_.size()) swatches_[i]->setSwatchColor(FoliantGlobals::displayColorForColor(color));
}

void PenPaletteBase::colorPickerColorDidChange(ColorPickerViewController*, const KColor& color) {
    replaceSelectedColor(color);
    updatePenWidthIndicator();
    if (appliesPickerChangesLive()) reportSelectedColor(color);
}

void PenPaletteBase::colorPickerColorWasDismissed(ColorPickerViewController* picker, bool wasDone) {
    if (wasDone) {
        replaceSelectedColor(picker->selectedColor());
        updatePenWidthIndicator();
        reportSelectedColor(selectedColor_);
    }
    picker->hide();
}

void PenPaletteBase::colorPickerDidTapEyeDropper(ColorPickerViewController*) {}

// ---- The tablet's palette ----

PenPalette::PenPalette(FoliantGlobals& globals, QWidget* host) : PenPaletteBase(globals, host) {
    setObjectName("penPalette");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 6, 8, 8);
    auto* types = new QHBoxLayout;
    for (QToolButton* b : penTypeButtons_)
        types->addWidget(b);
    types->addStretch(1);
    pushpinButton_ = new QToolButton(this);
    pushpinButton_->setObjectName("pushpinButton");
    pushpinButton_->setAutoRaise(true);
    pushpinButton_->setFocusPolicy(Qt::TabFocus);
    connect(pushpinButton_, &QToolButton::clicked, this, [this] { pushpinTapped(); });
    types->addWidget(pushpinButton_);
    layout->addLayout(types);

    // The colours, a page of eight in view; the arrows and the wheel turn the pages.
    auto* colors = new QHBoxLayout;
    auto* back = new QToolButton(this);
    back->setArrowType(Qt::LeftArrow);
    back->setAutoRaise(true);
    back->setToolTip("Previous colours");
    auto* forward = new QToolButton(this);
    forward->setArrowType(Qt::RightArrow);
    forward->setAutoRaise(true);
    forward->setToolTip("Next colours");
    _colorScrollView = new QScrollArea(this);
    _colorScrollView->setObjectName("colorScrollView");
    _colorScrollView->setFrameShape(QFrame::NoFrame);
    _colorScrollView->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    _colorScrollView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    _colorScrollView->setFixedSize(ColorRowGeometry::kPageWidth, 56);
    _colorScrollView->horizontalScrollBar()->setSingleStep(ColorRowGeometry::kPageWidth);
    _colorScrollView->horizontalScrollBar()->setPageStep(ColorRowGeometry::kPageWidth);
    colorRow_ = new QWidget;
    colorRow_->setObjectName("colorRow");
    const int n = int(globals.penColors().size());
    colorRow_->setFixedSize(std::max(ColorRowGeometry::kPageWidth, ColorRowGeometry::contentWidth(n)), 56);
    _colorScrollView->setWidget(colorRow_);
    auto turn = [this](int pages) {
        QScrollBar* bar = _colorScrollView->horizontalScrollBar();
        bar->setValue((bar->value() / ColorRowGeometry::kPageWidth + pages) * ColorRowGeometry::kPageWidth);
    };
    connect(back, &QToolButton::clicked, this, [turn] { turn(-1); });
    connect(forward, &QToolButton::clicked, this, [turn] { turn(1); });
    colors->addWidget(back);
    colors->addWidget(_colorScrollView);
    colors->addWidget(forward);
    layout->addLayout(colors);
    initializeColorButtons(colorRow_, globals.penColors().size(), &ColorRowGeometry::swatchX);

    auto* widthRow = new QHBoxLayout;
    _penWidthButton = new QToolButton(this);
    _penWidthButton->setObjectName("penWidthButton");
    _penWidthButton->setFixedSize(44, 44);
    _penWidthButton->setToolTip("Pen width ([ and ] step it)");
    _penWidthButton->setFocusPolicy(Qt::TabFocus);
    indicator_ = new PenWidthIndicatorView(_penWidthButton);
    indicator_->move(2, 2);
    connect(_penWidthButton, &QToolButton::clicked, this, [this] { penWidthTapped(); });
    widthRow->addWidget(_penWidthButton);
    widthRow->addWidget(_penWidthLabel);
    widthRow->addStretch(1);
    widthRow->addWidget(_eraserModeButton);
    layout->addLayout(widthRow);
    setIsPinned(false);
    penTypeIndexDidChange();
}

void PenPalette::setPassthroughViews(std::vector<QPointer<QWidget>> views) {
    passthroughViews = std::move(views);
    applyPassthrough();
}

void PenPalette::applyPassthrough() {
    FloatingPanel::setPassthroughViews(passthroughViews);
    setClosesOnOutsidePress(!isPinned_);
    // While pinned, the pickers it opens let presses through to the page and the toolbar too.
    std::vector<QPointer<QWidget>> through{QPointer<QWidget>(this)};
    if (isPinned_) through.insert(through.end(), passthroughViews.begin(), passthroughViews.end());
    if (isPinned_ && parentWidget()) through.push_back(parentWidget());
    if (colorPicker_) colorPicker_->setPassthroughViews(through);
    if (sliderViewController_) sliderViewController_->setPassthroughViews(through);
}

void PenPalette::setIsPinned(bool pinned) {
    isPinned_ = pinned;
    pushpinButton_->setIcon(pushpinIcon(pinned, devicePixelRatioF()));
    pushpinButton_->setToolTip(pinned ? "Pinned: the palette stays open while you draw. Click to unpin"
                                      : "Pin the palette open while you draw");
    applyPassthrough();
}

void PenPalette::pushpinTapped() {
    if (colorPicker_ && colorPicker_->isShowing()) colorPicker_->cancelTapped();
    setIsPinned(!isPinned_);
    if (delegate) delegate->penPaletteWasPinned(this, isPinned_);
}

void PenPalette::dismissPresented() {
    PenPaletteBase::dismissPresented();
    if (sliderViewController_) sliderViewController_->dismiss();
}

void PenPalette::penWidthTapped() {
    if (sliderViewController_ && sliderViewController_->isShowing()) {
        sliderViewController_->dismiss();
        return;
    }
    dismissPresented();
    if (penTypeIndex_ == 0) return;
    if (!sliderViewController_) {
        sliderViewController_ = new KSliderViewController(parentWidget());
        sliderViewController_->delegate = this;
    }
    applyPassthrough();
    updateWidthSlider();
    sliderViewController_->showFromWidget(_penWidthButton);
}

void PenPalette::updateWidthSlider() {
    if (!sliderViewController_) return;
    const auto steps = penWidthStepsForPenTypeIndex(penTypeIndex_);
    sliderViewController_->setRange(0, int(steps.size()) - 1);
    sliderViewController_->setValue(sliderIndexForWidth(steps, currentWidth()));
}

void PenPalette::updateWidthControls() {
    if (penTypeIndex_ == 0 && sliderViewController_) sliderViewController_->dismiss();
    updateWidthSlider();
}

void PenPalette::KSliderViewControllerDidChangeValue(KSliderViewController*, double value) {
    const float width = widthForSliderValue(penWidthStepsForPenTypeIndex(penTypeIndex_), value);
    const auto i = std::size_t(penTypeIndex_);
    if (i < _penWidths.size()) _penWidths[i] = width;
    _penWidthLabel->setText(QString::number(static_cast<long>(width)));
    updatePenWidthIndicator();
    if (delegate) delegate->penPaletteDidChangePenWidth(this, width);
}

void PenPalette::reportSelectedColor(const KColor& color) {
    if (delegate) delegate->penPaletteDidSelectColor(this, color);
}

void PenPalette::reportPenType(int index, float width) {
    if (delegate) delegate->penPaletteDidChangePenType(this, index, width);
}

void PenPalette::reportEraserMode(bool erasing) {
    if (delegate) delegate->penPaletteDidChangeEraserMode(this, erasing);
}

QWidget* PenPalette::ringParent() const {
    return colorRow_;
}

void PenPalette::scrollToSelectedColor() {
    if (!colorSelectionFrame) return;
    const int x = colorSelectionFrame->x();
    const int page = x < 0 ? 0 : x / ColorRowGeometry::kPageWidth;
    _colorScrollView->horizontalScrollBar()->setValue(page * ColorRowGeometry::kPageWidth);
}

void PenPalette::recordColorScrollViewPage() {
    if (colorSelectionFrame) globals_.setColorPalettePage(ColorRowGeometry::pageOfRingX(colorSelectionFrame->x()));
}

void PenPalette::colorPickerDidTapEyeDropper(ColorPickerViewController* picker) {
    picker->hide();
    if (delegate && selectedIndex_) delegate->penPaletteDidTapEyeDropper(this, *selectedIndex_);
}

// ---- The phone's palette ----

BigPenPalette::BigPenPalette(FoliantGlobals& globals, QWidget* host, bool isTabletClass, double shorterScreenSide)
    : PenPaletteBase(globals, host), numberOfColors_(numberOfPhoneColors(isTabletClass, shorterScreenSide)) {
    setObjectName("bigPenPalette");
    setClosesOnOutsidePress(false);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 12, 12, 12);
    auto* top = new QHBoxLayout;
    auto* title = new QLabel("Pens", this);
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    top->addWidget(title);
    top->addStretch(1);
    doneButton_ = new QToolButton(this);
    doneButton_->setObjectName("doneButton");
    doneButton_->setText("Done");
    doneButton_->setToolTip("Close the pens (Esc)");
    connect(doneButton_, &QToolButton::clicked, this, [this] { doneTapped(); });
    top->addWidget(doneButton_);
    layout->addLayout(top);
    auto* types = new QHBoxLayout;
    for (QToolButton* b : penTypeButtons_)
        types->addWidget(b);
    types->addStretch(1);
    layout->addLayout(types);
    colorPaletteView_ = new QWidget(this);
    colorPaletteView_->setObjectName("colorPaletteView");
    colorPaletteView_->setFixedSize(8 + numberOfColors_ * 44 + 8, 56);
    layout->addWidget(colorPaletteView_);
    initializeColorButtons(
        colorPaletteView_, std::size_t(numberOfColors_), [](int i) { return 8 + i * 44; });
    auto* widthRow = new QHBoxLayout;
    indicator_ = new PenWidthIndicatorView(this);
    widthRow->addWidget(indicator_);
    _penWidthSlider = new StepSlider(this);
    _penWidthSlider->setObjectName("penWidthSlider");
    _penWidthSlider->setToolTip("Pen width");
    _penWidthSlider->setFocusPolicy(Qt::TabFocus);
    widthRow->addWidget(_penWidthSlider, 1);
    widthRow->addWidget(_penWidthLabel);
    layout->addLayout(widthRow);
    layout->addWidget(_eraserModeButton, 0, Qt::AlignLeft);
    layout->addStretch(1);
    connect(_penWidthSlider, &QSlider::valueChanged, this, [this](int value) {
        const float width = widthForSliderValue(penWidthStepsForPenTypeIndex(penTypeIndex_), value);
        const auto i = std::size_t(penTypeIndex_);
        if (i < _penWidths.size()) _penWidths[i] = width;
        _penWidthLabel->setText(QString::number(static_cast<int>(width)));
        updatePenWidthIndicator();
        if (delegate) delegate->bigPenPaletteDidChangePenWidth(this, width);
    });
    penTypeIndexDidChange();
}

void BigPenPalette::doneTapped() {
    dismissPresented();
    if (delegate) delegate->bigPenPaletteDidClose(this);
}

void BigPenPalette::updateWidthControls() {
    const auto steps = penWidthStepsForPenTypeIndex(penTypeIndex_);
    const QSignalBlocker quiet(_penWidthSlider);
    _penWidthSlider->setRange(0, int(steps.size()) - 1);
    _penWidthSlider->setValue(sliderIndexForWidth(steps, currentWidth()));
    _penWidthSlider->setEnabled(penTypeIndex_ != 0);
    _penWidthLabel->setText(QString::number(static_cast<int>(currentWidth())));
}

void BigPenPalette::reportSelectedColor(const KColor& color) {
    if (delegate) delegate->bigPenPaletteDidSelectColor(this, color);
}

void BigPenPalette::reportPenType(int index, float width) {
    if (delegate) delegate->bigPenPaletteDidChangePenType(this, index, width);
}

void BigPenPalette::reportEraserMode(bool erasing) {
    if (delegate) delegate->bigPenPaletteDidChangeEraserMode(this, erasing);
}

}  // namespace velumen
