// The two passes of the conversion: the first sorts each foreground pixel into its bucket, noting the bucket
// in the pixel's alpha byte and counting it; the runs are then made at their exact lengths, and the second
// pass only writes points. Background pixels are marked with 255, above every bucket that makes ink. Both
// passes pass over stretches of paper sixteen pixels at a time, and large pictures go in bands of rows on
// several threads, each band counting for itself and then filling from where the bands above it end.
#include "imagetoink/FLTracegrabber.h"

#include <algorithm>
#include <array>

#include "imagetoink/Bands.h"
#include "imagetoink/FLHighPassFilter.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace velumen {

namespace {
// The passes are light: a thread of their own pays only on pictures this many times larger than for the mask.
constexpr std::size_t kPixelsPerPassThreadFactor = 8;
// Pixels looked at together where most of a picture is paper.
[[maybe_unused]] constexpr int kChunk = 16;
}  // namespace

namespace {

// For each largest byte of a colour, how small its smallest byte must be for the colour to count as
// saturated: the saturation (max - min) / max in float falls as min grows, so the limit is found once by
// trying every min with the float formula itself.
struct SaturationLimits {
    std::array<std::uint16_t, 256> minBelow{};
    SaturationLimits() {
        for (int high = 0; high < 256; ++high) {
            int limit = 0;
            for (int low = 0; low < high; ++low) {
                const float max = static_cast<float>(high) / 255.0f;
                const float min = static_cast<float>(low) / 255.0f;
                if ((max - min) / max >= FLTracegrabber::kGreySaturation) limit = low + 1;
            }
            minBelow[static_cast<std::size_t>(high)] = static_cast<std::uint16_t>(limit);
        }
    }
};

const SaturationLimits& saturationLimits() {
    static const SaturationLimits limits;
    return limits;
}

inline int bucketWith(const SaturationLimits& limits, std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    const std::uint8_t high = std::max({r, g, b});
    const std::uint8_t low = std::min({r, g, b});
    if (low < limits.minBelow[high])
        return 36 * FLTracegrabber::colorLevel(r) + 6 * FLTracegrabber::colorLevel(g) +
               FLTracegrabber::colorLevel(b);
    return g < 215 ? (g / 86) * 43 : FLTracegrabber::kWhiteBucket;
}

}  // namespace

int FLTracegrabber::bucketOf(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    return bucketWith(saturationLimits(), r, g, b);
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
    return FLHighPassFilter().imageByFilteringImage(*image_, threadCount_);
}

