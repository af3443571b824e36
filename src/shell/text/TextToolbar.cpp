#include "shell/text/TextToolbar.h"

#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPainter>
#include <QSlider>
#include <QToolButton>
#include <QVBoxLayout>
#include <cmath>
#include <charconv>

#include "objects/TextBoxRules.h"
#include "shell/FoliantGlobals.h"
#include "shell/text/TextBoxEditor.h"
#include "shell/text/TextFonts.h"

namespace velumen {

namespace {
constexpr int kRowPixelSize = 18;
constexpr int kSwatchSize = 36;
constexpr int kSwatchSpacing = 44;

QColor qColor(const KColor& c) {
    return QColor::fromRgbF(float(c.r), float(c.g), float(c.b), float(c.a));
}

QListWidgetItem* sectionHeader(const QString& title) {
    auto* item = new QListWidgetItem(title);
    item->setFlags(Qt::NoItemFlags);
    QFont font = item->font();
    font.setBold(true);
    item->setFont(font);
    return item;
}

QString integerText(long value) {
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return QString::fromLatin1(buffer, result.ptr - buffer);
}

const char* alignmentTitle(std::int64_t alignment) {
    switch (textbox::shownAlignment(alignment)) {
        case 1: return "Centre";
        case 2: return "Right";
        default: return "Left";
    }
}
}  // namespace

// ---- Family picker ----

FLFontPickerViewController::FLFontPickerViewController(QWidget* host) : FloatingPanel(host) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    table_ = new QListWidget(this);
    table_->setFocusPolicy(Qt::NoFocus);
    table_->setUniformItemSizes(false);
    layout->addWidget(table_);
    resize(300, 320);
    table_->addItem(sectionHeader("Common Fonts"));
    for (const QString& family : textfonts::commonFamilies()) table_->addItem(family);
    table_->addItem(sectionHeader("All Fonts"));
    for (const QString& family : textfonts::allFamilies()) {
        auto* item = new QListWidgetItem(family);
        QFont font(family);
        font.setPixelSize(kRowPixelSize);
        item->setFont(font);
        table_->addItem(item);
    }
    connect(table_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        if (!(item->flags() & Qt::ItemIsSelectable)) return;
        fontName_ = item->text();
        if (didSelectFontWithName) didSelectFontWithName(fontName_);
    });
}

void FLFontPickerViewController::setFontName(const QString& family) {
    fontName_ = family;
    const int common = int(textfonts::commonFamilies().size());
    for (int row = 0; row < table_->count(); ++row) {
        QListWidgetItem* item = table_->item(row);
        if (item->text() == family && (item->flags() & Qt::ItemIsSelectable)) {
            table_->setCurrentRow(row);
            table_->scrollToItem(item);
            return;
        }
    }
    // A family this machine lacks still shows, selected, at the top of all fonts.
    const int at = common + 2;
    table_->insertItem(at, family);
    table_->setCurrentRow(at);
}

// ---- Style picker ----

FLFontStylePickerViewController::FLFontStylePickerViewController(QWidget* host) : FloatingPanel(host) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    table_ = new QListWidget(this);
    table_->setFocusPolicy(Qt::NoFocus);
    layout->addWidget(table_);
    resize(240, 240);
    connect(table_, &QListWidget::itemClicked, this, [this](QListWidgetItem*) {
        const int row = table_->currentRow();
        if (row >= 0 && std::size_t(row) < fontNames_.size() && didSelectFontWithName)
            didSelectFontWithName(fontNames_[std::size_t(row)]);
    });
}

void FLFontStylePickerViewController::setFontFamilyName(const QString& family) {
    fontNames_ = textfonts::fontNamesOfFamily(family);
    if (fontNames_.empty()) fontNames_ = textfonts::fontNamesOfFamily(textfonts::defaultFamily());
    table_->clear();
    for (const std::string& name : fontNames_) {
        auto* item = new QListWidgetItem(textfonts::styleDisplayNameForFontName(name));
        QFont font = textfonts::qFontForFontName(name, kRowPixelSize);
        item->setFont(font);
        table_->addItem(item);
    }
}

void FLFontStylePickerViewController::setFontName(const std::string& fontName) {
    const auto it = std::find(fontNames_.begin(), fontNames_.end(), fontName);
    table_->setCurrentRow(it == fontNames_.end() ? (fontNames_.empty() ? -1 : 0) : int(it - fontNames_.begin()));
}

// ---- Text colour picker ----

FLTextColorViewController::FLTextColorViewController(FoliantGlobals& globals, QWidget* host)
    : FloatingPanel(host), globals_(globals) {
    createControls();
}

FLTextColorViewController::~FLTextColorViewController() {
    if (colorPicker_) colorPicker_->delegate = nullptr;
}

