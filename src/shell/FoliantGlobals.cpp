// The user's preferences: the table of stored keys and how each is read and written, the setters that
// announce changes, and the archived forms of the object values.
#include "shell/FoliantGlobals.h"

#include <QDateTime>
#include <QTimeZone>
#include <algorithm>
#include <charconv>
#include <cmath>

#include "document/InkCoding.h"
#include "document/KeyedArchive.h"
#include "shell/DefaultsStore.h"

namespace velumen {

namespace {

constexpr double kReferenceDateOffset = 978307200.0;

std::span<const std::uint8_t> bytesOf(const QByteArray& bytes) {
    return {reinterpret_cast<const std::uint8_t*>(bytes.constData()), std::size_t(bytes.size())};
}

QByteArray toByteArray(const std::vector<std::uint8_t>& bytes) {
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), qsizetype(bytes.size()));
}

// A number stored directly: integers, reals and booleans, never text.
std::optional<double> plainNumber(const QVariant& value) {
    switch (value.typeId()) {
        case QMetaType::Bool:
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::UInt:
        case QMetaType::ULongLong:
        case QMetaType::Double:
        case QMetaType::Float:
            return value.toDouble();
        default:
            return std::nullopt;
    }
}

KColor rgb255(int r, int g, int b, double alpha) {
    return {r / 255.0, g / 255.0, b / 255.0, alpha};
}

const ArchiveClass kMutableArrayClass = {"NSMutableArray", "NSArray", "NSObject"};

// Runs read on the coder that holds the stored value under "root": the archive's own top for the archive
// of the value, or the dictionary under "root" for stores written by versions that wrapped the value in a
// dictionary. nullopt for bytes that are no archive and for a read that raises.
template <class R, class Read>
std::optional<R> readStoredArchive(const QByteArray& bytes, Read read) {
    if (bytes.isEmpty()) return std::nullopt;
    try {
        KeyedUnarchiver unarchiver(bytesOf(bytes));
        const KeyedDecoder top = unarchiver.topDecoder();
        const std::optional<std::string> rootClass = top.classNameForKey("root");
        if (!rootClass) return std::nullopt;
        if (*rootClass != "NSDictionary" && *rootClass != "NSMutableDictionary") return read(top);
        std::optional<R> result;
        top.decodeValueForKey<bool>("root", {"NSDictionary", "NSMutableDictionary"},
                                    [&](const KeyedDecoder& wrapper) {
                                        result = read(wrapper);
                                        return true;
                                    });
        return result;
    } catch (const ArchiveError&) {
        return std::nullopt;
    }
}

// Whether the array under "root" is of a class the loader keeps: only a mutable one for MutableOnly.
bool hasArrayClass(const KeyedDecoder& coder, ArrayKind kind) {
    return kind == ArrayKind::Any ||
           coder.classNameForKey("root") == std::optional<std::string>("NSMutableArray");
}

template <class T, class Decode>
std::optional<std::vector<T>> unarchiveArray(const QByteArray& bytes, std::string_view className,
                                             ArrayKind kind, Decode decode) {
    return readStoredArchive<std::vector<T>>(
        bytes, [&](const KeyedDecoder& coder) -> std::optional<std::vector<T>> {
            if (!hasArrayClass(coder, kind)) return std::nullopt;
            auto items = coder.decodeArrayForKey<T>("root", {className}, [&](const KeyedDecoder& item) {
                return std::make_shared<T>(decode(item));
            });
            if (!items) return std::nullopt;
            std::vector<T> values;
            values.reserve(items->size());
            for (const auto& item : *items)
                values.push_back(*item);
            return values;
        });
}

template <class Encode>
std::vector<std::uint8_t> archiveValue(Encode encode) {
    KeyedArchiver archiver;
    auto bytes = archiver.archivedTopLevel([&](KeyedEncoder& top) { encode(top); });
    return bytes ? std::move(*bytes) : std::vector<std::uint8_t>{};
}

template <class T, class Encode>
std::vector<std::uint8_t> archiveArray(const std::vector<T>& values, ArchiveClass elementClass,
                                       Encode encode) {
    std::vector<std::shared_ptr<T>> items;
    items.reserve(values.size());
    for (const T& v : values)
        items.push_back(std::make_shared<T>(v));
    return archiveValue(
        [&](KeyedEncoder& top) { top.encodeArray("root", items, kMutableArrayClass, elementClass, encode); });
}

}  // namespace

