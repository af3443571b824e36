// Book files against an independent implementation: books built by Python's plistlib are read by our
// reader, and books written by our writer are read by Python (tests/document/fixtures/make_books.py) and
// by plistutil. Both sides print what they find in one line-per-fact form and the lines must agree.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <random>

#include "document/FoliantData.h"
#include "document/KeyedArchive.h"
#include "fixtures/archive_test_support.h"
#include "objects/FoliantTextBox.h"

namespace velumen {
namespace {

using namespace archive_test;

template <class Number>
std::string num(Number value) {  // as an integer, truncated
    char buffer[24];
    return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, std::int64_t(value)).ptr);
}

std::string hexBits(std::uint64_t bits, int digits) {
    char buffer[16];
    const int n = static_cast<int>(std::to_chars(buffer, buffer + sizeof buffer, bits, 16).ptr - buffer);
    return std::string(static_cast<std::size_t>(digits - n), '0') +
           std::string(buffer, static_cast<std::size_t>(n));
}

std::string fbits(double v) {
    return hexBits(std::bit_cast<std::uint32_t>(static_cast<float>(v)), 8);
}
std::string dbits(double v) {
    return hexBits(std::bit_cast<std::uint64_t>(v), 16);
}

std::string hex(const std::uint8_t* bytes, std::size_t size) {
    std::string out;
    out.reserve(2 * size);
    for (std::size_t i = 0; i < size; ++i)
        out += {"0123456789abcdef"[bytes[i] >> 4], "0123456789abcdef"[bytes[i] & 15]};
    return out;
}

