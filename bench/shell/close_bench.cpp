// The time the notebook takes to close a book of a million dots when it quits, its window already gone:
// the whole close (from the window closing to the book's last write ended and the editor gone) of a book
// left unchanged and of one with a new stroke, and, for the share of each part, every step that a close
// which saves runs (the fit view, the merge of the page's runs, the thumbnail picture, the encoding, the
// write, the teardown) timed alone on the same book. Software GL under Xvfb here, so read the ratios.
#include <QApplication>
#include <QElapsedTimer>
#include <QSurfaceFormat>
#include <QTemporaryDir>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

#include "bench_support.h"
#include "document/qt/FileQueue.h"
#include "objects/qt/QtImageCodec.h"
#include "render/KGLUtils.h"
#include "shell/BookFile.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantViewController.h"
#include "shell/NotebookSession.h"

using namespace velumen;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kWindowWidth = 768;
constexpr int kWindowHeight = 960;
constexpr std::int64_t kDots = 1000000;

struct Shared {
    QTemporaryDir dir;
    FoliantGlobals globals{openDefaultsStore(dir.filePath("defaults.plist")), 0.0};
    QtImageCodec codec;
    QString books = dir.filePath("Books");
    QString path = dir.filePath("Books/Notebook.velumen");
    bool surfaceMissing = false;
};

Shared& shared() {
    return bench::sharedObject<Shared>();
}

FoliantDataPtr bookWithDots(std::int64_t dots) {
    FoliantDataPtr book = newOnePageBook();
    book->setPointSets(bench::handwritingPage(int(dots / 1000), 1000));
    return book;
}

