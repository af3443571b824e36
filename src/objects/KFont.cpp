#include "objects/KFont.h"

#include "document/KeyedArchive.h"

namespace velumen {

void KFont::encodeWithCoder(KeyedEncoder& coder) const {
    coder.encodeString("fontName", fontName);
    coder.encodeFloat("pointSize", pointSize);
}

std::shared_ptr<KFont> KFont::initWithCoder(const KeyedDecoder& coder) {
    auto font = std::make_shared<KFont>();
    font->fontName = coder.decodeStringForKey("fontName").value_or(std::string());
    font->pointSize = coder.decodeFloatForKey("pointSize");
    return font;
}

}  // namespace velumen
