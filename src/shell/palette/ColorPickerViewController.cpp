#include "shell/palette/ColorPickerViewController.h"

#include <QHBoxLayout>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QSlider>
#include <QToolButton>
#include <QVBoxLayout>
#include <QVariantAnimation>
#include <algorithm>
#include <cmath>

#include "shell/palette/PaletteWidgets.h"

namespace velumen {

namespace {

// The slider runs from 0 to 1 in thousandths; its ten plateaus are the opacity steps.
constexpr int kSliderScale = 900;

QPointF clampedInto(QPointF p, const QRectF& r) {
    return {std::clamp(p.x(), r.left(), r.right()), std::clamp(p.y(), r.top(), r.bottom())};
}

}  // namespace

// ---- The brightness bar ----

GradientView::GradientView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    stops_ = {Qt::black, Qt::gray, Qt::white};
}

void GradientView::setupGradientWithColor(const KColor& color) {
    HSB full = hsbFromColor(color);
    full.brightness = 1.0;
    stops_ = {QColor(Qt::black), qColorOf({color.r, color.g, color.b, 1}), qColorOf(colorWithHSB({full.hue, full.saturation, 1, 1}))};
    update();
}

void GradientView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    QLinearGradient g(0, 0, width(), 0);
    g.setColorAt(0, stops_[0]);
    g.setColorAt(0.5, stops_[1]);
    g.setColorAt(1, stops_[2]);
    p.fillRect(rect(), g);
}

// ---- The picker's view ----

ColorPickerView::ColorPickerView(ColorPickerViewController* controller, QWidget* parent)
    : QWidget(parent), controller_(controller) {
    setObjectName("colorPickerView");
    setFocusPolicy(Qt::TabFocus);
    setToolTip("Hue across, saturation down; arrow keys move the cross, Shift+arrows the brightness");
    gradientView_ = new GradientView(this);
    gradientView_->setGeometry(gradientFrame().toRect());
    showColor_ = new QWidget(this);
    showColor_->setObjectName("showColor");
    showColor_->setAutoFillBackground(true);
    colorHexButton_ = new QPushButton(this);
    colorHexButton_->setObjectName("colorHexButton");
    colorHexButton_->setToolTip("Type the colour as six hexadecimal digits");
    colorHexButton_->setFocusPolicy(Qt::TabFocus);
    connect(colorHexButton_, &QPushButton::clicked, this, [this] { controller_->colorHexTapped(); });
    _eyeDropperButton = new QToolButton(this);
    _eyeDropperButton->setObjectName("eyeDropperButton");
    _eyeDropperButton->setText("Pick");
    _eyeDropperButton->setToolTip("Take the colour of ink on the page (I)");
    _eyeDropperButton->setFocusPolicy(Qt::TabFocus);
    connect(_eyeDropperButton, &QToolButton::clicked, this, [this] { controller_->eyeDropperTapped(); });
    opacityLabel_ = new QLabel(this);
    opacityLabel_->setObjectName("opacityLabel");
    opacitySlider_ = new StepSlider(this);
    opacitySlider_->setObjectName("opacitySlider");
    opacitySlider_->setToolTip("Ink strength: ten steps, the faint ones closest together");
    opacitySlider_->setRange(0, kSliderScale);
    opacitySlider_->setSingleStep(kSliderScale / 9);
    opacitySlider_->setPageStep(kSliderScale / 9);
    opacitySlider_->setFocusPolicy(Qt::TabFocus);
    connect(opacitySlider_, &QSlider::valueChanged, this, [this](int v) { opacitySliderChanged(v); });
    crossHairsAnimation_ = new QVariantAnimation(this);
    crossHairsAnimation_->setDuration(250);
    connect(crossHairsAnimation_, &QVariantAnimation::valueChanged, this, [this](const QVariant& v) {
        crossHairs_ = v.toPointF();
        update();
    });
    layoutControls();
    setColorShown(colorWithHSB({0.5, 0.5, 0.5, 1}));
}

