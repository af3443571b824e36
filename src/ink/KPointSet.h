// The legacy ink classes of books older than version 102: one point size per run instead of one per point.
// A point is x and y as little-endian 32-bit floats (8 bytes, no header, no padding). These objects live
// only inside the decoder, which converts them at once (document/LegacyUpgrade.h); nothing else sees them.
// The operations parallel KVSPointSet and KVSPointSetArray with these differences: stride 8, the mark is
// written over x and y (the compaction tests x only), the circle test looks at centres only with no
// window, and runs are joined or merged together with their pointSize.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "ink/KColor.h"
#include "ink/KGeometry.h"
#include "ink/KVSPointSet.h"
#include "ink/PointBuffer.h"

namespace velumen {

class KPointSet;
using KPointSetPtr = std::shared_ptr<KPointSet>;

class KPointSet {
  public:
    static constexpr std::size_t kStride = 8;
    static constexpr std::size_t kFloatsPerPoint = 2;
    static constexpr float kRemovalMark = KVSPointSet::kRemovalMark;
    static constexpr float kDefaultPointSize = 1.0f;

    // Use the factories; the constructor is public only for std::make_shared.
    struct Private {};
    explicit KPointSet(Private) {}

    // Zero-filled buffer of count points, default colour, pointSize 1.0.
    static KPointSetPtr initWithLength(std::uint64_t count);
    // Takes the buffer; length = bytes / 8, a shorter tail is kept and ignored. Default colour,
    // pointSize 1.0.
    static KPointSetPtr initWithData(PointBuffer data);

    std::uint64_t length() const { return length_; }
    const PointBuffer& data() const { return data_; }
    const KColor& color() const { return color_; }
    void setColor(const KColor& c) { color_ = c; }
    float pointSize() const { return pointSize_; }
    void setPointSize(float size) { pointSize_ = size; }

    // Writable points, two floats each.
    float* buffer() { return data_.floats(); }
    const float* constBuffer() const { return data_.floats(); }
    // Replaces the points; length follows the buffer (a missing buffer is a run of 0 points).
    void setData(PointBuffer data);
    // Appends a copy of the other run's points. Colour and pointSize unchanged.
    void addPointsFromSet(const KPointSet& other);

    // Hit tests; the mark goes into both x and y. A "circle" argument is a rectangle: centre at its
    // centre, radius half its shorter side. The circle test looks at centres only: in the rectangle and
    // within the radius, whatever pointSize is.
    std::uint64_t markPointsInRect(const Rect& rect);
    std::uint64_t markPointsInCircle(const Rect& circle);
    bool removePointsInRect(const Rect& rect);
    bool removePointsInCircle(const Rect& circle);

    // Compaction of points whose x is the mark; the second form trusts the caller's count of the
    // survivors for the result, but never reads or writes outside either buffer.
    std::uint64_t removeNegativeMaxFloatPoints();
    std::uint64_t removeNegativeMaxFloatPointsWithRemainingPoints(std::uint64_t remaining);

    // Extent of the point centres; the null rectangle for an empty run.
    Rect boundingRect() const;

  private:
    PointBuffer data_;
    std::uint64_t length_ = 0;
    float pointSize_ = kDefaultPointSize;
    KColor color_ = KVSPointSet::defaultColor();
};

class KPointSetArray;
using KPointSetArrayPtr = std::shared_ptr<KPointSetArray>;

class KPointSetArray {
  public:
    KPointSetArray() = default;

    // The list itself, not a copy.
    std::vector<KPointSetPtr>& pointSets() { return pointSets_; }
    const std::vector<KPointSetPtr>& pointSets() const { return pointSets_; }
    std::size_t count() const { return pointSets_.size(); }
    const KPointSetPtr& objectAtIndex(std::size_t i) const { return pointSets_[i]; }
    // Kept from the archive, used by nothing.
    std::int64_t currentPointIndex() const { return currentPointIndex_; }
    void setCurrentPointIndex(std::int64_t index) { currentPointIndex_ = index; }

    // A zero-filled run of count points, appended and returned.
    KPointSetPtr addPointSetWithSize(std::uint64_t count);
    void insertObject(KPointSetPtr run, std::size_t index);
    void addObject(KPointSetPtr run);
    // Removes every occurrence of this very run.
    void removeObject(const KPointSetPtr& run);
    void removeAllObjects() { pointSets_.clear(); }
    // Appends the other list's runs by reference.
    void addObjectsFromArray(const KPointSetArray& other);

    // One new run with every point in order and the first run's colour and pointSize; nullptr for an
    // empty list.
    KPointSetPtr mergedPointSet() const;
    // Joins neighbouring runs of equal colour and equal pointSize into the first of them.
    void consolidatePointSets();
    void applyDelta(Point delta);
    Rect boundingRect() const;

    std::uint64_t markPointsInRect(const Rect& rect);
    // Uses the centre test of KPointSet::markPointsInCircle.
    std::uint64_t markPointsInCircle(const Rect& circle);
    void removeEmptyPointSets();
    std::uint64_t removeNegativeMaxFloatPoints();
    bool removePointsInRect(const Rect& rect);
    // Removes empty runs when anything was removed.
    bool removePointsInCircle(const Rect& circle);

  private:
    std::vector<KPointSetPtr> pointSets_;
    std::int64_t currentPointIndex_ = 0;
};

}  // namespace velumen