double ms(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

bool processUntil(const std::function<bool()>& done) {
    QElapsedTimer elapsed;
    elapsed.start();
    while (!done()) {
        if (elapsed.elapsed() > 120000) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return true;
}

// A launch of the notebook on the books folder: the editor in its window with the book open and drawn.
struct Launch {
    SteadyClock clock;
    std::unique_ptr<FoliantViewController> vc = std::make_unique<FoliantViewController>(shared().globals, clock);
    NotebookSession session{*vc, shared().books};
    bool opened = false;

    Launch() {
        vc->setSavesSettingsInBackground(false);
        vc->resize(kWindowWidth, kWindowHeight);
        vc->show();
        vc->startDisplayLink();
        session.didOpen = [this](const QString&) { opened = true; };
        session.start();
    }
    bool ready() {
        if (!processUntil([&] { return opened; })) return false;
        vc->redrawAllLines();
        if (!processUntil([&] { return !vc->view().compositor.isFrameUpdateNeeded; })) return false;
        // Every GL command of the page drawn so far is finished: none is paid for by the close.
        EAGLView& view = vc->view().surface.eaglView();
        view.renderingQueue().sync([&] {
            if (view.makeCurrent()) view.layer().finish();
        });
        return true;
    }
    // The notebook's quit: the window closes (going to the background as it hides), the book is closed and
    // its write waited for; then the editor goes. Times in ms: up to the write's end, and the teardown.
    bool quit(double& closeMs, double& teardownMs) {
        const Clock::time_point start = Clock::now();
        vc->close();
        vc->applicationWillResignActive();
        const bool saved = session.quit();
        const Clock::time_point written = Clock::now();
        vc->stopDisplayLink();
        vc.reset();
        QCoreApplication::processEvents();
        const Clock::time_point gone = Clock::now();
        closeMs = ms(start, written);
        teardownMs = ms(written, gone);
        return saved;
    }
};

// The book file as the notebook leaves it: a million dots, stored at this window's fit view.
bool prepareBook() {
    QDir().mkpath(shared().books);
    std::string error;
    if (!writeBook(*bookWithDots(kDots), shared().path, shared().codec, error)) return false;
    Launch first;
    double a = 0, b = 0;
    return first.ready() && first.quit(a, b);
}

// Arg 0: the book left as it opened; Arg 1: one stroke drawn before quitting.
void BM_QuitClose(benchmark::State& state) {
    if (!prepareBook()) {
        state.SkipWithError("the book could not be prepared");
        return;
    }
    std::vector<double> close, teardown;
    for (auto _ : state) {
        Launch launch;
        if (!launch.vc->hasSurface()) {
            shared().surfaceMissing = true;
            state.SkipWithError("no GL context");
            break;
        }
        if (!launch.ready()) {
            state.SkipWithError("the book did not open");
            break;
        }
        if (state.range(0) == 1) {
            // A committed stroke: the book has a change to save.
            launch.vc->setPenTypeIndex(1);
            auto& router = launch.vc->view().router;
            double t = 0;
            for (int i = 0; i <= 20; ++i) {
                TouchRecord r;
                r.id = 1;
                r.phase = i == 0 ? TouchPhase::Began : i == 20 ? TouchPhase::Ended : TouchPhase::Moved;
                r.location = {100.0 + 10 * i, 300.0 + 3 * i};
                r.timestamp = t += 0.02;
                router.routeRecords({r});
            }
        }
        double c = 0, d = 0;
        if (!launch.quit(c, d)) {
            state.SkipWithError("the book was not saved");
            break;
        }
        close.push_back(c);
        teardown.push_back(d);
        state.SetIterationTime((c + d) / 1e3);
    }
    double c = 0, d = 0;
    for (std::size_t i = 0; i < close.size(); ++i) {
        c += close[i];
        d += teardown[i];
    }
    if (close.empty()) return;
    state.counters["close_ms"] = c / double(close.size());
    state.counters["teardown_ms"] = d / double(close.size());
    state.counters["total_ms"] = (c + d) / double(close.size());
}
BENCHMARK(BM_QuitClose)->Arg(0)->Arg(1)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

// Each step of a close that saves, alone, on the million-dot book open in the editor.
void BM_CloseSteps(benchmark::State& state) {
    if (!prepareBook()) {
        state.SkipWithError("the book could not be prepared");
        return;
    }
    double fit = 0, merge = 0, picture = 0, encode = 0, write = 0, teardown = 0;
    int n = 0;
    std::vector<std::uint8_t> bytes;
    for (auto _ : state) {
        Launch launch;
        if (!launch.vc->hasSurface() || !launch.ready()) {
            shared().surfaceMissing = !launch.vc->hasSurface();
            state.SkipWithError("no GL context or no book");
            break;
        }
        FoliantViewController& vc = *launch.vc;
        // The fit view, from a page zoomed in.
        vc.session().viewport.setCanvasPoint({300, 300}, {100, 100}, vc.session().viewport.minZoomFactor * 3);
        Clock::time_point t0 = Clock::now();
        vc.session().viewport.setCanvasPoint({0, 0}, {0, 0}, vc.session().viewport.minZoomFactor);
        fit += ms(t0, Clock::now());

        // The merge, on a page of its own (the open one stays as it is).
        FoliantDataPtr other = bookWithDots(kDots);
        t0 = Clock::now();
        other->pointSets()->consolidatePointSets();
        merge += ms(t0, Clock::now());
        other.reset();

        t0 = Clock::now();
        const QImage screen = vc.screenImage();
        const KImage thumbnail = KGLUtils::kImageFromQImage(screen);
        picture += ms(t0, Clock::now());
        benchmark::DoNotOptimize(thumbnail);

        t0 = Clock::now();
        archiveFoliantData(*vc.book(), &shared().codec, bytes);
        encode += ms(t0, Clock::now());

        QString error;
        t0 = Clock::now();
        if (!writeFileAtomically(shared().dir.filePath("steps.velumen"), bytes, error)) {
            state.SkipWithError("the write failed");
            break;
        }
        write += ms(t0, Clock::now());

        double c = 0, d = 0;
        launch.quit(c, d);
        teardown += d;
        ++n;
        state.SetIterationTime((fit + merge + picture + encode + write + teardown) / 1e3 / n);
    }
    if (n == 0) return;
    state.counters["fit_ms"] = fit / n;
    state.counters["merge_ms"] = merge / n;
    state.counters["picture_ms"] = picture / n;
    state.counters["encode_ms"] = encode / n;
    state.counters["write_ms"] = write / n;
    state.counters["teardown_ms"] = teardown / n;
    state.counters["sum_ms"] = (fit + merge + picture + encode + write + teardown) / n;
    state.counters["picture_and_write_ms"] = (picture + encode + write) / n;
}
BENCHMARK(BM_CloseSteps)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    keepFreedMemoryForReuse();
    QSurfaceFormat::setDefaultFormat(EAGLViewController::surfaceFormat());
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    bench::CounterReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    const std::string steps = "BM_CloseSteps/:";
    const std::vector<bench::Ratio> ratios = {
        {"close of an unchanged 1M-dot book (ms) / saving close", "BM_QuitClose/0:total_ms", steps + "sum_ms",
         "<= 0.1"},
        {"close of a changed 1M-dot book (ms) / picture+encode+write", "BM_QuitClose/1:close_ms",
         steps + "picture_and_write_ms", "<= 1.3"},
        {"  share of the fit view in a saving close", steps + "fit_ms", steps + "sum_ms", "report"},
        {"  share of the merge of runs", steps + "merge_ms", steps + "sum_ms", "report"},
        {"  share of the thumbnail picture", steps + "picture_ms", steps + "sum_ms", "report"},
        {"  share of the encoding", steps + "encode_ms", steps + "sum_ms", "report"},
        {"  share of the write", steps + "write_ms", steps + "sum_ms", "report"},
        {"  share of the teardown", steps + "teardown_ms", steps + "sum_ms", "report"},
        {"teardown after the close (ms) / saving close", "BM_QuitClose/0:teardown_ms", steps + "sum_ms",
         "report"},
    };
    bench::printRatios([&](const std::string& key) { return reporter.value(key); }, ratios);
    benchmark::Shutdown();
    const bool failed = bench::sharedSlot<Shared>() && bench::sharedSlot<Shared>()->surfaceMissing;
    bench::sharedSlot<Shared>().reset();
    return bench::exitStatusWithSurface(failed);
}
