#include "input/tools/DrawTool.h"

namespace velumen {

EditorEffects DrawTool::begin(const StrokeSample& sample) {
    sampler_.beginStroke(sample);
    return {};
}

EditorEffects DrawTool::move(const StrokeSample& sample) {
    sampler_.takeMovementSample(sample);
    return {};
}

EditorEffects DrawTool::end(const StrokeSample& sample, bool cancelled) {
    sampler_.endStroke(sample, cancelled);
    return EditorEffects::repaintOnly() | editor_.takeEffects();
}

EditorEffects DrawTool::cancel() {
    if (!sampler_.currentLine) return {};
    sampler_.cancelCurrentLine();
    return EditorEffects::repaintOnly();
}

EditorEffects DrawTool::interrupt() {
    EditorEffects effects;
    if (sampler_.currentLine) {
        if (sampler_.currentLine->points.size() < kMinRawPointsToKeep) {
            sampler_.cancelCurrentLine();
            effects.repaint = true;
        } else {
            sampler_.commitCurrentLine();
        }
    }
    // Ready for a stroke that a remaining finger may start; the live drawing's capture goes.
    if (sampler_.renderer) sampler_.renderer->deleteInkSnapshot();
    sampler_.currentLine.reset();
    sampler_.startNewLine();
    return effects | editor_.takeEffects();
}

}  // namespace velumen
