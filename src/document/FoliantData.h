// A book: its pages in order, a preview, a lock flag and at most one book-wide master image; and the
// light twin that the gallery reads from the same bytes to learn a book's preview and current page.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "document/FoliantPage.h"
#include "objects/FoliantImage.h"
#include "objects/KImage.h"

namespace velumen {

class KeyedEncoder;
class KeyedDecoder;

class FoliantData;
using FoliantDataPtr = std::shared_ptr<FoliantData>;

class FoliantData {
  public:
    static constexpr std::int64_t kCurrentVersion = 103;
    // Books from this version on have pages; older ones hold one implied page at book level.
    static constexpr std::int64_t kPagesVersion = 102;
    // Preview quality: a double-density preview has pixels to spare.
    static constexpr double kThumbnailQualityAtScale2 = 0.0;
    static constexpr double kThumbnailQuality = 0.5;

    // Version 103, no pages, no master image, no current page.
    FoliantData() = default;

    const FoliantPagePtr& currentPage() const { return currentPage_; }

    // Forwarded to the current page; with none, the getters read as nil or zero and the setters do nothing.
    KVSPointSetArrayPtr pointSets() const;
    void setPointSets(KVSPointSetArrayPtr runs);
    float zoomFactor() const;
    void setZoomFactor(float zoom);
    Point panDelta() const;
    void setPanDelta(Point pan);

    const KImagePtr& thumbnail() const { return thumbnail_; }
    // Stores the preview, drops the cached bytes, and takes the image's scale truncated (0 for none).
    void setThumbnail(KImagePtr image);
    // The JPEG bytes of the preview as last read or encoded.
    const FoliantImage::Bytes& thumbnailData() const { return thumbnailData_; }
    std::int32_t thumbnailScale() const { return thumbnailScale_; }

    std::int64_t version() const { return version_; }
    void setVersion(std::int64_t version) { version_ = version; }

    std::vector<FoliantPagePtr>& pages() { return pages_; }
    const std::vector<FoliantPagePtr>& pages() const { return pages_; }
    void setPages(std::vector<FoliantPagePtr> pages) { pages_ = std::move(pages); }

    std::int64_t pageNum() const { return pageNum_; }
    // Stores the index and makes that entry current. The caller guards the range: an index outside the
    // pages raises std::out_of_range and changes nothing.
    void setPageNum(std::int64_t index);

    bool isLocked() const { return isLocked_; }
    void setIsLocked(bool locked) { isLocked_ = locked; }
    std::int64_t savingDeviceType() const { return savingDeviceType_; }
    void setSavingDeviceType(std::int64_t type) { savingDeviceType_ = type; }

    std::vector<FoliantImagePtr>& masterImages() { return masterImages_; }
    const std::vector<FoliantImagePtr>& masterImages() const { return masterImages_; }
    void setMasterImages(std::vector<FoliantImagePtr> images) { masterImages_ = std::move(images); }

    // A new empty page, not inserted.
    static FoliantPagePtr createNewPage();
    // Removes the page at index and keeps a valid current page. False, with nothing changed, for an index
    // past the end; otherwise true exactly when the current page is another object than before. The last
    // page may not be removed (the caller keeps one at least).
    bool removePageAtIndex(std::uint64_t index);

    // Writes version 103, the preview (cached bytes, else a JPEG made now), the pages, the page number, the
    // lock and the master image, trimming the master images to the last one first.
    void encodeWithCoder(KeyedEncoder& coder);
    // Reads any version. Raises ArchiveError for a page number outside the pages.
    static FoliantDataPtr initWithCoder(const KeyedDecoder& coder);

  private:
    FoliantPagePtr currentPage_;
    FoliantImage::Bytes thumbnailData_;
    std::int32_t thumbnailScale_ = 0;
    bool isLocked_ = false;
    std::int64_t version_ = kCurrentVersion;
    KImagePtr thumbnail_;
    std::vector<FoliantPagePtr> pages_;
    std::int64_t pageNum_ = 0;
    std::int64_t savingDeviceType_ = 0;
    std::vector<FoliantImagePtr> masterImages_;
};

// What the gallery learns of a book without building its pages.
struct FoliantPartialData {
    bool isLocked = false;
    std::int32_t version = 0;
    std::int32_t pageNum = 0;
    std::int32_t savingDeviceType = 0;
    KImagePtr thumbnail;

    // Reads "version", the preview and, from version 102 on, "pageNum" and "isLocked"; never "pages".
    static std::shared_ptr<FoliantPartialData> initWithCoder(const KeyedDecoder& coder);
    // Version 103, the preview as a fresh JPEG, the page number and the lock. Nothing saves it.
    void encodeWithCoder(KeyedEncoder& coder) const;
};

// The whole-file read: nullptr when the bytes hold no book (an empty file, a nil root); raises
// ArchiveError for bytes that are not a readable book. The codec decodes the preview; without one the
// preview's bytes are kept and no image is made.
FoliantDataPtr unarchiveFoliantData(std::span<const std::uint8_t> bytes, const ImageCodec* codec);
// The whole-file write, version 103. Raises ArchiveError only for text that cannot be written (not UTF-8).
std::vector<std::uint8_t> archivedDataWithRootObject(FoliantData& book, const ImageCodec* codec);
// The same into `out`, reusing its storage: what a recurring save does, so that it need not fault in a new
// buffer the size of the book each time.
void archiveFoliantData(FoliantData& book, const ImageCodec* codec, std::vector<std::uint8_t>& out);
// The gallery's read: any failure means no information.
std::optional<FoliantPartialData> unarchivePartialData(std::span<const std::uint8_t> bytes, const ImageCodec* codec);

}  // namespace velumen
