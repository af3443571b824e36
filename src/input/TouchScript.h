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
#pragma once

#include <QString>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ink/Clock.h"
#include "ink/KGeometry.h"
#include "input/TouchRecord.h"

namespace velumen {

class TouchRouter;

struct TouchScriptEvent {
    double time = 0;
    Size viewSize;
    std::vector<TouchRecord> touches;  // the touches that changed
    int line = 0;                      // of its first record, counting from 1
};

struct TouchScript {
    std::vector<TouchScriptEvent> events;
};

// The script in `text`, or nullopt with `error` set to "LINE N: what is wrong".
std::optional<TouchScript> parseTouchScript(const QByteArray& text, std::string& error);

// One record as a script line, without the newline; numbers written to read back exactly.
std::string touchScriptLine(const TouchRecord& touch, Size viewSize);

// Plays the events in order: the clock is set to each event's time, `resize` is called when the view size
// differs from the last one (and before the first event), then the router gets the event's records.
void playTouchScript(const TouchScript& script, TouchRouter& router, ManualClock& clock,
                     const std::function<void(Size)>& resize = {});

}  // namespace velumen
