// Books on disk: reading a whole 120 MB book and writing it, each against a memcpy of the file's bytes,
// the extra peak memory of a write against the size it writes, and the gallery's read of a 200 MB book
// against a 1 MB book with the same preview.
#include <malloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>

#include "bench_support.h"
#include "document/FoliantData.h"
#include "document/MappedFile.h"
#include "objects/qt/QtImageCodec.h"

// While `counting` is set, allocations are counted, to find the peak of a write; the other benchmarks
// run on the plain allocator.
namespace {
std::atomic<bool> counting{false};
std::atomic<std::int64_t> liveBytes{0};
std::atomic<std::int64_t> peakBytes{0};

void* counted(std::size_t n) {
    void* p = std::malloc(n ? n : 1);
    if (!p) throw std::bad_alloc();
    if (counting.load(std::memory_order_relaxed)) {
        const auto size = static_cast<std::int64_t>(malloc_usable_size(p));
        const std::int64_t now = liveBytes.fetch_add(size) + size;
        std::int64_t peak = peakBytes.load();
        while (now > peak && !peakBytes.compare_exchange_weak(peak, now)) {
        }
    }
    return p;
}
void uncounted(void* p) noexcept {
    if (!p) return;
    if (counting.load(std::memory_order_relaxed)) liveBytes.fetch_sub(static_cast<std::int64_t>(malloc_usable_size(p)));
    std::free(p);
}
}  // namespace

void* operator new(std::size_t n) { return counted(n); }
void* operator new[](std::size_t n) { return counted(n); }
void operator delete(void* p) noexcept { uncounted(p); }
void operator delete[](void* p) noexcept { uncounted(p); }
void operator delete(void* p, std::size_t) noexcept { uncounted(p); }
void operator delete[](void* p, std::size_t) noexcept { uncounted(p); }

namespace velumen::bench {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

const QtImageCodec& codec() {
    static const QtImageCodec instance;
    return instance;
}

KImagePtr previewImage() {
    auto image = std::make_shared<KImage>();
    image->width = 400;
    image->height = 500;
    image->scale = 2;
    for (int y = 0; y < 500; ++y)
        for (int x = 0; x < 400; ++x)
            image->pixels.push_back(0xFF000000u | static_cast<std::uint32_t>((x * 3) << 16 | (y * 5) << 8 | (x ^ y)));
    return image;
}

// `pages` pages of handwriting with `dotsPerPage` dots each (strokes of 1,000 dots, as in the other
// benchmarks) and a 16 KB picture on each.
FoliantDataPtr makeBook(int pages, int dotsPerPage) {
    auto book = std::make_shared<FoliantData>();
    const auto picture = std::make_shared<const Bytes>(Bytes(16 * 1024, 0x5A));
    for (int p = 0; p < pages; ++p) {
        FoliantPagePtr page = FoliantData::createNewPage();
        page->pointSets = handwritingPage(dotsPerPage / 1000, 1000, 10, static_cast<unsigned>(p + 1));
        auto image = std::make_shared<FoliantImage>();
        image->setImageData(picture, 1);
        image->frame = {100, 100, 400, 300};
        page->images.push_back(image);
        book->pages().push_back(page);
    }
    book->setPageNum(0);
    book->setThumbnail(previewImage());
    return book;
}

FoliantData& bigBook() {
    static FoliantDataPtr book = makeBook(100, 100000);
    return *book;
}

const Bytes& bigBookBytes() {
    static const Bytes bytes = archivedDataWithRootObject(bigBook(), &codec());
    return bytes;
}

void Memcpy_BookBytes(benchmark::State& state) {
    memcpyBaseline(state, bigBookBytes().data(), bigBookBytes().size());
}

// The read alone: the book read in the previous round is let go outside the timing.
void FullRead_120MB(benchmark::State& state) {
    const Bytes& bytes = bigBookBytes();
    for (auto _ : state) {
        FoliantDataPtr book = unarchiveFoliantData(bytes, nullptr);
        benchmark::DoNotOptimize(book.get());
        state.PauseTiming();
        book.reset();
        state.ResumeTiming();
    }
}

// A fresh buffer each time: the extra peak memory is measured against the size written.
void Write_120MB(benchmark::State& state) {
    FoliantData& book = bigBook();
    std::int64_t extra = 0;
    std::size_t size = 0;
    for (auto _ : state) {
        liveBytes.store(0);
        peakBytes.store(0);
        counting.store(true);
        const Bytes bytes = archivedDataWithRootObject(book, &codec());
        counting.store(false);
        size = bytes.size();
        extra = peakBytes.load();
    }
    state.counters["peak_over_output"] = static_cast<double>(extra) / static_cast<double>(size);
}

// As a recurring save does it: into the buffer of the previous save.
void Write_120MB_Reused(benchmark::State& state) {
    FoliantData& book = bigBook();
    Bytes out;
    for (auto _ : state) {
        archiveFoliantData(book, &codec(), out);
        benchmark::DoNotOptimize(out.data());
    }
}

// The gallery's read of a book file as it lies on disk, mapped, with its preview decoded.
void partialRead(benchmark::State& state, const fs::path& path) {
    for (auto _ : state) {
        std::optional<MappedFile> file = MappedFile::open(path.string());
        const std::optional<FoliantPartialData> info = unarchivePartialData(file->bytes(), &codec());
        if (!info || !info->thumbnail) state.SkipWithError("no preview");
    }
}

fs::path bookFile(const char* name, int pages, int dotsPerPage) {
    const fs::path path = fs::temp_directory_path() / name;
    FoliantDataPtr book = makeBook(pages, dotsPerPage);
    const Bytes bytes = archivedDataWithRootObject(*book, &codec());
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                static_cast<std::streamsize>(bytes.size()));
    return path;
}

