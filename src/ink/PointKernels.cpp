#include "ink/PointKernels.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "ink/KVSPointSet.h"

// The touching test uses a fused multiply-add. Where the baseline instruction set lacks one, keep a
// clone of the hot loops for processors that have it; both clones give identical results.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__)
#define VELUMEN_FMA_CLONES __attribute__((target_clones("fma", "default")))
#else
#define VELUMEN_FMA_CLONES
#endif

namespace velumen::kernels {

namespace {

constexpr float kMark = KVSPointSet::kRemovalMark;

inline bool inRect(float px, float py, const RectF& r) {
    return (px >= r.left) & (px <= r.right) & (py >= r.top) & (py <= r.bottom);
}

// The window of the touching test and the prepared circle, as plain floats.
struct TouchTest {
    float wl, wr, wt, wb;  // the rectangle grown by the window
    float radius, cx, cy;

    explicit TouchTest(const CircleF& c)
        : wl(c.rect.left - kTouchWindow),
          wr(c.rect.right + kTouchWindow),
          wt(c.rect.top - kTouchWindow),
          wb(c.rect.bottom + kTouchWindow),
          radius(c.radius),
          cx(c.cx),
          cy(c.cy) {}
};

// The touching test of one point, written out where it is used: a call would not be inlined into the
// target clones, and the fused multiply-add would then be a library call.
#define VELUMEN_TOUCHES(t, px, py, size)                                           \
    (((px) >= (t).wl) & ((px) <= (t).wr) & ((py) >= (t).wt) & ((py) <= (t).wb) &   \
     (std::fma((px) - (t).cx, (px) - (t).cx, ((py) - (t).cy) * ((py) - (t).cy)) <= \
      ((t).radius + (size)*0.5f) * ((t).radius + (size)*0.5f)))

}  // namespace

RectF narrowRect(const Rect& rect) {
    return {static_cast<float>(rect.x), static_cast<float>(rect.x + rect.width), static_cast<float>(rect.y),
            static_cast<float>(rect.y + rect.height)};
}

CircleF prepareCircle(const Rect& circle) {
    CircleF c;
    c.rect = narrowRect(circle);
    const double shorter = circle.width < circle.height ? circle.width : circle.height;
    c.radius = static_cast<float>(shorter * 0.5);
    c.cx = (c.rect.left + c.rect.right) * 0.5f;
    c.cy = (c.rect.top + c.rect.bottom) * 0.5f;
    return c;
}

std::uint64_t markInRect(float* p, std::uint64_t count, const RectF& rect) {
    std::uint64_t marked = 0;
    for (std::uint64_t i = 0; i < count; ++i, p += 3) {
        if (inRect(p[0], p[1], rect)) {
            p[0] = kMark;
            ++marked;
        }
    }
    return marked;
}

std::uint64_t markCentresInCircle(float* p, std::uint64_t count, const CircleF& c) {
    const float r2 = c.radius * c.radius;
    std::uint64_t marked = 0;
    for (std::uint64_t i = 0; i < count; ++i, p += 3) {
        const float dx = p[0] - c.cx;
        const float dy = p[1] - c.cy;
        if (inRect(p[0], p[1], c.rect) && std::fma(dx, dx, dy * dy) <= r2) {
            p[0] = kMark;
            ++marked;
        }
    }
    return marked;
}

VELUMEN_FMA_CLONES
std::uint64_t countTouching(const float* p, std::uint64_t count, const CircleF& c) {
    const TouchTest t(c);
    std::uint64_t n = 0;
    // Narrow counters keep the vector lanes as wide as the floats.
    constexpr std::uint64_t kChunk = 1u << 30;
    for (std::uint64_t start = 0; start < count; start += kChunk) {
        const std::uint64_t end = count - start < kChunk ? count : start + kChunk;
        std::uint32_t chunk = 0;
        for (std::uint64_t i = start; i < end; ++i) {
            const float px = p[3 * i], py = p[3 * i + 1], size = p[3 * i + 2];
            chunk += VELUMEN_TOUCHES(t, px, py, size) ? 1u : 0u;
        }
        n += chunk;
    }
    return n;
}

VELUMEN_FMA_CLONES
std::uint64_t markTouching(float* p, std::uint64_t count, const CircleF& c) {
    // Most calls find nothing: count without writing first, so that untouched memory stays clean.
    if (countTouching(p, count, c) == 0) return 0;
    const TouchTest t(c);
    std::uint64_t marked = 0;
    for (std::uint64_t i = 0; i < count; ++i, p += 3) {
        const float px = p[0], py = p[1], size = p[2];
        if (VELUMEN_TOUCHES(t, px, py, size)) {
            p[0] = kMark;
            ++marked;
        }
    }
    return marked;
}

VELUMEN_FMA_CLONES
bool anyTouching(const float* p, std::uint64_t count, const CircleF& c) {
    const TouchTest t(c);
    constexpr std::uint64_t kBlock = 256;
    for (std::uint64_t start = 0; start < count; start += kBlock) {
        const std::uint64_t end = count - start < kBlock ? count : start + kBlock;
        std::uint64_t n = 0;
        for (std::uint64_t i = start; i < end; ++i) {
            const float px = p[3 * i], py = p[3 * i + 1], size = p[3 * i + 2];
            n += VELUMEN_TOUCHES(t, px, py, size) ? 1u : 0u;
        }
        if (n) return true;
    }
    return false;
}

std::uint64_t countUnmarked(const float* p, std::uint64_t count) {
    std::uint64_t n = 0;
    for (std::uint64_t i = 0; i < count; ++i)
        n += p[3 * i] != kMark ? 1u : 0u;
    return n;
}

std::uint64_t copyUnmarked(const float* p, std::uint64_t count, float* out, std::uint64_t capacity) {
    std::uint64_t written = 0;
    std::uint64_t i = 0;
    while (i < count && written < capacity) {
        if (p[3 * i] == kMark) {
            ++i;
            continue;
        }
        // Copy the whole stretch of unmarked points at once.
        std::uint64_t end = i + 1;
        while (end < count && end - i < capacity - written && p[3 * end] != kMark)
            ++end;
        std::memcpy(out + 3 * written, p + 3 * i, (end - i) * KVSPointSet::kStride);
        written += end - i;
        i = end;
    }
    return written;
}

VELUMEN_FMA_CLONES
void centreBounds(const float* p, std::uint64_t count, float& minX, float& minY, float& maxX, float& maxY,
                  float& maxSize) {
    constexpr float inf = std::numeric_limits<float>::infinity();
    float lx = inf, ly = inf, hx = -inf, hy = -inf, hs = 0;
    std::uint32_t nan = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const float x = p[3 * i];
        const float y = p[3 * i + 1];
        const float s = p[3 * i + 2];
        lx = x < lx ? x : lx;
        hx = x > hx ? x : hx;
        ly = y < ly ? y : ly;
        hy = y > hy ? y : hy;
        hs = s > hs ? s : hs;
        nan |= s != s ? 1u : 0u;
    }
    minX = lx;
    minY = ly;
    maxX = hx;
    maxY = hy;
    maxSize = nan ? inf : hs;
}

void addDelta(float* p, std::uint64_t count, float dx, float dy) {
    for (std::uint64_t i = 0; i < count; ++i) {
        p[3 * i] += dx;
        p[3 * i + 1] += dy;
    }
}

}  // namespace velumen::kernels
