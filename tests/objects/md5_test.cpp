#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "objects/Md5.h"

using namespace velumen;

namespace {

std::span<const std::uint8_t> bytesOf(std::string_view s) {
    return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()};
}

std::vector<std::uint8_t> pattern(std::size_t n) {
    std::vector<std::uint8_t> out(n);
    for (std::size_t i = 0; i < n; ++i)
        out[i] = static_cast<std::uint8_t>(i * 7 + 3);
    return out;
}

}  // namespace

TEST(Md5, ReferenceVectors) {
    // The test suite of RFC 1321.
    EXPECT_EQ(Md5::upperHex(bytesOf("")), "D41D8CD98F00B204E9800998ECF8427E");
    EXPECT_EQ(Md5::upperHex(bytesOf("a")), "0CC175B9C0F1B6A831C399E269772661");
    EXPECT_EQ(Md5::upperHex(bytesOf("abc")), "900150983CD24FB0D6963F7D28E17F72");
    EXPECT_EQ(Md5::upperHex(bytesOf("message digest")), "F96B697D7CB7938D525A2F31AAF161D0");
    EXPECT_EQ(Md5::upperHex(bytesOf("abcdefghijklmnopqrstuvwxyz")), "C3FCD3D76192E4007DFB496CCA67E13B");
    EXPECT_EQ(Md5::upperHex(bytesOf("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789")),
              "D174AB98D277D9F5A5611C2C9F419D9F");
    EXPECT_EQ(Md5::upperHex(bytesOf(
                  "12345678901234567890123456789012345678901234567890123456789012345678901234567890")),
              "57EDF4A22BE3C955AC49DA2E2107B67A");
    const std::vector<std::uint8_t> million(1000000, 'a');
    EXPECT_EQ(Md5::upperHex(million), "7707D6AE4E027C70EEA2A935C2296F21");
}

TEST(Md5, PaddingBoundariesAndSplitInput) {
    // Lengths around the 56-byte padding limit and the 64-byte block, from an independent implementation.
    const std::pair<std::size_t, std::string_view> known[] = {
        {55, "52C0E574E1198DE5FE3F8F11440DCB1B"},  {56, "46C9907FC908EE68B1E7B8E71286A518"},
        {63, "A62F6D59E837867693F042F5B8F5A236"},  {64, "7160B8FB5E9E4023D549C3971FBAEEAD"},
        {65, "70BD662E7AEFBDA85A0F7244167B7897"},  {119, "E84905D4214F4D1CA56C2CDCC152B143"},
        {120, "E3EB5A6C8669EA01A8C185B8ABC8A5DC"},
    };
    for (const auto& [length, hex] : known) {
        const std::vector<std::uint8_t> input = pattern(length);
        EXPECT_EQ(Md5::upperHex(input), hex) << length;
        const Md5::Digest whole = Md5::digest(input);
        // Fed in three pieces at every pair of cut points: the same digest.
        for (std::size_t a = 0; a <= length; a += 3) {
            for (std::size_t b = a; b <= length; b += 5) {
                Md5 md5;
                md5.update(std::span(input).subspan(0, a));
                md5.update(std::span(input).subspan(a, b - a));
                md5.update(std::span(input).subspan(b));
                ASSERT_EQ(md5.finish(), whole) << length << " cut at " << a << ", " << b;
            }
        }
    }
}
