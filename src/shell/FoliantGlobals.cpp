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
            for (const double n : *numbers) {
                if (!std::isfinite(n) || std::fabs(n) > 3.4e38) return std::nullopt;
                values.push_back(static_cast<float>(n));
            }
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

FoliantGlobals::FoliantGlobals(std::unique_ptr<QSettings> store, std::optional<double> now)
    : defaults_(std::move(store)), now_(now) {
    defaults_.registerDefaults({{kShouldSendHighResPdf, true}, {kDontAdjustInsertedImages, true}});
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
    QSettings& store = defaults_.store();
    auto data = [&](const char* key) {
        const QVariant v = store.value(key);
        return v.typeId() == QMetaType::QByteArray ? v.toByteArray() : QByteArray();
    };

    // 1. Pen slots, filled up to three; more are kept.
    penTables.penSettings = unarchivePenSettings(data(kPenSettings)).value_or(std::vector<PenSettings>{});
    while (penTables.penSettings.size() < PenTables::kPenSettingsCount)
        penTables.penSettings.push_back(
            PenSettings::initWithColor(PenTables::defaultPenColor(), PenTables::kDefaultPenThickness));

    // 2. The palette: an older, shorter one keeps its entries and gains the missing tail.
    penColors = unarchiveColors(data(kPenColors)).value_or(std::vector<KColor>{});
    for (std::size_t i = penColors.size(); i < _defaultPenColors.size(); ++i)
        penColors.push_back(_defaultPenColors[i]);

    // 3. Widths: a mutable array of numbers with at least five entries, else the defaults whole. Stores
    // written before the widths were archived hold a plain list of reals, which reads the same way.
    {
        std::optional<std::vector<float>> widths = unarchiveFloats(data(kPenWidths), ArrayKind::MutableOnly);
        if (const QVariant v = store.value(kPenWidths); !widths && v.typeId() == QMetaType::QVariantList) {
            widths.emplace();
            for (const QVariant& member : v.toList()) {
                const auto n = plainNumber(member);
                if (!n || !std::isfinite(*n) || std::fabs(*n) > 3.4e38) {
                    widths.reset();
                    break;
                }
                widths->push_back(static_cast<float>(*n));
            }
        }
        if (widths && widths->size() >= PenTables::kPenWidthsCount)
            penTables.penWidths = std::move(*widths);
        else
            penTables.penWidths = PenTables::defaultPenWidths();
    }

    // 4. The colour of each ink type: a mutable array of six at least, else six copies of the palette's
    // first entry.
    {
        auto colors = unarchiveColors(data(kCurrentPenColors), ArrayKind::MutableOnly);
        if (colors && colors->size() >= PenTables::kCurrentPenColorsCount)
            penTables.currentPenColors = std::move(*colors);
        else
            penTables.currentPenColors.assign(PenTables::kCurrentPenColorsCount, penColors.front());
    }

    // 5, 6. Fonts. The families are a mutable array of text, or the plain list of text of stores written
    // before they were archived; anything else gives the default family alone.
    {
        std::optional<std::vector<std::string>> families =
            unarchiveStrings(data(kRecentFontFamilies), ArrayKind::MutableOnly);
        if (const QVariant v = store.value(kRecentFontFamilies);
            !families && (v.typeId() == QMetaType::QVariantList || v.typeId() == QMetaType::QStringList)) {
            families.emplace();
            for (const QVariant& member : v.toList()) {
                if (member.typeId() != QMetaType::QString) {
                    families.reset();
                    break;
                }
                families->push_back(member.toString().toStdString());
            }
        }
        _recentFontFamilies = families ? std::move(*families) : std::vector<std::string>{kDefaultFontName};
    }
    {
        const QVariant v = store.value(kRecentFontName);
        _recentFontName = v.typeId() == QMetaType::QString ? v.toString().toStdString() : kDefaultFontName;
    }
    {
        const auto size = plainNumber(store.value(kRecentFontSize));
        _recentFontSize =
            size && std::isfinite(*size) && *size != 0 ? static_cast<float>(*size) : kDefaultFontSize;
    }

    // 7. Text style of new text boxes.
    _defaultTextSettings = unarchiveTextSettings(data(kDefaultTextSettings));
    if (!_defaultTextSettings) _defaultTextSettings = std::make_shared<FLTextSettings>();

    // 8. Plain switches and the palette page.
    auto plainBool = [&](const char* key) {
        const auto n = plainNumber(store.value(key));
        return n && *n != 0;
    };
    auto plainInt = [&](const char* key) -> std::int64_t {
        const auto n = plainNumber(store.value(key));
        return n && std::fabs(*n) < 9.2e18 ? static_cast<std::int64_t>(*n) : 0;
    };
    isPenPalettePinned = plainBool(kIsPenPalettePinned);
    isErasingSelectedColor = plainBool(kIsErasingSelectedColor);
    _shownColorPaletteScrollHint = plainBool(kShownColorPaletteScrollHint);
    _disablePalmRejection = plainBool(kDisablePalmRejection);
    _onlyDrawWithStylus = plainBool(kOnlyDrawWithStylus);
    _disableScreenPanning = plainBool(kDisableScreenPanning);
    _colorPalettePage = plainInt(kColorPalettePage);

    // 9. Install date, estimated from the run time for users from before the key existed.
    {
        const QVariant v = store.value(kInstallDate);
        const double now = now_ ? *now_ : referenceDateNow();
        if (v.typeId() == QMetaType::QDateTime && v.toDateTime().isValid()) {
            _installDate = double(v.toDateTime().toMSecsSinceEpoch()) / 1000.0 - kReferenceDateOffset;
        } else {
            const std::int64_t rtx = plainInt(kRunTime);
            if (rtx >= 7200)
                _installDate = now - 3628800;
            else if (rtx >= 1800)
                _installDate = now - 2851200;
            else if (rtx >= 60)
                _installDate = now - 1036800;
            else
                _installDate = now;
        }
    }

    // 10. Rating and promotion.
    _pleaseRateVersion = plainInt(kPleaseRateVersion);
    _lastRateTime = plainInt(kLastRateTime);
    _promotionVersion = plainInt(kPromotionVersion);
}

