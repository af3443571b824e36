// How the page is shown: every page is a fixed canvas of kPageSize units, drawn scaled by the zoom and
// moved by the ink pan. The editor's viewport owns the one transform of the open page; the stroke engine
// and the compositor read it and keep no copy.
#pragma once

#include "ink/KGeometry.h"

namespace velumen {

// The size of every page, in canvas units.
inline constexpr Size kPageSize{1536, 1920};

struct ViewTransform {
    // View points per canvas unit.
    float zoomFactor = 1.0f;
    // Where the canvas origin lies in the surface, in view points.
    Point inkPanDelta;

    friend bool operator==(const ViewTransform&, const ViewTransform&) = default;
};

}  // namespace velumen
