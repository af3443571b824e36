#include "objects/FoliantTextBox.h"

#include "document/InkCoding.h"
#include "document/KeyedArchive.h"
#include "objects/ObjectCoding.h"

namespace velumen {

FoliantTextBoxPtr FoliantTextBox::foliantTextBoxWithText(std::string_view text, const Rect& frame,
                                                         const KFont& font, double alpha,
                                                         std::int64_t borderStyle) {
    return textBoxWithText<FoliantTextBox>(text, frame, font, alpha, borderStyle);
}

void FoliantTextBox::copyFromTextBox(const FoliantTextBox& other) {
    *this = other;
}

FoliantTextBoxPtr FoliantTextBox::copy() const {
    return std::make_shared<FoliantTextBox>(*this);
}

bool FoliantTextBox::isEqualToTextBox(const FoliantTextBox& other) const { return sameTextBoxFields(*this, other); }

void FoliantTextBox::encodeWithCoder(KeyedEncoder& coder) const { encodeTextBoxFields(coder, *this); }

FoliantTextBoxPtr FoliantTextBox::initWithCoder(const KeyedDecoder& coder) {
    auto box = std::make_shared<FoliantTextBox>();
    decodeTextBoxFields(coder, *box);
    return box;
}

}  // namespace velumen
