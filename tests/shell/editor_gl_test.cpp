// The editor end to end on a GL surface under a display: real tablet and mouse events sent to the surface
// widget leave runs on the page and sprites on the screen, where the events were and as large as the
// dots say.
#include <gtest/gtest.h>

#include "WaitFor.h"

#include <QAction>
#include <QApplication>
#include <QMouseEvent>
#include <QPointingDevice>
#include <QTabletEvent>
#include <QMenu>
#include <QMenuBar>
#include <QTemporaryDir>
#include <QPainter>
#include <QTest>
#include <QToolButton>
#include <memory>
#include <set>

#include "shell/BookFile.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantViewController.h"
#include "shell/NotebookWindow.h"

namespace {

using namespace velumen;

struct Editor {
    QTemporaryDir dir;
    FoliantGlobals globals{openDefaultsStore(dir.filePath("defaults.plist")), 0.0};
    ManualClock clock;
    FoliantViewController vc{globals, clock};
    FoliantDataPtr book = newOnePageBook();

    Editor() {
        vc.resize(600, 750);
        vc.show();
        // On a busy machine the window takes a while to appear; every test needs it on screen.
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&vc));
        vc.openBook(book);
    }
    void send(QEvent& event) {
        clock.advance(1.0 / 60.0);
        QCoreApplication::sendEvent(vc.touchTarget(), &event);
    }
    const KVSPointSetArray& ink() const { return *book->pointSets(); }
};

#define REQUIRE_SURFACE(editor)                                                   \
    do {                                                                          \
        if (!(editor).vc.hasSurface()) {                                          \
            if (qEnvironmentVariable("CI") == "true") FAIL() << "no GL context";  \
            GTEST_SKIP() << "no GL context";                                      \
        }                                                                         \
    } while (0)

bool inked(const QImage& image, int x, int y) {
    const QRgb c = image.pixel(x, y);
    return qRed(c) < 200 || qGreen(c) < 200 || qBlue(c) < 200;
}

// Inked pixels in a column around row y (up to 40 above and below).
int columnInk(const QImage& image, int x, int y) {
    int n = 0;
    for (int r = std::max(0, y - 40); r < std::min(image.height(), y + 41); ++r)
        n += inked(image, x, r);
    return n;
}

// The run's dot sizes: their mean and the largest.
std::pair<float, float> dotSizes(const KVSPointSet& run) {
    double sum = 0;
    float largest = 0;
    for (std::uint64_t i = 0; i < run.length(); ++i) {
        sum += run.data().floats()[3 * i + 2];
        largest = std::max(largest, run.data().floats()[3 * i + 2]);
    }
    return {run.length() ? float(sum / double(run.length())) : 0.0f, largest};
}

// The screen as shown, with its pixels per point of the surface.
std::pair<QImage, double> screenOf(Editor& e) {
    QImage screen = e.vc.screenImage().convertToFormat(QImage::Format_RGB32);
    return {screen, screen.isNull() ? 0.0 : double(screen.width()) / e.vc.touchTarget()->width()};
}

// A column of the screen at view point (x, y) crosses as much ink as the run's dots are wide, up to
// `slant` times that where the stroke is not horizontal.
void expectThickness(Editor& e, const QImage& screen, double scale, const KVSPointSet& run, int x, int y,
                     double slant = 1) {
    const double diameter = dotSizes(run).second * 2 * e.vc.session().viewport.view.zoomFactor * scale;
    const int thickness = columnInk(screen, int(x * scale), int(y * scale));
    EXPECT_GE(thickness, std::max(1.0, diameter * 0.5)) << "dot diameter " << diameter;
    EXPECT_LE(thickness, diameter * slant * 1.3 + 2) << "dot diameter " << diameter;
}

