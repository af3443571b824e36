#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "ink/StrokeSampler.h"

using namespace velumen;

namespace {

struct FakeTarget : InkCommitTarget {
    std::vector<KVSPointSetArrayPtr> front;
    std::vector<KVSPointSetArrayPtr> back;
    void addPointSets(const KVSPointSetArrayPtr& p) override { front.push_back(p); }
    void addPointSetsAtBack(const KVSPointSetArrayPtr& p) override { back.push_back(p); }
};

struct FakeRenderer : StrokeRenderer {
    std::vector<std::string> calls;
    std::size_t spritesDrawn = 0;
    std::size_t strokeSoFarRuns = 0;
    void saveInkSnapshot() override { calls.push_back("save"); }
    void deleteInkSnapshot() override { calls.push_back("delete"); }
    void beginSegment(const KColor&, bool atBack, const KVSPointSetArray& soFar, double, Point) override {
        calls.push_back(atBack ? "begin-back" : "begin");
        strokeSoFarRuns = soFar.count();
    }
    void drawCurvedRun(const KVSPointSet& run) override {
        calls.push_back("curve");
        spritesDrawn += run.length();
    }
    void drawStraightRun(const KVSPointSet& run, float) override {
        calls.push_back("line");
        spritesDrawn += run.length();
    }
    void endSegment(bool atBack) override { calls.push_back(atBack ? "end-back" : "end"); }
};

struct Sprite {
    float x, y, size;
};

Sprite sprite(const KVSPointSet& run, std::uint64_t i) {
    const float* p = run.constBuffer() + i * 3;
    return {p[0], p[1], p[2]};
}

struct Fixture {
    FakeTarget target;
    ManualClock clock{100.0};
    FakeRenderer renderer;
    StrokeSampler sampler{target, clock};
    PenTables tables;
    int frameUpdates = 0;

    Fixture() {
        sampler.renderer = &renderer;
        sampler.setFrameUpdateNeeded = [this] { ++frameUpdates; };
    }
    // Opens a stroke at view point p at the current time.
    void down(Point p) { sampler.beginStroke(p, {}); }
    void move(double dt, Point p) {
        clock.advance(dt);
        sampler.takeMovementSample(p, {});
    }
    void up(double dt, Point p) {
        clock.advance(dt);
        sampler.endStroke(p, {}, false);
    }
    std::size_t linePoints() const { return sampler.currentLine ? sampler.currentLine->points.size() : 0; }
    std::size_t runs() const { return sampler.currentPointSets ? sampler.currentPointSets->count() : 0; }
};

}  // namespace

TEST(StrokeSamplerTap, TapStacksFourSpritesAtTheTouch) {
    Fixture f;
    f.sampler.zoomFactor = 2.0;
    f.sampler.inkPanDelta = {10, 20};
    f.sampler.setPenTypeIndex(1, 6.0f, f.tables);  // fountain pen
    TouchRecord stylus;
    stylus.type = TouchType::Stylus;
    stylus.force = 2.2;
    stylus.maximumPossibleForce = 4.0;  // factor 1.1

    f.sampler.beginStroke({110, 220}, {stylus});
    EXPECT_EQ(f.sampler.currentLine->points.at(0), (Point{50, 100}));
    f.clock.advance(0.1);
    f.sampler.endStroke({110.5, 220.5}, {stylus}, false);

    ASSERT_EQ(f.target.front.size(), 1u);
    EXPECT_TRUE(f.target.back.empty());
    ASSERT_EQ(f.target.front[0]->count(), 1u);
    const KVSPointSet& run = *f.target.front[0]->objectAtIndex(0);
    ASSERT_EQ(run.length(), 4u);
    EXPECT_TRUE(run.color().isEqualToColor(PenTables::defaultPenColor()));
    const float T = static_cast<float>(6.0 * 1.1);
    for (std::uint64_t i = 0; i < 4; ++i) {
        EXPECT_EQ(sprite(run, i).x, 50.0f);
        EXPECT_EQ(sprite(run, i).y, 100.0f);
        EXPECT_EQ(sprite(run, i).size, T);  // the fountain pen's first segment is at full thickness
    }
    EXPECT_EQ(f.renderer.calls,
              (std::vector<std::string>{"begin", "line", "line", "line", "line", "end", "delete"}));
    EXPECT_EQ(f.sampler.numPoints, 4);
    EXPECT_EQ(f.sampler.firstAddedPointset, f.target.front[0]->objectAtIndex(0));
    // Ready for the next stroke: an empty line and no runs.
    EXPECT_EQ(f.linePoints(), 0u);
    EXPECT_EQ(f.runs(), 0u);

    // A brush tap takes the curve at speed 0: an eighth of the width.
    Fixture b;
    b.sampler.setPenTypeIndex(3, 32.0f, b.tables);
    b.down({5, 5});
    b.up(0.05, {5, 5});
    ASSERT_EQ(b.target.front.size(), 1u);
    const KVSPointSet& brushRun = *b.target.front[0]->objectAtIndex(0);
    ASSERT_EQ(brushRun.length(), 4u);
    EXPECT_EQ(sprite(brushRun, 3).size, 4.0f);

    // Two touches a unit or more apart are a short line, drawn once, without its end point.
    Fixture l;
    l.sampler.setPenTypeIndex(1, 8.0f, l.tables);  // step 1
    l.down({0, 0});
    l.up(0.05, {10, 0});
    const KVSPointSet& lineRun = *l.target.front.at(0)->objectAtIndex(0);
    ASSERT_EQ(lineRun.length(), 10u);
    for (std::uint64_t i = 0; i < 10; ++i)
        EXPECT_EQ(sprite(lineRun, i).x, static_cast<float>(i));
    Fixture nearTap;
    nearTap.sampler.setPenTypeIndex(1, 8.0f, nearTap.tables);
    nearTap.down({0, 0});
    nearTap.up(0.05, {0.5, 1.0});
    EXPECT_EQ(nearTap.target.front.at(0)->objectAtIndex(0)->length(), 2u);
}

