#include "objects/FoliantImage.h"

#include "document/KeyedArchive.h"
#include "objects/ObjectCoding.h"

namespace velumen {

FoliantImagePtr FoliantImage::foliantImageWithImage(const KImage& image, const Rect& frame, double alpha,
                                                    std::int32_t borderStyle, const ImageCodec& codec) {
    auto result = std::make_shared<FoliantImage>();
    result->setImage(&image, codec);
    result->frame = frame;
    result->alpha = alpha;
    result->borderStyle = borderStyle;
    return result;
}

void FoliantImage::setImage(const KImage* image, const ImageCodec& codec) {
    if (!image) {
        imageData_ = nullptr;
        return;
    }
    std::optional<std::vector<std::uint8_t>> jpeg = codec.encodeJpeg(*image, kJpegQuality);
    imageData_ = jpeg && !jpeg->empty() ? std::make_shared<const std::vector<std::uint8_t>>(std::move(*jpeg))
                                        : nullptr;
    imageScale_ = truncatedScale(image->scale);
}

KImagePtr FoliantImage::image(const ImageCodec& codec) const {
    if (!imageData_) return nullptr;
    return codec.decode(*imageData_, truncatedScale(imageScale_));
}

void FoliantImage::copyFromFoliantImage(const FoliantImage& other) {
    frame = other.frame;
    alpha = other.alpha;
    angle = other.angle;
    borderStyle = other.borderStyle;
    filterType = other.filterType;
    imageData_ = other.imageData_;
    imageScale_ = other.imageScale_;
}

FoliantImagePtr FoliantImage::copy() const {
    auto result = std::make_shared<FoliantImage>();
    result->copyFromFoliantImage(*this);
    return result;
}

bool FoliantImage::isEqualToFoliantImage(const FoliantImage& other) const {
    return frame == other.frame && alpha == other.alpha && angle == other.angle &&
           borderStyle == other.borderStyle && filterType == other.filterType &&
           imageScale_ == other.imageScale_ && imageData_ == other.imageData_;
}

void FoliantImage::encodeWithCoder(KeyedEncoder& coder) const {
    coder.encodeCGRect("frame", frame);
    coder.encodeFloat("alpha", static_cast<float>(alpha));
    coder.encodeFloat("angle", angle);
    coder.encodeInt("borderStyle", borderStyle);
    coder.encodeInt("filterType", filterType);
    if (imageData_ && !imageData_->empty()) {
        coder.encodeInt("image.scale", imageScale_);
        coder.encodeData("image", *imageData_);
    }
}

FoliantImagePtr FoliantImage::initWithCoder(const KeyedDecoder& coder) {
    auto result = std::make_shared<FoliantImage>();
    result->frame = coder.decodeCGRectForKey("frame");
    result->alpha = decodeAlpha(coder, "alpha", kLowestAlpha);
    result->angle = coder.decodeFloatForKey("angle");
    result->borderStyle = coder.decodeIntForKey("borderStyle");
    result->filterType = coder.decodeIntForKey("filterType");
    result->imageScale_ = truncatedScale(coder.decodeIntForKey("image.scale"));
    result->imageData_ = decodeSharedBytes(coder, "image");
    return result;
}

}  // namespace velumen
