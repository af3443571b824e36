#include "document/KeyedArchive.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "document/DisplayText.h"

namespace velumen {

namespace {

constexpr std::string_view kArchiverName = "NSKeyedArchiver";
constexpr std::int64_t kArchiveVersion = 100000;
// Every built object costs at least this much, whatever it holds.
constexpr std::uint64_t kObjectCharge = 64;

[[noreturn]] void fail(const std::string& what) { throw ArchiveError(what); }

std::string quoted(std::string_view key) { return "\"" + std::string(key) + "\""; }

// The numbers of "{x, y}" or "{{x, y}, {w, h}}" in order; what cannot be read stays 0.
void parseNumbers(std::string_view text, double* out, int count) {
    int found = 0;
    std::size_t i = 0;
    while (found < count && i < text.size()) {
        const char c = text[i];
        if (c == '{' || c == '}' || c == ',' || c == ' ' || c == '\t' || c == '\n' || c == '+') {
            ++i;
            continue;
        }
        double value = 0;
        const auto [end, ec] = std::from_chars(text.data() + i, text.data() + text.size(), value);
        if (ec != std::errc() && ec != std::errc::result_out_of_range) return;
        out[found++] = value;
        i = static_cast<std::size_t>(end - text.data());
    }
}

void appendNumber(std::string& out, double value) {
    char buffer[32];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, ec == std::errc() ? end : buffer);
}

std::int64_t truncateToInt64(double value) {
    if (std::isnan(value)) return 0;
    if (value >= 9223372036854775807.0) return std::numeric_limits<std::int64_t>::max();
    if (value <= -9223372036854775808.0) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(value);
}

}  // namespace

// ---- reading ----

KeyedUnarchiver::KeyedUnarchiver(std::span<const std::uint8_t> bytes, const ImageCodec* codec) : codec_(codec) {
    reader_ = plist::Reader::open(bytes);
    if (!reader_) fail("not a property list");
    const plist::Reader& r = *reader_;
    const plist::Ref top = r.top();
    if (r.kind(top) != plist::Kind::Dict) fail("not a keyed archive");
    const std::optional<plist::Ref> archiver = r.dictLookup(top, "$archiver");
    const std::optional<std::string_view> archiverName = archiver ? r.asAsciiString(*archiver) : std::nullopt;
    if (archiverName != kArchiverName) fail("not a keyed archive");
    const std::optional<plist::Ref> objects = r.dictLookup(top, "$objects");
    const std::optional<std::uint64_t> count = objects ? r.arrayCount(*objects) : std::nullopt;
    if (!count) fail("an archive without its objects");
    objects_ = *objects;
    objectCount_ = *count;
    const std::optional<plist::Ref> topDict = r.dictLookup(top, "$top");
    if (!topDict || r.kind(*topDict) != plist::Kind::Dict) fail("an archive without its top");
    topDict_ = *topDict;
    if (const std::optional<plist::Ref> root = r.dictLookup(*topDict, "root")) {
        rootUid_ = r.asUID(*root);
        if (!rootUid_) fail("a root that is not an object");
        if (*rootUid_ >= objectCount_) fail("a root outside the objects");
    }
    // Generous for any real book, small against what a hostile file could make an eager decoder build.
    budget_ = 16 * static_cast<std::uint64_t>(bytes.size()) + (4u << 20);
    workBudget_ = 64 * static_cast<std::uint64_t>(bytes.size()) + (16u << 20);
}

void KeyedUnarchiver::chargeWork(std::uint64_t entries) {
    if (entries > workBudget_ - work_) fail("the archive takes too long to search");
    work_ += entries;
}

KeyedUnarchiver::Memo& KeyedUnarchiver::memo(std::uint64_t uid) {
    if (memo_.empty()) memo_.resize(static_cast<std::size_t>((objectCount_ + kMemoChunk - 1) / kMemoChunk));
    std::unique_ptr<Memo[]>& chunk = memo_[static_cast<std::size_t>(uid / kMemoChunk)];
    if (!chunk) chunk = std::make_unique<Memo[]>(kMemoChunk);
    return chunk[uid % kMemoChunk];
}

void KeyedUnarchiver::chargeBytes(std::uint64_t bytes) {
    if (bytes > budget_ - charged_) fail("the archive asks for more memory than its size allows");
    charged_ += bytes;
}