TEST(StrokeSamplerSampling, SpritesAppearOnlyFromTheThirdPoint) {
    Fixture f;
    f.sampler.setPenTypeIndex(2, 4.0f, f.tables);  // pencil
    const Point p0{100, 100}, p1{140, 120}, p2{200, 180};
    f.down(p0);
    f.move(0.02, p1);
    // Two points: the first segment only sets the curve's start and the size.
    EXPECT_EQ(f.linePoints(), 2u);
    EXPECT_EQ(f.runs(), 0u);
    EXPECT_EQ(f.renderer.spritesDrawn, 0u);
    EXPECT_EQ(f.sampler.bezierMidPoint, p0);
    EXPECT_TRUE(f.target.front.empty());
    const float speed = static_cast<float>(std::sqrt(40.0 * 40 + 20 * 20) *
                                           static_cast<float>(static_cast<double>(1.0f / 60.0f) / 0.02));
    EXPECT_NEAR(f.sampler.currentPointSize, 4.0f * variablePencilPointSizeRatioForLength(speed), 1e-5f);
    EXPECT_LT(f.sampler.currentPointSize, 4.0f);

    f.up(0.02, p2);
    // Final sample: one curved segment and the closing one.
    ASSERT_EQ(f.target.front.size(), 1u);
    const KVSPointSet& run = *f.target.front[0]->objectAtIndex(0);
    EXPECT_GT(run.length(), 2u);
    EXPECT_EQ(static_cast<std::size_t>(f.sampler.numPoints), run.length());
    const double midX = p0.x / 4 + p1.x / 2 + p2.x / 4, midY = p0.y / 4 + p1.y / 2 + p2.y / 4;
    const double endX = midX / 4 + 3 * p2.x / 4, endY = midY / 4 + 3 * p2.y / 4;
    const Sprite last = sprite(run, run.length() - 1);
    EXPECT_NEAR(last.x, endX, 1e-4);
    EXPECT_NEAR(last.y, endY, 1e-4);
    EXPECT_LT(last.x, p2.x - 1.0);  // a quarter short of the last touch
    EXPECT_EQ(f.renderer.calls.front(), "begin");
}

