// Touch scripts played through an editor: the clock follows the script, the surface takes the script's
// view size, and every record goes in through the editor's touch router like a touch from the screen.
#pragma once

#include <optional>
#include <vector>

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

// Plays a script into the editor: its pen lines choose the pen as the palette does (a width or colour left
// out is the one last used with that pen), its zoom lines zoom about the middle of the view.
void replayTouchScript(FoliantViewController& editor, ManualClock& clock, const TouchScript& script);
// A pen as a script's pen line chooses it.
void choosePen(FoliantViewController& editor, const ScriptPen& pen);
// The zoom, within the page's limits, about the middle of the view, as a script's zoom line sets it.
void setZoomAboutMiddle(FoliantViewController& editor, float zoom);
void replaySteps(FoliantViewController& editor, ManualClock& clock, const std::vector<ReplayStep>& steps);

// The notebook's demonstration on a view of this size whose page lies at `page` (in view points): a
// stroke or two with each pen, one of them a stylus with changing pressure, and a cut of the eraser, all
// inside the page.
std::vector<ReplayStep> demoSteps(Size view, Rect page);

}  // namespace velumen
