// Rendering pieces that need no display: a surface without a context, the sprite pictures, size rules.
#include <gtest/gtest.h>

#include <QImage>
#include <cmath>

#include "render/DisplayLink.h"
#include "render/KGLUtils.h"
#include "render/PageCompositor.h"
#include "render/SpriteImages.h"

using namespace velumen;

TEST(NoContext, TheSurfaceStaysEmptyAndEverythingGoesOn) {
    EAGLView view;
    PageCompositor compositor(view);
    compositor.initializeEagl(2.0);
    compositor.loadFixedTextures();
    EXPECT_EQ(compositor.brushTextureId, 0u);
    view.layoutSubviews({100, 100});

    auto run = compositor.pointSets->addPointSetWithSize(3);
    run->buffer()[2] = 4;
    compositor.isFrameUpdateNeeded = true;
    compositor.drawFrame();
    EXPECT_EQ(compositor.repaintCount(), 0u);
    EXPECT_TRUE(compositor.getThumbnailImage().isNull());
    EXPECT_TRUE(compositor.getThumbnailForPage(compositor.currentPage(), {200, 250}).isNull());
    EXPECT_FALSE(compositor.addPageImage(std::make_shared<FoliantImage>(), KImage{}));

    // A whole stroke, hilighter and all, drawn on nothing.
    struct Page : InkCommitTarget {
        int commits = 0;
        void addPointSets(const KVSPointSetArrayPtr&) override { ++commits; }
        void addPointSetsAtBack(const KVSPointSetArrayPtr&) override { ++commits; }
    } page;
    ManualClock clock;
    const ViewTransform transform;
    StrokeSampler sampler(page, clock, transform);
    PenTables tables;
    sampler.renderer = &compositor;
    for (std::int64_t pen : {1, 4}) {
        sampler.setPenTypeIndex(pen, 10, tables);
        sampler.beginStroke({{10, 10}});
        clock.advance(0.1);
        sampler.takeMovementSample({{30, 20}});
        clock.advance(0.1);
        sampler.endStroke({{50, 40}}, false);
    }
    EXPECT_EQ(page.commits, 2);
    EXPECT_EQ(view.layer().callCount(), 0u);
    EXPECT_EQ(view.presentCount(), 0u);
}

TEST(SpriteImages, AreRoundDotsAndAFrameAndTheShippedFilesAreCurrent) {
    const QImage soft = makeParticleImage(64), hard = makeParticle2Image(64);
    EXPECT_EQ(qAlpha(soft.pixel(32, 32)), 255 - 0);  // nearly full at the centre
    int last = 256;
    for (int x = 32; x < 64; ++x) {  // falls off steadily towards the edge
        const int a = qAlpha(soft.pixel(x, 32));
        EXPECT_LE(a, last);
        last = a;
    }
    EXPECT_EQ(qAlpha(soft.pixel(63, 32)), 0);
    EXPECT_EQ(qAlpha(soft.pixel(0, 0)), 0);
    EXPECT_EQ(qAlpha(hard.pixel(60, 32)), 255);
    EXPECT_EQ(qAlpha(hard.pixel(0, 0)), 0);
    EXPECT_EQ(qRed(hard.pixel(32, 32)), 255);

    const QImage frame = makePictureBorderImage(512);
    EXPECT_EQ(qAlpha(frame.pixel(256, 256)), 0);
    EXPECT_EQ(qAlpha(frame.pixel(10, 256)), 255);
    EXPECT_EQ(qAlpha(frame.pixel(256, 10)), 255);
    EXPECT_EQ(qAlpha(frame.pixel(256, 512 - 30)), 255);  // the bottom margin is twice as deep
    EXPECT_EQ(qAlpha(frame.pixel(256, 30)), 0);

    // The pictures the program loads are the ones this code draws.
    const QImage shipped[] = {QImage(":/Particle.png"), QImage(":/Particle2.png"),
                              QImage(":/Picture Border 1.png")};
    const QImage drawn[] = {soft, hard, frame};
    for (int i = 0; i < 3; ++i) {
        ASSERT_FALSE(shipped[i].isNull()) << i;
        EXPECT_EQ(shipped[i].convertToFormat(QImage::Format_ARGB32), drawn[i]) << i;
    }
}

TEST(TextureSizes, FitTheDeviceAsTheRulesSay) {
    EXPECT_EQ(KGLUtils::sizeThatFitsWithinATextureForSize({1000, 500}, 2048), (Size{1000, 500}));
    const Size wide = KGLUtils::sizeThatFitsWithinATextureForSize({3000, 1000}, 2048);
    EXPECT_EQ(wide.width, 3000);  // the long side is left as it came
    EXPECT_NEAR(wide.height, 682.67, 0.01);
    const Size tall = KGLUtils::sizeThatFitsWithinATextureForSize({1000, 3000}, 2048);
    EXPECT_NEAR(tall.width, 682.67, 0.01);
    EXPECT_EQ(tall.height, 3000);

    EXPECT_EQ(DisplayLink::intervalForRefreshRate(60), 16);
    EXPECT_EQ(DisplayLink::intervalForRefreshRate(120), 8);
    EXPECT_EQ(DisplayLink::intervalForRefreshRate(std::nan("")), 16);
    EXPECT_EQ(DisplayLink::intervalForRefreshRate(0), 16);
}

TEST(PictureConversion, TakesPremultipliedWordsAndGreyDropsTransparency) {
    QImage straight(2, 1, QImage::Format_ARGB32);
    straight.setPixel(0, 0, qRgba(255, 0, 0, 128));
    straight.setPixel(1, 0, qRgba(0, 0, 255, 255));
    const KImage k = KGLUtils::kImageFromQImage(straight);
    ASSERT_EQ(k.pixels.size(), 2u);
    EXPECT_EQ(k.pixels[0], 0x80800000u);
    const KImage grey = KGLUtils::grayScaleImage(k);
    EXPECT_EQ(grey.pixels[0] >> 24, 0xffu);
    EXPECT_EQ(grey.pixels[1], 0xff1d1d1du);
}
