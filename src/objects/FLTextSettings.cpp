#include "objects/FLTextSettings.h"

#include "document/InkCoding.h"
#include "document/KeyedArchive.h"
#include "objects/ObjectCoding.h"

namespace velumen {

void FLTextSettings::encodeWithCoder(KeyedEncoder& coder) const {
    coder.encodeFloat("fontSize", fontSize);
    coder.encodeString("fontName", fontName);
    coder.encodeInteger("textAlignment", textAlignment);
    encodeColorForKey(coder, "foregroundColor", foregroundColor);
    encodeColorForKey(coder, "backgroundColor", backgroundColor);
}

FLTextSettingsPtr FLTextSettings::initWithCoder(const KeyedDecoder& coder) {
    auto settings = std::make_shared<FLTextSettings>();
    settings->fontSize = coder.decodeFloatForKey("fontSize");
    settings->fontName = coder.decodeStringForKey("fontName").value_or(std::string());
    settings->textAlignment = coder.decodeIntegerForKey("textAlignment");
    settings->foregroundColor =
        decodeColorForKey(coder, "foregroundColor").value_or(settings->foregroundColor);
    settings->backgroundColor =
        decodeColorForKey(coder, "backgroundColor").value_or(settings->backgroundColor);
    return settings;
}

}  // namespace velumen
