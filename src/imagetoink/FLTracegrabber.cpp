// The two passes of the conversion: the first sorts each foreground pixel into its bucket, noting the bucket
// in the pixel's alpha byte and counting it; the runs are then made at their exact lengths, and the second
// pass only writes points. Background pixels are marked with 255, above every bucket that makes ink.
#include "imagetoink/FLTracegrabber.h"

#include <algorithm>
#include <array>

#include "imagetoink/FLHighPassFilter.h"

namespace velumen {

int FLTracegrabber::bucketOf(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    const float rf = static_cast<float>(r) / 255.0f;
    const float gf = static_cast<float>(g) / 255.0f;
    const float bf = static_cast<float>(b) / 255.0f;
    const float max = std::max({rf, gf, bf});
    const float min = std::min({rf, gf, bf});
    const float saturation = (max == min || max == 0.0f) ? 0.0f : (max - min) / max;
    if (saturation >= kGreySaturation) return 36 * colorLevel(r) + 6 * colorLevel(g) + colorLevel(b);
    return g < 215 ? (g / 86) * 43 : kWhiteBucket;
}

KColor FLTracegrabber::bucketColor(int bucket) {
    return KColor::KColorWithR((bucket / 36) / 5.0, ((bucket / 6) % 6) / 5.0, (bucket % 6) / 5.0, 0.5);
}

void FLTracegrabber::setImage(RgbaImage image) {
    image_.reset();
    imageData_.clear();
    maskImageData_.clear();
    if (image.isEmpty() || image.bytes.size() < image.pixelCount() * 4) return;
    image_ = std::move(image);
    imageData_ = getImageDataFromImage(*image_);
    maskImageData_ = getMaskImage().bytes;
}

RgbaImage FLTracegrabber::getMaskImage() const {
    if (!image_) return {};
    return FLHighPassFilter().imageByFilteringImage(*image_);
}

std::vector<std::uint8_t> FLTracegrabber::getImageDataFromImage(const RgbaImage& image) {
    return std::vector<std::uint8_t>(image.bytes.begin(),
                                     image.bytes.begin() + static_cast<std::ptrdiff_t>(image.pixelCount() * 4));
}

std::optional<RgbaImage> FLTracegrabber::previewImageWithThreshold(std::uint8_t threshold) const {
    if (!image_ || imageData_.empty() || maskImageData_.empty()) return std::nullopt;
    RgbaImage preview(image_->width, image_->height);
    const std::uint8_t* source = imageData_.data();
    const std::uint8_t* mask = maskImageData_.data();
    std::uint8_t* out = preview.bytes.data();
    const std::size_t bytes = preview.bytes.size();
    for (std::size_t i = 0; i < bytes; i += 4) {
        if (isForeground(mask + i, threshold)) {
            out[i] = source[i];
            out[i + 1] = source[i + 1];
            out[i + 2] = source[i + 2];
        } else {
            out[i] = out[i + 1] = out[i + 2] = 255;
        }
        out[i + 3] = 255;
    }
    return preview;
}

KVSPointSetArrayPtr FLTracegrabber::pointSetsWithThreshold(std::uint8_t threshold) {
    if (!image_ || imageData_.empty()) return nullptr;
    auto result = std::make_shared<KVSPointSetArray>();
    const int w = image_->width, h = image_->height;
    if (w < 2 || h < 2 || maskImageData_.empty()) return result;
    const std::size_t stride = static_cast<std::size_t>(w) * 4;

    std::array<std::uint32_t, kBucketCount> counts{};
    for (int y = 0; y < h - 1; ++y) {
        std::uint8_t* pixel = imageData_.data() + static_cast<std::size_t>(y) * stride;
        const std::uint8_t* mask = maskImageData_.data() + static_cast<std::size_t>(y) * stride;
        for (int x = 0; x < w - 1; ++x, pixel += 4, mask += 4) {
            // One comparison against the darkest channel: foreground when any is below the threshold.
            if (std::min({mask[0], mask[1], mask[2]}) >= threshold) {
                pixel[3] = 255;
                continue;
            }
            const int bucket = bucketOf(pixel[0], pixel[1], pixel[2]);
            pixel[3] = static_cast<std::uint8_t>(bucket);
            ++counts[static_cast<std::size_t>(bucket)];
        }
    }

    std::array<float*, kWhiteBucket> fill{};
    for (int bucket = 0; bucket < kWhiteBucket; ++bucket) {
        const std::uint32_t count = counts[static_cast<std::size_t>(bucket)];
        if (count == 0) continue;
        KVSPointSetPtr run =
            KVSPointSet::initWithData(PointBuffer::uninitialized(std::size_t{count} * KVSPointSet::kStride));
        run->setColor(bucketColor(bucket));
        fill[static_cast<std::size_t>(bucket)] = run->buffer();
        result->addObject(std::move(run));
    }
    if (result->count() == 0) return result;

    const float s = targetWidth_ < static_cast<float>(w) ? targetWidth_ / static_cast<float>(w) : 1.0f;
    const float size = 2.0f * s;
    for (int y = 0; y < h - 1; ++y) {
        const std::uint8_t* pixel = imageData_.data() + static_cast<std::size_t>(y) * stride;
        const float py = static_cast<float>(y) * s;
        for (int x = 0; x < w - 1; ++x, pixel += 4) {
            const std::uint8_t bucket = pixel[3];
            if (bucket > 214) continue;
            float*& at = fill[bucket];
            at[0] = static_cast<float>(x) * s;
            at[1] = py;
            at[2] = size;
            at += 3;
        }
    }
    return result;
}

}  // namespace velumen
