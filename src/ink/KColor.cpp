#include "ink/KColor.h"

#include <cmath>

namespace velumen {

std::string KColor::hexString() const {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(6);
    for (double channel : {r, g, b}) {
        const float rounded = std::round(static_cast<float>(channel * 255.0));
        // Out-of-range values saturate and NaN becomes 0, as the hardware the format was born on converts.
        int v = 0;
        if (rounded >= 2147483647.0f) {
            v = 2147483647;
        } else if (rounded <= -2147483648.0f) {
            v = -2147483647 - 1;
        } else if (rounded == rounded) {
            v = static_cast<int>(rounded);
        }
        // "%02X" of an int: two digits at least, more for out-of-range values, two's complement for
        // negatives.
        char buf[9];
        unsigned u = static_cast<unsigned>(v);
        int n = 0;
        do {
            buf[n++] = kDigits[u & 0xF];
            u >>= 4;
        } while (u != 0);
        if (n < 2) buf[n++] = '0';
        while (n > 0)
            out.push_back(buf[--n]);
    }
    return out;
}

}  // namespace velumen
