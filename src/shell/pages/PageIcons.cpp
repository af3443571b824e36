#include "shell/pages/PageIcons.h"

#include <QPainter>
#include <QPainterPath>

namespace velumen {

namespace {

QImage canvas(int width, int height, double scale) {
    QImage image(int(width * scale + 0.5), int(height * scale + 0.5), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    return image;
}

// A chevron pointing right, in a 30 x 30 button.
QImage rightArrow(double scale) {
    QImage image = canvas(30, 30, scale);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(40, 40, 40), 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawPolyline(QPolygonF({QPointF(11, 6), QPointF(20, 15), QPointF(11, 24)}));
    return image;
}

// A page with a folded corner and a plus sign.
QImage addPage(double scale) {
    QImage image = canvas(30, 30, scale);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    QPainterPath sheet;
    sheet.moveTo(7, 3);
    sheet.lineTo(18, 3);
    sheet.lineTo(24, 9);
    sheet.lineTo(24, 27);
    sheet.lineTo(7, 27);
    sheet.closeSubpath();
    p.setPen(QPen(QColor(40, 40, 40), 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::white);
    p.drawPath(sheet);
    p.drawPolyline(QPolygonF({QPointF(18, 3), QPointF(18, 9), QPointF(24, 9)}));
    p.setPen(QPen(QColor(40, 40, 40), 2.2, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(15.5, 12), QPointF(15.5, 23));
    p.drawLine(QPointF(10, 17.5), QPointF(21, 17.5));
    return image;
}

// An empty page, 4:5, with a thin edge and faint ruling.
QImage blankPage(double scale) {
    QImage image = canvas(96, 120, scale);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(190, 190, 190), 1));
    p.setBrush(Qt::white);
    p.drawRect(QRectF(0.5, 0.5, 95, 119));
    p.setPen(QPen(QColor(225, 230, 240), 1));
    for (int y = 20; y < 116; y += 12)
        p.drawLine(QPointF(8, y + 0.5), QPointF(88, y + 0.5));
    return image;
}

// A closed padlock, for the button that unlocks a locked book.
QImage padlock(double scale) {
    QImage image = canvas(30, 30, scale);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(40, 40, 40), 2.4, Qt::SolidLine, Qt::RoundCap));
    p.setBrush(Qt::NoBrush);
    p.drawArc(QRectF(9.5, 4, 11, 14), 0, 180 * 16);
    p.drawLine(QPointF(9.5, 11), QPointF(9.5, 14));
    p.drawLine(QPointF(20.5, 11), QPointF(20.5, 14));
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(40, 40, 40));
    p.drawRoundedRect(QRectF(6, 14, 18, 13), 2.5, 2.5);
    p.setBrush(Qt::white);
    p.drawEllipse(QPointF(15, 20), 2, 2);
    return image;
}

}  // namespace

QImage pageIconImage(std::string_view name, double scale) {
    if (!(scale > 0)) scale = 1.0;
    if (name == "right arrow.png") return rightArrow(scale);
    if (name == "add page icon.png") return addPage(scale);
    if (name == "blank page thumbnail.png") return blankPage(scale);
    if (name == "lock icon.png") return padlock(scale);
    return {};
}

}  // namespace velumen