void ColorPickerView::layoutControls() {
    const int height = hasOpacityControl_ ? 320 : 280;
    setFixedSize(320, height);
    showColor_->setGeometry(10, 198, 60, 36);
    _eyeDropperButton->setGeometry(80, 198, 60, 36);
    if (hasOpacityControl_)
        colorHexButton_->setGeometry(236, 198, 74, 36);
    else
        colorHexButton_->setGeometry((320 - 90) / 2, 198, 90, 36);
    opacityLabel_->setGeometry(10, 244, 70, 28);
    opacitySlider_->setGeometry(80, 244, 230, 28);
    opacityLabel_->setVisible(hasOpacityControl_);
    opacitySlider_->setVisible(hasOpacityControl_);
}

void ColorPickerView::setHasOpacityControl(bool has) {
    hasOpacityControl_ = has;
    layoutControls();
}

void ColorPickerView::setHasEyeDropperControl(bool has) {
    _eyeDropperButton->setVisible(has);
}

double ColorPickerView::alpha() const {
    return getSteppedAlpha(double(opacitySlider_->value()) / kSliderScale);
}

KColor ColorPickerView::getColorShown() const {
    return colorWithHSB({currentHue, currentSaturation, currentBrightness, alpha()});
}

void ColorPickerView::setColorShown(const KColor& color) {
    const HSB hsb = hsbFromColor(color);
    currentHue = hsb.hue;
    currentSaturation = hsb.saturation;
    currentBrightness = hsb.brightness;
    const QRectF map = colorMapFrame();
    crossHairsAnimation_->stop();
    crossHairs_ = clampedInto({map.x() + currentHue * map.width(), map.y() + (1 - currentSaturation) * map.height()},
                              map);
    const QRectF bar = gradientFrame();
    barX_ = std::clamp(bar.x() + currentBrightness * bar.width(), bar.left(), bar.right());
    {
        const QSignalBlocker quiet(opacitySlider_);
        const double a = std::isfinite(color.a) ? color.a : 1.0;
        opacitySlider_->setValue(int(std::lround(getSteppedValueFromAlpha(a) * kSliderScale)));
    }
    opacityLabel_->setText(QString("\u03B1: %1%").arg(std::lround(alpha() * 100)));
    updateColorChip();
    update();
}

void ColorPickerView::updateColorChip() {
    gradientView_->setupGradientWithColor(colorWithHSB({currentHue, currentSaturation, 0.5, 1}));
    currentColor = colorWithHSB({currentHue, currentSaturation, currentBrightness, 1});
    QPalette pal = showColor_->palette();
    pal.setColor(QPalette::Window, qColorOf(currentColor));
    showColor_->setPalette(pal);
    colorHexButton_->setText("#" + hexStringFromColor(currentColor));
}

void ColorPickerView::moveCrossHairs(QPointF to, bool animated) {
    crossHairsAnimation_->stop();
    if (!animated) {
        crossHairs_ = to;
        update();
        return;
    }
    crossHairsAnimation_->setStartValue(crossHairs_);
    crossHairsAnimation_->setEndValue(to);
    crossHairsAnimation_->start();
}

void ColorPickerView::updateHueSatWithMovement(QPointF point) {
    const QRectF map = colorMapFrame();
    const QPointF p = clampedInto(point, map);
    moveCrossHairs(p, !isDraggingCrosshair || crossHairsAnimation_->state() != QAbstractAnimation::Stopped);
    currentHue = (p.x() - map.x()) / map.width();
    currentSaturation = 1 - (p.y() - map.y()) / map.height();
    updateColorChip();
}

void ColorPickerView::updateBrightnessWithMovement(QPointF point) {
    const QRectF bar = gradientFrame();
    const QPointF p = clampedInto(point, bar);
    barX_ = p.x();
    currentBrightness = (p.x() - bar.x()) / bar.width();
    updateColorChip();
    update();
}

void ColorPickerView::reportChange() {
    controller_->colorPickerViewDidChange(getColorShown());
}

