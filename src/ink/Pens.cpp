#include "ink/Pens.h"

#include <cmath>

namespace velumen {

float variableFountainPenPointSizeRatioForLength(float v) {
    if (v < 3.0f) return 1.0f;
    if (v <= 30.0f) return std::fma(1.0f - (v - 3.0f) / 27.0f, 0.6f, 0.4f);
    return 0.4f;
}

float variableGelPenPointSizeRatioForLength(float v) {
    if (v < 3.0f) return 1.0f;
    if (v <= 30.0f) return 0.5f + 0.5f * (1.0f - (v - 3.0f) / 27.0f);
    return 0.5f;
}

float variablePencilPointSizeRatioForLength(float v) {
    if (v < 3.0f) return 1.0f;
    if (v <= 60.0f) return 0.75f + 0.25f * (1.0f - (v - 3.0f) / 57.0f);
    return 0.75f;
}

float variableHilighterPointSizeRatioForLength(float v) {
    if (v < 3.0f) return 1.0f;
    if (v <= 60.0f) return 0.75f + 0.25f * (1.0f - (v - 3.0f) / 57.0f);
    return 0.75f;
}

float variableBrushPointSizeRatioForLength(float v) {
    if (v < 1.0f) return 0.125f;
    if (v <= 80.0f) return 0.125f + (v - 1.0f) * 0.875f / 79.0f;
    return 1.0f;
}

float variablePointSizeRatioForInkType(InkType inkType, float v) {
    switch (inkType) {
        case InkTypePencil:
            return variablePencilPointSizeRatioForLength(v);
        case InkTypeBrush:
            return variableBrushPointSizeRatioForLength(v);
        case InkTypeGelPen:
            return variableGelPenPointSizeRatioForLength(v);
        case InkTypeHilighter:
            return variableHilighterPointSizeRatioForLength(v);
        default:
            return variableFountainPenPointSizeRatioForLength(v);
    }
}

InkFilter inkFilterForInkType(InkType inkType) {
    switch (inkType) {
        case InkTypeFountainPen:
            return {0.006f, 0.006f};
        case InkTypePencil:
        case InkTypeGelPen:
            return {0.012f, 0.012f};
        case InkTypeHilighter:
            return {0.01f, 0.001f};
        default:  // brush, eraser and unknown types
            return {0.005f, 0.002f};
    }
}

bool spacesByCurrentSize(InkType inkType) {
    return inkType == InkTypeBrush || inkType == InkTypeHilighter;
}

bool rendersAtBack(InkType inkType) {
    return inkType == InkTypeHilighter;
}

InkType inkTypeForPenTypeIndex(std::int64_t penTypeIndex) {
    switch (penTypeIndex) {
        case 0:
            return InkTypeEraser;
        case 2:
            return InkTypePencil;
        case 3:
            return InkTypeBrush;
        case 4:
            return InkTypeHilighter;
        default:
            return InkTypeFountainPen;
    }
}

std::int64_t penTypeIndexForInkType(InkType inkType) {
    switch (inkType) {
        case InkTypeEraser:
            return 0;
        case InkTypePencil:
            return 2;
        case InkTypeBrush:
            return 3;
        case InkTypeHilighter:
            return 4;
        default:  // fountain pen, gel pen, unknown
            return 1;
    }
}

PenSettings PenSettings::initWithColor(const KColor& color, float thickness) {
    PenSettings s;
    s.version = 1;
    s.thickness = thickness;
    s.inkType = InkTypeFountainPen;
    s.color = color;
    return s;
}

PenSettings PenSettings::fromDecoded(std::optional<KColor> color, std::optional<float> thickness,
                                     std::optional<std::int32_t> inkType) {
    PenSettings s;
    s.version = 1;
    s.color = color ? *color : missingColor();
    s.thickness = (!thickness || *thickness == 0.0f) ? kMissingThickness : *thickness;
    s.inkType = inkType.value_or(InkTypeFountainPen);
    return s;
}

KInkBrush KInkBrush::brushWithAcceleration(float acceleration, float deceleration) {
    KInkBrush b;
    b.inkAcceleration = acceleration;
    b.inkDeceleration = deceleration;
    b.shouldRenderCurrentLineAtBack = false;
    b.hasWideSizeRange = false;
    return b;
}

PenTables::PenTables()
    : penSettings(kPenSettingsCount, PenSettings::initWithColor(defaultPenColor(), kDefaultPenThickness)),
      penWidths(defaultPenWidths()),
      currentPenColors(kCurrentPenColorsCount, defaultPenColor()) {}

}  // namespace velumen
