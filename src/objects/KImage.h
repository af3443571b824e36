// A decoded picture: what a thumbnail, a placed image or a master image is once its bytes are read.
// The model keeps pictures as compressed bytes; a KImage exists only while something draws or encodes it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace velumen {

struct KImage {
    // Pixels, always in the "up" orientation (any orientation tag of the source is applied on decoding).
    int width = 0;
    int height = 0;
    // Pixels per point: an image of scale 2 shows at half its pixel size.
    double scale = 1.0;
    // Row-major, no padding, premultiplied alpha, each pixel one native 32-bit word 0xAARRGGBB.
    std::vector<std::uint32_t> pixels;

    bool isEmpty() const { return width <= 0 || height <= 0; }
    // Size in points.
    double pointWidth() const { return width / scale; }
    double pointHeight() const { return height / scale; }
};

using KImagePtr = std::shared_ptr<const KImage>;

// Compressed pictures in and out. The model and the archive take one from their caller, so that they
// stay free of any toolkit; the notebook and the command-line tool pass the Qt implementation.
class ImageCodec {
  public:
    virtual ~ImageCodec() = default;
    // Any format the platform reads (JPEG, PNG, ...), orientation applied, with the given scale.
    // nullptr when the bytes are not a readable picture.
    virtual KImagePtr decode(std::span<const std::uint8_t> bytes, double scale) const = 0;
    // JPEG at quality 0.0 (smallest) to 1.0 (best). nullopt for an empty image.
    virtual std::optional<std::vector<std::uint8_t>> encodeJpeg(const KImage& image, double quality) const = 0;
};

}  // namespace velumen