plist::Ref KeyedUnarchiver::objectRef(std::uint64_t uid) const {
    if (uid >= objectCount_) fail("a reference outside the objects");
    const std::optional<plist::Ref> ref = reader_->arrayAtChecked(objects_, uid);
    if (!ref) fail("a malformed object table");
    return *ref;
}

bool KeyedUnarchiver::isKeyedObject(std::uint64_t uid) const {
    return reader_->kind(objectRef(uid)) == plist::Kind::Dict;
}

const std::string& KeyedUnarchiver::className(std::uint64_t uid) {
    static const std::string data = "NSData", string = "NSString", number = "NSNumber";
    const plist::Reader& r = *reader_;
    const plist::Ref ref = objectRef(uid);
    const std::optional<plist::Kind> kind = r.kind(ref);
    if (!kind) fail("a malformed object");
    switch (*kind) {
        case plist::Kind::Data:
            return data;
        case plist::Kind::String:
            return string;
        case plist::Kind::Int:
        case plist::Kind::Real:
        case plist::Kind::Bool:
            return number;
        case plist::Kind::Dict:
            break;
        default:
            fail("an object of no class");
    }
    chargeWork(r.dictCount(ref).value_or(0));
    return classNameOfRecord(r.dictLookup(ref, "$class"));
}

const std::string& KeyedUnarchiver::classNameOfRecord(std::optional<plist::Ref> classRef) {
    const plist::Reader& r = *reader_;
    const std::optional<std::uint64_t> classUid = classRef ? r.asUID(*classRef) : std::nullopt;
    if (!classUid) fail("an object without its class");
    if (const auto known = classNames_.find(*classUid); known != classNames_.end()) return known->second;
    const plist::Ref record = objectRef(*classUid);
    const std::optional<plist::Ref> nameRef =
        r.kind(record) == plist::Kind::Dict ? r.dictLookup(record, "$classname") : std::nullopt;
    std::optional<std::string> name = nameRef ? r.asString(*nameRef) : std::nullopt;
    if (!name) fail("a malformed class record");
    chargeBytes(kObjectCharge + name->size());
    return classNames_.emplace(*classUid, std::move(*name)).first->second;
}

KeyedDecoder KeyedUnarchiver::topDecoder() {
    KeyedDecoder top(*this, 0, false, 0);
    top.isTop_ = true;
    return top;
}

std::optional<plist::Ref> KeyedDecoder::rawValue(std::string_view key) const {
    const plist::Reader& r = unarchiver_->reader();
    const plist::Ref self = isTop_ ? unarchiver_->topDict_ : unarchiver_->objectRef(uid_);
    if (!isDictionary_) {
        if (!index_.built) {
            index_.built = true;
            index_.count = static_cast<std::size_t>(r.dictCount(self).value_or(0));
            unarchiver_->chargeWork(index_.count);
            index_.usable = index_.count <= kIndexedKeys;
            for (std::size_t i = 0; index_.usable && i < index_.count; ++i) {
                const std::optional<plist::Ref> k = r.dictKeyAt(self, i);
                const std::optional<plist::Ref> v = r.dictValueAt(self, i);
                const std::optional<std::string_view> name = k ? r.asAsciiString(*k) : std::nullopt;
                index_.usable = name && v;
                if (index_.usable) {
                    index_.keys[i] = *name;
                    index_.values[i] = *v;
                }
            }
        }
        if (!index_.usable) {
            unarchiver_->chargeWork(index_.count);
            return r.dictLookup(self, key);
        }
        for (std::size_t i = 0; i < index_.count; ++i) {
            if (index_.keys[i] == key) return index_.values[i];
        }
        return std::nullopt;
    }
    const std::optional<plist::Ref> keys = r.dictLookup(self, "NS.keys");
    const std::optional<plist::Ref> objects = r.dictLookup(self, "NS.objects");
    const std::optional<std::uint64_t> count = keys ? r.arrayCount(*keys) : std::nullopt;
    if (!count || !objects || r.arrayCount(*objects) != count) fail("a malformed dictionary");
    unarchiver_->chargeWork(*count);
    for (std::uint64_t i = 0; i < *count; ++i) {
        const std::optional<plist::Ref> keyRef = r.arrayAt(*keys, i);
        const std::optional<std::uint64_t> keyUid = keyRef ? r.asUID(*keyRef) : std::nullopt;
        if (!keyUid) fail("a malformed dictionary key");
        const plist::Ref keyString = unarchiver_->objectRef(*keyUid);
        const std::optional<std::string_view> ascii = r.asAsciiString(keyString);
        if (ascii ? *ascii == key : r.asString(keyString) == std::optional<std::string>(key))
            return r.arrayAt(*objects, i);
    }
    return std::nullopt;
}

