// Binary property lists ("bplist00"): the container under book files and clipboard items.
//
// Reader: a lazy, bounds-checked view over bytes the caller owns (usually a mapped file). Objects are
// decoded one at a time, by index, when first asked for; the decoded header of each object (its kind,
// where its payload starts, its count or scalar value) is memoised in a small flat table. The reader never
// recurses and never decodes a container's members on its own, so self-referencing or very deep
// containers cost nothing until a caller walks them; walking is the caller's business. Every accessor
// answers std::nullopt for a malformed object, a wrong kind or a reference outside the object table.
//
// Writer: a flat table of objects built by add* calls, each returning the object's index, serialised once
// by finish() into a buffer whose size is computed exactly beforehand. Integers take the fewest bytes of
// 1, 2, 4 or 8 (negative ones 8); offsets and object references take the fewest of 1, 2, 4 or 8 bytes that
// hold every value. Equal numbers and booleans are stored once. The same calls give the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace velumen::plist {

// The index of an object in the object table.
using Ref = std::uint64_t;

enum class Kind : std::uint8_t {
    Null,
    Bool,
    Int,
    Real,
    Date,
    Data,
    String,
    UID,
    Array,
    Set,
    Dict,
};

// Not safe for concurrent use: the accessors are const but fill the memo table.
class Reader {
  public:
    // Checks the header and the trailer: sizes of offsets and references in 1..8, at least one object, the
    // top object inside the table, the offset table between the header and the trailer. Individual objects
    // are only checked when they are first used.
    static std::optional<Reader> open(std::span<const std::uint8_t> bytes);

    Ref top() const { return top_; }
    std::uint64_t objectCount() const { return objectCount_; }

    std::optional<Kind> kind(Ref ref) const;

    std::optional<bool> asBool(Ref ref) const;
    // Integers of 1, 2 and 4 bytes are unsigned, of 8 bytes signed; 16-byte integers are accepted when
    // their value fits in 64 signed bits.
    std::optional<std::int64_t> asInt(Ref ref) const;
    // Reals of 4 or 8 bytes; a 4-byte real is widened exactly.
    std::optional<double> asReal(Ref ref) const;
    // Seconds since 1 January 2001 UTC.
    std::optional<double> asDate(Ref ref) const;
    std::optional<std::uint64_t> asUID(Ref ref) const;

    // A view into the caller's bytes.
    std::optional<std::span<const std::uint8_t>> asData(Ref ref) const;
    // The text in UTF-8. An ASCII string holding a byte above 0x7F, or a UTF-16 string holding an unpaired
    // surrogate, is malformed and gives std::nullopt (no replacement characters).
    std::optional<std::string> asString(Ref ref) const;
    // A view into the caller's bytes; only for strings stored in the ASCII form.
    std::optional<std::string_view> asAsciiString(Ref ref) const;

    // Arrays and sets (a set is read as an array in file order).
    std::optional<std::uint64_t> arrayCount(Ref ref) const;
    std::optional<Ref> arrayAt(Ref ref, std::uint64_t index) const;
    // arrayAt for an array whose count the caller has already taken, with an index below it.
    std::optional<Ref> arrayAtChecked(Ref ref, std::uint64_t index) const { return refAt(entryAt(ref).a + index * refSize_); }

    std::optional<std::uint64_t> dictCount(Ref ref) const;
    std::optional<Ref> dictKeyAt(Ref ref, std::uint64_t index) const;
    std::optional<Ref> dictValueAt(Ref ref, std::uint64_t index) const;
    // The value of the first entry whose key is a string equal to `key` (UTF-8). Linear in the entries.
    std::optional<Ref> dictLookup(Ref ref, std::string_view key) const;

  private:
    // The memoised header of one object. For integers, reals, dates and UIDs `a` holds the value (reals as
    // the bits of a double); for data, strings and containers `a` is the payload offset and `b` the count.
    struct Entry {
        std::uint64_t a = 0;
        std::uint64_t b = 0;
    };
    // States in state_: 0 not yet decoded, kBad malformed, otherwise 1 + the value of Kind. String
    // entries in the UTF-16 form are marked by kUtf16Flag.
    static constexpr std::uint8_t kBad = 0xFF;
    static constexpr std::uint8_t kUtf16Flag = 0x80;

