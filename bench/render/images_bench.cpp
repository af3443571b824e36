// Picture figures (software GL under Xvfb here, so read the ratios): showing a page of 10 photos of 12
// megapixels (decode and upload time, and the peak memory against the bytes of the textures), 100
// repaints of that page (no texture uploads; time against the same page with 10 small textures in the
// same frames and against the page without pictures), and importing a 100-page PDF (pages per second, and
// the peak memory beyond the stored JPEG bytes, against a 20-page import).
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>
#include <QFile>
#include <chrono>
#include <cstdio>
#include <map>
#include <fstream>
#include <memory>
#include <string>

#include "bench_support.h"
#include "export/PdfImport.h"
#include "objects/qt/ImageOps.h"
#include "objects/qt/QtImageCodec.h"
#include "render/EAGLViewController.h"
#include "render/ImageTextures.h"
#include "render/PageCompositor.h"

using namespace velumen;

namespace {

// Peak resident memory of the process since the last reset, in bytes.
std::uint64_t peakResident() {
    std::ifstream in("/proc/self/status");
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind("VmHWM:", 0) == 0) return std::stoull(line.substr(6)) * 1024;
    }
    return 0;
}
std::uint64_t resident() {
    std::ifstream in("/proc/self/status");
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind("VmRSS:", 0) == 0) return std::stoull(line.substr(6)) * 1024;
    }
    return 0;
}
void resetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

struct Surface {
    EAGLViewController controller;
    PageCompositor compositor{controller.eaglView()};
    ViewTransform view{0.5f, {}};
    QtImageCodec codec;
    ImageTextures textures{compositor, codec};
    bool ok = false;
    Surface() {
        ok = controller.viewDidLoad();
        if (!ok) return;
        compositor.initializeEagl(1.0);
        controller.eaglView().layoutSubviews({768, 960});
        compositor.loadFixedTextures();
        compositor.readTransformFrom(view);
        compositor.pointSets = bench::handwritingPage(100, 1000);
        // Plenty of memory: every photo at its full size.
        textures.memory = [] { return MemoryFigures{16000000000ull, 12000000000ull}; };
    }
    void finish() {
        controller.eaglView().renderingQueue().sync([&] { controller.eaglView().layer().finish(); });
    }
};

Surface& surface() { return bench::sharedObject<Surface>(); }

bool ready(benchmark::State& state) {
    if (surface().ok) return true;
    state.SkipWithError("no GL context");
    return false;
}

// One 4000 x 3000 photo-like JPEG (gradients and edges), shared by the ten pictures of the page.
const FoliantImage::Bytes& photoBytes(int width, int height) {
    static std::map<std::pair<int, int>, FoliantImage::Bytes> made;
    auto& bytes = made[{width, height}];
    if (bytes) return bytes;
    QImage image(width, height, QImage::Format_RGB32);
    QPainter p(&image);
    QLinearGradient g(0, 0, width, height);
    g.setColorAt(0, Qt::darkCyan);
    g.setColorAt(1, Qt::yellow);
    p.fillRect(image.rect(), g);
    for (int i = 0; i < 40; ++i)
        p.fillRect(QRect(i * width / 40, (i * 37) % height, width / 50, height / 7), QColor::fromHsv(i * 9, 200, 200));
    p.end();
    const auto jpeg = QtImageCodec().encodeJpeg(kImageFromQImage(image), 0.8);
    bytes = std::make_shared<const std::vector<std::uint8_t>>(*jpeg);
    return bytes;
}

std::vector<FoliantImagePtr> tenPictures(int width, int height) {
    std::vector<FoliantImagePtr> images;
    for (int i = 0; i < 10; ++i) {
        auto image = std::make_shared<FoliantImage>();
        image->setImageData(photoBytes(width, height), 1);
        image->frame = {40.0 + (i % 2) * 740, 40.0 + (i / 2) * 370, 700, 350};
        images.push_back(image);
    }
    return images;
}

// Shows the page anew each iteration: every photo decoded and uploaded.
void BM_ShowPageOfTenPhotos(benchmark::State& state) {
    if (!ready(state)) return;
    Surface& s = surface();
    const auto images = tenPictures(4000, 3000);
    std::uint64_t page = 1000;
    double ratio = 0;
    for (auto _ : state) {
        s.textures.releaseAll();
        s.finish();
        const std::uint64_t before = resident();
        resetPeak();
        s.textures.syncPageImages(++page, images, 0);
        s.finish();
        const double textureBytes = 10.0 * 4000 * 3000 * 4;
        ratio = double(peakResident() - before) / textureBytes;
    }
    state.counters["peak_over_texture_bytes"] = ratio;
    state.counters["texture_MB"] = 10.0 * 4000 * 3000 * 4 / 1e6;
}
BENCHMARK(BM_ShowPageOfTenPhotos)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();

