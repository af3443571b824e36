// How long the pen palette and the colour picker take to appear: from the click on the pen button (or on
// the selected colour) to the first frame the panel paints, against an empty floating panel of the same
// size shown the same way in the same run. Also the picker's repaint, which reuses its drawn colour map.
#include <QApplication>
#include <QSurfaceFormat>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <chrono>
#include <functional>

#include "bench_support.h"
#include "render/EAGLViewController.h"
#include "shell/BookFile.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantViewController.h"

using namespace velumen;

namespace {

using Clock = std::chrono::steady_clock;

struct Shared {
    QTemporaryDir dir;
    FoliantGlobals globals{openDefaultsStore(dir.filePath("defaults.plist")), 0.0};
    ManualClock clock;
    std::unique_ptr<FoliantViewController> vc;
    bool surfaceMissing = false;

    Shared() {
        vc = std::make_unique<FoliantViewController>(globals, clock);
        vc->resize(768, 960);
        vc->show();
        const bool exposed = QTest::qWaitForWindowExposed(vc.get());
        vc->openBook(newOnePageBook());
        surfaceMissing = !exposed || !vc->hasSurface();
    }
};

Shared& shared() {
    return bench::sharedObject<Shared>();
}

// Notes the first paint of a widget.
class PaintWatch : public QObject {
  public:
    bool painted = false;

  protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint) painted = true;
        return false;
    }
};

// Milliseconds from `open` to the first paint of the widget that `shown` gives back.
double timeToFirstPaint(const std::function<void()>& open, const std::function<QWidget*()>& shown) {
    PaintWatch watch;
    const auto t0 = Clock::now();
    open();
    QWidget* w = shown();
    if (!w) return -1;
    w->installEventFilter(&watch);
    for (QWidget* child : w->findChildren<QWidget*>())
        child->installEventFilter(&watch);
    w->update();
    while (!watch.painted)
        QApplication::processEvents(QEventLoop::AllEvents, 5);
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
    w->removeEventFilter(&watch);
    return ms;
}

void BM_OpenPalette(benchmark::State& state) {
    Shared& s = shared();
    for (auto _ : state) {
        const double ms = timeToFirstPaint([&] { QTest::mouseClick(s.vc->window().penButton(), Qt::LeftButton); },
                                           [&] { return static_cast<QWidget*>(s.vc->penPalette()); });
        state.SetIterationTime(ms / 1e3);
        s.vc->dismissPopovers();
        QApplication::processEvents();
    }
}
BENCHMARK(BM_OpenPalette)->Iterations(20)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_OpenPicker(benchmark::State& state) {
    Shared& s = shared();
    QTest::mouseClick(s.vc->window().penButton(), Qt::LeftButton);
    PenPalette* palette = s.vc->penPalette();
    const std::size_t selected = palette->selectedColorIndex().value_or(0);
    for (auto _ : state) {
        const double ms = timeToFirstPaint([&] { QTest::mouseClick(palette->swatch(selected), Qt::LeftButton); },
                                           [&] { return static_cast<QWidget*>(palette->colorPicker()); });
        state.SetIterationTime(ms / 1e3);
        palette->colorPicker()->cancelTapped();
        QApplication::processEvents();
    }
    state.counters["map_renders"] = palette->colorPicker()->view()->colorMapRenders();
    s.vc->dismissPopovers();
}
BENCHMARK(BM_OpenPicker)->Iterations(20)->UseManualTime()->Unit(benchmark::kMillisecond);

// The picker's view repainted, its map already drawn.
void BM_RepaintPicker(benchmark::State& state) {
    Shared& s = shared();
    QTest::mouseClick(s.vc->window().penButton(), Qt::LeftButton);
    PenPalette* palette = s.vc->penPalette();
    QTest::mouseClick(palette->swatch(palette->selectedColorIndex().value_or(0)), Qt::LeftButton);
    ColorPickerView* view = palette->colorPicker()->view();
    QImage target(view->size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state)
        view->render(&target);
    state.counters["map_renders"] = view->colorMapRenders();
    s.vc->dismissPopovers();
}
BENCHMARK(BM_RepaintPicker)->Unit(benchmark::kMillisecond);

// The baseline: an empty floating panel of the palette's size, shown and painted.
void BM_EmptyPanel(benchmark::State& state) {
    Shared& s = shared();
    QTest::mouseClick(s.vc->window().penButton(), Qt::LeftButton);
    const QSize size = s.vc->penPalette()->sizeHint();
    s.vc->dismissPopovers();
    for (auto _ : state) {
        FloatingPanel* panel = nullptr;
        const double ms = timeToFirstPaint(
            [&] {
                panel = new FloatingPanel(s.vc.get());
                panel->setFixedSize(size);
                panel->showFromWidget(s.vc->window().penButton());
            },
            [&] { return static_cast<QWidget*>(panel); });
        state.SetIterationTime(ms / 1e3);
        delete panel;
        QApplication::processEvents();
    }
}
BENCHMARK(BM_EmptyPanel)->Iterations(20)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    QSurfaceFormat::setDefaultFormat(EAGLViewController::surfaceFormat());
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    const std::vector<bench::Ratio> ratios = {
        {"open the pen palette, click to first paint (ms) / empty panel", "BM_OpenPalette/iterations:20/manual_time",
         "BM_EmptyPanel/iterations:20/manual_time", "report"},
        {"open the colour picker, click to first paint (ms) / empty panel", "BM_OpenPicker/iterations:20/manual_time",
         "BM_EmptyPanel/iterations:20/manual_time", "report"},
        {"repaint of the open picker (ms) / opening it", "BM_RepaintPicker", "BM_OpenPicker/iterations:20/manual_time",
         "< 1"},
    };
    const int status = bench::runAndReport(argc, argv, ratios);
    const bool failed = bench::sharedSlot<Shared>() && bench::sharedSlot<Shared>()->surfaceMissing;
    bench::sharedSlot<Shared>().reset();
    return status ? status : bench::exitStatusWithSurface(failed);
}
