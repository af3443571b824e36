// The gallery's figures: listing a folder of 1,000 books (records, suffix filter, search filter and sort),
// the first screen of thumbnails from cold and from warm caches, and `velumen thumbnail` of a 200 MB book
// against a 1 MB one with the same preview. Each figure comes with its baseline from the same run.
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QSettings>
#include <QTemporaryDir>
#include <memory>

#include "bench_support.h"
#include "document/FoliantData.h"
#include "gallery/BookPreview.h"
#include "gallery/FoliantGallery.h"
#include "gallery/KUtils.h"
#include "objects/qt/QtImageCodec.h"

namespace velumen::bench {
namespace {

constexpr int kBooks = 1000;
constexpr int kFirstScreen = 20;  // five rows of four on a tablet

KImagePtr preview(std::uint32_t seed) {
    auto image = std::make_shared<KImage>();
    image->width = 384;
    image->height = 480;
    image->pixels.resize(std::size_t(image->width) * std::size_t(image->height));
    for (std::size_t i = 0; i < image->pixels.size(); ++i)
        image->pixels[i] = 0xFF000000u | static_cast<std::uint32_t>((i * 2654435761u + seed) & 0xFFFFFFu) >> 3 | 0x808080u;
    return image;
}

std::vector<std::uint8_t> bookWithPreview(int pages, int runs, int dots, std::uint32_t seed) {
    FoliantData book;
    for (int p = 0; p < pages; ++p) {
        FoliantPagePtr page = FoliantData::createNewPage();
        if (runs > 0) page->pointSets = handwritingPage(runs, dots, 10, unsigned(p + 1));
        book.pages().push_back(page);
    }
    book.setPageNum(0);
    book.setThumbnail(preview(seed));
    const QtImageCodec codec;
    return archivedDataWithRootObject(book, &codec);
}

void writeBytes(const QString& path, const std::vector<std::uint8_t>& bytes) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) file.write(reinterpret_cast<const char*>(bytes.data()), qsizetype(bytes.size()));
}

// A folder of 1,000 books with previews and a settings file, made once.
struct Library {
    QTemporaryDir root;
    QString documents = root.filePath("Books"), caches = root.filePath("Caches"), resources = root.filePath("Res");
    std::unique_ptr<QSettings> defaults;
    std::unique_ptr<FoliantGallery> gallery;
    QString big, small;

    Library() {
        QDir().mkpath(documents);
        const std::vector<std::uint8_t> bytes = bookWithPreview(1, 0, 0, 7);
        for (int i = 0; i < kBooks; ++i) writeBytes(documents + QString("/Book %1.velumen").arg(i), bytes);
        for (int i = 0; i < 50; ++i) writeBytes(documents + QString("/stray %1.txt").arg(i), {1, 2, 3});
        defaults = std::make_unique<QSettings>(root.filePath("defaults.ini"), QSettings::IniFormat);
        defaults->setValue(FoliantGallery::kQuickStartVersion, 100);
        defaults->setValue(FoliantGallery::kReleaseNoteVersion, 400);
        gallery = std::make_unique<FoliantGallery>(KCloudGallery::Folders{documents, caches, resources}, *defaults);
        gallery->viewDidLoad();
    }
    // The books of the first screen, in the list's order.
    std::vector<QUrl> firstScreen() {
        gallery->updateFileListAndScroll(false, false);
        std::vector<QUrl> urls;
        for (int index : gallery->visibleOrder()) {
            urls.push_back(gallery->files[std::size_t(index)].fileUrl);
            if (urls.size() == kFirstScreen) break;
        }
        return urls;
    }
};

Library& library() { return sharedObject<Library>(); }

// Records, the suffix test, the search filter and the sort by name, for 1,000 books.
void BM_ListThousandBooks(benchmark::State& state) {
    Library& lib = library();
    lib.gallery->textFieldDidChange("Book 1");
    lib.gallery->thumbnailArrangement = 1;
    for (auto _ : state) {
        lib.gallery->updateFileListAndScroll(false, false);
        benchmark::DoNotOptimize(lib.gallery->visibleOrder());
    }
    state.counters["books"] = double(lib.gallery->files.size());
    lib.gallery->textFieldDidChange("");
}
BENCHMARK(BM_ListThousandBooks)->Unit(benchmark::kMillisecond);

// Baseline: the directory walk with a stat of each entry, nothing more.
void BM_WalkThousandBooks(benchmark::State& state) {
    Library& lib = library();
    for (auto _ : state) benchmark::DoNotOptimize(KUtils::getDateSortedFileList(lib.documents));
}
BENCHMARK(BM_WalkThousandBooks)->Unit(benchmark::kMillisecond);

