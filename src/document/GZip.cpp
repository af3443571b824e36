#include "document/GZip.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

namespace velumen {

namespace {

// zlib counts in 32-bit units; feed it at most this much at a time.
constexpr std::size_t kChunkLimit = std::numeric_limits<uInt>::max();

}  // namespace

std::optional<std::vector<std::uint8_t>> gzipInflate(std::span<const std::uint8_t> input,
                                                     std::size_t maxOutput, std::size_t* producedOut) {
    if (producedOut) *producedOut = 0;
    if (input.empty()) return std::vector<std::uint8_t>{};
    const std::size_t n = input.size();
    // A stream of one byte cannot be whole; the buffer could not grow either.
    if (n / 2 == 0) return std::nullopt;

    z_stream stream{};
    // 15 + 32: a window of 32 KiB, and whichever header, gzip or zlib, the stream has.
    if (inflateInit2(&stream, 15 + 32) != Z_OK) return std::nullopt;

    // Start at one and a half times the input and grow geometrically: the result is the whole output
    // either way, and large ratios cost no quadratic copying.
    std::vector<std::uint8_t> out(std::min(n + n / 2, maxOutput));
    std::size_t produced = 0;
    std::size_t consumed = 0;
    int status = Z_OK;
    while (status == Z_OK) {
        if (produced == out.size()) {
            if (out.size() >= maxOutput) break;
            out.resize(std::min(std::max(out.size() * 2, out.size() + n / 2), maxOutput));
        }
        const std::size_t inChunk = std::min(n - consumed, kChunkLimit);
        const std::size_t outChunk = std::min(out.size() - produced, kChunkLimit);
        stream.next_in = const_cast<Bytef*>(input.data() + consumed);
        stream.avail_in = static_cast<uInt>(inChunk);
        stream.next_out = out.data() + produced;
        stream.avail_out = static_cast<uInt>(outChunk);
        status = inflate(&stream, Z_SYNC_FLUSH);
        consumed += inChunk - stream.avail_in;
        produced += outChunk - stream.avail_out;
        // No progress at all with room on both sides means the stream cannot go on.
        if (status == Z_OK && inChunk == stream.avail_in && outChunk == stream.avail_out) break;
    }
    if (producedOut) *producedOut = produced;
    const bool ended = status == Z_STREAM_END;
    if (inflateEnd(&stream) != Z_OK || !ended) return std::nullopt;
    out.resize(produced);
    out.shrink_to_fit();
    return out;
}

std::optional<std::vector<std::uint8_t>> gzipDeflate(std::span<const std::uint8_t> input) {
    if (input.empty()) return std::vector<std::uint8_t>{};
    z_stream stream{};
    // Default level, deflate, 15 + 16: a gzip header, memory level 8, default strategy.
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return std::nullopt;
    std::vector<std::uint8_t> out(std::max<std::size_t>(
        16384, deflateBound(&stream, static_cast<uLong>(std::min(input.size(), kChunkLimit)))));
    std::size_t produced = 0;
    std::size_t consumed = 0;
    int status = Z_OK;
    while (status != Z_STREAM_END) {
        if (produced == out.size()) out.resize(out.size() + std::max<std::size_t>(16384, out.size() / 2));
        const std::size_t inChunk = std::min(input.size() - consumed, kChunkLimit);
        const std::size_t outChunk = std::min(out.size() - produced, kChunkLimit);
        stream.next_in = const_cast<Bytef*>(input.data() + consumed);
        stream.avail_in = static_cast<uInt>(inChunk);
        stream.next_out = out.data() + produced;
        stream.avail_out = static_cast<uInt>(outChunk);
        const bool last = consumed + inChunk == input.size();
        status = deflate(&stream, last ? Z_FINISH : Z_NO_FLUSH);
        consumed += inChunk - stream.avail_in;
        produced += outChunk - stream.avail_out;
        if (status == Z_STREAM_ERROR) break;
    }
    deflateEnd(&stream);
    if (status != Z_STREAM_END) return std::nullopt;
    out.resize(produced);
    return out;
}

}  // namespace velumen
