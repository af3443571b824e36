// The arithmetic of picking a colour: the ten opacity steps of ink strength, hue, saturation and brightness
// to a colour and back, and the hexadecimal form that people type. No widgets: the colour picker and the
// palettes draw and report, these functions decide.
#pragma once

#include <QString>
#include <array>
#include <optional>

#include "ink/KColor.h"

namespace velumen {

// The alphas the opacity slider can give. Alpha is the strength of each dab of ink, so the low values,
// where the eye tells most apart, are closest together.
inline constexpr std::array<double, 10> kOpacitySteps = {0.01, 0.03, 0.05, 0.10, 0.15,
                                                         0.20, 0.25, 0.35, 0.50, 1.00};

// The alpha of a slider position from 0 to 1: clamped, times nine, truncated to a step. NaN gives the first.
double getSteppedAlpha(double sliderValue);
// The slider position of an alpha: the first step at or above it, as its index / 9; 1.0 when none is.
double getSteppedValueFromAlpha(double alpha);

struct HSB {
    double hue = 0;
    double saturation = 0;
    double brightness = 0;
    double alpha = 0;
};
// Hue, saturation and brightness from 0 to 1 to red, green and blue; a hue of 1 is red again.
KColor colorWithHSB(const HSB& hsb);
// The other way. Grey has hue 0 and black saturation 0: there the colour is kept, not the hue.
HSB hsbFromColor(const KColor& color);

// "RRGGBB" of the colour's channels clamped to 0 to 1, times 255, rounded; a NaN channel reads as 0.
QString hexStringFromColor(const KColor& color);
// The colour of the pairs of characters at 0, 2 and 4, each read as hexadecimal digits (leading blanks
// skipped, reading stops at the first character that is no digit, so a pair with none reads 0), with the
// given alpha; further characters are ignored. Nothing for text under six characters.
std::optional<KColor> colorFromHexString(const QString& text, double alpha);

// Text made fit for a file name: blanks trimmed from both ends, then every / \ ? % * | " < > : and full stop
// removed wherever it stands.
QString sanitizeFileNameString(const QString& text);

}  // namespace velumen
