// A picture placed on a page, or a book's master image. The picture is kept only as JPEG bytes; its look
// (grey, alpha, border) is applied when it is drawn, never written into the bytes.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "ink/KGeometry.h"
#include "objects/KImage.h"

namespace velumen {

class KeyedEncoder;
class KeyedDecoder;

class FoliantImage;
using FoliantImagePtr = std::shared_ptr<FoliantImage>;

class FoliantImage {
  public:
    static constexpr std::string_view kClassName = "FoliantImage";
    // Shared between copies; equality compares its identity, not its bytes.
    using Bytes = std::shared_ptr<const std::vector<std::uint8_t>>;

    static constexpr float kDefaultAlpha = 1.0f;
    // The slider's lowest value: a stored alpha of 0 reads as this, so that no image comes back invisible.
    static constexpr double kLowestAlpha = 0.1;
    static constexpr double kJpegQuality = 0.8;

    // Encodes `image` as JPEG at quality 0.8; angle and filter type 0.
    static FoliantImagePtr foliantImageWithImage(const KImage& image, const Rect& frame, double alpha,
                                                 std::int32_t borderStyle, const ImageCodec& codec);

    const Bytes& imageData() const { return imageData_; }
    float imageScale() const { return static_cast<float>(imageScale_); }
    // The stored bytes and their scale as they are (a decoder or a copy).
    void setImageData(Bytes data, std::int32_t scale) {
        imageData_ = std::move(data);
        imageScale_ = scale;
    }
    // With an image: JPEG at quality 0.8 and the image's scale truncated (at least 1). With nullptr, or an
    // image the codec cannot encode: no data.
    void setImage(const KImage* image, const ImageCodec& codec);
    // Decoded anew on each call, at the stored scale; nullptr without data or with unreadable data.
    KImagePtr image(const ImageCodec& codec) const;

    // Copies every field and shares the data.
    void copyFromFoliantImage(const FoliantImage& other);
    FoliantImagePtr copy() const;
    // Fields equal and the very same data object.
    bool isEqualToFoliantImage(const FoliantImage& other) const;

    // "frame", "alpha", "angle", "borderStyle", "filterType", and "image.scale" with "image" when there are
    // bytes. The bytes are written when the archive is finished: keep this object alive until then.
    void encodeWithCoder(KeyedEncoder& coder) const;
    // Absent alpha reads as 1.0 and a stored 0 as 0.1; the scale is at least 1.
    static FoliantImagePtr initWithCoder(const KeyedDecoder& coder);

    float angle = 0;               // radians about the frame's centre
    std::int32_t borderStyle = 0;  // 0 none, 1 picture frame
    std::int32_t filterType = 0;   // 0 none, 1 greyscale
    double alpha = 1.0;
    Rect frame;  // page units, before rotation

  private:
    Bytes imageData_;
    std::int32_t imageScale_ = 1;
};

}  // namespace velumen
