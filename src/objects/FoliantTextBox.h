// A rectangle of plain text on a page: one font, one alignment, a text colour and a fill for the whole box.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "ink/KColor.h"
#include "ink/KGeometry.h"
#include "objects/KFont.h"

namespace velumen {

class KeyedEncoder;
class KeyedDecoder;

class FoliantTextBox;
using FoliantTextBoxPtr = std::shared_ptr<FoliantTextBox>;

class FoliantTextBox {
  public:
    static constexpr std::string_view kClassName = "FoliantTextBox";
    static constexpr std::string_view kNewBoxText = "<Text>";
    static constexpr KColor kDefaultForegroundColor{0, 0, 0, 1};
    static constexpr KColor kDefaultBackgroundColor{1, 1, 1, 0};
    // The slider's lowest value: a stored alpha of 0 reads as this.
    static constexpr double kLowestAlpha = 0.1;

    // A box with the default colours.
    static FoliantTextBoxPtr foliantTextBoxWithText(std::string_view text, const Rect& frame,
                                                    const KFont& font, double alpha,
                                                    std::int64_t borderStyle);

    // Copies all eight fields.
    void copyFromTextBox(const FoliantTextBox& other);
    FoliantTextBoxPtr copy() const;
    bool isEqualToTextBox(const FoliantTextBox& other) const;

    // "frame", "alpha", "borderStyle", "textAlignment", "text", "font", "foregroundColor",
    // "backgroundColor". The font and colours are archived by address: keep this object alive until the
    // archive is finished.
    void encodeWithCoder(KeyedEncoder& coder) const;
    // Absent alpha reads as 1.0 and a stored 0 as 0.1; a "font" that is not a KFont reads as Helvetica 38;
    // absent colours keep the new-box defaults; absent text reads as empty.
    static FoliantTextBoxPtr initWithCoder(const KeyedDecoder& coder);

    std::string text{kNewBoxText};
    double alpha = 1.0;
    KFont font;
    KColor foregroundColor = kDefaultForegroundColor;
    KColor backgroundColor = kDefaultBackgroundColor;
    std::int64_t borderStyle = 0;    // stored and compared; nothing draws by it
    std::int64_t textAlignment = 0;  // 0 left, 1 centre, 2 right
    Rect frame;                      // page units
};

}  // namespace velumen
