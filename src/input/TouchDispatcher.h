// What the touches in flight mean. All page interaction comes in through the four touch entry points;
// touch-down decides touchMode once, from the number of touches that count and from what lies under
// them, movement feeds the mode and touch-up finishes it. Two-finger pan and zoom goes to the viewport; a
// single pointer goes to the tool of its mode. Each entry point returns what changed, for its caller to
// apply once.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "document/EditorEffects.h"
#include "document/FoliantData.h"
#include "input/EditorViewport.h"
#include "input/TouchRecord.h"
#include "input/tools/Tool.h"

namespace velumen {

enum class TouchMode {
    None,
    // A single pointer with a drawing pen.
    Draw,
    // A single pointer with the eraser.
    Erase,
    // Two fingers.
    PanZoom,
    // A single pointer in a locked book: nothing changes.
    Select,
    // A single pointer taking a colour from the ink on the page.
    EyeDrop,
    // Pointers move, resize or pinch the picture being edited.
    EditImage,
};

// How touches are taken, from the user's settings.
struct InputPolicy {
    // Every touch counts, however wide its contact.
    bool disablePalmRejection = false;
    // While a stylus is connected, a finger does not draw.
    bool onlyDrawWithStylus = false;
};

// One touch event: every touch down on the window at that moment, those that changed included (a touch
// that ends is still in the event that ends it).
struct TouchEvent {
    std::vector<TouchRecord> allTouches;
};

class TouchDispatcher {
  public:
    // A single touch moving no further than this, in view points, is a tap.
    static constexpr double kDeadZone = 1.0;
    // A touch whose contact is wider than this, in points, is a palm.
    static constexpr double kPalmRadius = 70.0;

    explicit TouchDispatcher(EditorViewport& viewport);

    // The tool of a single-pointer mode (Draw, Erase, and those to come); the tool must outlive the
    // dispatcher. A mode without a tool takes its touches and changes nothing.
    void registerTool(TouchMode mode, Tool& tool) { tools_[mode] = &tool; }
    // The mode that a single pointer starts: Draw or Erase by the chosen pen, EyeDrop while a colour is picked.
    TouchMode singlePointerMode = TouchMode::Draw;
    InputPolicy policy;
    // The open book; null while none is open (then nothing draws).
    FoliantData* document = nullptr;
    // A stylus is known to be connected (the stylus detector's answer).
    bool isPencilConnected = false;

    // Whether a placed object lies under a page point: an unmoved tap of the pen there draws nothing and
    // reports objectTapped instead. May be empty.
    std::function<bool(Point canvasPoint)> isObjectAtPoint;

    // ---- Gesture state ----
    TouchMode touchMode = TouchMode::None;
    bool didTouchMove = false;
    Point touchDownViewPoint;
    Point touchDownCanvasPoint;
    Point preTouchPanDelta;
    float preTouchZoomFactor = 1.0f;
    float zoomInitialTouchDistance = 0;
    bool _isDrawingWithStylus = false;

    // ---- Entry points: the changed touches and their event ----
    EditorEffects touchesBegan(const std::vector<TouchRecord>& touches, const TouchEvent& event);
    EditorEffects touchesMoved(const std::vector<TouchRecord>& touches, const TouchEvent& event);
    EditorEffects touchesEnded(const std::vector<TouchRecord>& touches, const TouchEvent& event) {
        return touchesEndedOrCancelled(touches, event, false);
    }
    EditorEffects touchesCancelled(const std::vector<TouchRecord>& touches, const TouchEvent& event) {
        return touchesEndedOrCancelled(touches, event, true);
    }
    EditorEffects touchesEndedOrCancelled(const std::vector<TouchRecord>& touches, const TouchEvent& event,
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

    // Drops a running single-pointer gesture at once; the mode goes back to none.
    EditorEffects cancelGesture();
    // The tool of the present mode; null for the modes without one.
    Tool* currentTool() const;

  private:
    bool isLocked() const { return document && document->isLocked(); }
    EditorEffects closeGesture();

    EditorViewport& viewport_;
    std::map<TouchMode, Tool*> tools_;
    // The last sample of the single pointer, in view points.
    StrokeSample lastSample_;
    // The single-pointer tool took the two fingers of this gesture.
    bool toolTookTwoFingers_ = false;
};

}  // namespace velumen
