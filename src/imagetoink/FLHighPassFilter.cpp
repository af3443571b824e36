// The high-pass mask: a horizontal box pass into a ring of 8-bit rows, and a vertical pass by running column
// sums over that ring that emits each finished row straight into the invert-and-blend step, in bands of rows
// on a few threads. Every mean is rounded exactly: by a float reciprocal where that is exact, else by
// division.
#include "imagetoink/FLHighPassFilter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include <vector>

#include "imagetoink/Bands.h"

namespace velumen {

namespace {

using bands::forEachBand;
using bands::threadCountFor;

// round(sum / n) for window sums of n bytes. n is odd, so no quotient lies halfway, and the rounded quotient
// is floor((sum + (n - 1) / 2) / n).
//
// Short windows (255 n below 2^16) keep their sums in 16 bits and divide by a 16-bit multiply-high and a
// shift, whose exactness is checked for every possible sum when the filter starts; the vectoriser turns both
// into 8-lane operations. Longer windows keep 32-bit sums and use a float reciprocal where that is exact (the
// product is off by at most 255 x 2^-23 and every quotient lies at least 1 / (2 n) from a half), and a
// division beyond.
constexpr int kFloatMeanLimit = 8191;

struct ShortMean {
    std::uint16_t half = 0, multiplier = 0;
    int shift = 0;
    bool exact = false;
    explicit ShortMean(int n) {
        if (255 * n + n / 2 >= 65536) return;
        half = static_cast<std::uint16_t>(n / 2);
        const std::uint32_t largest = 255u * static_cast<std::uint32_t>(n) + half;
        for (shift = 0; shift < 16 && !exact; ++shift) {
            const std::uint64_t m = ((std::uint64_t{1} << (16 + shift)) + static_cast<std::uint64_t>(n) - 1) /
                                    static_cast<std::uint64_t>(n);
            if (m > 0xFFFF) break;
            multiplier = static_cast<std::uint16_t>(m);
            exact = true;
            for (std::uint32_t v = 0; v <= largest && exact; ++v)
                exact = ((v * m) >> (16 + shift)) == v / static_cast<std::uint32_t>(n);
        }
        --shift;
    }
    std::uint8_t operator()(std::uint16_t sum) const {
        const auto v = static_cast<std::uint16_t>(sum + half);
        return static_cast<std::uint8_t>(
            static_cast<std::uint16_t>((static_cast<std::uint32_t>(v) * multiplier) >> 16) >> shift);
    }
};

struct LongMean {
    std::uint32_t n;
    float inverse;
    bool exactInFloat;
    explicit LongMean(int samples)
        : n(static_cast<std::uint32_t>(samples)),
          inverse(1.0f / static_cast<float>(samples)),
          exactInFloat(samples <= kFloatMeanLimit) {}
};

// `count` means of window sums into bytes: out[i] = round(sumAt(i) / n). The 16-bit form reads each sum as
// hi[i] - lo[i] (modulo 2^16; lo may be null for 0).
void storeMeans(std::uint8_t* __restrict out, std::size_t count, const ShortMean& mean,
                const std::uint16_t* hi, const std::uint16_t* lo) {
    const std::uint16_t half = mean.half, multiplier = mean.multiplier;
    const int shift = mean.shift;
    std::size_t i = 0;
#if defined(__SSE2__)
    const __m128i halves = _mm_set1_epi16(static_cast<short>(half));
    const __m128i multipliers = _mm_set1_epi16(static_cast<short>(multiplier));
    const __m128i shifts = _mm_cvtsi32_si128(shift);
    const auto eight = [&](std::size_t at) {
        __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(hi + at));
        if (lo) v = _mm_sub_epi16(v, _mm_loadu_si128(reinterpret_cast<const __m128i*>(lo + at)));
        return _mm_srl_epi16(_mm_mulhi_epu16(_mm_add_epi16(v, halves), multipliers), shifts);
    };
    for (; i + 16 <= count; i += 16)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(eight(i), eight(i + 8)));
#endif
    for (; i < count; ++i) {
        const auto v = static_cast<std::uint16_t>(hi[i] - (lo ? lo[i] : 0) + half);
        out[i] = static_cast<std::uint8_t>(
            static_cast<std::uint16_t>((static_cast<std::uint32_t>(v) * multiplier) >> 16) >> shift);
    }
}
template <class SumAt>
void storeMeans(std::uint8_t* __restrict out, std::size_t count, const LongMean& mean, const SumAt& sumAt) {
    if (mean.exactInFloat) {
        const float inverse = mean.inverse;
        for (std::size_t i = 0; i < count; ++i)
            out[i] =
                static_cast<std::uint8_t>(static_cast<int>(static_cast<float>(sumAt(i)) * inverse + 0.5f));
    } else {
        for (std::size_t i = 0; i < count; ++i)
            out[i] = static_cast<std::uint8_t>((sumAt(i) + mean.n / 2) / mean.n);
    }
}

