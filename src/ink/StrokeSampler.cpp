#include "ink/StrokeSampler.h"

#include <algorithm>
#include <cmath>

namespace velumen {

StrokeSampler::StrokeSampler(InkCommitTarget& target, const Clock& clock, const ViewTransform& view)
    : target_(target), clock_(clock), view_(view) {
    updateInkAcceleration();
}

Point StrokeSampler::eaglPointFromViewPoint(Point viewPoint) const {
    return {(viewPoint.x - view_.inkPanDelta.x) / zoomFactor(), (viewPoint.y - view_.inkPanDelta.y) / zoomFactor()};
}

Point StrokeSampler::viewPointFromEaglPoint(Point canvasPoint) const {
    return {canvasPoint.x * zoomFactor() + view_.inkPanDelta.x, canvasPoint.y * zoomFactor() + view_.inkPanDelta.y};
}

// ---- Pens ----

float StrokeSampler::variablePointSizeRatioForLength(float speed) const {
    return variablePointSizeRatioForInkType(inkType, speed);
}

void StrokeSampler::updateInkAcceleration() {
    const InkFilter filter = inkFilterForInkType(inkType);
    inkAcceleration = filter.inkAcceleration;
    inkDeceleration = filter.inkDeceleration;
}

void StrokeSampler::usePenSettings(std::int64_t index, const PenTables& tables) {
    if (index < 0 || static_cast<std::uint64_t>(index) >= tables.penSettings.size()) return;
    const PenSettings& slot = tables.penSettings[static_cast<std::size_t>(index)];
    currentStrokeThickness = slot.thickness;
    inkType = slot.inkType;
    if (inkType >= 0 && static_cast<std::size_t>(inkType) < tables.currentPenColors.size()) {
        currentLineColor = tables.currentPenColors[static_cast<std::size_t>(inkType)];
    }
    updateInkAcceleration();
}

void StrokeSampler::setPenTypeIndex(std::int64_t index, float width, PenTables& tables) {
    currentStrokeThickness = width;
    inkType = inkTypeForPenTypeIndex(index);
    if (inkType >= 0 && static_cast<std::size_t>(inkType) < tables.currentPenColors.size()) {
        currentLineColor = tables.currentPenColors[static_cast<std::size_t>(inkType)];
    }
    updateInkAcceleration();
    if (index >= 0 && static_cast<std::uint64_t>(index) < tables.penWidths.size()) {
        tables.penWidths[static_cast<std::size_t>(index)] = width;
    }
    if (!tables.penSettings.empty()) {
        tables.penSettings[0].thickness = width;
        tables.penSettings[0].inkType = inkType;
    }
}

void StrokeSampler::setPenColor(const KColor& color, PenTables& tables) {
    if (!tables.penSettings.empty()) tables.penSettings[0].color = color;
    currentLineColor = color;
    if (inkType >= 0 && static_cast<std::size_t>(inkType) < tables.currentPenColors.size()) {
        tables.currentPenColors[static_cast<std::size_t>(inkType)] = color;
    }
}

// ---- Taking samples ----

void StrokeSampler::beginStroke(const StrokeSample& sample) {
    if (renderer && shouldRenderCurrentLineAtBack()) renderer->saveInkSnapshot();
    lastTouchTime = clock_.now();
    forceFactor = sample.forceFactor;
    startNewLine();
    addPointToCurrentLine(sample.viewPoint);
}

void StrokeSampler::takeMovementSample(const StrokeSample& sample) {
    const double now = clock_.now();
    if (now - _lastDrawTime < kSampleSpacing) return;
    touchInterval = now - lastTouchTime;
    lastTouchTime = now;
    forceFactor = sample.forceFactor;
    addPointToCurrentLine(sample.viewPoint);
    if (currentLine && currentLine->points.size() >= 2)
        drawBezierInterpolatedLastSegment(*currentLine, false);
    _lastDrawTime = now;
}

void StrokeSampler::takeFinalSample(const StrokeSample& sample) {
    const double now = clock_.now();
    touchInterval = now - lastTouchTime;
    lastTouchTime = now;
    forceFactor = sample.forceFactor;
    addPointToCurrentLine(sample.viewPoint);
    if (currentLine && currentLine->points.size() >= 2) drawBezierInterpolatedLastSegment(*currentLine, true);
}

void StrokeSampler::endStroke(const StrokeSample& sample, bool cancelled) {
    if (cancelled) {
        cancelCurrentLine();
    } else {
        takeFinalSample(sample);
        commitCurrentLine();
    }
    forceFactor = sample.forceFactor;
    startNewLine();
    if (renderer) renderer->deleteInkSnapshot();
}

// ---- The stroke ----

void StrokeSampler::startNewLine() {
    if (currentPointSets) {
        currentPointSets->removeAllObjects();
    } else {
        currentPointSets = std::make_shared<KVSPointSetArray>();
    }
    if (currentLine) {
        currentLine->points.clear();
    } else {
        currentLine.emplace();
    }
    currentLine->color = currentLineColor;
    currentLine->strokeThickness = currentStrokeThickness;
    currentPointSize = currentStrokeThickness;
}

void StrokeSampler::addPointToCurrentLine(Point viewPoint) {
    if (!currentLine) return;
    currentLine->points.push_back(eaglPointFromViewPoint(viewPoint));
}

const KLine* StrokeSampler::segmentLine() const {
    if (steppedLine_) return steppedLine_;
    return currentLine ? &*currentLine : nullptr;
}

float StrokeSampler::strokeFactor() const {
    const KLine* line = segmentLine();
    const double thickness = line ? line->strokeThickness : static_cast<double>(currentStrokeThickness);
    return static_cast<float>(thickness * forceFactor);
}

float StrokeSampler::speedScale() const {
    return static_cast<float>(kSpeedReference / touchInterval);
}

float StrokeSampler::speedArgument(float length) const {
    // Single precision throughout, left to right: the zoom is a float like the length and the scale.
    return length * static_cast<float>(zoomFactor()) * speedScale();
}

KVSPointSetPtr StrokeSampler::appendRun(std::uint64_t count) {
    if (!currentPointSets) currentPointSets = std::make_shared<KVSPointSetArray>();
    KVSPointSetPtr run = currentPointSets->addPointSetWithSize(count);
    const KLine* line = segmentLine();
    run->setColor(line ? line->color : currentLineColor);
    return run;
}

void StrokeSampler::drawBezierInterpolatedLastSegment(const KLine& line, bool completeLine,
                                                      bool skipRendering) {
    const std::size_t n = line.points.size();
    if (n < 2) return;
    const std::size_t c = std::max<std::size_t>(n, 3);

    // The segment operations read the colour and thickness of this line, even when it is a copy.
    const KLine* const outerLine = steppedLine_;
    steppedLine_ = &line;

    const float T = strokeFactor();
    const bool atBack = shouldRenderCurrentLineAtBack();
    const bool render = renderer != nullptr && !skipRendering;
    if (!currentPointSets) currentPointSets = std::make_shared<KVSPointSetArray>();
    if (render) renderer->beginSegment(line.color, atBack, *currentPointSets, zoomFactor(), view_.inkPanDelta);

    if (n == 2) {
        const Point p0 = line.points[0];
        const Point p1 = line.points[1];
        if (inkType != InkTypeFountainPen) {
            const float dx = static_cast<float>(p1.x - p0.x);
            const float dy = static_cast<float>(p1.y - p0.y);
            const float length = std::sqrt(dx * dx + dy * dy);
            currentPointSize = T * variablePointSizeRatioForLength(speedArgument(length));
        } else {
            currentPointSize = T;
        }
        bezierMidPoint = p0;
        const float base = spacesByCurrentSize(inkType) ? currentPointSize : T;
        if (completeLine) {
            const float step = base * kStepFactor;
            drawLineFromPoint(p0, p1, step, skipRendering);
            // Less than one canvas unit apart in both axes (the truncation of the difference is 0).
            const bool isTap = std::fabs(p0.x - p1.x) < 1.0 && std::fabs(p0.y - p1.y) < 1.0;
            if (isTap) {
                for (int pass = 1; pass < kTapRepeat; ++pass)
                    drawLineFromPoint(p0, p1, step, skipRendering);
            }
        }
    } else {
        const float base = spacesByCurrentSize(inkType) ? currentPointSize : T;
        const float step = base * kStepFactor;
        const Point last = line.points[c - 1];
        bezierMidPoint = drawBezierInterpolatedSegmentWithP0(bezierMidPoint, line.points[c - 2], last, step,
                                                             skipRendering);
        if (completeLine) {
            bezierMidPoint =
                drawBezierInterpolatedSegmentWithP0(bezierMidPoint, last, last, step, skipRendering);
        }
    }

    if (render) renderer->endSegment(atBack);
    steppedLine_ = outerLine;
}

Point StrokeSampler::drawBezierInterpolatedSegmentWithP0(Point p0, Point p1, Point p2, float step,
                                                         bool skipRendering) {
    const float dx = static_cast<float>(p1.x - p0.x);
    const float dy = static_cast<float>(p1.y - p0.y);
    const float length = std::sqrt(dx * dx + dy * dy);

    // (integer)(L / step), capped; a quotient that is not a number or below 1 gives no extra point.
    const float quotient = length / step;
    std::int64_t count = 0;
    if (quotient >= static_cast<float>(kSegmentCap)) {
        count = kSegmentCap;
    } else if (quotient >= 1.0f) {
        count = static_cast<std::int64_t>(quotient);
    }
    const std::int64_t m = count + 1;

    KVSPointSetPtr run = appendRun(static_cast<std::uint64_t>(m));
    float* out = run->buffer();

    const float T = strokeFactor();
    const float target = T * variablePointSizeRatioForLength(speedArgument(length));
    const float rise = inkAcceleration * T;
    const float fall = inkDeceleration * T;
    const float twoM = static_cast<float>(2 * m);

    double x = p0.x;
    double y = p0.y;
    for (std::int64_t i = 1; i <= m; ++i) {
        if (currentPointSize < target) {
            currentPointSize = std::min(currentPointSize + rise, target);
        } else if (currentPointSize > target) {
            currentPointSize = std::max(currentPointSize - fall, target);
        }
        const float t = static_cast<float>(i) / twoM;
        const float u = 1.0f - t;
        const float a = u * u;
        const float b = 2.0f * u * t;
        const float c2 = t * t;
        x = static_cast<double>(a) * p0.x + static_cast<double>(b) * p1.x + static_cast<double>(c2) * p2.x;
        y = static_cast<double>(a) * p0.y + static_cast<double>(b) * p1.y + static_cast<double>(c2) * p2.y;
        float* point = out + (i - 1) * 3;
        point[0] = static_cast<float>(x);
        point[1] = static_cast<float>(y);
        point[2] = currentPointSize;
    }

    if (renderer && !skipRendering) renderer->drawCurvedRun(*run);
    numPoints += m;
    return {x, y};
}

void StrokeSampler::drawLineFromPoint(Point from, Point to, float step, bool skipRendering) {
    const double dx = to.x - from.x;
    const double dy = to.y - from.y;
    const float length = std::sqrt(static_cast<float>(dx * dx + dy * dy));
    const float quotient = std::ceil(length / step);
    std::int64_t n = 1;
    if (quotient >= static_cast<float>(kStraightSegmentLimit)) {
        n = kStraightSegmentLimit;
    } else if (quotient > 1.0f) {
        n = static_cast<std::int64_t>(quotient);
    }

    KVSPointSetPtr run = appendRun(static_cast<std::uint64_t>(n));
    float* out = run->buffer();
    const float fn = static_cast<float>(n);
    for (std::int64_t i = 0; i < n; ++i) {
        const float t = static_cast<float>(i) / fn;
        float* point = out + i * 3;
        point[0] = static_cast<float>(from.x + dx * static_cast<double>(t));
        point[1] = static_cast<float>(from.y + dy * static_cast<double>(t));
        point[2] = currentPointSize;
    }

    if (!skipRendering) {
        if (renderer) renderer->drawStraightRun(*run, currentPointSize);
        numPoints += n;
    }
}

void StrokeSampler::commitCurrentLine() {
    currentLine.reset();
    if (currentPointSets && currentPointSets->count() >= 1) {
        KVSPointSetPtr merged = currentPointSets->mergedPointSet();
        if (merged) {
            if (!firstAddedPointset) firstAddedPointset = merged;
            auto wrapped = std::make_shared<KVSPointSetArray>();
            wrapped->addObject(merged);
            if (shouldRenderCurrentLineAtBack()) {
                target_.addPointSetsAtBack(wrapped);
            } else {
                target_.addPointSets(wrapped);
            }
        }
    }
    currentPointSets.reset();
}

void StrokeSampler::cancelCurrentLine() {
    currentLine.reset();
    currentPointSets.reset();
}

}  // namespace velumen
