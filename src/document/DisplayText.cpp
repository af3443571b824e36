#include "document/DisplayText.h"

#include <cstdint>

namespace velumen {

namespace {

constexpr char kHex[] = "0123456789abcdef";

void appendByteEscape(std::string& out, std::uint8_t byte) {
    out += "\\x";
    out += kHex[byte >> 4];
    out += kHex[byte & 0xF];
}

void appendCodePointEscape(std::string& out, std::uint32_t cp) {
    out += "\\u{";
    bool started = false;
    for (int shift = 20; shift >= 0; shift -= 4) {
        const unsigned digit = (cp >> shift) & 0xF;
        started = started || digit != 0 || shift == 0;
        if (started) out += kHex[digit];
    }
    out += '}';
}

// Characters that are valid text but act on how a line is broken or ordered.
bool isFormatControl(std::uint32_t cp) {
    return (cp >= 0x80 && cp <= 0x9F) ||      // C1 controls
           cp == 0x2028 || cp == 0x2029 ||    // line and paragraph separators
           (cp >= 0x200E && cp <= 0x200F) ||  // left-to-right and right-to-left marks
           (cp >= 0x202A && cp <= 0x202E) ||  // embeddings and overrides
           (cp >= 0x2066 && cp <= 0x2069);    // isolates
}

// The length of the valid UTF-8 sequence at `at` and its code point; 0 when the bytes there are not one.
std::size_t decodeOne(std::string_view text, std::size_t at, std::uint32_t& cp) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byte(at);
    std::size_t length = 0;
    std::uint32_t min = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2, min = 0x80, cp = lead & 0x1Fu;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3, min = 0x800, cp = lead & 0x0Fu;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4, min = 0x10000, cp = lead & 0x07u;
    } else {
        return 0;
    }
    if (at + length > text.size()) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        const std::uint8_t next = byte(at + i);
        if ((next & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (next & 0x3Fu);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
    return length;
}

}  // namespace

std::string escapedForDisplay(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<std::uint8_t>(text[i]);
        if (c < 0x80) {
            if (c == '\n') {
                out += "\\n";
            } else if (c == '\r') {
                out += "\\r";
            } else if (c == '\t') {
                out += "\\t";
            } else if (c < 0x20 || c == 0x7F) {
                appendByteEscape(out, c);
            } else {
                out += static_cast<char>(c);
            }
            ++i;
            continue;
        }
        std::uint32_t cp = 0;
        const std::size_t length = decodeOne(text, i, cp);
        if (length == 0) {
            appendByteEscape(out, c);
            ++i;
        } else {
            if (isFormatControl(cp))
                appendCodePointEscape(out, cp);
            else
                out.append(text.substr(i, length));
            i += length;
        }
    }
    return out;
}

}  // namespace velumen
