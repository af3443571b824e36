// Archive forms shared by the page objects: fonts, alpha with its floor, and stored bytes. Colours are
// coded with the ink's colour coder (document/InkCoding.h).
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "document/InkCoding.h"
#include "document/KeyedArchive.h"
#include "objects/KFont.h"

namespace velumen {

class KeyedEncoder;
class KeyedDecoder;

// Bytes kept by a model object: shared between copies, compared by identity.
using SharedBytes = std::shared_ptr<const std::vector<std::uint8_t>>;

// A "KFont" object. The archiver knows objects by address: `font` must be a field of the object being
// encoded, never a temporary.
void encodeFont(KeyedEncoder& coder, std::string_view key, const KFont& font);
// The "KFont" under the key. Anything else (nil, absent, an old platform font object, a string) is
// replaced by KFont::kFallbackName at KFont::kFallbackPointSize.
KFont decodeFontOrFallback(const KeyedDecoder& coder, std::string_view key);

// An alpha stored as a float: absent reads as 1.0, and exactly 0 as `lowest`, so that nothing comes back
// invisible.
double decodeAlpha(const KeyedDecoder& coder, std::string_view key, double lowest = 0.1);

// The bytes under the key, copied out of the archive and charged to its budget; nullptr when absent, nil
// or empty.
SharedBytes decodeSharedBytes(const KeyedDecoder& coder, std::string_view key);

// A picture's scale as stored with its bytes: truncated to an integer, at least 1 (NaN reads as 1).
std::int32_t truncatedScale(double scale);

// The eight stored fields that every kind of text box shares: "frame", "alpha", "borderStyle",
// "textAlignment", "text", "font", "foregroundColor", "backgroundColor".
template <class Box>
void encodeTextBoxFields(KeyedEncoder& coder, const Box& box) {
    coder.encodeCGRect("frame", box.frame);
    coder.encodeFloat("alpha", static_cast<float>(box.alpha));
    coder.encodeInteger("borderStyle", box.borderStyle);
    coder.encodeInteger("textAlignment", box.textAlignment);
    coder.encodeString("text", box.text);
    encodeFont(coder, "font", box.font);
    encodeColorForKey(coder, "foregroundColor", box.foregroundColor);
    encodeColorForKey(coder, "backgroundColor", box.backgroundColor);
}

template <class Box>
void decodeTextBoxFields(const KeyedDecoder& coder, Box& box) {
    box.frame = coder.decodeCGRectForKey("frame");
    box.alpha = decodeAlpha(coder, "alpha", Box::kLowestAlpha);
    box.borderStyle = coder.decodeIntegerForKey("borderStyle");
    box.textAlignment = coder.decodeIntegerForKey("textAlignment");
    box.text = coder.decodeStringForKey("text").value_or(std::string());
    box.font = decodeFontOrFallback(coder, "font");
    box.foregroundColor = decodeColorForKey(coder, "foregroundColor").value_or(Box::kDefaultForegroundColor);
    box.backgroundColor = decodeColorForKey(coder, "backgroundColor").value_or(Box::kDefaultBackgroundColor);
}

// A new box of any kind with the given text, frame, font, alpha and border; the rest at its defaults.
template <class Box>
std::shared_ptr<Box> textBoxWithText(std::string_view text, const Rect& frame, const KFont& font, double alpha,
                                     std::int64_t borderStyle) {
    auto box = std::make_shared<Box>();
    box->text = text;
    box->frame = frame;
    box->font = font;
    box->alpha = alpha;
    box->borderStyle = borderStyle;
    return box;
}

template <class Box>
bool sameTextBoxFields(const Box& a, const Box& b) {
    return a.text == b.text && a.frame == b.frame && a.alpha == b.alpha && a.font.isEqual(b.font) &&
           a.foregroundColor.isEqualToColor(b.foregroundColor) &&
           a.backgroundColor.isEqualToColor(b.backgroundColor) && a.borderStyle == b.borderStyle &&
           a.textAlignment == b.textAlignment;
}

}  // namespace velumen