// ---- UserDefaults ----

UserDefaults::UserDefaults(std::unique_ptr<QSettings> store) : store_(std::move(store)) {}

void UserDefaults::registerDefaults(const QVariantMap& values) {
    for (auto it = values.begin(); it != values.end(); ++it)
        registered_.insert(it.key(), it.value());
}

QVariant UserDefaults::objectForKey(const QString& key) const {
    if (store_->contains(key)) return store_->value(key);
    return registered_.value(key);
}

bool UserDefaults::boolForKey(const QString& key) const {
    return integerForKey(key) != 0 || doubleForKey(key) != 0;
}

std::int64_t UserDefaults::integerForKey(const QString& key) const {
    const double v = doubleForKey(key);
    if (!(std::fabs(v) < 9.2e18)) return 0;
    return static_cast<std::int64_t>(v);
}

double UserDefaults::doubleForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    if (auto n = plainNumber(value)) return std::isfinite(*n) ? *n : 0.0;
    if (value.typeId() == QMetaType::QString) {
        const std::string text = value.toString().trimmed().toStdString();
        double parsed = 0;
        const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), parsed);
        if (ec == std::errc() && std::isfinite(parsed)) return parsed;
    }
    return 0.0;
}

std::optional<QString> UserDefaults::stringForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    if (value.typeId() == QMetaType::QString) return value.toString();
    if (auto n = plainNumber(value)) {
        char buffer[32];
        const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, *n);
        return QString::fromLatin1(buffer, ec == std::errc() ? end - buffer : 0);
    }
    return std::nullopt;
}

bool UserDefaults::synchronize() {
    store_->sync();
    return store_->status() == QSettings::NoError;
}

// ---- Archive forms ----

std::vector<std::uint8_t> archiveColors(const std::vector<KColor>& colors) {
    return archiveArray(colors, {"KColor", "NSObject"},
                        [](const KColor& c, KeyedEncoder& coder) { encodeWithCoder(c, coder); });
}

std::optional<std::vector<KColor>> unarchiveColors(const QByteArray& bytes, ArrayKind kind) {
    return unarchiveArray<KColor>(bytes, "KColor", kind, initKColorWithCoder);
}

std::vector<std::uint8_t> archivePenSettings(const std::vector<PenSettings>& pens) {
    return archiveArray(pens, {"PenSettings", "NSObject"},
                        [](const PenSettings& p, KeyedEncoder& coder) { encodeWithCoder(p, coder); });
}

std::optional<std::vector<PenSettings>> unarchivePenSettings(const QByteArray& bytes) {
    return unarchiveArray<PenSettings>(bytes, "PenSettings", ArrayKind::Any, initPenSettingsWithCoder);
}

std::vector<std::uint8_t> archiveFloats(const std::vector<float>& values) {
    return archiveValue([&](KeyedEncoder& top) { top.encodeFloatArray("root", values, kMutableArrayClass); });
}

std::optional<std::vector<float>> unarchiveFloats(const QByteArray& bytes, ArrayKind kind) {
    return readStoredArchive<std::vector<float>>(
        bytes, [&](const KeyedDecoder& coder) -> std::optional<std::vector<float>> {
            if (!hasArrayClass(coder, kind)) return std::nullopt;
            const auto numbers = coder.decodeNumberArrayForKey("root");
            if (!numbers) return std::nullopt;
            std::vector<float> values;
            for (const double n : *numbers)
                values.push_back(std::isfinite(n) && std::fabs(n) <= 3.4e38 ? static_cast<float>(n) : NAN);
            return values;
        });
}

std::vector<std::uint8_t> archiveStrings(const std::vector<std::string>& values) {
    return archiveValue(
        [&](KeyedEncoder& top) { top.encodeStringArray("root", values, kMutableArrayClass); });
}

std::optional<std::vector<std::string>> unarchiveStrings(const QByteArray& bytes, ArrayKind kind) {
    return readStoredArchive<std::vector<std::string>>(
        bytes, [&](const KeyedDecoder& coder) -> std::optional<std::vector<std::string>> {
            if (!hasArrayClass(coder, kind)) return std::nullopt;
            return coder.decodeStringArrayForKey("root");
        });
}

