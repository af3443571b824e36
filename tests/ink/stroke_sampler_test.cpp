#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "ink/StrokeSampler.h"

using namespace velumen;

namespace {

constexpr int kX = 0, kY = 1, kSize = 2;  // a sprite's coordinates in a run

// A sampler wired to a page and a surface that record what reaches them.
struct Fixture : InkCommitTarget, StrokeRenderer {
    std::vector<KVSPointSetArrayPtr> front, back;
    std::vector<std::string> calls;
    std::size_t strokeSoFarRuns = 0;
    ManualClock clock{100.0};
    ViewTransform view;
    StrokeSampler sampler{*this, clock, view};
    PenTables tables;

    // A pen of the given palette slot (none below 0) and width, at a zoom.
    explicit Fixture(std::int64_t pen = -1, float width = 4.0f, double zoom = 1.0) {
        sampler.renderer = this;
        view.zoomFactor = static_cast<float>(zoom);
        if (pen >= 0) sampler.setPenTypeIndex(pen, width, tables);
    }
    void addPointSets(const KVSPointSetArrayPtr& p) override { front.push_back(p); }
    void addPointSetsAtBack(const KVSPointSetArrayPtr& p) override { back.push_back(p); }
    void saveInkSnapshot() override { calls.push_back("save"); }
    void deleteInkSnapshot() override { calls.push_back("delete"); }
    void beginSegment(const KColor&, bool atBack, const KVSPointSetArray& soFar, double, Point) override {
        calls.push_back(atBack ? "begin-back" : "begin");
        strokeSoFarRuns = soFar.count();
    }
    void drawCurvedRun(const KVSPointSet&) override { calls.push_back("curve"); }
    void drawStraightRun(const KVSPointSet&, float) override { calls.push_back("line"); }
    void endSegment(bool atBack) override { calls.push_back(atBack ? "end-back" : "end"); }

    void down(Point p) { sampler.beginStroke({p}); }
    void move(double dt, Point p) {
        clock.advance(dt);
        sampler.takeMovementSample({p});
    }
    void up(double dt, Point p, bool cancelled = false) {
        clock.advance(dt);
        sampler.endStroke({p}, cancelled);
    }
    std::size_t linePoints() const { return sampler.currentLine ? sampler.currentLine->points.size() : 0; }
    const KVSPointSet& run(std::size_t i) const { return *sampler.currentPointSets->objectAtIndex(i); }
    const KVSPointSet& committed(std::size_t i = 0) const { return *front.at(i)->objectAtIndex(0); }
    static float at(const KVSPointSet& r, std::uint64_t i, int c) { return r.constBuffer()[i * 3 + c]; }
};

std::vector<float> sizes(const KVSPointSet& run) {
    std::vector<float> out;
    for (std::uint64_t i = 0; i < run.length(); ++i)
        out.push_back(Fixture::at(run, i, kSize));
    return out;
}

}  // namespace

TEST(StrokeSampler, TapIsFourStackedSpritesAndAShortLineIsDrawnOnce) {
    Fixture f(1, 6.0f, 2.0);  // fountain pen
    f.view.inkPanDelta = {10, 20};
    const double pressure = 2.0 * 2.2 / 4.0;  // a stylus at force 2.2 of 4
    f.sampler.beginStroke({{110, 220}, pressure});
    f.clock.advance(0.1);
    f.sampler.endStroke({{110.5, 220.5}, pressure}, false);
    ASSERT_EQ(f.front.size(), 1u);
    const KVSPointSet& run = f.committed();
    ASSERT_EQ(run.length(), 4u);
    // All at the canvas point of the touch down, the thickness times the pressure factor 1.1.
    const float T = static_cast<float>(6.0 * 1.1);
    EXPECT_EQ(std::vector<float>(run.constBuffer(), run.constBuffer() + 12),
              (std::vector<float>{50, 100, T, 50, 100, T, 50, 100, T, 50, 100, T}));
    EXPECT_EQ(f.calls, (std::vector<std::string>{"begin", "line", "line", "line", "line", "end", "delete"}));

    // One unit apart on an axis is no tap: a single pass, without its end point.
    Fixture l(1, 8.0f);  // step 1
    l.down({0, 0});
    l.up(0.02, {10, 0});
    l.down({0, 0});
    l.up(0.05, {0.5, 1.0});
    ASSERT_EQ(l.committed(0).length(), 10u);
    EXPECT_EQ(Fixture::at(l.committed(0), 9, kX), 9.0f);
    EXPECT_EQ(Fixture::at(l.committed(0), 9, kSize), 8.0f);  // the fountain pen starts at full width
    EXPECT_EQ(l.committed(1).length(), 2u);
}

