// Stroke sampling figures: the cost of one segment of a long stroke, on an empty page and on a page of a
// million dots. A stroke's cost must not depend on how much ink the page already holds.
#include <cmath>
#include <memory>

#include "bench_support.h"
#include "document/PageInkEditor.h"
#include "ink/StrokeSampler.h"

using namespace velumen;
using namespace velumen::bench;

namespace {

constexpr int kSamples = 2000;

// Draws one 2,000-sample stroke of handwriting speed (skipping rendering) and commits it to the page.
void sampleStroke(benchmark::State& state, const KVSPointSetArrayPtr& ink) {
    auto page = std::make_shared<FoliantPage>();
    page->pointSets = ink;
    PageInkEditor editor;
    editor.setCurrentPage(page);
    ManualClock clock(100);
    const ViewTransform view;
    StrokeSampler sampler(editor, clock, view);
    sampler.currentStrokeThickness = 6;
    for (auto _ : state) {
        sampler.beginStroke({{200, 200}});
        for (int i = 1; i < kSamples; ++i) {
            clock.advance(1.0 / 60);
            const double t = i * 0.05;
            const Point p{200 + i * 0.5 + 30 * std::sin(t), 200 + 40 * std::sin(t * 1.7)};
            sampler.takeMovementSample({p});
            if (!sampler.currentLine) break;
            // Keep the raw line short, as a stroke that is committed in pieces would: only the last
            // three points take part in a segment.
            if (sampler.currentLine->points.size() > 64)
                sampler.currentLine->points.erase(sampler.currentLine->points.begin(),
                                                  sampler.currentLine->points.end() - 3);
        }
        clock.advance(1.0 / 60);
        sampler.endStroke({{1200, 220}}, false);
        state.PauseTiming();
        editor.endUndoGrouping();
        editor.undoManager()->undo();
        editor.undoManager()->removeAllActions();
        state.ResumeTiming();
    }
    state.counters["per_segment"] =
        benchmark::Counter(static_cast<double>(kSamples), benchmark::Counter::kIsIterationInvariantRate |
                                                              benchmark::Counter::kInvert);
}

void SampleStroke_EmptyPage(benchmark::State& state) { sampleStroke(state, std::make_shared<KVSPointSetArray>()); }

void SampleStroke_MillionDotPage(benchmark::State& state) {
    sampleStroke(state, handwritingPage(1000, 1000));
}

}  // namespace

BENCHMARK(SampleStroke_EmptyPage)->Unit(benchmark::kMicrosecond);
BENCHMARK(SampleStroke_MillionDotPage)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    return runAndReport(argc, argv,
                        {
                            {"2,000-sample stroke, page of 1M dots / empty page", "SampleStroke_MillionDotPage",
                             "SampleStroke_EmptyPage", "<= 1.1"},
                        });
}
