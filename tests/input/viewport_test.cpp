// The viewport: conversions, the pinch's ratio and invariants, limits by device, overshoot.
#include <gtest/gtest.h>

#include <cmath>

#include "input/EditorViewport.h"

namespace velumen {
namespace {

struct ViewportTest : ::testing::Test {
    FoliantData book;
    EditorViewport viewport;
    void SetUp() override {
        book.pages().push_back(FoliantData::createNewPage());
        book.setPageNum(0);
        viewport.document = &book;
        viewport.layoutForFrameSize({768, 1024});
        viewport.showHomeView();
    }
};

TEST(ViewportMath, ViewPanRatioAndProfiles) {
    EXPECT_EQ(EditorViewport::getViewPan(-50, -100, 0), 0);
    EXPECT_EQ(EditorViewport::getViewPan(-120, -100, 0), -20);
    EXPECT_EQ(EditorViewport::getViewPan(30, -100, 0), 30);
    EXPECT_EQ(EditorViewport::getRatioOfCurrent(104.9f, 100, 5), 1.0f);
    EXPECT_EQ(EditorViewport::getRatioOfCurrent(95.1f, 100, 5), 1.0f);
    EXPECT_EQ(EditorViewport::getRatioOfCurrent(110, 100, 5), 110.0f / 105.0f);
    EXPECT_EQ(EditorViewport::getRatioOfCurrent(90, 100, 5), 90.0f / 95.0f);

    EXPECT_EQ(EditorViewport::provisionalZoomLimits(DeviceProfile::Tablet, 1366, false).minZoomFactor,
              0.678125f);
    EXPECT_EQ(EditorViewport::provisionalZoomLimits(DeviceProfile::Tablet, 1024, true).maxZoomFactor, 6.0f);
    EXPECT_EQ(EditorViewport::provisionalZoomLimits(DeviceProfile::Tablet, 1194, false).minZoomFactor,
              float((1194 - 64) * 0.5 / 960));
    const ZoomLimits phone = EditorViewport::provisionalZoomLimits(DeviceProfile::Phone, 568, true);
    EXPECT_EQ(phone.minZoomFactor, 0.36979166f);
    EXPECT_EQ(phone.maxZoomFactor, 12 * 0.36979166f);
    EXPECT_EQ(EditorViewport::provisionalZoomLimits(DeviceProfile::Phone, 480, false).minZoomFactor,
              0.22708334f);
    EXPECT_EQ(deviceProfileForViewSize({390, 844}), DeviceProfile::Phone);
    EXPECT_EQ(deviceProfileForViewSize({1280, 800}), DeviceProfile::Tablet);
    EXPECT_EQ(deviceProfileFromName("phone"), DeviceProfile::Phone);
    EXPECT_FALSE(deviceProfileFromName("watch"));
}

TEST_F(ViewportTest, ConversionsAreInverseAndLimitsFollowTheFrame) {
    EXPECT_FLOAT_EQ(viewport.minZoomFactor, 1024.0f / 1920.0f);
    EXPECT_FLOAT_EQ(viewport.maxZoomFactor, 12 * 1024.0f / 1920.0f);
    for (float zoom : {0.6f, 1.0f, 3.7f}) {
        viewport.setCanvasPoint({300, 400}, {200, 100}, zoom);
        const Point v{123.25, 456.5};
        const Point back = viewport.viewPointFromEaglPoint(viewport.eaglPointFromViewPoint(v));
        EXPECT_NEAR(back.x, v.x, 1e-9);
        EXPECT_NEAR(back.y, v.y, 1e-9);
    }
    // At the minimum the page covers the view: overshoot room in one axis only.
    viewport.showHomeView();
    EXPECT_GT(1536 * viewport.view.zoomFactor - 768, 0);
    EXPECT_FLOAT_EQ(1920 * viewport.view.zoomFactor - 1024, 0);
    EXPECT_EQ(viewport.percentageText(), "1.0x");
}

TEST_F(ViewportTest, PinchKeepsTheCanvasPointUnderTheFingers) {
    viewport.setCanvasPoint({0, 0}, {0, 0}, 1.0f);
    const Point downMid{400, 500};
    const Point canvas = viewport.eaglPointFromViewPoint(downMid);
    const float z0 = viewport.view.zoomFactor;
    // Fingers 100 apart, moving and spreading.
    const std::pair<Point, float> steps[] = {
        {{402, 503}, 104.9f}, {{380, 520}, 110}, {{350, 560}, 160}, {{300, 600}, 90}};
    for (const auto& [mid, d] : steps) {
        viewport.zoomStep(mid, d, canvas, 100, z0);
        if (d < 105 && d > 95) {
            EXPECT_EQ(viewport.view.zoomFactor, z0) << d;
        }
        const Point under = viewport.viewPointFromEaglPoint(canvas);
        // Under the fingers as seen: the ink where the limits allow, the rest as a move of the surface.
        EXPECT_NEAR(under.x + viewport.viewPanDelta.x, mid.x, 1e-3);
        EXPECT_NEAR(under.y + viewport.viewPanDelta.y, mid.y, 1e-3);
    }
    EXPECT_EQ(book.zoomFactor(), viewport.view.zoomFactor);
}

TEST_F(ViewportTest, ZoomIsClampedAndPanLimitedInOrder) {
    viewport.zoomStep({100, 100}, 10000, {50, 50}, 100, viewport.view.zoomFactor);
    EXPECT_EQ(viewport.view.zoomFactor, viewport.maxZoomFactor);
    viewport.zoomStep({100, 100}, 6, {50, 50}, 100, viewport.view.zoomFactor);
    EXPECT_EQ(viewport.view.zoomFactor, viewport.minZoomFactor);
    // Beyond the right edge: the pan stored in the book is at its limit, the rest is overshoot.
    viewport.setCanvasPoint({0, 0}, {-5000, 0}, viewport.minZoomFactor);
    const double overX = 1536 * double(viewport.view.zoomFactor) - 768;
    EXPECT_DOUBLE_EQ(book.panDelta().x, -overX);
    EXPECT_NEAR(viewport.view.inkPanDelta.x, -overX, 1e-3);
    EXPECT_LT(viewport.viewPanDelta.x, 0);
    // A book stored at a zoom out of range is corrected when loaded.
    book.setZoomFactor(100);
    viewport.handleDocumentChanged();
    EXPECT_EQ(book.zoomFactor(), viewport.maxZoomFactor);
}

TEST_F(ViewportTest, OvershootOnlyMovesTheSurfaceAndSpringsBack) {
    const Point canvas = viewport.eaglPointFromViewPoint({384, 512});
    const Point ink = viewport.view.inkPanDelta;
    // At the minimum with the page filling the height: pulling down only overshoots, and asks no repaint.
    EXPECT_FALSE(viewport.zoomStep({384, 600}, 100, canvas, 100, viewport.view.zoomFactor));
    EXPECT_EQ(viewport.view.inkPanDelta.y, ink.y);
    EXPECT_NEAR(viewport.surfaceTranslation.y, 88, 1e-3);
    EXPECT_FALSE(viewport.springsBack);
    viewport.resetViewPanDelta(true);
    EXPECT_EQ(viewport.surfaceTranslation, (Point{0, 0}));
    EXPECT_TRUE(viewport.springsBack);
    // A real pan asks for one.
    EXPECT_TRUE(viewport.zoomStep({300, 512}, 100, canvas, 100, viewport.view.zoomFactor));
}

}  // namespace
}  // namespace velumen
