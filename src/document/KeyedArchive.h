// Keyed archives: an object graph in a binary property list, the form of book files, clipboard items and
// the objects kept in the settings.
//
// The top dictionary holds "$archiver" = "NSKeyedArchiver", "$version" = 100000, "$objects" (a flat
// array whose entry 0 is "$null") and "$top" = {"root": UID}. An object of a coded class is a dictionary
// of its keys plus "$class", the UID of a class record {"$classname", "$classes"}. UID 0 is nil. Scalars
// sit in place in their object's dictionary; objects are referred to by UID and stored once however
// often they are referred to.
//
// Decoding is lazy: a class's initWithCoder asks for the keys it wants, and only the objects under those
// keys are built. Each archive object is built once and shared by every reference to it. Anything that
// does not fit (a wrong kind or class under a key, a reference outside the table, a cycle, nesting
// deeper than kMaxDepth, more memory than the budget allows) raises ArchiveError, which the caller turns
// into "not a readable book".
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "document/BinaryPlist.h"
#include "ink/KGeometry.h"

namespace velumen {

class ImageCodec;

class ArchiveError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The class chain of a coded class as it is written in its class record: the class first, "NSObject"
// last.
using ArchiveClass = std::initializer_list<std::string_view>;

namespace archive_detail {
// One distinct address per type, to check that a shared object is asked for as the type it was built as.
template <class T>
inline const char typeTag = 0;
}  // namespace archive_detail

class KeyedUnarchiver;

// The object being decoded, as its initWithCoder sees it. Also a view of an NSDictionary, whose values are
// all objects: a number under a key of a dictionary is read by the scalar calls.
class KeyedDecoder {
  public:
    bool containsValueForKey(std::string_view key) const;

    // Integers of 1 to 8 bytes, reals (truncated towards zero, saturating) and booleans; missing: 0.
    std::int64_t decodeInt64ForKey(std::string_view key) const;
    // The low 32 bits of decodeInt64ForKey, as the platform's decodeIntForKey: does.
    std::int32_t decodeInt32ForKey(std::string_view key) const;
    std::int32_t decodeIntForKey(std::string_view key) const { return decodeInt32ForKey(key); }
    std::int64_t decodeIntegerForKey(std::string_view key) const { return decodeInt64ForKey(key); }
    // Reals of 4 or 8 bytes and integers; missing: 0.
    double decodeDoubleForKey(std::string_view key) const;
    float decodeFloatForKey(std::string_view key) const { return static_cast<float>(decodeDoubleForKey(key)); }
    // Booleans and numbers (non-zero is true); missing: false.
    bool decodeBoolForKey(std::string_view key) const;
    // "{x, y}" and "{{x, y}, {w, h}}"; missing or unparsable numbers read as 0.
    Point decodeCGPointForKey(std::string_view key) const;
    Rect decodeCGRectForKey(std::string_view key) const;

    // Bytes under the key: NSData (bare) or NSMutableData; a view into the archive's bytes. Absent or nil:
    // nullopt.
    std::optional<std::span<const std::uint8_t>> decodeDataForKey(std::string_view key) const;
    // NSString (bare) or NSMutableString, in UTF-8. Absent or nil: nullopt.
    std::optional<std::string> decodeStringForKey(std::string_view key) const;
    // NSDate: seconds since 1 January 2001 UTC. Absent or nil: nullopt.
    std::optional<double> decodeDateForKey(std::string_view key) const;

    // The class name of the object under the key ("NSData", "NSString" and "NSNumber" for the bare
    // property-list forms); nullopt for nil or an absent key.
    std::optional<std::string> classNameForKey(std::string_view key) const;

    // The object under the key, built by decode(const KeyedDecoder&) -> std::shared_ptr<T> the first time
    // this archive object is asked for, and the same pointer every later time. Absent or nil: nullptr. An
    // object whose class is not among `classNames` raises.
    template <class T, class Decode>
    std::shared_ptr<T> decodeObjectForKey(std::string_view key, std::initializer_list<std::string_view> classNames,
                                          Decode&& decode) const;

