#include "ink/KPointSet.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ink/PointKernels.h"
#include "ink/RunJoining.h"

namespace velumen {

namespace {
namespace stride8 {

// The per-point loops of the legacy runs: packed x, y floats, stride 8. The arithmetic is that of
// PointKernels.cpp; only the stride and the mark (over x and y) differ.
constexpr float kMark = KPointSet::kRemovalMark;
constexpr std::uint64_t kFloats = KPointSet::kFloatsPerPoint;

inline bool inRect(float px, float py, const kernels::RectF& r) {
    return (px >= r.left) & (px <= r.right) & (py >= r.top) & (py <= r.bottom);
}

inline void mark(float* p) {
    p[0] = kMark;
    p[1] = kMark;
}

std::uint64_t markInRect(float* p, std::uint64_t count, const kernels::RectF& rect) {
    std::uint64_t marked = 0;
    for (std::uint64_t i = 0; i < count; ++i, p += kFloats) {
        if (inRect(p[0], p[1], rect)) {
            mark(p);
            ++marked;
        }
    }
    return marked;
}

std::uint64_t markCentresInCircle(float* p, std::uint64_t count, const kernels::CircleF& c) {
    const float r2 = c.radius * c.radius;
    std::uint64_t marked = 0;
    for (std::uint64_t i = 0; i < count; ++i, p += kFloats) {
        const float dx = p[0] - c.cx;
        const float dy = p[1] - c.cy;
        if (inRect(p[0], p[1], c.rect) && std::fma(dx, dx, dy * dy) <= r2) {
            mark(p);
            ++marked;
        }
    }
    return marked;
}

std::uint64_t countUnmarked(const float* p, std::uint64_t count) {
    std::uint64_t n = 0;
    for (std::uint64_t i = 0; i < count; ++i)
        n += p[kFloats * i] != kMark ? 1u : 0u;
    return n;
}

// Copies the points whose x is not the mark, in order, until `capacity` points are written; returns how
// many were.
std::uint64_t copyUnmarked(const float* p, std::uint64_t count, float* out, std::uint64_t capacity) {
    std::uint64_t written = 0;
    std::uint64_t i = 0;
    while (i < count && written < capacity) {
        if (p[kFloats * i] == kMark) {
            ++i;
            continue;
        }
        // Copy the whole stretch of unmarked points at once.
        std::uint64_t end = i + 1;
        while (end < count && end - i < capacity - written && p[kFloats * end] != kMark)
            ++end;
        std::memcpy(out + kFloats * written, p + kFloats * i, (end - i) * KPointSet::kStride);
        written += end - i;
        i = end;
    }
    return written;
}

}  // namespace stride8
}  // namespace

// ---- KPointSet ----

KPointSetPtr KPointSet::initWithLength(std::uint64_t count) {
    return initWithData(PointBuffer::zeroed(count * kStride));
}

KPointSetPtr KPointSet::initWithData(PointBuffer data) {
    auto run = std::make_shared<KPointSet>(Private{});
    run->setData(std::move(data));
    return run;
}

void KPointSet::setData(PointBuffer data) {
    data_ = std::move(data);
    length_ = data_.byteSize() / kStride;
}

void KPointSet::addPointsFromSet(const KPointSet& other) {
    const std::size_t mine = length_ * kStride;
    const std::size_t theirs = other.length_ * kStride;
    PointBuffer joined = PointBuffer::uninitialized(mine + theirs);
    if (mine) std::memcpy(joined.bytes(), data_.bytes(), mine);
    if (theirs) std::memcpy(joined.bytes() + mine, other.data_.bytes(), theirs);
    setData(std::move(joined));
}

std::uint64_t KPointSet::markPointsInRect(const Rect& rect) {
    return stride8::markInRect(data_.floats(), length_, kernels::narrowRect(rect));
}

std::uint64_t KPointSet::markPointsInCircle(const Rect& circle) {
    return stride8::markCentresInCircle(data_.floats(), length_, kernels::prepareCircle(circle));
}

bool KPointSet::removePointsInRect(const Rect& rect) {
    const std::uint64_t marked = markPointsInRect(rect);
    if (marked == 0) return false;
    removeNegativeMaxFloatPointsWithRemainingPoints(length_ - marked);
    return true;
}

bool KPointSet::removePointsInCircle(const Rect& circle) {
    const std::uint64_t marked = markPointsInCircle(circle);
    if (marked == 0) return false;
    removeNegativeMaxFloatPointsWithRemainingPoints(length_ - marked);
    return true;
}

std::uint64_t KPointSet::removeNegativeMaxFloatPoints() {
    return removeNegativeMaxFloatPointsWithRemainingPoints(stride8::countUnmarked(data_.floats(), length_));
}

std::uint64_t KPointSet::removeNegativeMaxFloatPointsWithRemainingPoints(std::uint64_t remaining) {
    // The caller's count is trusted for the result and the new length; the copy never leaves either buffer.
    const std::uint64_t removed = length_ - remaining;
    if (removed == 0) return 0;
    // More survivors than points is a caller's error; it must not become an allocation of that size.
    const std::uint64_t keep = remaining < length_ ? remaining : length_;
    PointBuffer kept = PointBuffer::zeroed(keep * kStride);
    stride8::copyUnmarked(data_.floats(), length_, kept.floats(), keep);
    setData(std::move(kept));
    return removed;
}

Rect KPointSet::boundingRect() const { return boundingRectOfPoints(data_.floats(), length_, kFloatsPerPoint); }

// ---- KPointSetArray ----

KPointSetPtr KPointSetArray::addPointSetWithSize(std::uint64_t count) {
    auto run = KPointSet::initWithLength(count);
    pointSets_.push_back(run);
    return run;
}

void KPointSetArray::insertObject(KPointSetPtr run, std::size_t index) {
    pointSets_.insert(pointSets_.begin() + static_cast<std::ptrdiff_t>(index), std::move(run));
}

void KPointSetArray::addObject(KPointSetPtr run) {
    pointSets_.push_back(std::move(run));
}

void KPointSetArray::removeObject(const KPointSetPtr& run) {
    const KPointSet* target = run.get();
    std::erase_if(pointSets_, [target](const KPointSetPtr& p) { return p.get() == target; });
}

void KPointSetArray::addObjectsFromArray(const KPointSetArray& other) {
    // Copy first: the other list may be this one.
    const std::vector<KPointSetPtr> runs = other.pointSets_;
    pointSets_.insert(pointSets_.end(), runs.begin(), runs.end());
}

KPointSetPtr KPointSetArray::mergedPointSet() const {
    if (pointSets_.empty()) return nullptr;
    auto result = KPointSet::initWithData(concatenatedPoints(pointSets_, KPointSet::kStride));
    result->setColor(pointSets_.front()->color());
    result->setPointSize(pointSets_.front()->pointSize());
    return result;
}

void KPointSetArray::consolidatePointSets() {
    consolidateRuns(pointSets_, KPointSet::kStride, [](const KPointSet& base, const KPointSet& run) {
        return run.color().isEqualToColor(base.color()) && run.pointSize() == base.pointSize();
    });
}

void KPointSetArray::applyDelta(Point delta) {
    const float dx = static_cast<float>(delta.x);
    const float dy = static_cast<float>(delta.y);
    for (const auto& run : pointSets_) {
        float* p = run->buffer();
        for (std::uint64_t i = 0; i < run->length(); ++i, p += KPointSet::kFloatsPerPoint) {
            p[0] += dx;
            p[1] += dy;
        }
    }
}

Rect KPointSetArray::boundingRect() const {
    Rect bounds = Rect::null();
    for (const auto& run : pointSets_)
        bounds = Rect::unite(bounds, run->boundingRect());
    return bounds;
}

std::uint64_t KPointSetArray::markPointsInRect(const Rect& rect) {
    std::uint64_t marked = 0;
    for (const auto& run : pointSets_)
        marked += run->markPointsInRect(rect);
    return marked;
}

std::uint64_t KPointSetArray::markPointsInCircle(const Rect& circle) {
    std::uint64_t marked = 0;
    for (const auto& run : pointSets_)
        marked += run->markPointsInCircle(circle);
    return marked;
}

void KPointSetArray::removeEmptyPointSets() {
    std::erase_if(pointSets_, [](const KPointSetPtr& run) { return run->length() == 0; });
}

std::uint64_t KPointSetArray::removeNegativeMaxFloatPoints() {
    std::uint64_t removed = 0;
    for (const auto& run : pointSets_)
        removed += run->removeNegativeMaxFloatPoints();
    if (removed) removeEmptyPointSets();
    return removed;
}

bool KPointSetArray::removePointsInRect(const Rect& rect) {
    bool removed = false;
    for (const auto& run : pointSets_)
        removed |= run->removePointsInRect(rect);
    if (removed) removeEmptyPointSets();
    return removed;
}

bool KPointSetArray::removePointsInCircle(const Rect& circle) {
    bool removed = false;
    for (const auto& run : pointSets_)
        removed |= run->removePointsInCircle(circle);
    if (removed) removeEmptyPointSets();
    return removed;
}

}  // namespace velumen