void FLTextColorViewController::createControls() {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 8);
    auto* modes = new QHBoxLayout;
    const char* titles[2] = {"Text", "Background"};
    for (int mode = 0; mode < 2; ++mode) {
        modeButtons_[mode] = new QToolButton(this);
        modeButtons_[mode]->setText(titles[mode]);
        modeButtons_[mode]->setCheckable(true);
        modeButtons_[mode]->setFocusPolicy(Qt::NoFocus);
        connect(modeButtons_[mode], &QToolButton::clicked, this, [this, mode] { selectionModeChanged(mode); });
        modes->addWidget(modeButtons_[mode]);
    }
    layout->addLayout(modes);

    auto* swatchArea = new QWidget(this);
    const std::vector<KColor>& penColors = globals_.penColors();
    const int count = int(std::min<std::size_t>(penColors.size(), kMaxSwatches));
    const int rows = (count + 3) / 4;
    swatchArea->setFixedSize(4 * kSwatchSpacing + 24, rows * kSwatchSpacing + 16);
    ring_ = new QWidget(swatchArea);
    ring_->setFixedSize(50, 50);
    ring_->setStyleSheet("border: 3px solid #3080f0; border-radius: 25px;");
    const int left = (swatchArea->width() - 168) / 2;
    for (int i = 0; i < count; ++i) {
        KColor color = penColors[std::size_t(i)];
        color.a = 1.0;
        colorIndex_.push_back(color);
        auto* swatch = new QToolButton(swatchArea);
        swatch->setFocusPolicy(Qt::NoFocus);
        swatch->setGeometry(left + (i % 4) * kSwatchSpacing, 8 + (i / 4) * kSwatchSpacing, kSwatchSize, kSwatchSize);
        swatch->setStyleSheet(QString("background: %1; border-radius: 18px; border: 1px solid #888;")
                                  .arg(qColor(FoliantGlobals::displayColorForColor(color)).name()));
        swatch->setProperty("tag", i + 10);
        connect(swatch, &QToolButton::clicked, this, [this, i] { colorTapped(i); });
        swatches_.push_back(swatch);
    }
    layout->addWidget(swatchArea);

    opacityLabel_ = new QLabel(this);
    layout->addWidget(opacityLabel_);
    opacitySlider_ = new QSlider(Qt::Horizontal, this);
    opacitySlider_->setRange(0, 20);
    opacitySlider_->setFocusPolicy(Qt::NoFocus);
    connect(opacitySlider_, &QSlider::valueChanged, this, [this](int step) { opacitySliderChanged(step); });
    layout->addWidget(opacitySlider_);
    auto* done = new QToolButton(this);
    done->setText("Done");
    done->setFocusPolicy(Qt::NoFocus);
    connect(done, &QToolButton::clicked, this, [this] { dismiss(); });
    layout->addWidget(done, 0, Qt::AlignRight);
    adjustSize();
    selectionModeChanged(0);
}

void FLTextColorViewController::setColors(const KColor& foreground, const KColor& background) {
    foreground_ = foreground;
    background_ = background;
    selectionModeChanged(selectionMode_);
}

void FLTextColorViewController::selectionModeChanged(int mode) {
    selectionMode_ = mode == 1 ? 1 : 0;
    for (int m = 0; m < 2; ++m) modeButtons_[m]->setChecked(m == selectionMode_);
    updateOpacityControls();
    updateColorSelection();
}

void FLTextColorViewController::updateOpacityControls() {
    setAlpha(selectedColor().a);
}

void FLTextColorViewController::updateColorSelection() {
    KColor opaque = selectedColor();
    opaque.a = 1.0;
    selectedIndex_.reset();
    for (std::size_t i = 0; i < colorIndex_.size(); ++i)
        if (colorIndex_[i].isEqualToColor(opaque)) selectedIndex_ = int(i);
    if (!selectedIndex_) {
        ring_->move(kRingParked);
        return;
    }
    const QRect swatch = swatches_[std::size_t(*selectedIndex_)]->geometry();
    ring_->move(swatch.center() - QPoint(25, 25) + QPoint(1, 1));
    ring_->lower();
}

void FLTextColorViewController::setAlpha(double alpha) {
    const double stepped = std::clamp(std::trunc((std::isfinite(alpha) ? alpha : 1.0) * 20.0 + 1e-9) / 20.0, 0.0, 1.0);
    alpha_ = stepped;
    opacityLabel_->setText("Opacity: " + integerText(std::lround(stepped * 100)) + "%");
    const QSignalBlocker block(opacitySlider_);
    opacitySlider_->setValue(int(std::lround(stepped * 20)));
}

void FLTextColorViewController::opacitySliderChanged(int step) {
    setAlpha(step / 20.0);
    KColor color = selectedColor();
    color.a = alpha_;
    updateSelectedColor(color);
}

