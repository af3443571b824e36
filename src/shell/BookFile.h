// One book on disk, until the document lifecycle takes over: read it (a one-page book when there is none)
// and write it back atomically.
#pragma once

#include <QString>
#include <string>

#include "document/FoliantData.h"

namespace velumen {

class ImageCodec;

// A new book of one empty page.
FoliantDataPtr newOnePageBook();
// The book at `path`; a new one-page book when the file does not exist. A file that cannot be read gives
// null and `error`.
FoliantDataPtr readBook(const QString& path, const ImageCodec& codec, std::string& error);
// Writes through a temporary file renamed into place, as the open book's saves do; false with `error`, which
// names the system's reason (a full disk, a size limit), on failure. The old file is then left as it was.
bool writeBook(FoliantData& book, const QString& path, const ImageCodec& codec, std::string& error);

}  // namespace velumen
