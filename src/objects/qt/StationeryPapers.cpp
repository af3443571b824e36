#include "objects/qt/StationeryPapers.h"

#include <QPainter>

namespace velumen {

const std::vector<StationeryChoice>& stationeryChoices() {
    static const std::vector<StationeryChoice> rows{
        {"Blank", false, StationeryPaper::White, false},
        {"Paper", true, StationeryPaper::White, false},
        {"Ruled Lines", true, StationeryPaper::Ruled, false},
        {"Grid Lines", true, StationeryPaper::Grid, false},
        {"Music Staff", true, StationeryPaper::Music, false},
        {"Custom stationery", false, StationeryPaper::White, true},
    };
    return rows;
}

QImage drawStationeryPaper(StationeryPaper paper, int width) {
    if (width < 8) width = 8;
    const int height = width * 5 / 4;
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(QColor(253, 252, 247));
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    // Measures in units of the page (1536 across), so every size shows the same paper.
    const double u = width / 1536.0;
    switch (paper) {
    case StationeryPaper::White:
        break;
    case StationeryPaper::Ruled: {
        p.setPen(QPen(QColor(150, 185, 225), std::max(1.0, 3 * u)));
        for (double y = 240 * u; y < height - 40 * u; y += 64 * u)
            p.drawLine(QPointF(0, y), QPointF(width, y));
        p.setPen(QPen(QColor(225, 120, 120), std::max(1.0, 3 * u)));
        p.drawLine(QPointF(180 * u, 0), QPointF(180 * u, height));
        break;
    }
    case StationeryPaper::Grid: {
        p.setPen(QPen(QColor(175, 205, 230), std::max(1.0, 2 * u)));
        for (double x = 48 * u; x < width; x += 48 * u)
            p.drawLine(QPointF(x, 0), QPointF(x, height));
        for (double y = 48 * u; y < height; y += 48 * u)
            p.drawLine(QPointF(0, y), QPointF(width, y));
        break;
    }
    case StationeryPaper::Music: {
        p.setPen(QPen(QColor(90, 90, 90), std::max(1.0, 2.5 * u)));
        const double gap = 22 * u, staff = 4 * gap, between = 120 * u;
        for (double top = 160 * u; top + staff < height - 80 * u; top += staff + between) {
            for (int line = 0; line < 5; ++line) {
                const double y = top + line * gap;
                p.drawLine(QPointF(90 * u, y), QPointF(width - 90 * u, y));
            }
        }
        break;
    }
    }
    p.end();
    return image;
}

}  // namespace velumen