std::vector<std::uint8_t> FLTracegrabber::getImageDataFromImage(const RgbaImage& image) {
    return std::vector<std::uint8_t>(
        image.bytes.begin(), image.bytes.begin() + static_cast<std::ptrdiff_t>(image.pixelCount() * 4));
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

    using Counts = std::array<std::uint32_t, kBucketCount>;
    const SaturationLimits& limits = saturationLimits();
    const auto sortPixel = [&](Counts& counts, std::uint8_t* pixel, const std::uint8_t* mask) {
        // One comparison against the darkest channel: foreground when any is below the threshold.
        if (std::min({mask[0], mask[1], mask[2]}) >= threshold) {
            pixel[3] = 255;
            return;
        }
        const int bucket = bucketWith(limits, pixel[0], pixel[1], pixel[2]);
        pixel[3] = static_cast<std::uint8_t>(bucket);
        ++counts[static_cast<std::size_t>(bucket)];
    };
    const int columns = w - 1;
    const int rows = h - 1;
    const unsigned bandCount =
        bands::threadCountFor(image_->pixelCount() / kPixelsPerPassThreadFactor, rows, threadCount_);
    std::vector<Counts> bandCounts(bandCount, Counts{});
    bands::forEachBand(rows, bandCount, [&](unsigned band, int from, int to) {
        Counts& counts = bandCounts[band];
        for (int y = from; y < to; ++y) {
            std::uint8_t* pixel = imageData_.data() + static_cast<std::size_t>(y) * stride;
            const std::uint8_t* mask = maskImageData_.data() + static_cast<std::size_t>(y) * stride;
            int x = 0;
#if defined(__SSE2__)
            // Sixteen pixels at a time: where none is foreground, their alpha bytes become 255 at once.
            const __m128i thresholds = _mm_set1_epi8(static_cast<char>(threshold));
            const __m128i colourBytes = _mm_set1_epi32(0x00FFFFFF);
            const __m128i alphaBytes = _mm_set1_epi32(static_cast<int>(0xFF000000u));
            for (; x + kChunk <= columns; x += kChunk) {
                __m128i below[kChunk / 4];
                __m128i anyBelow = _mm_setzero_si128();
                for (int k = 0; k < kChunk / 4; ++k) {
                    const __m128i m =
                        _mm_loadu_si128(reinterpret_cast<const __m128i*>(mask + (x + 4 * k) * 4));
                    // t - m saturates to 0 exactly when m is at or above t.
                    below[k] = _mm_and_si128(_mm_subs_epu8(thresholds, m), colourBytes);
                    anyBelow = _mm_or_si128(anyBelow, below[k]);
                }
                const bool allPaper =
                    _mm_movemask_epi8(_mm_cmpeq_epi8(anyBelow, _mm_setzero_si128())) == 0xFFFF;
                for (int k = 0; k < kChunk / 4; ++k) {
                    if (allPaper ||
                        _mm_movemask_epi8(_mm_cmpeq_epi8(below[k], _mm_setzero_si128())) == 0xFFFF) {
                        auto* at = reinterpret_cast<__m128i*>(pixel + (x + 4 * k) * 4);
                        _mm_storeu_si128(at, _mm_or_si128(_mm_loadu_si128(at), alphaBytes));
                        continue;
                    }
                    for (int j = 0; j < 4; ++j)
                        sortPixel(counts, pixel + (x + 4 * k + j) * 4, mask + (x + 4 * k + j) * 4);
                }
            }
#endif
            for (; x < columns; ++x)
                sortPixel(counts, pixel + x * 4, mask + x * 4);
        }
    });
    Counts counts{};
    for (const Counts& c : bandCounts)
        for (std::size_t i = 0; i < counts.size(); ++i)
            counts[i] += c[i];

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
    // Each band writes from where the bands above it end.
    std::vector<std::array<float*, kWhiteBucket>> bandFill(bandCount, fill);
    for (unsigned band = 1; band < bandCount; ++band)
        for (std::size_t i = 0; i < fill.size(); ++i)
            bandFill[band][i] = bandFill[band - 1][i] + 3 * std::size_t{bandCounts[band - 1][i]};
    const auto placePixel = [&](std::array<float*, kWhiteBucket>& positions, const std::uint8_t* pixel, int x,
                                float py) {
        const std::uint8_t bucket = pixel[3];
        if (bucket > 214) return;
        float*& at = positions[bucket];
        at[0] = static_cast<float>(x) * s;
        at[1] = py;
        at[2] = size;
        at += 3;
    };
    bands::forEachBand(rows, bandCount, [&](unsigned band, int from, int to) {
        std::array<float*, kWhiteBucket>& positions = bandFill[band];
        for (int y = from; y < to; ++y) {
            const std::uint8_t* pixel = imageData_.data() + static_cast<std::size_t>(y) * stride;
            const float py = static_cast<float>(y) * s;
            int x = 0;
#if defined(__SSE2__)
            // Sixteen pixels at a time: a stretch whose alpha bytes are all above 214 holds no ink.
            const __m128i limit = _mm_set1_epi8(static_cast<char>(214));
            for (; x + kChunk <= columns; x += kChunk) {
                int inked[kChunk / 4];
                int anyInked = 0;
                for (int k = 0; k < kChunk / 4; ++k) {
                    const __m128i p =
                        _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixel + (x + 4 * k) * 4));
                    // alpha - 214 saturates to 0 exactly when alpha is at most 214.
                    inked[k] =
                        _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_subs_epu8(p, limit), _mm_setzero_si128())) &
                        0x8888;
                    anyInked |= inked[k];
                }
                if (!anyInked) continue;
                for (int k = 0; k < kChunk / 4; ++k) {
                    if (!inked[k]) continue;
                    for (int j = 0; j < 4; ++j)
                        placePixel(positions, pixel + (x + 4 * k + j) * 4, x + 4 * k + j, py);
                }
            }
#endif
            for (; x < columns; ++x)
                placePixel(positions, pixel + x * 4, x, py);
        }
    });
    return result;
}

}  // namespace velumen