// First screen from cold caches: each picture from the book's partial read, then written to both caches.
void BM_FirstScreenCold(benchmark::State& state) {
    Library& lib = library();
    const std::vector<QUrl> urls = lib.firstScreen();
    for (auto _ : state) {
        state.PauseTiming();
        for (const QUrl& url : urls) {
            lib.gallery->cachedThumbnailImages().removeObject(url);
            QFile::remove(lib.gallery->getDiskCacheSmallThumbnailFilePathForFile(url));
            QFile::remove(lib.gallery->getDiskCacheLargeThumbnailFilePathForFile(url));
        }
        state.ResumeTiming();
        for (const QUrl& url : urls) {
            QImage image = lib.gallery->getCachedThumbnailForFile(url);
            if (image.isNull()) {
                if (auto info = lib.gallery->loadInfoForFile(url)) lib.gallery->setCachedThumbnail(info->thumbnail, url);
            }
        }
        lib.gallery->waitForThumbnailWork();
    }
}
BENCHMARK(BM_FirstScreenCold)->Unit(benchmark::kMillisecond);

// First screen from warm disk caches (the memory cache emptied, as after a start).
void BM_FirstScreenWarm(benchmark::State& state) {
    Library& lib = library();
    const std::vector<QUrl> urls = lib.firstScreen();
    for (const QUrl& url : urls)
        if (auto info = lib.gallery->loadInfoForFile(url)) lib.gallery->setCachedThumbnail(info->thumbnail, url);
    lib.gallery->waitForThumbnailWork();
    for (auto _ : state) {
        for (const QUrl& url : urls) lib.gallery->cachedThumbnailImages().removeObject(url);
        for (const QUrl& url : urls) benchmark::DoNotOptimize(lib.gallery->getCachedThumbnailForFile(url));
    }
}
BENCHMARK(BM_FirstScreenWarm)->Unit(benchmark::kMillisecond);

// Baseline: reading and decoding the same cache files, nothing more.
void BM_FirstScreenCacheFilesAlone(benchmark::State& state) {
    Library& lib = library();
    const std::vector<QUrl> urls = lib.firstScreen();
    std::vector<QString> paths;
    for (const QUrl& url : urls) paths.push_back(lib.gallery->getDiskCacheSmallThumbnailFilePathForFile(url));
    for (auto _ : state) {
        for (const QString& path : paths) {
            QImageReader reader(path);
            reader.setDecideFormatFromContent(true);
            benchmark::DoNotOptimize(reader.read());
        }
    }
}
BENCHMARK(BM_FirstScreenCacheFilesAlone)->Unit(benchmark::kMillisecond);

// Two books with the same preview: about 1 MB and about 200 MB of ink.
struct SizedBooks {
    QTemporaryDir root;
    QString small = root.filePath("Small.velumen"), big = root.filePath("Big.velumen");
    double smallMB = 0, bigMB = 0;
    SizedBooks() {
        auto a = bookWithPreview(1, 400, 200, 9);
        smallMB = double(a.size()) / 1e6;
        writeBytes(small, a);
        a = {};
        auto b = bookWithPreview(80, 1000, 210, 9);
        bigMB = double(b.size()) / 1e6;
        writeBytes(big, b);
    }
};

SizedBooks& sizedBooks() { return sharedObject<SizedBooks>(); }

void runTool(const QString& book, const QString& out) {
    const pid_t child = ::fork();
    if (child == 0) {
        const QByteArray a = QFile::encodeName(book), b = QFile::encodeName(out);
        ::execl(VELUMEN_TOOL, VELUMEN_TOOL, "thumbnail", "-s", "256", a.constData(), b.constData(),
                static_cast<char*>(nullptr));
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
}

void BM_ThumbnailCommand(benchmark::State& state) {
    SizedBooks& books = sizedBooks();
    const QString book = state.range(0) ? books.big : books.small;
    const QString out = books.root.filePath("out.png");
    for (auto _ : state) runTool(book, out);
    state.counters["MB"] = state.range(0) ? books.bigMB : books.smallMB;
}
BENCHMARK(BM_ThumbnailCommand)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// The same partial read inside one process, without the start of a program around it.
void BM_PreviewRead(benchmark::State& state) {
    SizedBooks& books = sizedBooks();
    const QString book = state.range(0) ? books.big : books.small;
    for (auto _ : state) benchmark::DoNotOptimize(readBookPreview(book));
    state.counters["MB"] = state.range(0) ? books.bigMB : books.smallMB;
}
BENCHMARK(BM_PreviewRead)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velumen::bench

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    using velumen::bench::Ratio;
    const int status = velumen::bench::runAndReport(
        argc, argv,
        {
            {"listing 1,000 books vs the bare directory walk (ms)", "BM_ListThousandBooks", "BM_WalkThousandBooks",
             "measured <= 50 ms"},
            {"first screen, cold caches vs cache files alone (ms)", "BM_FirstScreenCold", "BM_FirstScreenCacheFilesAlone",
             "report"},
            {"first screen, warm caches vs cache files alone (ms)", "BM_FirstScreenWarm", "BM_FirstScreenCacheFilesAlone",
             "<= 2"},
            {"velumen thumbnail, 200 MB vs 1 MB book (ms)", "BM_ThumbnailCommand/1", "BM_ThumbnailCommand/0", "<= 1.5"},
            {"preview read in process, 200 MB vs 1 MB book (ms)", "BM_PreviewRead/1", "BM_PreviewRead/0", "<= 1.5"},
        });
    velumen::bench::sharedSlot<velumen::bench::Library>().reset();
    velumen::bench::sharedSlot<velumen::bench::SizedBooks>().reset();
    return status;
}