// A horizontal tablet stroke from x0 to x1 at row y with the given pressure.
void tabletStroke(Editor& e, const QPointingDevice& pen, double x0, double x1, double y, double pressure) {
    auto event = [&](QEvent::Type type, double x, Qt::MouseButtons buttons) {
        QTabletEvent t(type, &pen, QPointF(x, y), QPointF(x, y), pressure, 0, 0, 0, 0, 0, Qt::NoModifier,
                       Qt::LeftButton, buttons);
        e.send(t);
    };
    event(QEvent::TabletPress, x0, Qt::LeftButton);
    for (double x = x0 + 6; x < x1; x += 6)
        event(QEvent::TabletMove, x, Qt::LeftButton);
    event(QEvent::TabletMove, x1, Qt::LeftButton);
    event(QEvent::TabletRelease, x1, Qt::NoButton);
}

TEST(EditorEndToEnd, TabletStrokesFollowThePenAndItsPressure) {
    Editor e;
    REQUIRE_SURFACE(e);
    const QPointingDevice pen("test pen", 4711, QInputDevice::DeviceType::Stylus, QPointingDevice::PointerType::Pen,
                              QInputDevice::Capability::Position | QInputDevice::Capability::Pressure, 1, 2);
    tabletStroke(e, pen, 100, 400, 250, 0.15);
    tabletStroke(e, pen, 100, 400, 500, 1.0);
    ASSERT_EQ(e.ink().pointSets().size(), 2u);
    const KVSPointSet& light = *e.ink().pointSets()[0];
    const KVSPointSet& heavy = *e.ink().pointSets()[1];

    // The runs lie along the strokes, in page units.
    for (const auto& [run, y] : {std::pair{&light, 250.0}, std::pair{&heavy, 500.0}}) {
        const Point start = e.vc.session().viewport.eaglPointFromViewPoint({100, y});
        const Point end = e.vc.session().viewport.eaglPointFromViewPoint({400, y});
        for (std::uint64_t i = 0; i < run->length(); ++i) {
            EXPECT_GE(run->data().floats()[3 * i], start.x - 2);
            EXPECT_LE(run->data().floats()[3 * i], end.x + 2);
            EXPECT_NEAR(run->data().floats()[3 * i + 1], start.y, 1.0);
        }
    }
    // Pressing harder makes larger dots.
    EXPECT_GT(dotSizes(heavy).first, 1.3f * dotSizes(light).first);

    // On the screen: ink along each stroke, none beyond its ends, as thick as its dots.
    const auto [screen, scale] = screenOf(e);
    ASSERT_FALSE(screen.isNull());
    for (const auto& [run, y] : {std::pair{&light, 250}, std::pair{&heavy, 500}}) {
        const int py = int(y * scale);
        EXPECT_TRUE(inked(screen, int(250 * scale), py));
        EXPECT_FALSE(inked(screen, int(60 * scale), py));
        EXPECT_FALSE(inked(screen, int(450 * scale), py));
        expectThickness(e, screen, scale, *run, 250, y);
    }
}