TEST(StrokeSampler, SpacingFirstSegmentAndClosingSegment) {
    Fixture f(2, 4.0f);  // pencil
    const Point p0{100, 100}, p1{110, 105}, p2{200, 180}, p3{260, 200};
    f.down(p0);
    f.move(0.01, p1);  // spacing runs between movements: the first one is taken however soon
    // Two points only set the curve's start and the size: nothing is drawn or committed yet.
    EXPECT_EQ(f.calls, (std::vector<std::string>{"begin", "end"}));
    EXPECT_EQ(f.sampler.bezierMidPoint, p0);
    const float speed =
        static_cast<float>(std::hypot(10.0, 5.0) * static_cast<float>(StrokeSampler::kSpeedReference / 0.01));
    EXPECT_NEAR(f.sampler.currentPointSize, 4.0f * variablePencilPointSizeRatioForLength(speed), 1e-5f);
    // Within 1/65 s of the last accepted movement: dropped without a trace, even in the next interval.
    f.move(0.01, {170, 150});
    f.move(0.006, p2);
    EXPECT_EQ(f.linePoints(), 3u);
    EXPECT_NEAR(f.sampler.touchInterval, 0.016, 1e-9);
    EXPECT_TRUE(f.front.empty());
    // The final sample is never dropped, however soon it comes.
    f.up(0.001, p3);
    EXPECT_NEAR(f.sampler.touchInterval, 0.001, 1e-9);
    const KVSPointSet& run = f.committed();
    // Each curve ends halfway; the closing one runs from there to m/4 + 3 p3/4, a quarter short of p3.
    const auto half = [](Point a, Point b, Point c) {
        return Point{a.x / 4 + b.x / 2 + c.x / 4, a.y / 4 + b.y / 2 + c.y / 4};
    };
    const Point m = half(half(p0, p1, p2), p2, p3);
    EXPECT_NEAR(Fixture::at(run, run.length() - 1, kX), m.x / 4 + 3 * p3.x / 4, 1e-4);
    EXPECT_NEAR(Fixture::at(run, run.length() - 1, kY), m.y / 4 + 3 * p3.y / 4, 1e-4);
}

// The speed argument is length x zoom x speed scale in single precision. The cases are chosen so that the
// same product taken in double and then narrowed gives a size one or more units in the last place away.
TEST(StrokeSampler, SpeedArgumentIsASinglePrecisionProduct) {
    struct Case {
        double dx, dy, interval;
    };
    const Case cases[] = {{18, 1, 0.03}, {20, 2, 0.02}, {35, 0, 0.03}};
    const float zoom = 1.3f;
    const float T = 6.0f;
    for (const Case& k : cases) {
        SCOPED_TRACE(k.dx);
        const Point p0{100, 100}, p1{100 + k.dx, 100 + k.dy}, p2{130 + k.dx, 100 + k.dy};
        // The canvas distance as the sampler sees it: view points mapped at the zoom, differences narrowed.
        const float dx = static_cast<float>((p1.x / double(zoom)) - (p0.x / double(zoom)));
        const float dy = static_cast<float>((p1.y / double(zoom)) - (p0.y / double(zoom)));
        const float length = std::sqrt(dx * dx + dy * dy);
        const float scale = static_cast<float>(StrokeSampler::kSpeedReference / k.interval);
        const float expected = T * variablePencilPointSizeRatioForLength(length * zoom * scale);
        const float viaDouble = T * variablePencilPointSizeRatioForLength(
                                        static_cast<float>(double(length) * double(zoom) * double(scale)));
        ASSERT_NE(expected, viaDouble);  // otherwise the case shows nothing

        // Two points: the straight line takes the size of the first segment.
        Fixture two(2, T, zoom);  // pencil
        two.down(p0);
        two.up(k.interval, p1);
        const KVSPointSet& line = two.committed();
        ASSERT_GE(line.length(), 1u);
        EXPECT_EQ(sizes(line), std::vector<float>(line.length(), expected));

        // Three points at the same pace: the curved segment runs at that size too (the filter starts there).
        Fixture three(2, T, zoom);
        three.down(p0);
        three.move(k.interval, p1);
        EXPECT_EQ(three.sampler.currentPointSize, expected);
        three.move(k.interval, p2);
        const KVSPointSet& curve = three.run(0);
        ASSERT_GE(curve.length(), 1u);
        EXPECT_EQ(sizes(curve), std::vector<float>(curve.length(), expected));
    }
}

