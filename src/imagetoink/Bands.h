// Work on a picture split into bands of rows, one thread a band: the calling thread takes the first.
#pragma once

#include <algorithm>
#include <cstddef>
#include <thread>
#include <vector>

namespace velumen::bands {

// Pictures below this many pixels a thread are worked on by fewer threads (the smallest by the caller alone).
inline constexpr std::size_t kPixelsPerThread = 1 << 18;
inline constexpr unsigned kMaxThreads = 8;

// The number of bands for a picture: `asked`, or with 0 the machine's threads as far as the picture is large
// enough for them; never more bands than rows.
inline unsigned threadCountFor(std::size_t pixels, int rows, unsigned asked) {
    unsigned n = asked;
    if (n == 0) {
        n = std::max(1u, std::thread::hardware_concurrency());
        n = std::min<unsigned>(n, static_cast<unsigned>(pixels / kPixelsPerThread) + 1);
    }
    n = std::min({n, kMaxThreads, static_cast<unsigned>(std::max(rows, 1))});
    return std::max(1u, n);
}

// The first row of band k of `count` over `rows` rows.
inline int bandStart(int rows, unsigned k, unsigned count) {
    return static_cast<int>(static_cast<long long>(rows) * k / count);
}

// Runs fn(band, firstRow, endRow) for each of `count` bands of [0, rows), and returns when all are done.
template <class Fn>
void forEachBand(int rows, unsigned count, const Fn& fn) {
    if (count <= 1) {
        fn(0u, 0, rows);
        return;
    }
    std::vector<std::thread> workers;
    workers.reserve(count - 1);
    for (unsigned k = 1; k < count; ++k)
        workers.emplace_back([&fn, k, from = bandStart(rows, k, count), to = bandStart(rows, k + 1, count)] {
            fn(k, from, to);
        });
    fn(0u, 0, bandStart(rows, 1, count));
    for (std::thread& t : workers)
        t.join();
}

}  // namespace velumen::bands
