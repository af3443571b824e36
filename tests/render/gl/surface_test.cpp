#include <QCoreApplication>
#include <QOpenGLContext>
#include <QThread>
#include <atomic>
#include <thread>

#include "GLTestSupport.h"
#include "render/DisplayLink.h"
#include "render/KGLUtils.h"

using namespace velumen;
using namespace velumen::test;

namespace {

// One repaint of the given ink with untextured squares, read back.
QImage paint(GLSurface& s, std::initializer_list<KVSPointSetPtr> runs) {
    s.compositor.pointSets = std::make_shared<KVSPointSetArray>();
    for (const auto& r : runs)
        s.compositor.pointSets->addObject(r);
    s.compositor.redrawAllLines();
    return s.view().getImage();
}

}  // namespace

TEST(GLSurface, SpritesHaveTheirExactSizeAtThePixelRatioShownAndShowTheirVisiblePart) {
    GLSurface s({320, 320}, 2.0, false);  // brush texture 0: plain squares
    VELUMEN_REQUIRE_GL(s);
    EXPECT_FLOAT_EQ(s.compositor.screenScaleFactor(), 4.0f);
    const KColor black{0, 0, 0, 1};

    // Size 3 at zoom 1 and pixel ratio 2 is 12 pixels across, centred where it belongs.
    QImage image = paint(s, {dots({10, 10, 3}, black)});
    ASSERT_EQ(s.view().framebufferWidth, 640);
    EXPECT_EQ(inkedInRow(image, 20), 12);
    EXPECT_EQ(at(image, 14, 20).r, 0);
    EXPECT_EQ(at(image, 13, 20).r, 255);
    EXPECT_EQ(at(image, 25, 20).r, 0);
    EXPECT_EQ(at(image, 26, 20).r, 255);

    // A dot of 600 pixels is 600 pixels; zoom enters the size.
    image = paint(s, {dots({160, 160, 150}, black)});
    EXPECT_EQ(inkedInRow(image, 320), 600);
    s.transform.zoomFactor = 0.5f;
    image = paint(s, {dots({320, 320, 150}, black)});
    EXPECT_EQ(inkedInRow(image, 320), 300);
    s.transform.zoomFactor = 1.0f;

    // A dot whose centre lies off the surface still shows what overlaps it; a tiny one is one pixel.
    image = paint(s, {dots({-5, 100, 10, 100.25f, 100.25f, 0.01f}, black)});
    EXPECT_EQ(inkedInRow(image, 200), 10 + 1);

    // The window's pixel ratio is known only once the surface is shown, after set-up: dots follow the ratio
    // the surface draws at, not the one it was set up with.
    const struct {
        double ratio;
        int framebuffer, diameter;  // pixels across, for a size 3 at zoom 1
    } cases[] = {{1.5, 480, 9}, {1.0, 320, 6}, {2.0, 640, 12}};
    for (const auto& c : cases) {
        s.view().setSupportRetina(true, c.ratio);
        image = paint(s, {dots({10, 10, 3}, black)});
        EXPECT_EQ(s.view().framebufferWidth, c.framebuffer) << c.ratio;
        EXPECT_EQ(inkedInRow(image, int(10 * c.ratio)), c.diameter) << c.ratio;
    }
}

TEST(GLSurface, TranslucentInkAccumulatesPremultiplied) {
    GLSurface s({64, 64}, 1.0, false);
    VELUMEN_REQUIRE_GL(s);
    const KColor halfRed{1, 0, 0, 0.5};
    // One square: half red over white; two: the second over the first.
    QImage image = paint(s, {dots({20, 20, 4, 20, 20, 4}, halfRed), dots({50, 50, 4}, halfRed)});
    const Rgba two = at(image, 20, 20), one = at(image, 50, 50);
    EXPECT_EQ(one.r, 255);
    EXPECT_NEAR(one.g, 128, 1);
    EXPECT_NEAR(two.g, 64, 1);
    EXPECT_EQ(two.a, 255);

    // Over transparent black the alpha accumulates too: 0.5, then 0.75.
    KVSPointSetArray twice;
    twice.addObject(dots({20, 20, 4, 20, 20, 4}, halfRed));
    const QImage clear = renderInk(s, twice, false);
    const Rgba c = at(clear, 20, 20);
    EXPECT_NEAR(c.r, 191, 1);
    EXPECT_NEAR(c.a, 191, 1);
    EXPECT_EQ(c.g, 0);
}

TEST(GLSurface, ImagesArePremultipliedAndShowNoDarkFringe) {
    GLSurface s({64, 64}, 1.0, false);
    VELUMEN_REQUIRE_GL(s);
    // White fading to nothing across 8 pixels, then red, stretched over most of the surface.
    KImage ramp;
    ramp.width = 8;
    ramp.height = 2;
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 8; ++x) {
            const std::uint32_t a = std::uint32_t(x * 255 / 7);
            ramp.pixels.push_back(y == 0 ? (a << 24) | (a << 16) | (a << 8) | a : 0xffff0000u);
        }
    }
    auto image = std::make_shared<FoliantImage>();
    image->frame = {4, 4, 56, 56};
    const std::uint64_t uploads = s.gl().textureUploadCount();
    ASSERT_TRUE(s.compositor.addPageImage(image, ramp));
    EXPECT_EQ(s.gl().textureUploadCount(), uploads + 1);
    s.compositor.redrawAllLines();
    const QImage shown = s.view().getImage();
    for (int x = 0; x < 64; ++x) {
        const Rgba c = at(shown, x, 10);
        ASSERT_GE(std::min({c.r, c.g, c.b}), 254) << "dark fringe at x " << x;
    }
    const Rgba red = at(shown, 32, 55);
    EXPECT_EQ(red.r, 255);
    EXPECT_LE(red.b, 1);  // the words' channels are not swapped

    // A picture without pixels makes no texture; repaints upload nothing.
    EXPECT_FALSE(s.compositor.addPageImage(std::make_shared<FoliantImage>(), KImage{}));
    for (int i = 0; i < 5; ++i)
        s.compositor.redrawAllLines();
    EXPECT_EQ(s.gl().textureUploadCount(), uploads + 1);
}

