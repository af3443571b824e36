// Text boxes: the views of a page of 200 boxes made on opening it, the views brought up to date at the end
// of a zoom (refreshAllTextViews), and a character typed into one of them (with the page repaints it cost,
// which must be none), each against the same work on a page of one box, measured in the same run.
#include <QApplication>
#include <QSurfaceFormat>
#include <QTemporaryDir>
#include <QTest>
#include <chrono>

#include "bench_support.h"
#include "render/EAGLViewController.h"
#include "shell/BookFile.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantViewController.h"
#include "shell/text/TextBoxEditor.h"

using namespace velumen;

namespace {

struct Shared {
    QTemporaryDir dir;
    FoliantGlobals globals{openDefaultsStore(dir.filePath("defaults.plist")), 0.0};
    ManualClock clock;
    std::unique_ptr<FoliantViewController> vc;
    FoliantDataPtr many = bookOf(200);
    FoliantDataPtr one = bookOf(1);
    bool surfaceMissing = false;

    static FoliantDataPtr bookOf(int boxes) {
        FoliantDataPtr book = newOnePageBook();
        for (int i = 0; i < boxes; ++i) {
            const Rect frame{double(20 + (i % 4) * 370), double(20 + (i / 4) * 37), 350, 36};
            book->pages()[0]->textBoxes.push_back(FoliantTextBox::foliantTextBoxWithText(
                "Note " + std::to_string(i) + ": a line of typed words", frame,
                KFont::initWithFontName("DejaVuSans", 24), 1, 0));
        }
        return book;
    }

    Shared() {
        vc = std::make_unique<FoliantViewController>(globals, clock, DeviceProfile::Tablet);
        vc->resize(768, 960);
        vc->show();
        const bool exposed = QTest::qWaitForWindowExposed(vc.get());
        vc->openBook(one);
        surfaceMissing = !exposed || !vc->hasSurface();
    }
};

Shared& shared() {
    return bench::sharedObject<Shared>();
}

FoliantDataPtr& bookFor(benchmark::State& state) {
    return state.range(0) == 200 ? shared().many : shared().one;
}

// The page's views made anew, as opening the book or turning to the page does.
void BM_OpenPageViews(benchmark::State& state) {
    Shared& s = shared();
    s.vc->openBook(bookFor(state));
    for (auto _ : state) s.vc->textBoxEditor().initializePageTextViews();
    state.counters["views"] = double(s.vc->textBoxEditor().pageTextViews().size());
}
BENCHMARK(BM_OpenPageViews)->Arg(1)->Arg(200)->Unit(benchmark::kMillisecond);

// The end of a zoom: the overlay takes the new transform, every view its frame again, and the overlay is
// painted at the new zoom.
void BM_FinishedZoom(benchmark::State& state) {
    Shared& s = shared();
    s.vc->openBook(bookFor(state));
    EditorViewport& viewport = s.vc->session().viewport;
    float zoom = viewport.minZoomFactor;
    for (auto _ : state) {
        zoom = zoom == viewport.minZoomFactor ? viewport.minZoomFactor * 2 : viewport.minZoomFactor;
        viewport.setCanvasPoint({400, 400}, {200, 200}, zoom);
        s.vc->applyEffects({.viewMoved = true, .gestureEnded = true});
        s.vc->textBoxEditor().overlay()->viewport()->repaint();
    }
}
BENCHMARK(BM_FinishedZoom)->Arg(1)->Arg(200)->Unit(benchmark::kMillisecond);

// One character typed into a box being edited, laid out and painted by the overlay.
void BM_TypeCharacter(benchmark::State& state) {
    Shared& s = shared();
    s.vc->openBook(bookFor(state));
    TextBoxEditor& text = s.vc->textBoxEditor();
    text.beginEditingTextBoxWithTextView(text.pageTextViews().front());
    QWidget* port = text.overlay()->viewport();
    const auto repaints = s.vc->view().compositor.repaintCount();
    std::int64_t typed = 0;
    for (auto _ : state) {
        QTest::keyClick(port, (typed % 20) == 19 ? Qt::Key_Backspace : Qt::Key_A);
        QApplication::processEvents();
        ++typed;
    }
    state.counters["page_repaints"] = double(s.vc->view().compositor.repaintCount() - repaints);
    text.endEditing();
}
BENCHMARK(BM_TypeCharacter)->Arg(1)->Arg(200)->Iterations(200)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    QSurfaceFormat::setDefaultFormat(EAGLViewController::surfaceFormat());
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    const std::vector<bench::Ratio> ratios = {
        {"views of a page of 200 boxes made (ms) / page of one box", "BM_OpenPageViews/200", "BM_OpenPageViews/1",
         "report"},
        {"finished zoom, 200 boxes (ms) / one box", "BM_FinishedZoom/200", "BM_FinishedZoom/1", "report"},
        {"a character typed among 200 boxes (ms) / among one", "BM_TypeCharacter/200/iterations:200",
         "BM_TypeCharacter/1/iterations:200", "report"},
    };
    const int status = bench::runAndReport(argc, argv, ratios);
    const bool failed = bench::sharedSlot<Shared>() && bench::sharedSlot<Shared>()->surfaceMissing;
    bench::sharedSlot<Shared>().reset();
    return status ? status : bench::exitStatusWithSurface(failed);
}
