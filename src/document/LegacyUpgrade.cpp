#include "document/LegacyUpgrade.h"

#include <cstring>

namespace velumen {

KVSPointSetArrayPtr convertKPointSetArrayToKVSPointSetArray(const KPointSetArray& legacy) {
    auto result = std::make_shared<KVSPointSetArray>();
    result->pointSets().reserve(legacy.count());
    for (const auto& run : legacy.pointSets()) {
        if (!run || run->length() == 0) continue;
        const std::uint64_t n = run->length();
        const float size = run->pointSize() * 0.5f;
        // Every byte is overwritten below, so the buffer needs no zero fill.
        PointBuffer points = PointBuffer::uninitialized(n * KVSPointSet::kStride);
        const float* in = run->constBuffer();
        float* out = points.floats();
        for (std::uint64_t i = 0; i < n;
             ++i, in += KPointSet::kFloatsPerPoint, out += KVSPointSet::kFloatsPerPoint) {
            // Bytes, not float assignments: a signalling NaN in the file stays bit for bit what it was.
            std::memcpy(out, in, KPointSet::kStride);
            out[2] = size;
        }
        auto converted = KVSPointSet::initWithData(std::move(points));
        converted->setColor(run->color());
        result->addObject(std::move(converted));
    }
    return result;
}

}  // namespace velumen
