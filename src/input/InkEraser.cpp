#include "input/InkEraser.h"

namespace velumen {

Rect InkEraser::eraserCircleAtViewPoint(Point viewPoint) const {
    const Point c = viewport_.eaglPointFromViewPoint(viewPoint);
    const float s = eraserSize / viewport_.zoomFactor;
    const float half = s * 0.5f;
    return {c.x - double(half), c.y - double(half), double(s), double(s)};
}

bool InkEraser::eraseAtPoint(Point viewPoint) {
    const auto& page = editor_.currentPage();
    if (!page || !page->pointSets) return false;
    const Rect circle = eraserCircleAtViewPoint(viewPoint);
    const bool removed = isErasingSelectedColor
                             ? page->pointSets->removePointsInCircle(circle, false, currentLineColor)
                             : page->pointSets->removePointsInCircle(circle, false);
    if (removed && setFrameUpdateNeeded) setFrameUpdateNeeded();
    return removed;
}

void InkEraser::endErasing(const KVSPointSetArrayPtr& snapshot) {
    editor_.addUndoToRevertToPointsetsSnapshot(snapshot);
    const auto& page = editor_.currentPage();
    if (page && page->pointSets) page->pointSets->removeEmptyPointSets();
}

}  // namespace velumen