std::vector<std::uint8_t> archiveTextSettings(const FLTextSettings& settings) {
    return archiveValue([&](KeyedEncoder& top) {
        top.encodeObject("root", &settings, {FLTextSettings::kClassName, "NSObject"},
                         [](const FLTextSettings& s, KeyedEncoder& inner) { s.encodeWithCoder(inner); });
    });
}

FLTextSettingsPtr unarchiveTextSettings(const QByteArray& bytes) {
    return readStoredArchive<FLTextSettingsPtr>(
               bytes,
               [](const KeyedDecoder& coder) -> std::optional<FLTextSettingsPtr> {
                   return coder.decodeObjectForKey<FLTextSettings>("root", {FLTextSettings::kClassName},
                                                                   FLTextSettings::initWithCoder);
               })
        .value_or(nullptr);
}

// ---- FoliantGlobals ----

namespace {

using G = FoliantGlobals;

// What a reader of one key is given: the stored value (invalid when the key is missing), the key's default,
// and the whole store and the time, for a value estimated from other keys.
struct ReadContext {
    const QVariant& stored;
    const QVariant& fallback;
    const QSettings& store;
    double now;
};

// How one key is read into its field and written from it.
struct SettingAccess {
    void (*read)(FoliantGlobals&, const ReadContext&) = nullptr;
    QVariant (*write)(const FoliantGlobals&) = nullptr;
};

QByteArray storedData(const QVariant& stored) {
    return stored.typeId() == QMetaType::QByteArray ? stored.toByteArray() : QByteArray();
}

QVariant storedArchive(const std::vector<std::uint8_t>& bytes) {
    return toByteArray(bytes);
}

// A plain integer: a number stored directly that fits, else the default.
std::int64_t plainInteger(const QVariant& stored, std::int64_t fallback) {
    const auto n = plainNumber(stored);
    return n && std::fabs(*n) < 9.2e18 ? static_cast<std::int64_t>(*n) : fallback;
}

// The stored forms of the plain values, each of the type the store has always held for it.
QVariant toStored(bool value) {
    return value;
}
QVariant toStored(float value) {
    return value;
}
QVariant toStored(std::int64_t value) {
    return qlonglong(value);
}
QVariant toStored(const std::string& value) {
    return QString::fromStdString(value);
}

template <auto Field>
QVariant writePlain(const FoliantGlobals& g) {
    return toStored(g.*Field);
}

// A switch: on for a number stored directly other than zero.
template <auto Field>
constexpr SettingAccess aSwitch() {
    return {[](FoliantGlobals& g, const ReadContext& c) {
                const auto n = plainNumber(c.stored);
                g.*Field = n ? *n != 0 : c.fallback.toBool();
            },
            writePlain<Field>};
}

template <auto Field>
constexpr SettingAccess anInteger() {
    return {[](FoliantGlobals& g, const ReadContext& c) {
                g.*Field = plainInteger(c.stored, c.fallback.toLongLong());
            },
            writePlain<Field>};
}

// A real where zero, like anything but a finite number, means the default.
template <auto Field>
constexpr SettingAccess aNonZeroReal() {
    return {[](FoliantGlobals& g, const ReadContext& c) {
                const auto n = plainNumber(c.stored);
                g.*Field = n && std::isfinite(*n) && *n != 0 ? static_cast<float>(*n) : c.fallback.toFloat();
            },
            writePlain<Field>};
}

template <auto Field>
constexpr SettingAccess aText() {
    return {
        [](FoliantGlobals& g, const ReadContext& c) {
            g.*Field =
                (c.stored.typeId() == QMetaType::QString ? c.stored : c.fallback).toString().toStdString();
        },
        writePlain<Field>};
}

// A colour whose components are not all numbers cannot be shown or drawn.
bool isFiniteColor(const KColor& c) {
    return std::isfinite(c.r) && std::isfinite(c.g) && std::isfinite(c.b) && std::isfinite(c.a);
}

// Pen slots, filled up to three; more are kept. A slot whose thickness is not a positive number, or whose
// colour is not one of numbers, takes the default of that field.
std::vector<PenSettings> readPenSettings(const QVariant& stored) {
    std::vector<PenSettings> pens =
        unarchivePenSettings(storedData(stored)).value_or(std::vector<PenSettings>{});
    for (PenSettings& pen : pens) {
        if (!(pen.thickness > 0) || !std::isfinite(pen.thickness)) pen.thickness = PenTables::kDefaultPenThickness;
        if (!isFiniteColor(pen.color)) pen.color = PenTables::defaultPenColor();
    }
    while (pens.size() < PenTables::kPenSettingsCount)
        pens.push_back(
            PenSettings::initWithColor(PenTables::defaultPenColor(), PenTables::kDefaultPenThickness));
    return pens;
}

// The palette: an older, shorter one keeps its entries and gains the missing tail of the factory's; an entry
// that is not a colour of numbers takes the factory's entry at its place (black beyond the factory's end).
std::vector<KColor> readPalette(const QVariant& stored, const std::vector<KColor>& factory) {
    std::vector<KColor> colors = unarchiveColors(storedData(stored)).value_or(std::vector<KColor>{});
    for (std::size_t i = 0; i < colors.size(); ++i)
        if (!isFiniteColor(colors[i])) colors[i] = i < factory.size() ? factory[i] : PenTables::defaultPenColor();
    for (std::size_t i = colors.size(); i < factory.size(); ++i)
        colors.push_back(factory[i]);
    return colors;
}

// Widths: a mutable array of numbers with at least five entries, else the defaults whole. Stores written
// before the widths were archived hold a plain list of reals, which reads the same way. A width that is
// not a positive number takes the default of its entry.
std::vector<float> readPenWidths(const QVariant& stored) {
    std::optional<std::vector<float>> widths = unarchiveFloats(storedData(stored), ArrayKind::MutableOnly);
    if (!widths && stored.typeId() == QMetaType::QVariantList) {
        widths.emplace();
        for (const QVariant& member : stored.toList()) {
            const auto n = plainNumber(member);
            if (!n) {
                widths.reset();
                break;
            }
            widths->push_back(std::isfinite(*n) && std::fabs(*n) <= 3.4e38 ? static_cast<float>(*n) : NAN);
        }
    }
    if (!widths || widths->size() < PenTables::kPenWidthsCount) return PenTables::defaultPenWidths();
    const std::vector<float> defaults = PenTables::defaultPenWidths();
    for (std::size_t i = 0; i < widths->size(); ++i)
        if (!((*widths)[i] > 0))
            (*widths)[i] = i < defaults.size() ? defaults[i] : PenTables::kDefaultPenThickness;
    return std::move(*widths);
}

// The colour of each ink type: a mutable array of six at least, else six copies of the palette's first
// entry; an entry that is not a colour of numbers takes that first entry too.
std::vector<KColor> readCurrentPenColors(const QVariant& stored, const KColor& firstOfPalette) {
    auto colors = unarchiveColors(storedData(stored), ArrayKind::MutableOnly);
    if (!colors || colors->size() < PenTables::kCurrentPenColorsCount)
        return std::vector<KColor>(PenTables::kCurrentPenColorsCount, firstOfPalette);
    for (KColor& c : *colors)
        if (!isFiniteColor(c)) c = firstOfPalette;
    return std::move(*colors);
}

// The families are a mutable array of text, or the plain list of text of stores written before they were
// archived; anything else gives the default family alone.
std::vector<std::string> readFontFamilies(const QVariant& stored) {
    std::optional<std::vector<std::string>> families =
        unarchiveStrings(storedData(stored), ArrayKind::MutableOnly);
    if (!families &&
        (stored.typeId() == QMetaType::QVariantList || stored.typeId() == QMetaType::QStringList)) {
        families.emplace();
        for (const QVariant& member : stored.toList()) {
            if (member.typeId() != QMetaType::QString) {
                families.reset();
                break;
            }
            families->push_back(member.toString().toStdString());
        }
    }
    return families ? std::move(*families) : std::vector<std::string>{FoliantGlobals::kDefaultFontName};
}

FLTextSettings readTextSettings(const QVariant& stored) {
    const FLTextSettingsPtr settings = unarchiveTextSettings(storedData(stored));
    return settings ? *settings : FLTextSettings{};
}

// The install date, estimated from the run time for users from before the key existed.
double readInstallDate(const ReadContext& c) {
    if (c.stored.typeId() == QMetaType::QDateTime && c.stored.toDateTime().isValid())
        return double(c.stored.toDateTime().toMSecsSinceEpoch()) / 1000.0 - kReferenceDateOffset;
    const std::int64_t rtx = plainInteger(c.store.value(FoliantGlobals::kRunTime), 0);
    if (rtx >= 7200) return c.now - 3628800;
    if (rtx >= 1800) return c.now - 2851200;
    if (rtx >= 60) return c.now - 1036800;
    return c.now;
}

QVariant storedDate(double sinceReferenceDate) {
    return QDateTime::fromMSecsSinceEpoch(
        static_cast<qint64>(std::llround((sinceReferenceDate + kReferenceDateOffset) * 1000.0)),
        QTimeZone::utc());
}

// Whether a setter's value differs from the one held: colours channel by channel, records field by field.
bool same(const KColor& x, const KColor& y) {
    return x.r == y.r && x.g == y.g && x.b == y.b && x.a == y.a;
}
bool same(const PenSettings& x, const PenSettings& y) {
    return x.version == y.version && x.thickness == y.thickness && x.inkType == y.inkType &&
           same(x.color, y.color);
}
bool same(const FLTextSettings& x, const FLTextSettings& y) {
    return x.fontSize == y.fontSize && x.fontName == y.fontName && x.textAlignment == y.textAlignment &&
           same(x.foregroundColor, y.foregroundColor) && same(x.backgroundColor, y.backgroundColor);
}
template <class T>
bool same(const T& x, const T& y) {
    return x == y;
}
template <class T>
bool same(const std::vector<T>& x, const std::vector<T>& y) {
    return std::equal(x.begin(), x.end(), y.begin(), y.end(),
                      [](const T& a, const T& b) { return same(a, b); });
}

}  // namespace

