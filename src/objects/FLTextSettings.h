// The style new text boxes start with, kept with the settings.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "ink/KColor.h"

namespace velumen {

class KeyedEncoder;
class KeyedDecoder;

class FLTextSettings;
using FLTextSettingsPtr = std::shared_ptr<FLTextSettings>;

class FLTextSettings {
  public:
    static constexpr std::string_view kClassName = "FLTextSettings";

    FLTextSettingsPtr copy() const { return std::make_shared<FLTextSettings>(*this); }

    // "fontSize", "fontName", "textAlignment", "foregroundColor", "backgroundColor". The colours are
    // archived by address: keep this object alive until the archive is finished.
    void encodeWithCoder(KeyedEncoder& coder) const;
    // Absent colours keep the defaults below; other absent keys read as 0 or empty.
    static FLTextSettingsPtr initWithCoder(const KeyedDecoder& coder);

    // The defaults are the style of a fresh installation.
    float fontSize = 48.0f;
    std::string fontName{"Helvetica"};
    std::int64_t textAlignment = 0;
    KColor foregroundColor{0, 0, 0, 1};
    KColor backgroundColor{1, 1, 1, 0};
};

}  // namespace velumen
