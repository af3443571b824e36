#include "input/TouchDispatcher.h"

#include <algorithm>
#include <cmath>

#include "shell/FoliantGlobals.h"

namespace velumen {

namespace {

// Coordinates beyond this, in view points, come from no real screen.
constexpr double kCoordinateLimit = 1e7;

bool isUsable(const TouchRecord& t) {
    return std::isfinite(t.location.x) && std::isfinite(t.location.y) &&
           std::fabs(t.location.x) < kCoordinateLimit && std::fabs(t.location.y) < kCoordinateLimit;
}

std::vector<TouchRecord> usable(const std::vector<TouchRecord>& touches) {
    std::vector<TouchRecord> kept;
    kept.reserve(touches.size());
    for (const TouchRecord& t : touches) {
        if (isUsable(t)) kept.push_back(t);
    }
    return kept;
}

TouchEvent usable(const TouchEvent& event) {
    return {usable(event.allTouches)};
}

}  // namespace

TouchDispatcher::TouchDispatcher(StrokeSampler& sampler, EditorViewport& viewport,
                                 const FoliantGlobals& globals)
    : sampler_(sampler), viewport_(viewport), globals_(globals) {}

std::vector<TouchRecord> TouchDispatcher::getFilteredTouchesWithEvent(const TouchEvent& event) const {
    std::vector<TouchRecord> all;
    for (const TouchRecord& t : event.allTouches) {
        if (t.view == TouchView::Surface) all.push_back(t);
    }
    std::vector<TouchRecord> styluses;
    for (const TouchRecord& t : all) {
        if (t.type == TouchType::Stylus) styluses.push_back(t);
    }
    if (!styluses.empty()) return styluses;
    if (!globals_.disablePalmRejection()) {
        const bool reportsArea = std::any_of(all.begin(), all.end(),
                                             [](const TouchRecord& t) { return t.majorRadius.has_value(); });
        if (reportsArea) {
            std::vector<TouchRecord> kept;
            for (const TouchRecord& t : all) {
                if (!t.majorRadius || *t.majorRadius <= kPalmRadius) kept.push_back(t);
            }
            return kept;
        }
    }
    return all;
}

bool TouchDispatcher::areTouchesOnlyOnWristGuard(const std::vector<TouchRecord>& touches) {
    return std::all_of(touches.begin(), touches.end(),
                       [](const TouchRecord& t) { return t.view != TouchView::Surface; });
}

double TouchDispatcher::distancefromPoint(Point a, Point b) {
    return std::hypot(b.x - a.x, b.y - a.y);
}

Point TouchDispatcher::getMidTouchPointInSurface(const std::vector<TouchRecord>& touches) {
    if (touches.empty()) return {};
    double x = 0, y = 0;
    for (const TouchRecord& t : touches) {
        x += t.location.x;
        y += t.location.y;
    }
    return {x / double(touches.size()), y / double(touches.size())};
}

Point TouchDispatcher::getMidTouchPoint(const std::vector<TouchRecord>& touches) const {
    if (touches.empty()) return {};
    const Point mid = getMidTouchPointInSurface(touches);
    return {mid.x + viewport_.surfaceTranslation.x, mid.y + viewport_.surfaceTranslation.y};
}

float TouchDispatcher::getTwoFingerTouchDistance(const std::vector<TouchRecord>& touches) const {
    if (touches.size() < 2) return 0;
    // Both in the same frame: the translation cancels.
    return static_cast<float>(distancefromPoint(touches[0].location, touches[1].location));
}

void TouchDispatcher::syncSamplerTransform() {
    sampler_.zoomFactor = viewport_.zoomFactor;
    sampler_.inkPanDelta = viewport_.inkPanDelta;
}

void TouchDispatcher::restoreErasureSnapshot() {
    if (!snapshotPointSetsBeforeErasing) return;
    if (document) document->setPointSets(snapshotPointSetsBeforeErasing);
    snapshotPointSetsBeforeErasing.reset();
    if (hooks.pageInkReplaced) hooks.pageInkReplaced();
}

void TouchDispatcher::touchesBegan(const std::vector<TouchRecord>& rawTouches, const TouchEvent& rawEvent) {
    const std::vector<TouchRecord> touches = usable(rawTouches);
    const TouchEvent event = usable(rawEvent);
    if (touches.empty() && !rawTouches.empty()) return;  // nothing usable began
    // 1, 2. A resting hand on the guard; any touch while a stylus draws.
    if (areTouchesOnlyOnWristGuard(touches)) return;
    if (_isDrawingWithStylus) return;
    syncSamplerTransform();
    // 3. A further finger on a stroke: a short one dies, a longer one is kept.
    if (touchMode == TouchModeDraw && sampler_.currentLine) {
        if (sampler_.currentLine->points.size() < kMinRawPointsToKeep)
            sampler_.cancelCurrentLine();
        else
            sampler_.commitCurrentLine();
    }
    // 4.
    const std::vector<TouchRecord> filtered = getFilteredTouchesWithEvent(event);
    // 6.
    touchMode = TouchModeNone;
    didTouchMove = false;

    // 8. Anything but one touch.
    if (filtered.size() != 1) {
        if (hooks.deleteInkSnapshotTexture) hooks.deleteInkSnapshotTexture();
        sampler_.currentLine.reset();
        sampler_.startNewLine();
        restoreErasureSnapshot();
        if (filtered.size() != 2) return;
        touchDownCanvasPoint = viewport_.eaglPointFromViewPoint(getMidTouchPointInSurface(filtered));
        touchDownViewPoint = getMidTouchPoint(filtered);
        preTouchPanDelta = viewport_.panDelta;
        preTouchZoomFactor = viewport_.zoomFactor;
        zoomInitialTouchDistance = getTwoFingerTouchDistance(filtered);
        touchMode = TouchModePanZoom;
        return;
    }

    // 9. One touch.
    const TouchRecord& touch = filtered.front();
    const Point p = touch.location;
    touchDownViewPoint = p;
    touchDownCanvasPoint = viewport_.eaglPointFromViewPoint(p);
    if (isSelecting || isLocked()) {
        touchMode = TouchModeSelect;
        if (hooks.beginSelection) hooks.beginSelection(touchDownCanvasPoint);
        return;
    }
    if (isEyeDropPickingColor) {
        touchMode = TouchModeEyeDrop;
        if (hooks.eyeDropPickColorAtPoint) hooks.eyeDropPickColorAtPoint(p);
        return;
    }
    if (sampler_.inkType == InkTypeEraser) {
        if (!document) return;
        // The page erases on a copy; the list as it was is the snapshot that a second finger puts back.
        snapshotPointSetsBeforeErasing = document->pointSets();
        if (snapshotPointSetsBeforeErasing) {
            document->setPointSets(KVSPointSetArray::initWithPointSetArray(*snapshotPointSetsBeforeErasing));
            if (hooks.pageInkReplaced) hooks.pageInkReplaced();
        }
        touchMode = TouchModeErase;
        if (hooks.eraseAtPoint) hooks.eraseAtPoint(p);
        return;
    }
    // The stroke's start.
    if (!document) return;
    const bool isStylus = touch.type == TouchType::Stylus;
    if (isPencilConnected && globals_.onlyDrawWithStylus() && !isStylus) {
        if (hooks.flashStylusButton) hooks.flashStylusButton();
        return;
    }
    if (isStylus) _isDrawingWithStylus = true;
    sampler_.beginStroke({p, stylusForceFactorWithTouches(filtered)});
    touchMode = TouchModeDraw;
}

void TouchDispatcher::touchesMoved(const std::vector<TouchRecord>& rawTouches, const TouchEvent& rawEvent) {
    const std::vector<TouchRecord> touches = usable(rawTouches);
    const TouchEvent event = usable(rawEvent);
    if (touches.empty()) return;
    if (areTouchesOnlyOnWristGuard(touches)) return;
    const std::vector<TouchRecord> filtered = getFilteredTouchesWithEvent(event);
    // 3. Dead zone.
    if (!didTouchMove) {
        const double d = distancefromPoint(touchDownViewPoint, getMidTouchPoint(filtered));
        if (filtered.size() < 2 && !(d > kDeadZone)) return;
        didTouchMove = true;
    }
    syncSamplerTransform();
    // 5. Two-finger modes.
    if (filtered.size() != 1) {
        if (touchMode == TouchModePanZoom && filtered.size() == 2) {
            viewport_.zoomStep(getMidTouchPoint(filtered), getTwoFingerTouchDistance(filtered),
                               touchDownCanvasPoint, zoomInitialTouchDistance, preTouchZoomFactor);
            syncSamplerTransform();
            if (hooks.showPositionSatelliteView) hooks.showPositionSatelliteView();
        }
        return;
    }
    // 6. One touch.
    const Point p = filtered.front().location;
    switch (touchMode) {
        case TouchModeDraw:
            sampler_.takeMovementSample({p, stylusForceFactorWithTouches(filtered)});
            break;
        case TouchModeEyeDrop:
            if (hooks.eyeDropPickColorAtPoint) hooks.eyeDropPickColorAtPoint(p);
            break;
        case TouchModeErase:
            if (hooks.eraseAtPoint) hooks.eraseAtPoint(p);
            break;
        case TouchModeSelect:
            if (hooks.moveSelection) hooks.moveSelection(viewport_.eaglPointFromViewPoint(p));
            break;
        default:
            // Pan and zoom with one finger left, and the modes of images, text boxes and selection grips,
            // which no touch-down enters yet.
            break;
    }
}

void TouchDispatcher::touchesEndedOrCancelled(const std::vector<TouchRecord>& rawTouches,
                                              const TouchEvent& rawEvent, bool cancelled) {
    const std::vector<TouchRecord> touches = usable(rawTouches);
    const TouchEvent event = usable(rawEvent);
    if (touches.empty() && !rawTouches.empty()) return;
    if (areTouchesOnlyOnWristGuard(touches)) return;
    // 2. A finger lifted during a stylus stroke is ignored.
    if (_isDrawingWithStylus && !touches.empty()) {
        const bool hasStylus = std::any_of(touches.begin(), touches.end(),
                                           [](const TouchRecord& t) { return t.type == TouchType::Stylus; });
        if (!hasStylus) return;
        _isDrawingWithStylus = false;
    }
    const std::vector<TouchRecord> filtered = getFilteredTouchesWithEvent(event);
    syncSamplerTransform();
    const TouchRecord* touch = nullptr;
    // The touch that ended, when it counts; else any that counts.
    for (const TouchRecord& t : filtered) {
        if (std::any_of(touches.begin(), touches.end(), [&](const TouchRecord& c) { return c.id == t.id; })) {
            touch = &t;
            break;
        }
    }
    if (!touch && !filtered.empty()) touch = &filtered.front();

    switch (touchMode) {
        case TouchModeSelect:
            if (hooks.endSelection && filtered.size() == 1)
                hooks.endSelection(touchDownCanvasPoint, didTouchMove);
            break;
        case TouchModeDraw:
            if (!touch) return;  // the next touch-down decides about the stroke
            sampler_.endStroke({touch->location, stylusForceFactorWithTouches(filtered)}, cancelled);
            if (hooks.setFrameUpdateNeeded) hooks.setFrameUpdateNeeded();
            break;
        case TouchModeErase: {
            if (touch && hooks.eraseAtPoint) hooks.eraseAtPoint(touch->location);
            KVSPointSetArrayPtr before = std::move(snapshotPointSetsBeforeErasing);
            snapshotPointSetsBeforeErasing.reset();
            if (before && hooks.endErasing) hooks.endErasing(before);
            break;
        }
        case TouchModePanZoom:
            if (hooks.refreshAllTextViews) hooks.refreshAllTextViews();
            break;
        default:
            break;
    }
    closeGesture();
}

void TouchDispatcher::closeGesture() {
    viewport_.resetViewPanDelta(true);
    if (hooks.hidePositionSatelliteView) hooks.hidePositionSatelliteView();
    touchMode = TouchModeNone;
}

void TouchDispatcher::cancelDrawing() {
    if (touchMode == TouchModeDraw && sampler_.currentLine) {
        sampler_.cancelCurrentLine();
        // Shown at once, so that nothing of the dropped stroke lingers until the next tick.
        if (viewport_.redrawAllLines)
            viewport_.redrawAllLines();
        else if (hooks.setFrameUpdateNeeded)
            hooks.setFrameUpdateNeeded();
    }
}

}  // namespace velumen
