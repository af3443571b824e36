#include <cmath>

#include "GLTestSupport.h"
#include "ink/StrokeSampler.h"

using namespace velumen;
using namespace velumen::test;

namespace {

// An editor in miniature: the sampler draws live on the surface, commits go to the shown page's ink and
// mark the page dirty, as the page-list edits do.
struct Editor : InkCommitTarget {
    GLSurface surface;
    ManualClock clock{10.0};
    ViewTransform view;
    StrokeSampler sampler{*this, clock, view};
    PenTables tables;

    Editor(Size bounds, double scale, float zoom, Point pan) : surface(bounds, scale) {
        if (!surface.ok) return;
        sampler.renderer = &surface.compositor;
        view = {zoom, pan};
        surface.compositor.readTransformFrom(view);
    }
    PageCompositor& compositor() { return surface.compositor; }
    void addPointSets(const KVSPointSetArrayPtr& sets) override {
        compositor().pointSets->addObjectsFromArray(*sets);
        compositor().isFrameUpdateNeeded = true;
    }
    void addPointSetsAtBack(const KVSPointSetArrayPtr& sets) override {
        auto& list = compositor().pointSets->pointSets();
        list.insert(list.begin(), sets->pointSets().begin(), sets->pointSets().end());
        compositor().isFrameUpdateNeeded = true;
    }
    void pen(std::int64_t typeIndex, float width, KColor color) {
        sampler.setPenTypeIndex(typeIndex, width, tables);
        sampler.setPenColor(color, tables);
    }
    // A wavy stroke across the view in view points, sampled at 50 per second, perhaps cancelled at the end.
    void stroke(Point from, Point to, int samples, double wave, bool cancel = false) {
        sampler.beginStroke({from});
        for (int i = 1; i <= samples; ++i) {
            const double t = double(i) / samples;
            const Point p{from.x + (to.x - from.x) * t,
                          from.y + (to.y - from.y) * t + wave * std::sin(t * 9)};
            clock.advance(0.02);
            if (i < samples) {
                sampler.takeMovementSample({p});
            } else {
                sampler.endStroke({p}, cancel);
            }
        }
    }
    // The live picture, then the picture after the repaint that the commit asked for.
    std::pair<QImage, QImage> liveAndCommitted() {
        QImage live = surface.view().getImage();
        EXPECT_TRUE(compositor().isFrameUpdateNeeded);
        compositor().drawFrame();
        return {live, surface.view().getImage()};
    }
};

}  // namespace

TEST(LiveStroke, CommittedPenAndBrushStrokesRepaintAsTheyWereDrawn) {
    // Pixel ratio 2, zoomed, and panned past the page's corner so that paper shows beyond it.
    Editor e({96, 80}, 2.0, 1.25f, {14, 9});
    VELUMEN_REQUIRE_GL(e.surface);
    e.compositor().pointSets->addObject(dots({30, 30, 6, 40, 34, 6, 50, 38, 6}, {0.1, 0.2, 0.6, 0.8}));
    e.compositor().redrawAllLines();

    e.pen(1, 6.0f, {0, 0, 0, 0.35});  // fountain pen, translucent
    e.stroke({5, 10}, {90, 60}, 12, 8);
    EXPECT_EQ(e.compositor().numPoints, e.compositor().pointSets->objectAtIndex(1)->length());
    auto [live, committed] = e.liveAndCommitted();
    EXPECT_EQ(e.compositor().numPoints, 0);
    EXPECT_GT(inkedInRow(live, 70) + inkedInRow(live, 60), 0);
    EXPECT_LE(maxDifference(live, committed), 1);

    // A tap: four stacked passes of the straight segment.
    e.stroke({60, 20}, {60.2, 20.1}, 1, 0);
    std::tie(live, committed) = e.liveAndCommitted();
    EXPECT_LT(at(live, 2 * 60, 2 * 20).r, 200);
    EXPECT_LE(maxDifference(live, committed), 1);

    e.pen(3, 24.0f, {0.7, 0.1, 0.1, 0.6});  // brush: wide soft sprites spaced by their size
    e.stroke({90, 5}, {10, 75}, 15, 10);
    std::tie(live, committed) = e.liveAndCommitted();
    EXPECT_LE(maxDifference(live, committed), 1);
    EXPECT_EQ(e.compositor().pointSets->count(), 4u);
}

TEST(LiveStroke, HilighterStaysUnderTheInkWhileDrawnAndAfterCommit) {
    Editor e({96, 80}, 2.0, 0.8f, {-6, 11});
    VELUMEN_REQUIRE_GL(e.surface);
    // A column of opaque black ink that the hilighter will cross.
    auto black = KVSPointSet::initWithLength(60);
    for (int i = 0; i < 60; ++i) {
        float* p = black->buffer() + 3 * i;
        p[0] = 60, p[1] = float(i) * 2, p[2] = 4;
    }
    black->setColor({0, 0, 0, 1});
    e.compositor().pointSets->addObject(black);
    e.compositor().redrawAllLines();

    e.pen(4, 24.0f, {1, 0.9, 0, 0.5});  // hilighter
    ASSERT_TRUE(e.sampler.shouldRenderCurrentLineAtBack());
    e.sampler.beginStroke({{4, 40}});
    EXPECT_NE(e.compositor().inkSnapshotTextureId, 0u);
    for (int i = 1; i <= 10; ++i) {
        e.clock.advance(0.02);
        const Point p{4 + 9.0 * i, 40 + 3 * std::sin(i)};
        if (i < 10) {
            e.sampler.takeMovementSample({p});
        } else {
            e.sampler.endStroke({p}, false);
        }
    }
    EXPECT_EQ(e.compositor().inkSnapshotTextureId, 0u);
    auto [live, committed] = e.liveAndCommitted();
    EXPECT_EQ(e.compositor().pointSets->objectAtIndex(1), black);  // the stroke went to index 0
    EXPECT_LE(maxDifference(live, committed), 1);

    // Where they cross, the black stays black on top; beside it the hilighter shows yellow.
    const int x = int(std::lround((60 * 0.8 - 6) * 2)), y = int(std::lround((40 - 0) * 2));
    const Rgba crossing = at(committed, x, y);
    EXPECT_LT(std::max({crossing.r, crossing.g, crossing.b}), 8);
    const Rgba beside = at(committed, x + 14, y);
    EXPECT_GT(beside.r, 200);
    EXPECT_LT(beside.b, 150);

    // A cancelled hilighter stroke leaves nothing after the next repaint, and no snapshot.
    e.stroke({4, 70}, {92, 72}, 3, 0, true);
    EXPECT_EQ(e.compositor().inkSnapshotTextureId, 0u);
    e.compositor().isFrameUpdateNeeded = true;  // as the drawing tool asks of the editor
    e.compositor().drawFrame();
    EXPECT_EQ(maxDifference(e.surface.view().getImage(), committed), 0);
}
