// A tool: what one pointer does on the page from the moment it lands until it lifts. The touch dispatcher
// decides what a touch means (palm rejection, the stylus, two-finger pan and zoom, edge swipes) and hands the
// samples of a single pointer to the current tool; the tool changes the page through the page editor and
// returns what changed. A new tool is one class beside these and one registration with the dispatcher.
#pragma once

#include "document/EditorEffects.h"
#include "ink/StrokeSampler.h"

class QPainter;

namespace velumen {

class Tool {
  public:
    virtual ~Tool() = default;

    // The pointer landed; the sample is in view points with its pressure factor.
    virtual EditorEffects begin(const StrokeSample& sample) = 0;
    // The pointer moved (past the dead zone).
    virtual EditorEffects move(const StrokeSample& sample) = 0;
    // The pointer lifted, or the system took it away (`cancelled`), at the sample.
    virtual EditorEffects end(const StrokeSample& sample, bool cancelled) = 0;
    // The gesture is dropped without a trace (the application quits, a page turns under it).
    virtual EditorEffects cancel() = 0;
    // Another pointer landed during the gesture; by default the gesture is dropped.
    virtual EditorEffects interrupt() { return cancel(); }
    // Two fingers landed (in page units) while this is the single-pointer tool: true when the tool takes
    // the pinch itself, false to leave it to pan and zoom.
    virtual bool beginTwoFingers(Point, Point) { return false; }
    // The two fingers of a pinch the tool took moved (page units).
    virtual EditorEffects moveTwoFingers(Point, Point) { return {}; }
    // The tool shows something of its own over the page while its gesture runs (a lasso, a loupe).
    virtual bool hasOverlay() const { return false; }
    // Paints that overlay, in view points; the view calls it after every event of the gesture.
    virtual void drawOverlay(QPainter&) const {}
};

}  // namespace velumen
