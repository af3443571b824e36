// The gzip and zlib streams that older books used for their point data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace velumen {

// Inflates a gzip or zlib stream (the header is detected). An empty input comes back empty. A stream
// that is corrupt, truncated, or would inflate to more than maxOutput bytes gives nothing. `produced`, when
// given, receives the number of bytes inflated, whether the stream was whole or not.
std::optional<std::vector<std::uint8_t>> gzipInflate(std::span<const std::uint8_t> input,
                                                     std::size_t maxOutput = std::size_t{1} << 31,
                                                     std::size_t* produced = nullptr);

// Deflates into a gzip stream at the default level. An empty input comes back empty.
std::optional<std::vector<std::uint8_t>> gzipDeflate(std::span<const std::uint8_t> input);

}  // namespace velumen
