// The GUI thread's share of a save of a 20 MB book: the encode into the buffer kept between saves, against
// a memcpy of as many bytes; and a whole save call (encode and hand-off to the file thread) against the
// encode alone, with the time until the bytes are on disk shown beside it, which the GUI thread never waits
// for.
#include <filesystem>
#include <string>

#include <QCoreApplication>

#include "bench_support.h"
#include "document/qt/FoliantDocument.h"
#include "objects/qt/QtImageCodec.h"

namespace velumen::bench {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

const QtImageCodec& codec() {
    static const QtImageCodec instance;
    return instance;
}

fs::path bookPath() {
    return fs::temp_directory_path() / ("velumen-bench-document-" + std::to_string(::getpid()) + ".velumen");
}

// 17 pages of 100,000 dots (strokes of 1,000), about 20 MB of ink.
FoliantDocument& document() {
    static FoliantDocument* instance = [] {
        auto* doc = new FoliantDocument(QString::fromStdString(bookPath().string()), codec());
        for (int p = 0; p < 17; ++p) {
            FoliantPagePtr page = FoliantData::createNewPage();
            page->pointSets = handwritingPage(100, 1000, 10, static_cast<unsigned>(p + 1));
            doc->data()->pages().push_back(page);
        }
        doc->data()->setPageNum(0);
        // A document writes only a book it opened: give it a file and open it.
        const Bytes& bytes = doc->contentsForType();
        FILE* f = std::fopen(bookPath().c_str(), "wb");
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
        bool done = false;
        doc->openWithCompletionHandler([&](bool) { done = true; });
        while (!done)
            QCoreApplication::processEvents();
        return doc;
    }();
    return *instance;
}

// Lets the last save end and its buffer come back to the document, outside the timing.
void settle() {
    FoliantDocument::waitForAllWrites();
    QCoreApplication::processEvents();
}

void Memcpy_20MB(benchmark::State& state) {
    const Bytes from = document().contentsForType();
    memcpyBaseline(state, from.data(), from.size());
}

void Encode_20MB(benchmark::State& state) {
    FoliantDocument& doc = document();
    settle();
    for (auto _ : state)
        benchmark::DoNotOptimize(doc.contentsForType().data());
}

// The autosave entry as the timer calls it, after an edit: what the GUI thread spends in the call; with
// `untilOnDisk`, until the file thread has written, synced and renamed the file as well.
void save(benchmark::State& state, bool untilOnDisk) {
    FoliantDocument& doc = document();
    for (auto _ : state) {
        state.PauseTiming();
        settle();
        doc.updateChangeCount(FoliantDocument::ChangeKind::Done);
        state.ResumeTiming();
        doc.autosaveWithCompletionHandler(nullptr);
        if (untilOnDisk) FoliantDocument::waitForAllWrites();
    }
    settle();
}

void SaveCall_20MB(benchmark::State& state) {
    save(state, false);
}

void SaveUntilOnDisk_20MB(benchmark::State& state) {
    save(state, true);
}

}  // namespace
}  // namespace velumen::bench

using namespace velumen::bench;

BENCHMARK(Memcpy_20MB)->Unit(benchmark::kMillisecond);
BENCHMARK(Encode_20MB)->Unit(benchmark::kMillisecond);
BENCHMARK(SaveCall_20MB)->Unit(benchmark::kMillisecond);
BENCHMARK(SaveUntilOnDisk_20MB)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int status = runAndReport(
        argc, argv,
        {
            {"encode of a 20 MB book, reused buffer / memcpy", "Encode_20MB", "Memcpy_20MB", "<= 2"},
            {"GUI thread in a save call / the encode alone", "SaveCall_20MB", "Encode_20MB",
             "~1 (no disk wait)"},
            {"save until on disk / the GUI thread's save call", "SaveUntilOnDisk_20MB", "SaveCall_20MB",
             "(the disk's share)"},
        });
    std::error_code ignored;
    fs::remove(bookPath(), ignored);
    return status;
}
