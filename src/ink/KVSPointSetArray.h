// The ordered list of ink runs of a page, back to front.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ink/KVSPointSet.h"

namespace velumen {

class KVSPointSetArray;
using KVSPointSetArrayPtr = std::shared_ptr<KVSPointSetArray>;

class KVSPointSetArray {
  public:
    KVSPointSetArray() = default;
    // Deep copy: every run copied with KVSPointSet::initWithPointSet.
    static KVSPointSetArrayPtr initWithPointSetArray(const KVSPointSetArray& other);

    // The list itself, not a copy.
    std::vector<KVSPointSetPtr>& pointSets() { return pointSets_; }
    const std::vector<KVSPointSetPtr>& pointSets() const { return pointSets_; }
    std::size_t count() const { return pointSets_.size(); }
    const KVSPointSetPtr& objectAtIndex(std::size_t i) const { return pointSets_[i]; }

    // A zero-filled run of count points, appended and returned.
    KVSPointSetPtr addPointSetWithSize(std::uint64_t count);
    void insertObject(KVSPointSetPtr run, std::size_t index);
    void replaceObjectAtIndex(std::size_t index, KVSPointSetPtr run);
    void addObject(KVSPointSetPtr run);
    // Removes every occurrence of this very run.
    void removeObject(const KVSPointSetPtr& run);
    void removeAllObjects() { pointSets_.clear(); }
    // Appends the other list's runs by reference.
    void addObjectsFromArray(const KVSPointSetArray& other);

    // One new run with every point in order and the first run's colour; nullptr for an empty list.
    KVSPointSetPtr mergedPointSet() const;
    // Joins neighbouring runs of equal colour into the first of them.
    void consolidatePointSets();
    void applyDelta(Point delta);
    Rect boundingRect() const;

    std::uint64_t markPointsInRect(const Rect& rect);
    // Uses the touching test.
    std::uint64_t markPointsInCircle(const Rect& circle);
    void removeEmptyPointSets();
    std::uint64_t removeNegativeMaxFloatPoints();
    bool removePointsInRect(const Rect& rect);
    bool removePointsInCircle(const Rect& circle, bool removeEmptyPointSets);
    // Only runs whose r, g and b equal the colour's as 32-bit floats; alpha is not compared.
    bool removePointsInCircle(const Rect& circle, bool removeEmptyPointSets, const KColor& forColor);
    bool removePointsInCircle(const Rect& circle) { return removePointsInCircle(circle, true); }
    // The last run that the circle touches, or nullptr.
    KVSPointSetPtr topmostPointSetInCircle(const Rect& circle) const;

    // One circle element per point, CR LF line ends, no line end after the closing tag.
    std::string svgRepresentation() const;

  private:
    std::vector<KVSPointSetPtr> pointSets_;
};

}  // namespace velumen
