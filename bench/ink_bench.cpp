// Ink model figures: the eraser stamp, copies and merges of a page of a million dots, each against a
// baseline measured in the same run.
#include <cmath>
#include <cstring>
#include <memory>

#include "bench_support.h"
#include "ink/PointKernels.h"

using namespace velumen;
using namespace velumen::bench;

namespace {

constexpr int kRuns = 1000;
constexpr int kDotsPerRun = 1000;

const KVSPointSetArrayPtr& handwriting() {
    static const KVSPointSetArrayPtr page = handwritingPage(kRuns, kDotsPerRun);
    return page;
}

// A 50-unit eraser swept across the writing: every stamp lands on ink.
std::vector<Rect> eraserPath() {
    std::vector<Rect> stamps;
    for (int i = 0; i < 64; ++i) {
        const double x = 100 + i * 20.0, y = 300 + 6.0 * i;
        stamps.push_back({x - 25, y - 25, 50, 50});
    }
    return stamps;
}

void EraserStamp_Handwriting(benchmark::State& state) {
    const auto stamps = eraserPath();
    std::size_t next = stamps.size();
    KVSPointSetArrayPtr page;
    for (auto _ : state) {
        if (next == stamps.size()) {
            state.PauseTiming();
            page = KVSPointSetArray::initWithPointSetArray(*handwriting());
            for (const auto& run : page->pointSets())
                run->centreBounds();
            next = 0;
            state.ResumeTiming();
        }
        benchmark::DoNotOptimize(page->removePointsInCircle(stamps[next++], false));
    }
}

// The same stamps, with the same test written as a plain loop over every point of the page.
void EraserStamp_PlainLoop(benchmark::State& state) {
    const auto stamps = eraserPath();
    std::size_t next = 0;
    const auto& page = *handwriting();
    for (auto _ : state) {
        const auto c = kernels::prepareCircle(stamps[next]);
        next = (next + 1) % stamps.size();
        std::uint64_t touching = 0;
        for (const auto& run : page.pointSets()) {
            const float* p = run->constBuffer();
            for (std::uint64_t i = 0; i < run->length(); ++i, p += 3) {
                if (p[0] < c.rect.left - 128 || p[0] > c.rect.right + 128 || p[1] < c.rect.top - 128 ||
                    p[1] > c.rect.bottom + 128)
                    continue;
                const float dx = p[0] - c.cx, dy = p[1] - c.cy;
                const float reach = c.radius + p[2] * 0.5f;
                if (std::fma(dx, dx, dy * dy) <= reach * reach) ++touching;
            }
        }
        benchmark::DoNotOptimize(touching);
    }
}

void EraserStamp_EveryRunNear(benchmark::State& state) {
    const Point centre{768, 960};
    auto page = ringPage(kRuns, kDotsPerRun, centre);
    for (auto _ : state)
        benchmark::DoNotOptimize(page->removePointsInCircle({743, 935, 50, 50}, false));
}

struct Bytes {
    std::unique_ptr<char[]> from, to;
    std::size_t size;
};

const Bytes& pageBytes() {
    static const Bytes bytes = [] {
        const std::size_t n = pointBytes(*handwriting());
        Bytes b{std::make_unique<char[]>(n), std::make_unique<char[]>(n), n};
        std::memset(b.from.get(), 1, n);
        std::memset(b.to.get(), 2, n);
        return b;
    }();
    return bytes;
}

void Memcpy_PageBytes(benchmark::State& state) {
    const Bytes& b = pageBytes();
    for (auto _ : state) {
        std::memcpy(b.to.get(), b.from.get(), b.size);
        benchmark::ClobberMemory();
    }
}

void DeepCopy(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(KVSPointSetArray::initWithPointSetArray(*handwriting()));
}

void MergedPointSet(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(handwriting()->mergedPointSet());
}

void ConsolidatePointSets(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        KVSPointSetArray page;
        page.addObjectsFromArray(*handwriting());
        // Fresh runs sharing nothing with the source, so that joining them leaves the source intact.
        for (auto& run : page.pointSets())
            run = KVSPointSet::initWithPointSet(*run);
        state.ResumeTiming();
        page.consolidatePointSets();
        benchmark::DoNotOptimize(page.count());
    }
}

}  // namespace

BENCHMARK(EraserStamp_Handwriting)->Unit(benchmark::kMicrosecond);
BENCHMARK(EraserStamp_PlainLoop)->Unit(benchmark::kMicrosecond);
BENCHMARK(EraserStamp_EveryRunNear)->Unit(benchmark::kMicrosecond);
BENCHMARK(Memcpy_PageBytes)->Unit(benchmark::kMicrosecond);
BENCHMARK(DeepCopy)->Unit(benchmark::kMicrosecond);
BENCHMARK(MergedPointSet)->Unit(benchmark::kMicrosecond);
BENCHMARK(ConsolidatePointSets)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    return runAndReport(
        argc, argv,
        {
            {"eraser stamp, 1M dots of handwriting / plain loop", "EraserStamp_Handwriting",
             "EraserStamp_PlainLoop", "<= 0.05"},
            {"eraser stamp, every run near / memcpy of the points", "EraserStamp_EveryRunNear",
             "Memcpy_PageBytes", "<= 2"},
            {"deep copy of the page / memcpy", "DeepCopy", "Memcpy_PageBytes", "<= 2"},
            {"mergedPointSet / memcpy", "MergedPointSet", "Memcpy_PageBytes", "<= 2"},
            {"consolidatePointSets / memcpy", "ConsolidatePointSets", "Memcpy_PageBytes", "<= 2"},
        });
}
