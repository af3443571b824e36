#include "shell/TouchReplay.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "shell/FoliantViewController.h"

namespace velumen {

void choosePen(FoliantViewController& editor, const ScriptPen& pen) {
    // Without a width, the one last used with the pen, as the palette offers it.
    EditorSession& session = editor.session();
    session.setPenTypeIndex(pen.index, pen.width);
    if (pen.color) session.sampler.setPenColor(*pen.color, session.globals.penTables());
}

void setZoomAboutMiddle(FoliantViewController& editor, float zoom) {
    EditorViewport& viewport = editor.session().viewport;
    const Point middle{viewport.eaglFrameSize.width / 2, viewport.eaglFrameSize.height / 2};
    // Within the limits first, so that the page point under the middle stays there, as with the wheel.
    const float limited = std::clamp(zoom, viewport.minZoomFactor, viewport.maxZoomFactor);
    viewport.setCanvasPoint(viewport.eaglPointFromViewPoint(middle), middle, limited);
    viewport.updateInkPanDelta();
    viewport.resetViewPanDelta();
    editor.applyEffects({.pageMoved = true});
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
    playTouchScript(script, editor.view().router, clock, hooks);
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

std::vector<ReplayStep> demoSteps(Size view, Rect page) {
    const double pi = std::numbers::pi;
    // A point of the page by its fractions of the page's width and height.
    auto on = [page](double fx, double fy) { return Point{page.x + fx * page.width, page.y + fy * page.height}; };
    // A length as a fraction of the page's width, for round shapes.
    const double aspect = page.height > 0 ? page.width / page.height : 1.0;
    auto none = [](double) { return 0.0; };
    std::vector<ReplayStep> steps;
    // The fountain pen: a line of handwriting-like loops along the top.
    steps.push_back({1, stroke(view, 0.0, 120, TouchType::Finger,
                               [&](double s) {
                                   const double a = s * 14 * pi;
                                   return on(0.12 + 0.76 * s - 0.04 * std::sin(a), 0.14 + 0.035 * std::cos(a));
                               },
                               none),
                     KColor{0.05, 0.15, 0.55, 1}});
    // The pencil from a stylus, pressing harder as it goes: a spiral opening out.
    steps.push_back({2, stroke(view, 3.0, 150, TouchType::Stylus,
                               [&](double s) {
                                   const double r = 0.03 + 0.13 * s, a = s * 6 * pi;
                                   return on(0.3 + r * std::cos(a), 0.4 + r * aspect * std::sin(a));
                               },
                               [](double s) { return 0.1 + 0.85 * s; }),
                     KColor{0.2, 0.2, 0.2, 1}});
    // The brush: a zigzag.
    steps.push_back({3, stroke(view, 7.0, 80, TouchType::Finger,
                               [&](double s) {
                                   const double tooth = std::fabs(std::fmod(s * 4, 1.0) - 0.5) * 2;
                                   return on(0.58 + 0.32 * s, 0.3 + 0.16 * tooth);
                               },
                               none),
                     KColor{0.75, 0.1, 0.1, 1}});
    // The hilighter across the middle and over the top line.
    steps.push_back({4, stroke(view, 10.0, 50, TouchType::Finger, [&](double s) { return on(0.12 + 0.76 * s, 0.62); },
                               none),
                     KColor{1, 0.85, 0, 1}});
    steps.push_back({4, stroke(view, 12.0, 50, TouchType::Finger, [&](double s) { return on(0.1 + 0.5 * s, 0.14); },
                               none),
                     KColor{0.55, 0.95, 0.4, 1}});
    // The fountain pen again: a five-pointed star below.
    steps.push_back({1, stroke(view, 14.0, 150, TouchType::Finger,
                               [&](double s) {
                                   // The star's five edges, corner to corner, two corners on at a time.
                                   const double edge = std::min(4.999, s * 5);
                                   const int k = int(edge);
                                   const double f = edge - k;
                                   auto corner = [&](int n) {
                                       const double a = -pi / 2 + n * 4 * pi / 5;
                                       return Point{0.5 + 0.16 * std::cos(a), 0.82 + 0.16 * aspect * std::sin(a)};
                                   };
                                   const Point from = corner(k), to = corner(k + 1);
                                   return on(from.x + f * (to.x - from.x), from.y + f * (to.y - from.y));
                               },
                               none),
                     KColor{0.1, 0.45, 0.2, 1}});
    // The eraser: a cut down through the middle line.
    steps.push_back({0, stroke(view, 18.0, 30, TouchType::Finger, [&](double s) { return on(0.72, 0.56 + 0.12 * s); },
                               none),
                     std::nullopt});
    return steps;
}

}  // namespace velumen