// One row through the horizontal mean. With the row padded by r copies of each edge pixel, the window of x
// is padded[x .. x + 2r]; its sum is the difference of two running totals (modulo the sum type, which holds
// any window sum), so that only the totals are a chain and the means vectorise.
// The four channels of a pixel, and of its running totals, as one vector each.
typedef std::uint8_t PixelBytes __attribute__((vector_size(4)));
typedef std::uint16_t PixelTotals16 __attribute__((vector_size(8)));
typedef std::uint32_t PixelTotals32 __attribute__((vector_size(16)));
template <class Sum>
struct LanesOf;
template <>
struct LanesOf<std::uint16_t> {
    using type = PixelTotals16;
};
template <>
struct LanesOf<std::uint32_t> {
    using type = PixelTotals32;
};

template <class Sum, class Mean>
void horizontalRow(const std::uint8_t* in, std::uint8_t* out, int width, int r, const Mean& mean,
                   std::vector<Sum>& totals) {
    const std::size_t padded = static_cast<std::size_t>(width) + 2 * static_cast<std::size_t>(r);
    totals.resize((padded + 1) * 4);
    Sum* t = totals.data();
    // The four channels' totals advance together, one vector add a pixel.
    using Lanes = typename LanesOf<Sum>::type;
    Lanes running = {0, 0, 0, 0};
    std::memcpy(t, &running, sizeof running);
    Sum* next = t + 4;
    const auto runThrough = [&](const auto& append) {
        for (int k = 0; k < r; ++k)
            append(in);
        for (int x = 0; x < width; ++x)
            append(in + x * 4);
        for (int k = 0; k < r; ++k)
            append(in + (width - 1) * 4);
    };
#if defined(__SSE2__)
    if constexpr (std::is_same_v<Sum, std::uint16_t>) {
        const __m128i zero = _mm_setzero_si128();
        __m128i totals16 = zero;
        runThrough([&](const std::uint8_t* pixel) {
            std::int32_t word;
            std::memcpy(&word, pixel, 4);
            totals16 = _mm_add_epi16(totals16, _mm_unpacklo_epi8(_mm_cvtsi32_si128(word), zero));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(next), totals16);
            next += 4;
        });
    } else
#endif
    {
        runThrough([&](const std::uint8_t* pixel) {
            PixelBytes bytes;
            std::memcpy(&bytes, pixel, 4);
            running += __builtin_convertvector(bytes, Lanes);
            std::memcpy(next, &running, sizeof running);
            next += 4;
        });
    }
    const std::size_t span = (2 * static_cast<std::size_t>(r) + 1) * 4;
    const Sum* totalsAt = t;
    if constexpr (std::is_same_v<Sum, std::uint16_t>)
        storeMeans(out, static_cast<std::size_t>(width) * 4, mean, totalsAt + span, totalsAt);
    else
        storeMeans(out, static_cast<std::size_t>(width) * 4, mean, [totalsAt, span](std::size_t i) {
            return static_cast<Sum>(totalsAt[i + span] - totalsAt[i]);
        });
}

