#include "shell/TouchReplay.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "shell/FoliantViewController.h"

namespace velumen {

void choosePen(FoliantViewController& editor, const ScriptPen& pen) {
    // Without a width, the one last used with the pen, as the palette offers it.
    const std::vector<float>& widths = editor.globals.penWidths();
    const std::size_t index = std::size_t(pen.index);
    float width = editor.sampler.currentStrokeThickness;
    if (pen.width)
        width = *pen.width;
    else if (index < widths.size())
        width = widths[index];
    editor.sampler.setPenTypeIndex(pen.index, width, editor.globals.penTables);
    if (pen.color) editor.sampler.setPenColor(*pen.color, editor.globals.penTables);
}

void setZoomAboutMiddle(FoliantViewController& editor, float zoom) {
    EditorViewport& viewport = editor.viewport;
    const Point middle{viewport.eaglFrameSize.width / 2, viewport.eaglFrameSize.height / 2};
    // Within the limits first, so that the page point under the middle stays there, as with the wheel.
    const float limited = std::clamp(zoom, viewport.minZoomFactor, viewport.maxZoomFactor);
    viewport.setCanvasPoint(viewport.eaglPointFromViewPoint(middle), middle, limited);
    viewport.updateInkPanDelta();
    viewport.resetViewPanDelta();
    if (viewport.redrawAllLines) viewport.redrawAllLines();
}

void replayTouchScript(FoliantViewController& editor, ManualClock& clock, const TouchScript& script) {
    TouchScriptHooks hooks;
    hooks.resize = [&](Size size) {
        const QWidget* target = editor.touchTarget();
        if (target->width() != std::lround(size.width) || target->height() != std::lround(size.height)) {
            if (editor.isHidden())
                editor.layoutForSize(size);
            else
                editor.resize(int(std::lround(size.width)), int(std::lround(size.height)));
        }
    };
    hooks.choosePen = [&](const ScriptPen& pen) { choosePen(editor, pen); };
    hooks.setZoom = [&](float zoom) { setZoomAboutMiddle(editor, zoom); };
    playTouchScript(script, editor.router, clock, hooks);
}

void replaySteps(FoliantViewController& editor, ManualClock& clock, const std::vector<ReplayStep>& steps) {
    for (const ReplayStep& step : steps) {
        if (step.penIndex >= 0) choosePen(editor, {step.penIndex, std::nullopt, step.color});
        replayTouchScript(editor, clock, step.script);
    }
}

namespace {

constexpr double kTick = 1.0 / 60.0;

// One touch following `at(s)` for s from 0 to 1 in `samples` movements, starting at `start` seconds.
template <class Path, class Force>
TouchScript stroke(Size view, double start, int samples, TouchType type, Path at, Force force) {
    TouchScript script;
    for (int i = 0; i <= samples + 1; ++i) {
        const double s = std::min(1.0, double(i) / samples);
        TouchRecord t;
        t.id = 1;
        t.type = type;
        t.phase = i == 0 ? TouchPhase::Began : i == samples + 1 ? TouchPhase::Ended : TouchPhase::Moved;
        t.location = t.previousLocation = at(s);
        t.force = force(s);
        t.timestamp = start + i * kTick;
        script.events.push_back({t.timestamp, view, {t}, 0, std::nullopt, std::nullopt});
    }
    return script;
}

}  // namespace

std::vector<ReplayStep> demoSteps(Size view) {
    const double w = view.width, h = view.height;
    const double pi = std::numbers::pi;
    auto none = [](double) { return 0.0; };
    std::vector<ReplayStep> steps;
    // The fountain pen: a wave along the top.
    steps.push_back({1, stroke(view, 0.0, 60, TouchType::Finger,
                               [&](double s) { return Point{w * (0.1 + 0.8 * s), h * 0.15 + h * 0.05 * std::sin(s * 4 * pi)}; },
                               none), KColor{0.05, 0.15, 0.55, 1}});
    // The pencil from a stylus, pressing harder as it goes: a loop.
    steps.push_back({2, stroke(view, 2.0, 90, TouchType::Stylus,
                               [&](double s) {
                                   return Point{w * 0.3 + w * 0.15 * std::cos(s * 2 * pi),
                                                h * 0.4 + h * 0.1 * std::sin(s * 2 * pi)};
                               },
                               [](double s) { return 0.1 + 0.8 * s; }), KColor{0.2, 0.2, 0.2, 1}});
    // The brush: a zigzag.
    steps.push_back({3, stroke(view, 4.0, 60, TouchType::Finger,
                               [&](double s) {
                                   const double tooth = std::fabs(std::fmod(s * 4, 1.0) - 0.5) * 2;
                                   return Point{w * (0.55 + 0.35 * s), h * (0.32 + 0.15 * tooth)};
                               },
                               none), KColor{0.75, 0.1, 0.1, 1}});
    // The hilighter across the middle.
    steps.push_back({4, stroke(view, 6.0, 40, TouchType::Finger,
                               [&](double s) { return Point{w * (0.1 + 0.8 * s), h * 0.6}; }, none), KColor{1, 0.85, 0, 1}});
    // Two fingers spreading about the page's middle: the page zooms in.
    {
        TouchScript pinch;
        const Point mid{w * 0.5, h * 0.6};
        const int samples = 30;
        for (int i = 0; i <= samples + 1; ++i) {
            const double s = std::min(1.0, double(i) / samples);
            const double half = 60 + 60 * s;
            const TouchPhase phase = i == 0 ? TouchPhase::Began : i == samples + 1 ? TouchPhase::Ended : TouchPhase::Moved;
            const double time = 8.0 + i * kTick;
            TouchScriptEvent event{time, view, {}, 0, std::nullopt, std::nullopt};
            for (int finger = 0; finger < 2; ++finger) {
                TouchRecord t;
                t.id = 10 + finger;
                t.phase = phase;
                t.location = t.previousLocation = {mid.x + (finger ? half : -half), mid.y};
                t.timestamp = time;
                event.touches.push_back(t);
            }
            pinch.events.push_back(event);
        }
        steps.push_back({-1, pinch, std::nullopt});
    }
    // The fountain pen again, at the new zoom.
    steps.push_back({1, stroke(view, 10.0, 40, TouchType::Finger,
                               [&](double s) { return Point{w * (0.3 + 0.4 * s), h * (0.8 - 0.1 * s)}; }, none),
                     KColor{0.1, 0.45, 0.2, 1}});
    return steps;
}

}  // namespace velumen