std::optional<plist::Ref> KeyedDecoder::valueRef(std::string_view key) const {
    const std::optional<plist::Ref> value = rawValue(key);
    if (!value) return std::nullopt;
    const plist::Reader& r = unarchiver_->reader();
    if (r.kind(*value) == plist::Kind::UID) {
        const std::uint64_t uid = *r.asUID(*value);
        if (uid == 0) return std::nullopt;
        return unarchiver_->objectRef(uid);
    }
    return value;
}

std::optional<std::uint64_t> KeyedDecoder::uidForKey(std::string_view key) const {
    const std::optional<plist::Ref> value = rawValue(key);
    if (!value) return std::nullopt;
    const std::optional<std::uint64_t> uid = unarchiver_->reader().asUID(*value);
    if (!uid) fail("no object under " + quoted(key));
    if (*uid >= unarchiver_->objectCount_) fail("a reference outside the objects under " + quoted(key));
    return uid;
}

bool KeyedDecoder::containsValueForKey(std::string_view key) const { return rawValue(key).has_value(); }

std::int64_t KeyedDecoder::decodeInt64ForKey(std::string_view key) const {
    const std::optional<plist::Ref> value = valueRef(key);
    if (!value) return 0;
    const plist::Reader& r = unarchiver_->reader();
    switch (r.kind(*value).value_or(plist::Kind::Null)) {
        case plist::Kind::Int:
            return *r.asInt(*value);
        case plist::Kind::Real:
            return truncateToInt64(*r.asReal(*value));
        case plist::Kind::Bool:
            return *r.asBool(*value) ? 1 : 0;
        default:
            fail("no number under " + quoted(key));
    }
}

std::int32_t KeyedDecoder::decodeInt32ForKey(std::string_view key) const {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(decodeInt64ForKey(key))));
}

double KeyedDecoder::decodeDoubleForKey(std::string_view key) const {
    const std::optional<plist::Ref> value = valueRef(key);
    if (!value) return 0;
    const plist::Reader& r = unarchiver_->reader();
    switch (r.kind(*value).value_or(plist::Kind::Null)) {
        case plist::Kind::Real:
            return *r.asReal(*value);
        case plist::Kind::Int:
            return static_cast<double>(*r.asInt(*value));
        case plist::Kind::Bool:
            return *r.asBool(*value) ? 1.0 : 0.0;
        default:
            fail("no number under " + quoted(key));
    }
}

bool KeyedDecoder::decodeBoolForKey(std::string_view key) const {
    const std::optional<plist::Ref> value = valueRef(key);
    if (!value) return false;
    const plist::Reader& r = unarchiver_->reader();
    switch (r.kind(*value).value_or(plist::Kind::Null)) {
        case plist::Kind::Bool:
            return *r.asBool(*value);
        case plist::Kind::Int:
            return *r.asInt(*value) != 0;
        case plist::Kind::Real:
            return *r.asReal(*value) != 0;
        default:
            fail("no boolean under " + quoted(key));
    }
}

Point KeyedDecoder::decodeCGPointForKey(std::string_view key) const {
    const std::optional<std::string> text = decodeStringForKey(key);
    double n[2] = {0, 0};
    if (text) parseNumbers(*text, n, 2);
    return {n[0], n[1]};
}

Rect KeyedDecoder::decodeCGRectForKey(std::string_view key) const {
    const std::optional<std::string> text = decodeStringForKey(key);
    double n[4] = {0, 0, 0, 0};
    if (text) parseNumbers(*text, n, 4);
    return {n[0], n[1], n[2], n[3]};
}

