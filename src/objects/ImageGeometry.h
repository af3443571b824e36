// Where a picture goes: the fit and fill rules that place a picture of one size in a rectangle of another,
// used by inserted pictures, the editing presets and the stationery.
#pragma once

#include "ink/KGeometry.h"

namespace velumen {

// The page in page units.
inline constexpr Size kCanvasSize{1536, 1920};

// The source scaled by the smaller of target width / source width and target height / source height;
// equal sizes give the target.
Size fitSize(Size source, Size target);
// The target's origin with the fit size; a source with a zero side gives the target's own size.
Rect fitRect(Size source, const Rect& target);
// Scaled by the greater ratio. When the width ratio is greater, x is the target's x and y centres the
// height in the target's height; when the height ratio is greater, y is the target's y and x centres the
// width; equal ratios keep the target's origin. The centring offsets leave out the target's origin (the
// placement is kept as books have it).
Rect fillRect(Size source, const Rect& target);
// The size of the picture that scaling `source` into `target` draws: with fill the target itself (the
// overflow is cropped); without fill the rounded size scaled by the smaller ratio.
Size scaledAndCroppedSize(Size source, Size target, bool fill);

}  // namespace velumen
