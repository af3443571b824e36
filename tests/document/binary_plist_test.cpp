#include "document/BinaryPlist.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include <gtest/gtest.h>

#include "fixtures/archive_test_support.h"

namespace velumen::plist {
namespace {

using namespace archive_test;

// The independent oracle, Python's plistlib: "write F" stores the fixture in F; then F is printed as true,
// false, i:<n>, u:<n>, r:<double bits>, t:<bits of seconds since 2001>, d:<hex>, s:<UTF-8 hex>, [a,b], {k:v}.
const char* const kOracle = R"PY(
import datetime, plistlib, struct, sys
EPOCH = datetime.datetime(2001, 1, 1)
def bits(x): return str(struct.unpack('>Q', struct.pack('>d', x))[0])
def canon(o):
    if isinstance(o, bool): return 'true' if o else 'false'
    if isinstance(o, plistlib.UID): return 'u:%d' % o.data
    if isinstance(o, int): return 'i:%d' % o
    if isinstance(o, float): return 'r:' + bits(o)
    if isinstance(o, datetime.datetime): return 't:' + bits((o - EPOCH).total_seconds())
    if isinstance(o, bytes): return 'd:' + o.hex()
    if isinstance(o, str): return 's:' + o.encode().hex()
    if isinstance(o, list): return '[' + ','.join(map(canon, o)) + ']'
    return '{' + ','.join(canon(k) + ':' + canon(v) for k, v in o.items()) + '}'
U, T = plistlib.UID, lambda s: EPOCH + datetime.timedelta(seconds=s)
FIXTURE = [
    [0, 14, 15, 255, 256, 65535, 65536, 2**32 - 1, 2**32, 2**63 - 1, -1, -255, -2**31, -2**63],
    [0.1, -0.0, 1.5, -3.5, 2.0**-149, 5e-324, -1e300, float('inf'), True, False, T(1e9), T(-0.5)],
    [b'', b'\x00\x01\xff', bytes(range(20)), bytes(range(256)) * 300],
    ['', 'x' * 14, 'y' * 15, 'h\xe9llo', 'a\U0001F600b', '\u20ac' * 20],
    {'$top': {'root': U(1)}, '$objects': ['$null', U(255), U(256), U(2**32), U(2**64 - 1)], 'cl\xe9': True},
    [list(range(300)), {'k%02d' % i: [] for i in range(16)}, [[[[]]]]]]
if sys.argv[1] == 'write':
    open(sys.argv[2], 'wb').write(plistlib.dumps(FIXTURE, fmt=plistlib.FMT_BINARY, sort_keys=False))
sys.stdout.write(canon(plistlib.load(open(sys.argv[2], 'rb'))))
)PY";

std::string hexOf(std::span<const std::uint8_t> bytes) {
    std::string s;
    for (const std::uint8_t b : bytes)
        s += {"0123456789abcdef"[b >> 4], "0123456789abcdef"[b & 15]};
    return s;
}

// The canonical text of a scalar; std::nullopt for containers and malformed objects.
std::optional<std::string> scalarText(const Reader& r, Ref ref) {
    const std::optional<Kind> k = r.kind(ref);
    if (k == Kind::Null) return "null";
    if (k == Kind::Bool) return *r.asBool(ref) ? "true" : "false";
    if (k == Kind::Int) return "i:" + std::to_string(*r.asInt(ref));
    if (k == Kind::UID) return "u:" + std::to_string(*r.asUID(ref));
    if (k == Kind::Real) return "r:" + std::to_string(std::bit_cast<std::uint64_t>(*r.asReal(ref)));
    if (k == Kind::Date) return "t:" + std::to_string(std::bit_cast<std::uint64_t>(*r.asDate(ref)));
    if (k == Kind::Data) return "d:" + hexOf(*r.asData(ref));
    if (const auto s = r.asString(ref))
        return "s:" + hexOf({reinterpret_cast<const std::uint8_t*>(s->data()), s->size()});
    return std::nullopt;
}

// Prints the graph from `root` in the canonical form, walking it with an explicit stack as a caller of the
// reader must. A container met again on its own path (a cycle) or a malformed object fails the walk.
std::optional<std::string> walk(const Reader& r, Ref root) {
    std::string text;
    std::vector<std::pair<Ref, std::uint64_t>> stack;  // the containers on the path and their next member
    std::vector<bool> onPath(r.objectCount());
    const auto count = [&](Ref c) { return r.dictCount(c).value_or(r.arrayCount(c).value_or(0)); };
    for (std::optional<Ref> ref = root;;) {
        const std::optional<Kind> k = ref ? r.kind(*ref) : std::nullopt;  // containers sort last
        const std::optional<std::string> s = ref ? scalarText(r, *ref) : std::nullopt;
        if (k >= Kind::Array ? onPath[*ref] : !s) return std::nullopt;
        text += k == Kind::Dict ? "{" : k >= Kind::Array ? "[" : *s;
        if (k >= Kind::Array) stack.emplace_back(*ref, 0), onPath[*ref] = true;
        for (; !stack.empty() && stack.back().second == count(stack.back().first); stack.pop_back()) {
            text += r.dictCount(stack.back().first) ? '}' : ']';
            onPath[stack.back().first] = false;
        }
        if (stack.empty()) return text;
        auto& [c, next] = stack.back();
        const std::optional<std::string> key = scalarText(r, r.dictKeyAt(c, next).value_or(~Ref{0}));
        if (r.dictCount(c) && !key) return std::nullopt;
        text += (next == 0 ? "" : ",") + (key ? *key + ":" : "");
        ref = key ? r.dictValueAt(c, next++) : r.arrayAt(c, next++);
    }
}

std::optional<std::string> canonOf(std::span<const std::uint8_t> bytes) {
    const std::optional<Reader> r = Reader::open(bytes);
    return r ? walk(*r, r->top()) : std::nullopt;
}

// Copies the object table one for one (members may refer to objects added later), keeping every reference.
// With `narrow`, reals that a float holds exactly are written in four bytes.
std::optional<Bytes> copy(const Reader& r, bool narrow) {
    Writer w;
    for (Ref ref = 0; ref < r.objectCount(); ++ref) {
        std::vector<Ref> keys, members;
        for (std::uint64_t i = 0; i < r.dictCount(ref).value_or(r.arrayCount(ref).value_or(0)); ++i) {
            keys.push_back(r.dictKeyAt(ref, i).value_or(0));
            members.push_back(r.dictValueAt(ref, i).value_or(r.arrayAt(ref, i).value_or(0)));
        }
        const std::optional<Kind> k = r.kind(ref);
        const float f = static_cast<float>(r.asReal(ref).value_or(0));  // the real, if a float holds it
        if (k == Kind::Real) (narrow && f == r.asReal(ref)) ? w.addReal32(f) : w.addReal(*r.asReal(ref));
        if (k == Kind::Bool) w.addBool(*r.asBool(ref));
        if (k == Kind::Int) w.addInt(*r.asInt(ref));
        if (k == Kind::UID) w.addUID(*r.asUID(ref));
        if (k == Kind::Date) w.addDate(*r.asDate(ref));
        if (k == Kind::Data) w.addData(*r.asData(ref));
        if (k == Kind::String) w.addString(*r.asString(ref));
        if (k == Kind::Array) w.addArray(members);
        if (k == Kind::Dict) w.addDict(keys, members);
    }
    return w.finish(r.top());
}

TEST(BinaryPlist, AgreesWithPlistlibBothWays) {
    const TempDir dir;
    writeFile(dir.file("oracle.py"), Bytes(kOracle, kOracle + std::strlen(kOracle)));
    const auto oracle = [&](const std::string& args) {
        const auto out = runCommand("cd " + quoted(dir.path().string()) + " && python3 oracle.py " + args);
        EXPECT_TRUE(out) << "python3 with plistlib is this test's oracle";
        return out.value_or("");
    };
    const std::string expected = oracle("write theirs");
    const Bytes theirs = readFile(dir.file("theirs"));
    EXPECT_EQ(canonOf(theirs), expected);
    const Reader r = Reader::open(theirs).value();
    // The writer picks the smallest sizes as plistlib does, so a faithful copy is the same file.
    EXPECT_EQ(copy(r, false), theirs);
    const Bytes ours = copy(r, true).value();
    EXPECT_EQ(ours.capacity(), ours.size()) << "the size was not computed exactly";
    EXPECT_EQ(copy(r, true), ours);
    EXPECT_LT(ours.size(), theirs.size());
    EXPECT_EQ(canonOf(ours), expected);
    writeFile(dir.file("ours"), ours);
    EXPECT_EQ(oracle("read ours"), expected);
    // Lookups by key, one stored as UTF-16; views into the caller's bytes, for ASCII strings only.
    const Ref archive = r.arrayAt(r.top(), 4).value();
    EXPECT_EQ(r.asUID(r.dictLookup(r.dictLookup(archive, "$top").value(), "root").value()), 1u);
    EXPECT_EQ(r.asBool(r.dictLookup(archive, "cl\xC3\xA9").value()), true);
    EXPECT_FALSE(r.dictLookup(archive, "$to") || r.dictLookup(r.top(), "$top"));
    EXPECT_FALSE(r.asAsciiString(r.dictKeyAt(archive, 2).value()));
    const std::string_view file(reinterpret_cast<const char*>(theirs.data()), theirs.size());
    EXPECT_EQ(r.asAsciiString(r.dictKeyAt(archive, 0).value())->data(), &file[file.find("\x54$top") + 1]);
}

TEST(BinaryPlistWriter, ReferenceSizeBoundaryAndBadInput) {
    {
        Writer w;  // equal numbers are stored once; a different kind of the same bits is not equal
        EXPECT_EQ(w.addInt(7), w.addInt(7));
        EXPECT_NE(w.addReal32(1.0f), w.addReal(1.0));
        EXPECT_EQ(w.objectCount(), 3u);
    }
    for (const std::uint64_t n : {256u, 257u}) {  // 256 objects take one-byte references, 257 two
        Writer w;
        std::vector<Ref> refs(n - 1);
        std::int64_t next = 0;
        std::generate(refs.begin(), refs.end(), [&] { return w.addInt(next++); });
        const Bytes out = w.finish(w.addArray(refs)).value();
        EXPECT_EQ(out[out.size() - 25], n == 256 ? 1 : 2);
    }
    for (const char* text : {"\x80", "\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "ok\xFF"}) {
        Writer w;
        EXPECT_FALSE(w.finish(w.addString(text))) << text;
    }
    Writer w;
    const std::vector<Ref> one = {w.addInt(1)}, two = {0, 0};
    EXPECT_FALSE(Writer().finish(0) || w.finish(1));
    EXPECT_TRUE(w.finish(w.addDict(one, one)));
    Writer dangling = w;
    EXPECT_FALSE(dangling.finish(dangling.addArray(std::vector<Ref>{0, 7})));
    EXPECT_FALSE(w.finish(w.addDict(two, one)));
}

// `file` with the byte at `at` (counted from the end when negative) set to `value`.
Bytes patched(Bytes file, std::ptrdiff_t at, std::size_t value) {
    (at < 0 ? file.end() : file.begin())[at] = static_cast<std::uint8_t>(value);
    return file;
}

// Lays out a small file by hand: two-byte offsets, one-byte references, top 0. The trailer ends with offset
// and reference sizes (-26, -25), then the object count, top object and table offset (8 bytes each).
Bytes handMade(const std::vector<Bytes>& objects) {
    Bytes out = {'b', 'p', 'l', 'i', 's', 't', '0', '0'}, table;
    for (const Bytes& o : objects) {
        table.insert(table.end(), {0, static_cast<std::uint8_t>(out.size())});
        out.insert(out.end(), o.begin(), o.end());
    }
    const std::size_t tableOffset = out.size();
    out.insert(out.end(), table.begin(), table.end());
    out.resize(out.size() + 32);
    return patched(patched(patched(patched(out, -26, 2), -25, 1), -17, objects.size()), -1, tableOffset);
}

TEST(BinaryPlistReader, RejectsBrokenHeadersAndTrailers) {
    const Bytes good = handMade({{0xA1, 0x01}, {0x10, 0x2A}});
    EXPECT_EQ(canonOf(good), "[i:42]");
    for (std::size_t n = 0; n < good.size(); ++n)
        EXPECT_FALSE(Reader::open(std::span(good.data(), n))) << "truncated to " << n;
    // The magic; sizes outside 1..8; no objects, too many, or so many that count * size wraps around; the top
    // outside the table; the table inside the header, at the trailer, past the end or far past it.
    const std::size_t trailer = good.size() - 32;
    const std::pair<std::ptrdiff_t, std::size_t> broken[] = {
        {7, '1'},    {-26, 0}, {-26, 9}, {-25, 0},      {-25, 9}, {-17, 0},  {-17, 3},
        {-24, 0x80}, {-9, 2},  {-1, 4},  {-1, trailer}, {-2, 1},  {-8, 0xFF}};
    for (const auto& [at, value] : broken)
        EXPECT_FALSE(Reader::open(patched(good, at, value))) << at << " = " << value;
    // A table read from the wrong place, offsets at the table or the header, data running into the table.
    const std::pair<std::ptrdiff_t, std::size_t> moved[] = {
        {-1, 9}, {-33, trailer - 4}, {-33, 0}, {-38, 0x42}};
    for (const auto& [at, value] : moved)
        EXPECT_FALSE(Reader::open(patched(good, at, value)).value().kind(1)) << at << " = " << value;
}

TEST(BinaryPlistReader, MalformedObjectsFailAloneAndGraphsAreLeftToTheWalker) {
    const Bytes file = handMade({
        {0xA2, 0x00, 0x01},  // 0: itself and 1
        {0x14, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 251},  // -5
        {0x14, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0},                                  // 2^64
        patched(Bytes(33, 0), 0, 0x15),                                // a 32-byte integer
        {0x21, 0x3F, 0x80},                                            // a 2-byte real
        {0x22, 0x3F, 0xC0, 0x00, 0x00},                                // 5: 1.5 in four bytes
        {0x88, 1, 2, 3, 4, 5, 6, 7, 8, 9},                             // a 9-byte UID
        {0x4F, 0x13, 0x40, 0, 0, 0, 0, 0, 0, 0},                       // a huge count
        {0x4F, 0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},  // a negative count
        {0x4F, 0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1},  // a 16-byte count
        {0x62, 0xDC, 0x00, 0x00, 0x41},                                // a lone low surrogate
        {0x61, 0xD8, 0x3D, 0xDC, 0x00},  // an unpaired high surrogate (one unit)
        {0x52, 'a', 0xE9},               // 12: not ASCII
        {0x0F},                          // a fill byte
        {0xD2, 0x0C, 0x01, 0x01, 0x40},  // 14: 12 (a bad key, skipped) -> 1, 1 -> past the table
    });
    const Reader r = Reader::open(file).value();
    for (int pass = 0; pass < 2; ++pass) {  // the second pass answers from the memo
        for (const Ref bad : {0, 2, 3, 4, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15})
            EXPECT_FALSE(scalarText(r, bad)) << bad;
        EXPECT_EQ(r.asInt(1), -5);
        EXPECT_EQ(r.asReal(5), 1.5);
    }
    EXPECT_TRUE(r.arrayAt(0, 0) == 0u && !walk(r, 0));  // the reader follows the cycle, the walker sees it
    EXPECT_EQ(r.dictValueAt(14, 0), 1u);
    EXPECT_FALSE(r.dictValueAt(14, 1) || r.dictValueAt(14, 2) || r.dictLookup(14, "a\xE9"));
    EXPECT_FALSE(r.asBool(1) || r.asString(5) || r.arrayCount(14) || r.dictCount(0));  // wrong kinds
    // Deep nesting is the walker's business too: the reader never recurses.
    constexpr std::size_t kDepth = 100000;
    Writer w;
    Ref inner = w.addNull();
    for (std::size_t k = 0; k < kDepth; ++k)
        inner = w.addArray(std::span(&inner, 1));
    EXPECT_EQ(canonOf(w.finish(inner).value()), std::string(kDepth, '[') + "null" + std::string(kDepth, ']'));
}

TEST(BinaryPlistReader, CorruptedBytesNeverReadOutOfBounds) {
    Writer w;
    const Bytes blob(20, 0x5A);
    const Ref keys[] = {w.addString("v"), w.addString("\xC3\xA9"), w.addString(std::string(16, 'a'))};
    const Ref values[] = {w.addInt(-103), w.addReal32(2.5f), w.addData(blob)};
    const Ref members[] = {w.addDict(keys, values), w.addUID(3), w.addDate(1e9)};
    const Bytes good = w.finish(w.addArray(members)).value();
    const std::string reference = canonOf(good).value();
    std::size_t intact = 0;
    for (std::size_t at = 0; at < good.size(); ++at)
        for (const int value : {0x00, 0xFF, 0x0F, good[at] ^ 0x80})
            intact += canonOf(patched(good, static_cast<std::ptrdiff_t>(at), value & 0xFF)) == reference;
    // Some bytes are unused (trailer padding, equal replacements); most changes are seen.
    EXPECT_LT(intact, good.size() * 2);
}

}  // namespace
}  // namespace velumen::plist
