#include "input/tools/TextTapTool.h"

#include "objects/TextBoxRules.h"

namespace velumen {

FoliantTextBoxPtr TextTapTool::textBoxAtPoint(Point p) const {
    const auto& page = editor_.currentPage();
    if (!page) return nullptr;
    for (const FoliantTextBoxPtr& box : page->textBoxes) {
        if (!box) continue;
        const Rect f = textbox::shownFrame(box->frame);
        if (p.x >= f.x && p.x < f.x + f.width && p.y >= f.y && p.y < f.y + f.height) return box;
    }
    return nullptr;
}

EditorEffects TextTapTool::begin(const StrokeSample& sample) {
    candidate_ = textBoxAtPoint(viewport_.eaglPointFromViewPoint(sample.viewPoint));
    return inner_.begin(sample);
}

EditorEffects TextTapTool::move(const StrokeSample& sample) {
    // The dispatcher reports moves only past its dead zone: this is no tap.
    candidate_.reset();
    return inner_.move(sample);
}

EditorEffects TextTapTool::end(const StrokeSample& sample, bool cancelled) {
    FoliantTextBoxPtr box = std::exchange(candidate_, nullptr);
    if (!box || cancelled) return inner_.end(sample, cancelled);
    tapped_ = std::move(box);
    EditorEffects effects = inner_.cancel();
    effects.textBoxTapped = true;
    return effects;
}

EditorEffects TextTapTool::cancel() {
    candidate_.reset();
    return inner_.cancel();
}

EditorEffects TextTapTool::interrupt() {
    candidate_.reset();
    return inner_.interrupt();
}

}  // namespace velumen
