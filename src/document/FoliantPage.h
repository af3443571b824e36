// One page of a book: its ink, its saved zoom and pan, and an identity for this run of the program.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "ink/KGeometry.h"
#include "ink/KVSPointSetArray.h"
#include "objects/FoliantImage.h"

namespace velumen {

class FoliantTextBox;
class KeyedEncoder;
class KeyedDecoder;

class FoliantPage;
using FoliantPagePtr = std::shared_ptr<FoliantPage>;

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
    // The page's ink, one run per stroke, oldest first. Null only in a page read from a file that had
    // none; it then reads as empty.
    KVSPointSetArrayPtr pointSets;
    // Seconds since 1 January 2001 UTC; stamped only when the editor creates the page.
    std::optional<double> modifiedDate;
    // The page's saved pan offset.
    Point panDelta;
    // Placed images and text boxes, back to front.
    std::vector<FoliantImagePtr> images;
    std::vector<std::shared_ptr<FoliantTextBox>> textBoxes;

    // "pointSets", "panDelta", "zoomFactor", "modifiedDate", "images", "textBoxes".
    void encodeWithCoder(KeyedEncoder& coder) const;
    static FoliantPagePtr initWithCoder(const KeyedDecoder& coder);

  private:
    PageId pageId_;
};

}  // namespace velumen
