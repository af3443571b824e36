// The gallery's grid: the sizes of each device profile, the cells of a grid as wide as the view allows,
// icons hidden by the search taking no cell, a canvas always tall enough to scroll, and pictures asked for
// only for the icons on screen.
#include <gtest/gtest.h>

#include "gallery/ui/GalleryLayout.h"

namespace velumen {
namespace {

struct ProfileCase {
    bool tablet;
    double s, l;
    double width, height, padX, padY;
};

TEST(GalleryLayout, EachDeviceGetsTheCardSizeAndPaddingsOfItsScreen) {
    const ProfileCase cases[] = {
        {true, 768, 1024, 200, 250, 40, 20}, {true, 375, 667, 200, 250, 40, 20},
        {false, 414, 736, 120, 196, 50, 10}, {false, 428, 926, 120, 196, 50, 10},
        {false, 375, 812, 120, 196, 37, 10}, {false, 375, 667, 120, 196, 37, 10},
        {false, 320, 568, 120, 196, 25, 10}, {false, 320, 480, 120, 163, 25, 10},
        {false, 360, 640, 120, 163, 25, 10},
    };
    for (const ProfileCase& c : cases) {
        const GalleryMetrics m = galleryMetricsForDevice(c.tablet, c.s, c.l);
        SCOPED_TRACE(testing::Message() << c.tablet << " " << c.s << "x" << c.l);
        EXPECT_EQ(m.thumbnailSize, QSizeF(c.width, c.height));
        EXPECT_EQ(m.scrollPaddingX, c.padX);
        EXPECT_EQ(m.scrollPaddingY, c.padY);
    }
}

TEST(GalleryLayout, IconsFillRowsFromTheLeftCentredInTheView) {
    const GalleryMetrics m;  // 200 by 250, paddings 40 and 20
    const GalleryGrid grid = arrangeGalleryGrid(m, std::vector<bool>(6, true), 1024, 300, 0);
    // Step 240: four columns take 1000 points, leaving a margin of 12.
    EXPECT_EQ(grid.columns, 4);
    EXPECT_EQ(grid.leftMargin, 12);
    ASSERT_EQ(grid.centres.size(), 6u);
    EXPECT_EQ(*grid.centres[0], QPointF(152, 185));
    EXPECT_EQ(*grid.centres[3], QPointF(152 + 3 * 240, 185));
    // The fifth starts the second row: one card, its labels and a padding lower.
    EXPECT_EQ(*grid.centres[4], QPointF(152, 185 + 250 + 40 + 20));
    EXPECT_EQ(grid.canvasSize.width(), 1024);
    EXPECT_EQ(grid.canvasSize.height(), 185 + 310 + 125 + 40);
}

TEST(GalleryLayout, AViewNarrowerThanOneStepStillGivesOneColumnAndAWideEnoughCanvas) {
    const GalleryMetrics m;
    const GalleryGrid grid = arrangeGalleryGrid(m, std::vector<bool>(3, true), 150, 400, 0);
    EXPECT_EQ(grid.columns, 1);
    EXPECT_EQ(grid.leftMargin, 0);
    EXPECT_EQ(grid.canvasSize.width(), 280);  // one step and a padding
    EXPECT_EQ(grid.centres[1]->x(), grid.centres[0]->x());
    EXPECT_GT(grid.centres[1]->y(), grid.centres[0]->y());
}

TEST(GalleryLayout, AnIconTheSearchHidesKeepsItsPlaceButTakesNoCell) {
    const GalleryMetrics m;
    const GalleryGrid grid = arrangeGalleryGrid(m, {true, false, true}, 1024, 700, 0);
    ASSERT_EQ(grid.centres.size(), 3u);
    EXPECT_FALSE(grid.centres[1].has_value());
    // The third stands where the second would have.
    EXPECT_EQ(*grid.centres[2], QPointF(152 + 240, 185));
}

TEST(GalleryLayout, OneBookStillScrollsFarEnoughToHideTheSearchRow) {
    const GalleryMetrics m;
    const double controlHeight = 44, scrollHeight = 900;
    const GalleryGrid grid = arrangeGalleryGrid(m, {true}, 1024, scrollHeight, controlHeight);
    // The canvas is at least the row and a screen tall.
    EXPECT_GE(grid.canvasSize.height(), m.scrollPaddingY + controlHeight + scrollHeight);
}

TEST(GalleryLayout, OnlyTheIconsOnScreenAreListedForPictures) {
    const GalleryMetrics m;
    const GalleryGrid grid = arrangeGalleryGrid(m, std::vector<bool>(1000, true), 1280, 1000, 0);
    const std::vector<int> top = iconsInRect(m, grid, QRectF(0, 0, 1280, 1000));
    // Five columns; the rows that meet the first 1000 points.
    ASSERT_FALSE(top.empty());
    EXPECT_LE(top.size(), 20u);
    EXPECT_EQ(top.front(), 0);
    // Scrolled down by ten rows, the first icon listed is the fiftieth.
    const std::vector<int> lower = iconsInRect(m, grid, QRectF(0, 10 * 310 + 50, 1280, 1000));
    ASSERT_FALSE(lower.empty());
    EXPECT_EQ(lower.front(), 50);
    for (int index : lower)
        EXPECT_TRUE(iconFrame(m, *grid.centres[std::size_t(index)]).intersects(QRectF(0, 3150, 1280, 1000)));
}

TEST(GalleryLayout, TheZoomStartsWiderThanTheCardOnlyForALandscapePictureAndEndsFittedToTheScreen) {
    const QRectF card(100, 50, 200, 250);
    // Portrait and square pictures start from the card itself.
    EXPECT_EQ(zoomStartRect(card, QSizeF(384, 480)), card);
    EXPECT_EQ(zoomStartRect(card, QSizeF(300, 300)), card);
    EXPECT_EQ(zoomStartRect(card, QSizeF()), card);
    // A picture twice as wide as tall: 500 wide at the card's height, centred on the card.
    const QRectF wide = zoomStartRect(card, QSizeF(480, 240));
    EXPECT_EQ(wide, QRectF(-50, 50, 500, 250));
    EXPECT_EQ(wide.center(), card.center());
    // The end keeps the picture's shape inside the screen, centred.
    EXPECT_EQ(zoomEndRect(QRectF(0, 30, 1000, 800), QSizeF(384, 480)), QRectF(180, 30, 640, 800));
    EXPECT_EQ(zoomEndRect(QRectF(0, 0, 1000, 800), QSizeF(480, 240)), QRectF(0, 150, 1000, 500));
}

}  // namespace
}  // namespace velumen