void ColorPickerView::dispatchTouchEvent(QPointF point, bool began) {
    if (began) {
        isDraggingCrosshair = colorMapFrame().contains(point);
        isDraggingBar = !isDraggingCrosshair && gradientFrame().contains(point);
        if (isDraggingCrosshair) {
            // A press jumps there with a short glide; the drag that follows tracks the pointer.
            const QRectF map = colorMapFrame();
            const QPointF p = clampedInto(point, map);
            moveCrossHairs(p, true);
            currentHue = (p.x() - map.x()) / map.width();
            currentSaturation = 1 - (p.y() - map.y()) / map.height();
            updateColorChip();
            reportChange();
            return;
        }
    }
    if (isDraggingCrosshair) {
        updateHueSatWithMovement(point);
        reportChange();
    } else if (isDraggingBar) {
        updateBrightnessWithMovement(point);
        reportChange();
    }
}

void ColorPickerView::endTouches() {
    isDraggingCrosshair = false;
    isDraggingBar = false;
}

void ColorPickerView::opacitySliderChanged(int sliderPosition) {
    opacityLabel_->setText(
        QString("\u03B1: %1%").arg(std::lround(getSteppedAlpha(double(sliderPosition) / kSliderScale) * 100)));
    reportChange();
}

void ColorPickerView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    dispatchTouchEvent(event->position(), true);
}

void ColorPickerView::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() & Qt::LeftButton) dispatchTouchEvent(event->position(), false);
}

void ColorPickerView::mouseReleaseEvent(QMouseEvent*) {
    endTouches();
}

void ColorPickerView::keyPressEvent(QKeyEvent* event) {
    const double step = 1.0 / 100;
    double dx = 0, dy = 0;
    switch (event->key()) {
        case Qt::Key_Left: dx = -step; break;
        case Qt::Key_Right: dx = step; break;
        case Qt::Key_Up: dy = step; break;
        case Qt::Key_Down: dy = -step; break;
        default: QWidget::keyPressEvent(event); return;
    }
    if (event->modifiers() & Qt::ShiftModifier) {
        currentBrightness = std::clamp(currentBrightness + dx + dy, 0.0, 1.0);
        barX_ = gradientFrame().x() + currentBrightness * gradientFrame().width();
    } else {
        currentHue = std::clamp(currentHue + dx, 0.0, 1.0);
        currentSaturation = std::clamp(currentSaturation + dy, 0.0, 1.0);
        const QRectF map = colorMapFrame();
        moveCrossHairs({map.x() + currentHue * map.width(), map.y() + (1 - currentSaturation) * map.height()}, false);
    }
    updateColorChip();
    update();
    reportChange();
}

const QImage& ColorPickerView::colorMapImage() {
    const qreal ratio = devicePixelRatioF();
    const QSize pixels = (colorMapFrame().size() * ratio).toSize();
    if (colorMap_.size() != pixels || colorMap_.devicePixelRatio() != ratio) {
        QImage image(pixels, QImage::Format_RGB32);
        for (int y = 0; y < pixels.height(); ++y) {
            auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
            const double saturation = 1 - (y + 0.5) / pixels.height();
            for (int x = 0; x < pixels.width(); ++x) {
                const KColor c = colorWithHSB({(x + 0.5) / pixels.width(), saturation, 1, 1});
                line[x] = qRgb(int(std::lround(c.r * 255)), int(std::lround(c.g * 255)), int(std::lround(c.b * 255)));
            }
        }
        image.setDevicePixelRatio(ratio);
        colorMap_ = std::move(image);
        ++colorMapRenders_;
    }
    return colorMap_;
}

