#include "shell/palette/PaletteModel.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace velumen {

namespace {
constexpr std::array<float, 7> kBrushWidthSteps = {24, 32, 48, 64, 96, 128, 164};
constexpr std::array<float, 12> kPenWidthSteps = {1, 2, 3, 4, 6, 8, 10, 12, 14, 16, 24, 32};
constexpr std::int64_t kBrushPenTypeIndex = 3;
}  // namespace

std::span<const float> penWidthStepsForPenTypeIndex(std::int64_t penTypeIndex) {
    if (penTypeIndex == kBrushPenTypeIndex) return kBrushWidthSteps;
    return kPenWidthSteps;
}

int sliderIndexForWidth(std::span<const float> steps, float width) {
    for (std::size_t i = steps.size(); i-- > 0;)
        if (steps[i] <= width) return static_cast<int>(i);
    return 0;
}

float widthForSliderValue(std::span<const float> steps, double sliderValue) {
    if (steps.empty()) return 0;
    if (!(sliderValue > 0)) return steps.front();
    const auto index = std::min(static_cast<std::size_t>(sliderValue), steps.size() - 1);
    return steps[index];
}

std::optional<std::size_t> indexOfColorFromPage(const std::vector<KColor>& penColors, const KColor& color,
                                                std::int64_t colorPalettePage) {
    const std::size_t n = penColors.size();
    std::size_t start = 0;
    if (colorPalettePage > 0)
        start = std::min<std::size_t>(n, static_cast<std::size_t>(colorPalettePage) * ColorRowGeometry::kColorsPerPage);
    for (std::size_t k = 0; k < n; ++k) {
        const std::size_t i = (start + k) % n;
        if (penColors[i].isEqualToColor(color)) return i;
    }
    return std::nullopt;
}

int numberOfPhoneColors(bool isTabletClass, double shorterScreenSide) {
    if (isTabletClass) return 4;
    if (shorterScreenSide >= 414) return 8;
    if (shorterScreenSide >= 375) return 6;
    return 4;
}

double penWidthIndicatorDiameter(double side, float value, float maxValue) {
    double f = 1.0;
    if (maxValue != 0) f = std::min(1.0, double(value) / double(maxValue));
    if (!std::isfinite(f)) f = 1.0;
    return std::max(2.0, (side - 8) * f);
}

}  // namespace velumen
