// Touch scripts played through an editor: the clock follows the script, the surface takes the script's
// view size, and every record goes in through the editor's touch router like a touch from the screen.
#pragma once

#include <vector>

#include <optional>

#include "ink/Clock.h"
#include "ink/KColor.h"
#include "input/TouchScript.h"

namespace velumen {

class FoliantViewController;

// A script, played with a pen chosen first (-1 keeps the pen in use) and, when given, its colour.
struct ReplayStep {
    int penIndex = -1;
    TouchScript script;
    std::optional<KColor> color;
};

void replayTouchScript(FoliantViewController& editor, ManualClock& clock, const TouchScript& script);
void replaySteps(FoliantViewController& editor, ManualClock& clock, const std::vector<ReplayStep>& steps);

// The notebook's demonstration on a view of this size whose page lies at `page` (in view points): a
// stroke or two with each pen, one of them a stylus with changing pressure, and a cut of the eraser, all
// inside the page.
std::vector<ReplayStep> demoSteps(Size view, Rect page);

}  // namespace velumen