TEST(StrokeSamplerSampling, MovementsAreSpacedButTheLastSampleIsNot) {
    Fixture f;
    f.down({0, 0});
    f.move(0.02, {10, 0});
    EXPECT_EQ(f.linePoints(), 2u);
    const double accepted = f.clock.now();
    f.move(0.01, {20, 0});  // within 1/65 s of the previous movement sample: no trace
    EXPECT_EQ(f.linePoints(), 2u);
    EXPECT_EQ(f.sampler.lastTouchTime, accepted);
    EXPECT_EQ(f.sampler._lastDrawTime, accepted);
    EXPECT_NEAR(f.sampler.touchInterval, 0.02, 1e-9);
    f.move(0.006, {30, 0});  // 0.016 s after the last accepted one
    EXPECT_EQ(f.linePoints(), 3u);
    EXPECT_NEAR(f.sampler.touchInterval, 0.016, 1e-9);

    // Down and moves without an up paint sprites but commit nothing.
    EXPECT_GT(f.runs(), 0u);
    EXPECT_TRUE(f.target.front.empty());

    f.clock.advance(0.001);
    f.sampler.takeFinalSample({40, 0}, {});
    EXPECT_EQ(f.linePoints(), 4u);
    EXPECT_NEAR(f.sampler.touchInterval, 0.001, 1e-9);

    // A sample with no line is ignored without harm.
    f.sampler.commitCurrentLine();
    f.move(1.0, {50, 0});
    f.sampler.takeFinalSample({60, 0}, {});
    EXPECT_FALSE(f.sampler.currentLine.has_value());
    EXPECT_EQ(f.runs(), 0u);
    EXPECT_EQ(f.target.front.size(), 1u);
}

TEST(StrokeSamplerSegments, CurvedAndStraightSegmentGeometry) {
    Fixture f;
    f.sampler.startNewLine();
    f.sampler.touchInterval = 1.0 / 60.0;

    // Collinear evenly spaced points make x = 200 t, so the i-th point is at t = i / (2m).
    Point end = f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {100, 0}, {200, 0}, 10.0f, true);
    ASSERT_EQ(f.runs(), 1u);
    const KVSPointSet& even = *f.sampler.currentPointSets->objectAtIndex(0);
    ASSERT_EQ(even.length(), 11u);
    for (std::uint64_t i = 0; i < 11; ++i) {
        EXPECT_NEAR(sprite(even, i).x, 100.0 * static_cast<double>(i + 1) / 11.0, 1e-4) << i;
    }
    EXPECT_EQ(end, (Point{100, 0}));
    EXPECT_EQ(f.sampler.numPoints, 11);  // counted even without rendering
    EXPECT_TRUE(f.renderer.calls.empty());

    // Shorter than the step: one point, at t = 0.5.
    end = f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {0.5, 0.25}, {1, 1}, 1.0f, true);
    const KVSPointSet& single = *f.sampler.currentPointSets->objectAtIndex(1);
    ASSERT_EQ(single.length(), 1u);
    EXPECT_EQ(sprite(single, 0).x, 0.5f);
    EXPECT_EQ(sprite(single, 0).y, 0.375f);
    EXPECT_EQ(end, (Point{0.5, 0.375}));

    // A flick beyond the cap: exactly 2500 points, further apart than the step.
    f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {5000, 0}, {5000, 0}, 1.0f, false);
    const KVSPointSet& flick = *f.sampler.currentPointSets->objectAtIndex(2);
    ASSERT_EQ(flick.length(), 2500u);
    EXPECT_GT(sprite(flick, 1).x - sprite(flick, 0).x, 1.0f);
    EXPECT_EQ(f.renderer.calls, std::vector<std::string>{"curve"});
    EXPECT_EQ(f.sampler.numPoints, 11 + 1 + 2500);

    // Straight segments count their points only when they are drawn.
    f.sampler.drawLineFromPoint({0, 0}, {3, 4}, 2.0f, true);
    EXPECT_EQ(f.sampler.currentPointSets->objectAtIndex(3)->length(), 3u);
    EXPECT_EQ(f.sampler.numPoints, 2512);
    f.sampler.drawLineFromPoint({0, 0}, {3, 4}, 2.0f, false);
    EXPECT_EQ(f.sampler.numPoints, 2515);
    const KVSPointSet& straight = *f.sampler.currentPointSets->objectAtIndex(4);
    EXPECT_EQ(sprite(straight, 2).x, 2.0f);
    EXPECT_EQ(sprite(straight, 2).y, static_cast<float>(4.0 * static_cast<double>(2.0f / 3.0f)));

    // Degenerate steps never crash: zero step, zero length.
    f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {0, 0}, {0, 0}, 0.0f, true);
    EXPECT_EQ(f.sampler.currentPointSets->objectAtIndex(5)->length(), 1u);
    f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {1, 0}, {1, 0}, 0.0f, true);
    EXPECT_EQ(f.sampler.currentPointSets->objectAtIndex(6)->length(), 2500u);
    f.sampler.drawLineFromPoint({0, 0}, {0, 0}, 0.0f, true);
    EXPECT_EQ(f.sampler.currentPointSets->objectAtIndex(7)->length(), 1u);
}

