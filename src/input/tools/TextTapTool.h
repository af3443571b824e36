// A tap on a text box opens it for editing. This stands in front of the tool of a single-pointer mode
// (the pen, the eraser): every sample goes on to that tool, so a stroke that starts over a box still draws
// or erases; but a pointer that lands on a box and lifts without moving is a tap, and then the tool's
// gesture is dropped without a trace and the tapped box waits in `takeTappedTextBox` for the editor.
#pragma once

#include <optional>
#include <utility>

#include "document/PageInkEditor.h"
#include "input/EditorViewport.h"
#include "input/tools/Tool.h"

namespace velumen {

class TextTapTool : public Tool {
  public:
    TextTapTool(Tool& inner, const PageInkEditor& editor, const EditorViewport& viewport)
        : inner_(inner), editor_(editor), viewport_(viewport) {}

    // The first box (back to front) of the current page whose shown frame holds the canvas point.
    FoliantTextBoxPtr textBoxAtPoint(Point canvasPoint) const;
    // The box of the last tap, once.
    FoliantTextBoxPtr takeTappedTextBox() { return std::exchange(tapped_, nullptr); }

    EditorEffects begin(const StrokeSample& sample) override;
    EditorEffects move(const StrokeSample& sample) override;
    EditorEffects end(const StrokeSample& sample, bool cancelled) override;
    EditorEffects cancel() override;
    EditorEffects interrupt() override;
    bool hasOverlay() const override { return inner_.hasOverlay(); }
    void drawOverlay(QPainter& painter) const override { inner_.drawOverlay(painter); }

  private:
    Tool& inner_;
    const PageInkEditor& editor_;
    const EditorViewport& viewport_;
    FoliantTextBoxPtr candidate_;
    FoliantTextBoxPtr tapped_;
};

}  // namespace velumen
