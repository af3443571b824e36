// The colour blend of the denoise filter in the non-separable blend model: luminance 0.3 r + 0.59 g + 0.11 b,
// a colour moved to a new luminance and then clipped back into range about it.
#include "imagetoink/FLDenoiseFilter.h"

#include <algorithm>
#include <cmath>

#include "imagetoink/FLHighPassFilter.h"

namespace velumen {

namespace {

struct Rgb {
    float r, g, b;
};

float lum(const Rgb& c) {
    return 0.3f * c.r + 0.59f * c.g + 0.11f * c.b;
}

Rgb clipColor(Rgb c) {
    const float l = lum(c);
    const float n = std::min({c.r, c.g, c.b});
    const float x = std::max({c.r, c.g, c.b});
    if (n < 0.0f) c = {l + (c.r - l) * l / (l - n), l + (c.g - l) * l / (l - n), l + (c.b - l) * l / (l - n)};
    if (x > 1.0f)
        c = {l + (c.r - l) * (1.0f - l) / (x - l), l + (c.g - l) * (1.0f - l) / (x - l),
             l + (c.b - l) * (1.0f - l) / (x - l)};
    return c;
}

Rgb setLum(const Rgb& c, float l) {
    const float d = l - lum(c);
    return clipColor({c.r + d, c.g + d, c.b + d});
}

std::uint8_t toByte(float v) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(v, 0.0f, 1.0f) * 255.0f));
}

}  // namespace

RgbaImage FLDenoiseFilter::imageByFilteringImage(const RgbaImage& source) const {
    if (source.isEmpty()) return {};
    const RgbaImage blurred = boxBlur(source, normalizedBlurRadius(blurRadiusInPixels_));
    RgbaImage out(source.width, source.height);
    for (std::size_t i = 0; i < source.bytes.size(); i += 4) {
        const std::uint8_t* s = &source.bytes[i];
        const std::uint8_t* b = &blurred.bytes[i];
        const Rgb base{s[0] / 255.0f, s[1] / 255.0f, s[2] / 255.0f};
        const Rgb overlay{b[0] / 255.0f, b[1] / 255.0f, b[2] / 255.0f};
        const float a = b[3] / 255.0f;
        const Rgb blended = setLum(overlay, lum(base));
        out.bytes[i] = toByte(base.r * (1.0f - a) + blended.r * a);
        out.bytes[i + 1] = toByte(base.g * (1.0f - a) + blended.g * a);
        out.bytes[i + 2] = toByte(base.b * (1.0f - a) + blended.b * a);
        out.bytes[i + 3] = s[3];
    }
    return out;
}

}  // namespace velumen
