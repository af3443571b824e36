// The pictures of page navigation, drawn here: "right arrow.png" and "add page icon.png" for the next
// button, and "blank page thumbnail.png" for a picker row whose picture is not made yet.
#pragma once

#include <QImage>
#include <string_view>

namespace velumen {

// The picture by its resource name at the given device pixel ratio; null for an unknown name.
QImage pageIconImage(std::string_view name, double scale = 1.0);

}  // namespace velumen
