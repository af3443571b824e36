// The numbers that make each pen feel as it does: ink types, the speed-to-width curves, the width
// filter, the stylus pressure factor, and the small records that keep a pen's settings.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ink/KColor.h"

namespace velumen {

// inkType is a plain 32-bit integer: stored values outside the named range are legal and behave as
// the fountain pen where a curve is concerned.
using InkType = std::int32_t;

inline constexpr InkType InkTypeFountainPen = 0;
inline constexpr InkType InkTypePencil = 1;
inline constexpr InkType InkTypeBrush = 2;
inline constexpr InkType InkTypeEraser = 3;
inline constexpr InkType InkTypeGelPen = 4;
inline constexpr InkType InkTypeHilighter = 5;
inline constexpr InkType kInkTypeCount = 6;

// Speed curves. v is the distance moved in view points per 60th of a second; the result multiplies
// the stroke's thickness. Single precision throughout. A NaN or infinite speed takes the upper branch.
float variableFountainPenPointSizeRatioForLength(float v);
float variableGelPenPointSizeRatioForLength(float v);
float variablePencilPointSizeRatioForLength(float v);
float variableHilighterPointSizeRatioForLength(float v);
float variableBrushPointSizeRatioForLength(float v);

// The curve of an ink type; the eraser and unknown types take the fountain pen's.
float variablePointSizeRatioForInkType(InkType inkType, float v);

// The width filter, in units of the stroke's thickness per emitted sprite.
struct InkFilter {
    float inkAcceleration = 0;
    float inkDeceleration = 0;
};
InkFilter inkFilterForInkType(InkType inkType);

// Whether sprites are spaced by the momentary size (brush, hilighter) rather than the thickness.
bool spacesByCurrentSize(InkType inkType);
// Whether a stroke of this type goes behind the existing ink (the hilighter only).
bool rendersAtBack(InkType inkType);

// Palette position to ink type: 0 eraser, 1 fountain pen, 2 pencil, 3 brush, 4 hilighter; any
// other index, negative ones included, gives the fountain pen.
InkType inkTypeForPenTypeIndex(std::int64_t penTypeIndex);
// Where an ink type shows in the palette; the gel pen and unknown types share the fountain pen's place.
std::int64_t penTypeIndexForInkType(InkType inkType);

// One pen slot.
struct PenSettings {
    std::int32_t version = 1;
    float thickness = 0;
    InkType inkType = InkTypeFountainPen;
    KColor color;

    static PenSettings initWithColor(const KColor& color, float thickness);

    // A record as read from an archive: a missing colour is black at alpha (double)0.05f, a missing
    // or zero thickness is 4.0, a missing ink type is 0, and the version is always 1.
    static PenSettings fromDecoded(std::optional<KColor> color, std::optional<float> thickness,
                                   std::optional<std::int32_t> inkType);

    static KColor missingColor() { return {0, 0, 0, static_cast<double>(0.05f)}; }
    static constexpr float kMissingThickness = 4.0f;
};

// The pen parameters of a canvas that has no ink types.
struct KInkBrush {
    float inkAcceleration = 0;
    float inkDeceleration = 0;
    bool shouldRenderCurrentLineAtBack = false;
    bool hasWideSizeRange = false;

    static KInkBrush brushWithAcceleration(float acceleration, float deceleration);
};

// The process-wide pen tables: three pen slots, a width per pen type index and a colour per ink type.
struct PenTables {
    static constexpr std::size_t kPenSettingsCount = 3;
    static constexpr std::size_t kPenWidthsCount = 5;
    static constexpr std::size_t kCurrentPenColorsCount = 6;
    static constexpr float kDefaultPenThickness = 6.0f;

    // First entry of the factory palette: black at alpha 0.35.
    static KColor defaultPenColor() { return {0, 0, 0, 0.35}; }
    static std::vector<float> defaultPenWidths() { return {64.0f, 6.0f, 3.0f, 32.0f, 16.0f}; }

    PenTables();

    std::vector<PenSettings> penSettings;
    std::vector<float> penWidths;
    std::vector<KColor> currentPenColors;
};

}  // namespace velumen
