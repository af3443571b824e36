// The page turn on a real compositor: an animated turn from the tap to the end of its animation (both
// pictures of the surface and every frame of the lift-off painted), against a bare 0.3-second animation
// on the same event loop, and one picture of the surface. Counts the off-screen pictures per turn.
#include <QApplication>
#include <QElapsedTimer>
#include <QSurfaceFormat>
#include <QVariantAnimation>
#include <QWidget>
#include <memory>

#include "bench_support.h"
#include "render/EAGLViewController.h"
#include "render/PageCompositor.h"
#include "shell/pages/PageNavigator.h"

using namespace velumen;

namespace {

// A 600 x 750 surface in a shown window, a book of 100 pages of 100,000 dots each, and the navigator.
struct Turning {
    EAGLViewController controller;
    PageCompositor compositor{controller.eaglView()};
    FoliantDataPtr book = std::make_shared<FoliantData>();
    PageInkEditor editor;
    EditorViewport viewport;
    QWidget window;
    QWidget* frame = new QWidget(&window);
    std::unique_ptr<PageNavigator> nav;
    std::int64_t pictures = 0;
    bool ok = false;

    Turning() {
        ok = controller.viewDidLoad();
        if (!ok) return;
        compositor.initializeEagl(1.0);
        compositor.readTransformFrom(viewport.view);
        controller.eaglView().layoutSubviews({600, 750});
        compositor.loadFixedTextures();
        const KVSPointSetArrayPtr ink = bench::handwritingPage(100, 1000);
        for (int i = 0; i < 100; ++i) {
            FoliantPagePtr page = FoliantData::createNewPage();
            page->pointSets = ink;
            book->pages().push_back(page);
        }
        book->setPageNum(0);
        window.resize(600, 800);
        frame->setGeometry(0, 50, 600, 750);
        window.show();
        viewport.document = book.get();
        viewport.layoutForFrameSize({600, 750});
        viewport.handleDocumentChanged();
        editor.setCurrentPage(book->currentPage());
        nav = std::make_unique<PageNavigator>(*book, editor, viewport);
        nav->setCanvasFrame(frame);
        PageNavigatorHooks& h = nav->hooks();
        h.getThumbnailImage = [this] {
            ++pictures;
            return compositor.getThumbnailImage();
        };
        h.redrawAllLines = [this] { redraw(); };
        h.currentPageChanged = [this] { compositor.pointSets = book->pointSets(); };
    }
    void redraw() {
        compositor.redrawAllLines();
    }
    void settle() {
        while (nav->pendingPageTurnOperations() > 0)
            QApplication::processEvents(QEventLoop::AllEvents, 5);
    }
};

std::unique_ptr<Turning>& turningSlot() {
    static std::unique_ptr<Turning> t;
    return t;
}

Turning& turning() {
    if (!turningSlot()) turningSlot() = std::make_unique<Turning>();
    return *turningSlot();
}

bool ready(benchmark::State& state) {
    if (turning().ok) return true;
    state.SkipWithError("no GL context");
    return false;
}

// Tap to the end of the animation, alternately forward and back.
void BM_PageTurnAnimated(benchmark::State& state) {
    if (!ready(state)) return;
    Turning& t = turning();
    t.redraw();
    const std::int64_t before = t.pictures;
    std::int64_t turns = 0;
    for (auto _ : state) {
        t.nav->turnToPage(t.book->pageNum() == 0 ? 1 : 0, true);
        t.settle();
        ++turns;
    }
    state.counters["pictures_per_turn"] = double(t.pictures - before) / double(turns);
}
BENCHMARK(BM_PageTurnAnimated)->Unit(benchmark::kMillisecond)->Iterations(10)->UseRealTime();

// The same event loop running a bare animation of the turn's delay and length.
void BM_BareAnimation(benchmark::State& state) {
    if (!ready(state)) return;
    for (auto _ : state) {
        bool done = false;
        QVariantAnimation animation;
        animation.setStartValue(0.0);
        animation.setEndValue(1.0);
        animation.setDuration(int((PageNavigator::kAnimationDelay + PageNavigator::kAnimationDuration) * 1000));
        QObject::connect(&animation, &QVariantAnimation::finished, [&] { done = true; });
        animation.start();
        while (!done)
            QApplication::processEvents(QEventLoop::AllEvents, 5);
    }
}
BENCHMARK(BM_BareAnimation)->Unit(benchmark::kMillisecond)->Iterations(10)->UseRealTime();

// The synchronous part of a turn (the old page's picture, the switch), without waiting for the animation.
void BM_PageTurnTap(benchmark::State& state) {
    if (!ready(state)) return;
    Turning& t = turning();
    for (auto _ : state) {
        t.nav->turnToPage(t.book->pageNum() == 0 ? 1 : 0, true);
        state.PauseTiming();
        t.settle();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_PageTurnTap)->Unit(benchmark::kMillisecond)->Iterations(10)->UseRealTime();

// One picture of the surface showing a 100,000-dot page.
void BM_SurfacePicture(benchmark::State& state) {
    if (!ready(state)) return;
    Turning& t = turning();
    t.redraw();
    for (auto _ : state)
        benchmark::DoNotOptimize(t.compositor.getThumbnailImage());
}
BENCHMARK(BM_SurfacePicture)->Unit(benchmark::kMillisecond)->Iterations(10)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    QSurfaceFormat::setDefaultFormat(EAGLViewController::surfaceFormat());
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    const int status = bench::runAndReport(
        argc, argv,
        {{"animated page turn, tap to end / bare 0.31 s animation", "BM_PageTurnAnimated/iterations:10/real_time",
          "BM_BareAnimation/iterations:10/real_time", "report (two pictures + 0.31 s)"},
         {"turn's synchronous part / one surface picture", "BM_PageTurnTap/iterations:10/real_time",
          "BM_SurfacePicture/iterations:10/real_time", "~ 1 (one picture before the turn)"}});
    turningSlot().reset();
    return status;
}
