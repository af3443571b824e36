// The book's preview through the real picture codec: the quality rule, the byte cache that spares an
// autosave a recompression, and the scale that comes back with the picture.
#include <gtest/gtest.h>

#include "document/FoliantData.h"
#include "objects/qt/QtImageCodec.h"

namespace velumen {
namespace {

// The real codec, with a record of what it was asked to encode.
class CountingCodec : public QtImageCodec {
  public:
    std::optional<std::vector<std::uint8_t>> encodeJpeg(const KImage& image, double quality) const override {
        qualities.push_back(quality);
        return QtImageCodec::encodeJpeg(image, quality);
    }
    mutable std::vector<double> qualities;
};

KImagePtr preview(double scale) {
    auto image = std::make_shared<KImage>();
    image->width = 32;
    image->height = 24;
    image->scale = scale;
    for (int i = 0; i < 32 * 24; ++i)
        image->pixels.push_back(0xFF000000u | static_cast<std::uint32_t>(i * 977));
    return image;
}

FoliantDataPtr onePageBook() {
    auto book = std::make_shared<FoliantData>();
    book->pages().push_back(FoliantData::createNewPage());
    book->setPageNum(0);
    return book;
}

TEST(BookPreview, QualityFollowsTheScaleAndBytesAreEncodedOnce) {
    for (const double scale : {1.0, 2.0, 3.0}) {
        SCOPED_TRACE(scale);
        CountingCodec codec;
        FoliantDataPtr book = onePageBook();
        book->setThumbnail(preview(scale));
        EXPECT_EQ(book->thumbnailScale(), static_cast<int>(scale));
        const auto first = archivedDataWithRootObject(*book, &codec);
        const auto second = archivedDataWithRootObject(*book, &codec);
        ASSERT_EQ(codec.qualities.size(), 1u);  // the second save writes the cached bytes
        EXPECT_EQ(codec.qualities[0], scale == 2.0 ? 0.0 : 0.5);
        EXPECT_EQ(first, second);

        const FoliantDataPtr back = unarchiveFoliantData(first, &codec);
        ASSERT_TRUE(back->thumbnail());
        EXPECT_EQ(back->thumbnail()->width, 32);
        EXPECT_EQ(back->thumbnail()->scale, scale);
        EXPECT_EQ(*back->thumbnailData(), *book->thumbnailData());
        const std::optional<FoliantPartialData> info = unarchivePartialData(first, &codec);
        ASSERT_TRUE(info && info->thumbnail);
        EXPECT_EQ(info->thumbnail->scale, scale);
        // Read and saved again unchanged: no recompression, the same bytes.
        EXPECT_EQ(archivedDataWithRootObject(*back, &codec), first);
        EXPECT_EQ(codec.qualities.size(), 1u);
    }
}

TEST(BookPreview, UnreadablePreviewBytesAreKeptButShowNothing) {
    CountingCodec codec;
    FoliantDataPtr book = onePageBook();
    book->setThumbnail(preview(1));
    auto bytes = archivedDataWithRootObject(*book, &codec);
    // Spoil the JPEG's start of image marker inside the file.
    const std::vector<std::uint8_t> soi = {0xFF, 0xD8, 0xFF};
    auto at = std::search(bytes.begin(), bytes.end(), soi.begin(), soi.end());
    ASSERT_NE(at, bytes.end());
    at[1] = 0x00;
    const FoliantDataPtr back = unarchiveFoliantData(bytes, &codec);
    ASSERT_TRUE(back);
    EXPECT_FALSE(back->thumbnail());
    ASSERT_TRUE(back->thumbnailData());
    EXPECT_EQ(archivedDataWithRootObject(*back, &codec), bytes);
}

}  // namespace
}  // namespace velumen
