// MD5 (RFC 1321): the content hash of pictures that come from the sister clipboard. Not for security.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace velumen {

class Md5 {
  public:
    using Digest = std::array<std::uint8_t, 16>;

    // Feeds more bytes; any split of the input gives the same digest.
    void update(std::span<const std::uint8_t> bytes);
    // Pads and returns the digest. The object is spent afterwards.
    Digest finish();

    static Digest digest(std::span<const std::uint8_t> bytes);
    // The digest as 32 upper-case hexadecimal digits.
    static std::string upperHex(std::span<const std::uint8_t> bytes);

  private:
    void block(const std::uint8_t* p);

    std::array<std::uint32_t, 4> state_{0x67452301u, 0xefcdab89u, 0x98badcfeu, 0x10325476u};
    std::array<std::uint8_t, 64> buffer_{};
    std::uint64_t length_ = 0;  // bytes fed so far
};

}  // namespace velumen
