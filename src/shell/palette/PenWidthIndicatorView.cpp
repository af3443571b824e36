#include "shell/palette/PenWidthIndicatorView.h"

#include <QPainter>

#include "shell/palette/PaletteModel.h"
#include "shell/palette/PaletteWidgets.h"

namespace velumen {

PenWidthIndicatorView::PenWidthIndicatorView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFixedSize(40, 40);
}

void PenWidthIndicatorView::setValue(float value) {
    _value = value;
    update();
}

void PenWidthIndicatorView::setMaxValue(float maxValue) {
    _maxValue = maxValue;
    update();
}

void PenWidthIndicatorView::setColor(const KColor& color) {
    _color = color;
    update();
}

double PenWidthIndicatorView::diameter() const {
    return penWidthIndicatorDiameter(width(), _value, _maxValue);
}

void PenWidthIndicatorView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const double d = diameter();
    p.setPen(Qt::NoPen);
    p.setBrush(qColorOf(_color));
    p.drawEllipse(QRectF((width() - d) / 2, (height() - d) / 2, d, d));
}

}  // namespace velumen