std::string hex(std::string_view text) {
    return hex(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

std::string rect(const Rect& r) {
    return dbits(r.x) + "," + dbits(r.y) + "," + dbits(r.width) + "," + dbits(r.height);
}
std::string color(const KColor& c) {
    return fbits(c.r) + "," + fbits(c.g) + "," + fbits(c.b) + "," + fbits(c.a);
}

std::string describe(const std::string& tag, const FoliantImage& image) {
    const auto& bytes = image.imageData();
    return tag + " frame=" + rect(image.frame) + " alpha=" + dbits(image.alpha) +
           " angle=" + fbits(image.angle) + " border=" + num(image.borderStyle) +
           " filter=" + num(image.filterType) + " scale=" + num(image.imageScale()) +
           " bytes=" + (bytes ? hex(bytes->data(), bytes->size()) : "-");
}

// The book in the form of the fixture script's .expect files and of its dump. Without a preview the scale
// is shown as a reader finds it, 1.
std::vector<std::string> describe(const FoliantData& book) {
    const auto& thumb = book.thumbnailData();
    std::vector<std::string> lines{"book version=" + num(book.version()) + " pageNum=" + num(book.pageNum()) +
                                   " locked=" + num(book.isLocked()) + " pages=" + num(book.pages().size()) +
                                   " masters=" + num(book.masterImages().size()) +
                                   " thumbScale=" + num(thumb ? book.thumbnailScale() : 1) +
                                   " thumb=" + (thumb ? hex(thumb->data(), thumb->size()) : "-")};
    for (std::size_t i = 0; i < book.pages().size(); ++i) {
        const FoliantPage& page = *book.pages()[i];
        const std::string at = num(i) + ".";
        const auto first =
            std::find(book.pages().begin(), book.pages().end(), book.pages()[i]) - book.pages().begin();
        lines.push_back("page " + num(i) +
                        " runs=" + (page.pointSets ? num(page.pointSets->pointSets().size()) : "nil") +
                        " pan=" + dbits(page.panDelta.x) + "," + dbits(page.panDelta.y) +
                        " zoom=" + fbits(page.zoomFactor) +
                        " date=" + (page.modifiedDate ? dbits(*page.modifiedDate) : "nil") +
                        " images=" + num(page.images.size()) + " texts=" + num(page.textBoxes.size()) +
                        " same=" + (first < std::ptrdiff_t(i) ? num(first) : "-"));
        if (page.pointSets) {
            for (std::size_t j = 0; j < page.pointSets->count(); ++j) {
                const KVSPointSet& run = *page.pointSets->objectAtIndex(j);
                lines.push_back("run " + at + num(j) + " bytes=" + num(run.data().byteSize()) +
                                " points=" + num(run.length()) + " color=" + color(run.color()) +
                                " data=" + hex(run.data().bytes(), run.data().byteSize()));
            }
        }
        for (std::size_t k = 0; k < page.images.size(); ++k)
            lines.push_back(describe("image " + at + num(k), *page.images[k]));
        for (std::size_t k = 0; k < page.textBoxes.size(); ++k) {
            const FoliantTextBox& box = *page.textBoxes[k];
            lines.push_back("text " + at + num(k) + " frame=" + rect(box.frame) +
                            " alpha=" + dbits(box.alpha) + " border=" + num(box.borderStyle) +
                            " align=" + num(box.textAlignment) + " font=" + hex(box.font.fontName) + "/" +
                            fbits(box.font.pointSize) + " fg=" + color(box.foregroundColor) +
                            " bg=" + color(box.backgroundColor) + " text=" + hex(box.text));
        }
    }
    for (std::size_t k = 0; k < book.masterImages().size(); ++k)
        lines.push_back(describe("master " + num(k), *book.masterImages()[k]));
    return lines;
}

std::string describe(const FoliantPartialData& info) {
    return "partial version=" + num(info.version) + " pageNum=" + num(info.pageNum) +
           " locked=" + num(info.isLocked);
}

// Reports the first differing lines only: a whole book in one message would drown the difference.
void expectSameLines(const std::vector<std::string>& actual, const std::vector<std::string>& expected) {
    EXPECT_EQ(actual.size(), expected.size());
    int reported = 0;
    for (std::size_t i = 0; i < std::min(actual.size(), expected.size()) && reported < 4; ++i) {
        if (actual[i] == expected[i]) continue;
        ++reported;
        ADD_FAILURE() << "line " << i << "\n  ours:   " << actual[i].substr(0, 400)
                      << "\n  oracle: " << expected[i].substr(0, 400);
    }
}

// What Python makes of a file: the lines of the book, then a "format:" line for anything our writer must
// never write.
std::vector<std::string> pythonDump(const std::string& path) {
    const std::optional<std::string> out = runCommand(bookScript("dump") + quoted(path));
    EXPECT_TRUE(out) << "the fixture script could not read " << path;
    return out ? splitLines(*out) : std::vector<std::string>{};
}

// Pictures as their raw pixel words, so that a book made here can carry preview bytes without a JPEG codec.
class RawCodec : public ImageCodec {
  public:
    KImagePtr decode(std::span<const std::uint8_t>, double) const override { return nullptr; }
    std::optional<std::vector<std::uint8_t>> encodeJpeg(const KImage& image, double) const override {
        const auto* words = reinterpret_cast<const std::uint8_t*>(image.pixels.data());
        return std::vector<std::uint8_t>(words, words + 4 * image.pixels.size());
    }
};

// Random books: runs of any float bits (NaN payloads and removal marks made likely), odd tails, pages
// without ink, shared pages, images with and without bytes, text in several scripts, dates, previews.
class BookMaker {
  public:
    explicit BookMaker(std::uint64_t seed) : rng_(seed) {}

    FoliantDataPtr book() {
        auto book = std::make_shared<FoliantData>();
        const int pages = below(4) + 1;
        for (int i = 0; i < pages; ++i)
            book->pages().push_back(page());
        if (pages > 2 && below(2)) book->pages().push_back(book->pages()[0]);
        for (int k = below(4); k > 0; --k)
            book->masterImages().push_back(image());
        book->setPageNum(below(static_cast<int>(book->pages().size())));
        book->setIsLocked(below(2) == 1);
        if (below(3)) {
            auto thumb = std::make_shared<KImage>();
            thumb->width = below(5) + 1;
            thumb->height = 1;
            thumb->scale = below(4);
            for (int x = 0; x < thumb->width; ++x)
                thumb->pixels.push_back(static_cast<std::uint32_t>(rng_()));
            book->setThumbnail(thumb);
        }
        return book;
    }

  private:
    int below(int n) { return static_cast<int>(rng_() % static_cast<std::uint64_t>(n)); }
    float unit() { return static_cast<float>(below(1 << 20)) / (1 << 20); }
    // Numbers of every scale, and now and then any finite bits, a negative zero or a subnormal: the text
    // forms of points and rectangles must carry each double exactly.
    double anyFinite() {
        switch (below(8)) {
            case 0:
                for (;;)
                    if (const double d = std::bit_cast<double>(rng_()); std::isfinite(d)) return d;
            case 1:
                return below(2) ? -0.0 : -1e-310;
            default:
                return std::ldexp(static_cast<double>(static_cast<std::int64_t>(rng_())), below(200) - 150);
        }
    }
    std::uint32_t floatBits() {
        switch (below(6)) {
            case 0:
                return 0x7F800000u | (static_cast<std::uint32_t>(rng_()) & 0x807FFFFFu) | 1u;  // NaN
            case 1:
                return std::bit_cast<std::uint32_t>(KVSPointSet::kRemovalMark);
            default:
                return static_cast<std::uint32_t>(rng_());
        }
    }
    KColor colour() { return {unit(), unit(), unit(), unit()}; }
    Rect frame() { return {anyFinite(), anyFinite(), anyFinite(), anyFinite()}; }

    FoliantPagePtr page() {
        auto page = FoliantData::createNewPage();
        if (below(5) == 0) page->pointSets = nullptr;
        for (int r = page->pointSets ? below(6) : 0; r > 0; --r) {
            std::vector<std::uint8_t> bytes(12 * static_cast<std::size_t>(below(40)) +
                                            (below(4) == 0 ? static_cast<std::size_t>(below(12)) : 0));
            for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
                const std::uint32_t bits = floatBits();
                std::memcpy(bytes.data() + i, &bits, 4);
            }
            auto run = KVSPointSet::initWithData(PointBuffer::copyOf(bytes.data(), bytes.size()));
            run->setColor(colour());
            page->pointSets->addObject(run);
        }
        page->panDelta = {anyFinite(), anyFinite()};
        page->zoomFactor = unit() * 8;
        if (below(2)) page->modifiedDate = anyFinite();
        for (int k = below(4); k > 0; --k)
            page->images.push_back(image());
        static const char* const texts[] = {"", "Plain", "h\xc3\xa9llo \xe2\x82\xac",
                                            "\xf0\x9f\x98\x80 two\nlines", "\xe6\x97\xa5\xe6\x9c\xac"};
        for (int k = below(3); k > 0; --k) {
            auto box = FoliantTextBox::foliantTextBoxWithText(
                texts[below(5)], frame(), KFont::initWithFontName(texts[below(5)], unit() * 90),
                1 - unit() / 2, below(2));
            box->textAlignment = below(3);
            box->foregroundColor = colour();
            box->backgroundColor = colour();
            page->textBoxes.push_back(box);
        }
        return page;
    }

    FoliantImagePtr image() {
        auto image = std::make_shared<FoliantImage>();
        image->frame = frame();
        image->alpha = 1 - unit() / 2;
        image->angle = unit() * 6;
        image->borderStyle = below(2);
        image->filterType = below(2);
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(below(3) ? below(100) : 0));
        for (auto& b : bytes)
            b = static_cast<std::uint8_t>(rng_());
        if (!bytes.empty())
            image->setImageData(std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes)),
                                below(3) + 1);
        return image;
    }

    std::mt19937_64 rng_;
};

