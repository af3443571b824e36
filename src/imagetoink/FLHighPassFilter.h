// The mask that finds drawn lines in a photograph: mid-grey where the picture is flat, darker where a pixel
// is darker than its neighbourhood, lighter where it is lighter. The picture's mean over a box around each
// pixel is inverted and mixed half and half into the picture itself, so that uneven lighting and the colour
// of the paper cancel out. A CPU filter: a separable box blur with running sums (the same cost per pixel
// whatever the radius), 8 bits a channel between the passes, samples clamped at the picture's edge.
#pragma once

#include "imagetoink/RgbaImage.h"

namespace velumen {

// The blur's radius as the filter uses it: each half of the radius rounded (halves away from zero), then the
// sum rounded again, so that 5.0 becomes 3 + 3 = 6 and 4.2 becomes 2 + 2 = 4. Negative or non-finite radii
// count as 0.
int normalizedBlurRadius(double radiusInPixels);

// The unweighted mean of the 2 r + 1 samples centred on each pixel, first along the rows and then along the
// columns, every channel, each pass rounded to the nearest byte; samples beyond the edge repeat the edge
// pixel. `threads` 0 lets the filter choose (one for small pictures).
RgbaImage boxBlur(const RgbaImage& source, int radius, unsigned threads = 0);

class FLHighPassFilter {
  public:
    static constexpr double kDefaultBlurRadius = 5.0;

    // The blur radius in pixels, before its normalisation; the filter strength forwards to it.
    double blurRadiusInPixels() const { return blurRadiusInPixels_; }
    void setBlurRadiusInPixels(double radius) { blurRadiusInPixels_ = radius; }
    double filterStrength() const { return blurRadiusInPixels_; }
    void setFilterStrength(double strength) { blurRadiusInPixels_ = strength; }

    // The mask of a picture of the same size: with B the box blur of S and I = 255 - B in red, green and blue
    // (B's alpha kept), each pixel is S (1 - m) + I m with m = I.alpha / 510, rounded to the nearest byte
    // (halves up), and S's alpha. An empty picture gives an empty one.
    RgbaImage imageByFilteringImage(const RgbaImage& source, unsigned threads = 0) const;

  private:
    double blurRadiusInPixels_ = kDefaultBlurRadius;
};

}  // namespace velumen