struct FoliantGlobals::Setting {
    const char* key;
    // Registered with the defaults store, and what a plain value reads as when the store holds nothing
    // usable. Invalid for the archived values, whose readers make their own defaults.
    QVariant fallback;
    // Null for the keys of other owners: registered, never loaded or saved here.
    SettingAccess access;
};

// Loaded and saved in this order; the ink colours come after the palette, whose first entry is their
// default.
const FoliantGlobals::Setting FoliantGlobals::kSettings[] = {
    {kIsPenPalettePinned, false, aSwitch<&G::isPenPalettePinned_>()},
    {kIsErasingSelectedColor, false, aSwitch<&G::isErasingSelectedColor_>()},
    {kShownColorPaletteScrollHint, false, aSwitch<&G::shownColorPaletteScrollHint_>()},
    {kDisablePalmRejection, false, aSwitch<&G::disablePalmRejection_>()},
    {kOnlyDrawWithStylus, false, aSwitch<&G::onlyDrawWithStylus_>()},
    {kDisableScreenPanning, false, aSwitch<&G::disableScreenPanning_>()},
    {kRecentFontSize, kDefaultFontSize, aNonZeroReal<&G::recentFontSize_>()},
    {kPenColors,
     {},
     {[](G& g, const ReadContext& c) { g.penColors_ = readPalette(c.stored, g._defaultPenColors); },
      [](const G& g) { return storedArchive(archiveColors(g.penColors_)); }}},
    {kPenWidths,
     {},
     {[](G& g, const ReadContext& c) { g.penTables_.penWidths = readPenWidths(c.stored); },
      [](const G& g) { return storedArchive(archiveFloats(g.penTables_.penWidths)); }}},
    {kCurrentPenColors,
     {},
     {[](G& g, const ReadContext& c) {
          g.penTables_.currentPenColors = readCurrentPenColors(c.stored, g.penColors_.front());
      },
      [](const G& g) { return storedArchive(archiveColors(g.penTables_.currentPenColors)); }}},
    {kPenSettings,
     {},
     {[](G& g, const ReadContext& c) { g.penTables_.penSettings = readPenSettings(c.stored); },
      [](const G& g) { return storedArchive(archivePenSettings(g.penTables_.penSettings)); }}},
    {kRecentFontFamilies,
     {},
     {[](G& g, const ReadContext& c) { g.recentFontFamilies_ = readFontFamilies(c.stored); },
      [](const G& g) { return storedArchive(archiveStrings(g.recentFontFamilies_)); }}},
    {kRecentFontName, QString(kDefaultFontName), aText<&G::recentFontName_>()},
    {kDefaultTextSettings,
     {},
     {[](G& g, const ReadContext& c) { g.defaultTextSettings_ = readTextSettings(c.stored); },
      [](const G& g) { return storedArchive(archiveTextSettings(g.defaultTextSettings_)); }}},
    {kColorPalettePage, qlonglong(0), anInteger<&G::colorPalettePage_>()},
    {kInstallDate,
     {},
     {[](G& g, const ReadContext& c) { g.installDate_ = readInstallDate(c); },
      [](const G& g) { return storedDate(g.installDate_); }}},
    {kPleaseRateVersion, qlonglong(0), anInteger<&G::pleaseRateVersion_>()},
    {kLastRateTime, qlonglong(0), anInteger<&G::lastRateTime_>()},
    {kPromotionVersion, qlonglong(0), anInteger<&G::promotionVersion_>()},
    // Owned by the export and the image insertion.
    {kShouldSendHighResPdf, true, {}},
    {kDontAdjustInsertedImages, true, {}},
};

