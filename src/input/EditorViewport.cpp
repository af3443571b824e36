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
    return {(p.x - view.inkPanDelta.x) / view.zoomFactor, (p.y - view.inkPanDelta.y) / view.zoomFactor};
}

Point EditorViewport::viewPointFromEaglPoint(Point p) const {
    return {p.x * view.zoomFactor + view.inkPanDelta.x, p.y * view.zoomFactor + view.inkPanDelta.y};
}

Rect EditorViewport::eaglRectFromViewRect(const Rect& r) const {
    const Point origin = eaglPointFromViewPoint({r.x, r.y});
    return {origin.x, origin.y, r.width / view.zoomFactor, r.height / view.zoomFactor};
}

Rect EditorViewport::viewRectFromEaglRect(const Rect& r) const {
    const Point origin = viewPointFromEaglPoint({r.x, r.y});
    return {origin.x, origin.y, r.width * view.zoomFactor, r.height * view.zoomFactor};
}

void EditorViewport::storeInBook() {
    if (!document) return;
    document->setPanDelta(panDelta);
    document->setZoomFactor(view.zoomFactor);
}

void EditorViewport::setCanvasPoint(Point c, Point v, float zoom) {
    if (!std::isfinite(zoom) || zoom <= 0 || !std::isfinite(c.x) || !std::isfinite(c.y) ||
        !std::isfinite(v.x) || !std::isfinite(v.y))
        return;
    view.zoomFactor = zoom;
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
    view.inkPanDelta = panDelta;
    const float overX = static_cast<float>(kPageSize.width * view.zoomFactor - frameSize.width);
    const float overY = static_cast<float>(kPageSize.height * view.zoomFactor - frameSize.height);
    viewPanDelta.x = getViewPan(static_cast<float>(view.inkPanDelta.x), -overX, 0);
    viewPanDelta.y = getViewPan(static_cast<float>(view.inkPanDelta.y), -overY, 0);
    view.inkPanDelta = {panDelta.x - viewPanDelta.x, panDelta.y - viewPanDelta.y};
    surfaceTranslation = viewPanDelta;
    springsBack = false;
}

void EditorViewport::ensurePanZoomAreInBoundsForFrameSize(Size frameSize) {
    if (!document) return;
    float bookZoom = document->zoomFactor();
    if (!(bookZoom >= minZoomFactor)) bookZoom = minZoomFactor;  // NaN too
    if (bookZoom > maxZoomFactor) bookZoom = maxZoomFactor;
    document->setZoomFactor(bookZoom);
    view.zoomFactor = bookZoom;
    document->setPanDelta(panDelta);
    const double overX = kPageSize.width * view.zoomFactor - frameSize.width;
    const double overY = kPageSize.height * view.zoomFactor - frameSize.height;
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
    springsBack = animated;
}

bool EditorViewport::zoomStep(Point mid, float distance, Point touchDownCanvasPoint,
                              float zoomInitialTouchDistance, float preTouchZoomFactor) {
    const float ratio = getRatioOfCurrent(distance, zoomInitialTouchDistance, kZoomDeadBand);
    float z = ratio * preTouchZoomFactor;
    z = std::clamp(z, minZoomFactor, maxZoomFactor);
    const float oldZoom = view.zoomFactor;
    const Point oldInk = view.inkPanDelta;
    setCanvasPoint(touchDownCanvasPoint, mid, z);
    const bool moved = view.zoomFactor != oldZoom || view.inkPanDelta.x != oldInk.x || view.inkPanDelta.y != oldInk.y;
    return moved;
}

void EditorViewport::setZoomLimitsForFrameSize(Size frameSize) {
    if (!(frameSize.width > 0) || !(frameSize.height > 0)) return;
    minZoomFactor =
        static_cast<float>(std::max(frameSize.width / kPageSize.width, frameSize.height / kPageSize.height));
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
    view.zoomFactor = zoom;
    if (!std::isfinite(panDelta.x) || !std::isfinite(panDelta.y)) panDelta = {0, 0};
    updateInkPanDelta();
    resetViewPanDelta();
}

Rect EditorViewport::currentFrame() const {
    return {(viewPanDelta.x - panDelta.x) / view.zoomFactor, (viewPanDelta.y - panDelta.y) / view.zoomFactor,
            eaglFrameSize.width / view.zoomFactor, eaglFrameSize.height / view.zoomFactor};
}

std::string EditorViewport::percentageText() const {
    const Rect frame = currentFrame();
    const double value = std::min(kPageSize.width / frame.width, kPageSize.height / frame.height);
    char buffer[48];
    const auto [end, ec] =
        std::to_chars(buffer, buffer + sizeof buffer - 1, value, std::chars_format::fixed, 1);
    if (ec != std::errc()) return "x";
    *end = 'x';
    return std::string(buffer, end + 1);
}

}  // namespace velumen
