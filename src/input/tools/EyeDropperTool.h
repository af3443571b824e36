// The eyedropper: while it is the tool, a pointer on the page takes the colour of the ink under it, at the
// touch and at every move. It reads the page's runs, never the rendered pixels, so pictures, the paper and
// overlapping blends are invisible to it; it never changes the page. What it found waits in `takePick` for
// the editor, which writes it into the palette and the pen.
#pragma once

#include <optional>
#include <utility>

#include "document/PageInkEditor.h"
#include "input/EditorViewport.h"
#include "input/tools/Tool.h"

namespace velumen {

class EyeDropperTool : public Tool {
  public:
    // The side of the square searched, in view points at every zoom.
    static constexpr float kPickSize = 30.0f;

    EyeDropperTool(const PageInkEditor& editor, const EditorViewport& viewport)
        : editor_(editor), viewport_(viewport) {}

    // One look at the page: the colour of the topmost run with a dot in the square around the view point,
    // or nothing over empty paper.
    struct Pick {
        std::optional<KColor> color;
    };
    // The square searched around a view point, in canvas units: kPickSize / zoom across.
    Rect pickRectAtViewPoint(Point viewPoint) const;
    // What the last look found, once; nothing when no look happened since the last call.
    std::optional<Pick> takePick() { return std::exchange(pick_, std::nullopt); }

    EditorEffects begin(const StrokeSample& sample) override { return eyeDropPickColorAtPoint(sample.viewPoint); }
    EditorEffects move(const StrokeSample& sample) override { return eyeDropPickColorAtPoint(sample.viewPoint); }
    EditorEffects end(const StrokeSample&, bool) override { return {}; }
    EditorEffects cancel() override { return {}; }
    // Another finger landing does not undo a colour already taken.
    EditorEffects interrupt() override { return {}; }

  private:
    EditorEffects eyeDropPickColorAtPoint(Point viewPoint);

    const PageInkEditor& editor_;
    const EditorViewport& viewport_;
    std::optional<Pick> pick_;
};

}  // namespace velumen
