// A picture as the conversion into ink reads it: 4 bytes a pixel in the order red, green, blue, alpha,
// alpha premultiplied, 8 bits each, rows top down with no padding (4 x width bytes a row).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velumen {

struct RgbaImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> bytes;

    RgbaImage() = default;
    // A picture of the given size, every byte `fill`; no pixels for a size that is not positive.
    RgbaImage(int w, int h, std::uint8_t fill = 0)
        : width(w > 0 && h > 0 ? w : 0),
          height(w > 0 && h > 0 ? h : 0),
          bytes(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4, fill) {}

    bool isEmpty() const { return width <= 0 || height <= 0; }
    std::size_t pixelCount() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
    std::uint8_t* pixel(int x, int y) {
        return bytes.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + x) * 4;
    }
    const std::uint8_t* pixel(int x, int y) const {
        return bytes.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + x) * 4;
    }
};

}  // namespace velumen