TEST(EditorEndToEnd, MouseStrokeDrawsAndSynthesisedMouseEventsDoNot) {
    Editor e;
    REQUIRE_SURFACE(e);
    auto mouse = [&](QEvent::Type type, QPointF at, Qt::MouseButton button, Qt::MouseButtons buttons,
                     Qt::MouseEventSource source = Qt::MouseEventNotSynthesized) {
        QMouseEvent m(type, at, at, at, button, buttons, Qt::NoModifier, source);
        e.send(m);
    };
    // A stroke the toolkit made from a pen first: ignored, since the pen's own events arrive as well.
    mouse(QEvent::MouseButtonPress, {50, 100}, Qt::LeftButton, Qt::LeftButton, Qt::MouseEventSynthesizedByQt);
    mouse(QEvent::MouseMove, {300, 100}, Qt::NoButton, Qt::LeftButton, Qt::MouseEventSynthesizedByQt);
    mouse(QEvent::MouseButtonRelease, {300, 100}, Qt::LeftButton, Qt::NoButton, Qt::MouseEventSynthesizedByQt);
    EXPECT_TRUE(e.ink().pointSets().empty());

    // A diagonal from (150, 150) to (350, 350).
    mouse(QEvent::MouseButtonPress, {150, 150}, Qt::LeftButton, Qt::LeftButton);
    for (int i = 1; i <= 40; ++i)
        mouse(QEvent::MouseMove, {150.0 + 5 * i, 150.0 + 5 * i}, Qt::NoButton, Qt::LeftButton);
    mouse(QEvent::MouseButtonRelease, {350, 350}, Qt::LeftButton, Qt::NoButton);
    ASSERT_EQ(e.ink().pointSets().size(), 1u);
    const KVSPointSet& run = *e.ink().pointSets()[0];
    const Point from = e.vc.session().viewport.eaglPointFromViewPoint({150, 150});
    const Point to = e.vc.session().viewport.eaglPointFromViewPoint({350, 350});
    for (std::uint64_t i = 0; i < run.length(); ++i) {
        const float x = run.data().floats()[3 * i], y = run.data().floats()[3 * i + 1];
        EXPECT_NEAR(x, y - (from.y - from.x), 2.0);
        EXPECT_GE(x, from.x - 2);
        EXPECT_LE(x, to.x + 2);
    }
    const auto [screen, scale] = screenOf(e);
    ASSERT_FALSE(screen.isNull());
    EXPECT_TRUE(inked(screen, int(250 * scale), int(250 * scale)));
    EXPECT_FALSE(inked(screen, int(250 * scale), int(330 * scale)));
    EXPECT_FALSE(inked(screen, int(400 * scale), int(400 * scale)));
    // Across a 45-degree line a column meets it over sqrt(2) times its width.
    expectThickness(e, screen, scale, run, 250, 250, 1.42);
}

TEST(EditorEndToEnd, TheRaisedWristGuardSwallowsAStrokeAndTheUndoButtonTakesOneBack) {
    Editor e;
    REQUIRE_SURFACE(e);
    ASSERT_EQ(e.vc.session().viewport.profile, DeviceProfile::Tablet);
    ASSERT_NE(e.vc.wristGuard(), nullptr);
    QWidget* surface = e.vc.touchTarget();
    const QPoint low = surface->mapToGlobal(QPoint(300, surface->height() - 60));
    const QPoint high = surface->mapToGlobal(QPoint(300, 200));
    WAIT_EQ(QApplication::widgetAt(low), surface, 5000);  // the guard starts hidden

    // Tapping the tab raises the guard over the bottom of the page.
    QTest::mouseClick(e.vc.wristGuard()->tabButton(), Qt::LeftButton, Qt::NoModifier, QPoint(20, 20));
    WAIT_EQ(e.vc.wristGuard()->shownHeight(), 200.0, 5000);
    WAIT_EQ(QApplication::widgetAt(low), e.vc.wristGuard()->guardView(), 5000);
    QWidget* onGuard = QApplication::widgetAt(low);
    EXPECT_EQ(QApplication::widgetAt(high), surface);

    // A stroke where the guard lies goes nowhere; one above it draws.
    auto stroke = [&](QWidget* target, QPoint from) {
        QTest::mousePress(target, Qt::LeftButton, Qt::NoModifier, target->mapFromGlobal(from));
        for (int i = 1; i <= 20; ++i)
            QTest::mouseMove(target, target->mapFromGlobal(from + QPoint(8 * i, 0)));
        QTest::mouseRelease(target, Qt::LeftButton, Qt::NoModifier, target->mapFromGlobal(from + QPoint(160, 0)));
    };
    stroke(onGuard, low);
    EXPECT_TRUE(e.ink().pointSets().empty());
    stroke(surface, high);
    ASSERT_EQ(e.ink().pointSets().size(), 1u);

    // The undo button undoes it, redo brings it back; a long press shows the menu instead.
    stroke(surface, high + QPoint(0, 60));
    QApplication::processEvents();
    EXPECT_TRUE(e.vc.undoButton()->isEnabled());
    EXPECT_FALSE(e.vc.redoButton()->isEnabled());
    QTest::mouseClick(e.vc.undoButton(), Qt::LeftButton);
    EXPECT_EQ(e.ink().pointSets().size(), 1u);
    EXPECT_TRUE(e.vc.redoButton()->isEnabled());
    QTest::mousePress(e.vc.undoButton(), Qt::LeftButton, Qt::NoModifier, QPoint(), 1000);
    WAIT_FOR(e.vc.undoActionSheet() != nullptr, 5000);
    QStringList entries;
    for (QAction* a : e.vc.undoActionSheet()->actions())
        if (!a->isSeparator()) entries << a->text();
    EXPECT_EQ(entries, QStringList({"Undo", "Redo", "Cancel"}));
    QTest::mouseRelease(e.vc.undoButton(), Qt::LeftButton);
    EXPECT_EQ(e.ink().pointSets().size(), 1u);  // the release of a long press undoes nothing
    e.vc.undoActionSheet()->close();
    QTest::mouseClick(e.vc.redoButton(), Qt::LeftButton);
    EXPECT_EQ(e.ink().pointSets().size(), 2u);
    QTest::mouseClick(e.vc.undoButton(), Qt::LeftButton, Qt::NoModifier, QPoint(), 1000);
    QTest::mouseClick(e.vc.undoButton(), Qt::LeftButton, Qt::NoModifier, QPoint(), 1000);
    EXPECT_TRUE(e.ink().pointSets().empty());
    EXPECT_FALSE(e.vc.undoButton()->isEnabled());
}

