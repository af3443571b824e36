#include "objects/ObjectCoding.h"

#include <cmath>
#include <limits>

#include "document/KeyedArchive.h"

namespace velumen {

void encodeFont(KeyedEncoder& coder, std::string_view key, const KFont& font) {
    coder.encodeObject(key, &font, {KFont::kClassName, "NSObject"},
                       [](const KFont& f, KeyedEncoder& out) { f.encodeWithCoder(out); });
}

KFont decodeFontOrFallback(const KeyedDecoder& coder, std::string_view key) {
    if (coder.classNameForKey(key) == KFont::kClassName) {
        if (const std::shared_ptr<KFont> font = coder.decodeObjectForKey<KFont>(
                key, {KFont::kClassName}, [](const KeyedDecoder& in) { return KFont::initWithCoder(in); }))
            return *font;
    }
    return KFont::initWithFontName(KFont::kFallbackName, KFont::kFallbackPointSize);
}

double decodeAlpha(const KeyedDecoder& coder, std::string_view key, double lowest) {
    if (!coder.containsValueForKey(key)) return 1.0;
    const double alpha = coder.decodeFloatForKey(key);
    return alpha == 0 ? lowest : alpha;
}

SharedBytes decodeSharedBytes(const KeyedDecoder& coder, std::string_view key) {
    const std::optional<std::span<const std::uint8_t>> bytes = coder.decodeDataForKey(key);
    if (!bytes || bytes->empty()) return nullptr;
    coder.unarchiver().chargeBytes(bytes->size());
    return std::make_shared<const std::vector<std::uint8_t>>(bytes->begin(), bytes->end());
}

std::int32_t truncatedScale(double scale) {
    if (!(scale >= 1)) return 1;
    if (scale >= static_cast<double>(std::numeric_limits<std::int32_t>::max()))
        return std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(scale);
}

}  // namespace velumen
