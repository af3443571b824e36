// The rules of text boxes that need no text layout: where a new box goes, the ladder of point sizes, how a
// stored frame and size become the shown ones (within limits, whatever a file holds), how a dragged box
// stays on the page, and the width grip's floor.
#pragma once

#include <array>
#include <cstdint>

#include "ink/KGeometry.h"

namespace velumen {

namespace textbox {

// A new box's size in page units.
inline constexpr double kNewBoxWidth = 750;
inline constexpr double kNewBoxHeight = 61;
// The margin a new box keeps from the page's edges.
inline constexpr double kNewBoxMargin = 10;
// The narrowest a drag of the width grip makes a box, and the lowest height a fitted box gets.
inline constexpr double kMinimumWidth = 50;
inline constexpr double kMinimumHeight = 20;
// The point sizes the smaller and larger buttons step through.
inline constexpr std::array<int, 13> kSizeLadder{10, 12, 14, 18, 24, 36, 48, 64, 72, 96, 144, 288, 360};

// Limits of what is shown (the stored values stay as they are): a point size is rounded and kept within
// these; a frame's origin within kOriginLimit of the page on either axis, its width within
// [kMinimumShownWidth, kMaximumShownWidth]; a value that is not a number reads as 0 (origin), the minimum
// (width) or kDefaultPointSize (size).
inline constexpr int kMinimumPointSize = 1;
inline constexpr int kMaximumPointSize = 2000;
inline constexpr float kDefaultPointSize = 48;
inline constexpr double kOriginLimit = 10000;
inline constexpr double kMinimumShownWidth = 1;
inline constexpr double kMaximumShownWidth = 20000;
// Text beyond this many bytes is not shown, and a box holding more opens for reading only, so that its
// stored text is never cut.
inline constexpr std::size_t kMaximumShownTextLength = 20000;

// A new box of kNewBoxWidth x kNewBoxHeight centred on the touch, kept inside the page less its margin;
// a box that would pass the page's foot keeps its y and is moved sideways instead (its x becomes the
// bottom limit less its height), as books made elsewhere expect.
Rect newTextBoxFrame(Point touch, Size page);

// The size the smaller button gives: nothing (the same size) under 2, else the largest ladder value
// below, else one less.
int smallerTextSize(int present);
// The size the larger button gives: 10 under 10, else the smallest ladder value above, else one more.
int largerTextSize(int present);
// The custom size slider's top: 48 up to size 24, 360 above.
float customTextSizeMaximum(float present);

// The point size a view shows for a stored size: rounded to an integer, within the limits above.
int shownPointSize(float stored);
// The frame a view shows for a stored one: origin rounded down, size up, within the limits above.
Rect shownFrame(const Rect& stored);
// An alignment the views know: 0 left, 1 centre, 2 right; anything else reads as left.
std::int64_t shownAlignment(std::int64_t stored);
// The origin of a dragged box: rounded down, then kept on the page (at most page less box, at least 0).
Point draggedOrigin(Point wanted, Size boxSize, Size page);
// The width a drag of the grip gives: rounded up, at least kMinimumWidth.
double draggedWidth(double movement, double widthAtStart);

}  // namespace textbox

}  // namespace velumen