    // A value object under the key (a colour, a point): built by decode(const KeyedDecoder&) -> T each time
    // it is asked for, never shared. Absent or nil: nullopt. Another class raises.
    template <class T, class Decode>
    std::optional<T> decodeValueForKey(std::string_view key, std::initializer_list<std::string_view> classNames,
                                       Decode&& decode) const;

    // An NSArray or NSMutableArray under the key whose members are decoded as decodeObjectForKey does;
    // a nil member raises. Absent or nil: nullopt.
    template <class T, class Decode>
    std::optional<std::vector<std::shared_ptr<T>>> decodeArrayForKey(
        std::string_view key, std::initializer_list<std::string_view> classNames, Decode&& decode) const;
    // An NSArray or NSMutableArray of NSNumber under the key (integers, reals, booleans), as doubles; a
    // member of another kind raises. Absent or nil: nullopt.
    std::optional<std::vector<double>> decodeNumberArrayForKey(std::string_view key) const;
    // An NSArray or NSMutableArray of NSString (bare or NSMutableString) under the key, in UTF-8; a member of
    // another kind raises. Absent or nil: nullopt.
    std::optional<std::vector<std::string>> decodeStringArrayForKey(std::string_view key) const;

    KeyedUnarchiver& unarchiver() const { return *unarchiver_; }
    const ImageCodec* imageCodec() const;

  private:
    friend class KeyedUnarchiver;
    KeyedDecoder(KeyedUnarchiver& unarchiver, std::uint64_t uid, bool isDictionary, unsigned depth)
        : unarchiver_(&unarchiver), uid_(uid), isDictionary_(isDictionary), depth_(depth) {}

    // The members of the NSArray or NSMutableArray at uid (the object under `key`), with their count.
    struct ArrayMembers {
        plist::Ref members;
        std::uint64_t count;
    };
    ArrayMembers arrayMembers(std::uint64_t uid, std::string_view key) const;
    // The text of the NSString at uid (the object under `key`, or one of its members); raises for another
    // kind.
    std::string stringAt(std::uint64_t uid, std::string_view key) const;

    // The value stored under the key as it is; nullopt when the key is absent.
    std::optional<plist::Ref> rawValue(std::string_view key) const;
    // The value under the key with a UID followed into "$objects"; nullopt when the key is absent.
    std::optional<plist::Ref> valueRef(std::string_view key) const;
    // The "$objects" index under the key: nullopt when absent, 0 for nil; raises when not a UID.
    std::optional<std::uint64_t> uidForKey(std::string_view key) const;
    // The coder of the keyed object at uid, after checking its class against classNames and the depth.
    KeyedDecoder childCoder(std::uint64_t uid, std::initializer_list<std::string_view> classNames) const;
    std::shared_ptr<void> decodeShared(std::uint64_t uid, const void* tag,
                                       std::initializer_list<std::string_view> classNames,
                                       std::shared_ptr<void> (*thunk)(const void*, const KeyedDecoder&),
                                       const void* decode) const;

    KeyedUnarchiver* unarchiver_;
    std::uint64_t uid_;
    bool isDictionary_;
    unsigned depth_;
    // The archive's top dictionary ("$top") rather than an object of "$objects".
    bool isTop_ = false;
    // The keys of a coded object, read once on the first lookup: a class reads several keys of a few.
    static constexpr std::size_t kIndexedKeys = 12;
    struct KeyIndex {
        bool built = false;
        bool usable = false;
        std::size_t count = 0;
        std::string_view keys[kIndexedKeys];
        plist::Ref values[kIndexedKeys];
    };
    mutable KeyIndex index_;
};

class KeyedUnarchiver {
  public:
    static constexpr unsigned kMaxDepth = 64;

    // Checks the frame. Raises ArchiveError for bytes that are not a keyed archive. The bytes and the codec
    // must outlive the unarchiver and everything it hands out as a view.
    KeyedUnarchiver(std::span<const std::uint8_t> bytes, const ImageCodec* codec = nullptr);

    // The root object, decoded as decodeObjectForKey does; nullptr when "root" is absent or nil.
    template <class T, class Decode>
    std::shared_ptr<T> decodeRootObject(std::initializer_list<std::string_view> classNames, Decode&& decode);
    // The archive's top dictionary as a coder: "root" is the archived value, whatever its kind (an array of
    // numbers, of text or of objects, or one object), read with the calls of any coded object.
    KeyedDecoder topDecoder();

