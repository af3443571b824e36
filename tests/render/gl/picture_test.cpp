#include "GLTestSupport.h"
#include "render/KGLUtils.h"

using namespace velumen;
using namespace velumen::test;

TEST(Pictures, RenderToImageHasTheAskedSizeWithinTheLimitsAndRestoresTheSurface) {
    GLSurface s({64, 48}, 2.0, false);
    VELUMEN_REQUIRE_GL(s);
    PageCompositor& c = s.compositor;
    c.pointSets->addObject(dots({768, 960, 40}, {0, 0, 0, 1}));  // the middle of the page
    s.transform.zoomFactor = 0.5f;
    c.redrawAllLines();
    const QImage before = s.view().getImage();
    const std::size_t depth = s.gl().matrixDepth();
    const auto viewport = s.gl().currentViewport();
    s.view().setVisibleRect({0, 0, 64, 20});

    // A page thumbnail of 40 x 50 points at pixel ratio 2: the page fills it, the dot in the middle,
    // 40 x 2 x (40 / 1536) x 2 pixels across.
    const QImage thumb = c.getThumbnailForPage(c.currentPage(), {40, 50});
    ASSERT_EQ(thumb.size(), QSize(80, 100));
    EXPECT_DOUBLE_EQ(thumb.devicePixelRatio(), 2.0);
    EXPECT_EQ(at(thumb, 0, 99).a, 255);  // white paper everywhere: the visible rect does not apply
    EXPECT_EQ(at(thumb, 0, 99).r, 255);
    const int across = inkedInRow(thumb, 50);
    EXPECT_NEAR(across, 40.0 * 2 * (40.0 / 1536) * 2, 1.0);

    // Afterwards: the same projection depth, viewport, framebuffer, visible rect and back buffer.
    EXPECT_EQ(s.gl().matrixDepth(), depth);
    EXPECT_EQ(s.gl().currentViewport(), viewport);
    EXPECT_EQ(s.gl().boundFramebuffer(), s.view().defaultFramebuffer());
    EXPECT_EQ(s.view().visibleRect(), (Rect{0, 0, 64, 20}));
    EXPECT_EQ(maxDifference(s.view().getImage(), before), 0);
    s.view().setVisibleRect(Rect::null());

    // Zero and absurd sizes are clamped, never a crash.
    const QImage tiny = c.getThumbnailForPage(c.currentPage(), {0, -5});
    EXPECT_EQ(tiny.size(), QSize(2, 2));
    const int limit = s.gl().maxTextureSize();
    const QImage huge = s.view().getImageWithSize({1e9, 20}, [] {});
    ASSERT_FALSE(huge.isNull());
    EXPECT_EQ(huge.width(), limit);
    EXPECT_LE(huge.height(), 40);
    const QImage nan = s.view().getImageWithSize({std::nan(""), 10}, [] {});
    EXPECT_EQ(nan.size(), QSize(2, 20));

    // The view snapshot has the surface's pixels; the whole page at the safest size has 1536 or 768 across.
    const QImage snapshot = c.getThumbnailImage();
    EXPECT_EQ(snapshot.size(), QSize(128, 96));
    EXPECT_FALSE(c.isFrameLocked);
    const QImage page = c.getFullPageThumbnailImage();
    EXPECT_EQ(page.width(), limit < 2048 ? 768 : 1536);
}

TEST(Pictures, WithoutBackgroundOnlyContentHasAlpha) {
    GLSurface s({64, 64}, 1.0, true);
    VELUMEN_REQUIRE_GL(s);
    PageCompositor& c = s.compositor;
    // A master image over the whole page and one page image; ink in one corner.
    KImage grey;
    grey.width = grey.height = 4;
    grey.pixels.assign(16, 0xff808080u);
    auto master = std::make_shared<FoliantImage>();
    master->frame = {0, 0, 1536, 1920};
    auto placed = std::make_shared<FoliantImage>();
    placed->frame = {40, 40, 10, 10};
    ASSERT_TRUE(c.addMasterImage(master, grey));
    ASSERT_TRUE(c.addPageImage(placed, grey));
    c.pointSets->addObject(dots({10, 10, 3}, {0.2, 0.2, 0.9, 0.7}));

    const QImage full = s.view().getImageWithSize({64, 64}, [&] { c.renderAllLines(); });
    EXPECT_EQ(at(full, 60, 5).r, 128);  // the master image shows
    const QImage bare = s.view().getImageWithSize({64, 64}, [&] { c.renderAllLinesWithoutBackground(); });
    EXPECT_EQ(at(bare, 60, 5).a, 0);
    EXPECT_EQ(at(bare, 30, 30).a, 0);
    EXPECT_EQ(at(bare, 45, 45).a, 255);  // the page image does
    EXPECT_GT(at(bare, 10, 10).a, 100);  // and the ink
    int opaque = 0;
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x)
            opaque += at(bare, x, y).a > 0;
    EXPECT_LT(opaque, 64 * 64 / 8);

    // The large picture of the view at twice the size, transparent where there is nothing.
    EXPECT_FLOAT_EQ(c.getMaxViewScaleFactor(), 2.0f);
    const QImage large = c.getLargeThumbnailImageWithNoBackground(true);
    EXPECT_EQ(large.size(), QSize(128, 128));
    EXPECT_EQ(at(large, 120, 10).a, 0);
    EXPECT_EQ(s.view().bounds(), (Size{64, 64}));
    EXPECT_EQ(c.viewTransform().zoomFactor, 1.0f);
}

TEST(Pictures, TexturesKeepTheirAspectWithinTheMaximum) {
    GLSurface s({16, 16}, 1.0, false);
    VELUMEN_REQUIRE_GL(s);
    KImage wide;
    wide.width = 3000;
    wide.height = 1000;
    wide.pixels.assign(3000u * 1000u, 0xff336699u);
    GLuint texture = 0;
    Size size;
    s.view().renderingQueue().sync(
        [&] { size = KGLUtils::createTextureWithNonPow2Image(s.gl(), texture, wide); });
    EXPECT_EQ(size, (Size{2048, 683}));
    EXPECT_NE(texture, 0u);
    GLuint untouched = 77;
    s.view().renderingQueue().sync([&] {
        EXPECT_EQ(KGLUtils::createTextureWithNonPow2Image(s.gl(), untouched, KImage{}), (Size{0, 0}));
        s.gl().deleteTexture(texture);
    });
    EXPECT_EQ(untouched, 77u);
}