TEST(EditorEndToEnd, TwoFingersShowThePositionMapAndAnOvershootSpringsBack) {
    Editor e;
    REQUIRE_SURFACE(e);
    QWidget* surface = e.vc.touchTarget();
    QWidget* frame = surface->parentWidget();
    // The device is registered for the application's life unless it is deleted.
    const std::unique_ptr<QPointingDevice> touchScreen(QTest::createTouchDevice());
    QPointingDevice* screen = touchScreen.get();
    KPositionSatelliteView* map = e.vc.positionSatelliteView();
    ASSERT_FALSE(map->isVisible());
    auto fingers = [&](double y0, double y1, double spread) {
        return std::pair{QPoint(250 - int(spread / 2), int(y0)), QPoint(250 + int(spread / 2), int(y1))};
    };

    // Both fingers drag down past the top of the page at the fit view: the surface slides with them.
    auto [a, b] = fingers(300, 300, 100);
    QTest::touchEvent(frame->window(), screen).press(0, a, frame).press(1, b, frame);
    for (int dy = 10; dy <= 60; dy += 10) {
        std::tie(a, b) = fingers(300 + dy, 300 + dy, 100);
        QTest::touchEvent(frame->window(), screen).move(0, a, frame).move(1, b, frame);
    }
    EXPECT_EQ(surface->y(), 60);
    EXPECT_TRUE(map->isVisible());
    EXPECT_DOUBLE_EQ(map->alpha(), KPositionSatelliteView::kShownAlpha);
    EXPECT_EQ(map->percentageText(), "1.0x");
    // At the lift it springs back over a moment rather than jumping, and the map fades.
    QTest::touchEvent(frame->window(), screen).release(0, a, frame).release(1, b, frame);
    EXPECT_GT(surface->y(), 0);
    WAIT_EQ(surface->y(), 0, 5000);
    WAIT_FOR(!map->isVisible(), 5000);

    // Spreading the fingers from 100 to 200 points zooms by 200 / 105; the map says so.
    std::tie(a, b) = fingers(300, 300, 100);
    QTest::touchEvent(frame->window(), screen).press(0, a, frame).press(1, b, frame);
    std::tie(a, b) = fingers(300, 300, 200);
    QTest::touchEvent(frame->window(), screen).move(0, a, frame).move(1, b, frame);
    EXPECT_EQ(map->percentageText(), "1.9x");
    EXPECT_NEAR(e.vc.session().viewport.view.zoomFactor / e.vc.session().viewport.minZoomFactor, 200.0 / 105.0, 1e-5);
    QTest::touchEvent(frame->window(), screen).release(0, a, frame).release(1, b, frame);
    WAIT_FOR(!map->isVisible(), 5000);
}