void ColorPickerView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.drawImage(colorMapFrame(), colorMapImage());
    p.setRenderHint(QPainter::Antialiasing);
    // The crosshair: a ring with a dark and a light edge, visible on every hue.
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(Qt::black, 2));
    p.drawEllipse(crossHairs_, 7, 7);
    p.setPen(QPen(Qt::white, 1));
    p.drawEllipse(crossHairs_, 7, 7);
    // The brightness bar's marker.
    const QRectF bar = gradientFrame();
    p.setPen(QPen(Qt::white, 3));
    p.drawLine(QPointF(barX_, bar.top() - 3), QPointF(barX_, bar.bottom() + 3));
    p.setPen(QPen(Qt::black, 1));
    p.drawLine(QPointF(barX_, bar.top() - 3), QPointF(barX_, bar.bottom() + 3));
    if (hasFocus()) {
        p.setPen(QPen(palette().color(QPalette::Highlight), 1, Qt::DotLine));
        p.drawRect(colorMapFrame().adjusted(-2, -2, 2, 2));
    }
}

// ---- The controller ----

ColorPickerViewController::ColorPickerViewController(QWidget* host) : FloatingPanel(host) {
    setObjectName("colorPicker");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 6);
    layout->setSpacing(0);
    view_ = new ColorPickerView(this, this);
    layout->addWidget(view_);
    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(10, 0, 10, 0);
    auto* cancel = new QPushButton("Cancel", this);
    cancel->setObjectName("cancelButton");
    cancel->setToolTip("Close; changes already made stay");
    auto* done = new QPushButton("Done", this);
    done->setObjectName("doneButton");
    done->setToolTip("Use this colour");
    for (QPushButton* b : {cancel, done})
        b->setFocusPolicy(Qt::TabFocus);
    buttons->addWidget(cancel);
    buttons->addStretch(1);
    buttons->addWidget(done);
    layout->addLayout(buttons);
    connect(cancel, &QPushButton::clicked, this, [this] { cancelTapped(); });
    connect(done, &QPushButton::clicked, this, [this] { doneTapped(); });
    // A press outside closes it as cancel does.
    dismissed = [this] {
        if (!closing_ && delegate) delegate->colorPickerColorWasDismissed(this, false);
    };
}

void ColorPickerViewController::setHasOpacityControl(bool has) {
    view_->setHasOpacityControl(has);
    adjustSize();
}

void ColorPickerViewController::close(bool done) {
    if (!isShowing()) return;
    closing_ = true;
    if (delegate) delegate->colorPickerColorWasDismissed(this, done);
    // The delegate dismisses it; a picker without one closes itself.
    dismiss();
    closing_ = false;
}

void ColorPickerViewController::cancelTapped() {
    close(false);
}

void ColorPickerViewController::doneTapped() {
    close(true);
}

void ColorPickerViewController::colorPickerViewDidChange(const KColor& color) {
    if (delegate) delegate->colorPickerColorDidChange(this, color);
}

void ColorPickerViewController::eyeDropperTapped() {
    if (delegate) delegate->colorPickerDidTapEyeDropper(this);
}

void ColorPickerViewController::colorHexTapped() {
    if (!hexDialog_) {
        hexDialog_ = new QInputDialog(window());
        hexDialog_->setObjectName("hexDialog");
        hexDialog_->setWindowTitle("Set Hex Color");
        hexDialog_->setLabelText("Set Hex Color");
        hexDialog_->setOkButtonText("Ok");
        hexDialog_->setCancelButtonText("Cancel");
        hexDialog_->setInputMode(QInputDialog::TextInput);
        connect(hexDialog_, &QInputDialog::textValueSelected, this, [this](const QString& text) { takeHexText(text); });
    }
    hexDialog_->setTextValue(QString());
    if (auto* edit = hexDialog_->findChild<QLineEdit*>()) {
        edit->setPlaceholderText(hexStringFromColor(view_->getColorShown()));
        edit->setClearButtonEnabled(true);
    }
    hexDialog_->open();
}

void ColorPickerViewController::takeHexText(const QString& text) {
    const QString cleaned = sanitizeFileNameString(text);
    const std::optional<KColor> color = colorFromHexString(cleaned, view_->alpha());
    if (!color) return;
    view_->setColorShown(*color);
    colorPickerViewDidChange(*color);
}

}  // namespace velumen
