#include "render/ImageTextures.h"

#include <algorithm>

#include "objects/qt/ImageOps.h"

namespace velumen {

ImageTextureEntry ImageTextures::makeEntry(const FoliantImagePtr& image, float limit) {
    ImageTextureEntry entry{image, 0, image ? image->filterType : 0};
    if (!image) return entry;
    // One full decode at a time: the bitmap goes as soon as its texture is made.
    KImagePtr pixels = image->image(codec_);
    if (!pixels || pixels->isEmpty()) return entry;
    if (limit > 0 && (pixels->width > limit || pixels->height > limit)) {
        pixels = std::make_shared<const KImage>(
            imageByScalingAndCroppingForSize(*pixels, {double(limit), double(limit)}, false));
    }
    entry.texture = compositor_.createTextureForFoliantImage(*image, *pixels);
    if (entry.texture) ++uploads_;
    return entry;
}

void ImageTextures::release(std::vector<ImageTextureEntry>& entries) {
    if (entries.empty()) return;
    if (&entries == &compositor_._pageImageTextures)
        compositor_.removeAllPageImageTextures();
    else
        compositor_.removeAllMasterImageTextures();
}

void ImageTextures::update(std::vector<ImageTextureEntry>& entries, const std::vector<FoliantImagePtr>& images,
                           const std::function<float()>& limitForNew) {
    std::vector<ImageTextureEntry> kept;
    kept.reserve(images.size());
    std::vector<ImageTextureEntry> old = std::move(entries);
    entries.clear();
    bool changed = false;
    for (const FoliantImagePtr& image : images) {
        auto it = std::find_if(old.begin(), old.end(), [&](const ImageTextureEntry& e) { return e.object == image; });
        if (it != old.end() && it->filterType == image->filterType) {
            kept.push_back(*it);
            old.erase(it);
            continue;
        }
        changed = true;
        kept.push_back(makeEntry(image, limitForNew()));
    }
    // What is left over lost its picture (or its filter changed): its texture goes.
    if (!old.empty()) {
        changed = true;
        entries = std::move(old);
        release(entries);
    }
    entries = std::move(kept);
    if (changed) compositor_.isFrameUpdateNeeded = true;
}

void ImageTextures::syncPageImages(std::uint64_t pageId, const std::vector<FoliantImagePtr>& images,
                                   std::uint64_t dataSize) {
    auto& entries = compositor_._pageImageTextures;
    if (shownPage_ != pageId) {
        shownPage_ = pageId;
        compositor_.removeAllPageImageTextures();
        lastLimits_ = ImageBudget::pageTextureLimits(int(images.size()), dataSize, memory);
        for (std::size_t i = 0; i < images.size(); ++i)
            entries.push_back(makeEntry(images[i], lastLimits_[i]));
        compositor_.isFrameUpdateNeeded = true;
        return;
    }
    update(entries, images, [&] { return ImageBudget::getMaxImageSizeForCount(1, dataSize, memory()); });
}

void ImageTextures::syncMasterImages(const std::vector<FoliantImagePtr>& masters) {
    update(compositor_._masterImageTextures, masters, [] { return 0.0f; });
}

void ImageTextures::releaseAll() {
    compositor_.removeAllPageImageTextures();
    compositor_.removeAllMasterImageTextures();
    shownPage_.reset();
}

}  // namespace velumen
