#include "document/BinaryPlist.h"

#include <bit>
#include <cstring>

namespace velumen::plist {

namespace {

constexpr std::uint64_t kHeaderSize = 8;
constexpr std::uint64_t kTrailerSize = 32;

// log2 of the byte count, 0..3, of the smallest of 1, 2, 4, 8 bytes that holds `v`.
unsigned sizeLog(std::uint64_t v) {
    if (v <= 0xFF) return 0;
    if (v <= 0xFFFF) return 1;
    if (v <= 0xFFFFFFFF) return 2;
    return 3;
}

unsigned byteCount(std::uint64_t v) {
    return 1u << sizeLog(v);
}

std::uint8_t* putBigEndian(std::uint8_t* out, std::uint64_t v, unsigned size) {
    for (unsigned i = 0; i < size; ++i)
        out[i] = static_cast<std::uint8_t>(v >> (8 * (size - 1 - i)));
    return out + size;
}

// Payload bytes after the marker of a scalar.
unsigned scalarSize(std::uint8_t marker) {
    const unsigned low = marker & 0x0F;
    switch (marker >> 4) {
        case 0x1:
        case 0x2:
        case 0x3:
            return 1u << low;
        case 0x8:
            return low + 1;
        default:
            return 0;
    }
}

// Bytes taken by a count: nothing extra below 15, else an integer object after the marker.
std::uint64_t countSize(std::uint64_t count) {
    return count < 15 ? 0 : 1 + byteCount(count);
}

std::uint8_t* putMarkerAndCount(std::uint8_t* out, std::uint8_t type, std::uint64_t count) {
    if (count < 15) {
        *out++ = static_cast<std::uint8_t>(type | count);
        return out;
    }
    *out++ = static_cast<std::uint8_t>(type | 0x0F);
    *out++ = static_cast<std::uint8_t>(0x10 | sizeLog(count));
    return putBigEndian(out, count, byteCount(count));
}

// Decodes one code point of strict UTF-8 at `i`, advancing it; std::nullopt for malformed text
// (truncated or overlong sequences, surrogates, values above U+10FFFF).
std::optional<std::uint32_t> nextCodePoint(std::string_view s, std::size_t& i) {
    const auto byte = [&](std::size_t k) { return static_cast<std::uint8_t>(s[k]); };
    const std::uint8_t b0 = byte(i);
    if (b0 < 0x80) {
        ++i;
        return b0;
    }
    unsigned extra = 0;
    std::uint32_t cp = 0;
    std::uint32_t min = 0;
    if ((b0 & 0xE0) == 0xC0) {
        extra = 1;
        cp = b0 & 0x1F;
        min = 0x80;
    } else if ((b0 & 0xF0) == 0xE0) {
        extra = 2;
        cp = b0 & 0x0F;
        min = 0x800;
    } else if ((b0 & 0xF8) == 0xF0) {
        extra = 3;
        cp = b0 & 0x07;
        min = 0x10000;
    } else {
        return std::nullopt;
    }
    if (s.size() - i <= extra) return std::nullopt;
    for (unsigned k = 1; k <= extra; ++k) {
        const std::uint8_t b = byte(i + k);
        if ((b & 0xC0) != 0x80) return std::nullopt;
        cp = (cp << 6) | (b & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return std::nullopt;
    i += extra + 1;
    return cp;
}

}  // namespace

Ref Writer::push(const Object& object) {
    objects_.push_back(object);
    return objects_.size() - 1;
}

Ref Writer::pushScalar(const Object& object) {
    // Numbers are written once each, as a reader of many small records expects.
    const auto [it, added] = scalars_.try_emplace({object.marker, object.value}, objects_.size());
    if (added) objects_.push_back(object);
    return it->second;
}

Ref Writer::addNull() {
    return push({0x00, 0, 0, nullptr});
}

Ref Writer::addBool(bool value) {
    return pushScalar({static_cast<std::uint8_t>(value ? 0x09 : 0x08), 0, 0, nullptr});
}

Ref Writer::addInt(std::int64_t value) {
    const auto bits = static_cast<std::uint64_t>(value);
    const unsigned log = value < 0 ? 3 : sizeLog(bits);
    return pushScalar({static_cast<std::uint8_t>(0x10 | log), bits, 0, nullptr});
}

Ref Writer::addReal(double value) {
    return pushScalar({0x23, std::bit_cast<std::uint64_t>(value), 0, nullptr});
}

Ref Writer::addReal32(float value) {
    return pushScalar({0x22, std::bit_cast<std::uint32_t>(value), 0, nullptr});
}

Ref Writer::addDate(double seconds) {
    return push({0x33, std::bit_cast<std::uint64_t>(seconds), 0, nullptr});
}

Ref Writer::addUID(std::uint64_t value) {
    return push({static_cast<std::uint8_t>(0x80 | (byteCount(value) - 1)), value, 0, nullptr});
}

Ref Writer::addData(std::span<const std::uint8_t> bytes) {
    return push({0x40, 0, bytes.size(), bytes.data()});
}

Ref Writer::addString(std::string_view utf8) {
    const std::uint64_t start = text_.size();
    bool ascii = true;
    for (const char c : utf8)
        ascii = ascii && static_cast<std::uint8_t>(c) < 0x80;
    if (ascii) {
        text_.insert(text_.end(), utf8.begin(), utf8.end());
        return push({0x50, start, utf8.size(), nullptr});
    }
    std::uint64_t units = 0;
    const auto putUnit = [&](std::uint32_t u) {
        text_.push_back(static_cast<std::uint8_t>(u >> 8));
        text_.push_back(static_cast<std::uint8_t>(u));
        ++units;
    };
    for (std::size_t i = 0; i < utf8.size();) {
        const std::optional<std::uint32_t> cp = nextCodePoint(utf8, i);
        if (!cp) {
            invalid_ = true;
            text_.resize(start);
            return push({0x50, start, 0, nullptr});
        }
        if (*cp < 0x10000) {
            putUnit(*cp);
        } else {
            putUnit(0xD800 + ((*cp - 0x10000) >> 10));
            putUnit(0xDC00 + ((*cp - 0x10000) & 0x3FF));
        }
    }
    return push({0x60, start, units, nullptr});
}

Ref Writer::addArray(std::span<const Ref> members) {
    const std::uint64_t start = refs_.size();
    refs_.insert(refs_.end(), members.begin(), members.end());
    return push({0xA0, start, members.size(), nullptr});
}

Ref Writer::addDict(std::span<const Ref> keys, std::span<const Ref> values) {
    if (keys.size() != values.size()) invalid_ = true;
    const std::size_t n = keys.size() < values.size() ? keys.size() : values.size();
    const std::uint64_t start = refs_.size();
    refs_.insert(refs_.end(), keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(n));
    refs_.insert(refs_.end(), values.begin(), values.begin() + static_cast<std::ptrdiff_t>(n));
    return push({0xD0, start, n, nullptr});
}

std::uint64_t Writer::encodedSize(const Object& o, unsigned refSize) const {
    switch (o.marker >> 4) {
        case 0x0:
        case 0x1:
        case 0x2:
        case 0x3:
        case 0x8:
            return 1 + scalarSize(o.marker);
        case 0x4:
        case 0x5:
            return 1 + countSize(o.count) + o.count;
        case 0x6:
            return 1 + countSize(o.count) + 2 * o.count;
        case 0xA:
            return 1 + countSize(o.count) + o.count * refSize;
        default:
            return 1 + countSize(o.count) + 2 * o.count * refSize;
    }
}

std::optional<std::vector<std::uint8_t>> Writer::finish(Ref top) const {
    std::vector<std::uint8_t> out;
    if (!finishInto(top, out)) return std::nullopt;
    return out;
}

bool Writer::finishInto(Ref top, std::vector<std::uint8_t>& out) const {
    const std::uint64_t n = objects_.size();
    if (invalid_ || n == 0 || top >= n) return false;
    for (const Ref r : refs_) {
        if (r >= n) return false;
    }

    const unsigned refSize = byteCount(n - 1);
    std::uint64_t tableOffset = kHeaderSize;
    std::uint64_t lastOffset = kHeaderSize;
    for (const Object& o : objects_) {
        lastOffset = tableOffset;
        tableOffset += encodedSize(o, refSize);
    }
    const unsigned offsetSize = byteCount(lastOffset);
    const std::uint64_t total = tableOffset + n * offsetSize + kTrailerSize;

    // Every byte is written below: a buffer reused from an earlier save is not cleared first.
    out.resize(static_cast<std::size_t>(total));
    std::uint8_t* const base = out.data();
    std::memcpy(base, "bplist00", kHeaderSize);
    std::uint8_t* p = base + kHeaderSize;
    std::uint8_t* table = base + tableOffset;
    for (const Object& o : objects_) {
        table = putBigEndian(table, static_cast<std::uint64_t>(p - base), offsetSize);
        const unsigned type = o.marker >> 4;
        switch (type) {
            case 0x0:
                *p++ = o.marker;
                break;
            case 0x1:
            case 0x2:
            case 0x3:
            case 0x8: {
                *p++ = o.marker;
                p = putBigEndian(p, o.value, scalarSize(o.marker));
                break;
            }
            case 0x4:
                p = putMarkerAndCount(p, 0x40, o.count);
                if (o.count != 0) std::memcpy(p, o.data, static_cast<std::size_t>(o.count));
                p += o.count;
                break;
            case 0x5:
            case 0x6: {
                p = putMarkerAndCount(p, o.marker, o.count);
                const std::uint64_t bytes = type == 0x6 ? 2 * o.count : o.count;
                if (bytes != 0) std::memcpy(p, text_.data() + o.value, static_cast<std::size_t>(bytes));
                p += bytes;
                break;
            }
            default: {
                p = putMarkerAndCount(p, o.marker, o.count);
                const std::uint64_t refs = type == 0xA ? o.count : 2 * o.count;
                for (std::uint64_t i = 0; i < refs; ++i)
                    p = putBigEndian(p, refs_[o.value + i], refSize);
                break;
            }
        }
    }

    std::uint8_t* trailer = base + (total - kTrailerSize);
    std::memset(trailer, 0, 6);  // unused and sort version
    trailer[6] = static_cast<std::uint8_t>(offsetSize);
    trailer[7] = static_cast<std::uint8_t>(refSize);
    putBigEndian(trailer + 8, n, 8);
    putBigEndian(trailer + 16, top, 8);
    putBigEndian(trailer + 24, tableOffset, 8);
    return true;
}

}  // namespace velumen::plist
