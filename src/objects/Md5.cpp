#include "objects/Md5.h"

#include <algorithm>
#include <cstring>

namespace velumen {

namespace {

constexpr std::uint32_t kSines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

constexpr int kShifts[64] = {7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22,
                             5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20,
                             4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23,
                             6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21};

std::uint32_t rotl(std::uint32_t v, int s) {
    return (v << s) | (v >> (32 - s));
}

}  // namespace

void Md5::block(const std::uint8_t* p) {
    std::uint32_t m[16];
    for (int i = 0; i < 16; ++i) {
        m[i] = std::uint32_t{p[4 * i]} | std::uint32_t{p[4 * i + 1]} << 8 |
               std::uint32_t{p[4 * i + 2]} << 16 | std::uint32_t{p[4 * i + 3]} << 24;
    }
    std::uint32_t a = state_[0], b = state_[1], c = state_[2], d = state_[3];
    for (int i = 0; i < 64; ++i) {
        std::uint32_t f;
        int g;
        if (i < 16) {
            f = (b & c) | (~b & d);
            g = i;
        } else if (i < 32) {
            f = (d & b) | (~d & c);
            g = (5 * i + 1) % 16;
        } else if (i < 48) {
            f = b ^ c ^ d;
            g = (3 * i + 5) % 16;
        } else {
            f = c ^ (b | ~d);
            g = (7 * i) % 16;
        }
        const std::uint32_t next = b + rotl(a + f + kSines[i] + m[g], kShifts[i]);
        a = d;
        d = c;
        c = b;
        b = next;
    }
    state_[0] += a;
    state_[1] += b;
    state_[2] += c;
    state_[3] += d;
}

void Md5::update(std::span<const std::uint8_t> bytes) {
    std::size_t used = static_cast<std::size_t>(length_ % 64);
    length_ += bytes.size();
    std::size_t i = 0;
    if (used > 0) {
        const std::size_t take = std::min(bytes.size(), 64 - used);
        std::memcpy(buffer_.data() + used, bytes.data(), take);
        i = take;
        used += take;
        if (used < 64) return;
        block(buffer_.data());
    }
    for (; i + 64 <= bytes.size(); i += 64)
        block(bytes.data() + i);
    if (i < bytes.size()) std::memcpy(buffer_.data(), bytes.data() + i, bytes.size() - i);
}

Md5::Digest Md5::finish() {
    const std::uint64_t bits = length_ * 8;
    std::uint8_t pad[72] = {0x80};
    const std::size_t used = static_cast<std::size_t>(length_ % 64);
    const std::size_t padLength = (used < 56 ? 56 : 120) - used;
    update({pad, padLength});
    std::uint8_t tail[8];
    for (int i = 0; i < 8; ++i)
        tail[i] = static_cast<std::uint8_t>(bits >> (8 * i));
    update(tail);
    Digest out;
    for (int i = 0; i < 4; ++i)
        for (int k = 0; k < 4; ++k)
            out[4 * i + k] = static_cast<std::uint8_t>(state_[i] >> (8 * k));
    return out;
}

Md5::Digest Md5::digest(std::span<const std::uint8_t> bytes) {
    Md5 md5;
    md5.update(bytes);
    return md5.finish();
}

std::string Md5::upperHex(std::span<const std::uint8_t> bytes) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(32);
    for (std::uint8_t byte : digest(bytes)) {
        out.push_back(kDigits[byte >> 4]);
        out.push_back(kDigits[byte & 0xF]);
    }
    return out;
}

}  // namespace velumen