    // Charged for every byte a decoder copies out of the archive, inflates, or holds in built objects.
    // Raises once the total exceeds the budget: a few times the archive's size.
    void chargeBytes(std::uint64_t bytes);
    // Charged for every dictionary entry a key lookup passes over; raises past a budget in proportion to the
    // archive's size, so that no file can make the reader search for long.
    void chargeWork(std::uint64_t entries);
    std::uint64_t budget() const { return budget_; }
    std::uint64_t charged() const { return charged_; }

    const ImageCodec* imageCodec() const { return codec_; }

  private:
    friend class KeyedDecoder;
    struct Memo {
        std::shared_ptr<void> object;
        const void* tag = nullptr;
        bool inProgress = false;
    };

    const plist::Reader& reader() const { return *reader_; }
    // "$objects"[uid] as a property-list reference; raises when out of range.
    plist::Ref objectRef(std::uint64_t uid) const;
    // The class name of the object at uid, from its class record ("NSData", "NSString", "NSNumber",
    // "NSNull"-free forms for bare values). Raises for a malformed record.
    const std::string& className(std::uint64_t uid);
    // The class name in the record that a "$class" value refers to.
    const std::string& classNameOfRecord(std::optional<plist::Ref> classRef);
    bool isKeyedObject(std::uint64_t uid) const;

    std::optional<plist::Reader> reader_;
    plist::Ref objects_ = 0;
    plist::Ref topDict_ = 0;
    std::uint64_t objectCount_ = 0;
    std::optional<std::uint64_t> rootUid_;
    const ImageCodec* codec_ = nullptr;
    // Built objects by UID, in chunks made on first use: a read that touches a few objects of a large
    // archive pays for a few chunks.
    static constexpr std::uint64_t kMemoChunk = 512;
    Memo& memo(std::uint64_t uid);
    std::vector<std::unique_ptr<Memo[]>> memo_;
    std::unordered_map<std::uint64_t, std::string> classNames_;
    std::uint64_t budget_ = 0;
    std::uint64_t charged_ = 0;
    std::uint64_t workBudget_ = 0;
    std::uint64_t work_ = 0;
};

class KeyedArchiver;

// The object being encoded, as its encodeWithCoder sees it.
class KeyedEncoder {
  public:
    void encodeInt(std::string_view key, std::int64_t value);
    void encodeInteger(std::string_view key, std::int64_t value) { encodeInt(key, value); }
    void encodeFloat(std::string_view key, float value);
    void encodeDouble(std::string_view key, double value);
    void encodeBool(std::string_view key, bool value);
    // Printed with the shortest digits that read back to the same double.
    void encodeCGPoint(std::string_view key, Point value);
    void encodeCGRect(std::string_view key, Rect value);
    // A bare NSData. The bytes are copied when the archive is finished, not before: keep them alive and
    // unchanged until then.
    void encodeData(std::string_view key, std::span<const std::uint8_t> bytes);
    // A bare NSData whose bytes the archiver keeps until it is finished.
    void encodeOwnedData(std::string_view key, std::vector<std::uint8_t> bytes);
    // A bare NSString.
    void encodeString(std::string_view key, std::string_view utf8);
    void encodeDate(std::string_view key, double secondsSinceReferenceDate);
    void encodeNil(std::string_view key);

    // The object under the key: encoded by encode(const T&, KeyedEncoder&) the first time this very object
    // (by address) is met in the archive, referred to by its UID every later time. nullptr writes nil.
    template <class T, class Encode>
    void encodeObject(std::string_view key, const T* object, ArchiveClass classChain, Encode&& encode);
    // An array of objects, each as encodeObject. The array's own class chain is given, e.g.
    // {"NSMutableArray", "NSArray", "NSObject"}.
    template <class T, class Encode>
    void encodeArray(std::string_view key, const std::vector<std::shared_ptr<T>>& objects, ArchiveClass arrayClass,
                     ArchiveClass elementClass, Encode&& encode);
    // An array of NSNumber, each a 32-bit real, with the array's own class chain.
    void encodeFloatArray(std::string_view key, std::span<const float> values, ArchiveClass arrayClass);
    // An array of bare NSString, with the array's own class chain.
    void encodeStringArray(std::string_view key, std::span<const std::string> values,
                           ArchiveClass arrayClass);

