// The eraser: stamps of a circle of constant size on the screen that remove whole dots from the page's ink.
// A gesture works on a private copy of the page's run list (taken by the touch dispatcher at touch-down),
// so that it can be dropped without a trace, and it ends in one undo step.
#pragma once

#include <functional>

#include "document/PageInkEditor.h"
#include "ink/KColor.h"
#include "input/EditorViewport.h"

namespace velumen {

class InkEraser {
  public:
    // Width of the eraser in view points, at every zoom.
    static constexpr float kEraserSize = 50.0f;

    InkEraser(EditorViewport& viewport, PageInkEditor& editor) : viewport_(viewport), editor_(editor) {}

    float eraserSize = kEraserSize;
    KColor eraserColor = KColor::KColorWithR(1, 1, 1, 1);

    // Removes only ink of `currentLineColor` (alpha aside) while set.
    bool isErasingSelectedColor = false;
    KColor currentLineColor;

    // The page shows less ink: one repaint at the next display tick.
    std::function<void()> setFrameUpdateNeeded;

    // The stamp's square in canvas units around the view point: a circle of eraserSize / zoom across.
    Rect eraserCircleAtViewPoint(Point viewPoint) const;
    // One stamp on the current page's ink; empty runs stay so that indices hold during the gesture.
    // True when any dot went.
    bool eraseAtPoint(Point viewPoint);
    // The end of a gesture begun with `snapshot`: one undo step, then the emptied runs leave the list.
    void endErasing(const KVSPointSetArrayPtr& snapshot);

  private:
    EditorViewport& viewport_;
    PageInkEditor& editor_;
};

}  // namespace velumen
