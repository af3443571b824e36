// Where the gallery's icons stand: the thumbnail size and paddings of the device's profile, and the grid of
// the icons that pass the search, filled row by row from the left and centred in the view. Plain geometry
// without widgets, so that the grid's arithmetic is tested on its own.
#pragma once

#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <optional>
#include <vector>

namespace velumen {

struct GalleryMetrics {
    QSizeF thumbnailSize{200, 250};
    double scrollPaddingX = 40;
    double scrollPaddingY = 20;
    // Below the card: the name and the date.
    static constexpr double kLabelHeight = 40;
};

// The sizes for a device: the tablet idiom always takes the large card; a phone takes the narrow one, whose
// height and side padding follow its screen's shorter side `s` and longer side `l` in points.
GalleryMetrics galleryMetricsForDevice(bool tabletIdiom, double s, double l);

struct GalleryGrid {
    int columns = 1;
    double leftMargin = 0;
    // Centre of the card and its labels (thumbnail height + 40), per icon in the order given; icons that do
    // not pass the search have no cell and keep a null entry.
    std::vector<std::optional<QPointF>> centres;
    QSizeF canvasSize;
};

// Lays out `shown.size()` icons in their arranged order, `shown[i]` false for an icon the search hides
// (it takes no cell). `viewWidth` is the width icons are spread over, `scrollHeight` the visible height,
// `controlHeight` the height of a search row that scrolls with the icons (0 when it stands apart). The
// canvas is always tall enough to scroll such a row out of sight.
GalleryGrid arrangeGalleryGrid(const GalleryMetrics& metrics, const std::vector<bool>& shown,
                               double viewWidth, double scrollHeight, double controlHeight);

// The frame of an icon (card and labels) from its centre.
QRectF iconFrame(const GalleryMetrics& metrics, QPointF centre);
// The frame of its card alone.
QRectF cardFrame(const GalleryMetrics& metrics, QPointF centre);

// The positions in `grid.centres` whose icon frames meet `visible` (canvas coordinates), in order: the icons
// the screen shows, the only ones whose pictures are built.
std::vector<int> iconsInRect(const GalleryMetrics& metrics, const GalleryGrid& grid, const QRectF& visible);

// Where the zoom into a book starts: the icon's card, widened symmetrically to the picture's shape when the
// picture is landscape (the portrait card would squeeze it).
QRectF zoomStartRect(const QRectF& card, QSizeF picture);
// Where it ends: the picture's shape fitted into `area`, centred, as the page will show.
QRectF zoomEndRect(const QRectF& area, QSizeF picture);

}  // namespace velumen
