// Books for the document tests and their child process: handwriting books of a chosen size, the other
// content a save alternates with, ink comparison and whole-file helpers.
#pragma once

#include <sys/stat.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <random>
#include <vector>

#include "../fixtures/archive_test_support.h"
#include "document/FoliantData.h"

namespace velumen::testbooks {

using archive_test::Bytes;
using archive_test::TempDir;
using archive_test::writeFile;

// `pages` pages of strokes of 1,000 dots each, `dotsPerPage` dots a page.
inline FoliantDataPtr inkBook(int pages, int dotsPerPage, unsigned seed = 1) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    auto book = std::make_shared<FoliantData>();
    for (int p = 0; p < pages; ++p) {
        FoliantPagePtr page = FoliantData::createNewPage();
        page->pointSets = std::make_shared<KVSPointSetArray>();
        for (int r = 0; r < dotsPerPage / 1000; ++r) {
            auto run = page->pointSets->addPointSetWithSize(1000);
            float* d = run->buffer();
            const float phase = unit(rng) * 6.28f;
            for (int i = 0; i < 1000; ++i) {
                d[3 * i] = 40.0f + float(r % 25) * 58.0f + 25.0f * std::sin(float(i) * 0.01f + phase);
                d[3 * i + 1] =
                    40.0f + float(r / 25 % 40) * 46.0f + 16.0f * std::sin(float(i) * 0.03f + phase);
                d[3 * i + 2] = 4.0f + 4.0f * unit(rng);
            }
            run->setColor(
                {double(r % 3) * 0.25, 0.125, 0.375, 1.0});  // exact as the 32-bit floats a file keeps
        }
        book->pages().push_back(page);
    }
    if (pages > 0) book->setPageNum(0);
    return book;
}

// A copy of the ink with every dot one unit to the right.
inline KVSPointSetArrayPtr shiftedInk(const KVSPointSetArray& ink) {
    KVSPointSetArrayPtr copy = KVSPointSetArray::initWithPointSetArray(ink);
    for (const auto& run : copy->pointSets()) {
        float* d = run->buffer();
        for (std::uint64_t i = 0; i < run->length(); ++i)
            d[3 * i] += 1.0f;
    }
    return copy;
}

// Every page's ink shifted as above.
inline void shiftBook(FoliantData& book) {
    for (const auto& page : book.pages())
        page->pointSets = shiftedInk(*page->pointSets);
}

// Same pages, runs, colours and dots, bit for bit.
inline bool sameInk(const FoliantData& a, const FoliantData& b) {
    if (a.pages().size() != b.pages().size()) return false;
    for (std::size_t p = 0; p < a.pages().size(); ++p) {
        const auto& x = a.pages()[p]->pointSets->pointSets();
        const auto& y = b.pages()[p]->pointSets->pointSets();
        if (x.size() != y.size()) return false;
        for (std::size_t r = 0; r < x.size(); ++r) {
            if (x[r]->length() != y[r]->length() || !x[r]->color().isEqualToColor(y[r]->color()))
                return false;
            if (std::memcmp(x[r]->constBuffer(), y[r]->constBuffer(),
                            x[r]->length() * KVSPointSet::kStride) != 0)
                return false;
        }
    }
    return true;
}

inline Bytes fileBytes(const std::filesystem::path& path) { return archive_test::readFile(path); }

// The file's inode: a new one after every atomic replacement.
inline ino_t inode(const std::filesystem::path& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_ino : 0;
}

}  // namespace velumen::testbooks