    Reader(std::span<const std::uint8_t> bytes, unsigned offsetSize, unsigned refSize, std::uint64_t count,
           Ref top, std::uint64_t tableOffset);

    // Decodes the header of `ref` on first use. Returns false when the object is malformed or `ref` is
    // outside the table.
    bool decode(Ref ref) const;
    bool decodeObject(Ref ref, Entry& entry, std::uint8_t& state) const;
    std::optional<Entry> entryOf(Ref ref, Kind want) const;
    std::optional<Ref> refAt(std::uint64_t offset) const;
    std::uint64_t readUnsigned(std::uint64_t offset, unsigned size) const;

    std::span<const std::uint8_t> bytes_;
    unsigned offsetSize_ = 0;
    unsigned refSize_ = 0;
    std::uint64_t objectCount_ = 0;
    Ref top_ = 0;
    // Objects lie in [8, tableOffset_).
    std::uint64_t tableOffset_ = 0;

    // The memo, in chunks made when an object in them is first decoded, so that opening a large file and
    // reading a few objects of it costs no more than a small one.
    static constexpr std::uint64_t kChunkSize = 1024;
    struct Chunk {
        Entry entries[kChunkSize];
        std::uint8_t state[kChunkSize] = {};
    };
    Chunk& chunkOf(Ref ref) const;
    // Only for objects already decoded.
    const Entry& entryAt(Ref ref) const { return chunks_[ref / kChunkSize]->entries[ref % kChunkSize]; }
    std::uint8_t stateAt(Ref ref) const { return chunks_[ref / kChunkSize]->state[ref % kChunkSize]; }

    mutable std::vector<std::unique_ptr<Chunk>> chunks_;
};

class Writer {
  public:
    Ref addNull();
    Ref addBool(bool value);
    Ref addInt(std::int64_t value);
    Ref addReal(double value);
    Ref addReal32(float value);
    // Seconds since 1 January 2001 UTC.
    Ref addDate(double seconds);
    Ref addUID(std::uint64_t value);
    // The bytes are copied by finish(), not here: they must stay alive and unchanged until then.
    Ref addData(std::span<const std::uint8_t> bytes);
    // UTF-8 text, copied. Stored in the ASCII form when every byte is below 0x80, otherwise as UTF-16BE.
    // Text that is not valid UTF-8 makes finish() fail.
    Ref addString(std::string_view utf8);
    // Members may refer to objects added later; every reference is checked by finish().
    Ref addArray(std::span<const Ref> members);
    // Keys and values pair up by position; lists of different lengths make finish() fail.
    Ref addDict(std::span<const Ref> keys, std::span<const Ref> values);

    std::uint64_t objectCount() const { return objects_.size(); }

    // Serialises the table with `top` as the top object. Fails (std::nullopt) when the table is empty,
    // `top` or a member reference is outside it, or an add* call was given invalid input.
    std::optional<std::vector<std::uint8_t>> finish(Ref top) const;
    // The same into `out`, whose storage is reused when it is large enough (a save that recurs need not
    // fault in a new buffer each time). False, with `out` unspecified, where finish() fails.
    bool finishInto(Ref top, std::vector<std::uint8_t>& out) const;

  private:
    struct Object {
        std::uint8_t marker = 0;  // high nibble: type; for scalars the full marker byte
        std::uint64_t value = 0;  // scalar bits, or the start in refs_/text_
        std::uint64_t count = 0;  // members, dictionary entries, data bytes or string units
        const std::uint8_t* data = nullptr;
    };

    Ref push(const Object& object);
    Ref pushScalar(const Object& object);
    std::uint64_t encodedSize(const Object& object, unsigned refSize) const;

    std::vector<Object> objects_;
    std::vector<Ref> refs_;
    // ASCII bytes or UTF-16BE bytes of the strings, back to back.
    std::vector<std::uint8_t> text_;
    bool invalid_ = false;
    struct ScalarHash {
        std::size_t operator()(const std::pair<std::uint8_t, std::uint64_t>& s) const {
            return std::hash<std::uint64_t>()(s.second * 0x9E3779B97F4A7C15ull + s.first);
        }
    };
    std::unordered_map<std::pair<std::uint8_t, std::uint64_t>, Ref, ScalarHash> scalars_;
};

}  // namespace velumen::plist
