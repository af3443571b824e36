// Rendering figures on the GL surface (software GL under Xvfb here, so read the ratios): the cost of a
// live stroke segment against the ink on the page, a full repaint (with the ink in view, out of view, or a
// tenth of it in view), a thumbnail, and the texture uploads and bytes of ink uploaded by repaints of
// unchanged pages. Each timed step ends with glFinish so that the GPU's share is counted.
#include <QGuiApplication>
#include <QSurfaceFormat>
#include <cmath>
#include <cstdio>
#include <memory>

#include "bench_support.h"
#include "ink/PointKernels.h"
#include "ink/StrokeSampler.h"
#include "render/EAGLViewController.h"
#include "render/PageCompositor.h"

using namespace velumen;

namespace {

// A surface of 768 x 960 points showing the whole page, with the fixed textures.
struct Surface : InkCommitTarget {
    EAGLViewController controller;
    PageCompositor compositor{controller.eaglView()};
    ManualClock clock{1.0};
    ViewTransform view{0.5f, {}};
    StrokeSampler sampler{*this, clock, view};
    PenTables tables;
    bool ok = false;

    Surface() {
        ok = controller.viewDidLoad();
        if (!ok) return;
        compositor.initializeEagl(1.0);
        controller.eaglView().layoutSubviews({768, 960});
        compositor.loadFixedTextures();
        compositor.readTransformFrom(view);
        sampler.renderer = &compositor;
    }
    void addPointSets(const KVSPointSetArrayPtr&) override {}
    void addPointSetsAtBack(const KVSPointSetArrayPtr&) override {}
    GLLayer& gl() { return controller.eaglView().layer(); }
    void finish() {
        controller.eaglView().renderingQueue().sync([&] { gl().finish(); });
    }
};

std::unique_ptr<Surface>& surfaceSlot() {
    static std::unique_ptr<Surface> s;
    return s;
}

// Made on first use, and let go before the application object.
Surface& surface() {
    if (!surfaceSlot()) surfaceSlot() = std::make_unique<Surface>();
    return *surfaceSlot();
}

bool ready(benchmark::State& state) {
    if (surface().ok) return true;
    state.SkipWithError("no GL context");
    return false;
}

KVSPointSetArrayPtr pageOfDots(std::int64_t dots) {
    if (dots == 0) return std::make_shared<KVSPointSetArray>();
    return bench::handwritingPage(int(dots / 1000), 1000);
}

// One movement sample of a running stroke per iteration: one live segment, drawn and presented. The stroke
// is cancelled and begun anew (outside the timing) every 40 samples.
void liveSegments(benchmark::State& state, std::int64_t penIndex) {
    if (!ready(state)) return;
    Surface& s = surface();
    s.compositor.pointSets = pageOfDots(state.range(0));
    s.compositor.redrawAllLines();
    s.finish();
    s.sampler.setPenTypeIndex(penIndex, penIndex == 4 ? 40.0f : 6.0f, s.tables);
    s.sampler.setPenColor({0.1, 0.1, 0.4, penIndex == 4 ? 0.4 : 0.9}, s.tables);
    // Warm the driver's paths up before timing.
    s.sampler.beginStroke({{60, 300}});
    for (int i = 1; i < 20; ++i) {
        s.clock.advance(0.02);
        s.sampler.takeMovementSample({{60 + 15.0 * i, 300}});
    }
    s.sampler.endStroke({{100, 100}}, true);
    s.finish();
    int step = 0;
    for (auto _ : state) {
        if (step % 40 == 0) {
            state.PauseTiming();
            if (step > 0) s.sampler.endStroke({{100, 100}}, true);
            s.sampler.beginStroke({{60, 300 + double(step % 400)}});
            s.finish();
            state.ResumeTiming();
        }
        ++step;
        s.clock.advance(0.02);
        const double t = step % 40;
        s.sampler.takeMovementSample({{60 + 15 * t, 300 + double(step % 400) + 20 * std::sin(t)}});
        s.finish();
    }
    s.sampler.endStroke({{100, 100}}, true);
    s.compositor.pointSets = std::make_shared<KVSPointSetArray>();
}

void BM_LiveSegmentPen(benchmark::State& state) {
    liveSegments(state, 1);
}
BENCHMARK(BM_LiveSegmentPen)->Arg(0)->Arg(1000000)->Unit(benchmark::kMicrosecond);

void BM_LiveSegmentHilighter(benchmark::State& state) {
    liveSegments(state, 4);
}
BENCHMARK(BM_LiveSegmentHilighter)->Arg(0)->Arg(1000000)->Unit(benchmark::kMicrosecond);

// Full repaint of a handwritten page at 768 x 960; with Arg 1 the same ink lies entirely outside the view.
// The page is drawn once before timing, so that its records are in GPU memory, as on a page being shown.
void BM_FullRepaint(benchmark::State& state) {
    if (!ready(state)) return;
    Surface& s = surface();
    s.compositor.pointSets = pageOfDots(state.range(0));
    if (state.range(1)) s.view.inkPanDelta = {-5000, 0};
    s.compositor.redrawAllLines();
    s.finish();
    const std::uint64_t draws = s.gl().drawCallCount();
    const std::uint64_t bytes = s.gl().bytesUploaded();
    for (auto _ : state) {
        s.compositor.redrawAllLines();
        s.finish();
    }
    state.counters["draw_calls"] =
        benchmark::Counter(double(s.gl().drawCallCount() - draws), benchmark::Counter::kAvgIterations);
    state.counters["bytes_uploaded"] =
        benchmark::Counter(double(s.gl().bytesUploaded() - bytes), benchmark::Counter::kAvgIterations);
    s.view.inkPanDelta = {};
    s.compositor.pointSets = std::make_shared<KVSPointSetArray>();
}
BENCHMARK(BM_FullRepaint)
    ->Args({0, 0})
    ->Args({100000, 0})
    ->Args({100000, 1})
    ->Args({1000000, 0})
    ->Args({1000000, 1})
    ->Unit(benchmark::kMillisecond);

// A page of 100 strokes of 1,000 dots of which every tenth lies in the view and the others to the right
// of it (Arg 1), against a page of those ten strokes alone (Arg 0).
void BM_RepaintTenthInView(benchmark::State& state) {
    if (!ready(state)) return;
    Surface& s = surface();
    const KVSPointSetArrayPtr page = pageOfDots(100000);
    auto shown = std::make_shared<KVSPointSetArray>();
    for (std::size_t i = 0; i < page->count(); ++i) {
        const KVSPointSetPtr& run = page->objectAtIndex(i);
        if (i % 10 == 0) {
            shown->addObject(run);
        } else {
            kernels::addDelta(run->buffer(), run->length(), 4000.0f, 0.0f);
        }
    }
    s.compositor.pointSets = state.range(0) ? page : shown;
    s.compositor.redrawAllLines();
    s.finish();
    const std::uint64_t draws = s.gl().drawCallCount();
    for (auto _ : state) {
        s.compositor.redrawAllLines();
        s.finish();
    }
    state.counters["draw_calls"] =
        benchmark::Counter(double(s.gl().drawCallCount() - draws), benchmark::Counter::kAvgIterations);
    s.compositor.pointSets = std::make_shared<KVSPointSetArray>();
}
BENCHMARK(BM_RepaintTenthInView)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_Thumbnail200x250(benchmark::State& state) {
    if (!ready(state)) return;
    Surface& s = surface();
    PageContent page;
    page.pointSets = pageOfDots(state.range(0));
    for (auto _ : state) {
        QImage image = s.compositor.getThumbnailForPage(page, {200, 250});
        benchmark::DoNotOptimize(image);
    }
}
BENCHMARK(BM_Thumbnail200x250)->Arg(0)->Arg(100000)->Unit(benchmark::kMillisecond);

// 100 repaints of an unchanged page with three images: the textures were made once.
void BM_HundredRepaintsWithImages(benchmark::State& state) {
    if (!ready(state)) return;
    Surface& s = surface();
    s.compositor.pointSets = pageOfDots(10000);
    KImage picture;
    picture.width = 640;
    picture.height = 480;
    picture.pixels.assign(640u * 480u, 0xff8090a0u);
    for (int i = 0; i < 3; ++i) {
        auto image = std::make_shared<FoliantImage>();
        image->frame = {100.0 + 300 * i, 200.0 + 400 * i, 640, 480};
        image->borderStyle = 1;
        s.compositor.addPageImage(image, picture);
    }
    const std::uint64_t uploads = s.gl().textureUploadCount();
    for (auto _ : state) {
        for (int i = 0; i < 100; ++i)
            s.compositor.redrawAllLines();
        s.finish();
    }
    state.counters["texture_uploads"] = double(s.gl().textureUploadCount() - uploads);
    s.compositor.removeAllPageImageTextures();
    s.compositor.pointSets = std::make_shared<KVSPointSetArray>();
}
BENCHMARK(BM_HundredRepaintsWithImages)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

int main(int argc, char** argv) {
    QSurfaceFormat::setDefaultFormat(EAGLViewController::surfaceFormat());
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QGuiApplication app(argc, argv);
    const int status = bench::runAndReport(
        argc, argv,
        {{"live pen segment, 1M-dot page / empty page", "BM_LiveSegmentPen/1000000", "BM_LiveSegmentPen/0",
          "<= 1.2"},
         {"hilighter step, 1M-dot page / empty page", "BM_LiveSegmentHilighter/1000000",
          "BM_LiveSegmentHilighter/0", "~ 1 (stroke, not page)"},
         {"repaint, 100k dots all outside the view / empty page", "BM_FullRepaint/100000/1",
          "BM_FullRepaint/0/0", "<= 1.2"},
         {"repaint, 100k dots / empty page", "BM_FullRepaint/100000/0", "BM_FullRepaint/0/0", "report"},
         {"repaint, 1M dots all outside the view / empty page", "BM_FullRepaint/1000000/1",
          "BM_FullRepaint/0/0", "<= 1.2"},
         {"repaint, 1M dots / empty page", "BM_FullRepaint/1000000/0", "BM_FullRepaint/0/0", "report"},
         {"repaint, a tenth of 100 runs in view / that tenth alone", "BM_RepaintTenthInView/1",
          "BM_RepaintTenthInView/0", "<= 1.2"},
         {"thumbnail 200x250, 100k dots / empty page", "BM_Thumbnail200x250/100000", "BM_Thumbnail200x250/0",
          "report"}});
    surfaceSlot().reset();
    return status;
}
