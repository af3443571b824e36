// Figures of the editor's input path on a GL surface under a display (software GL under Xvfb here, so read
// the ratios): the latency from a pen's movement event entering the touch router to its live segment
// presented, on an empty page and on a page of a million dots; and the time from making the editor to the
// first frame of a page. Each timed step ends with glFinish on the surface's context, so that the
// rasteriser cannot finish its share after the clock stops.
#include <QApplication>
#include <QElapsedTimer>
#include <QPointingDevice>
#include <QSurfaceFormat>
#include <QTabletEvent>
#include <QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

#include "bench_support.h"
#include "render/EAGLViewWidget.h"
#include "shell/BookFile.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantViewController.h"

using namespace velumen;

namespace {

using Clock = std::chrono::steady_clock;

// The window: the surface at 768 x 960 points shows the whole page at half size.
constexpr int kWindowWidth = 768;
constexpr int kWindowHeight = 960;
constexpr int kEventsPerStroke = 200;
constexpr int kStrokes = 15;
// Above the sampler's spacing of samples, so that every movement event draws a segment.
constexpr double kEventInterval = 1.0 / 60.0;

// What the whole run shares: the settings, read once as the notebook does before making its editor, and
// the pen the tablet events come from.
struct Shared {
    QTemporaryDir dir;
    FoliantGlobals globals{openDefaultsStore(dir.filePath("defaults.plist")), 0.0};
    QPointingDevice pen{"bench pen",
                        4711,
                        QInputDevice::DeviceType::Stylus,
                        QPointingDevice::PointerType::Pen,
                        QInputDevice::Capability::Position | QInputDevice::Capability::Pressure,
                        1,
                        2};
    bool surfaceMissing = false;
};

// Made on first use, and let go before the application object.
Shared& shared() {
    return bench::sharedObject<Shared>();
}

KVSPointSetArrayPtr pageOfDots(std::int64_t dots) {
    if (dots <= 0) return std::make_shared<KVSPointSetArray>();
    return bench::handwritingPage(int(dots / 1000), 1000);
}

FoliantDataPtr bookWithDots(std::int64_t dots) {
    FoliantDataPtr book = newOnePageBook();
    book->setPointSets(pageOfDots(dots));
    return book;
}

double seconds(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}

// The sample at rank q (0..1) of the sorted samples, by nearest rank.
double quantile(std::vector<double> samples, double q) {
    if (samples.empty()) return std::nan("");
    std::sort(samples.begin(), samples.end());
    const auto rank = static_cast<std::size_t>(std::ceil(q * double(samples.size())));
    return samples[std::clamp<std::size_t>(rank, 1, samples.size()) - 1];
}

// Runs the event loop, waiting for events rather than spinning, until `done` holds; false after 60 s. Only
// for waits that a running frame loop or a posted event ends.
bool processUntil(const std::function<bool()>& done) {
    QElapsedTimer elapsed;
    elapsed.start();
    while (!done()) {
        if (elapsed.elapsed() > 60000) return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

void finishGL(FoliantViewController& vc) {
    EAGLView& view = vc.view().surface.eaglView();
    view.renderingQueue().sync([&] {
        if (view.makeCurrent()) view.layer().finish();
    });
}

bool noSurface(benchmark::State& state, const FoliantViewController& vc) {
    if (vc.hasSurface()) return false;
    shared().surfaceMissing = true;
    state.SkipWithError("no GL context");
    return true;
}

// An editor showing a book, as the notebook starts it, with the fountain pen in hand and its frame loop
// running.
struct Editor {
    ManualClock clock;
    FoliantViewController vc{shared().globals, clock};
    FoliantDataPtr book;

    explicit Editor(FoliantDataPtr b) : book(std::move(b)) {
        vc.openBook(book);
        vc.resize(kWindowWidth, kWindowHeight);
        vc.show();
        vc.startDisplayLink();
        vc.setPenTypeIndex(1);
        vc.redrawAllLines();
    }
    ~Editor() { vc.stopDisplayLink(); }

    void tablet(QEvent::Type type, QPointF at, Qt::MouseButtons buttons) {
        QTabletEvent event(type, &shared().pen, at, at, 0.6, 0, 0, 0, 0, 0, Qt::NoModifier, Qt::LeftButton,
                           buttons);
        clock.advance(kEventInterval);
        QCoreApplication::sendEvent(vc.touchTarget(), &event);
    }

    // Lets the window show what was presented and the frame loop repaint what is dirty (a committed stroke),
    // then finishes every GL command: nothing left over is paid for by the next timed event.
    bool settle() {
        QCoreApplication::processEvents();
        const bool clean = processUntil([&] { return !vc.view().compositor.isFrameUpdateNeeded; });
        finishGL(vc);
        return clean;
    }
};

// The k-th event (0 the touch-down) of stroke s: left to right across the window with a gentle wave,
// one line of the window per stroke.
QPointF strokePoint(int s, int k) {
    const double y = 60.0 + 58.0 * double(s % 15);
    return {40.0 + 3.4 * double(k), y + 12.0 * std::sin(0.09 * double(k))};
}

// One movement event of a running fountain-pen stroke per iteration, timed from sending it to the
// surface widget until its segment is presented and drawn. Strokes are lifted and begun anew, outside the
// timing, every kEventsPerStroke events; the page's repaint after each stroke is waited for as well.
void BM_TouchToPresent(benchmark::State& state) {
    Editor e(bookWithDots(state.range(0)));
    if (noSurface(state, e.vc)) return;
    EAGLView& view = e.vc.view().surface.eaglView();

    // Warm the driver's paths up.
    e.tablet(QEvent::TabletPress, strokePoint(0, 0), Qt::LeftButton);
    for (int k = 1; k <= 30; ++k)
        e.tablet(QEvent::TabletMove, strokePoint(0, k), Qt::LeftButton);
    e.tablet(QEvent::TabletRelease, strokePoint(0, 30), Qt::NoButton);
    e.settle();

    std::vector<double> samples;
    samples.reserve(std::size_t(state.max_iterations));
    int event = 0, stroke = 0;
    for (auto _ : state) {
        const int k = event % kEventsPerStroke + 1;
        if (k == 1) {
            if (event > 0)
                e.tablet(QEvent::TabletRelease, strokePoint(stroke, kEventsPerStroke), Qt::NoButton);
            ++stroke;
            e.settle();
            e.tablet(QEvent::TabletPress, strokePoint(stroke, 0), Qt::LeftButton);
            e.settle();
        }
        const QPointF at = strokePoint(stroke, k);
        QTabletEvent move(QEvent::TabletMove, &shared().pen, at, at, 0.6, 0, 0, 0, 0, 0, Qt::NoModifier,
                          Qt::LeftButton, Qt::LeftButton);
        e.clock.advance(kEventInterval);
        const std::uint64_t presents = view.presentCount();

        const Clock::time_point start = Clock::now();
        QCoreApplication::sendEvent(e.vc.touchTarget(), &move);
        finishGL(e.vc);
        const Clock::time_point end = Clock::now();

        if (view.presentCount() != presents + 1) {
            state.SkipWithError("a movement event did not present exactly once");
            break;
        }
        samples.push_back(seconds(start, end));
        state.SetIterationTime(samples.back());
        if (!e.settle()) {
            state.SkipWithError("the frame loop never repainted");
            break;
        }
        ++event;
    }
    e.tablet(QEvent::TabletRelease, strokePoint(stroke, kEventsPerStroke), Qt::NoButton);
    e.settle();
    state.counters["median_us"] = quantile(samples, 0.5) * 1e6;
    state.counters["p99_us"] = quantile(samples, 0.99) * 1e6;
}
BENCHMARK(BM_TouchToPresent)
    ->Arg(0)
    ->Arg(1000000)
    ->Iterations(kStrokes* kEventsPerStroke)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

// From making the editor (settings already read) through opening the book, showing and laying out the
// window, to the first frame presented and drawn; Arg -1 opens no book at all. The book is built anew,
// outside the timing, for each iteration, so no cached bounds of its runs carry over. Also counted: the
// time until the window has painted that frame.
void BM_StartupToFirstFrame(benchmark::State& state) {
    {
        // The first editor of a run pays for first-time work of the toolkit and the driver: untimed.
        ManualClock clock;
        FoliantViewController warm(shared().globals, clock);
        warm.resize(kWindowWidth, kWindowHeight);
        warm.show();
        warm.startDisplayLink();
        processUntil([&] { return !warm.hasSurface() || warm.view().compositor.repaintCount() > 0; });
        warm.stopDisplayLink();
    }
    QCoreApplication::processEvents();
    std::vector<double> firstFrame, onScreen;
    for (auto _ : state) {
        const FoliantDataPtr book = state.range(0) >= 0 ? bookWithDots(state.range(0)) : nullptr;
        ManualClock clock;

        const Clock::time_point start = Clock::now();
        auto vc = std::make_unique<FoliantViewController>(shared().globals, clock);
        if (book) vc->openBook(book);
        vc->resize(kWindowWidth, kWindowHeight);
        vc->show();
        vc->startDisplayLink();
        if (noSurface(state, *vc)) break;
        // The window's paints as each present happens: the paint that shows the first frame comes after.
        auto* widget = dynamic_cast<EAGLViewWidget*>(vc->touchTarget());
        std::uint64_t paintsAtPresent = 0;
        EAGLView& view = vc->view().surface.eaglView();
        const std::function<void()> shows = view.didPresent;
        view.didPresent = [&] {
            paintsAtPresent = widget ? widget->paintCount() : 0;
            if (shows) shows();
        };
        const bool presented = processUntil([&] { return vc->view().compositor.repaintCount() > 0; });
        finishGL(*vc);
        const Clock::time_point end = Clock::now();

        const bool painted = widget && processUntil([&] { return widget->paintCount() > paintsAtPresent; });
        const Clock::time_point shown = Clock::now();
        if (!presented || !painted) {
            view.didPresent = shows;
            state.SkipWithError("no frame was presented or painted");
            break;
        }
        firstFrame.push_back(seconds(start, end));
        onScreen.push_back(seconds(start, shown));
        state.SetIterationTime(firstFrame.back());

        vc->stopDisplayLink();
        // The window's own hook back, as the editor expects to find it when it goes.
        view.didPresent = shows;
        vc.reset();
        QCoreApplication::processEvents();
    }
    state.counters["median_ms"] = quantile(firstFrame, 0.5) * 1e3;
    state.counters["on_screen_ms"] = quantile(onScreen, 0.5) * 1e3;
}
BENCHMARK(BM_StartupToFirstFrame)
    ->Arg(-1)
    ->Arg(0)
    ->Arg(1000000)
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    keepFreedMemoryForReuse();
    QSurfaceFormat::setDefaultFormat(EAGLViewController::surfaceFormat());
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QCoreApplication::setAttribute(Qt::AA_CompressTabletEvents, false);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    bench::CounterReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    const std::vector<bench::Ratio> ratios = {
        {"touch-to-present median (us), 1M-dot page / empty page", "BM_TouchToPresent/1000000:median_us",
         "BM_TouchToPresent/0:median_us", "<= 1.2"},
        {"touch-to-present p99 (us), 1M-dot page / empty page", "BM_TouchToPresent/1000000:p99_us",
         "BM_TouchToPresent/0:p99_us", "<= 1.2"},
        {"start-up to first frame (ms), empty book / no book", "BM_StartupToFirstFrame/0:median_ms",
         "BM_StartupToFirstFrame/-1:median_ms", "report"},
        {"start-up to first frame (ms), 1M-dot book / no book", "BM_StartupToFirstFrame/1000000:median_ms",
         "BM_StartupToFirstFrame/-1:median_ms", "report"},
        {"start-up to window painted (ms), 1M-dot book / no book",
         "BM_StartupToFirstFrame/1000000:on_screen_ms", "BM_StartupToFirstFrame/-1:on_screen_ms", "report"},
    };
    bench::printRatios([&](const std::string& key) { return reporter.value(key); }, ratios);
    benchmark::Shutdown();
    const bool failed = bench::sharedSlot<Shared>() && bench::sharedSlot<Shared>()->surfaceMissing;
    bench::sharedSlot<Shared>().reset();
    return bench::exitStatusWithSurface(failed);
}