TEST(StrokeSamplerSegments, WidthFilterMovesBySteadyStepsAndNeverOvershoots) {
    Fixture f;
    f.sampler.setPenTypeIndex(3, 32.0f, f.tables);  // brush: up 0.005, down 0.002 of the thickness
    f.sampler.startNewLine();
    f.sampler.touchInterval = static_cast<double>(1.0f / 60.0f);  // speed scale exactly 1
    ASSERT_EQ(f.sampler.currentPointSize, 32.0f);

    // Slow: target is an eighth, 4.0; the size falls by 0.064 per point and stops at the target.
    f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {0.5, 0}, {0.5, 0}, 1.0f / 1024.0f, true);
    const KVSPointSet& slow = *f.sampler.currentPointSets->objectAtIndex(0);
    ASSERT_EQ(slow.length(), 513u);
    EXPECT_NEAR(sprite(slow, 0).size, 32.0f - 0.064f, 1e-5f);
    float previous = 32.0f;
    std::uint64_t reached = 0;
    for (std::uint64_t i = 0; i < slow.length(); ++i) {
        const float s = sprite(slow, i).size;
        ASSERT_GE(s, 4.0f) << i;
        if (s > 4.0f) {
            EXPECT_NEAR(previous - s, 0.064f, 1e-4f) << i;
        } else if (reached == 0) {
            reached = i;
        }
        previous = s;
    }
    EXPECT_EQ(reached, 437u);  // 28 / 0.064 = 437.5 steps
    EXPECT_EQ(sprite(slow, 512).size, 4.0f);

    // Fast: target is the full width; the size rises by 0.16 per point and stops at 32.
    f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {100, 0}, {100, 0}, 0.5f, true);
    const KVSPointSet& fast = *f.sampler.currentPointSets->objectAtIndex(1);
    ASSERT_EQ(fast.length(), 201u);
    previous = 4.0f;
    for (std::uint64_t i = 0; i < fast.length(); ++i) {
        const float s = sprite(fast, i).size;
        ASSERT_LE(s, 32.0f) << i;
        if (s < 32.0f) {
            EXPECT_NEAR(s - previous, 0.16f, 1e-4f) << i;
        }
        previous = s;
    }
    EXPECT_EQ(sprite(fast, 200).size, 32.0f);

    // No interval: infinite speed takes the upper branch, a zero-length segment too.
    f.sampler.touchInterval = 0;
    f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {0, 0}, {0, 0}, 1.0f, true);
    EXPECT_EQ(f.sampler.currentPointSize, 32.0f);
    f.sampler.setPenTypeIndex(1, 10.0f, f.tables);
    f.sampler.startNewLine();
    f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {1, 0}, {1, 0}, 2.0f, true);  // one point
    EXPECT_TRUE(std::isfinite(f.sampler.currentPointSize));
    EXPECT_FLOAT_EQ(f.sampler.currentPointSize, 10.0f - 0.06f);
}

