#include "input/tools/EraserTool.h"

namespace velumen {

Rect EraserTool::eraserCircleAtViewPoint(Point viewPoint) const {
    const Point c = viewport_.eaglPointFromViewPoint(viewPoint);
    const float s = kEraserSize / viewport_.view.zoomFactor;
    const float half = s * 0.5f;
    return {c.x - double(half), c.y - double(half), double(s), double(s)};
}

EditorEffects EraserTool::eraseAtPoint(Point viewPoint) {
    const KColor color = sampler_.currentLineColor;
    return editor_.eraseInCircle(eraserCircleAtViewPoint(viewPoint), isErasingSelectedColor ? &color : nullptr);
}

EditorEffects EraserTool::begin(const StrokeSample& sample) {
    EditorEffects effects = editor_.beginErasing();
    return effects | eraseAtPoint(sample.viewPoint);
}

EditorEffects EraserTool::move(const StrokeSample& sample) {
    return eraseAtPoint(sample.viewPoint);
}

EditorEffects EraserTool::end(const StrokeSample& sample, bool) {
    EditorEffects effects = eraseAtPoint(sample.viewPoint);
    return effects | editor_.endErasing();
}

EditorEffects EraserTool::cancel() {
    return editor_.cancelErasing();
}

}  // namespace velumen