FoliantGlobals::FoliantGlobals(std::unique_ptr<QSettings> store, std::optional<double> now)
    : defaults_(std::move(store)), now_(now) {
    registerDefaults();
    initColors();
    loadSettings();
}

FoliantGlobals& FoliantGlobals::shared() {
    static FoliantGlobals instance(openDefaultsStore());
    return instance;
}

double FoliantGlobals::referenceDateNow() {
    return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0 - kReferenceDateOffset;
}

void FoliantGlobals::registerDefaults() {
    QVariantMap values;
    for (const Setting& row : kSettings) {
        if (row.fallback.isValid()) values.insert(row.key, row.fallback);
    }
    defaults_.registerDefaults(values);
}

void FoliantGlobals::initColors() {
    selectionFillColor = {0, 128 / 255.0, 1.0, 0.0};
    selectionStrokeColor = {0, 128 / 255.0, 1.0, 0.35};
    polySelectionFillColor = {0, 200 / 255.0, 1.0, 0.1};
    polySelectionStrokeColor = {0, 175 / 255.0, 235 / 255.0, 0.75};
    selectedTextBoxBorderColor = polySelectionStrokeColor;
    noteColors = {{1.0, 1.0, 0.8, 1.0}, {0.9, 0.97, 1.0, 1.0}, {1.0, 0.9, 0.9, 1.0},
                  {0.9, 1.0, 0.9, 1.0}, {0.9, 0.9, 1.0, 1.0},  {1.0, 0.9, 0.6, 1.0}};
    noteFontIcons = {"small", "med", "large"};
    penStrokeIcons = {"penstroke-1", "penstroke-2", "penstroke-3"};
    static constexpr int kPalette[4][8][3] = {
        {{0, 0, 0},
         {85, 142, 213},
         {217, 150, 148},
         {195, 214, 155},
         {179, 162, 199},
         {147, 205, 221},
         {250, 192, 144},
         {196, 189, 151}},
        {{0, 0, 0},
         {0, 122, 255},
         {255, 59, 48},
         {76, 217, 100},
         {88, 86, 214},
         {52, 170, 220},
         {255, 149, 0},
         {255, 204, 0}},
        {{0, 0, 0},
         {105, 145, 238},
         {240, 65, 55},
         {111, 196, 134},
         {94, 65, 47},
         {252, 235, 182},
         {192, 122, 177},
         {238, 173, 25}},
        {{0, 0, 0},
         {64, 64, 64},
         {96, 96, 96},
         {128, 128, 128},
         {160, 160, 160},
         {192, 192, 192},
         {224, 224, 224},
         {250, 250, 250}},
    };
    _defaultPenColors.clear();
    for (const auto& page : kPalette) {
        for (const auto& entry : page)
            _defaultPenColors.push_back(rgb255(entry[0], entry[1], entry[2], 0.35));
    }
    _defaultPenColors.back().a = 0.1;
}