std::optional<std::span<const std::uint8_t>> KeyedDecoder::decodeDataForKey(std::string_view key) const {
    const std::optional<std::uint64_t> uid = uidForKey(key);
    if (!uid || *uid == 0) return std::nullopt;
    const plist::Reader& r = unarchiver_->reader();
    const plist::Ref ref = unarchiver_->objectRef(*uid);
    if (r.kind(ref) != plist::Kind::Dict) {
        if (std::optional<std::span<const std::uint8_t>> bytes = r.asData(ref)) return bytes;
        fail("no bytes under " + quoted(key));
    }
    const std::string& cls = unarchiver_->className(*uid);
    if (cls != "NSMutableData" && cls != "NSData") fail("no bytes under " + quoted(key));
    const KeyedDecoder inner(*unarchiver_, *uid, false, depth_ + 1);
    const std::optional<plist::Ref> data = inner.valueRef("NS.data");
    std::optional<std::span<const std::uint8_t>> bytes = data ? r.asData(*data) : std::nullopt;
    if (!bytes) fail("malformed bytes under " + quoted(key));
    return bytes;
}

std::optional<std::string> KeyedDecoder::decodeStringForKey(std::string_view key) const {
    const std::optional<std::uint64_t> uid = uidForKey(key);
    if (!uid || *uid == 0) return std::nullopt;
    return stringAt(*uid, key);
}

std::string KeyedDecoder::stringAt(std::uint64_t uid, std::string_view key) const {
    const plist::Reader& r = unarchiver_->reader();
    plist::Ref ref = unarchiver_->objectRef(uid);
    if (r.kind(ref) == plist::Kind::Dict) {
        const std::string& cls = unarchiver_->className(uid);
        if (cls != "NSMutableString" && cls != "NSString") fail("no text under " + quoted(key));
        const KeyedDecoder inner(*unarchiver_, uid, false, depth_ + 1);
        const std::optional<plist::Ref> text = inner.valueRef("NS.string");
        if (!text) fail("malformed text under " + quoted(key));
        ref = *text;
    }
    std::optional<std::string> text = r.asString(ref);
    if (!text) fail("no text under " + quoted(key));
    unarchiver_->chargeBytes(text->size());
    return std::move(*text);
}

KeyedDecoder::ArrayMembers KeyedDecoder::arrayMembers(std::uint64_t uid, std::string_view key) const {
    const std::string& arrayClass = unarchiver_->className(uid);
    if (arrayClass != "NSArray" && arrayClass != "NSMutableArray")
        fail("an array was expected under " + quoted(key));
    if (depth_ + 1 > KeyedUnarchiver::kMaxDepth) fail("objects nested too deeply");
    const KeyedDecoder arrayCoder(*unarchiver_, uid, false, depth_ + 1);
    const std::optional<plist::Ref> members = arrayCoder.valueRef("NS.objects");
    const std::optional<std::uint64_t> count =
        members ? unarchiver_->reader().arrayCount(*members) : std::nullopt;
    if (!count) fail("an array without its members");
    return {*members, *count};
}

std::optional<std::vector<double>> KeyedDecoder::decodeNumberArrayForKey(std::string_view key) const {
    const std::optional<std::uint64_t> uid = uidForKey(key);
    if (!uid || *uid == 0) return std::nullopt;
    const auto [members, count] = arrayMembers(*uid, key);
    const plist::Reader& r = unarchiver_->reader();
    unarchiver_->chargeBytes(count * sizeof(double));
    std::vector<double> numbers;
    numbers.reserve(static_cast<std::size_t>(count));
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::optional<plist::Ref> member = r.arrayAt(members, i);
        const std::optional<std::uint64_t> memberUid = member ? r.asUID(*member) : std::nullopt;
        if (!memberUid || *memberUid == 0) fail("an array member that is not an object under " + quoted(key));
        const plist::Ref value = unarchiver_->objectRef(*memberUid);
        switch (r.kind(value).value_or(plist::Kind::Null)) {
            case plist::Kind::Real:
                numbers.push_back(*r.asReal(value));
                break;
            case plist::Kind::Int:
                numbers.push_back(static_cast<double>(*r.asInt(value)));
                break;
            case plist::Kind::Bool:
                numbers.push_back(*r.asBool(value) ? 1.0 : 0.0);
                break;
            default:
                fail("an array member that is not a number under " + quoted(key));
        }
    }
    return numbers;
}

