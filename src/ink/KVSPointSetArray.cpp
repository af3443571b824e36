#include "ink/KVSPointSetArray.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "ink/PointKernels.h"
#include "ink/RunJoining.h"

namespace velumen {

namespace {

bool mayTouch(const KVSPointSet& run, const kernels::CircleF& c) {
    const auto& b = run.centreBounds();
    return kernels::mayTouch(c, b.minX, b.minY, b.maxX, b.maxY);
}

// "%1.<precision>f" without the C locale.
void appendFixed(std::string& out, double value, int precision) {
    char buf[400];
    const auto result = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, precision);
    out.append(buf, result.ptr);
}

}  // namespace

KVSPointSetArrayPtr KVSPointSetArray::initWithPointSetArray(const KVSPointSetArray& other) {
    auto copy = std::make_shared<KVSPointSetArray>();
    copy->pointSets_.reserve(other.pointSets_.size());
    for (const auto& run : other.pointSets_)
        copy->pointSets_.push_back(KVSPointSet::initWithPointSet(*run));
    return copy;
}

KVSPointSetPtr KVSPointSetArray::addPointSetWithSize(std::uint64_t count) {
    auto run = KVSPointSet::initWithLength(count);
    pointSets_.push_back(run);
    return run;
}

void KVSPointSetArray::insertObject(KVSPointSetPtr run, std::size_t index) {
    pointSets_.insert(pointSets_.begin() + static_cast<std::ptrdiff_t>(index), std::move(run));
}

void KVSPointSetArray::replaceObjectAtIndex(std::size_t index, KVSPointSetPtr run) {
    pointSets_[index] = std::move(run);
}

void KVSPointSetArray::addObject(KVSPointSetPtr run) {
    pointSets_.push_back(std::move(run));
}

void KVSPointSetArray::removeObject(const KVSPointSetPtr& run) {
    const KVSPointSet* target = run.get();
    std::erase_if(pointSets_, [target](const KVSPointSetPtr& p) { return p.get() == target; });
}

void KVSPointSetArray::addObjectsFromArray(const KVSPointSetArray& other) {
    // Copy first: the other list may be this one.
    const std::vector<KVSPointSetPtr> runs = other.pointSets_;
    pointSets_.insert(pointSets_.end(), runs.begin(), runs.end());
}

KVSPointSetPtr KVSPointSetArray::mergedPointSet() const {
    if (pointSets_.empty()) return nullptr;
    auto result = KVSPointSet::initWithData(concatenatedPoints(pointSets_, KVSPointSet::kStride));
    result->setColor(pointSets_.front()->color());
    return result;
}

void KVSPointSetArray::consolidatePointSets() {
    consolidateRuns(pointSets_, KVSPointSet::kStride, [](const KVSPointSet& base, const KVSPointSet& run) {
        return run.color().isEqualToColor(base.color());
    });
}

void KVSPointSetArray::applyDelta(Point delta) {
    const float dx = static_cast<float>(delta.x);
    const float dy = static_cast<float>(delta.y);
    for (const auto& run : pointSets_)
        kernels::addDelta(run->buffer(), run->length(), dx, dy);
}

Rect KVSPointSetArray::boundingRect() const {
    Rect bounds = Rect::null();
    for (const auto& run : pointSets_)
        bounds = Rect::unite(bounds, run->boundingRect());
    return bounds;
}

std::uint64_t KVSPointSetArray::markPointsInRect(const Rect& rect) {
    std::uint64_t marked = 0;
    for (const auto& run : pointSets_)
        marked += run->markPointsInRect(rect);
    return marked;
}

std::uint64_t KVSPointSetArray::markPointsInCircle(const Rect& circle) {
    const kernels::CircleF c = kernels::prepareCircle(circle);
    std::uint64_t marked = 0;
    for (const auto& run : pointSets_) {
        if (mayTouch(*run, c)) marked += run->markPointsTouchingCircle(circle);
    }
    return marked;
}

void KVSPointSetArray::removeEmptyPointSets() {
    std::erase_if(pointSets_, [](const KVSPointSetPtr& run) { return run->length() == 0; });
}

std::uint64_t KVSPointSetArray::removeNegativeMaxFloatPoints() {
    std::uint64_t removed = 0;
    for (const auto& run : pointSets_)
        removed += run->removeNegativeMaxFloatPoints();
    if (removed) removeEmptyPointSets();
    return removed;
}

bool KVSPointSetArray::removePointsInRect(const Rect& rect) {
    bool removed = false;
    for (const auto& run : pointSets_)
        removed |= run->removePointsInRect(rect);
    if (removed) removeEmptyPointSets();
    return removed;
}

bool KVSPointSetArray::removePointsInCircle(const Rect& circle, bool removeEmpty) {
    const kernels::CircleF c = kernels::prepareCircle(circle);
    bool removed = false;
    for (const auto& run : pointSets_) {
        if (mayTouch(*run, c)) removed |= run->removePointsTouchingCircle(circle);
    }
    if (removed && removeEmpty) removeEmptyPointSets();
    return removed;
}

bool KVSPointSetArray::removePointsInCircle(const Rect& circle, bool removeEmpty, const KColor& forColor) {
    const kernels::CircleF c = kernels::prepareCircle(circle);
    const float r = static_cast<float>(forColor.r);
    const float g = static_cast<float>(forColor.g);
    const float b = static_cast<float>(forColor.b);
    bool removed = false;
    for (const auto& run : pointSets_) {
        const KColor& rc = run->color();
        if (static_cast<float>(rc.r) != r || static_cast<float>(rc.g) != g || static_cast<float>(rc.b) != b)
            continue;
        if (mayTouch(*run, c)) removed |= run->removePointsTouchingCircle(circle);
    }
    if (removed && removeEmpty) removeEmptyPointSets();
    return removed;
}

KVSPointSetPtr KVSPointSetArray::topmostPointSetInCircle(const Rect& circle) const {
    const kernels::CircleF c = kernels::prepareCircle(circle);
    for (auto it = pointSets_.rbegin(); it != pointSets_.rend(); ++it) {
        if (mayTouch(**it, c) && (*it)->isTouchingCircle(circle)) return *it;
    }
    return nullptr;
}

std::string KVSPointSetArray::svgRepresentation() const {
    std::string svg =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\r\n"
        "<!DOCTYPE svg PUBLIC \"-//W3C//DTD SVG 1.1//EN\" "
        "\"http://www.w3.org/Graphics/SVG/1.1/DTD/svg11.dtd\">\r\n"
        "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"1536\" height=\"1920\">\r\n";
    for (const auto& run : pointSets_) {
        std::string attributes = "fill=\"#" + run->color().hexString() + "\" fill-opacity=\"";
        appendFixed(attributes, run->color().a, 1);
        attributes += "\"";
        const float* p = run->constBuffer();
        for (std::uint64_t i = 0; i < run->length(); ++i, p += 3) {
            const float r = p[2] * 0.6f;
            svg += "<circle cx=\"";
            appendFixed(svg, p[0], 2);
            svg += "\" cy=\"";
            appendFixed(svg, p[1], 2);
            svg += "\" r=\"";
            appendFixed(svg, r, 2);
            svg += "\" ";
            svg += attributes;
            svg += " />\r\n";
        }
    }
    svg += "</svg>";
    return svg;
}

}  // namespace velumen