    KeyedArchiver& archiver() const { return *archiver_; }
    const ImageCodec* imageCodec() const;

  private:
    friend class KeyedArchiver;
    explicit KeyedEncoder(KeyedArchiver& archiver);
    void add(std::string_view key, plist::Ref value);
    // A number or boolean: in place, or as an object of its own in a dictionary.
    void addScalar(std::string_view key, plist::Ref value);

    KeyedArchiver* archiver_;
    // An NSDictionary's encoder: every value becomes an object of its own.
    bool isDictionary_ = false;
    // Where this object's entries start on the archiver's stack of open entries.
    std::size_t start_;
};

class KeyedArchiver {
  public:
    explicit KeyedArchiver(const ImageCodec* codec = nullptr);

    // The whole archive with `root` as its root object, encoded by encode(const T&, KeyedEncoder&).
    // nullopt only when the property-list writer refuses its input (text that is not UTF-8).
    template <class T, class Encode>
    std::optional<std::vector<std::uint8_t>> archivedDataWithRootObject(const T& root, ArchiveClass classChain,
                                                                        Encode&& encode);
    // The same into `out`, reusing its storage. False where the other gives nullopt.
    template <class T, class Encode>
    bool archiveRootObject(const T& root, ArchiveClass classChain, Encode&& encode, std::vector<std::uint8_t>& out);
    // The same with an NSDictionary as the root: every value written through the encoder becomes an
    // object (numbers as NSNumber), as the platform's dictionaries hold them.
    template <class Encode>
    std::optional<std::vector<std::uint8_t>> archivedDictionary(Encode&& encode);
    // The archive whose top dictionary holds what encode(KeyedEncoder&) writes into it. A value written
    // under "root" makes the archive of that value, of any kind: an array of numbers, of text or of objects.
    template <class Encode>
    std::optional<std::vector<std::uint8_t>> archivedTopLevel(Encode&& encode);

    const ImageCodec* imageCodec() const { return codec_; }

  private:
    friend class KeyedEncoder;
    plist::Ref string(std::string_view text);
    plist::Ref uidRef(std::uint64_t uid);
    // A new "$objects" slot, filled later with setObject.
    std::uint64_t reserve();
    void setObject(std::uint64_t uid, plist::Ref ref) { objects_[uid] = ref; }
    // A bare value as a new "$objects" entry; its UID.
    std::uint64_t addValueObject(plist::Ref ref);
    plist::Ref classRecord(ArchiveClass classChain);
    // Closes an encoder into its object dictionary, adding "$class".
    plist::Ref finishObject(KeyedEncoder& encoder, ArchiveClass classChain);
    std::uint64_t encodeTyped(const void* object, ArchiveClass classChain,
                              void (*thunk)(const void*, const void*, KeyedEncoder&), const void* encode);
    std::optional<std::vector<std::uint8_t>> finish(std::uint64_t rootUid);
    bool finishInto(std::uint64_t rootUid, std::vector<std::uint8_t>& out);
    // The archive around a finished "$top" dictionary.
    bool finishWithTop(plist::Ref top, std::vector<std::uint8_t>& out);
    // Closes the encoder of the top dictionary (no class) and finishes the archive around it.
    bool finishTopLevelInto(KeyedEncoder& top, std::vector<std::uint8_t>& out);
    // A new array object of bare values in "$objects" (numbers, text), each member an object of its own.
    plist::Ref addValueArray(std::span<const plist::Ref> values, ArchiveClass arrayClass);

