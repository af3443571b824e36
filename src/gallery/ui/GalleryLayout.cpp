// The gallery's grid: the profile's sizes and the cells of the icons that pass the search.
#include "gallery/ui/GalleryLayout.h"

#include <algorithm>
#include <cmath>

namespace velumen {

GalleryMetrics galleryMetricsForDevice(bool tabletIdiom, double s, double l) {
    GalleryMetrics m;
    if (tabletIdiom) return m;
    m.thumbnailSize = QSizeF(120, 196);
    m.scrollPaddingY = 10;
    if (s >= 414 && l >= 736)
        m.scrollPaddingX = 50;
    else if ((s == 375 && l >= 812) || l == 667)
        m.scrollPaddingX = 37;
    else if (l == 568)
        m.scrollPaddingX = 25;
    else {
        m.thumbnailSize = QSizeF(120, 163);
        m.scrollPaddingX = 25;
    }
    return m;
}

GalleryGrid arrangeGalleryGrid(const GalleryMetrics& metrics, const std::vector<bool>& shown,
                               double viewWidth, double scrollHeight, double controlHeight) {
    GalleryGrid grid;
    const double tw = metrics.thumbnailSize.width();
    const double th = metrics.thumbnailSize.height();
    const double px = metrics.scrollPaddingX;
    const double py = metrics.scrollPaddingY;
    const double step = tw + px;
    grid.columns = std::max(1, static_cast<int>(std::floor((viewWidth - px) / step)));
    const double used = grid.columns * step + px;
    grid.leftMargin = std::max(0.0, std::floor((viewWidth - used) * 0.5));
    const double y0 = th * 0.5 + py + 20 + py + controlHeight;
    double x = grid.leftMargin + px + tw * 0.5 - step;
    double y = y0;
    double highest = y0;
    int k = 0;
    grid.centres.reserve(shown.size());
    for (const bool in : shown) {
        if (!in) {
            grid.centres.emplace_back();
            continue;
        }
        if (k < grid.columns) {
            ++k;
            x += step;
        } else {
            y += th + GalleryMetrics::kLabelHeight + py;
            x = grid.leftMargin + px + tw * 0.5;
            k = 1;
        }
        highest = std::max(highest, y);
        grid.centres.emplace_back(QPointF(x, y));
    }
    const double lowestNeeded =
        (py + controlHeight) + scrollHeight - (th * 0.5 + GalleryMetrics::kLabelHeight);
    const double last = std::max(highest, lowestNeeded);
    grid.canvasSize = QSizeF(std::max(used, viewWidth), last + th * 0.5 + GalleryMetrics::kLabelHeight);
    return grid;
}

QRectF iconFrame(const GalleryMetrics& metrics, QPointF centre) {
    const QSizeF size(metrics.thumbnailSize.width(),
                      metrics.thumbnailSize.height() + GalleryMetrics::kLabelHeight);
    return QRectF(centre.x() - size.width() * 0.5, centre.y() - size.height() * 0.5, size.width(),
                  size.height());
}

QRectF cardFrame(const GalleryMetrics& metrics, QPointF centre) {
    const QRectF icon = iconFrame(metrics, centre);
    return QRectF(icon.topLeft(), metrics.thumbnailSize);
}

std::vector<int> iconsInRect(const GalleryMetrics& metrics, const GalleryGrid& grid, const QRectF& visible) {
    std::vector<int> inside;
    // Rows run downwards: a binary search would do, but the test below is a few flops per icon and the
    // grid is laid out anyway; what matters is that pictures are only built for these.
    for (std::size_t i = 0; i < grid.centres.size(); ++i) {
        if (!grid.centres[i]) continue;
        if (iconFrame(metrics, *grid.centres[i]).intersects(visible)) inside.push_back(static_cast<int>(i));
    }
    return inside;
}

QRectF zoomStartRect(const QRectF& card, QSizeF picture) {
    if (picture.isEmpty() || picture.width() <= picture.height()) return card;
    const double dx = (card.height() * (picture.width() / picture.height()) - card.width()) * -0.5;
    return card.adjusted(dx, 0, -dx, 0);
}

QRectF zoomEndRect(const QRectF& area, QSizeF picture) {
    if (picture.isEmpty()) return area;
    const QSizeF fitted = picture.scaled(area.size(), Qt::KeepAspectRatio);
    return QRectF(area.x() + (area.width() - fitted.width()) * 0.5, area.y() + (area.height() - fitted.height()) * 0.5,
                  fitted.width(), fitted.height());
}

}  // namespace velumen
