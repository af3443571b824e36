// The picture codec of the notebook and the command-line tool, on Qt's image readers and writers. Needs no
// application object and no display.
#pragma once

#include "objects/KImage.h"

namespace velumen {

class QtImageCodec : public ImageCodec {
  public:
    // Any format Qt reads; the orientation tag is applied. nullptr for bytes that are not a readable picture
    // (or one beyond Qt's allocation limit). A scale that is not positive and finite reads as 1.
    KImagePtr decode(std::span<const std::uint8_t> bytes, double scale) const override;
    // Quality 0..1 maps to Qt's 0..100. nullopt for an empty image or one whose pixels are fewer than its
    // size says.
    std::optional<std::vector<std::uint8_t>> encodeJpeg(const KImage& image, double quality) const override;
};

}  // namespace velumen
