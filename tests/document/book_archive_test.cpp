// Books through our own writer and reader: the model's page and master-image rules, the preview's byte
// cache, laziness of the gallery's read, and the archive layer's object identity. Round trips of random
// books against an independent reader are in archive_oracle_test.cpp.
#include <bit>
#include <cstring>
#include <functional>
#include <random>

#include <gtest/gtest.h>

#include "document/FoliantData.h"
#include "document/InkCoding.h"
#include "document/KeyedArchive.h"
#include "objects/FoliantTextBox.h"

namespace velumen {
namespace {

using Bytes = std::vector<std::uint8_t>;

KVSPointSetPtr randomRun(std::mt19937& rng, std::size_t byteSize) {
    PointBuffer points = PointBuffer::uninitialized(byteSize);
    for (std::size_t i = 0; i < byteSize; ++i) points.bytes()[i] = static_cast<std::uint8_t>(rng());
    // Special values at known places: a NaN with a payload and the removal mark.
    if (byteSize >= 24) {
        const std::uint32_t nan = 0x7FC0BEEF, mark = 0xFF7FFFFF;
        std::memcpy(points.bytes(), &nan, 4);
        std::memcpy(points.bytes() + 12, &mark, 4);
    }
    KVSPointSetPtr run = KVSPointSet::initWithData(std::move(points));
    run->setColor({std::uniform_real_distribution<double>(0, 1)(rng), 0.25, 0.5, 1.0});
    return run;
}

FoliantDataPtr randomBook(std::uint32_t seed) {
    std::mt19937 rng(seed);
    auto book = std::make_shared<FoliantData>();
    const int pageCount = 1 + static_cast<int>(rng() % 5);
    for (int p = 0; p < pageCount; ++p) {
        FoliantPagePtr page = FoliantData::createNewPage();
        const int runs = static_cast<int>(rng() % 6);
        // Odd lengths too: the bytes are kept as they are.
        for (int r = 0; r < runs; ++r) page->pointSets->addObject(randomRun(rng, rng() % 200));
        page->zoomFactor = std::bit_cast<float>(static_cast<std::uint32_t>(rng() & 0x3FFFFFFF));
        page->panDelta = {std::ldexp(static_cast<double>(rng()), -17) - 1000.0, -1.0 / 3.0};
        if (rng() % 2) page->modifiedDate = 700000000.125 + p;
        if (rng() % 2) {
            auto image = std::make_shared<FoliantImage>();
            image->frame = {1.5, 2.25, 100.0 / 3.0, 40};
            image->angle = 0.5f;
            image->setImageData(std::make_shared<const Bytes>(Bytes{0xFF, 0xD8, 1, 2, 3}), 2);
            page->images.push_back(image);
        }
        if (rng() % 2) {
            auto box = std::make_shared<FoliantTextBox>();
            box->text = "Grüße, 日本 ✓";
            box->frame = {10, 20, 300, 40};
            page->textBoxes.push_back(box);
        }
        book->pages().push_back(page);
    }
    book->setPageNum(static_cast<std::int64_t>(rng() % static_cast<std::uint32_t>(pageCount)));
    book->setIsLocked(rng() % 2);
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
    FoliantDataPtr book = randomBook(7);
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
    FoliantDataPtr book = randomBook(3);
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

TEST(BookArchive, PointAndRectStringsCarryEveryDouble) {
    std::mt19937_64 rng(5);
    auto page = FoliantData::createNewPage();
    auto image = std::make_shared<FoliantImage>();
    page->images.push_back(image);
    for (int i = 0; i < 200; ++i) {
        const auto any = [&] {
            double d;
            do d = std::bit_cast<double>(rng());
            while (!std::isfinite(d));
            return d;
        };
        page->panDelta = {any(), -0.0};
        image->frame = {any(), any(), any(), 1e-310};
        const auto encode = [](const FoliantPage& p, KeyedEncoder& c) { p.encodeWithCoder(c); };
        const auto decode = FoliantPage::initWithCoder;
        KeyedArchiver archiver;
        const Bytes bytes = *archiver.archivedDataWithRootObject(*page, {"FoliantPage", "NSObject"}, encode);
        KeyedUnarchiver unarchiver(bytes);
        const FoliantPagePtr back = unarchiver.decodeRootObject<FoliantPage>({"FoliantPage"}, decode);
        const auto bits = [](double d) { return std::bit_cast<std::uint64_t>(d); };
        EXPECT_EQ(bits(back->panDelta.x), bits(page->panDelta.x));
        EXPECT_TRUE(std::signbit(back->panDelta.y));
        EXPECT_EQ(back->images[0]->frame, image->frame);
    }
}

}  // namespace
}  // namespace velumen
