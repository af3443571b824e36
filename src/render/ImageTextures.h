// Keeps the compositor's texture collections in step with the model: after every event the editor hands
// over the shown page's images and the book's master images, and only what changed reaches GL. A page
// shown anew gets textures sized by the memory budget's table for a page; a picture added to the shown
// page gets the budget of one; a changed filter makes that one texture again; pictures gone lose theirs.
// An unchanged page uploads nothing.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "objects/FoliantImage.h"
#include "objects/ImageBudget.h"
#include "render/PageCompositor.h"

namespace velumen {

class ImageTextures {
  public:
    ImageTextures(PageCompositor& compositor, const ImageCodec& codec) : compositor_(compositor), codec_(codec) {}

    // The memory figures the budget reads.
    std::function<MemoryFigures()> memory = [] { return currentMemoryFigures(); };

    // The shown page (by its id) and its images, back first; `dataSize` is the book's size in bytes. A new
    // page id releases every texture of the page before and fills the collection by the page table.
    void syncPageImages(std::uint64_t pageId, const std::vector<FoliantImagePtr>& images, std::uint64_t dataSize);
    // The book's master images: textures without a size limit.
    void syncMasterImages(const std::vector<FoliantImagePtr>& masters);
    // Every texture goes (the book closed).
    void releaseAll();

    // Textures uploaded so far, and the limit each picture of the last full fill had.
    std::uint64_t uploads() const { return uploads_; }
    const std::vector<float>& lastPageLimits() const { return lastLimits_; }

  private:
    ImageTextureEntry makeEntry(const FoliantImagePtr& image, float limit);
    void release(std::vector<ImageTextureEntry>& entries);
    // Brings a collection to the model's list; new pictures are made with `limitForNew`.
    void update(std::vector<ImageTextureEntry>& entries, const std::vector<FoliantImagePtr>& images,
                const std::function<float()>& limitForNew);

    PageCompositor& compositor_;
    const ImageCodec& codec_;
    std::optional<std::uint64_t> shownPage_;
    std::uint64_t uploads_ = 0;
    std::vector<float> lastLimits_;
};

}  // namespace velumen