TEST(StrokeSampler, CurvedAndStraightSegmentGeometry) {
    Fixture f;
    f.sampler.startNewLine();
    // Collinear evenly spaced points make x = 200 t, with the i-th of m points at t = i / (2m).
    Point end = f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {100, 0}, {200, 0}, 10.0f, true);
    ASSERT_EQ(f.run(0).length(), 11u);
    EXPECT_NEAR(Fixture::at(f.run(0), 5, kX), 600.0 / 11.0, 1e-4);
    // Shorter than the step: one point, at t = 0.5.
    end = f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {0.5, 0.25}, {1, 1}, 1.0f, true);
    ASSERT_EQ(f.run(1).length(), 1u);
    EXPECT_EQ(end, (Point{0.5, 0.375}));
    // A flick beyond the cap: exactly 2500 points, further apart than the step.
    f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {5000, 0}, {5000, 0}, 1.0f, false);
    ASSERT_EQ(f.run(2).length(), 2500u);
    EXPECT_GT(Fixture::at(f.run(2), 1, kX) - Fixture::at(f.run(2), 0, kX), 1.0f);
    EXPECT_EQ(f.calls, std::vector<std::string>{"curve"});  // only the rendered one
    EXPECT_EQ(f.sampler.numPoints, 11 + 1 + 2500);          // curves count even when not rendered
    // Straight segments count only what is drawn.
    f.sampler.drawLineFromPoint({0, 0}, {3, 4}, 2.0f, true);
    EXPECT_EQ(f.sampler.numPoints, 2512);
    f.sampler.drawLineFromPoint({0, 0}, {3, 4}, 2.0f, false);
    EXPECT_EQ(f.sampler.numPoints, 2515);
    EXPECT_EQ(Fixture::at(f.run(4), 2, kX), 2.0f);
    f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {1, 0}, {1, 0}, 0.0f, true);  // a zero step
    f.sampler.drawLineFromPoint({0, 0}, {0, 0}, 0.0f, true);
    EXPECT_TRUE(f.run(5).length() == 2500 && f.run(6).length() == 1);
}

TEST(StrokeSampler, WidthFilterMovesBySteadyStepsAndNeverOvershoots) {
    Fixture f(3, 32.0f);  // brush: up 0.005, down 0.002 of the thickness
    f.sampler.startNewLine();
    f.sampler.touchInterval = StrokeSampler::kSpeedReference;  // speed scale exactly 1
    // Slow: the target is an eighth, 4; fall by 0.064 per point and stay there (an overshoot is 0.032 off).
    f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {0.5, 0}, {0.5, 0}, 1.0f / 1024.0f, true);
    ASSERT_EQ(f.run(0).length(), 513u);
    for (std::uint64_t i = 0; i < 513; ++i)
        EXPECT_NEAR(Fixture::at(f.run(0), i, kSize), std::max(32.0f - 0.064f * (i + 1), 4.0f), 1e-3f) << i;
    // Fast: the target is the full width; rise by 0.16 per point and stay at 32.
    f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {100, 0}, {100, 0}, 0.5f, true);
    ASSERT_EQ(f.run(1).length(), 201u);
    for (std::uint64_t i = 0; i < 201; ++i)
        EXPECT_NEAR(Fixture::at(f.run(1), i, kSize), std::min(4.0f + 0.16f * (i + 1), 32.0f), 1e-3f) << i;
    // No interval: the speed is infinite (or not a number at zero length) and takes the upper branch.
    f.sampler.touchInterval = 0;
    f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {0, 0}, {0, 0}, 1.0f, true);
    EXPECT_EQ(f.sampler.currentPointSize, 32.0f);
    f.sampler.setPenTypeIndex(1, 10.0f, f.tables);
    f.sampler.startNewLine();
    f.sampler.drawBezierInterpolatedSegmentWithP0({0, 0}, {1, 0}, {1, 0}, 2.0f, true);
    EXPECT_FLOAT_EQ(f.sampler.currentPointSize, 10.0f - 0.06f);
}