TEST(EditorEndToEnd, EveryActionIsItsOwnUndoStepWhateverStartedIt) {
    Editor e;
    auto runOf = [](float x) {
        auto runs = std::make_shared<KVSPointSetArray>();
        float* dot = runs->addPointSetWithSize(1)->buffer();
        dot[0] = x;
        dot[1] = 100;
        dot[2] = 6;
        return runs;
    };
    // Two edits made by a command (a menu entry or a key), outside any touch, each in its own turn of the
    // event loop, then a stroke: three steps.
    QAction command;
    float x = 100;
    QObject::connect(&command, &QAction::triggered, [&] { e.vc.session().editor.addPointSets(runOf(x += 50)); });
    command.trigger();
    QApplication::processEvents();
    command.trigger();
    QApplication::processEvents();
    QWidget* surface = e.vc.touchTarget();
    QTest::mousePress(surface, Qt::LeftButton, Qt::NoModifier, QPoint(100, 300));
    for (int i = 1; i <= 10; ++i)
        QTest::mouseMove(surface, QPoint(100 + 10 * i, 300));
    QTest::mouseRelease(surface, Qt::LeftButton, Qt::NoModifier, QPoint(200, 300));
    ASSERT_EQ(e.ink().count(), 3u);
    for (std::size_t left : {2u, 1u, 0u}) {
        e.vc.undoButtonTapped();
        EXPECT_EQ(e.ink().count(), left);
    }
}

TEST(EditorEndToEnd, TenEraserStampsInOneTickCostOneRepaint) {
    Editor e;
    REQUIRE_SURFACE(e);
    const QPointingDevice pen("test pen", 4712, QInputDevice::DeviceType::Stylus, QPointingDevice::PointerType::Pen,
                              QInputDevice::Capability::Position | QInputDevice::Capability::Pressure, 1, 2);
    for (double y = 100; y <= 400; y += 30)
        tabletStroke(e, pen, 100, 500, y, 0.5);
    e.vc.view().compositor.drawFrame();
    const std::uint64_t dots = e.ink().mergedPointSet()->length();
    const std::uint64_t presents = e.vc.view().surface.eaglView().presentCount();

    e.vc.setPenTypeIndex(0);
    auto touch = [&](TouchPhase phase, double y) {
        TouchRecord r;
        r.id = 9;
        r.phase = phase;
        r.location = {300, y};
        e.vc.view().router.routeRecords({r});
    };
    touch(TouchPhase::Began, 100);
    for (int i = 1; i < 10; ++i)
        touch(TouchPhase::Moved, 100 + 30 * i);
    EXPECT_LT(e.ink().mergedPointSet()->length(), dots);
    EXPECT_EQ(e.vc.view().surface.eaglView().presentCount(), presents);  // stamps only ask for a repaint
    e.vc.view().compositor.drawFrame();
    e.vc.view().compositor.drawFrame();
    EXPECT_EQ(e.vc.view().surface.eaglView().presentCount(), presents + 1);
    touch(TouchPhase::Ended, 370);
    EXPECT_EQ(e.vc.session().editor.undoManager()->undoCount(), 12u);  // eleven strokes and one erasure
}

