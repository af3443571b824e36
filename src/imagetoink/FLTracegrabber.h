// A picture becomes ink: every pixel that the high-pass mask marks as darker than its surroundings becomes
// one dot on the pixel grid, and the dots are sorted by colour into at most 215 runs, one for each colour of
// a 6 x 6 x 6 cube at alpha 0.5. Near-neutral pixels collapse onto black, dark grey and mid grey (pale ones
// vanish); colour survives only where it is saturated. The mask is made once per picture; a new threshold
// costs two flat passes over the pixels.
//
// One object serves one thread at a time; it may live on a worker thread while it converts.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "imagetoink/RgbaImage.h"
#include "ink/KColor.h"
#include "ink/KVSPointSetArray.h"

namespace velumen {

class FLTracegrabber {
  public:
    static constexpr float kDefaultTargetWidth = 1024.0f;
    // The number of colour buckets; the last, the white corner, never makes ink.
    static constexpr int kBucketCount = 216;
    static constexpr int kWhiteBucket = 215;
    // Pixels below this saturation count as grey, sorted by their green byte alone.
    static constexpr float kGreySaturation = 0.2f;

    FLTracegrabber() = default;

    // The level 0 to 5 of a byte: floor(c x 191 / 8192), with steps at 43, 86, 129, 172 and 215.
    static int colorLevel(std::uint8_t c) { return (c * 191) >> 13; }
    // The bucket of a foreground pixel's colour: 36 q(r) + 6 q(g) + q(b) when its saturation (max - min) /
    // max, in float, is at least 0.2; otherwise 0, 43 or 86 by (g / 86) x 43 for a green byte below 215, and
    // the white corner 215 from there up. The saturation test is a table made once from that float formula.
    static int bucketOf(std::uint8_t r, std::uint8_t g, std::uint8_t b);
    // The colour a bucket stands for: level / 5 in each channel, alpha 0.5.
    static KColor bucketColor(int bucket);

    // Stores the picture and computes its working copy and its mask. An empty picture leaves no image.
    void setImage(RgbaImage image);
    const RgbaImage* image() const { return image_ ? &*image_ : nullptr; }
    // The high-pass mask of the stored picture (empty without one).
    RgbaImage getMaskImage() const;
    // The picture's bytes in the conversion's layout: red, green, blue, premultiplied alpha, 4 x width bytes
    // a row. The picture is already in that layout: this is a copy that the conversion may scribble on.
    static std::vector<std::uint8_t> getImageDataFromImage(const RgbaImage& image);
    const std::vector<std::uint8_t>& imageData() const { return imageData_; }
    const std::vector<std::uint8_t>& maskImageData() const { return maskImageData_; }

    // A pixel is foreground when one of the red, green and blue bytes of its mask pixel is below the
    // threshold.
    static bool isForeground(const std::uint8_t* maskPixel, std::uint8_t threshold) {
        return maskPixel[0] < threshold || maskPixel[1] < threshold || maskPixel[2] < threshold;
    }

    // The picture as the ink would show it, every pixel the last row and column included: foreground pixels
    // keep their red, green and blue (fourth byte 255), the rest are white. nullopt without a picture.
    std::optional<RgbaImage> previewImageWithThreshold(std::uint8_t threshold) const;

    // The ink of the picture, its origin at 0, 0: one run per used bucket below the white corner, in bucket
    // order, each of exactly its number of pixels, points x s, y s with size 2 s in row order, where s scales
    // a picture wider than the target width down to it (never up). The last row and column never make ink,
    // so a picture narrower or lower than 2 pixels gives an empty list. nullptr without a picture. Reuses the
    // alpha bytes of the working copy; a later call with another threshold rewrites every byte it reads.
    KVSPointSetArrayPtr pointSetsWithThreshold(std::uint8_t threshold);

    // The width in canvas units that the whole picture is to have at most.
    float targetWidth() const { return targetWidth_; }
    void setTargetWidth(float width) { targetWidth_ = width; }

    // The threads the mask and the passes may use: 0 lets the picture's size decide.
    void setThreadCount(unsigned count) { threadCount_ = count; }

  private:
    std::optional<RgbaImage> image_;
    std::vector<std::uint8_t> imageData_;
    std::vector<std::uint8_t> maskImageData_;
    float targetWidth_ = kDefaultTargetWidth;
    unsigned threadCount_ = 0;
};

}  // namespace velumen
