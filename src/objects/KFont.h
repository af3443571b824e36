// The font of a text box as it is stored: a face name and a point size, with no platform font behind it.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace velumen {

class KeyedEncoder;
class KeyedDecoder;

struct KFont {
    static constexpr std::string_view kClassName = "KFont";
    // What a stored font that is not a KFont (an old file's platform font) reads as.
    static constexpr std::string_view kFallbackName = "Helvetica";
    static constexpr float kFallbackPointSize = 38.0f;

    float pointSize = 0;
    std::string fontName;  // a face name, not a family name

    static KFont initWithFontName(std::string_view name, float size) { return {size, std::string(name)}; }
    // The same face at another size.
    KFont fontWithSize(float size) const { return {size, fontName}; }

    bool isEqual(const KFont& other) const {
        return pointSize == other.pointSize && fontName == other.fontName;
    }

    void encodeWithCoder(KeyedEncoder& coder) const;
    static std::shared_ptr<KFont> initWithCoder(const KeyedDecoder& coder);
};

}  // namespace velumen
