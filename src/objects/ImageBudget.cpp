#include "objects/ImageBudget.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <string>

namespace velumen {

namespace {

std::function<MemoryFigures()>& memorySource() {
    static std::function<MemoryFigures()> source;
    return source;
}

// "Name:   12345 kB" into bytes.
bool readField(const std::string& line, const char* name, std::uint64_t& bytes) {
    const std::size_t n = std::strlen(name);
    if (line.compare(0, n, name) != 0) return false;
    std::size_t i = n;
    while (i < line.size() && line[i] == ' ')
        ++i;
    std::uint64_t kib = 0;
    const auto [end, ec] = std::from_chars(line.data() + i, line.data() + line.size(), kib);
    if (ec != std::errc()) return false;
    (void)end;
    bytes = kib * 1024;
    return true;
}

}  // namespace

MemoryFigures readSystemMemory() {
    MemoryFigures figures;
    std::ifstream in("/proc/meminfo");
    std::string line;
    while (std::getline(in, line)) {
        readField(line, "MemTotal:", figures.total);
        readField(line, "MemAvailable:", figures.available);
    }
    return figures;
}

void setMemoryFiguresSource(std::function<MemoryFigures()> source) {
    memorySource() = std::move(source);
}

MemoryFigures currentMemoryFigures() {
    return memorySource() ? memorySource()() : readSystemMemory();
}

float ImageBudget::getMaxImageSizeForCount(int count, std::uint64_t dataSize, const MemoryFigures& memory) {
    const float floorSide = memory.total > 1000000000 ? 400.0f : 200.0f;
    const double free = double(float(memory.available));
    const double base = double(float(double(dataSize) + kReserve));
    const double n = count > 0 ? double(count) : 1.0;
    if (n * kBytesPerFullImage + base < free) return 0;
    if (free < base) return floorSide;
    const float side = float(std::floor(std::sqrt((free - base) / n * 0.25)));
    return side < floorSide ? floorSide : side;
}

std::vector<float> ImageBudget::pageTextureLimits(int count, std::uint64_t dataSize,
                                                  const std::function<MemoryFigures()>& memory) {
    std::vector<float> limits;
    if (count <= 0) return limits;
    const std::uint64_t total = memory().total;
    float limit = 0;
    if (total < 300000000 && count >= 6) limit = getMaxImageSizeForCount(count, dataSize, memory());
    for (int i = 0; i < count; ++i) {
        const bool recompute = (i >= 3 && i <= 10 && total < 300000000) ||
                               (i >= 11 && i <= 25 && total >= 300000000) ||
                               (i >= 26 && i <= 50 && total >= 1000000000) || (i >= 51 && total >= 2000000000);
        if (recompute) limit = getMaxImageSizeForCount(count - i, dataSize, memory());
        limits.push_back(limit);
    }
    return limits;
}

int ImageBudget::insertionLimit(const MemoryFigures& memory) {
    return memory.total >= 2049024000 ? 2048 : 1024;
}

}  // namespace velumen
