// A picture as the sister application's clipboard describes it: JPEG bytes with a content hash, a rectangle,
// a rotation and an alpha.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "ink/KGeometry.h"
#include "objects/KImage.h"
#include "objects/ObjectCoding.h"

namespace velumen {

class KeyedEncoder;
class KeyedDecoder;

class KInkCanvasImage;
using KInkCanvasImagePtr = std::shared_ptr<KInkCanvasImage>;

class KInkCanvasImage {
  public:
    static constexpr std::string_view kClassName = "KInkCanvasImage";
    static constexpr double kJpegQuality = 0.8;
    static constexpr float kLowestAlpha = 0.1f;

    static KInkCanvasImagePtr KInkCanvasImageWithSourceImage(const KImage& image, const Rect& rect,
                                                             const ImageCodec& codec);

    // With an image: JPEG at quality 0.8 and the image's scale; with nullptr, or an image the codec cannot
    // encode: no data. The hash follows.
    void setSourceImage(const KImage* image, const ImageCodec& codec);
    // Decoded anew on each call, at the stored scale; nullptr without data or with unreadable data.
    KImagePtr sourceImage(const ImageCodec& codec) const;
    const SharedBytes& sourceImageData() const { return sourceImageData_; }
    float sourceImageScale() const { return sourceImageScale_; }
    // The MD5 of the stored bytes as 32 upper-case hexadecimal digits; empty without data.
    void updateImageHash();
    const std::string& imageHash() const { return imageHash_; }

    KInkCanvasImagePtr copy() const { return std::make_shared<KInkCanvasImage>(*this); }
    // The very same data object, and equal rect, angle, alpha and lock.
    bool isEqual(const KInkCanvasImage& other) const;

    // "sourceImage.scale" (truncated) and "sourceImage" when there are bytes, "rect", "alpha", "angle",
    // "isLocked". The bytes are written when the archive is finished: keep this object alive until then.
    void encodeWithCoder(KeyedEncoder& coder) const;
    // Absent alpha reads as 1.0 and a stored 0 as 0.1; the scale is at least 1; the hash is computed.
    static KInkCanvasImagePtr initWithCoder(const KeyedDecoder& coder);

    bool isLocked = false;
    float angle = 0;
    float alpha = 1.0f;
    Rect rect;

  private:
    std::string imageHash_;
    float sourceImageScale_ = 1.0f;
    SharedBytes sourceImageData_;
};

}  // namespace velumen
