// What the touches in flight mean. All page interaction comes in through the four touch entry points;
// touch-down decides touchMode once, from the number of touches that count and from what lies under
// them, movement feeds the mode and touch-up finishes it. Drawing goes to the stroke sampler, two-finger
// pan and zoom to the viewport; the inner work of the other modes belongs to the slices that own it and
// is reached through hooks, which do nothing while they are empty.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "document/FoliantData.h"
#include "ink/StrokeSampler.h"
#include "input/EditorViewport.h"
#include "input/TouchRecord.h"

namespace velumen {

class FoliantGlobals;

using TouchMode = std::int32_t;
inline constexpr TouchMode TouchModeNone = 0;
inline constexpr TouchMode TouchModeDraw = 1;
inline constexpr TouchMode TouchModeEyeDrop = 2;
inline constexpr TouchMode TouchModeErase = 3;
inline constexpr TouchMode TouchModePanZoom = 4;
inline constexpr TouchMode TouchModeSelect = 5;
inline constexpr TouchMode TouchModeDragSelection = 6;
inline constexpr TouchMode TouchModeResizeSelection = 7;
inline constexpr TouchMode TouchModeRotateSelection = 8;
inline constexpr TouchMode TouchModeEdgeSwipe = 9;
inline constexpr TouchMode TouchModeDragImage = 10;
inline constexpr TouchMode TouchModeResizeImage = 11;
inline constexpr TouchMode TouchModeDismissImage = 12;
inline constexpr TouchMode TouchModeResizeTextBox = 13;
inline constexpr TouchMode TouchModeDragTextBox = 14;

// One touch event: every touch down on the window at that moment, those that changed included (a touch
// that ends is still in the event that ends it).
struct TouchEvent {
    std::vector<TouchRecord> allTouches;
};

// The work of the modes whose inner part lives elsewhere. Any member may be empty.
struct TouchDispatcherHooks {
    std::function<void(Point)> eyeDropPickColorAtPoint;
    std::function<void(Point)> eraseAtPoint;
    // The end of an erasure, with the page's ink as it was before it (Part of the eraser's undo).
    std::function<void(const KVSPointSetArrayPtr&)> endErasing;
    // The page's ink list was replaced (an erasure undone): the shown ink must follow.
    std::function<void()> pageInkReplaced;
    std::function<void()> deleteInkSnapshotTexture;
    // A finger refused by draw-with-stylus-only: the stylus button flashes.
    std::function<void()> flashStylusButton;
    // Single touch in selection mode or a locked book, at its canvas point.
    std::function<void(Point)> beginSelection;
    std::function<void(Point)> moveSelection;
    std::function<void(Point, bool moved)> endSelection;
    std::function<void()> showPositionSatelliteView;
    std::function<void()> hidePositionSatelliteView;
    std::function<void()> refreshAllTextViews;
    // The page shows new ink and must be repainted.
    std::function<void()> setFrameUpdateNeeded;
};

class TouchDispatcher {
  public:
    // A single touch moving no further than this, in view points, is a tap.
    static constexpr double kDeadZone = 1.0;
    // A stroke of fewer raw points dies when a second finger lands.
    static constexpr std::size_t kMinRawPointsToKeep = 10;
    // A touch whose contact is wider than this, in points, is a palm.
    static constexpr double kPalmRadius = 70.0;

    TouchDispatcher(StrokeSampler& sampler, EditorViewport& viewport, const FoliantGlobals& globals);

    TouchDispatcherHooks hooks;
    // The open book; null while none is open (then nothing draws).
    FoliantData* document = nullptr;
    // A stylus is known to be connected (the stylus detector's answer).
    bool isPencilConnected = false;
    bool isEyeDropPickingColor = false;
    bool isSelecting = false;

    // ---- Gesture state ----
    TouchMode touchMode = TouchModeNone;
    bool didTouchMove = false;
    Point touchDownViewPoint;
    Point touchDownCanvasPoint;
    Point preTouchPanDelta;
    float preTouchZoomFactor = 1.0f;
    float zoomInitialTouchDistance = 0;
    bool _isDrawingWithStylus = false;
    KVSPointSetArrayPtr snapshotPointSetsBeforeErasing;

    // ---- Entry points: the changed touches and their event ----
    void touchesBegan(const std::vector<TouchRecord>& touches, const TouchEvent& event);
    void touchesMoved(const std::vector<TouchRecord>& touches, const TouchEvent& event);
    void touchesEnded(const std::vector<TouchRecord>& touches, const TouchEvent& event) {
        touchesEndedOrCancelled(touches, event, false);
    }
    void touchesCancelled(const std::vector<TouchRecord>& touches, const TouchEvent& event) {
        touchesEndedOrCancelled(touches, event, true);
    }
    void touchesEndedOrCancelled(const std::vector<TouchRecord>& touches, const TouchEvent& event,
                                 bool cancelled);

    // ---- Palm rejection ----
    // The touches of the event on the surface that count: a stylus beats everything; otherwise, unless
    // palm rejection is off, only touches whose reported contact is at most 70 points. A device that
    // reports no contact area passes every touch.
    std::vector<TouchRecord> getFilteredTouchesWithEvent(const TouchEvent& event) const;
    // True when every touch lies on the wrist guard or its tab; true for none.
    static bool areTouchesOnlyOnWristGuard(const std::vector<TouchRecord>& touches);

    // ---- Touch arithmetic ----
    // Distance of the first two touches in eaglFrame; 0 for fewer.
    float getTwoFingerTouchDistance(const std::vector<TouchRecord>& touches) const;
    // Mean position in eaglFrame (the surface view moved by its overshoot); the zero point for none.
    Point getMidTouchPoint(const std::vector<TouchRecord>& touches) const;
    static Point getMidTouchPointInSurface(const std::vector<TouchRecord>& touches);
    static double distancefromPoint(Point a, Point b);

    // Drops a running stroke at once.
    void cancelDrawing();

  private:
    bool isLocked() const { return document && document->isLocked(); }
    void syncSamplerTransform();
    void restoreErasureSnapshot();
    void closeGesture();

    StrokeSampler& sampler_;
    EditorViewport& viewport_;
    const FoliantGlobals& globals_;
};

}  // namespace velumen
