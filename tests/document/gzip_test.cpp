#include <gtest/gtest.h>
#include <zlib.h>

#include <numeric>

#include "document/GZip.h"

using namespace velumen;

namespace {

std::vector<std::uint8_t> sample(std::size_t n) {
    std::vector<std::uint8_t> bytes(n);
    for (std::size_t i = 0; i < n; ++i)
        bytes[i] = static_cast<std::uint8_t>((i * 7919) >> 5);
    return bytes;
}

}  // namespace

TEST(GZip, InflatesGzipAndZlibStreamsWhole) {
    const auto points = sample(100000);
    const auto gz = gzipDeflate(points);
    ASSERT_TRUE(gz);
    EXPECT_EQ(gz->at(0), 0x1f);
    EXPECT_EQ(gz->at(1), 0x8b);
    EXPECT_EQ(gzipInflate(*gz), points);

    // A zlib stream made by zlib's own one-shot call.
    std::vector<std::uint8_t> z(compressBound(points.size()));
    uLongf zsize = z.size();
    ASSERT_EQ(compress(z.data(), &zsize, points.data(), points.size()), Z_OK);
    z.resize(zsize);
    EXPECT_EQ(gzipInflate(z), points);

    // Output hundreds of times the input: the buffer grows many times and all of it comes back.
    const std::vector<std::uint8_t> zeros(4 << 20, 0);
    const auto packed = gzipDeflate(zeros);
    ASSERT_TRUE(packed);
    EXPECT_LT(packed->size() * 100, zeros.size());
    EXPECT_EQ(gzipInflate(*packed), zeros);

    EXPECT_EQ(gzipInflate({}), std::vector<std::uint8_t>{});
    EXPECT_EQ(gzipDeflate({}), std::vector<std::uint8_t>{});
}

TEST(GZip, BrokenStreamsGiveNothing) {
    const auto gz = *gzipDeflate(sample(50000));
    EXPECT_FALSE(gzipInflate(std::span(gz).first(gz.size() / 2)));
    auto corrupt = gz;
    corrupt[gz.size() / 2] ^= 0xFF;
    corrupt[gz.size() / 2 + 1] ^= 0x5A;
    EXPECT_FALSE(gzipInflate(corrupt));
    const std::vector<std::uint8_t> one{0x78};
    EXPECT_FALSE(gzipInflate(one));
    const auto plain = sample(1000);
    EXPECT_FALSE(gzipInflate(plain));
    // A bomb stops at the cap instead of filling memory.
    const auto bomb = *gzipDeflate(std::vector<std::uint8_t>(8 << 20, 0));
    EXPECT_FALSE(gzipInflate(bomb, 1 << 20));
    EXPECT_TRUE(gzipInflate(bomb, 8 << 20));
}