void FoliantGlobals::loadSettings() {
    const QSettings& store = defaults_.store();
    const double now = now_ ? *now_ : referenceDateNow();
    for (const Setting& row : kSettings) {
        if (!row.access.read) continue;
        const QVariant stored = store.value(row.key);
        row.access.read(*this, ReadContext{stored, row.fallback, store, now});
    }
    if (didLoadSettings) didLoadSettings(*this);
}

bool FoliantGlobals::saveSettings() {
    QSettings& store = defaults_.store();
    for (const Setting& row : kSettings) {
        if (row.access.write) store.setValue(row.key, row.access.write(*this));
    }
    return defaults_.synchronize();
}

template <class T>
void FoliantGlobals::update(T& field, T value, const char* key) {
    if (same(field, value)) return;
    field = std::move(value);
    emit changed(QString::fromLatin1(key));
}

void FoliantGlobals::setIsPenPalettePinned(bool value) {
    update(isPenPalettePinned_, value, kIsPenPalettePinned);
}

void FoliantGlobals::setIsErasingSelectedColor(bool value) {
    update(isErasingSelectedColor_, value, kIsErasingSelectedColor);
}

void FoliantGlobals::setShownColorPaletteScrollHint(bool value) {
    update(shownColorPaletteScrollHint_, value, kShownColorPaletteScrollHint);
}