TEST(StrokeSampler, PenSwitchingKeepsColoursPerInkType) {
    Fixture f;
    const KColor red{1, 0, 0, 0.35}, yellow{1, 1, 0, 0.1};
    f.sampler.setPenTypeIndex(1, 7.0f, f.tables);
    f.sampler.setPenColor(red, f.tables);
    f.sampler.setPenTypeIndex(4, 18.0f, f.tables);
    EXPECT_TRUE(f.sampler.currentLineColor.isEqualToColor(PenTables::defaultPenColor()));
    EXPECT_EQ(f.sampler.inkDeceleration, 0.001f);  // the hilighter's filter
    f.sampler.setPenColor(yellow, f.tables);
    f.sampler.setPenTypeIndex(1, 7.0f, f.tables);
    EXPECT_TRUE(f.sampler.currentLineColor.isEqualToColor(red));
    EXPECT_EQ(f.tables.penWidths[4], 18.0f);
    // A stored gel pen: its own curve and filter, and the colour of its ink type, not of its slot.
    f.tables.currentPenColors[InkTypeGelPen] = yellow;
    f.tables.penSettings[2] = PenSettings::fromDecoded(red, 5.0f, InkTypeGelPen);
    f.sampler.usePenSettings(2, f.tables);
    EXPECT_EQ(f.sampler.currentStrokeThickness, 5.0f);
    EXPECT_TRUE(f.sampler.currentLineColor.isEqualToColor(yellow));
    EXPECT_EQ(f.sampler.inkAcceleration, 0.012f);
    EXPECT_EQ(f.sampler.variablePointSizeRatioForLength(16.5f), variableGelPenPointSizeRatioForLength(16.5f));
    // Slots outside the table change nothing.
    f.sampler.usePenSettings(3, f.tables);
    f.sampler.usePenSettings(-1, f.tables);
    EXPECT_EQ(f.sampler.inkType, InkTypeGelPen);
}

TEST(StrokeSampler, HilighterCommitsAtBackEmptyStrokeCommitsNothingCancelDrops) {
    Fixture h(4, 16.0f);
    h.down({0, 0});
    h.move(0.02, {30, 0});
    h.move(0.02, {60, 10});
    h.move(0.02, {90, 20});
    EXPECT_EQ(h.strokeSoFarRuns, 1u);  // the stroke so far is redrawn under the new segment
    h.up(0.02, {120, 20});
    EXPECT_TRUE(h.front.empty() && h.back.size() == 1);
    const auto& c = h.calls;
    EXPECT_EQ((std::vector<std::string>{c[0], c[1], c[c.size() - 2], c.back()}),
              (std::vector<std::string>{"save", "begin-back", "end-back", "delete"}));

    // A stroke that never got a second point commits nothing; without a line, samples are ignored.
    Fixture n;
    n.down({5, 5});
    n.sampler.commitCurrentLine();
    n.move(1.0, {50, 0});
    n.sampler.takeFinalSample({{60, 0}});
    EXPECT_TRUE(n.front.empty() && n.back.empty() && !n.sampler.firstAddedPointset);

    Fixture x;
    x.down({0, 0});
    x.move(0.02, {30, 0});
    x.move(0.02, {60, 0});
    x.up(0.02, {90, 0}, true);
    EXPECT_TRUE(x.front.empty() && x.linePoints() == 0 && x.sampler.currentPointSets->count() == 0);
}
