#include "document/FoliantPage.h"

#include <atomic>
#include <memory>

#include "document/InkCoding.h"
#include "document/KeyedArchive.h"
#include "objects/FoliantTextBox.h"

namespace velumen {

namespace {

FoliantPage::PageId nextPageId() {
    static std::atomic<FoliantPage::PageId> counter{0};
    return counter.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

FoliantPage::FoliantPage() : pointSets(std::make_shared<KVSPointSetArray>()), pageId_(nextPageId()) {}

void FoliantPage::encodeWithCoder(KeyedEncoder& coder) const {
    encodePointSetsForKey(coder, "pointSets", pointSets.get());
    coder.encodeCGPoint("panDelta", panDelta);
    coder.encodeFloat("zoomFactor", zoomFactor);
    if (modifiedDate)
        coder.encodeDate("modifiedDate", *modifiedDate);
    else
        coder.encodeNil("modifiedDate");
    coder.encodeArray("images", images, {"NSMutableArray", "NSArray", "NSObject"}, {"FoliantImage", "NSObject"},
                      [](const FoliantImage& image, KeyedEncoder& inner) { image.encodeWithCoder(inner); });
    coder.encodeArray("textBoxes", textBoxes, {"NSMutableArray", "NSArray", "NSObject"},
                      {"FoliantTextBox", "NSObject"},
                      [](const FoliantTextBox& box, KeyedEncoder& inner) { box.encodeWithCoder(inner); });
}

FoliantPagePtr FoliantPage::initWithCoder(const KeyedDecoder& coder) {
    auto page = std::make_shared<FoliantPage>();
    // Not defaulted: a page stored without ink has no list.
    page->pointSets = decodePointSetsForKey(coder, "pointSets");
    page->panDelta = coder.decodeCGPointForKey("panDelta");
    page->zoomFactor = coder.decodeFloatForKey("zoomFactor");
    page->modifiedDate = coder.decodeDateForKey("modifiedDate");
    if (auto list = coder.decodeArrayForKey<FoliantImage>("images", {"FoliantImage"}, FoliantImage::initWithCoder))
        page->images = std::move(*list);
    if (auto list =
            coder.decodeArrayForKey<FoliantTextBox>("textBoxes", {"FoliantTextBox"}, FoliantTextBox::initWithCoder))
        page->textBoxes = std::move(*list);
    return page;
}

}  // namespace velumen
