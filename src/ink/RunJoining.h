// Joining the points of neighbouring ink runs, shared by the run lists of every point layout. A run type
// here offers length(), data() (a PointBuffer) and setData(PointBuffer); kStride is its bytes per point.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "ink/PointBuffer.h"

namespace velumen {

// The points of all runs one after the other, in a buffer of their own.
template <class RunPtr>
PointBuffer concatenatedPoints(const std::vector<RunPtr>& runs, std::size_t stride) {
    std::uint64_t total = 0;
    for (const auto& run : runs)
        total += run->length();
    // Every byte is overwritten below, so the buffer needs no zero fill.
    PointBuffer joined = PointBuffer::uninitialized(total * stride);
    std::size_t offset = 0;
    for (const auto& run : runs) {
        const std::size_t bytes = run->length() * stride;
        if (bytes) std::memcpy(joined.bytes() + offset, run->data().bytes(), bytes);
        offset += bytes;
    }
    return joined;
}

// Joins each stretch of neighbours that `joins(base, run)` accepts into the stretch's first run, and drops
// the others from the list. One allocation per stretch gives the same points as appending the runs to the
// base one by one: the base met again inside its own stretch contributes all it has gathered so far.
template <class RunPtr, class Joins>
void consolidateRuns(std::vector<RunPtr>& runs, std::size_t stride, Joins joins) {
    if (runs.size() < 2) return;
    std::vector<RunPtr> kept;
    kept.reserve(runs.size());
    std::size_t i = 0;
    while (i < runs.size()) {
        const RunPtr& base = runs[i];
        std::size_t end = i + 1;
        std::uint64_t total = base->length();
        while (end < runs.size() && joins(*base, *runs[end])) {
            total += runs[end] == base ? total : runs[end]->length();
            ++end;
        }
        if (end > i + 1) {
            PointBuffer joined = PointBuffer::uninitialized(total * stride);
            std::size_t offset = base->length() * stride;
            if (offset) std::memcpy(joined.bytes(), base->data().bytes(), offset);
            for (std::size_t k = i + 1; k < end; ++k) {
                if (runs[k] == base) {
                    // [0, offset) into [offset, 2 * offset): no overlap.
                    if (offset) std::memcpy(joined.bytes() + offset, joined.bytes(), offset);
                    offset *= 2;
                    continue;
                }
                const std::size_t bytes = runs[k]->length() * stride;
                if (bytes) std::memcpy(joined.bytes() + offset, runs[k]->data().bytes(), bytes);
                offset += bytes;
            }
            base->setData(std::move(joined));
        }
        kept.push_back(base);
        i = end;
    }
    runs = std::move(kept);
}

}  // namespace velumen
