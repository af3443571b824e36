// What the pen palettes compute without drawing anything: the width steps a slider moves through, where a
// colour stands in the palette's row of pages, and how many colours a phone's row has room for.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "ink/KColor.h"

namespace velumen {

// Widths are chosen from a table, not freely: the brush's is its own, every other pen shares one.
std::span<const float> penWidthStepsForPenTypeIndex(std::int64_t penTypeIndex);
// The slider position of a width: the index of the largest step not above it, scanning from the end; 0 when
// the width lies below every step (or is no number).
int sliderIndexForWidth(std::span<const float> steps, float width);
// The step at a slider position, truncated to a whole index and kept inside the table.
float widthForSliderValue(std::span<const float> steps, double sliderValue);

// The colour row of the tablet palette: round swatches of 36 on a pitch of 44, in pages of eight with an
// extra gap of 10 between pages.
struct ColorRowGeometry {
    static constexpr int kColorsPerPage = 8;
    static constexpr int kSwatchSize = 36;
    static constexpr int kPitch = 44;
    static constexpr int kMargin = 10;
    static constexpr int kPageGap = 10;
    static constexpr int kRingSize = 50;
    // The width of one page as the scroll view shows it.
    static constexpr int kPageWidth = kColorsPerPage * kPitch + kPageGap;

    // The left edge of swatch i.
    static int swatchX(int i) { return i * kPitch + kMargin + (i / kColorsPerPage) * kPageGap; }
    // The width of the whole row of n colours.
    static int contentWidth(int n) { return n * kPitch + kMargin + ((n - 1) / kColorsPerPage) * kPageGap; }
    // The left edge of the ring around swatch i.
    static int ringX(int i) { return swatchX(i) + kSwatchSize / 2 - kRingSize / 2; }
    // The page whose start the row scrolls to when the ring's left edge is at x (rounded down to a page).
    static std::int64_t pageOfRingX(int ringX) { return ringX < 0 ? 0 : ringX / kPageWidth; }
};

// Where `color` stands in the palette, the page in use first: from its first entry to the end, then from the
// start up to it (black stands on every page, and the one in view wins). Nothing when it is not there.
std::optional<std::size_t> indexOfColorFromPage(const std::vector<KColor>& penColors, const KColor& color,
                                                std::int64_t colorPalettePage);

// The colours a phone's palette row shows: 4 on a tablet, else by the shorter side of the screen: 8 from
// 414 points, 6 from 375, otherwise 4.
int numberOfPhoneColors(bool isTabletClass, double shorterScreenSide);

// The round width preview: the ellipse's side for a view `side` points wide, at least 2.
double penWidthIndicatorDiameter(double side, float value, float maxValue);

}  // namespace velumen