// Rows [from, to) of the vertical mean of the horizontal means, each finished row handed to emit(y, row).
// The horizontal means are made row by row as the window reaches them, into a ring of the 2 r + 2 rows the
// window can span, so that the rows stay in cache between the passes.
template <class Sum, class Mean, class Emit>
void blurBand(const RgbaImage& source, int r, const Mean& mean, int from, int to, const Emit& emit) {
    const int height = source.height;
    const std::size_t stride = static_cast<std::size_t>(source.width) * 4;
    const int ringRows = static_cast<int>(std::min<long long>(2ll * r + 2, height));
    const auto ring =
        std::make_unique_for_overwrite<std::uint8_t[]>(static_cast<std::size_t>(ringRows) * stride);
    std::vector<int> held(static_cast<std::size_t>(ringRows), -1);
    std::vector<Sum> totals;
    // The horizontal means of row y (clamped into the picture), made on first use.
    const auto rowAt = [&](int y) {
        y = std::clamp(y, 0, height - 1);
        const auto slot = static_cast<std::size_t>(y % ringRows);
        std::uint8_t* row = ring.get() + slot * stride;
        if (held[slot] != y) {
            horizontalRow<Sum>(source.bytes.data() + static_cast<std::size_t>(y) * stride, row, source.width,
                               r, mean, totals);
            held[slot] = y;
        }
        return static_cast<const std::uint8_t*>(row);
    };
    std::vector<Sum> sum(stride, 0);
    std::vector<std::uint8_t> out(stride);
    Sum* __restrict s = sum.data();
    for (int k = -r; k <= r; ++k) {
        const std::uint8_t* __restrict in = rowAt(from + k);
        for (std::size_t i = 0; i < stride; ++i)
            s[i] = static_cast<Sum>(s[i] + in[i]);
    }
    for (int y = from; y < to; ++y) {
        const Sum* sums = s;
        if constexpr (std::is_same_v<Sum, std::uint16_t>)
            storeMeans(out.data(), stride, mean, sums, nullptr);
        else
            storeMeans(out.data(), stride, mean, [sums](std::size_t i) { return sums[i]; });
        // The row leaving the window first: the one entering may take its place in the ring.
        const std::uint8_t* __restrict drop = rowAt(y - r);
        for (std::size_t i = 0; i < stride; ++i)
            s[i] = static_cast<Sum>(s[i] - drop[i]);
        const std::uint8_t* __restrict add = rowAt(y + 1 + r);
        for (std::size_t i = 0; i < stride; ++i)
            s[i] = static_cast<Sum>(s[i] + add[i]);
        emit(y, out.data());
    }
}

template <class Sum, class Mean, class Emit>
void blurWith(const RgbaImage& source, int radius, const Mean& mean, unsigned threads, const Emit& emit) {
    const unsigned bands = threadCountFor(source.pixelCount(), source.height, threads);
    forEachBand(source.height, bands,
                [&](unsigned, int from, int to) { blurBand<Sum>(source, radius, mean, from, to, emit); });
}

template <class Emit>
void blurInto(const RgbaImage& source, int radius, unsigned threads, const Emit& emit) {
    const ShortMean shortMean(2 * radius + 1);
    if (shortMean.exact)
        blurWith<std::uint16_t>(source, radius, shortMean, threads, emit);
    else
        blurWith<std::uint32_t>(source, radius, LongMean(2 * radius + 1), threads, emit);
}