void PartialRead_200MB(benchmark::State& state) {
    static const fs::path path = bookFile("velumen-bench-200mb.velumen", 100, 166000);
    partialRead(state, path);
    state.counters["MB"] = static_cast<double>(fs::file_size(path)) / 1e6;
}

void PartialRead_1MB(benchmark::State& state) {
    static const fs::path path = bookFile("velumen-bench-1mb.velumen", 1, 60000);
    partialRead(state, path);
    state.counters["MB"] = static_cast<double>(fs::file_size(path)) / 1e6;
}

}  // namespace
}  // namespace velumen::bench

using namespace velumen::bench;

BENCHMARK(Memcpy_BookBytes)->Unit(benchmark::kMillisecond);
BENCHMARK(FullRead_120MB)->Unit(benchmark::kMillisecond);
BENCHMARK(Write_120MB)->Unit(benchmark::kMillisecond);
BENCHMARK(Write_120MB_Reused)->Unit(benchmark::kMillisecond);
BENCHMARK(PartialRead_1MB)->Unit(benchmark::kMicrosecond);
BENCHMARK(PartialRead_200MB)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    const int status = runAndReport(argc, argv,
                                    {
                                        {"full read of a 120 MB book / memcpy of its bytes", "FullRead_120MB",
                                         "Memcpy_BookBytes", "<= 2"},
                                        {"write of the same book to a new buffer / memcpy", "Write_120MB",
                                         "Memcpy_BookBytes", "(faults in 120 MB)"},
                                        {"write of the same book to the last save's buffer / memcpy",
                                         "Write_120MB_Reused", "Memcpy_BookBytes", "<= 2"},
                                        {"gallery read, 200 MB book / 1 MB book, same preview", "PartialRead_200MB",
                                         "PartialRead_1MB", "<= 1.2"},
                                    });
    std::error_code ignored;
    std::filesystem::remove(std::filesystem::temp_directory_path() / "velumen-bench-200mb.velumen", ignored);
    std::filesystem::remove(std::filesystem::temp_directory_path() / "velumen-bench-1mb.velumen", ignored);
    return status;
}