bool FoliantGlobals::saveSettings() {
    QSettings& store = defaults_.store();
    store.setValue(kIsPenPalettePinned, isPenPalettePinned);
    store.setValue(kIsErasingSelectedColor, isErasingSelectedColor);
    store.setValue(kShownColorPaletteScrollHint, _shownColorPaletteScrollHint);
    store.setValue(kDisablePalmRejection, _disablePalmRejection);
    store.setValue(kOnlyDrawWithStylus, _onlyDrawWithStylus);
    store.setValue(kDisableScreenPanning, _disableScreenPanning);
    store.setValue(kRecentFontSize, _recentFontSize);
    store.setValue(kPenColors, toByteArray(archiveColors(penColors)));
    store.setValue(kPenWidths, toByteArray(archiveFloats(penTables.penWidths)));
    store.setValue(kCurrentPenColors, toByteArray(archiveColors(penTables.currentPenColors)));
    store.setValue(kPenSettings, toByteArray(archivePenSettings(penTables.penSettings)));
    store.setValue(kRecentFontFamilies, toByteArray(archiveStrings(_recentFontFamilies)));
    store.setValue(kRecentFontName, QString::fromStdString(_recentFontName));
    if (_defaultTextSettings)
        store.setValue(kDefaultTextSettings, toByteArray(archiveTextSettings(*_defaultTextSettings)));
    store.setValue(kColorPalettePage, qlonglong(_colorPalettePage));
    store.setValue(kInstallDate,
                   QDateTime::fromMSecsSinceEpoch(
                       static_cast<qint64>(std::llround((_installDate + kReferenceDateOffset) * 1000.0)),
                       QTimeZone::utc()));
    store.setValue(kPleaseRateVersion, qlonglong(_pleaseRateVersion));
    store.setValue(kLastRateTime, qlonglong(_lastRateTime));
    store.setValue(kPromotionVersion, qlonglong(_promotionVersion));
    return defaults_.synchronize();
}

void FoliantGlobals::addRecentFontFamily(const std::string& family) {
    std::erase(_recentFontFamilies, family);
    _recentFontFamilies.insert(_recentFontFamilies.begin(), family);
    if (_recentFontFamilies.size() > kMaxRecentFontFamilies)
        _recentFontFamilies.resize(kMaxRecentFontFamilies);
}

KColor FoliantGlobals::displayColorForColor(const KColor& color) {
    KColor shown = color;
    shown.a = color.a < 0.1 ? color.a * 10 : 1.0;
    return shown;
}

}  // namespace velumen
