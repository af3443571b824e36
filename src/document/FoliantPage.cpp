#include "document/FoliantPage.h"

#include <atomic>
#include <memory>

namespace velumen {

namespace {

FoliantPage::PageId nextPageId() {
    static std::atomic<FoliantPage::PageId> counter{0};
    return counter.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

FoliantPage::FoliantPage() : pointSets(std::make_shared<KVSPointSetArray>()), pageId_(nextPageId()) {}

}  // namespace velumen