TEST(StrokeSamplerPens, PenSwitchingKeepsColoursPerInkType) {
    Fixture f;
    int icons = 0;
    std::int64_t selected = -7;
    f.sampler.updatePenToolbarIcon = [&] { ++icons; };
    f.sampler.selectPenButton = [&](std::int64_t i) { selected = i; };
    const KColor red{1, 0, 0, 0.35}, yellow{1, 1, 0, 0.1};

    f.sampler.setPenTypeIndex(1, 7.0f, f.tables);
    f.sampler.setPenColor(red, f.tables);
    f.sampler.setPenTypeIndex(4, 18.0f, f.tables);
    EXPECT_EQ(f.sampler.inkType, InkTypeHilighter);
    EXPECT_TRUE(f.sampler.currentLineColor.isEqualToColor(PenTables::defaultPenColor()));
    EXPECT_EQ(f.sampler.inkAcceleration, 0.01f);
    EXPECT_EQ(f.sampler.inkDeceleration, 0.001f);
    f.sampler.setPenColor(yellow, f.tables);
    f.sampler.setPenTypeIndex(1, 7.0f, f.tables);
    EXPECT_TRUE(f.sampler.currentLineColor.isEqualToColor(red));
    EXPECT_TRUE(f.tables.currentPenColors[5].isEqualToColor(yellow));
    EXPECT_EQ(f.tables.penWidths[4], 18.0f);
    EXPECT_EQ(f.tables.penWidths[1], 7.0f);
    EXPECT_EQ(f.tables.penSettings[0].thickness, 7.0f);
    EXPECT_EQ(f.tables.penSettings[0].inkType, InkTypeFountainPen);
    EXPECT_TRUE(f.tables.penSettings[0].color.isEqualToColor(yellow));  // the last colour set
    EXPECT_EQ(icons, 5);

    // The eraser takes index 0 and its width; an index past the table is a fountain pen.
    f.sampler.setPenTypeIndex(0, 50.0f, f.tables);
    EXPECT_EQ(f.sampler.inkType, InkTypeEraser);
    EXPECT_EQ(f.sampler.currentStrokeThickness, 50.0f);
    EXPECT_EQ(f.tables.penWidths[0], 50.0f);
    f.sampler.setPenTypeIndex(9, 5.0f, f.tables);
    EXPECT_EQ(f.sampler.inkType, InkTypeFountainPen);
    EXPECT_EQ(f.tables.penWidths.size(), 5u);

    // A stored gel pen: its own curve and filter, the colour of its ink type, not of its slot.
    f.tables.currentPenColors[4] = yellow;
    f.tables.penSettings[2] = PenSettings::fromDecoded(red, 5.0f, InkTypeGelPen);
    f.sampler.usePenSettings(2, f.tables);
    EXPECT_EQ(selected, 2);
    EXPECT_EQ(f.sampler.inkType, InkTypeGelPen);
    EXPECT_EQ(f.sampler.currentStrokeThickness, 5.0f);
    EXPECT_TRUE(f.sampler.currentLineColor.isEqualToColor(yellow));
    EXPECT_EQ(f.sampler.inkAcceleration, 0.012f);
    EXPECT_EQ(f.sampler.variablePointSizeRatioForLength(16.5f), 0.75f);
    f.sampler.inkType = InkTypeEraser;
    EXPECT_EQ(f.sampler.variablePointSizeRatioForLength(16.5f),
              variableFountainPenPointSizeRatioForLength(16.5f));

    // Slots outside the table change nothing.
    f.sampler.usePenSettings(3, f.tables);
    f.sampler.usePenSettings(-1, f.tables);
    EXPECT_EQ(f.sampler.inkType, InkTypeEraser);
    EXPECT_EQ(selected, 2);
}

TEST(StrokeSamplerCommit, HilighterCommitNoRunsAndCancel) {
    Fixture h;
    h.sampler.setPenTypeIndex(4, 16.0f, h.tables);
    h.down({0, 0});
    h.move(0.02, {30, 0});
    h.move(0.02, {60, 10});
    ASSERT_EQ(h.runs(), 1u);
    h.move(0.02, {90, 20});
    EXPECT_EQ(h.renderer.strokeSoFarRuns, 1u);  // the stroke so far is redrawn under the new segment
    h.up(0.02, {120, 20});
    EXPECT_TRUE(h.target.front.empty());
    ASSERT_EQ(h.target.back.size(), 1u);
    EXPECT_EQ(h.renderer.calls.front(), "save");
    EXPECT_EQ(h.renderer.calls[1], "begin-back");
    EXPECT_EQ(h.renderer.calls.back(), "delete");
    EXPECT_EQ(h.renderer.calls[h.renderer.calls.size() - 2], "end-back");

    // A stroke that never got a second point commits nothing.
    Fixture n;
    n.down({5, 5});
    n.sampler.commitCurrentLine();
    n.sampler.startNewLine();
    n.sampler.commitCurrentLine();
    EXPECT_TRUE(n.target.front.empty());
    EXPECT_TRUE(n.target.back.empty());
    EXPECT_EQ(n.sampler.currentPointSets, nullptr);
    EXPECT_EQ(n.sampler.firstAddedPointset, nullptr);

    // Cancel drops the stroke and asks for a repaint.
    Fixture c;
    c.down({0, 0});
    c.move(0.02, {30, 0});
    c.move(0.02, {60, 0});
    ASSERT_GT(c.runs(), 0u);
    c.sampler.cancelCurrentLine();
    EXPECT_FALSE(c.sampler.currentLine.has_value());
    EXPECT_EQ(c.sampler.currentPointSets, nullptr);
    EXPECT_EQ(c.frameUpdates, 1);
    c.down({0, 0});
    c.move(0.02, {30, 0});
    c.clock.advance(0.02);
    c.sampler.endStroke({60, 0}, {}, true);
    EXPECT_EQ(c.frameUpdates, 2);
    EXPECT_TRUE(c.target.front.empty());
    EXPECT_EQ(c.linePoints(), 0u);
}
