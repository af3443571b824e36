#include "document/FoliantData.h"

#include <cmath>
#include <stdexcept>

#include "document/InkCoding.h"
#include "document/KeyedArchive.h"
#include "document/LegacyUpgrade.h"

namespace velumen {

namespace {

std::int32_t truncatedScale(double scale) {
    if (!(scale > 0)) return 0;
    if (scale >= 2147483647.0) return 2147483647;
    return static_cast<std::int32_t>(scale);
}

double thumbnailQuality(const KImage& image) {
    return image.scale == 2.0 ? FoliantData::kThumbnailQualityAtScale2 : FoliantData::kThumbnailQuality;
}

// "thumbnail.scale" as stored, taken as unsigned: 0 and 1 both mean 1.
std::uint32_t storedThumbnailScale(const KeyedDecoder& coder) {
    const auto scale = static_cast<std::uint32_t>(coder.decodeInt32ForKey("thumbnail.scale"));
    return scale <= 1 ? 1 : scale;
}

KImagePtr decodeThumbnail(const KeyedDecoder& coder, std::span<const std::uint8_t> bytes, std::uint32_t scale) {
    const ImageCodec* codec = coder.imageCodec();
    if (!codec) return nullptr;
    return codec->decode(bytes, scale >= 2 ? static_cast<double>(scale) : 1.0);
}

}  // namespace

KVSPointSetArrayPtr FoliantData::pointSets() const { return currentPage_ ? currentPage_->pointSets : nullptr; }

void FoliantData::setPointSets(KVSPointSetArrayPtr runs) {
    if (currentPage_) currentPage_->pointSets = std::move(runs);
}

float FoliantData::zoomFactor() const { return currentPage_ ? currentPage_->zoomFactor : 0.0f; }

void FoliantData::setZoomFactor(float zoom) {
    if (currentPage_) currentPage_->zoomFactor = zoom;
}

Point FoliantData::panDelta() const { return currentPage_ ? currentPage_->panDelta : Point{}; }

void FoliantData::setPanDelta(Point pan) {
    if (currentPage_) currentPage_->panDelta = pan;
}

void FoliantData::setThumbnail(KImagePtr image) {
    thumbnail_ = std::move(image);
    thumbnailData_.reset();
    thumbnailScale_ = thumbnail_ ? truncatedScale(thumbnail_->scale) : 0;
}

void FoliantData::setPageNum(std::int64_t index) {
    if (index < 0 || static_cast<std::uint64_t>(index) >= pages_.size())
        throw std::out_of_range("page number outside the book");
    pageNum_ = index;
    currentPage_ = pages_[static_cast<std::size_t>(index)];
}

FoliantPagePtr FoliantData::createNewPage() { return std::make_shared<FoliantPage>(); }

bool FoliantData::removePageAtIndex(std::uint64_t index) {
    if (index >= pages_.size()) return false;
    const FoliantPagePtr previous = currentPage_;
    if (static_cast<std::int64_t>(index) < pageNum_) --pageNum_;
    pages_.erase(pages_.begin() + static_cast<std::ptrdiff_t>(index));
    if (pageNum_ >= static_cast<std::int64_t>(pages_.size())) --pageNum_;
    currentPage_ = pageNum_ >= 0 && !pages_.empty() ? pages_[static_cast<std::size_t>(pageNum_)] : nullptr;
    return currentPage_ != previous;
}

void FoliantData::encodeWithCoder(KeyedEncoder& coder) {
    version_ = kCurrentVersion;
    coder.encodeInt("version", version_);
    if (!thumbnailData_ && thumbnail_) {
        const ImageCodec* codec = coder.imageCodec();
        if (std::optional<std::vector<std::uint8_t>> jpeg =
                codec ? codec->encodeJpeg(*thumbnail_, thumbnailQuality(*thumbnail_)) : std::nullopt) {
            thumbnailData_ = std::make_shared<const std::vector<std::uint8_t>>(std::move(*jpeg));
            thumbnailScale_ = truncatedScale(thumbnail_->scale);
        }
    }
    if (thumbnailData_) {
        if (thumbnailScale_ < 1) thumbnailScale_ = 1;
        coder.encodeInt("thumbnail.scale", thumbnailScale_);
        coder.encodeData("thumbnail", *thumbnailData_);
    }
    coder.encodeArray("pages", pages_, {"NSMutableArray", "NSArray", "NSObject"}, {"FoliantPage", "NSObject"},
                      [](const FoliantPage& page, KeyedEncoder& inner) { page.encodeWithCoder(inner); });
    coder.encodeInt("pageNum", pageNum_);
    coder.encodeBool("isLocked", isLocked_);
    // Only the last master image counts; the others go for good.
    if (masterImages_.size() >= 2) masterImages_.erase(masterImages_.begin(), masterImages_.end() - 1);
    coder.encodeArray("masterImages", masterImages_, {"NSMutableArray", "NSArray", "NSObject"}, {"FoliantImage", "NSObject"},
                      [](const FoliantImage& image, KeyedEncoder& inner) { image.encodeWithCoder(inner); });
}

FoliantDataPtr FoliantData::initWithCoder(const KeyedDecoder& coder) {
    auto book = std::make_shared<FoliantData>();
    const std::int64_t version = coder.decodeInt32ForKey("version");
    const std::uint32_t scale = storedThumbnailScale(coder);
    book->thumbnailScale_ = 1;
    if (const auto bytes = coder.decodeDataForKey("thumbnail")) {
        coder.unarchiver().chargeBytes(bytes->size());
        book->thumbnailData_ = std::make_shared<const std::vector<std::uint8_t>>(bytes->begin(), bytes->end());
        book->thumbnailScale_ = static_cast<std::int32_t>(scale);
        book->thumbnail_ = decodeThumbnail(coder, *bytes, scale);
    }
    std::int64_t pageNum = 0;
    if (version >= kPagesVersion) {
        if (auto pages = coder.decodeArrayForKey<FoliantPage>("pages", {"FoliantPage"}, FoliantPage::initWithCoder))
            book->pages_ = std::move(*pages);
        pageNum = coder.decodeInt32ForKey("pageNum");
        book->isLocked_ = coder.decodeBoolForKey("isLocked");
        if (version != kPagesVersion) {
            if (auto images =
                    coder.decodeArrayForKey<FoliantImage>("masterImages", {"FoliantImage"}, FoliantImage::initWithCoder))
                book->masterImages_ = std::move(*images);
        }
    } else {
        // One implied page, its ink and view at book level.
        FoliantPagePtr page = createNewPage();
        const std::optional<std::string> inkClass = coder.classNameForKey("pointSets");
        if (inkClass == "KPointSetArray") {
            const auto legacy = coder.decodeObjectForKey<KPointSetArray>("pointSets", {"KPointSetArray"},
                                                                         initKPointSetArrayWithCoder);
            page->pointSets = convertKPointSetArrayToKVSPointSetArray(*legacy);
        } else {
            page->pointSets = decodePointSetsForKey(coder, "pointSets");
        }
        page->panDelta = coder.decodeCGPointForKey("panDelta");
        page->zoomFactor = coder.decodeFloatForKey("zoomFactor");
        book->pages_.push_back(std::move(page));
    }
    book->version_ = version;
    try {
        book->setPageNum(pageNum);
    } catch (const std::out_of_range&) {
        throw ArchiveError("the current page is not in the book");
    }
    return book;
}

std::shared_ptr<FoliantPartialData> FoliantPartialData::initWithCoder(const KeyedDecoder& coder) {
    auto info = std::make_shared<FoliantPartialData>();
    info->version = coder.decodeInt32ForKey("version");
    const std::uint32_t scale = storedThumbnailScale(coder);
    if (const auto bytes = coder.decodeDataForKey("thumbnail")) info->thumbnail = decodeThumbnail(coder, *bytes, scale);
    if (info->version >= FoliantData::kPagesVersion) {
        info->pageNum = coder.decodeInt32ForKey("pageNum");
        info->isLocked = coder.decodeBoolForKey("isLocked");
    }
    return info;
}

void FoliantPartialData::encodeWithCoder(KeyedEncoder& coder) const {
    coder.encodeInt("version", FoliantData::kCurrentVersion);
    // The bytes live in the encoder's archive until it is finished; keep them with the archiver.
    if (thumbnail && coder.imageCodec()) {
        if (auto jpeg = coder.imageCodec()->encodeJpeg(*thumbnail, thumbnailQuality(*thumbnail))) {
            coder.encodeInt("thumbnail.scale", std::max(1, truncatedScale(thumbnail->scale)));
            coder.encodeOwnedData("thumbnail", std::move(*jpeg));
        }
    }
    coder.encodeInt("pageNum", pageNum);
    coder.encodeBool("isLocked", isLocked);
}

FoliantDataPtr unarchiveFoliantData(std::span<const std::uint8_t> bytes, const ImageCodec* codec) {
    if (bytes.empty()) return nullptr;
    try {
        KeyedUnarchiver unarchiver(bytes, codec);
        return unarchiver.decodeRootObject<FoliantData>({"FoliantData"}, FoliantData::initWithCoder);
    } catch (const ArchiveError&) {
        throw;
    } catch (const std::exception& e) {
        throw ArchiveError(e.what());
    }
}

std::vector<std::uint8_t> archivedDataWithRootObject(FoliantData& book, const ImageCodec* codec) {
    std::vector<std::uint8_t> out;
    archiveFoliantData(book, codec, out);
    return out;
}

void archiveFoliantData(FoliantData& book, const ImageCodec* codec, std::vector<std::uint8_t>& out) {
    KeyedArchiver archiver(codec);
    const bool written = archiver.archiveRootObject(
        book, {"FoliantData", "NSObject"}, [&book](const FoliantData&, KeyedEncoder& coder) { book.encodeWithCoder(coder); },
        out);
    if (!written) throw ArchiveError("the book holds text that cannot be written");
}

std::optional<FoliantPartialData> unarchivePartialData(std::span<const std::uint8_t> bytes, const ImageCodec* codec) {
    try {
        if (bytes.empty()) return std::nullopt;
        KeyedUnarchiver unarchiver(bytes, codec);
        const auto info =
            unarchiver.decodeRootObject<FoliantPartialData>({"FoliantData"}, FoliantPartialData::initWithCoder);
        if (!info) return std::nullopt;
        return *info;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace velumen
