#include "ink/KVSPointSet.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>

#include "ink/PointKernels.h"

namespace velumen {

KColor KVSPointSet::defaultColor() {
    return {1.0, static_cast<double>(0.1f), static_cast<double>(0.1f), 1.0};
}

KVSPointSetPtr KVSPointSet::initWithLength(std::uint64_t count) {
    return initWithData(PointBuffer::zeroed(count * kStride));
}

KVSPointSetPtr KVSPointSet::initWithData(PointBuffer data) {
    auto run = std::make_shared<KVSPointSet>(Private{});
    run->setData(std::move(data));
    return run;
}

KVSPointSetPtr KVSPointSet::initWithPointSet(const KVSPointSet& other) {
    auto run = std::make_shared<KVSPointSet>(Private{});
    run->color_ = other.color_;
    run->data_ = PointBuffer::copyOf(other.data_.bytes(), other.length_ * kStride);
    run->length_ = other.length_;
    run->bounds_ = other.bounds_;
    run->blockBounds_ = other.blockBounds_;
    run->boundsValid_ = other.boundsValid_;
    run->version_ = other.version_;  // the same points
    return run;
}

std::uint64_t KVSPointSet::nextVersion() {
    static std::atomic<std::uint64_t> counter{0};
    return counter.fetch_add(1, std::memory_order_relaxed) + 1;
}

void KVSPointSet::pointsChanged() {
    version_ = nextVersion();
    boundsValid_ = false;
}

const KVSPointSetPtr& KVSPointSet::null() {
    static const KVSPointSetPtr instance = std::make_shared<KVSPointSet>(Private{});
    return instance;
}

bool KVSPointSet::isNull() const {
    return this == null().get();
}

float* KVSPointSet::buffer() {
    pointsChanged();
    return data_.floats();
}

void KVSPointSet::setData(PointBuffer data) {
    data_ = std::move(data);
    length_ = data_.byteSize() / kStride;
    pointsChanged();
}

void KVSPointSet::addPointsFromSet(const KVSPointSet& other) {
    const std::size_t mine = length_ * kStride;
    const std::size_t theirs = other.length_ * kStride;
    PointBuffer joined = PointBuffer::uninitialized(mine + theirs);
    if (mine) std::memcpy(joined.bytes(), data_.bytes(), mine);
    if (theirs) std::memcpy(joined.bytes() + mine, other.data_.bytes(), theirs);
    setData(std::move(joined));
}

std::uint64_t KVSPointSet::markPointsInRect(const Rect& rect) {
    const std::uint64_t marked = kernels::markInRect(data_.floats(), length_, kernels::narrowRect(rect));
    if (marked) pointsChanged();
    return marked;
}

std::uint64_t KVSPointSet::markPointsWithCentersInCircle(const Rect& circle) {
    const std::uint64_t marked =
        kernels::markCentresInCircle(data_.floats(), length_, kernels::prepareCircle(circle));
    if (marked) pointsChanged();
    return marked;
}

std::uint64_t KVSPointSet::markPointsTouchingCircle(const Rect& circle) {
    const kernels::CircleF c = kernels::prepareCircle(circle);
    const auto& blocks = blockBounds();
    float* p = data_.floats();
    std::uint64_t marked = 0;
    for (std::size_t b = 0; b < blocks.size(); ++b) {
        CentreBounds& bb = blockBounds_[b];
        if (!kernels::mayTouch(c, bb.minX, bb.minY, bb.maxX, bb.maxY)) continue;
        const std::uint64_t start = b * kBoundsBlock;
        const std::uint64_t n = std::min(kBoundsBlock, length_ - start);
        const std::uint64_t m = kernels::markTouching(p + 3 * start, n, c);
        // Keep the cached extents a superset of what is stored: the marks moved centres to the far left.
        if (m) {
            bb.minX = kRemovalMark;
            bounds_.minX = kRemovalMark;
            marked += m;
        }
    }
    if (marked) version_ = nextVersion();
    return marked;
}

bool KVSPointSet::isTouchingCircle(const Rect& circle) const {
    const kernels::CircleF c = kernels::prepareCircle(circle);
    const auto& blocks = blockBounds();
    const float* p = data_.floats();
    for (std::size_t b = 0; b < blocks.size(); ++b) {
        const CentreBounds& bb = blocks[b];
        if (!kernels::mayTouch(c, bb.minX, bb.minY, bb.maxX, bb.maxY)) continue;
        const std::uint64_t start = b * kBoundsBlock;
        if (kernels::anyTouching(p + 3 * start, std::min(kBoundsBlock, length_ - start), c)) return true;
    }
    return false;
}

bool KVSPointSet::removePointsInRect(const Rect& rect) {
    const std::uint64_t marked = markPointsInRect(rect);
    if (marked == 0) return false;
    removeNegativeMaxFloatPointsWithRemainingPoints(length_ - marked);
    return true;
}

bool KVSPointSet::removePointsTouchingCircle(const Rect& circle) {
    const std::uint64_t marked = markPointsTouchingCircle(circle);
    if (marked == 0) return false;
    removeNegativeMaxFloatPointsWithRemainingPoints(length_ - marked);
    return true;
}

std::uint64_t KVSPointSet::removeNegativeMaxFloatPoints() {
    return removeNegativeMaxFloatPointsWithRemainingPoints(kernels::countUnmarked(data_.floats(), length_));
}

std::uint64_t KVSPointSet::removeNegativeMaxFloatPointsWithRemainingPoints(std::uint64_t remaining) {
    // The caller's count is trusted for the result and the new length; the copy never leaves either buffer.
    const std::uint64_t removed = length_ - remaining;
    if (removed == 0) return 0;
    // More survivors than points is a caller's error; it must not become an allocation of that size.
    const std::uint64_t keep = remaining < length_ ? remaining : length_;
    PointBuffer kept = PointBuffer::zeroed(keep * kStride);
    kernels::copyUnmarked(data_.floats(), length_, kept.floats(), keep);
    setData(std::move(kept));
    return removed;
}

Rect KVSPointSet::boundingRect() const { return boundingRectOfPoints(data_.floats(), length_, kFloatsPerPoint); }

void KVSPointSet::computeBounds() const {
    constexpr float inf = std::numeric_limits<float>::infinity();
    bounds_ = {inf, inf, -inf, -inf, 0};
    blockBounds_.resize((length_ + kBoundsBlock - 1) / kBoundsBlock);
    const float* p = data_.floats();
    for (std::size_t b = 0; b < blockBounds_.size(); ++b) {
        const std::uint64_t start = b * kBoundsBlock;
        CentreBounds& bb = blockBounds_[b];
        kernels::centreBounds(p + 3 * start, std::min(kBoundsBlock, length_ - start), bb.minX, bb.minY,
                              bb.maxX, bb.maxY, bb.maxSize);
        bounds_.minX = std::min(bounds_.minX, bb.minX);
        bounds_.minY = std::min(bounds_.minY, bb.minY);
        bounds_.maxX = std::max(bounds_.maxX, bb.maxX);
        bounds_.maxY = std::max(bounds_.maxY, bb.maxY);
        bounds_.maxSize = std::max(bounds_.maxSize, bb.maxSize);
    }
    boundsValid_ = true;
}

const std::vector<KVSPointSet::CentreBounds>& KVSPointSet::blockBounds() const {
    if (!boundsValid_) computeBounds();
    return blockBounds_;
}

}  // namespace velumen
