#include "input/EditorViewport.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace velumen {

DeviceProfile deviceProfileForViewSize(Size size) {
    return std::min(size.width, size.height) < kPhoneShortSideLimit ? DeviceProfile::Phone
                                                                    : DeviceProfile::Tablet;
}

std::optional<DeviceProfile> deviceProfileFromName(std::string_view name) {
    if (name == "tablet") return DeviceProfile::Tablet;
    if (name == "phone") return DeviceProfile::Phone;
    return std::nullopt;
}

Point EditorViewport::eaglPointFromViewPoint(Point p) const {
    return {(p.x - inkPanDelta.x) / zoomFactor, (p.y - inkPanDelta.y) / zoomFactor};
}

Point EditorViewport::viewPointFromEaglPoint(Point p) const {
    return {p.x * zoomFactor + inkPanDelta.x, p.y * zoomFactor + inkPanDelta.y};
}

Rect EditorViewport::eaglRectFromViewRect(const Rect& r) const {
    const Point origin = eaglPointFromViewPoint({r.x, r.y});
    return {origin.x, origin.y, r.width / zoomFactor, r.height / zoomFactor};
}

Rect EditorViewport::viewRectFromEaglRect(const Rect& r) const {
    const Point origin = viewPointFromEaglPoint({r.x, r.y});
    return {origin.x, origin.y, r.width * zoomFactor, r.height * zoomFactor};
}

void EditorViewport::storeInBook() {
    if (!document) return;
    document->setPanDelta(panDelta);
    document->setZoomFactor(zoomFactor);
}

void EditorViewport::setCanvasPoint(Point c, Point v, float zoom) {
    if (!std::isfinite(zoom) || zoom <= 0 || !std::isfinite(c.x) || !std::isfinite(c.y) ||
        !std::isfinite(v.x) || !std::isfinite(v.y))
        return;
    zoomFactor = zoom;
    const double z = zoom;
    panDelta = {v.x - c.x * z, v.y - c.y * z};
    updateInkPanDelta();
    storeInBook();
    ensurePanZoomAreInBounds();
}

float EditorViewport::getViewPan(float value, float min, float max) {
    if (value < min) return value - min;
    if (value > max) return value - max;
    return 0;
}

float EditorViewport::getRatioOfCurrent(float current, float initial, float boundary) {
    if (initial + boundary < current) return current / (initial + boundary);
    if (initial - boundary > current) return current / (initial - boundary);
    return 1.0f;
}

void EditorViewport::updateInkPanDeltaForFrameSize(Size frameSize) {
    inkPanDelta = panDelta;
    const float overX = static_cast<float>(canvasSize.width * zoomFactor - frameSize.width);
    const float overY = static_cast<float>(canvasSize.height * zoomFactor - frameSize.height);
    viewPanDelta.x = getViewPan(static_cast<float>(inkPanDelta.x), -overX, 0);
    viewPanDelta.y = getViewPan(static_cast<float>(inkPanDelta.y), -overY, 0);
    inkPanDelta = {panDelta.x - viewPanDelta.x, panDelta.y - viewPanDelta.y};
    surfaceTranslation = viewPanDelta;
    if (setSurfaceTranslation) setSurfaceTranslation(viewPanDelta);
}

void EditorViewport::ensurePanZoomAreInBoundsForFrameSize(Size frameSize) {
    if (!document) return;
    float bookZoom = document->zoomFactor();
    if (!(bookZoom >= minZoomFactor)) bookZoom = minZoomFactor;  // NaN too
    if (bookZoom > maxZoomFactor) bookZoom = maxZoomFactor;
    document->setZoomFactor(bookZoom);
    zoomFactor = bookZoom;
    document->setPanDelta(panDelta);
    const double overX = canvasSize.width * zoomFactor - frameSize.width;
    const double overY = canvasSize.height * zoomFactor - frameSize.height;
    Point limited = panDelta;
    if (limited.x > 0 || !std::isfinite(limited.x))
        limited.x = 0;
    else if (limited.x < -overX)
        limited.x = -overX;
    if (limited.y > 0 || !std::isfinite(limited.y))
        limited.y = 0;
    else if (limited.y < -overY)
        limited.y = -overY;
    if (limited.x != panDelta.x || limited.y != panDelta.y) {
        panDelta = limited;
        document->setPanDelta(panDelta);
    }
}

