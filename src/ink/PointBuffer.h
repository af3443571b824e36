// Owned storage for packed ink points. Its byte size need not be a multiple of the point stride: a
// stored tail shorter than one point is kept and ignored. Storage is float-aligned.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace velumen {

class PointBuffer {
  public:
    // No storage at all ("missing"), as opposed to storage of zero bytes.
    PointBuffer() = default;

    static PointBuffer zeroed(std::size_t byteSize) {
        PointBuffer b = uninitialized(byteSize);
        if (byteSize) std::memset(b.floats_.get(), 0, b.wordCount() * sizeof(float));
        return b;
    }
    // Storage whose contents the caller overwrites completely.
    static PointBuffer uninitialized(std::size_t byteSize) {
        PointBuffer b;
        b.present_ = true;
        b.byteSize_ = byteSize;
        if (byteSize) b.floats_ = std::make_unique_for_overwrite<float[]>(b.wordCount());
        return b;
    }
    static PointBuffer copyOf(const void* bytes, std::size_t byteSize) {
        PointBuffer b = uninitialized(byteSize);
        if (byteSize) std::memcpy(b.floats_.get(), bytes, byteSize);
        return b;
    }

    bool isPresent() const { return present_; }
    std::size_t byteSize() const { return byteSize_; }
    float* floats() { return floats_.get(); }
    const float* floats() const { return floats_.get(); }
    std::uint8_t* bytes() { return reinterpret_cast<std::uint8_t*>(floats_.get()); }
    const std::uint8_t* bytes() const { return reinterpret_cast<const std::uint8_t*>(floats_.get()); }

  private:
    std::size_t wordCount() const { return (byteSize_ + sizeof(float) - 1) / sizeof(float); }

    std::unique_ptr<float[]> floats_;
    std::size_t byteSize_ = 0;
    bool present_ = false;
};

}  // namespace velumen
