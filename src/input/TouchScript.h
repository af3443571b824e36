// Touch scripts: a recording of touches, one JSON object per line, that can be played through the touch
// path again to reproduce a stroke exactly.
//
//   {"time": 0.016, "phase": "moved", "id": 1, "x": 120.5, "y": 300, "type": "stylus", "force": 0.4,
//    "radius": 6.5, "view": [768, 1024]}
//
// time in seconds (never decreasing), phase began | moved | stationary | ended | cancelled, id an integer,
// x and y in view points, type finger | stylus, force 0..1 (optional, 0 by default), radius the contact's
// major radius in points (optional; absent or null where the device reports no contact area), view the
// surface's width and height in points. Lines with the same time make one event. Empty lines and lines
// starting with '#' are passed over.
//
// Two more kinds of line set up what the touches draw with, between touches (never while one is down):
//
//   {"time": 0, "pen": {"index": 2, "width": 12, "color": [0.1, 0.2, 0.6, 1]}}
//   {"time": 0, "zoom": 1.5}
//
// pen chooses the pen by its type index in the palettes (0 eraser, 1 fountain pen, 2 pencil, 3 brush,
// 4 hilighter), with its width in page units (optional: the width last used with that pen) and its colour
// as red, green, blue and optionally alpha from 0 to 1 (optional: the colour last used with that pen).
// zoom sets the page's zoom about the middle of the view, within the page's zoom limits.
#pragma once

#include <QString>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ink/Clock.h"
#include "ink/KColor.h"
#include "ink/KGeometry.h"
#include "input/TouchRecord.h"

namespace velumen {

class TouchRouter;

// A pen chosen by a script line.
struct ScriptPen {
    // Pen type index of the palettes: 0 eraser, 1 fountain pen, 2 pencil, 3 brush, 4 hilighter.
    int index = 1;
    std::optional<float> width;   // page units; absent: the width last used with the pen
    std::optional<KColor> color;  // absent: the colour last used with the pen's ink type
};

// One event of touches, or one pen or zoom line (then without touches).
struct TouchScriptEvent {
    double time = 0;
    Size viewSize;                     // of the touches; 0 by 0 for a pen or zoom line
    std::vector<TouchRecord> touches;  // the touches that changed
    int line = 0;                      // of its first record, counting from 1
    std::optional<ScriptPen> pen;
    std::optional<float> zoom;
};

struct TouchScript {
    std::vector<TouchScriptEvent> events;

    // The view of the first touch event; nullopt when there is none.
    std::optional<Size> firstViewSize() const;
};

// What a played script asks of the editor besides its touches; any may be empty.
struct TouchScriptHooks {
    // The view's size differs from the last one (and before the first touch event).
    std::function<void(Size)> resize;
    std::function<void(const ScriptPen&)> choosePen;
    std::function<void(float)> setZoom;
};

// The script in `text`, or nullopt with `error` set to "LINE N: what is wrong".
std::optional<TouchScript> parseTouchScript(const QByteArray& text, std::string& error);

// One record as a script line, without the newline; numbers written to read back exactly.
std::string touchScriptLine(const TouchRecord& touch, Size viewSize);
// A pen line and a zoom line, likewise.
std::string touchScriptPenLine(double time, const ScriptPen& pen);
std::string touchScriptZoomLine(double time, float zoom);

// Plays the events in order: the clock is set to each event's time; a pen or zoom line goes to its hook;
// for touches, `resize` is called when the view size differs from the last one, then the router gets the
// event's records.
void playTouchScript(const TouchScript& script, TouchRouter& router, ManualClock& clock,
                     const TouchScriptHooks& hooks = {});

}  // namespace velumen
