#include "shell/palette/ColorPickerMath.h"

#include <algorithm>
#include <cmath>

namespace velumen {

double getSteppedAlpha(double sliderValue) {
    if (!(sliderValue > 0)) sliderValue = 0;  // NaN too
    sliderValue = std::min(sliderValue, 1.0);
    const auto index = static_cast<std::size_t>(sliderValue * 9);
    return kOpacitySteps[std::min(index, kOpacitySteps.size() - 1)];
}

double getSteppedValueFromAlpha(double alpha) {
    for (std::size_t i = 0; i < kOpacitySteps.size(); ++i)
        if (kOpacitySteps[i] >= alpha) return double(i) / 9;
    return 1.0;
}

KColor colorWithHSB(const HSB& hsb) {
    const double s = std::clamp(hsb.saturation, 0.0, 1.0);
    const double v = std::clamp(hsb.brightness, 0.0, 1.0);
    double h = std::clamp(hsb.hue, 0.0, 1.0) * 6;
    if (h >= 6) h = 0;
    const double sector = std::floor(h);
    const double f = h - sector;
    const double p = v * (1 - s);
    const double q = v * (1 - s * f);
    const double t = v * (1 - s * (1 - f));
    switch (static_cast<int>(sector)) {
        case 0: return {v, t, p, hsb.alpha};
        case 1: return {q, v, p, hsb.alpha};
        case 2: return {p, v, t, hsb.alpha};
        case 3: return {p, q, v, hsb.alpha};
        case 4: return {t, p, v, hsb.alpha};
        default: return {v, p, q, hsb.alpha};
    }
}

HSB hsbFromColor(const KColor& color) {
    auto channel = [](double c) { return std::isfinite(c) ? std::clamp(c, 0.0, 1.0) : 0.0; };
    const double r = channel(color.r), g = channel(color.g), b = channel(color.b);
    const double max = std::max({r, g, b});
    const double min = std::min({r, g, b});
    const double delta = max - min;
    HSB out;
    out.brightness = max;
    out.saturation = max > 0 ? delta / max : 0;
    out.alpha = color.a;
    if (delta > 0) {
        double h;
        if (max == r)
            h = (g - b) / delta;
        else if (max == g)
            h = (b - r) / delta + 2;
        else
            h = (r - g) / delta + 4;
        h /= 6;
        if (h < 0) h += 1;
        out.hue = h;
    }
    return out;
}

QString hexStringFromColor(const KColor& color) {
    auto byte = [](double c) {
        if (!std::isfinite(c)) c = c > 0 ? 1 : 0;
        return static_cast<int>(std::lround(std::clamp(c, 0.0, 1.0) * 255));
    };
    return QString::asprintf("%02X%02X%02X", byte(color.r), byte(color.g), byte(color.b));
}

namespace {

// The leading hexadecimal number of a pair, after blanks; 0 when it has no digit.
int scanHexPair(const QString& pair) {
    int value = 0;
    int i = 0;
    while (i < pair.size() && pair[i].isSpace())
        ++i;
    for (; i < pair.size(); ++i) {
        const char16_t c = pair[i].unicode();
        const int digit = (c >= u'0' && c <= u'9')   ? c - u'0'
                          : (c >= u'a' && c <= u'f') ? c - u'a' + 10
                          : (c >= u'A' && c <= u'F') ? c - u'A' + 10
                                                     : -1;
        if (digit < 0) break;
        value = value * 16 + digit;
    }
    return value;
}

}  // namespace

std::optional<KColor> colorFromHexString(const QString& text, double alpha) {
    if (text.size() < 6) return std::nullopt;
    return KColor{scanHexPair(text.mid(0, 2)) / 255.0, scanHexPair(text.mid(2, 2)) / 255.0,
                  scanHexPair(text.mid(4, 2)) / 255.0, alpha};
}

QString sanitizeFileNameString(const QString& text) {
    QString out = text.trimmed();
    static const QString forbidden = QStringLiteral("/\\?%*|\"<>:.");
    out.removeIf([](QChar c) { return forbidden.contains(c); });
    return out;
}

}  // namespace velumen
