// The editor's view onto the page: the page is a fixed canvas (kPageSize) shown through a view
// of any size. This holds the mapping between the two, how far zoom and pan may go, and the overshoot
// past the page's edge, which moves the surface instead of the ink so that it costs no repaint. It knows
// no window: the view reads surfaceTranslation and repaints when an edit's effects say the page moved.
#pragma once

#include <functional>
#include <string>

#include "document/FoliantData.h"
#include "ink/KGeometry.h"
#include "ink/ViewTransform.h"

namespace velumen {

// The device class the layout follows: it decides the zoom limits table, the wrist guard and the edge
// swipes.
enum class DeviceProfile { Tablet, Phone };

// A window whose shorter side is below this many points is laid out as a phone.
inline constexpr double kPhoneShortSideLimit = 600;
DeviceProfile deviceProfileForViewSize(Size size);
// "tablet" or "phone"; anything else is nullopt.
std::optional<DeviceProfile> deviceProfileFromName(std::string_view name);

struct ZoomLimits {
    float minZoomFactor = 1;
    float maxZoomFactor = 12;
};

class EditorViewport {
  public:
    // Finger distance must change this much before a pinch zooms.
    static constexpr float kZoomDeadBand = 5.0f;
    static constexpr float kMaxZoomOverMin = 12.0f;

    // The one transform of the page on screen: the stroke engine and the compositor read it.
    ViewTransform view;
    float minZoomFactor = 1.0f;
    float maxZoomFactor = 12.0f;
    Point panDelta;
    Point viewPanDelta;
    // The surface's size (eaglFrame) and its size when no keyboard is up.
    Size eaglFrameSize{768, 1024};
    Size visibleFrameSize{768, 1024};
    DeviceProfile profile = DeviceProfile::Tablet;
    // The translation of the surface by the overshoot: a point in the surface view plus this is in
    // eaglFrame. The view follows it.
    Point surfaceTranslation;
    // The last change of surfaceTranslation is the spring-back at the end of a touch, which the view
    // animates from where the surface is.
    bool springsBack = false;

    // The open book, whose current page stores pan and zoom; null while none is open.
    FoliantData* document = nullptr;

    // ---- Conversions ----
    Point eaglPointFromViewPoint(Point viewPoint) const;
    Point viewPointFromEaglPoint(Point canvasPoint) const;
    Rect eaglRectFromViewRect(const Rect& viewRect) const;
    Rect viewRectFromEaglRect(const Rect& canvasRect) const;

    // ---- Pan and zoom ----
    // Makes the canvas point appear at the view point with the zoom, stores both in the book and limits them.
    void setCanvasPoint(Point canvasPoint, Point viewPoint, float zoom);
    void updateInkPanDelta() { updateInkPanDeltaForFrameSize(eaglFrameSize); }
    void updateInkPanDeltaForFrameSize(Size frameSize);
    void ensurePanZoomAreInBounds() { ensurePanZoomAreInBoundsForFrameSize(eaglFrameSize); }
    void ensurePanZoomAreInBoundsForFrameSize(Size frameSize);
    // Takes the overshoot back; at the end of a touch `animated`, so that the page springs back.
    void resetViewPanDelta(bool animated = false);
    // The overshoot of a value beyond [min, max]: value - min below, value - max above, else 0.
    static float getViewPan(float value, float min, float max);
    // The zoom ratio of two finger distances with a dead band of `boundary` on either side.
    static float getRatioOfCurrent(float current, float initial, float boundary);

    // One movement of a two-finger pinch: the canvas point under the fingers at touch-down stays under
    // their middle, zoomed by the ratio of finger distances. True when the page itself moved and must be
    // drawn again; a step that only changes the overshoot moves the surface and nothing more.
    bool zoomStep(Point midViewPoint, float distance, Point touchDownCanvasPoint,
                  float zoomInitialTouchDistance, float preTouchZoomFactor);

    // ---- Limits ----
    // After layout: the page just covers the surface at the minimum; the maximum is twelve times that.
    void setZoomLimitsForFrameSize(Size frameSize);
    // Before the first layout, from the screen: L its long side in points.
    static ZoomLimits provisionalZoomLimits(DeviceProfile profile, double longSide, bool landscape);
    // A new surface size: limits, then pan and zoom kept within them and the overshoot dropped.
    void layoutForFrameSize(Size frameSize);

    // ---- The book ----
    // A book was opened or its page turned: its pan and zoom, the zoom limited (a changed value is written
    // back).
    void handleDocumentChanged();
    // Canvas origin at the view's origin at the smallest zoom.
    void showHomeView() { setCanvasPoint({0, 0}, {0, 0}, minZoomFactor); }

    // ---- The map ----
    // The visible part of the page in canvas units.
    Rect currentFrame() const;
    // "%1.1fx" of the smaller of the page's width and height over the visible part's.
    std::string percentageText() const;

  private:
    void storeInBook();
};

}  // namespace velumen