// A tool of the kind still to come: one class, one registration. It marks where the pointer is with an
// overlay and changes nothing on the page.
struct MarkerTool : Tool {
    std::vector<Point> samples;
    bool running = false;
    EditorEffects begin(const StrokeSample& s) override {
        samples = {s.viewPoint};
        running = true;
        return {};
    }
    EditorEffects move(const StrokeSample& s) override {
        samples.push_back(s.viewPoint);
        return {};
    }
    EditorEffects end(const StrokeSample& s, bool) override {
        samples.push_back(s.viewPoint);
        running = false;
        return {};
    }
    EditorEffects cancel() override {
        running = false;
        return {};
    }
    bool hasOverlay() const override { return running; }
    void drawOverlay(QPainter& painter) const override {
        const Point p = samples.back();
        painter.fillRect(QRectF(p.x - 10, p.y - 10, 20, 20), Qt::red);
    }
};

TEST(EditorEndToEnd, ANewToolTakesTheSinglePointerAndPaintsItsOverlayOverThePage) {
    Editor e;
    REQUIRE_SURFACE(e);
    MarkerTool marker;
    e.vc.session().dispatcher.registerTool(TouchMode::Draw, marker);
    QWidget* surface = e.vc.touchTarget();
    QTest::mousePress(surface, Qt::LeftButton, Qt::NoModifier, QPoint(100, 300));
    QTest::mouseMove(surface, QPoint(150, 300));
    QTest::mouseMove(surface, QPoint(200, 320));
    ASSERT_EQ(marker.samples.size(), 3u);
    EXPECT_EQ(marker.samples.back(), (Point{200, 320}));
    QWidget* overlay = e.vc.view().toolOverlay();
    ASSERT_TRUE(overlay->isVisible());
    const QImage shown = e.vc.view().grab().toImage();
    const QPoint at = surface->mapTo(&e.vc.view(), QPoint(200, 320)) * shown.devicePixelRatio();
    EXPECT_EQ(QColor(shown.pixel(at)), QColor(Qt::red));

    QTest::mouseRelease(surface, Qt::LeftButton, Qt::NoModifier, QPoint(200, 320));
    EXPECT_FALSE(overlay->isVisible());
    EXPECT_EQ(e.ink().count(), 0u);
    EXPECT_FALSE(e.vc.session().editor.undoManager()->canUndo());
}

TEST(EditorEndToEnd, EveryCommandIsInTheMenusWithItsTipAndAMenuEntryIsTheButtonsCommand) {
    Editor e;
    QWidget* surface = e.vc.touchTarget();
    QTest::mousePress(surface, Qt::LeftButton, Qt::NoModifier, QPoint(100, 300));
    for (int i = 1; i <= 10; ++i)
        QTest::mouseMove(surface, QPoint(100 + 10 * i, 300));
    QTest::mouseRelease(surface, Qt::LeftButton, Qt::NoModifier, QPoint(200, 300));
    QApplication::processEvents();
    ASSERT_EQ(e.ink().count(), 1u);

    NotebookWindow window(e.vc);
    std::set<QAction*> inMenus;
    QAction* undoEntry = nullptr;
    for (QAction* menu : window.menuBar()->actions()) {
        for (QAction* entry : menu->menu()->actions()) {
            inMenus.insert(entry);
            if (entry->text() == "Undo") undoEntry = entry;
        }
    }
    for (QAction* command : e.vc.window().allActions()) {
        EXPECT_EQ(inMenus.count(command), 1u) << command->text().toStdString();
        EXPECT_FALSE(command->toolTip().isEmpty()) << command->text().toStdString();
    }
    ASSERT_EQ(undoEntry, e.vc.undoButton()->defaultAction());
    ASSERT_TRUE(undoEntry->isEnabled());
    undoEntry->trigger();
    EXPECT_EQ(e.ink().count(), 0u);
    EXPECT_FALSE(undoEntry->isEnabled());
}

}  // namespace