void FLTextColorViewController::colorTapped(int index) {
    if (index < 0 || std::size_t(index) >= colorIndex_.size()) return;
    if (selectedIndex_ == index) {
        if (colorPicker_ && colorPicker_->isShowing()) {
            colorPicker_->dismiss();
            return;
        }
        auto* picker = new ColorPickerViewController(parentWidget());
        colorPicker_ = picker;
        picker->delegate = this;
        picker->setHasOpacityControl(false);
        picker->setHasEyeDropperControl(false);
        picker->setSelectedColor(colorIndex_[std::size_t(index)]);
        picker->dismissed = [picker] { picker->deleteLater(); };
        picker->showFromWidget(swatches_[std::size_t(index)]);
        return;
    }
    // A fully transparent colour would not show the tap: it comes at half opacity.
    if (alpha_ == 0) setAlpha(0.5);
    KColor color = colorIndex_[std::size_t(index)];
    color.a = alpha_;
    updateSelectedColor(color);
    updateColorSelection();
}

void FLTextColorViewController::colorPickerColorDidChange(ColorPickerViewController*, const KColor& picked) {
    if (!selectedIndex_) return;
    const std::size_t index = std::size_t(*selectedIndex_);
    KColor opaque = picked;
    opaque.a = 1.0;
    colorIndex_[index] = opaque;
    swatches_[index]->setStyleSheet(QString("background: %1; border-radius: 18px; border: 1px solid #888;")
                                        .arg(qColor(FoliantGlobals::displayColorForColor(opaque)).name()));
    std::vector<KColor> penColors = globals_.penColors();
    if (index < penColors.size()) {
        KColor kept = opaque;
        kept.a = penColors[index].a;
        penColors[index] = kept;
        globals_.setPenColors(std::move(penColors));
    }
    KColor color = opaque;
    color.a = alpha_;
    updateSelectedColor(color);
}

void FLTextColorViewController::colorPickerColorWasDismissed(ColorPickerViewController*, bool) {}

void FLTextColorViewController::updateSelectedColor(const KColor& color) {
    if (selectionMode_ == 0) {
        foreground_ = color;
        if (didSelectForegroundColor) didSelectForegroundColor(color);
    } else {
        background_ = color;
        if (didSelectBackgroundColor) didSelectBackgroundColor(color);
    }
}

// ---- Toolbar ----

TextToolbar::TextToolbar(TextBoxEditor& editor, FoliantGlobals& globals, QWidget* host)
    : QWidget(host), editor_(editor), globals_(globals) {
    setAutoFillBackground(true);
    setFocusPolicy(Qt::NoFocus);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(6, 4, 6, 4);
    fontButton_ = button("Font", "The font family of the box");
    styleButton_ = button("Style", "The style of the font");
    smallerButton_ = button("A\u2212", "Smaller text");
    sizeButton_ = button("48", "Any size");
    largerButton_ = button("A+", "Larger text");
    alignmentButton_ = button("Left", "Left, centred or right");
    colorButton_ = button("Colour", "Text and background colours");
    favoriteButton_ = button("\u2605", "The default style of new boxes");
    doneButton_ = button("Done", "Finish editing (Esc)");
    for (QToolButton* b : {fontButton_, styleButton_, smallerButton_, sizeButton_, largerButton_, alignmentButton_,
                           colorButton_, favoriteButton_})
        layout->addWidget(b);
    layout->addStretch(1);
    layout->addWidget(doneButton_);
    connect(fontButton_, &QToolButton::clicked, this, [this] { textFontTapped(); });
    connect(styleButton_, &QToolButton::clicked, this, [this] { textStyleTapped(); });
    connect(smallerButton_, &QToolButton::clicked, this, [this] { editor_.stepTextSize(-1); });
    connect(largerButton_, &QToolButton::clicked, this, [this] { editor_.stepTextSize(1); });
    connect(sizeButton_, &QToolButton::clicked, this, [this] { showCustomTextSizeControl(); });
    connect(alignmentButton_, &QToolButton::clicked, this, [this] { editor_.textAlignmentTapped(); });
    connect(colorButton_, &QToolButton::clicked, this, [this] { textColorTapped(); });
    connect(favoriteButton_, &QToolButton::clicked, this, [this] { textFavoriteTapped(); });
    connect(doneButton_, &QToolButton::clicked, this, [this] { editor_.endEditing(); });
    host->installEventFilter(this);
}

QToolButton* TextToolbar::button(const QString& text, const QString& tip) {
    auto* b = new QToolButton(this);
    b->setText(text);
    b->setToolTip(tip);
    b->setFocusPolicy(Qt::NoFocus);
    return b;
}

bool TextToolbar::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize && isVisible()) place();
    return false;
}