    const ImageCodec* codec_;
    plist::Writer writer_;
    std::vector<plist::Ref> objects_;
    // Every object written so far, by address and class, to its UID.
    struct Identity {
        const void* address;
        std::size_t classHash;
        friend bool operator==(const Identity&, const Identity&) = default;
    };
    struct IdentityHash {
        std::size_t operator()(const Identity& id) const {
            return std::hash<const void*>()(id.address) ^ (id.classHash * 0x9E3779B97F4A7C15ull);
        }
    };
    std::unordered_map<Identity, std::uint64_t, IdentityHash> identities_;
    // Text looked up by view, without making a string for each key written.
    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    std::unordered_map<std::string, plist::Ref, TextHash, std::equal_to<>> strings_;
    std::unordered_map<std::uint64_t, plist::Ref> uidRefs_;
    std::unordered_map<std::string, plist::Ref> classes_;
    std::vector<std::unique_ptr<std::vector<std::uint8_t>>> ownedData_;
    // The entries of the objects being encoded, innermost last: an object's children are finished before
    // it adds its next key, so one stack serves them all without an allocation per object.
    std::vector<plist::Ref> openKeys_;
    std::vector<plist::Ref> openValues_;
};

// ---- templates ----

template <class T, class Decode>
std::shared_ptr<T> KeyedDecoder::decodeObjectForKey(std::string_view key,
                                                    std::initializer_list<std::string_view> classNames,
                                                    Decode&& decode) const {
    const std::optional<std::uint64_t> uid = uidForKey(key);
    if (!uid || *uid == 0) return nullptr;
    using Fn = std::decay_t<Decode>;
    const Fn callable(decode);
    auto thunk = [](const void* fn, const KeyedDecoder& coder) -> std::shared_ptr<void> {
        return std::static_pointer_cast<void>(std::shared_ptr<T>((*static_cast<const Fn*>(fn))(coder)));
    };
    return std::static_pointer_cast<T>(
        decodeShared(*uid, &archive_detail::typeTag<T>, classNames, thunk, &callable));
}

template <class T, class Decode>
std::optional<T> KeyedDecoder::decodeValueForKey(std::string_view key, std::initializer_list<std::string_view> classNames,
                                                 Decode&& decode) const {
    const std::optional<std::uint64_t> uid = uidForKey(key);
    if (!uid || *uid == 0) return std::nullopt;
    return decode(childCoder(*uid, classNames));
}

template <class T, class Decode>
std::optional<std::vector<std::shared_ptr<T>>> KeyedDecoder::decodeArrayForKey(
    std::string_view key, std::initializer_list<std::string_view> classNames, Decode&& decode) const {
    const std::optional<std::uint64_t> uid = uidForKey(key);
    if (!uid || *uid == 0) return std::nullopt;
    const auto [members, count] = arrayMembers(*uid, key);
    const KeyedDecoder arrayCoder(*unarchiver_, *uid, false, depth_ + 1);
    const plist::Reader& reader = unarchiver_->reader();
    unarchiver_->chargeBytes(count * sizeof(std::shared_ptr<T>));
    std::vector<std::shared_ptr<T>> result;
    result.reserve(count);
    using Fn = std::decay_t<Decode>;
    const Fn callable(decode);
    auto thunk = [](const void* fn, const KeyedDecoder& coder) -> std::shared_ptr<void> {
        return std::static_pointer_cast<void>(std::shared_ptr<T>((*static_cast<const Fn*>(fn))(coder)));
    };
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::optional<plist::Ref> member = reader.arrayAt(members, i);
        const std::optional<std::uint64_t> memberUid = member ? reader.asUID(*member) : std::nullopt;
        if (!memberUid || *memberUid == 0) throw ArchiveError("an array member that is not an object");
        result.push_back(std::static_pointer_cast<T>(
            arrayCoder.decodeShared(*memberUid, &archive_detail::typeTag<T>, classNames, thunk, &callable)));
    }
    return result;
}

template <class T, class Decode>
std::shared_ptr<T> KeyedUnarchiver::decodeRootObject(std::initializer_list<std::string_view> classNames,
                                                     Decode&& decode) {
    if (!rootUid_ || *rootUid_ == 0) return nullptr;
    const KeyedDecoder top(*this, 0, false, 0);
    using Fn = std::decay_t<Decode>;
    const Fn callable(decode);
    auto thunk = [](const void* fn, const KeyedDecoder& coder) -> std::shared_ptr<void> {
        return std::static_pointer_cast<void>(std::shared_ptr<T>((*static_cast<const Fn*>(fn))(coder)));
    };
    return std::static_pointer_cast<T>(
        top.decodeShared(*rootUid_, &archive_detail::typeTag<T>, classNames, thunk, &callable));
}

