// The notebook's entry point. Until books can be opened it shows a sample page, written in code through
// the stroke sampler with the real pens and drawn by the GL surface; with --demo PATH it saves a picture
// of the window to PATH and exits, for machines with no display of their own.
#include <QApplication>
#include <QLabel>
#include <QSurfaceFormat>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>
#include <cmath>
#include <cstdio>

#include "ink/MemoryPolicy.h"
#include "ink/StrokeSampler.h"
#include "render/DisplayLink.h"
#include "render/EAGLViewController.h"
#include "render/PageCompositor.h"

namespace {

using namespace velumen;

// Commits go straight onto the shown page's ink.
struct SamplePage : InkCommitTarget {
    PageCompositor& compositor;
    explicit SamplePage(PageCompositor& c) : compositor(c) {}
    void addPointSets(const KVSPointSetArrayPtr& sets) override {
        compositor.pointSets->addObjectsFromArray(*sets);
        compositor.isFrameUpdateNeeded = true;
    }
    void addPointSetsAtBack(const KVSPointSetArrayPtr& sets) override {
        auto& list = compositor.pointSets->pointSets();
        list.insert(list.begin(), sets->pointSets().begin(), sets->pointSets().end());
        compositor.isFrameUpdateNeeded = true;
    }
};

// Writes the sample page in page units, as a hand would: samples 1/50 s apart.
void writeSamplePage(PageCompositor& compositor) {
    SamplePage page(compositor);
    ManualClock clock(1.0);
    StrokeSampler sampler(page, clock);
    PenTables tables;
    auto stroke = [&](auto&& path, int samples) {
        sampler.beginStroke(path(0.0), {});
        for (int i = 1; i <= samples; ++i) {
            clock.advance(0.02);
            const Point p = path(double(i) / samples);
            if (i < samples) {
                sampler.takeMovementSample(p, {});
            } else {
                sampler.endStroke(p, {}, false);
            }
        }
    };

    // Lines of loops, like cursive writing, with the fountain pen.
    sampler.setPenTypeIndex(1, 6.0f, tables);
    sampler.setPenColor({0.05, 0.08, 0.25, 0.9}, tables);
    for (int line = 0; line < 7; ++line) {
        const double y = 320 + line * 150;
        const double length = line == 6 ? 700 : 1150 - 60 * (line % 3);
        stroke(
            [&](double t) {
                const double a = t * length / 30.0;
                return Point{180 + t * length - 52 * std::sin(a), y - 36 - 40 * std::cos(a)};
            },
            int(length / 4));
    }
    // A title underlined with the brush, a hilighted line, and a red tap.
    sampler.setPenTypeIndex(3, 32.0f, tables);
    sampler.setPenColor({0.55, 0.05, 0.1, 0.85}, tables);
    stroke([](double t) { return Point{170 + 900 * t, 190 + 18 * std::sin(t * 3.1)}; }, 40);
    sampler.setPenTypeIndex(4, 40.0f, tables);
    sampler.setPenColor({1.0, 0.85, 0.0, 0.45}, tables);
    stroke([](double t) { return Point{160 + 1000 * t, 600 + 4 * std::sin(t * 6)}; }, 45);
    sampler.setPenTypeIndex(1, 14.0f, tables);
    sampler.setPenColor({0.85, 0.1, 0.1, 1.0}, tables);
    stroke([](double) { return Point{1300, 1650}; }, 1);
    // A spiral in pencil.
    sampler.setPenTypeIndex(2, 5.0f, tables);
    sampler.setPenColor({0.2, 0.2, 0.2, 0.8}, tables);
    stroke(
        [](double t) {
            const double a = t * 6 * 3.14159, r = 20 + 160 * t;
            return Point{560 + r * std::cos(a), 1560 + r * std::sin(a)};
        },
        160);

    // A framed picture: a small gradient drawn in code.
    KImage picture;
    picture.width = 240;
    picture.height = 160;
    picture.pixels.resize(240 * 160);
    for (int y = 0; y < 160; ++y) {
        for (int x = 0; x < 240; ++x) {
            const std::uint32_t r = std::uint32_t(60 + x * 150 / 240), g = std::uint32_t(120 + y * 100 / 160);
            picture.pixels[std::size_t(y) * 240 + std::size_t(x)] =
                0xff000000u | (r << 16) | (g << 8) | 0xc0u;
        }
    }
    auto image = std::make_shared<FoliantImage>();
    image->frame = {950, 1330, 360, 240};
    image->borderStyle = 1;
    image->angle = -0.08f;
    compositor.addPageImage(image, picture);
}

}  // namespace

int main(int argc, char** argv) {
    velumen::keepFreedMemoryForReuse();
    QSurfaceFormat::setDefaultFormat(velumen::EAGLViewController::surfaceFormat());
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    QApplication::setApplicationName("Velumen");

    QString demoPath;
    const QStringList args = QApplication::arguments();
    const qsizetype demo = args.indexOf("--demo");
    if (demo >= 0 && demo + 1 < args.size()) demoPath = args[demo + 1];

    // The surface outlives the window, whose widget shows it.
    velumen::EAGLViewController surface;
    velumen::PageCompositor compositor(surface.eaglView());
    QWidget window;
    window.setWindowTitle("Velumen");
    auto* layout = new QVBoxLayout(&window);
    layout->setContentsMargins(0, 0, 0, 0);
    if (surface.viewDidLoad()) {
        QWidget* canvas = surface.createWidget(&window);
        layout->addWidget(canvas);
        compositor.initializeEagl(canvas->devicePixelRatioF());
        compositor.loadFixedTextures();
        // The whole page's width in view, repainted on the next tick after every resize.
        surface.eaglView().eaglViewDidLayoutSubViews = [&] {
            compositor.zoomFactor =
                float(surface.eaglView().bounds().width / velumen::PageCompositor::kCanvasWidth);
            compositor.isFrameUpdateNeeded = true;
        };
        writeSamplePage(compositor);
    } else {
        // No GL: the window still opens, without a page.
        auto* label = new QLabel("<p>No OpenGL 3.3 context could be made: pages cannot be shown.</p>");
        label->setAlignment(Qt::AlignCenter);
        layout->addWidget(label);
    }
    velumen::DisplayLink displayLink([&] { compositor.drawFrame(); });
    window.resize(600, 750);
    window.show();
    displayLink.start(window.screen());

    if (!demoPath.isEmpty()) {
        QTimer::singleShot(400, [&] {
            const bool saved = window.grab().save(demoPath, "PNG");
            std::printf("screenshot: %s\n", saved ? qPrintable(demoPath) : "(could not be written)");
            QApplication::exit(saved ? 0 : 1);
        });
    }
    const int status = QApplication::exec();
    displayLink.invalidate();
    return status;
}