void TextToolbar::place() {
    QWidget* host = parentWidget();
    const int height = sizeHint().height();
    setGeometry(0, host->height() - height, host->width(), height);
    raise();
}

void TextToolbar::showControlsForTextBox(const FoliantTextBox& box) {
    dismissPickers();
    updateFontControlsWithFont(box.font);
    updateAlignment(box.textAlignment);
    place();
    show();
}

void TextToolbar::hideTextControls() {
    dismissPickers();
    hide();
}

void TextToolbar::dismissPickers() {
    if (fontPicker_) fontPicker_->dismiss();
    if (stylePicker_) stylePicker_->dismiss();
    if (colorPicker_) {
        if (colorPicker_->colorPicker()) colorPicker_->colorPicker()->dismiss();
        colorPicker_->dismiss();
    }
    if (sizeSlider_) sizeSlider_->dismiss();
    if (favoriteMenu_) favoriteMenu_->close();
}

void TextToolbar::updateFontControlsWithFont(const KFont& font) {
    const QString family = textfonts::familyForFontName(font.fontName);
    fontButton_->setText(family);
    styleButton_->setText(textfonts::styleDisplayNameForFontName(font.fontName));
    styleButton_->setEnabled(textfonts::fontNamesOfFamily(family).size() > 1);
    sizeButton_->setText(integerText(textbox::shownPointSize(font.pointSize)));
}

void TextToolbar::updateAlignment(std::int64_t alignment) {
    alignmentButton_->setText(alignmentTitle(alignment));
}

void TextToolbar::textFontTapped() {
    const FoliantTextBoxPtr& box = editor_.textBoxBeingEdited();
    if (!box) return;
    dismissPickers();
    auto* picker = new FLFontPickerViewController(parentWidget());
    fontPicker_ = picker;
    picker->setFontName(textfonts::familyForFontName(box->font.fontName));
    picker->didSelectFontWithName = [this](const QString& family) {
        editor_.setFontName(textfonts::fontNameForFamily(family));
    };
    picker->dismissed = [picker] { picker->deleteLater(); };
    picker->showFromWidget(fontButton_);
}

void TextToolbar::textStyleTapped() {
    const FoliantTextBoxPtr& box = editor_.textBoxBeingEdited();
    if (!box) return;
    dismissPickers();
    auto* picker = new FLFontStylePickerViewController(parentWidget());
    stylePicker_ = picker;
    picker->setFontFamilyName(textfonts::familyForFontName(box->font.fontName));
    picker->setFontName(box->font.fontName);
    picker->didSelectFontWithName = [this](const std::string& name) { editor_.setFontName(name); };
    picker->dismissed = [picker] { picker->deleteLater(); };
    picker->showFromWidget(styleButton_);
}

void TextToolbar::textColorTapped() {
    const FoliantTextBoxPtr& box = editor_.textBoxBeingEdited();
    if (!box) return;
    dismissPickers();
    auto* picker = new FLTextColorViewController(globals_, parentWidget());
    colorPicker_ = picker;
    picker->setColors(box->foregroundColor, box->backgroundColor);
    picker->didSelectForegroundColor = [this](const KColor& c) { editor_.setForegroundColor(c); };
    picker->didSelectBackgroundColor = [this](const KColor& c) { editor_.setBackgroundColor(c); };
    picker->setClosesOnOutsidePress(false);
    picker->dismissed = [picker] { picker->deleteLater(); };
    picker->showFromWidget(colorButton_);
}

void TextToolbar::showCustomTextSizeControl() {
    const FoliantTextBoxPtr& box = editor_.textBoxBeingEdited();
    if (!box) return;
    dismissPickers();
    auto* slider = new KSliderViewController(parentWidget());
    sizeSlider_ = slider;
    slider->delegate = this;
    const int present = textbox::shownPointSize(box->font.pointSize);
    slider->setRange(1, int(textbox::customTextSizeMaximum(float(present))));
    slider->setValue(present);
    slider->dismissed = [slider] { slider->deleteLater(); };
    slider->showFromWidget(sizeButton_);
}

void TextToolbar::KSliderViewControllerDidChangeValue(KSliderViewController*, double value) {
    editor_.updateEditedPointSize(float(value));
}

void TextToolbar::textFavoriteTapped() {
    dismissPickers();
    auto* menu = new QMenu(this);
    favoriteMenu_ = menu;
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction("Set As Default Style", this, [this] { editor_.setAsDefaultStyle(); });
    menu->addAction("Reset to Default Style", this, [this] { editor_.resetToDefaultStyle(); });
    menu->addSeparator();
    menu->addAction("Cancel");
    menu->popup(favoriteButton_->mapToGlobal(QPoint(0, 0)) - QPoint(0, menu->sizeHint().height()));
}

}  // namespace velumen
