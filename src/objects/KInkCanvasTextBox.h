// A text box as the sister application's canvas describes it: a page text box with a rotation and a content
// hash.
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

class KInkCanvasTextBox;
using KInkCanvasTextBoxPtr = std::shared_ptr<KInkCanvasTextBox>;

class KInkCanvasTextBox {
  public:
    static constexpr std::string_view kClassName = "KInkCanvasTextBox";
    static constexpr KColor kDefaultForegroundColor{0, 0, 0, 1};
    static constexpr KColor kDefaultBackgroundColor{1, 1, 1, 0};
    static constexpr double kLowestAlpha = 0.1;

    static KInkCanvasTextBoxPtr inkCanvasTextBoxWithText(std::string_view text, const Rect& frame,
                                                         const KFont& font, double alpha,
                                                         std::int64_t borderStyle);

    // "name-size-alpha-RRGGBB-RRGGBB-border-alignment-text", size and alpha with two decimals. Frame and
    // angle are not part of it.
    std::string textboxHash() const;

    void copyFromTextBox(const KInkCanvasTextBox& other) { *this = other; }
    KInkCanvasTextBoxPtr copy() const { return std::make_shared<KInkCanvasTextBox>(*this); }
    // All nine fields equal: text, frame, alpha, font, colours, border, alignment and angle.
    bool isEqualToTextBox(const KInkCanvasTextBox& other) const;

    // The page text box's keys plus "angle"; font and colours are archived by address: keep this object
    // alive until the archive is finished.
    void encodeWithCoder(KeyedEncoder& coder) const;
    // The page text box's fallbacks: alpha absent 1.0, stored 0 as 0.1; a "font" that is not a KFont reads
    // as Helvetica 38; absent colours keep the defaults; absent text reads as empty.
    static KInkCanvasTextBoxPtr initWithCoder(const KeyedDecoder& coder);

    std::string text;
    double alpha = 1.0;
    KFont font{12.0f, "HelveticaNeue"};
    KColor foregroundColor = kDefaultForegroundColor;
    KColor backgroundColor = kDefaultBackgroundColor;
    std::int64_t borderStyle = 0;
    std::int64_t textAlignment = 0;
    double angle = 0;  // radians about the frame's centre
    Rect frame;
};

}  // namespace velumen
