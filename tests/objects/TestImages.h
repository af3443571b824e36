// Pictures made at test time for the page-object tests.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "objects/KImage.h"

namespace velumen::test {

inline std::uint32_t argb(std::uint32_t a, std::uint32_t r, std::uint32_t g, std::uint32_t b) {
    return a << 24 | r << 16 | g << 8 | b;
}

// Opaque: the left half red, the right half blue.
inline KImage twoColourImage(int width, int height, double scale = 1.0) {
    KImage image;
    image.width = width;
    image.height = height;
    image.scale = scale;
    image.pixels.resize(static_cast<std::size_t>(width) * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.pixels[static_cast<std::size_t>(y) * width + x] =
                x < width / 2 ? argb(255, 255, 0, 0) : argb(255, 0, 0, 255);
    return image;
}

// Each channel of two pixels within `tolerance`.
inline bool near(std::uint32_t a, std::uint32_t b, int tolerance) {
    for (int shift = 0; shift < 32; shift += 8) {
        const int ca = static_cast<int>(a >> shift & 0xFF);
        const int cb = static_cast<int>(b >> shift & 0xFF);
        if (std::abs(ca - cb) > tolerance) return false;
    }
    return true;
}

}  // namespace velumen::test