// One row of the mask from the source and its blur: S (1 - m) + (255 - B) m with m = B.alpha / 510, rounded
// (halves up), and the source's alpha.
void blendRow(const std::uint8_t* __restrict source, const std::uint8_t* __restrict blurred,
              std::uint8_t* __restrict mask, std::size_t stride) {
    const std::size_t pixels = stride / 4;
    std::uint32_t alphas = 0xFF000000u;
    for (std::size_t i = 0; i < pixels; ++i) {
        std::uint32_t b;
        std::memcpy(&b, blurred + 4 * i, 4);
        alphas &= b;
    }
    if ((alphas & 0xFF000000u) == 0xFF000000u) {
        // Weight 255 of 510: (255 s + 255 (255 - b) + 255) / 510 is (s + (255 - b) + 1) / 2, the rounded-up
        // average of s and the complement of b; the alpha byte is the source's.
        std::size_t i = 0;
#if defined(__SSE2__)
        const __m128i ones = _mm_set1_epi32(-1);
        const __m128i alphaBytes = _mm_set1_epi32(static_cast<int>(0xFF000000u));
        for (; i + 16 <= stride; i += 16) {
            const __m128i sv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + i));
            const __m128i bv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(blurred + i));
            const __m128i average = _mm_avg_epu8(sv, _mm_xor_si128(bv, ones));
            const __m128i m =
                _mm_or_si128(_mm_andnot_si128(alphaBytes, average), _mm_and_si128(alphaBytes, sv));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(mask + i), m);
        }
#endif
        for (; i < stride; i += 4) {
            std::uint32_t sw, bw;
            std::memcpy(&sw, source + i, 4);
            std::memcpy(&bw, blurred + i, 4);
            const std::uint32_t inverted = ~bw;
            const std::uint32_t average = (sw | inverted) - (((sw ^ inverted) >> 1) & 0x7F7F7F7Fu);
            const std::uint32_t m = (average & 0x00FFFFFFu) | (sw & 0xFF000000u);
            std::memcpy(mask + i, &m, 4);
        }
        return;
    }
    for (std::size_t i = 0; i < stride; i += 4) {
        const std::uint32_t weight = blurred[i + 3];
        const std::uint32_t keep = 510 - weight;
        for (std::size_t c = 0; c < 3; ++c) {
            const std::uint32_t inverted = 255u - blurred[i + c];
            mask[i + c] = static_cast<std::uint8_t>((source[i + c] * keep + inverted * weight + 255) / 510);
        }
        mask[i + 3] = source[i + 3];
    }
}

}  // namespace

int normalizedBlurRadius(double radiusInPixels) {
    if (!std::isfinite(radiusInPixels) || radiusInPixels <= 0) return 0;
    // Far beyond any picture; keeps the sums within 32 bits.
    radiusInPixels = std::min(radiusInPixels, 1.0e6);
    const double half = std::round(radiusInPixels / 2.0);
    return static_cast<int>(std::round(half + half));
}

RgbaImage boxBlur(const RgbaImage& source, int radius, unsigned threads) {
    if (source.isEmpty()) return {};
    radius = std::max(radius, 0);
    RgbaImage out(source.width, source.height);
    const std::size_t stride = static_cast<std::size_t>(source.width) * 4;
    blurInto(source, radius, threads, [&](int y, const std::uint8_t* row) {
        std::copy(row, row + stride, out.bytes.data() + static_cast<std::size_t>(y) * stride);
    });
    return out;
}

RgbaImage FLHighPassFilter::imageByFilteringImage(const RgbaImage& source, unsigned threads) const {
    if (source.isEmpty()) return {};
    RgbaImage out(source.width, source.height);
    const std::size_t stride = static_cast<std::size_t>(source.width) * 4;
    blurInto(source, normalizedBlurRadius(blurRadiusInPixels_), threads,
             [&](int y, const std::uint8_t* blurred) {
                 blendRow(source.bytes.data() + static_cast<std::size_t>(y) * stride, blurred,
                          out.bytes.data() + static_cast<std::size_t>(y) * stride, stride);
             });
    return out;
}

}  // namespace velumen
