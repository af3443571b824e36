// Colour of ink and of page objects: non-premultiplied doubles that survive a trip through a file.
#pragma once

#include <string>

namespace velumen {

struct KColor {
    double r = 0;
    double g = 0;
    double b = 0;
    double a = 0;

    static KColor KColorWithR(double r, double g, double b, double a) { return {r, g, b, a}; }
    void setR(double red, double green, double blue, double alpha) { *this = {red, green, blue, alpha}; }

    // All four components exactly equal, as doubles.
    bool isEqualToColor(const KColor& other) const {
        return r == other.r && g == other.g && b == other.b && a == other.a;
    }
    friend bool operator==(const KColor&, const KColor&) = default;
    // "RRGGBB": each channel times 255 in double, narrowed to float, rounded half away from zero.
    std::string hexString() const;
};

}  // namespace velumen
