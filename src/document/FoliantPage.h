// One page of a book: its ink, its saved zoom and pan, and an identity for this run of the program.
#pragma once

#include <cstdint>
#include <optional>

#include "ink/KGeometry.h"
#include "ink/KVSPointSetArray.h"

namespace velumen {

class FoliantPage {
  public:
    using PageId = std::uint64_t;

    FoliantPage();
    // A page is shared by reference; a copy would share the identity that keys its undo stack.
    FoliantPage(const FoliantPage&) = delete;
    FoliantPage& operator=(const FoliantPage&) = delete;

    // Unique within the process, never 0, never reused; it follows the object, not its place in a book.
    PageId pageId() const { return pageId_; }

    // The page's saved zoom; 0 until the editor stores one.
    float zoomFactor = 0;
    // The page's ink, one run per stroke, oldest first.
    KVSPointSetArrayPtr pointSets;
    // Seconds since 1 January 2001 UTC; stamped only when the editor creates the page.
    std::optional<double> modifiedDate;
    // The page's saved pan offset.
    Point panDelta;

  private:
    PageId pageId_;
};

}  // namespace velumen
