// Pictures on their way into the conversion into ink: read with their orientation flag applied, scaled down
// into the conversion's size limit (decoded at reduced size where the format allows it, as JPEG does), and
// turned into the conversion's byte layout. A picture too large to decode whole in a format that cannot be
// decoded at reduced size is refused with a reason instead of exhausting memory. Needs no application object.
#pragma once

#include <QImage>
#include <QString>
#include <cstdint>
#include <optional>
#include <string>

#include "imagetoink/RgbaImage.h"

class QIODevice;

namespace velumen {

// The longest side, in pixels, that a picture keeps for conversion: 1280, or 2048 for the high-resolution
// conversion, and 1024 on a machine of at most 299999 bytes of memory.
int tracegrabSizeLimit(std::uint64_t totalMemoryBytes, bool highResolution);
// The machine's memory in bytes (0 when it cannot be known).
std::uint64_t totalMemory();

// The largest picture, in bytes of decoded pixels, that is decoded whole before being scaled down.
inline constexpr std::int64_t kMaxFullDecodeBytes = 256ll * 1024 * 1024;

// The size that fits `size` into a `limit` by `limit` box, keeping its proportions; `size` itself when it
// fits. Never below 1 pixel a side.
QSize sizeFittingLimit(QSize size, int limit);

// The picture in the file (or device), upright, at most `limit` pixels a side, in the conversion's layout.
// nullopt with `why` (a reason without the file's name) for something that is not a readable picture or is
// too large to decode.
std::optional<RgbaImage> readTracegrabPicture(const QString& path, int limit, std::string& why);
std::optional<RgbaImage> readTracegrabPicture(QIODevice* device, int limit, std::string& why);
// A toolkit picture, upright, scaled down into the limit, in the conversion's layout.
RgbaImage tracegrabPictureFromImage(const QImage& image, int limit);

// Between the conversion's layout and the toolkit's (RGBA, premultiplied, 8 bits a channel).
RgbaImage rgbaImageFromQImage(const QImage& image);
QImage qImageFromRgbaImage(const RgbaImage& image);

}  // namespace velumen
