#include "input/tools/EyeDropperTool.h"

#include "document/FoliantPage.h"

namespace velumen {

Rect EyeDropperTool::pickRectAtViewPoint(Point viewPoint) const {
    const Point c = viewport_.eaglPointFromViewPoint(viewPoint);
    const double d = double(kPickSize / viewport_.view.zoomFactor);
    return {c.x - d / 2, c.y - d / 2, d, d};
}

EditorEffects EyeDropperTool::eyeDropPickColorAtPoint(Point viewPoint) {
    Pick pick;
    const auto& page = editor_.currentPage();
    if (page && page->pointSets) {
        if (KVSPointSetPtr run = page->pointSets->topmostPointSetInCircle(pickRectAtViewPoint(viewPoint)))
            pick.color = run->color();
    }
    pick_ = pick;
    return {.colorPicked = true};
}

}  // namespace velumen
