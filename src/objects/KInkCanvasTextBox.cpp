#include "objects/KInkCanvasTextBox.h"

#include <charconv>

#include "document/InkCoding.h"
#include "document/KeyedArchive.h"
#include "objects/ObjectCoding.h"

namespace velumen {

namespace {

// "%1.2f" without the C locale: correctly rounded from the exact binary value, as printf rounds.
void appendFixed2(std::string& out, double value) {
    char buf[400];  // the largest double has 309 integer digits
    const std::to_chars_result r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, 2);
    out.append(buf, r.ptr);
}

void appendInteger(std::string& out, std::int64_t value) {
    char buf[24];
    const std::to_chars_result r = std::to_chars(buf, buf + sizeof buf, value);
    out.append(buf, r.ptr);
}

}  // namespace

KInkCanvasTextBoxPtr KInkCanvasTextBox::inkCanvasTextBoxWithText(std::string_view text, const Rect& frame,
                                                                 const KFont& font, double alpha,
                                                                 std::int64_t borderStyle) {
    return textBoxWithText<KInkCanvasTextBox>(text, frame, font, alpha, borderStyle);
}

std::string KInkCanvasTextBox::textboxHash() const {
    std::string out;
    out.reserve(font.fontName.size() + text.size() + 48);
    out += font.fontName;
    out += '-';
    appendFixed2(out, font.pointSize);
    out += '-';
    appendFixed2(out, alpha);
    out += '-';
    out += foregroundColor.hexString();
    out += '-';
    out += backgroundColor.hexString();
    out += '-';
    appendInteger(out, borderStyle);
    out += '-';
    appendInteger(out, textAlignment);
    out += '-';
    out += text;
    return out;
}

bool KInkCanvasTextBox::isEqualToTextBox(const KInkCanvasTextBox& other) const {
    return sameTextBoxFields(*this, other) && angle == other.angle;
}

void KInkCanvasTextBox::encodeWithCoder(KeyedEncoder& coder) const {
    encodeTextBoxFields(coder, *this);
    coder.encodeFloat("angle", static_cast<float>(angle));
}

KInkCanvasTextBoxPtr KInkCanvasTextBox::initWithCoder(const KeyedDecoder& coder) {
    auto box = std::make_shared<KInkCanvasTextBox>();
    decodeTextBoxFields(coder, *box);
    box->angle = coder.decodeFloatForKey("angle");
    return box;
}

}  // namespace velumen
