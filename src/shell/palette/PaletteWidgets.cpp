#include "shell/palette/PaletteWidgets.h"

#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

namespace velumen {

QColor qColorOf(const KColor& color) {
    auto c = [](double v) { return std::isfinite(v) ? std::clamp(v, 0.0, 1.0) : 0.0; };
    return QColor::fromRgbF(float(c(color.r)), float(c(color.g)), float(c(color.b)), float(c(color.a)));
}

ColorSwatchButton::ColorSwatchButton(int colorIndex, QWidget* parent)
    : QAbstractButton(parent), colorIndex_(colorIndex) {
    setFixedSize(36, 36);
    setFocusPolicy(Qt::TabFocus);
    setCursor(Qt::PointingHandCursor);
}

void ColorSwatchButton::setSwatchColor(const KColor& color) {
    color_ = color;
    update();
}

void ColorSwatchButton::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF r = QRectF(rect()).adjusted(1, 1, -1, -1);
    // A checkerboard under the colour shows how light a faint ink is.
    QPainterPath disc;
    disc.addEllipse(r);
    p.setClipPath(disc);
    p.fillRect(r, Qt::white);
    for (int y = 0; y < height(); y += 6)
        for (int x = (y / 6) % 2 * 6; x < width(); x += 12)
            p.fillRect(x, y, 6, 6, QColor(220, 220, 220));
    p.fillRect(r, qColorOf(color_));
    p.setClipping(false);
    p.setPen(QPen(palette().color(QPalette::Mid), 1));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(r);
    if (hasFocus()) {
        p.setPen(QPen(palette().color(QPalette::Highlight), 2, Qt::DotLine));
        p.drawEllipse(r.adjusted(2, 2, -2, -2));
    }
}

StepSlider::StepSlider(QWidget* parent) : QSlider(Qt::Horizontal, parent) {
    setSingleStep(1);
    setPageStep(1);
    setTracking(true);
}

void StepSlider::wheelEvent(QWheelEvent* event) {
    // 120 units are one notch; touchpads send smaller parts that add up to one.
    const QPoint delta = event->angleDelta();
    wheelRemainder_ += std::abs(delta.y()) >= std::abs(delta.x()) ? delta.y() : -delta.x();
    const int steps = wheelRemainder_ / 120;
    wheelRemainder_ -= steps * 120;
    if (steps != 0) setValue(value() + (invertedControls() ? -steps : steps));
    event->accept();
}

QIcon penToolbarIcon(int penTypeIndex, const KColor& swatchColor, qreal ratio) {
    const int side = 32;
    QImage image(int(std::ceil(side * ratio)), int(std::ceil(side * ratio)), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(90, 90, 90), 1));
    p.setBrush(qColorOf(swatchColor));
    p.drawEllipse(QRectF(16, 16, 14, 14));
    // The pen's body, slanted; the eraser is a block, the brush a tuft, the highlighter a wedge.
    p.translate(12, 14);
    p.rotate(-45);
    p.setBrush(QColor(70, 70, 70));
    p.setPen(Qt::NoPen);
    switch (penTypeIndex) {
        case 0: p.drawRoundedRect(QRectF(-10, -5, 20, 10), 2, 2); break;
        case 3:
            p.drawRect(QRectF(-12, -2, 14, 4));
            p.drawEllipse(QRectF(2, -4, 10, 8));
            break;
        case 4:
            p.drawRect(QRectF(-12, -4, 16, 8));
            p.drawPolygon(QPolygonF({QPointF(4, -4), QPointF(11, -2), QPointF(11, 2), QPointF(4, 4)}));
            break;
        default:
            p.drawRect(QRectF(-12, -2.5, 16, 5));
            p.drawPolygon(QPolygonF({QPointF(4, -2.5), QPointF(11, 0), QPointF(4, 2.5)}));
            break;
    }
    p.end();
    return QIcon(QPixmap::fromImage(image));
}

}  // namespace velumen