const RawCodec kRawCodec;

TEST(ArchiveOracle, BooksBuiltByPlistlibReadAsTheIndependentReaderFindsThem) {
    TempDir dir;
    ASSERT_TRUE(runCommand(bookScript("fixtures") + quoted(dir.path().string())));
    const std::vector<std::string> names = readLines(dir.file("manifest.txt"));
    ASSERT_GE(names.size(), 10u);
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const Bytes bytes = readFile(dir.file(name + ".velumen"));
        FoliantDataPtr book;
        ASSERT_NO_THROW(book = unarchiveFoliantData(bytes, nullptr));
        ASSERT_TRUE(book);
        if (!book->thumbnailData()) {
            EXPECT_EQ(book->thumbnailScale(), 1);
        }
        std::vector<std::string> lines = describe(*book);
        const std::optional<FoliantPartialData> info = unarchivePartialData(bytes, nullptr);
        ASSERT_TRUE(info);
        lines.push_back(describe(*info));
        expectSameLines(lines, readLines(dir.file(name + ".expect")));

        // Written again: version 103 with pages whatever the source, nothing in the file that the format
        // does not allow, and read alike by both readers.
        const Bytes written = archivedDataWithRootObject(*book, nullptr);
        writeFile(dir.file(name + ".written"), written);
        const std::vector<std::string> dump = pythonDump(dir.file(name + ".written"));
        ASSERT_FALSE(dump.empty());
        EXPECT_EQ(dump[0].rfind("book version=103 ", 0), 0u) << dump[0];
        expectSameLines(describe(*unarchiveFoliantData(written, nullptr)), dump);
    }
}

TEST(ArchiveOracle, BooksWrittenHereReadTheSameInPythonAndThroughPlistutil) {
    TempDir dir;
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed);
        const FoliantDataPtr book = BookMaker(seed).book();
        const std::size_t masters = book->masterImages().size();
        const std::string path = dir.file("book.velumen");
        writeFile(path, archivedDataWithRootObject(*book, &kRawCodec));
        EXPECT_EQ(book->masterImages().size(), std::min<std::size_t>(masters, 1));
        const std::vector<std::string> expected = describe(*book);
        expectSameLines(expected, pythonDump(path));

        // plistutil parses the binary form on its own and prints it as XML, which Python reads again.
        ASSERT_TRUE(runCommand("plistutil -i " + quoted(path) + " -f xml -o " + quoted(path + ".xml")));
        const Bytes xmlBytes = readFile(path + ".xml");
        const std::string xml(xmlBytes.begin(), xmlBytes.end());
        for (const char* needle :
             {"<string>NSKeyedArchiver</string>", "<key>$objects</key>", "<key>CF$UID</key>",
              "<string>$null</string>", "<key>pages</key>", "<string>FoliantPage</string>",
              "<string>FoliantData</string>", "<key>masterImages</key>"})
            EXPECT_NE(xml.find(needle), std::string::npos) << needle;
        expectSameLines(expected, pythonDump(path + ".xml"));
    }
}

TEST(ArchiveOracle, RandomBooksWrittenReadAndWrittenAgainAreIdentical) {
    for (std::uint64_t seed = 100; seed < 160; ++seed) {
        SCOPED_TRACE(seed);
        const FoliantDataPtr book = BookMaker(seed).book();
        const Bytes first = archivedDataWithRootObject(*book, &kRawCodec);
        const FoliantDataPtr read = unarchiveFoliantData(first, nullptr);
        ASSERT_TRUE(read);
        // Point bytes bit for bit (NaN payloads and marks included), shared pages still shared.
        expectSameLines(describe(*read), describe(*book));
        EXPECT_EQ(archivedDataWithRootObject(*read, nullptr), first);
    }
}

}  // namespace
}  // namespace velumen