void EditorViewport::resetViewPanDelta(bool animated) {
    const double limit = -(eaglFrameSize.height - visibleFrameSize.height);
    if (viewPanDelta.y < limit) viewPanDelta.y = limit;
    if (viewPanDelta.y > 0) viewPanDelta.y = 0;
    viewPanDelta.x = 0;
    surfaceTranslation = {0, viewPanDelta.y};
    if (animated && animateSurfaceTranslation)
        animateSurfaceTranslation(surfaceTranslation);
    else if (setSurfaceTranslation)
        setSurfaceTranslation(surfaceTranslation);
}

bool EditorViewport::zoomStep(Point mid, float distance, Point touchDownCanvasPoint,
                              float zoomInitialTouchDistance, float preTouchZoomFactor) {
    const float ratio = getRatioOfCurrent(distance, zoomInitialTouchDistance, kZoomDeadBand);
    float z = ratio * preTouchZoomFactor;
    z = std::clamp(z, minZoomFactor, maxZoomFactor);
    const float oldZoom = zoomFactor;
    const Point oldInk = inkPanDelta;
    setCanvasPoint(touchDownCanvasPoint, mid, z);
    const bool moved = zoomFactor != oldZoom || inkPanDelta.x != oldInk.x || inkPanDelta.y != oldInk.y;
    if (moved && redrawAllLines) redrawAllLines();
    return moved;
}

void EditorViewport::setZoomLimitsForFrameSize(Size frameSize) {
    if (!(frameSize.width > 0) || !(frameSize.height > 0)) return;
    minZoomFactor =
        static_cast<float>(std::max(frameSize.width / kCanvasWidth, frameSize.height / kCanvasHeight));
    maxZoomFactor = kMaxZoomOverMin * minZoomFactor;
}

ZoomLimits EditorViewport::provisionalZoomLimits(DeviceProfile profile, double L, bool landscape) {
    float min = 0;
    float max = 0;
    if (profile == DeviceProfile::Tablet) {
        if (L >= 1366) {
            min = landscape ? 0.8893229365f : 0.678125f;
        } else if (L >= 1112) {
            min = static_cast<float>(landscape ? L * 0.5 / 768 : (L - 64) * 0.5 / 960);
        } else {
            min = landscape ? 2.0f / 3.0f : 0.5f;
            max = 6.0f;
        }
    } else {
        if (L >= 667)
            min = static_cast<float>(landscape ? L / 1536 : (L - 44) / 1920);
        else if (L == 568)
            min = landscape ? 0.36979166f : 0.27291667f;
        else
            min = landscape ? 0.3125f : 0.22708334f;
    }
    return {min, max > 0 ? max : kMaxZoomOverMin * min};
}

void EditorViewport::layoutForFrameSize(Size frameSize) {
    eaglFrameSize = frameSize;
    visibleFrameSize = frameSize;
    setZoomLimitsForFrameSize(frameSize);
    if (document) {
        ensurePanZoomAreInBounds();
        updateInkPanDelta();
    }
    resetViewPanDelta();
}

void EditorViewport::handleDocumentChanged() {
    if (!document) return;
    panDelta = document->panDelta();
    float zoom = document->zoomFactor();
    if (!(zoom >= minZoomFactor)) zoom = minZoomFactor;
    if (zoom > maxZoomFactor) zoom = maxZoomFactor;
    if (zoom != document->zoomFactor()) document->setZoomFactor(zoom);
    zoomFactor = zoom;
    if (!std::isfinite(panDelta.x) || !std::isfinite(panDelta.y)) panDelta = {0, 0};
    updateInkPanDelta();
    resetViewPanDelta();
}

Rect EditorViewport::currentFrame() const {
    return {(viewPanDelta.x - panDelta.x) / zoomFactor, (viewPanDelta.y - panDelta.y) / zoomFactor,
            eaglFrameSize.width / zoomFactor, eaglFrameSize.height / zoomFactor};
}

std::string EditorViewport::percentageText() const {
    const Rect frame = currentFrame();
    const double value = std::min(canvasSize.width / frame.width, canvasSize.height / frame.height);
    char buffer[48];
    const auto [end, ec] =
        std::to_chars(buffer, buffer + sizeof buffer - 1, value, std::chars_format::fixed, 1);
    if (ec != std::errc()) return "x";
    *end = 'x';
    return std::string(buffer, end + 1);
}

}  // namespace velumen
