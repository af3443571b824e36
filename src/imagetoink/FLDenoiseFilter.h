// A softer companion of the high-pass mask: the picture keeps its own lightness but takes hue and saturation
// from its blurred self, which calms coloured noise in dark photographs. Kept with its parameters; the
// conversion into ink does not use it.
#pragma once

#include "imagetoink/RgbaImage.h"

namespace velumen {

class FLDenoiseFilter {
  public:
    static constexpr double kDefaultBlurRadius = 2.0;

    double blurRadiusInPixels() const { return blurRadiusInPixels_; }
    void setBlurRadiusInPixels(double radius) { blurRadiusInPixels_ = radius; }
    double filterStrength() const { return blurRadiusInPixels_; }
    void setFilterStrength(double strength) { blurRadiusInPixels_ = strength; }

    // Each pixel: the "color" blend of the box blur B over the source S (the lightness of S with the hue and
    // saturation of B, in the non-separable blend model), mixed in by B's alpha, S's alpha kept.
    RgbaImage imageByFilteringImage(const RgbaImage& source) const;

  private:
    double blurRadiusInPixels_ = kDefaultBlurRadius;
};

}  // namespace velumen
