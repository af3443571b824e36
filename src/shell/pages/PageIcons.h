// The toolbar's pictures, drawn here: "right arrow.png" and "add page icon.png" for the next button,
// "blank page thumbnail.png" for a picker row whose picture is not made yet, and "lock icon.png" for the
// button that unlocks a locked book.
#pragma once

#include <QImage>
#include <string_view>

namespace velumen {

// The picture by its resource name at the given device pixel ratio; null for an unknown name.
QImage pageIconImage(std::string_view name, double scale = 1.0);

}  // namespace velumen