void FoliantGlobals::setDisablePalmRejection(bool value) {
    update(disablePalmRejection_, value, kDisablePalmRejection);
}

void FoliantGlobals::setOnlyDrawWithStylus(bool value) {
    update(onlyDrawWithStylus_, value, kOnlyDrawWithStylus);
}

void FoliantGlobals::setDisableScreenPanning(bool value) {
    update(disableScreenPanning_, value, kDisableScreenPanning);
}

void FoliantGlobals::setRecentFontSize(float value) {
    update(recentFontSize_, value, kRecentFontSize);
}

void FoliantGlobals::setPenColors(std::vector<KColor> value) {
    update(penColors_, std::move(value), kPenColors);
}

void FoliantGlobals::setPenSettings(std::vector<PenSettings> value) {
    update(penTables_.penSettings, std::move(value), kPenSettings);
}

void FoliantGlobals::setPenWidths(std::vector<float> value) {
    update(penTables_.penWidths, std::move(value), kPenWidths);
}

void FoliantGlobals::setCurrentPenColors(std::vector<KColor> value) {
    update(penTables_.currentPenColors, std::move(value), kCurrentPenColors);
}

void FoliantGlobals::setRecentFontFamilies(std::vector<std::string> value) {
    update(recentFontFamilies_, std::move(value), kRecentFontFamilies);
}

void FoliantGlobals::setRecentFontName(std::string value) {
    update(recentFontName_, std::move(value), kRecentFontName);
}

void FoliantGlobals::setDefaultTextSettings(const FLTextSettings& value) {
    update(defaultTextSettings_, value, kDefaultTextSettings);
}

void FoliantGlobals::setColorPalettePage(std::int64_t value) {
    update(colorPalettePage_, value, kColorPalettePage);
}

void FoliantGlobals::setInstallDate(double value) {
    update(installDate_, value, kInstallDate);
}

void FoliantGlobals::setPleaseRateVersion(std::int64_t value) {
    update(pleaseRateVersion_, value, kPleaseRateVersion);
}

void FoliantGlobals::setLastRateTime(std::int64_t value) {
    update(lastRateTime_, value, kLastRateTime);
}

void FoliantGlobals::setPromotionVersion(std::int64_t value) {
    update(promotionVersion_, value, kPromotionVersion);
}

void FoliantGlobals::addRecentFontFamily(const std::string& family) {
    std::vector<std::string> families = recentFontFamilies_;
    std::erase(families, family);
    families.insert(families.begin(), family);
    if (families.size() > kMaxRecentFontFamilies) families.resize(kMaxRecentFontFamilies);
    setRecentFontFamilies(std::move(families));
}

KColor FoliantGlobals::displayColorForColor(const KColor& color) {
    KColor shown = color;
    shown.a = color.a < 0.1 ? color.a * 10 : 1.0;
    return shown;
}

}  // namespace velumen
