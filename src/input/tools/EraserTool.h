// The eraser: stamps of a circle of constant size on the screen that remove whole dots from the page's ink.
// The whole gesture runs through the page editor: it erases on a copy of the page's list, so that a second
// finger puts the page back without a trace, and it ends in one undo step.
#pragma once

#include "document/PageInkEditor.h"
#include "input/EditorViewport.h"
#include "input/tools/Tool.h"

namespace velumen {

class EraserTool : public Tool {
  public:
    // Width of the eraser in view points, at every zoom.
    static constexpr float kEraserSize = 50.0f;

    EraserTool(PageInkEditor& editor, const EditorViewport& viewport, const StrokeSampler& sampler)
        : editor_(editor), viewport_(viewport), sampler_(sampler) {}

    // Removes only ink of the pen's current colour (alpha aside) while set.
    bool isErasingSelectedColor = false;

    // The stamp's square in canvas units around the view point: a circle of kEraserSize / zoom across.
    Rect eraserCircleAtViewPoint(Point viewPoint) const;

    EditorEffects begin(const StrokeSample& sample) override;
    EditorEffects move(const StrokeSample& sample) override;
    EditorEffects end(const StrokeSample& sample, bool cancelled) override;
    EditorEffects cancel() override;

  private:
    EditorEffects eraseAtPoint(Point viewPoint);

    PageInkEditor& editor_;
    const EditorViewport& viewport_;
    const StrokeSampler& sampler_;
};

}  // namespace velumen
