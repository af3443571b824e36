#include "objects/FoliantTextBox.h"

#include "document/InkCoding.h"
#include "document/KeyedArchive.h"
#include "objects/ObjectCoding.h"

namespace velumen {

FoliantTextBoxPtr FoliantTextBox::foliantTextBoxWithText(std::string_view text, const Rect& frame,
                                                         const KFont& font, double alpha,
                                                         std::int64_t borderStyle) {
    auto box = std::make_shared<FoliantTextBox>();
    box->text = text;
    box->frame = frame;
    box->font = font;
    box->alpha = alpha;
    box->borderStyle = borderStyle;
    return box;
}

void FoliantTextBox::copyFromTextBox(const FoliantTextBox& other) {
    *this = other;
}

FoliantTextBoxPtr FoliantTextBox::copy() const {
    return std::make_shared<FoliantTextBox>(*this);
}

bool FoliantTextBox::isEqualToTextBox(const FoliantTextBox& other) const {
    return text == other.text && frame == other.frame && alpha == other.alpha && font.isEqual(other.font) &&
           foregroundColor.isEqualToColor(other.foregroundColor) &&
           backgroundColor.isEqualToColor(other.backgroundColor) && borderStyle == other.borderStyle &&
           textAlignment == other.textAlignment;
}

void FoliantTextBox::encodeWithCoder(KeyedEncoder& coder) const {
    coder.encodeCGRect("frame", frame);
    coder.encodeFloat("alpha", static_cast<float>(alpha));
    coder.encodeInteger("borderStyle", borderStyle);
    coder.encodeInteger("textAlignment", textAlignment);
    coder.encodeString("text", text);
    encodeFont(coder, "font", font);
    encodeColorForKey(coder, "foregroundColor", foregroundColor);
    encodeColorForKey(coder, "backgroundColor", backgroundColor);
}

FoliantTextBoxPtr FoliantTextBox::initWithCoder(const KeyedDecoder& coder) {
    auto box = std::make_shared<FoliantTextBox>();
    box->frame = coder.decodeCGRectForKey("frame");
    box->alpha = decodeAlpha(coder, "alpha", kLowestAlpha);
    box->borderStyle = coder.decodeIntegerForKey("borderStyle");
    box->textAlignment = coder.decodeIntegerForKey("textAlignment");
    box->text = coder.decodeStringForKey("text").value_or(std::string());
    box->font = decodeFontOrFallback(coder, "font");
    box->foregroundColor = decodeColorForKey(coder, "foregroundColor").value_or(kDefaultForegroundColor);
    box->backgroundColor = decodeColorForKey(coder, "backgroundColor").value_or(kDefaultBackgroundColor);
    return box;
}

}  // namespace velumen
