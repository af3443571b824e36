#include "objects/KInkCanvasImage.h"

#include <cmath>

#include "document/KeyedArchive.h"
#include "objects/Md5.h"

namespace velumen {

KInkCanvasImagePtr KInkCanvasImage::KInkCanvasImageWithSourceImage(const KImage& image, const Rect& rect,
                                                                   const ImageCodec& codec) {
    auto result = std::make_shared<KInkCanvasImage>();
    result->setSourceImage(&image, codec);
    result->rect = rect;
    return result;
}

void KInkCanvasImage::setSourceImage(const KImage* image, const ImageCodec& codec) {
    sourceImageData_ = nullptr;
    if (image) {
        std::optional<std::vector<std::uint8_t>> jpeg = codec.encodeJpeg(*image, kJpegQuality);
        if (jpeg && !jpeg->empty())
            sourceImageData_ = std::make_shared<const std::vector<std::uint8_t>>(std::move(*jpeg));
        sourceImageScale_ = static_cast<float>(image->scale);
    }
    updateImageHash();
}

KImagePtr KInkCanvasImage::sourceImage(const ImageCodec& codec) const {
    if (!sourceImageData_) return nullptr;
    const double scale = sourceImageScale_ > 0 && std::isfinite(sourceImageScale_) ? sourceImageScale_ : 1.0;
    return codec.decode(*sourceImageData_, scale);
}

void KInkCanvasImage::updateImageHash() {
    imageHash_ = sourceImageData_ ? Md5::upperHex(*sourceImageData_) : std::string();
}

bool KInkCanvasImage::isEqual(const KInkCanvasImage& other) const {
    return sourceImageData_ == other.sourceImageData_ && rect == other.rect && angle == other.angle &&
           alpha == other.alpha && isLocked == other.isLocked;
}

void KInkCanvasImage::encodeWithCoder(KeyedEncoder& coder) const {
    if (sourceImageData_ && !sourceImageData_->empty()) {
        coder.encodeInt("sourceImage.scale", truncatedScale(sourceImageScale_));
        coder.encodeData("sourceImage", *sourceImageData_);
    }
    coder.encodeCGRect("rect", rect);
    coder.encodeFloat("alpha", alpha);
    coder.encodeFloat("angle", angle);
    coder.encodeBool("isLocked", isLocked);
}

KInkCanvasImagePtr KInkCanvasImage::initWithCoder(const KeyedDecoder& coder) {
    auto result = std::make_shared<KInkCanvasImage>();
    result->sourceImageScale_ =
        static_cast<float>(truncatedScale(coder.decodeIntForKey("sourceImage.scale")));
    result->sourceImageData_ = decodeSharedBytes(coder, "sourceImage");
    result->rect = coder.decodeCGRectForKey("rect");
    result->alpha = static_cast<float>(decodeAlpha(coder, "alpha", kLowestAlpha));
    result->angle = coder.decodeFloatForKey("angle");
    result->isLocked = coder.decodeBoolForKey("isLocked");
    result->updateImageHash();
    return result;
}

}  // namespace velumen