template <class T, class Encode>
void KeyedEncoder::encodeObject(std::string_view key, const T* object, ArchiveClass classChain, Encode&& encode) {
    if (!object) {
        encodeNil(key);
        return;
    }
    using Fn = std::decay_t<Encode>;
    const Fn callable(encode);
    auto thunk = [](const void* fn, const void* obj, KeyedEncoder& coder) {
        (*static_cast<const Fn*>(fn))(*static_cast<const T*>(obj), coder);
    };
    const std::uint64_t uid = archiver_->encodeTyped(object, classChain, thunk, &callable);
    add(key, archiver_->uidRef(uid));
}

template <class T, class Encode>
void KeyedEncoder::encodeArray(std::string_view key, const std::vector<std::shared_ptr<T>>& objects,
                               ArchiveClass arrayClass, ArchiveClass elementClass, Encode&& encode) {
    using Fn = std::decay_t<Encode>;
    const Fn callable(encode);
    auto thunk = [](const void* fn, const void* obj, KeyedEncoder& coder) {
        (*static_cast<const Fn*>(fn))(*static_cast<const T*>(obj), coder);
    };
    const std::uint64_t arrayUid = archiver_->reserve();
    std::vector<plist::Ref> members;
    members.reserve(objects.size());
    for (const std::shared_ptr<T>& object : objects) {
        const std::uint64_t uid = object ? archiver_->encodeTyped(object.get(), elementClass, thunk, &callable) : 0;
        members.push_back(archiver_->uidRef(uid));
    }
    KeyedEncoder arrayCoder(*archiver_);
    arrayCoder.add("NS.objects", archiver_->writer_.addArray(members));
    archiver_->setObject(arrayUid, archiver_->finishObject(arrayCoder, arrayClass));
    add(key, archiver_->uidRef(arrayUid));
}

template <class T, class Encode>
bool KeyedArchiver::archiveRootObject(const T& root, ArchiveClass classChain, Encode&& encode,
                                      std::vector<std::uint8_t>& out) {
    using Fn = std::decay_t<Encode>;
    const Fn callable(encode);
    auto thunk = [](const void* fn, const void* obj, KeyedEncoder& coder) {
        (*static_cast<const Fn*>(fn))(*static_cast<const T*>(obj), coder);
    };
    return finishInto(encodeTyped(&root, classChain, thunk, &callable), out);
}

template <class T, class Encode>
std::optional<std::vector<std::uint8_t>> KeyedArchiver::archivedDataWithRootObject(const T& root,
                                                                                  ArchiveClass classChain,
                                                                                  Encode&& encode) {
    std::vector<std::uint8_t> out;
    if (!archiveRootObject(root, classChain, std::forward<Encode>(encode), out)) return std::nullopt;
    return out;
}

template <class Encode>
std::optional<std::vector<std::uint8_t>> KeyedArchiver::archivedDictionary(Encode&& encode) {
    const std::uint64_t uid = reserve();
    KeyedEncoder coder(*this);
    coder.isDictionary_ = true;
    encode(coder);
    // NS.keys and NS.objects: the key strings become objects of their own.
    std::vector<plist::Ref> keyUids;
    for (std::size_t i = coder.start_; i < openKeys_.size(); ++i) keyUids.push_back(uidRef(addValueObject(openKeys_[i])));
    const std::vector<plist::Ref> valueUids(openValues_.begin() + static_cast<std::ptrdiff_t>(coder.start_),
                                            openValues_.end());
    openKeys_.resize(coder.start_);
    openValues_.resize(coder.start_);
    KeyedEncoder dictCoder(*this);
    dictCoder.add("NS.keys", writer_.addArray(keyUids));
    dictCoder.add("NS.objects", writer_.addArray(valueUids));
    setObject(uid, finishObject(dictCoder, {"NSDictionary", "NSObject"}));
    return finish(uid);
}

template <class Encode>
std::optional<std::vector<std::uint8_t>> KeyedArchiver::archivedTopLevel(Encode&& encode) {
    KeyedEncoder top(*this);
    encode(top);
    std::vector<std::uint8_t> out;
    if (!finishTopLevelInto(top, out)) return std::nullopt;
    return out;
}

}  // namespace velumen