std::optional<std::vector<std::string>> KeyedDecoder::decodeStringArrayForKey(std::string_view key) const {
    const std::optional<std::uint64_t> uid = uidForKey(key);
    if (!uid || *uid == 0) return std::nullopt;
    const auto [members, count] = arrayMembers(*uid, key);
    const plist::Reader& r = unarchiver_->reader();
    unarchiver_->chargeBytes(count * sizeof(std::string));
    std::vector<std::string> texts;
    texts.reserve(static_cast<std::size_t>(count));
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::optional<plist::Ref> member = r.arrayAt(members, i);
        const std::optional<std::uint64_t> memberUid = member ? r.asUID(*member) : std::nullopt;
        if (!memberUid || *memberUid == 0 || *memberUid >= unarchiver_->objectCount_)
            fail("an array member that is not an object under " + quoted(key));
        texts.push_back(stringAt(*memberUid, key));
    }
    return texts;
}

std::optional<double> KeyedDecoder::decodeDateForKey(std::string_view key) const {
    const std::optional<std::uint64_t> uid = uidForKey(key);
    if (!uid || *uid == 0) return std::nullopt;
    if (unarchiver_->className(*uid) != "NSDate") fail("no date under " + quoted(key));
    const KeyedDecoder inner(*unarchiver_, *uid, false, depth_ + 1);
    const std::optional<plist::Ref> time = inner.valueRef("NS.time");
    const plist::Reader& r = unarchiver_->reader();
    std::optional<double> seconds = time ? r.asReal(*time) : std::nullopt;
    if (!seconds && time) {
        if (const std::optional<std::int64_t> whole = r.asInt(*time)) seconds = static_cast<double>(*whole);
    }
    if (!seconds) fail("a malformed date under " + quoted(key));
    return seconds;
}

std::optional<std::string> KeyedDecoder::classNameForKey(std::string_view key) const {
    const std::optional<std::uint64_t> uid = uidForKey(key);
    if (!uid || *uid == 0) return std::nullopt;
    return unarchiver_->className(*uid);
}

const ImageCodec* KeyedDecoder::imageCodec() const { return unarchiver_->imageCodec(); }

KeyedDecoder KeyedDecoder::childCoder(std::uint64_t uid, std::initializer_list<std::string_view> classNames) const {
    KeyedUnarchiver& u = *unarchiver_;
    if (!u.isKeyedObject(uid)) fail("a bare value where an object was expected");
    // The object's keys are indexed once, "$class" among them.
    KeyedDecoder child(u, uid, false, depth_ + 1);
    const std::string& cls = u.classNameOfRecord(child.rawValue("$class"));
    bool known = false;
    for (std::string_view name : classNames) known = known || name == cls;
    // The name is the file's own text: it reaches messages escaped.
    if (!known) fail("an object of the unexpected class " + escapedForDisplay(cls));
    if (depth_ + 1 > KeyedUnarchiver::kMaxDepth) fail("objects nested too deeply");
    u.chargeBytes(kObjectCharge);
    if (cls == "NSDictionary" || cls == "NSMutableDictionary") return KeyedDecoder(u, uid, true, depth_ + 1);
    return child;
}

std::shared_ptr<void> KeyedDecoder::decodeShared(std::uint64_t uid, const void* tag,
                                                 std::initializer_list<std::string_view> classNames,
                                                 std::shared_ptr<void> (*thunk)(const void*, const KeyedDecoder&),
                                                 const void* decode) const {
    KeyedUnarchiver& u = *unarchiver_;
    if (uid == 0 || uid >= u.objectCount_) fail("a reference outside the objects");
    KeyedUnarchiver::Memo& memo = u.memo(uid);
    if (memo.inProgress) fail("an object that contains itself");
    if (memo.tag) {
        if (memo.tag != tag) fail("one object read as two different kinds");
        return memo.object;
    }
    const KeyedDecoder child = childCoder(uid, classNames);
    memo.inProgress = true;
    std::shared_ptr<void> object = thunk(decode, child);
    memo.object = object;
    memo.tag = tag;
    memo.inProgress = false;
    return object;
}

// ---- writing ----

