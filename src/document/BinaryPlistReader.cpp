#include "document/BinaryPlist.h"

#include <bit>
#include <cstring>

namespace velumen::plist {

namespace {

constexpr std::uint64_t kHeaderSize = 8;
constexpr std::uint64_t kTrailerSize = 32;

std::uint64_t bigEndian(const std::uint8_t* p, unsigned size) {
    std::uint64_t v = 0;
    for (unsigned i = 0; i < size; ++i)
        v = (v << 8) | p[i];
    return v;
}

std::uint8_t stateOf(Kind kind) {
    return static_cast<std::uint8_t>(1 + static_cast<unsigned>(kind));
}

void appendUtf8(std::string& out, std::uint32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

// UTF-16BE units to UTF-8; an unpaired surrogate fails.
std::optional<std::string> utf16ToUtf8(const std::uint8_t* p, std::uint64_t units) {
    std::string out;
    out.reserve(static_cast<std::size_t>(units));
    for (std::uint64_t i = 0; i < units; ++i) {
        std::uint32_t u = (std::uint32_t{p[2 * i]} << 8) | p[2 * i + 1];
        if (u >= 0xDC00 && u <= 0xDFFF) return std::nullopt;
        if (u >= 0xD800 && u <= 0xDBFF) {
            if (i + 1 == units) return std::nullopt;
            std::uint32_t low = (std::uint32_t{p[2 * i + 2]} << 8) | p[2 * i + 3];
            if (low < 0xDC00 || low > 0xDFFF) return std::nullopt;
            u = 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00);
            ++i;
        }
        appendUtf8(out, u);
    }
    return out;
}

}  // namespace

Reader::Reader(std::span<const std::uint8_t> bytes, unsigned offsetSize, unsigned refSize,
               std::uint64_t count, Ref top, std::uint64_t tableOffset)
    : bytes_(bytes),
      offsetSize_(offsetSize),
      refSize_(refSize),
      objectCount_(count),
      top_(top),
      tableOffset_(tableOffset),
      chunks_(static_cast<std::size_t>((count + kChunkSize - 1) / kChunkSize)) {}

Reader::Chunk& Reader::chunkOf(Ref ref) const {
    std::unique_ptr<Chunk>& chunk = chunks_[static_cast<std::size_t>(ref / kChunkSize)];
    if (!chunk) chunk = std::make_unique<Chunk>();
    return *chunk;
}

std::optional<Reader> Reader::open(std::span<const std::uint8_t> bytes) {
    const std::uint64_t size = bytes.size();
    if (size < kHeaderSize + kTrailerSize) return std::nullopt;
    if (std::memcmp(bytes.data(), "bplist00", kHeaderSize) != 0) return std::nullopt;

    const std::uint8_t* trailer = bytes.data() + (size - kTrailerSize);
    const unsigned offsetSize = trailer[6];
    const unsigned refSize = trailer[7];
    const std::uint64_t count = bigEndian(trailer + 8, 8);
    const std::uint64_t top = bigEndian(trailer + 16, 8);
    const std::uint64_t tableOffset = bigEndian(trailer + 24, 8);

    if (offsetSize < 1 || offsetSize > 8 || refSize < 1 || refSize > 8) return std::nullopt;
    if (count == 0 || top >= count) return std::nullopt;
    // The offset table lies between the objects and the trailer; at least one byte of objects precedes it.
    const std::uint64_t trailerStart = size - kTrailerSize;
    if (tableOffset <= kHeaderSize || tableOffset > trailerStart) return std::nullopt;
    if (count > (trailerStart - tableOffset) / offsetSize) return std::nullopt;

    return Reader(bytes, offsetSize, refSize, count, top, tableOffset);
}

std::uint64_t Reader::readUnsigned(std::uint64_t offset, unsigned size) const {
    return bigEndian(bytes_.data() + offset, size);
}

std::optional<Ref> Reader::refAt(std::uint64_t offset) const {
    const std::uint64_t ref = readUnsigned(offset, refSize_);
    if (ref >= objectCount_) return std::nullopt;
    return ref;
}

bool Reader::decode(Ref ref) const {
    if (ref >= objectCount_) return false;
    Chunk& chunk = chunkOf(ref);
    const std::size_t slot = static_cast<std::size_t>(ref % kChunkSize);
    std::uint8_t& state = chunk.state[slot];
    if (state == 0) {
        if (!decodeObject(ref, chunk.entries[slot], state)) state = kBad;
    }
    return state != kBad;
}

bool Reader::decodeObject(Ref ref, Entry& entry, std::uint8_t& state) const {
    const std::uint64_t offset = readUnsigned(tableOffset_ + ref * offsetSize_, offsetSize_);
    if (offset < kHeaderSize || offset >= tableOffset_) return false;
    const std::uint8_t marker = bytes_[static_cast<std::size_t>(offset)];
    const unsigned type = marker >> 4;
    const unsigned low = marker & 0x0F;
    // Bytes available after the marker, up to the end of the object area.
    const std::uint64_t avail = tableOffset_ - offset - 1;
    const std::uint8_t* p = bytes_.data() + offset + 1;

    switch (type) {
        case 0x0:
            if (low == 0x0) {
                state = stateOf(Kind::Null);
            } else if (low == 0x8 || low == 0x9) {
                entry.a = low == 0x9 ? 1 : 0;
                state = stateOf(Kind::Bool);
            } else {
                return false;
            }
            return true;
        case 0x1: {
            if (low > 4) return false;
            const unsigned size = 1u << low;
            if (avail < size) return false;
            if (size <= 8) {
                entry.a = bigEndian(p, size);  // 8-byte values keep their two's complement bits
            } else {
                const std::uint64_t high = bigEndian(p, 8);
                const std::uint64_t lowWord = bigEndian(p + 8, 8);
                const std::uint64_t signExtension = (lowWord >> 63) != 0 ? ~std::uint64_t{0} : 0;
                if (high != signExtension) return false;
                entry.a = lowWord;
            }
            state = stateOf(Kind::Int);
            return true;
        }
        case 0x2:
        case 0x3: {
            if (low == 2 && type == 0x2) {
                if (avail < 4) return false;
                const float f = std::bit_cast<float>(static_cast<std::uint32_t>(bigEndian(p, 4)));
                entry.a = std::bit_cast<std::uint64_t>(static_cast<double>(f));
            } else if (low == 3) {
                if (avail < 8) return false;
                entry.a = bigEndian(p, 8);
            } else {
                return false;
            }
            state = stateOf(type == 0x2 ? Kind::Real : Kind::Date);
            return true;
        }
        case 0x8: {
            const unsigned size = low + 1;
            if (size > 8 || avail < size) return false;
            entry.a = bigEndian(p, size);
            state = stateOf(Kind::UID);
            return true;
        }
        case 0x4:
        case 0x5:
        case 0x6:
        case 0xA:
        case 0xC:
        case 0xD:
            break;
        default:
            return false;
    }

    // Objects with a count: it is the low nibble, or when that is 0xF an integer object that follows.
    std::uint64_t count = low;
    std::uint64_t payload = offset + 1;
    if (low == 0xF) {
        if (avail < 1) return false;
        const std::uint8_t intMarker = p[0];
        if ((intMarker >> 4) != 0x1 || (intMarker & 0x0F) > 3) return false;
        const unsigned size = 1u << (intMarker & 0x0F);
        if (avail - 1 < size) return false;
        count = bigEndian(p + 1, size);
        if (size == 8 && (count >> 63) != 0) return false;  // negative
        payload = offset + 2 + size;
    }
    Kind kind = Kind::Dict;
    std::uint64_t unit = 2 * std::uint64_t{refSize_};
    if (type == 0x4 || type == 0x5 || type == 0x6) {
        kind = type == 0x4 ? Kind::Data : Kind::String;
        unit = type == 0x6 ? 2 : 1;
    } else if (type == 0xA || type == 0xC) {
        kind = type == 0xA ? Kind::Array : Kind::Set;
        unit = refSize_;
    }
    if (count > (tableOffset_ - payload) / unit) return false;
    if (type == 0x5) {
        const std::uint8_t* s = bytes_.data() + payload;
        for (std::uint64_t i = 0; i < count; ++i) {
            if (s[i] >= 0x80) return false;
        }
    }
    entry.a = payload;
    entry.b = count;
    state = stateOf(kind);
    if (type == 0x6) state |= kUtf16Flag;
    return true;
}

std::optional<Kind> Reader::kind(Ref ref) const {
    if (!decode(ref)) return std::nullopt;
    const unsigned state = stateAt(ref) & ~unsigned{kUtf16Flag};
    return static_cast<Kind>(state - 1);
}

std::optional<Reader::Entry> Reader::entryOf(Ref ref, Kind want) const {
    const std::optional<Kind> k = kind(ref);
    if (!k || *k != want) return std::nullopt;
    return entryAt(ref);
}

std::optional<bool> Reader::asBool(Ref ref) const {
    const auto e = entryOf(ref, Kind::Bool);
    if (!e) return std::nullopt;
    return e->a != 0;
}

std::optional<std::int64_t> Reader::asInt(Ref ref) const {
    const auto e = entryOf(ref, Kind::Int);
    if (!e) return std::nullopt;
    return static_cast<std::int64_t>(e->a);
}

std::optional<double> Reader::asReal(Ref ref) const {
    const auto e = entryOf(ref, Kind::Real);
    if (!e) return std::nullopt;
    return std::bit_cast<double>(e->a);
}

std::optional<double> Reader::asDate(Ref ref) const {
    const auto e = entryOf(ref, Kind::Date);
    if (!e) return std::nullopt;
    return std::bit_cast<double>(e->a);
}

std::optional<std::uint64_t> Reader::asUID(Ref ref) const {
    const auto e = entryOf(ref, Kind::UID);
    if (!e) return std::nullopt;
    return e->a;
}

std::optional<std::span<const std::uint8_t>> Reader::asData(Ref ref) const {
    const auto e = entryOf(ref, Kind::Data);
    if (!e) return std::nullopt;
    return bytes_.subspan(static_cast<std::size_t>(e->a), static_cast<std::size_t>(e->b));
}

std::optional<std::string_view> Reader::asAsciiString(Ref ref) const {
    const auto e = entryOf(ref, Kind::String);
    if (!e || (stateAt(ref) & kUtf16Flag) != 0) return std::nullopt;
    return std::string_view(reinterpret_cast<const char*>(bytes_.data() + e->a),
                            static_cast<std::size_t>(e->b));
}

std::optional<std::string> Reader::asString(Ref ref) const {
    const auto e = entryOf(ref, Kind::String);
    if (!e) return std::nullopt;
    if ((stateAt(ref) & kUtf16Flag) != 0) {
        return utf16ToUtf8(bytes_.data() + e->a, e->b);
    }
    return std::string(reinterpret_cast<const char*>(bytes_.data() + e->a), static_cast<std::size_t>(e->b));
}

std::optional<std::uint64_t> Reader::arrayCount(Ref ref) const {
    const std::optional<Kind> k = kind(ref);
    if (!k || (*k != Kind::Array && *k != Kind::Set)) return std::nullopt;
    return entryAt(ref).b;
}

std::optional<Ref> Reader::arrayAt(Ref ref, std::uint64_t index) const {
    const std::optional<std::uint64_t> count = arrayCount(ref);
    if (!count || index >= *count) return std::nullopt;
    return refAt(entryAt(ref).a + index * refSize_);
}

std::optional<std::uint64_t> Reader::dictCount(Ref ref) const {
    const auto e = entryOf(ref, Kind::Dict);
    if (!e) return std::nullopt;
    return e->b;
}

std::optional<Ref> Reader::dictKeyAt(Ref ref, std::uint64_t index) const {
    const auto e = entryOf(ref, Kind::Dict);
    if (!e || index >= e->b) return std::nullopt;
    return refAt(e->a + index * refSize_);
}

std::optional<Ref> Reader::dictValueAt(Ref ref, std::uint64_t index) const {
    const auto e = entryOf(ref, Kind::Dict);
    if (!e || index >= e->b) return std::nullopt;
    return refAt(e->a + (e->b + index) * refSize_);
}

std::optional<Ref> Reader::dictLookup(Ref ref, std::string_view key) const {
    const auto e = entryOf(ref, Kind::Dict);
    if (!e) return std::nullopt;
    for (std::uint64_t i = 0; i < e->b; ++i) {
        const std::optional<Ref> k = refAt(e->a + i * refSize_);
        if (!k) continue;
        bool equal = false;
        if (const auto ascii = asAsciiString(*k)) {
            equal = *ascii == key;
        } else if (const auto text = asString(*k)) {
            equal = *text == key;
        }
        if (equal) return refAt(e->a + (e->b + i) * refSize_);
    }
    return std::nullopt;
}

}  // namespace velumen::plist
