// Shared pieces of the benchmarks: synthetic pages of handwriting, and a main that prints every figure
// with its ratio to the baseline measured in the same run.
#pragma once

#include <benchmark/benchmark.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ink/KVSPointSetArray.h"
#include "ink/MemoryPolicy.h"

namespace velumen::bench {

// A page of `runs` strokes of `dotsPerRun` dots each, written in lines like text: each stroke is a smooth
// wiggle about 60 x 40 units in size, dots 0.75 units apart with sizes around 6. Colours change every
// `colourStretch` strokes.
inline KVSPointSetArrayPtr handwritingPage(int runs, int dotsPerRun, int colourStretch = 10,
                                           unsigned seed = 1) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    auto page = std::make_shared<KVSPointSetArray>();
    const int perLine = 25;
    for (int r = 0; r < runs; ++r) {
        const float ox = 40.0f + static_cast<float>(r % perLine) * 58.0f;
        const float oy = 40.0f + static_cast<float>((r / perLine) % 40) * 46.0f;
        auto run = page->addPointSetWithSize(static_cast<std::uint64_t>(dotsPerRun));
        const float phase = unit(rng) * 6.28f;
        const float freq = 0.02f + unit(rng) * 0.03f;
        float* p = run->buffer();
        for (int i = 0; i < dotsPerRun; ++i) {
            const float t = static_cast<float>(i);
            p[3 * i] = ox + 25.0f + 25.0f * std::sin(t * freq * 0.37f + phase);
            p[3 * i + 1] = oy + 18.0f + 16.0f * std::sin(t * freq + phase * 1.3f);
            p[3 * i + 2] = 4.0f + 4.0f * unit(rng);
        }
        const double shade = static_cast<double>((r / colourStretch) % 3) * 0.25;
        run->setColor({shade, 0.1, 0.3, 1.0});
    }
    return page;
}

// `runs` strokes whose dots all lie in a ring 40 to 150 units around `centre`: inside the 128-unit reach of a
// 50-unit stamp there, yet never touching it.
inline KVSPointSetArrayPtr ringPage(int runs, int dotsPerRun, Point centre) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> angle(0.0f, 6.2831853f);
    std::uniform_real_distribution<float> radius(40.0f, 150.0f);
    auto page = std::make_shared<KVSPointSetArray>();
    for (int r = 0; r < runs; ++r) {
        auto run = page->addPointSetWithSize(static_cast<std::uint64_t>(dotsPerRun));
        float* p = run->buffer();
        for (int i = 0; i < dotsPerRun; ++i) {
            const float a = angle(rng), d = radius(rng);
            p[3 * i] = static_cast<float>(centre.x) + d * std::cos(a);
            p[3 * i + 1] = static_cast<float>(centre.y) + d * std::sin(a);
            p[3 * i + 2] = 2.0f;
        }
    }
    return page;
}

inline std::size_t pointBytes(const KVSPointSetArray& page) {
    std::size_t bytes = 0;
    for (const auto& run : page.pointSets())
        bytes += run->length() * KVSPointSet::kStride;
    return bytes;
}

// The baseline of the copies and encodes: a memcpy of `size` bytes per iteration into a buffer of its own.
inline void memcpyBaseline(benchmark::State& state, const std::uint8_t* from, std::size_t size) {
    std::vector<std::uint8_t> to(size);
    for (auto _ : state) {
        std::memcpy(to.data(), from, size);
        benchmark::ClobberMemory();
    }
    state.counters["MB"] = static_cast<double>(size) / 1e6;
}

// Collects each benchmark's time per iteration while printing as usual.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred)
                times_[run.benchmark_name()] = run.GetAdjustedRealTime();
        }
    }
    double time(const std::string& name) const {
        auto it = times_.find(name);
        return it == times_.end() ? std::nan("") : it->second;
    }

  private:
    std::map<std::string, double> times_;
};

// One object of T for the whole run, made on first use; the program lets it go (reset) before the
// application object, which the object's widgets and GL need.
template <class T>
std::unique_ptr<T>& sharedSlot() {
    static std::unique_ptr<T> slot;
    return slot;
}
template <class T>
T& sharedObject() {
    if (!sharedSlot<T>()) sharedSlot<T>() = std::make_unique<T>();
    return *sharedSlot<T>();
}

// Collects each benchmark's counters, by function and arguments ("BM_Name/0:counter"), while printing as
// usual.
class CounterReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
            for (const auto& [name, counter] : run.counters)
                values_[run.run_name.function_name + "/" + run.run_name.args + ":" + name] = counter.value;
        }
    }
    double value(const std::string& key) const {
        const auto it = values_.find(key);
        return it == values_.end() ? std::nan("") : it->second;
    }

  private:
    std::map<std::string, double> values_;
};

struct Ratio {
    std::string figure;
    std::string measured;
    std::string baseline;
    std::string goal;  // e.g. "<= 0.05"
};

inline std::string fixed(double v, int precision) {
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::fixed, precision);
    return std::string(buf, r.ptr);
}

// Prints the table of figures: each measured value (looked up by `value`), its baseline, their ratio and
// the goal. A figure whose run is missing is left out.
template <class Lookup>
void printRatios(const Lookup& value, const std::vector<Ratio>& ratios) {
    std::printf("\n%-58s %12s %12s %8s  %s\n", "figure", "measured", "baseline", "ratio", "goal");
    for (const Ratio& r : ratios) {
        const double m = value(r.measured), b = value(r.baseline);
        if (std::isnan(m) || std::isnan(b)) continue;
        std::printf("%-58s %12s %12s %8s  %s\n", r.figure.c_str(), fixed(m, 1).c_str(), fixed(b, 1).c_str(),
                    fixed(m / b, 3).c_str(), r.goal.c_str());
    }
}

// The exit status of a benchmark that needs a GL surface: without one its figures are missing, which under
// CI (CI=true) is a failure, not a skip.
inline int exitStatusWithSurface(bool surfaceMissing) {
    const char* ci = std::getenv("CI");
    return surfaceMissing && ci && std::string_view(ci) == "true" ? 1 : 0;
}

inline int runAndReport(int argc, char** argv, const std::vector<Ratio>& ratios) {
    // Measure the notebook as it runs.
    keepFreedMemoryForReuse();
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printRatios([&](const std::string& name) { return reporter.time(name); }, ratios);
    benchmark::Shutdown();
    return 0;
}

}  // namespace velumen::bench
