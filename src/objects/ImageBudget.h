// How large the textures of pictures may be. Memory figures come from the system through one replaceable
// function, so that every threshold can be tried on any machine: with plenty of free memory every picture
// keeps its size; below that, the free memory left after the book is shared out between the pictures to
// come, never below a floor that keeps them recognisable.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace velumen {

struct MemoryFigures {
    std::uint64_t total = 0;      // bytes of physical memory
    std::uint64_t available = 0;  // bytes that can be had without swapping
};

// The machine's figures from the kernel ("MemTotal" and "MemAvailable" of /proc/meminfo); zeros when they
// cannot be read.
MemoryFigures readSystemMemory();
// The source every budget reads; tests replace it and put back the system's with nullptr.
void setMemoryFiguresSource(std::function<MemoryFigures()> source);
MemoryFigures currentMemoryFigures();

class ImageBudget {
  public:
    // One texture of 800000 pixels of 4 bytes: what each picture may take before sizes are limited.
    static constexpr double kBytesPerFullImage = 3200000;
    // What the program itself needs beside the book.
    static constexpr double kReserve = 5000000;

    // The side limit for `count` textures to come, 0 for none: 0 when count x 3200000 + the book's size +
    // 5000000 is below the free memory; the floor (400 with over 1000000000 bytes of memory, else 200)
    // when the free memory is below the book and the reserve; else the side of a square of 4-byte pixels
    // that shares out what is left, floor(sqrt((free - base) / count x 0.25)), at least the floor.
    static float getMaxImageSizeForCount(int count, std::uint64_t dataSize, const MemoryFigures& memory);

    // The limits of the textures of a page of `count` pictures as it is shown, back first. The first three
    // keep the limit of the start (0, or with 6 pictures or more on a machine under 300000000 bytes, the
    // budget of them all); later indexes look at the budget of the pictures still to come again, from 3 to
    // 10 on a machine under 300000000 bytes, from 11 to 25 at or above it, from 26 to 50 at or above
    // 1000000000, from 51 at or above 2000000000, and otherwise keep the last limit. The late checks on
    // large machines are deliberate: the look is costly. Memory is asked anew at each check.
    static std::vector<float> pageTextureLimits(int count, std::uint64_t dataSize,
                                                const std::function<MemoryFigures()>& memory);

    // The largest side of a picture entering a page: 1024, or 2048 on a machine with at least 2049024000
    // bytes of memory.
    static int insertionLimit(const MemoryFigures& memory);
    // The master image's limit: 2048 on a screen of scale 2 or more, else 1024.
    static int maxMasterImageSize(double screenScale) { return screenScale >= 2.0 ? 2048 : 1024; }
};

}  // namespace velumen
