// A run of ink: one colour and a flat buffer of points, each x, y and size as little-endian 32-bit
// floats (12 bytes, no header, no padding). A point with the removal mark in x is transient: it exists
// only between a mark operation and the compaction that follows it.
#pragma once

#include <bit>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "ink/KColor.h"
#include "ink/KGeometry.h"
#include "ink/PointBuffer.h"

namespace velumen {

static_assert(std::endian::native == std::endian::little, "point buffers are little-endian in memory");

class KVSPointSet;
using KVSPointSetPtr = std::shared_ptr<KVSPointSet>;

class KVSPointSet {
  public:
    static constexpr std::size_t kStride = 12;
    static constexpr std::size_t kFloatsPerPoint = 3;
    // Most negative finite float, bits 0xFF7FFFFF.
    static constexpr float kRemovalMark = -std::numeric_limits<float>::max();
    // Red: r 1.0, g and b the float 0.1 widened, a 1.0.
    static KColor defaultColor();

    // Use the factories; the constructor is public only for std::make_shared.
    struct Private {};
    explicit KVSPointSet(Private) {}

    // Zero-filled buffer of count points, default colour.
    static KVSPointSetPtr initWithLength(std::uint64_t count);
    // Takes the buffer; length = bytes / 12, a shorter tail is ignored. Default colour.
    static KVSPointSetPtr initWithData(PointBuffer data);
    // The other run's colour and a private copy of its points, with their version.
    static KVSPointSetPtr initWithPointSet(const KVSPointSet& other);
    // The one shared empty run that stands for an absent run.
    static const KVSPointSetPtr& null();

    bool isNull() const;
    std::uint64_t length() const { return length_; }
    const PointBuffer& data() const { return data_; }
    const KColor& color() const { return color_; }
    void setColor(const KColor& c) { color_ = c; }

    // Writable points, three floats each. Taking it counts as a change of the points (a new version, the
    // cached extent dropped), so take it anew for each change rather than holding it across a hit test,
    // a repaint or any other reader of the extent or the version.
    float* buffer();
    const float* constBuffer() const { return data_.floats(); }
    // Replaces the points; length follows the buffer.
    void setData(PointBuffer data);
    // Appends a copy of the other run's points. Colour unchanged.
    void addPointsFromSet(const KVSPointSet& other);

    // Hit tests. A "circle" argument is a rectangle: centre at its centre, radius half its shorter side.
    std::uint64_t markPointsInRect(const Rect& rect);
    std::uint64_t markPointsWithCentersInCircle(const Rect& circle);
    std::uint64_t markPointsTouchingCircle(const Rect& circle);
    bool isTouchingCircle(const Rect& circle) const;
    bool removePointsInRect(const Rect& rect);
    bool removePointsTouchingCircle(const Rect& circle);

    // Compaction of marked points; the second form trusts the caller's count of the survivors.
    std::uint64_t removeNegativeMaxFloatPoints();
    std::uint64_t removeNegativeMaxFloatPointsWithRemainingPoints(std::uint64_t remaining);

    // Extent of the point centres (sizes ignored); the null rectangle for an empty run.
    Rect boundingRect() const;

    // Conservative extent of every stored centre, marked ones included, as floats; empty (min > max)
    // when no centre is a number. maxSize is the largest stored size (at least 0, infinite when a size
    // is not a number), so that the extent grown by maxSize / 2 holds every dot. Cached until the
    // points change.
    struct CentreBounds {
        float minX, minY, maxX, maxY;
        float maxSize;
    };
    const CentreBounds& centreBounds() const {
        if (!boundsValid_) computeBounds();
        return bounds_;
    }
    // The same for each block of kBoundsBlock consecutive points, so that a hit test can pass over the
    // stretches of a long stroke that lie far from it.
    static constexpr std::uint64_t kBoundsBlock = 128;
    const std::vector<CentreBounds>& blockBounds() const;

    // Names the points: changes whenever they may have changed, by any member that writes them (buffer()
    // included), to a value never used before in the process. A copy made by initWithPointSet shares its
    // source's version until either changes; no other two runs ever share one. The colour is not part of
    // it. A renderer keys its copies of the points on it.
    std::uint64_t version() const { return version_; }

  private:
    // Every writer of the points calls this: a new version, and the cached extents dropped.
    void pointsChanged();
    static std::uint64_t nextVersion();

    PointBuffer data_;
    std::uint64_t length_ = 0;
    KColor color_ = defaultColor();
    void computeBounds() const;

    mutable CentreBounds bounds_{};
    mutable std::vector<CentreBounds> blockBounds_;
    mutable bool boundsValid_ = false;
    std::uint64_t version_ = nextVersion();
};

}  // namespace velumen