TEST(GLSurface, ClearCanvasPaintsTheVisibleRectWhiteAndTheRestTransparent) {
    GLSurface s({40, 40}, 2.0, false);
    VELUMEN_REQUIRE_GL(s);
    auto clearWith = [&](const Rect& visible) {
        s.view().setVisibleRect(visible);
        s.view().eraseView();
        return s.view().getImage();
    };
    QImage image = clearWith({0, 0, 40, 15});  // the top 30 pixel rows
    EXPECT_EQ(at(image, 5, 29).a, 255);
    EXPECT_EQ(at(image, 5, 29).r, 255);
    EXPECT_EQ(at(image, 5, 30).a, 0);
    EXPECT_EQ(at(image, 79, 79).r, 0);
    // The null rect: all of it opaque white, and the scissor is left off for what follows.
    image = clearWith(Rect::null());
    EXPECT_EQ(at(image, 79, 79).a, 255);
    EXPECT_EQ(at(image, 79, 79).g, 255);
    s.view().renderingQueue().sync([&] {
        s.view().setFramebuffer();
        s.gl().clearColor(0, 0, 0, 1);
        s.gl().clear();
    });
    EXPECT_EQ(at(s.view().getImage(), 79, 79).g, 0);
}

TEST(GLSurface, FrameLoopRepaintsOnlyWhenDirtyAndUnlocked) {
    GLSurface s({32, 32}, 1.0, false);
    VELUMEN_REQUIRE_GL(s);
    PageCompositor& c = s.compositor;
    DisplayLink link([&] { c.drawFrame(); });
    c.redrawAllLines();
    const std::uint64_t repaints = c.repaintCount();

    // A clean tick issues no GL call at all.
    const std::uint64_t calls = s.gl().callCount();
    link.tick();
    link.tick();
    EXPECT_EQ(s.gl().callCount(), calls);

    // Dirty while locked: nothing; after the lock, exactly one repaint however many ticks follow.
    c.isFrameLocked = true;
    c.isFrameUpdateNeeded = true;
    link.tick();
    link.tick();
    EXPECT_EQ(c.repaintCount(), repaints);
    EXPECT_EQ(s.gl().callCount(), calls);
    c.isFrameLocked = false;
    link.tick();
    link.tick();
    link.tick();
    EXPECT_EQ(c.repaintCount(), repaints + 1);
    EXPECT_FALSE(c.isFrameUpdateNeeded);

    // Suspended: the flag waits.
    c.isApplicationSuspended = true;
    c.isFrameUpdateNeeded = true;
    link.tick();
    EXPECT_EQ(c.repaintCount(), repaints + 1);
    EXPECT_TRUE(c.isFrameUpdateNeeded);

    // A resize drops the back buffer, tells the delegate, and the next batch rebuilds it at the new size.
    c.isApplicationSuspended = false;
    int layouts = 0;
    s.view().eaglViewDidLayoutSubViews = [&] { ++layouts, c.isFrameUpdateNeeded = true; };
    s.view().layoutSubviews({32, 32});
    EXPECT_EQ(layouts, 0);
    s.view().layoutSubviews({48, 20});
    EXPECT_EQ(layouts, 1);
    EXPECT_EQ(s.view().framebufferWidth, 0);
    link.tick();
    EXPECT_EQ(s.view().framebufferWidth, 48);
    EXPECT_EQ(s.view().framebufferHeight, 20);
}

TEST(RenderQueue, RunsBatchesOnTheGuiThreadAndReportsNesting) {
    GLSurface s({16, 16}, 1.0, false);
    VELUMEN_REQUIRE_GL(s);
    RenderQueue& queue = s.view().renderingQueue();
    int nested = 0;
    RenderQueue::setReentranceHandler([&] { ++nested; });
    bool ran = false;
    queue.sync([&] { queue.sync([&] { ran = true; }); });
    RenderQueue::setReentranceHandler(nullptr);
    EXPECT_EQ(nested, 1);
    EXPECT_TRUE(ran);

    // From a worker: runs on the GUI thread, with the context current, while the worker waits.
    std::atomic<bool> done{false};
    bool onGui = false, current = false;
    std::thread worker([&] {
        queue.sync([&] {
            onGui = QThread::currentThread() == QCoreApplication::instance()->thread();
            current = QOpenGLContext::currentContext() == s.view().context();
        });
        done = true;
    });
    while (!done)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    worker.join();
    EXPECT_TRUE(onGui);
    EXPECT_TRUE(current);
}
