// The high-pass mask: a horizontal box pass into an 8-bit buffer, then a vertical pass by running column
// sums that emits each finished row straight into the invert-and-blend step, in bands of rows on a few
// threads. Every division is a table look-up, exact to the rounding.
#include "imagetoink/FLHighPassFilter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <thread>
#include <vector>

namespace velumen {

namespace {

// Pictures below this many pixels are filtered on the calling thread alone.
constexpr std::size_t kPixelsPerThread = 1 << 18;
constexpr unsigned kMaxThreads = 8;

unsigned threadCountFor(std::size_t pixels, int height, unsigned asked) {
    unsigned n = asked;
    if (n == 0) {
        n = std::max(1u, std::thread::hardware_concurrency());
        n = std::min<unsigned>(n, static_cast<unsigned>(pixels / kPixelsPerThread) + 1);
    }
    n = std::min({n, kMaxThreads, static_cast<unsigned>(std::max(height, 1))});
    return std::max(1u, n);
}

// Runs fn(firstRow, endRow) over `threads` bands of [0, height); the calling thread takes the first band.
template <class Fn>
void forEachBand(int height, unsigned threads, const Fn& fn) {
    if (threads <= 1) {
        fn(0, height);
        return;
    }
    std::vector<std::thread> workers;
    workers.reserve(threads - 1);
    const auto bandStart = [&](unsigned k) {
        return static_cast<int>(static_cast<long long>(height) * k / threads);
    };
    for (unsigned k = 1; k < threads; ++k)
        workers.emplace_back([&fn, from = bandStart(k), to = bandStart(k + 1)] { fn(from, to); });
    fn(0, bandStart(1));
    for (std::thread& t : workers)
        t.join();
}

// round(sum / n) for every sum of n bytes; n is odd, so no sum lies halfway.
std::vector<std::uint8_t> meanTable(int n) {
    std::vector<std::uint8_t> table(static_cast<std::size_t>(255 * n + 1));
    for (std::size_t sum = 0; sum < table.size(); ++sum)
        table[sum] = static_cast<std::uint8_t>((sum * 2 + static_cast<std::size_t>(n)) / (2 * static_cast<std::size_t>(n)));
    return table;
}

// One row through the horizontal mean: `out` gets the rounded mean of the 2 r + 1 clamped samples.
void horizontalRow(const std::uint8_t* in, std::uint8_t* out, int width, int r, const std::uint8_t* table) {
    const int last = width - 1;
    std::uint32_t sum[4];
    for (int c = 0; c < 4; ++c) {
        std::uint32_t s = static_cast<std::uint32_t>(r + 1) * in[c];
        for (int k = 1; k <= r; ++k)
            s += in[std::min(k, last) * 4 + c];
        sum[c] = s;
    }
    for (int x = 0; x < width; ++x) {
        const std::uint8_t* add = in + std::min(x + 1 + r, last) * 4;
        const std::uint8_t* drop = in + std::max(x - r, 0) * 4;
        for (int c = 0; c < 4; ++c) {
            out[x * 4 + c] = table[sum[c]];
            sum[c] = sum[c] + add[c] - drop[c];
        }
    }
}

// Rows [from, to) of the vertical mean of `rows`, each finished row handed to emit(y, row).
template <class Emit>
void verticalBand(const std::uint8_t* rows, int width, int height, int r, const std::uint8_t* table, int from,
                  int to, const Emit& emit) {
    const std::size_t stride = static_cast<std::size_t>(width) * 4;
    std::vector<std::uint32_t> sum(stride, 0);
    std::vector<std::uint8_t> row(stride);
    const auto rowAt = [&](int y) { return rows + static_cast<std::size_t>(std::clamp(y, 0, height - 1)) * stride; };
    for (int k = -r; k <= r; ++k) {
        const std::uint8_t* in = rowAt(from + k);
        for (std::size_t i = 0; i < stride; ++i)
            sum[i] += in[i];
    }
    for (int y = from; y < to; ++y) {
        const std::uint8_t* add = rowAt(y + 1 + r);
        const std::uint8_t* drop = rowAt(y - r);
        for (std::size_t i = 0; i < stride; ++i) {
            row[i] = table[sum[i]];
            sum[i] = sum[i] + add[i] - drop[i];
        }
        emit(y, row.data());
    }
}

template <class Emit>
void blurInto(const RgbaImage& source, int radius, unsigned threads, const Emit& emit) {
    const int n = 2 * radius + 1;
    const std::vector<std::uint8_t> table = meanTable(n);
    const std::size_t stride = static_cast<std::size_t>(source.width) * 4;
    std::vector<std::uint8_t> horizontal(source.bytes.size());
    const unsigned bands = threadCountFor(source.pixelCount(), source.height, threads);
    forEachBand(source.height, bands, [&](int from, int to) {
        for (int y = from; y < to; ++y)
            horizontalRow(source.bytes.data() + y * stride, horizontal.data() + y * stride, source.width, radius,
                          table.data());
    });
    forEachBand(source.height, bands, [&](int from, int to) {
        verticalBand(horizontal.data(), source.width, source.height, radius, table.data(), from, to, emit);
    });
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
    blurInto(source, normalizedBlurRadius(blurRadiusInPixels_), threads, [&](int y, const std::uint8_t* blurred) {
        const std::uint8_t* s = source.bytes.data() + static_cast<std::size_t>(y) * stride;
        std::uint8_t* m = out.bytes.data() + static_cast<std::size_t>(y) * stride;
        for (std::size_t i = 0; i < stride; i += 4) {
            const std::uint32_t weight = blurred[i + 3];  // the inverted blur's alpha, out of 510
            const std::uint32_t keep = 510 - weight;
            for (std::size_t c = 0; c < 3; ++c) {
                const std::uint32_t inverted = 255u - blurred[i + c];
                m[i + c] = static_cast<std::uint8_t>((s[i + c] * keep + inverted * weight + 255) / 510);
            }
            m[i + 3] = s[i + 3];
        }
    });
    return out;
}

}  // namespace velumen
