// The built-in papers of the stationery, drawn by our own code: white paper, ruled lines, grid lines and
// music staves, each page-proportioned (4:5) so that filling the page crops nothing. Thumbnails are the
// same drawing at a small size.
#pragma once

#include <QImage>
#include <QString>
#include <vector>

namespace velumen {

enum class StationeryPaper { White, Ruled, Grid, Music };

struct StationeryChoice {
    QString title;
    // The paper this row sets; none for "Blank" (no background) and for "Custom stationery" (the list of
    // the user's own pictures).
    bool isPaper = false;
    StationeryPaper paper = StationeryPaper::White;
    bool isCustom = false;
};

// The rows of the picker, in order: "Blank", "Paper", "Ruled Lines", "Grid Lines", "Music Staff",
// "Custom stationery".
const std::vector<StationeryChoice>& stationeryChoices();

// The paper at width x (width x 5 / 4) pixels, opaque.
QImage drawStationeryPaper(StationeryPaper paper, int width);

}  // namespace velumen