KeyedArchiver::KeyedArchiver(const ImageCodec* codec) : codec_(codec) { objects_.push_back(string("$null")); }

plist::Ref KeyedArchiver::string(std::string_view text) {
    if (const auto known = strings_.find(text); known != strings_.end()) return known->second;
    const plist::Ref ref = writer_.addString(text);
    strings_.emplace(std::string(text), ref);
    return ref;
}

plist::Ref KeyedArchiver::uidRef(std::uint64_t uid) {
    auto [it, added] = uidRefs_.try_emplace(uid, 0);
    if (added) it->second = writer_.addUID(uid);
    return it->second;
}

std::uint64_t KeyedArchiver::reserve() {
    objects_.push_back(0);
    return objects_.size() - 1;
}

std::uint64_t KeyedArchiver::addValueObject(plist::Ref ref) {
    objects_.push_back(ref);
    return objects_.size() - 1;
}

plist::Ref KeyedArchiver::classRecord(ArchiveClass classChain) {
    const std::string name(*classChain.begin());
    auto [it, added] = classes_.try_emplace(name, 0);
    if (added) {
        std::vector<plist::Ref> chain;
        for (std::string_view cls : classChain) chain.push_back(string(cls));
        const plist::Ref keys[] = {string("$classes"), string("$classname")};
        const plist::Ref values[] = {writer_.addArray(chain), string(name)};
        it->second = uidRef(addValueObject(writer_.addDict(keys, values)));
    }
    return it->second;
}

plist::Ref KeyedArchiver::finishObject(KeyedEncoder& encoder, ArchiveClass classChain) {
    openKeys_.push_back(string("$class"));
    openValues_.push_back(classRecord(classChain));
    const auto start = static_cast<std::ptrdiff_t>(encoder.start_);
    const plist::Ref dict = writer_.addDict(std::span(openKeys_).subspan(encoder.start_),
                                            std::span(openValues_).subspan(encoder.start_));
    openKeys_.erase(openKeys_.begin() + start, openKeys_.end());
    openValues_.erase(openValues_.begin() + start, openValues_.end());
    return dict;
}

std::uint64_t KeyedArchiver::encodeTyped(const void* object, ArchiveClass classChain,
                                         void (*thunk)(const void*, const void*, KeyedEncoder&),
                                         const void* encode) {
    // Identity is the address and the class together: a value inside an object may share its address.
    const Identity identity{object, std::hash<std::string_view>()(*classChain.begin())};
    auto [it, added] = identities_.try_emplace(identity, 0);
    if (!added) return it->second;
    const std::uint64_t uid = reserve();
    it->second = uid;
    KeyedEncoder coder(*this);
    thunk(encode, object, coder);
    setObject(uid, finishObject(coder, classChain));
    return uid;
}

std::optional<std::vector<std::uint8_t>> KeyedArchiver::finish(std::uint64_t rootUid) {
    std::vector<std::uint8_t> out;
    if (!finishInto(rootUid, out)) return std::nullopt;
    return out;
}

bool KeyedArchiver::finishInto(std::uint64_t rootUid, std::vector<std::uint8_t>& out) {
    const plist::Ref rootKey[] = {string("root")};
    const plist::Ref rootValue[] = {uidRef(rootUid)};
    return finishWithTop(writer_.addDict(rootKey, rootValue), out);
}

bool KeyedArchiver::finishTopLevelInto(KeyedEncoder& top, std::vector<std::uint8_t>& out) {
    const plist::Ref dict =
        writer_.addDict(std::span(openKeys_).subspan(top.start_), std::span(openValues_).subspan(top.start_));
    openKeys_.resize(top.start_);
    openValues_.resize(top.start_);
    return finishWithTop(dict, out);
}

plist::Ref KeyedArchiver::addValueArray(std::span<const plist::Ref> values, ArchiveClass arrayClass) {
    const std::uint64_t arrayUid = reserve();
    std::vector<plist::Ref> members;
    members.reserve(values.size());
    for (const plist::Ref value : values)
        members.push_back(uidRef(addValueObject(value)));
    KeyedEncoder arrayCoder(*this);
    arrayCoder.add("NS.objects", writer_.addArray(members));
    setObject(arrayUid, finishObject(arrayCoder, arrayClass));
    return uidRef(arrayUid);
}