// 100 repaints of one page: kind 0 without pictures, 1 with 10 small textures, 2 with the 10 photos.
void BM_RepaintHundredTimes(benchmark::State& state) {
    if (!ready(state)) return;
    Surface& s = surface();
    const int kind = int(state.range(0));
    const std::vector<FoliantImagePtr> images =
        kind == 0 ? std::vector<FoliantImagePtr>{} : kind == 1 ? tenPictures(64, 48) : tenPictures(4000, 3000);
    s.textures.releaseAll();
    s.textures.syncPageImages(7000 + std::uint64_t(kind), images, 0);
    s.compositor.redrawAllLines();
    s.finish();
    const std::uint64_t uploads = s.textures.uploads();
    double seconds = 0;
    std::int64_t repaints = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < 100; ++i) {
            s.textures.syncPageImages(7000 + std::uint64_t(kind), images, 0);
            s.compositor.redrawAllLines();
        }
        s.finish();
        seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        repaints += 100;
    }
    state.counters["uploads_during_repaints"] = double(s.textures.uploads() - uploads);
    state.counters["ms_per_repaint"] = seconds * 1000 / double(repaints);
}
BENCHMARK(BM_RepaintHundredTimes)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

QByteArray writePdf(int pages) {
    std::vector<std::string> objects;
    objects.push_back("<< /Type /Catalog /Pages 2 0 R >>");
    std::string kids;
    for (int i = 0; i < pages; ++i)
        kids += std::to_string(3 + 2 * i) + " 0 R ";
    objects.push_back("<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pages) + " >>");
    for (int i = 0; i < pages; ++i) {
        objects.push_back("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents " + std::to_string(4 + 2 * i) +
                          " 0 R >>");
        std::string content;
        for (int k = 0; k < 30; ++k)
            content += (k % 3 == 0 ? "0" : k % 3 == 1 ? "0.3" : "0.6") + std::string(" 0.2 0.5 rg ") + std::to_string(50 + k * 17) + " " +
                       std::to_string(60 + (k * 53 + i * 7) % 600) + " 90 40 re f\n";
        objects.push_back("<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "endstream");
    }
    std::string out = "%PDF-1.4\n";
    std::vector<std::size_t> offsets;
    for (std::size_t n = 0; n < objects.size(); ++n) {
        offsets.push_back(out.size());
        out += std::to_string(n + 1) + " 0 obj\n" + objects[n] + "\nendobj\n";
    }
    const std::size_t xref = out.size();
    out += "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (std::size_t o : offsets) {
        const std::string number = std::to_string(o);
        out += std::string(10 - number.size(), '0') + number + " 00000 n \n";
    }
    out += "trailer\n<< /Size " + std::to_string(objects.size() + 1) + " /Root 1 0 R >>\nstartxref\n" +
           std::to_string(xref) + "\n%%EOF\n";
    return QByteArray::fromStdString(out);
}

void BM_ImportPdf(benchmark::State& state) {
    const int pages = int(state.range(0));
    QTemporaryDir dir;
    const QString path = dir.filePath("book.pdf");
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(writePdf(pages));
    f.close();
    const QtImageCodec codec;
    double beyond = 0, jpegBytes = 0;
    for (auto _ : state) {
        FoliantData book;
        const std::uint64_t before = resident();
        resetPeak();
        importPdfPages(path, book, codec, 1024);
        jpegBytes = 0;
        for (const auto& page : book.pages())
            jpegBytes += double(page->images.at(0)->imageData()->size());
        beyond = double(peakResident() - before) - jpegBytes;
    }
    state.counters["pages_per_s"] = benchmark::Counter(double(pages), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["peak_beyond_jpeg_MB"] = beyond / 1e6;
    state.counters["jpeg_MB"] = jpegBytes / 1e6;
}
BENCHMARK(BM_ImportPdf)->Arg(20)->Arg(100)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    QSurfaceFormat::setDefaultFormat(EAGLViewController::surfaceFormat());
    QGuiApplication app(argc, argv);
    keepFreedMemoryForReuse();
    benchmark::Initialize(&argc, argv);
    bench::CounterReporter counters;
    benchmark::RunSpecifiedBenchmarks(&counters);
    const bool missing = !bench::sharedSlot<Surface>() || !bench::sharedSlot<Surface>()->ok;
    bench::sharedSlot<Surface>().reset();
    bench::printRatios([&](const std::string& key) { return counters.value(key); },
                       {{"repaint ms, 10 photos / 10 small textures in the same frames",
                         "BM_RepaintHundredTimes/2:ms_per_repaint", "BM_RepaintHundredTimes/1:ms_per_repaint", "<= 1.2"},
                        {"repaint ms, 10 small textures / no pictures", "BM_RepaintHundredTimes/1:ms_per_repaint",
                         "BM_RepaintHundredTimes/0:ms_per_repaint", "the cost of 10 quads"},
                        {"PDF import, peak MB beyond the JPEG bytes, 100 pages / 20 pages",
                         "BM_ImportPdf/100:peak_beyond_jpeg_MB", "BM_ImportPdf/20:peak_beyond_jpeg_MB", "~ 1"},
                        {"PDF import, pages per second, 100 pages / 20 pages", "BM_ImportPdf/100:pages_per_s",
                         "BM_ImportPdf/20:pages_per_s", "~ 1"}});
    benchmark::Shutdown();
    return bench::exitStatusWithSurface(missing);
}
