// The pages of a PDF file become new pages of a book: each new page holds its PDF page as one picture,
// rendered without bands onto white (pictures are kept as JPEG, which has no transparency), fitted and
// centred in the page, at most `maxSide` pixels on its longer side. One PDF page is rendered, encoded and
// let go before the next, so memory does not grow with the page count. Adding pages is not undoable.
#pragma once

#include <QString>
#include <cstdint>
#include <functional>
#include <string>

#include "document/FoliantData.h"
#include "objects/KImage.h"

namespace velumen {

struct PdfImportResult {
    // Pages added to the book (all of them unless cancelled or a page failed to render).
    int pagesAdded = 0;
    int pagesInFile = 0;
    bool cancelled = false;
    // Why nothing could be added; empty on success.
    std::string error;
};

// Appends the pages after the book's last page. `progress` is called before each page with the pages done
// and the total; returning false stops there, keeping the pages already added. The book is untouched when
// the file cannot be read.
PdfImportResult importPdfPages(const QString& path, FoliantData& book, const ImageCodec& codec, int maxSide,
                               const std::function<bool(int done, int total)>& progress = {});

}  // namespace velumen
