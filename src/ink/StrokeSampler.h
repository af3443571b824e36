// The stroke in progress: touch samples become a sparse line of canvas points and, segment by
// segment, dense runs of sprites whose sizes follow the pen's speed curve and width filter. At the
// end the runs are merged into one run that goes to the page.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "ink/Clock.h"
#include "ink/InkCommitTarget.h"
#include "ink/KColor.h"
#include "ink/KGeometry.h"
#include "ink/KLine.h"
#include "ink/KVSPointSet.h"
#include "ink/KVSPointSetArray.h"
#include "ink/Pens.h"
#include "ink/ViewTransform.h"

namespace velumen {

// One sample of a stroke: where the pen is, in view points, and the pressure factor of that moment
// (1.0 for a finger; from 0.8 to 1.2 for a stylus, by its force).
struct StrokeSample {
    Point viewPoint;
    double forceFactor = 1.0;
};

// What the sampler asks of the surface while a stroke is drawn. Live drawing paints on top of what the
// surface holds and presents after each segment step.
class StrokeRenderer {
  public:
    virtual ~StrokeRenderer() = default;

    // A back-drawn stroke is about to start: capture the page's ink.
    virtual void saveInkSnapshot() = 0;
    // The stroke is over, finished or not: release the capture.
    virtual void deleteInkSnapshot() = 0;

    // Prepare one segment step: the view transform, the brush, and the line's colour. When atBack,
    // clear the canvas, draw the page's images and then strokeSoFar.
    virtual void beginSegment(const KColor& lineColor, bool atBack, const KVSPointSetArray& strokeSoFar,
                              double zoomFactor, Point inkPanDelta) = 0;
    // Draw a run with the size of each of its points.
    virtual void drawCurvedRun(const KVSPointSet& run) = 0;
    // Draw a run with one size for every point.
    virtual void drawStraightRun(const KVSPointSet& run, float pointSize) = 0;
    // Finish the step: when atBack, lay the captured ink over the stroke; then present.
    virtual void endSegment(bool atBack) = 0;
};

class StrokeSampler {
  public:
    // Sample spacing of movements: 1/65 s.
    static constexpr double kSampleSpacing = 1.0 / 65.0;
    // A curved segment has at most this many points plus one.
    static constexpr std::int64_t kSegmentCap = 2499;
    // Sprite spacing as a fraction of the size base.
    static constexpr float kStepFactor = 0.125f;
    // The unit of the speed argument: a 60th of a second, taken in single precision.
    static constexpr double kSpeedReference = static_cast<double>(1.0f / 60.0f);
    // Passes of the straight segment that make a tap.
    static constexpr int kTapRepeat = 4;
    // Bound on the points of one straight segment, against degenerate steps.
    static constexpr std::int64_t kStraightSegmentLimit = 1000000;

    // `view` is the transform of the page on screen, owned by the caller and read at every sample; it
    // must outlive the sampler.
    StrokeSampler(InkCommitTarget& target, const Clock& clock, const ViewTransform& view);

    // --- Pen state ---
    InkType inkType = InkTypeFountainPen;
    float inkAcceleration = 0;
    float inkDeceleration = 0;
    float currentStrokeThickness = PenTables::kDefaultPenThickness;
    KColor currentLineColor = PenTables::defaultPenColor();
    std::int64_t currentPenIndex = 0;
    double forceFactor = 1.0;

    // --- Stroke state ---
    std::optional<KLine> currentLine;
    KVSPointSetArrayPtr currentPointSets;
    float currentPointSize = 0;
    Point bezierMidPoint;
    std::int64_t numPoints = 0;
    double lastTouchTime = 0;
    double touchInterval = 0;
    double _lastDrawTime = 0;
    KVSPointSetPtr firstAddedPointset;
    std::vector<KLine> lines;

    // The surface that live strokes are drawn on; null draws nothing (the ink still goes to the page).
    StrokeRenderer* renderer = nullptr;

    Point eaglPointFromViewPoint(Point viewPoint) const;
    Point viewPointFromEaglPoint(Point canvasPoint) const;

    // --- Pens ---
    float variablePointSizeRatioForLength(float speed) const;
    void updateInkAcceleration();
    bool shouldRenderCurrentLineAtBack() const { return rendersAtBack(inkType); }
    // Loads a pen slot; an index outside the table changes nothing.
    void usePenSettings(std::int64_t index, const PenTables& tables);
    void setPenTypeIndex(std::int64_t index, float width, PenTables& tables);
    void setPenColor(const KColor& color, PenTables& tables);

    // --- Taking samples ---
    // Touch down of a stroke: snapshot for a back-drawn stroke, lastTouchTime, force, a new line and
    // its first point.
    void beginStroke(const StrokeSample& sample);
    // A movement; dropped entirely when it comes within 1/65 s of the previous movement sample.
    void takeMovementSample(const StrokeSample& sample);
    // The last sample at touch up: never dropped, and the line is completed.
    void takeFinalSample(const StrokeSample& sample);
    // Touch up of a stroke: final sample and commit, or cancel; then ready for the next stroke, with the
    // sample's pressure factor.
    void endStroke(const StrokeSample& sample, bool cancelled);

    // --- The stroke ---
    void startNewLine();
    // Maps the point to canvas units and appends it; ignored while there is no line.
    void addPointToCurrentLine(Point viewPoint);
    void drawBezierInterpolatedLastSegment(const KLine& line, bool completeLine, bool skipRendering = false);
    Point drawBezierInterpolatedSegmentWithP0(Point p0, Point p1, Point p2, float step, bool skipRendering);
    void drawLineFromPoint(Point from, Point to, float step, bool skipRendering);
    void commitCurrentLine();
    void cancelCurrentLine();

  private:
    // A new zero-filled run of count points in the stroke, with the line's colour.
    KVSPointSetPtr appendRun(std::uint64_t count);
    // The line a segment belongs to: the one being stepped, else currentLine; null when neither.
    const KLine* segmentLine() const;
    // T: the line's thickness times the pressure factor, narrowed once.
    float strokeFactor() const;
    // (float)(K / touchInterval).
    float speedScale() const;
    // The argument of the speed curve for a distance in canvas units: view points per 60th of a second,
    // the product length x zoom x speed scale taken in single precision.
    float speedArgument(float length) const;

    double zoomFactor() const { return view_.zoomFactor; }

    InkCommitTarget& target_;
    const Clock& clock_;
    const ViewTransform& view_;
    const KLine* steppedLine_ = nullptr;
};

}  // namespace velumen