bool KeyedArchiver::finishWithTop(plist::Ref top, std::vector<std::uint8_t>& out) {
    const plist::Ref keys[] = {string("$version"), string("$archiver"), string("$top"), string("$objects")};
    const plist::Ref values[] = {writer_.addInt(kArchiveVersion), string(kArchiverName), top,
                                 writer_.addArray(objects_)};
    return writer_.finishInto(writer_.addDict(keys, values), out);
}

KeyedEncoder::KeyedEncoder(KeyedArchiver& archiver) : archiver_(&archiver), start_(archiver.openKeys_.size()) {}

const ImageCodec* KeyedEncoder::imageCodec() const { return archiver_->imageCodec(); }

void KeyedEncoder::add(std::string_view key, plist::Ref value) {
    archiver_->openKeys_.push_back(archiver_->string(key));
    archiver_->openValues_.push_back(value);
}

void KeyedEncoder::addScalar(std::string_view key, plist::Ref value) {
    add(key, isDictionary_ ? archiver_->uidRef(archiver_->addValueObject(value)) : value);
}

void KeyedEncoder::encodeInt(std::string_view key, std::int64_t value) {
    addScalar(key, archiver_->writer_.addInt(value));
}

void KeyedEncoder::encodeFloat(std::string_view key, float value) {
    addScalar(key, archiver_->writer_.addReal32(value));
}

void KeyedEncoder::encodeDouble(std::string_view key, double value) {
    addScalar(key, archiver_->writer_.addReal(value));
}

void KeyedEncoder::encodeBool(std::string_view key, bool value) { addScalar(key, archiver_->writer_.addBool(value)); }

void KeyedEncoder::encodeCGPoint(std::string_view key, Point value) {
    std::string text = "{";
    appendNumber(text, value.x);
    text += ", ";
    appendNumber(text, value.y);
    text += "}";
    encodeString(key, text);
}

void KeyedEncoder::encodeCGRect(std::string_view key, Rect value) {
    std::string text = "{{";
    appendNumber(text, value.x);
    text += ", ";
    appendNumber(text, value.y);
    text += "}, {";
    appendNumber(text, value.width);
    text += ", ";
    appendNumber(text, value.height);
    text += "}}";
    encodeString(key, text);
}

void KeyedEncoder::encodeData(std::string_view key, std::span<const std::uint8_t> bytes) {
    add(key, archiver_->uidRef(archiver_->addValueObject(archiver_->writer_.addData(bytes))));
}

void KeyedEncoder::encodeOwnedData(std::string_view key, std::vector<std::uint8_t> bytes) {
    archiver_->ownedData_.push_back(std::make_unique<std::vector<std::uint8_t>>(std::move(bytes)));
    encodeData(key, *archiver_->ownedData_.back());
}

void KeyedEncoder::encodeString(std::string_view key, std::string_view utf8) {
    add(key, archiver_->uidRef(archiver_->addValueObject(archiver_->string(utf8))));
}

void KeyedEncoder::encodeDate(std::string_view key, double secondsSinceReferenceDate) {
    KeyedEncoder date(*archiver_);
    date.add("NS.time", archiver_->writer_.addReal(secondsSinceReferenceDate));
    const plist::Ref dict = archiver_->finishObject(date, {"NSDate", "NSObject"});
    add(key, archiver_->uidRef(archiver_->addValueObject(dict)));
}

void KeyedEncoder::encodeNil(std::string_view key) { add(key, archiver_->uidRef(0)); }

void KeyedEncoder::encodeFloatArray(std::string_view key, std::span<const float> values,
                                    ArchiveClass arrayClass) {
    std::vector<plist::Ref> numbers;
    numbers.reserve(values.size());
    for (const float value : values)
        numbers.push_back(archiver_->writer_.addReal32(value));
    add(key, archiver_->addValueArray(numbers, arrayClass));
}

void KeyedEncoder::encodeStringArray(std::string_view key, std::span<const std::string> values,
                                     ArchiveClass arrayClass) {
    std::vector<plist::Ref> texts;
    texts.reserve(values.size());
    for (const std::string& value : values)
        texts.push_back(archiver_->string(value));
    add(key, archiver_->addValueArray(texts, arrayClass));
}

}  // namespace velumen
