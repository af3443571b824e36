// Books through our own writer and reader: the model's page and master-image rules, the preview's byte
// cache, laziness of the gallery's read, and the archive layer's object identity. Round trips of random
// books (every double of points and rectangles included) against an independent reader are in
// archive_oracle_test.cpp.
#include <functional>

#include <gtest/gtest.h>

#include "document/FoliantData.h"
#include "document/InkCoding.h"
#include "document/KeyedArchive.h"
#include "objects/FoliantTextBox.h"

namespace velumen {
namespace {

using Bytes = std::vector<std::uint8_t>;

// A small book: two pages, each with a run, a picture and a text box.
FoliantDataPtr smallBook() {
    auto book = std::make_shared<FoliantData>();
    for (int p = 0; p < 2; ++p) {
        FoliantPagePtr page = FoliantData::createNewPage();
        const float xys[] = {1, 2, 3, 4, 5, float(p)};
        page->pointSets->addObject(KVSPointSet::initWithData(PointBuffer::copyOf(xys, sizeof xys)));
        auto image = std::make_shared<FoliantImage>();
        image->setImageData(std::make_shared<const Bytes>(Bytes{0xFF, 0xD8, 1, 2, 3}), 2);
        page->images.push_back(image);
        auto box = std::make_shared<FoliantTextBox>();
        box->text = "Grüße, 日本 ✓";
        page->textBoxes.push_back(box);
        book->pages().push_back(page);
    }
    book->setPageNum(1);
    return book;
}

FoliantDataPtr read(const Bytes& bytes) { return unarchiveFoliantData(bytes, nullptr); }

// A book file whose root is written by `write`, as an old file or another program may lay it out.
Bytes bookShaped(const std::function<void(KeyedEncoder&)>& write) {
    KeyedArchiver archiver;
    return archiver
        .archivedDataWithRootObject(write, {"FoliantData", "NSObject"},
                                    [](const auto& w, KeyedEncoder& coder) { w(coder); })
        .value();
}

TEST(BookArchive, EncodingTrimsMasterImagesToTheLastAndKeepsTheVersionRule) {
    FoliantDataPtr book = smallBook();
    book->setVersion(101);
    std::vector<FoliantImagePtr> masters;
    for (int i = 0; i < 3; ++i) {
        masters.push_back(std::make_shared<FoliantImage>());
        masters.back()->alpha = 0.25 * (i + 1);
    }
    const FoliantImagePtr third = masters[2];
    book->setMasterImages(masters);
    const Bytes bytes = archivedDataWithRootObject(*book, nullptr);
    ASSERT_EQ(book->masterImages().size(), 1u);
    EXPECT_EQ(book->masterImages()[0], third);
    EXPECT_EQ(book->version(), 103);
    FoliantDataPtr back = read(bytes);
    ASSERT_EQ(back->masterImages().size(), 1u);
    EXPECT_EQ(back->masterImages()[0]->alpha, 0.75);
    EXPECT_EQ(back->version(), 103);
}

TEST(BookArchive, ThumbnailBytesAreWrittenAsCachedAndDroppedWithTheImage) {
    FoliantDataPtr book = smallBook();
    const FoliantDataPtr withoutPreview = read(archivedDataWithRootObject(*book, nullptr));
    EXPECT_EQ(withoutPreview->thumbnailData(), nullptr);
    EXPECT_EQ(withoutPreview->thumbnailScale(), 1);

    // Cached preview bytes with scale 0 (a file written by hand) go out unchanged, the scale raised to 1.
    const Bytes jpeg = {0xFF, 0xD8, 0xFF, 0xE0, 9, 8, 7};
    const FoliantDataPtr withPreview = read(bookShaped([&](KeyedEncoder& coder) {
        coder.encodeInt("version", 103);
        coder.encodeInt("thumbnail.scale", 0);
        coder.encodeData("thumbnail", jpeg);
        coder.encodeArray("pages", book->pages(), {"NSArray", "NSObject"}, {"FoliantPage", "NSObject"},
                          [](const FoliantPage& p, KeyedEncoder& c) { p.encodeWithCoder(c); });
    }));
    ASSERT_TRUE(withPreview->thumbnailData());
    EXPECT_EQ(*withPreview->thumbnailData(), jpeg);
    EXPECT_EQ(withPreview->thumbnailScale(), 1);
    const Bytes once = archivedDataWithRootObject(*withPreview, nullptr);
    FoliantDataPtr again = read(once);
    EXPECT_EQ(*again->thumbnailData(), jpeg);
    EXPECT_EQ(archivedDataWithRootObject(*again, nullptr), once);

    again->setThumbnail(nullptr);
    EXPECT_EQ(again->thumbnailData(), nullptr);
    FoliantDataPtr cleared = read(archivedDataWithRootObject(*again, nullptr));
    EXPECT_EQ(cleared->thumbnailData(), nullptr);
}

TEST(BookArchive, RemovingPagesKeepsAValidCurrentPage) {
    auto book = std::make_shared<FoliantData>();
    for (int i = 0; i < 4; ++i) book->pages().push_back(FoliantData::createNewPage());
    const auto pages = book->pages();
    book->setPageNum(2);
    EXPECT_FALSE(book->removePageAtIndex(4));  // index equal to the count
    EXPECT_EQ(book->pageNum(), 2);
    EXPECT_FALSE(book->removePageAtIndex(0));  // before the current page: same page, index moves
    EXPECT_EQ(book->pageNum(), 1);
    EXPECT_EQ(book->currentPage(), pages[2]);
    EXPECT_TRUE(book->removePageAtIndex(1));  // the current page, not the last: its successor
    EXPECT_EQ(book->pageNum(), 1);
    EXPECT_EQ(book->currentPage(), pages[3]);
    EXPECT_TRUE(book->removePageAtIndex(1));  // the current page and the last: the new last
    EXPECT_EQ(book->pageNum(), 0);
    EXPECT_EQ(book->currentPage(), pages[1]);
}

TEST(BookArchive, TheGalleryReadNeverBuildsPages) {
    // A book whose "pages" is not an array would fail the whole read, but the gallery never looks there.
    const Bytes bytes = bookShaped([](KeyedEncoder& coder) {
        coder.encodeInt("version", 103);
        coder.encodeString("pages", "not pages");
        coder.encodeInt("pageNum", 5);
        coder.encodeBool("isLocked", true);
    });
    EXPECT_THROW(read(bytes), ArchiveError);
    const std::optional<FoliantPartialData> info = unarchivePartialData(bytes, nullptr);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->version, 103);
    EXPECT_EQ(info->pageNum, 5);
    EXPECT_TRUE(info->isLocked);
    EXPECT_FALSE(unarchivePartialData(Bytes{1, 2, 3}, nullptr));
    EXPECT_EQ(read(Bytes{}), nullptr);  // an empty file holds no book, which is not an error
}

TEST(BookArchive, SharedObjectsAreWrittenOnceAndReadAsOne) {
    // The same run on two pages, and a dictionary root in the clipboard's shape.
    auto run = KVSPointSet::initWithLength(3);
    auto runs = std::make_shared<KVSPointSetArray>();
    runs->addObject(run);
    runs->addObject(run);
    KeyedArchiver archiver;
    const auto bytes = archiver.archivedDictionary([&](KeyedEncoder& coder) {
        encodePointSetsForKey(coder, "pointsData", runs.get());
        coder.encodeBool("isFullPage", true);
    });
    ASSERT_TRUE(bytes);
    KeyedUnarchiver unarchiver(*bytes);
    struct Item {
        KVSPointSetArrayPtr runs;
        bool isFullPage = false;
    };
    const auto item = unarchiver.decodeRootObject<Item>({"NSDictionary"}, [](const KeyedDecoder& coder) {
        return std::make_shared<Item>(
            Item{decodePointSetsForKey(coder, "pointsData"), coder.decodeBoolForKey("isFullPage")});
    });
    ASSERT_TRUE(item && item->runs);
    ASSERT_EQ(item->runs->count(), 2u);
    EXPECT_EQ(item->runs->objectAtIndex(0), item->runs->objectAtIndex(1));
    EXPECT_TRUE(item->isFullPage);
    // Memoised: asking again gives the object already built, not a new one.
    const auto fresh = [](const KeyedDecoder&) { return std::make_shared<Item>(); };
    EXPECT_EQ(unarchiver.decodeRootObject<Item>({"NSDictionary"}, fresh), item);
}

}  // namespace
}  // namespace velumen
