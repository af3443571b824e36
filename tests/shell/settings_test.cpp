// The defaults store and the global settings, on real files in a temporary folder.
#include <gtest/gtest.h>

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QTimeZone>
#include <functional>
#include <limits>
#include <tuple>

#include "document/BinaryPlist.h"
#include "document/KeyedArchive.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantGlobals.h"

namespace velumen {

// Test-only: pen slots field by field.
bool operator==(const PenSettings& x, const PenSettings& y) {
    return x.version == y.version && x.thickness == y.thickness && x.inkType == y.inkType &&
           x.color == y.color;
}

namespace {

using G = FoliantGlobals;

QByteArray bytes(const std::vector<std::uint8_t>& v) {
    return QByteArray(reinterpret_cast<const char*>(v.data()), qsizetype(v.size()));
}
std::span<const std::uint8_t> bytesOf(const QByteArray& b) {
    return {reinterpret_cast<const std::uint8_t*>(b.constData()), std::size_t(b.size())};
}
QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}
void writeFile(const QString& path, const QByteArray& data) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(data);
}

class SettingsTest : public ::testing::Test {
  protected:
    QTemporaryDir dir;
    // A fresh name for each store a test makes: the toolkit keeps what it read of a file it has seen.
    QString name = "defaults.plist";
    QString path() const { return dir.filePath(name); }
    std::unique_ptr<FoliantGlobals> fresh(std::optional<double> now = 700000000.0) {
        return std::make_unique<FoliantGlobals>(openDefaultsStore(path()), now);
    }
    void writeRaw(const char* key, const QVariant& value) {
        auto store = openDefaultsStore(path());
        store->setValue(key, value);
        store->sync();
    }
    QVariantMap storedValues() {
        auto store = openDefaultsStore(path());
        QVariantMap values;
        for (const QString& key : store->allKeys())
            values.insert(key, store->value(key));
        return values;
    }
};

// Every persisted value, to compare one load with another.
auto persisted(const FoliantGlobals& g) {
    const FLTextSettings& t = g.defaultTextSettings();
    return std::tuple(g.isPenPalettePinned(), g.isErasingSelectedColor(), g.shownColorPaletteScrollHint(),
                      g.disablePalmRejection(), g.onlyDrawWithStylus(), g.disableScreenPanning(),
                      g.recentFontSize(), g.penColors(), g.penWidths(), g.currentPenColors(), g.penSettings(),
                      g.recentFontFamilies(), g.recentFontName(), t.fontName, t.fontSize, t.textAlignment,
                      t.foregroundColor, t.backgroundColor, g.colorPalettePage(), g.installDate(),
                      g.pleaseRateVersion(), g.lastRateTime(), g.promotionVersion());
}

// One setter call for each persisted value, taking it away from its default: five pen slots and a 33rd
// colour among them. Colours are kept as 32-bit floats: the palette starts from its stored precision.
const std::pair<const char*, std::function<void(G&)>> kSetEveryValue[] = {
    {"isPenPalettePinned", [](G& g) { g.setIsPenPalettePinned(true); }},
    {"isErasingSelectedColor", [](G& g) { g.setIsErasingSelectedColor(true); }},
    {"shownColorPaletteScrollHint", [](G& g) { g.setShownColorPaletteScrollHint(true); }},
    {"disablePalmRejection", [](G& g) { g.setDisablePalmRejection(true); }},
    {"onlyDrawWithStylus", [](G& g) { g.setOnlyDrawWithStylus(true); }},
    {"disableScreenPanning", [](G& g) { g.setDisableScreenPanning(true); }},
    {"recentFontSize", [](G& g) { g.setRecentFontSize(17.5f); }},
    {"penColors",
     [](G& g) {
         std::vector<KColor> palette;
         for (const KColor& c : g._defaultPenColors)
             palette.push_back(
                 {double(float(c.r)), double(float(c.g)), double(float(c.b)), double(float(c.a))});
         palette[0] = {0.5, 0.25, 0, 0.5};
         palette[5] = {0.25, 0.5, 0.75, 0.125};
         palette.push_back({1, 1, 1, 0.5});
         g.setPenColors(palette);
     }},
    {"penWidths",
     [](G& g) {
         g.setPenWidths({60, 5, 2, 24, 12, 7.25f});
     }},
    {"currentPenColors",
     [](G& g) {
         g.setCurrentPenColors({{1, 0, 0, 0.5},
                                {0, 1, 0, 0.5},
                                {0, 0, 1, 0.5},
                                {1, 1, 0, 0.5},
                                {0, 1, 1, 0.5},
                                {1, 0, 1, 0.5}});
     }},
    {"penSettings",
     [](G& g) {
         std::vector<PenSettings> pens;
         for (int i = 0; i < 5; ++i) {
             pens.push_back(
                 PenSettings::initWithColor({0.125 * i, 0.5, 1 - 0.125 * i, 0.25}, 2.0f + float(i)));
             pens.back().inkType = i;
         }
         g.setPenSettings(pens);
     }},
    {"recentFontFamilies",
     [](G& g) {
         g.setRecentFontFamilies({"Mono", "Grüße\tSans", "Courier", "Times", "Helvetica"});
     }},
    {"recentFontName", [](G& g) { g.setRecentFontName("Courier"); }},
    {"defaultTextSettings",
     [](G& g) { g.setDefaultTextSettings({.fontSize = 30, .fontName = "Times", .textAlignment = 2}); }},
    {"colorPalettePage", [](G& g) { g.setColorPalettePage(3); }},
    {"installDate", [](G& g) { g.setInstallDate(123456789.5); }},
    {"pleaseRateVersion", [](G& g) { g.setPleaseRateVersion(7); }},
    {"lastRateTime", [](G& g) { g.setLastRateTime(99); }},
    {"promotionVersion", [](G& g) { g.setPromotionVersion(4); }},
};

void setEveryValue(FoliantGlobals& g) {
    for (const auto& [key, set] : kSetEveryValue)
        set(g);
}

// The class of the archived value under "root", read from the property list itself rather than through
// the archive reader: the stored form as any reader of keyed archives sees it.
std::string storedRootClass(const QByteArray& data) {
    const auto r = plist::Reader::open(bytesOf(data));
    if (!r) return "not a property list";
    const auto top = r->dictLookup(r->top(), "$top");
    const auto objects = r->dictLookup(r->top(), "$objects");
    const auto root = top ? r->dictLookup(*top, "root") : std::nullopt;
    const auto rootUid = root ? r->asUID(*root) : std::nullopt;
    const auto object = rootUid && objects ? r->arrayAt(*objects, *rootUid) : std::nullopt;
    const auto cls = object ? r->dictLookup(*object, "$class") : std::nullopt;
    const auto clsUid = cls ? r->asUID(*cls) : std::nullopt;
    const auto record = clsUid ? r->arrayAt(*objects, *clsUid) : std::nullopt;
    const auto name = record ? r->dictLookup(*record, "$classname") : std::nullopt;
    return name ? r->asString(*name).value_or("?") : "no root object";
}

TEST_F(SettingsTest, PlainValuesKeepTheirTypesThroughTheFile) {
    const std::pair<const char*, QVariant> values[] = {
        {"b", true},
        {"i", qlonglong(-1234567890123)},
        {"d", 0.1},
        {"s", QString("Grüße")},
        {"data", QByteArray("\x00\x01\xff", 3)},
        {"date", QDateTime::fromMSecsSinceEpoch(1700000000123, QTimeZone::utc())},
        {"list", QVariantList{qlonglong(1), QString("two"), 3.5}},
    };
    for (const auto& [key, value] : values)
        writeRaw(key, value);
    auto store = openDefaultsStore(path());
    for (const auto& [key, value] : values) {
        EXPECT_EQ(store->value(key).typeId(), value.typeId()) << key;
        EXPECT_TRUE(store->value(key) == value) << key;
    }
    EXPECT_EQ(store->value("list").toList()[1].typeId(), QMetaType::QString);
}

TEST_F(SettingsTest, AMissingKeyReadsAsItsDefault) {
    auto g = fresh();
    ASSERT_EQ(g->_defaultPenColors.size(), 32u);
    EXPECT_EQ(g->penColors(), g->_defaultPenColors);
    EXPECT_DOUBLE_EQ(g->_defaultPenColors[9].g, 122 / 255.0);
    EXPECT_DOUBLE_EQ(g->_defaultPenColors[8].a, 0.35);
    EXPECT_DOUBLE_EQ(g->_defaultPenColors[31].a, 0.1);
    EXPECT_EQ(g->penWidths(), (std::vector<float>{64, 6, 3, 32, 16}));
    EXPECT_EQ(g->currentPenColors(), std::vector<KColor>(6, g->_defaultPenColors[0]));
    EXPECT_EQ(g->penSettings(), std::vector<PenSettings>(3, PenSettings::initWithColor({0, 0, 0, 0.35}, 6)));
    EXPECT_EQ(g->recentFontFamilies(), std::vector<std::string>{"Helvetica"});
    EXPECT_EQ(g->recentFontName(), "Helvetica");
    EXPECT_EQ(g->recentFontSize(), 48.0f);
    EXPECT_EQ(g->defaultTextSettings().fontSize, 48.0f);
    EXPECT_DOUBLE_EQ(g->installDate(), 700000000.0);
    EXPECT_TRUE(g->defaults().boolForKey("shouldSendHighResPdf"));
    EXPECT_TRUE(g->defaults().boolForKey("dontAdjustInsertedImages"));
    EXPECT_FALSE(g->defaults().boolForKey("shouldHideWristGuard"));
    EXPECT_EQ(g->defaults().doubleForKey("recentFontSize"), 48.0);
    EXPECT_EQ(g->defaults().stringForKey("recentFontName"), QString("Helvetica"));
}

TEST_F(SettingsTest, EveryValueRoundTripsInItsStoredFormAndSavesBackByteForByte) {
    auto g = fresh();
    setEveryValue(*g);
    ASSERT_TRUE(g->saveSettings());
    {
        auto store = openDefaultsStore(path());
        for (const char* key : {"penSettings", "penColors", "penWidths", "currentPenColors",
                                "recentFontFamilies", "defaultTextSettings"}) {
            EXPECT_EQ(store->value(key).typeId(), QMetaType::QByteArray) << key;
            EXPECT_EQ(storedRootClass(store->value(key).toByteArray()),
                      std::string(key) == "defaultTextSettings" ? "FLTextSettings" : "NSMutableArray")
                << key;
        }
        // The widths are numbers and the families text, one object each, as any archive reader takes them.
        KeyedUnarchiver widths(bytesOf(store->value("penWidths").toByteArray()));
        EXPECT_EQ(widths.topDecoder().decodeNumberArrayForKey("root"),
                  (std::vector<double>{60, 5, 2, 24, 12, 7.25}));
        KeyedUnarchiver families(bytesOf(store->value("recentFontFamilies").toByteArray()));
        EXPECT_EQ(families.topDecoder().decodeStringArrayForKey("root"),
                  (std::vector<std::string>{"Mono", "Grüße\tSans", "Courier", "Times", "Helvetica"}));
    }
    QStringList tableKeys;
    for (const auto& [key, set] : kSetEveryValue)
        tableKeys << key;
    tableKeys.sort();
    EXPECT_EQ(openDefaultsStore(path())->allKeys(), tableKeys);
    const QByteArray written = readFile(path());
    auto loaded = fresh(1.0);
    EXPECT_EQ(persisted(*loaded), persisted(*g));
    ASSERT_TRUE(loaded->saveSettings());
    EXPECT_EQ(readFile(path()), written);
}

TEST_F(SettingsTest, EachUnreadableValueFallsBackToItsDefaultAloneAndTheOthersLoad) {
    ASSERT_TRUE(fresh()->saveSettings());
    const QVariantMap defaults = storedValues();
    std::vector<KColor> palette;
    {
        auto g = fresh();
        setEveryValue(*g);
        palette = g->penColors();
        ASSERT_TRUE(g->saveSettings());
    }
    const QByteArray original = readFile(path());
    const QVariantMap saved = storedValues();

    const ArchiveClass immutable = {"NSArray", "NSObject"},
                       mutableArray = {"NSMutableArray", "NSArray", "NSObject"};
    const std::vector<float> sixWidths = {1, 2, 3, 4, 5, 6};
    const std::vector<std::string> twoTexts = {"A", "B"};
    const auto archived = [](const std::function<void(KeyedEncoder&)>& encode) {
        KeyedArchiver archiver;
        return bytes(archiver.archivedTopLevel(encode).value());
    };
    const QByteArray immutableWidths =
        archived([&](KeyedEncoder& top) { top.encodeFloatArray("root", sixWidths, immutable); });
    const QByteArray immutableFamilies =
        archived([&](KeyedEncoder& top) { top.encodeStringArray("root", twoTexts, immutable); });
    const QByteArray textsForNumbers =
        archived([&](KeyedEncoder& top) { top.encodeStringArray("root", twoTexts, mutableArray); });
    const QByteArray truncated = bytes(archiveColors(palette)).left(100);
    const QByteArray pens = saved.value("penSettings").toByteArray();
    const double inf = std::numeric_limits<double>::infinity();

    const std::pair<const char*, QVariant> cases[] = {
        {"penSettings", QByteArray("not an archive")},
        {"penSettings", bytes(archiveColors(palette))},  // colours, not pens
        {"penSettings", qlonglong(3)},
        {"penColors", truncated},
        {"penColors", textsForNumbers},
        {"penWidths", immutableWidths},  // kept only when mutable
        {"penWidths", textsForNumbers},
        {"penWidths", bytes(archiveFloats({1, 2, 3, 4}))},  // fewer than five
        {"penWidths", QVariantList{1, 2, 3}},
        {"penWidths", QVariantList{1, 2, QString("3"), 4, 5}},
        {"currentPenColors", truncated},
        {"currentPenColors", pens},
        {"currentPenColors", bytes(archiveColors({{1, 0, 0, 1}, {0, 1, 0, 1}}))},  // fewer than six
        {"recentFontFamilies", immutableFamilies},
        {"recentFontFamilies", bytes(archiveFloats(sixWidths))},
        {"recentFontFamilies", QVariantList{QString("A"), 2}},
        {"recentFontFamilies", QString("not a list")},
        {"defaultTextSettings", bytes(archiveStrings(twoTexts))},
        {"defaultTextSettings", bytes(archiveColors({{1, 0, 0, 1}}))},
        {"defaultTextSettings", QString("Courier")},
        // Plain values are numbers stored directly: text is no switch, no size and no page.
        {"isPenPalettePinned", QString("1")},
        {"onlyDrawWithStylus", QByteArray("\x01", 1)},
        {"recentFontSize", 0.0},
        {"recentFontSize", inf},
        {"recentFontSize", QString("12")},
        {"recentFontName", qlonglong(12)},
        {"colorPalettePage", QString("3")},
        {"colorPalettePage", 1e30},
        {"installDate", QString("2001-01-01")},
        {"pleaseRateVersion", QVariantList{7}},
    };
    int n = 0;
    for (const auto& [key, value] : cases) {
        SCOPED_TRACE(std::string(key) + " holding " + value.typeName());
        name = QString("case-%1.plist").arg(++n);
        writeFile(path(), original);
        writeRaw(key, value);
        ASSERT_TRUE(fresh()->saveSettings());
        const QVariantMap loaded = storedValues();
        for (const QString& k : saved.keys()) {
            QVariant expected = k == key ? defaults.value(k) : saved.value(k);
            // The colours of the ink types fall back to the palette's first entry.
            if (k == key && k == "currentPenColors")
                expected = bytes(archiveColors(std::vector(6, palette[0])));
            EXPECT_TRUE(loaded.value(k) == expected) << k.toStdString();
        }
    }
}

TEST_F(SettingsTest, AnOlderPaletteGainsTheNewPageAndAFileThatIsNoStoreReadsAsEmpty) {
    writeRaw("penColors", bytes(archiveColors(std::vector(24, KColor{0.5, 0.5, 0.5, 0.25}))));
    auto g = fresh();
    ASSERT_EQ(g->penColors().size(), 32u);
    EXPECT_EQ(g->penColors()[23], (KColor{0.5, 0.5, 0.5, 0.25}));
    EXPECT_EQ(g->penColors()[24], g->_defaultPenColors[24]);

    name = "garbage.plist";
    writeFile(path(), "garbage");
    auto h = fresh();
    EXPECT_EQ(persisted(*h),
              persisted(FoliantGlobals(openDefaultsStore(dir.filePath("new.plist")), 700000000.0)));
}

TEST_F(SettingsTest, WidthsAndColoursThatAreNoNumbersTakeTheDefaultOfTheirEntryAlone) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    KColor bad{nan, 0, 0, 1};
    std::vector<KColor> palette = FoliantGlobals(openDefaultsStore(dir.filePath("factory.plist")), 0.0)._defaultPenColors;
    const KColor factoryThird = palette[2];
    palette[0] = {0.125, 0.25, 0.375, 0.5};
    palette[2] = bad;
    writeRaw("penColors", bytes(archiveColors(palette)));
    writeRaw("currentPenColors", bytes(archiveColors({{1, 0, 0, 1}, bad, {0, 0, 1, 1}, bad, bad, {0, 1, 0, 1}})));
    writeRaw("penWidths", bytes(archiveFloats({-2, 7, float(nan), 40, 0})));
    writeRaw("penSettings", bytes(archivePenSettings({PenSettings::initWithColor(bad, float(nan)),
                                                      PenSettings::initWithColor({0, 0, 1, 1}, -5.0f),
                                                      PenSettings::initWithColor({1, 0, 0, 1}, 9.0f)})));
    auto g = fresh();
    EXPECT_EQ(g->penColors()[0], (KColor{0.125, 0.25, 0.375, 0.5}));
    EXPECT_EQ(g->penColors()[2], factoryThird);
    EXPECT_EQ(g->currentPenColors(), (std::vector<KColor>{{1, 0, 0, 1}, g->penColors()[0], {0, 0, 1, 1},
                                                          g->penColors()[0], g->penColors()[0], {0, 1, 0, 1}}));
    EXPECT_EQ(g->penWidths(), (std::vector<float>{64, 7, 3, 40, 16}));
    EXPECT_EQ(g->penSettings()[0].thickness, PenTables::kDefaultPenThickness);
    EXPECT_EQ(g->penSettings()[0].color, PenTables::defaultPenColor());
    EXPECT_EQ(g->penSettings()[1].thickness, PenTables::kDefaultPenThickness);
    EXPECT_EQ(g->penSettings()[2].thickness, 9.0f);
    // A plain list from an older store: the same per entry.
    name = "plain.plist";
    writeRaw("penWidths", QVariantList{1, 2, nan, -1, 5});
    EXPECT_EQ(fresh()->penWidths(), (std::vector<float>{1, 2, 3, 32, 5}));
}

TEST_F(SettingsTest, AStoreWrittenBeforeTheArchivedFormsLoadsAndIsWrittenBackAsBefore) {
    // Written by the program as it stood before the widths and font families were archived and before the
    // archives held the value itself at their root; the second file is that store as saved by the program
    // before its settings were read through one table of keys.
    ASSERT_TRUE(QFile::copy(VELUMEN_SHELL_TEST_DATA_DIR "/settings-store-2026-11.plist", path()));
    QFile::setPermissions(path(), QFile::ReadOwner | QFile::WriteOwner);
    auto g = fresh(1.0);
    EXPECT_EQ(
        std::tuple(g->isPenPalettePinned(), g->isErasingSelectedColor(), g->shownColorPaletteScrollHint(),
                   g->disablePalmRejection(), g->onlyDrawWithStylus(), g->disableScreenPanning()),
        std::tuple(true, false, true, false, true, true));
    EXPECT_EQ(g->recentFontSize(), 21.5f);
    ASSERT_EQ(g->penColors().size(), 32u);
    EXPECT_EQ(g->penColors()[3], (KColor{0.25, 0.5, 0.75, 0.125}));
    EXPECT_EQ(g->penColors()[30], (KColor{0.5, 0.25, 0.0, 0.5}));
    const auto f = [](double v) { return static_cast<double>(static_cast<float>(v)); };
    const KColor factory = g->_defaultPenColors[4];
    EXPECT_EQ(g->penColors()[4], (KColor{f(factory.r), f(factory.g), f(factory.b), f(factory.a)}));
    EXPECT_EQ(g->penWidths(), (std::vector<float>{48, 8, 2, 96, 14}));
    EXPECT_EQ(g->currentPenColors(), (std::vector<KColor>{{1, 0, 0, f(0.35)},
                                                          {0, 1, 0, f(0.35)},
                                                          {0, 0, 1, f(0.35)},
                                                          {0.5, 0.5, 0.5, 1},
                                                          {0.25, 0.25, 0.25, 0.5},
                                                          {1, 1, 0, f(0.1)}}));
    const auto& pens = g->penSettings();
    ASSERT_EQ(pens.size(), 3u);
    EXPECT_EQ(pens[0].color, (KColor{f(0.2), f(0.4), f(0.6), f(0.35)}));
    EXPECT_EQ(
        std::tuple(pens[0].thickness, pens[1].thickness, pens[1].inkType, pens[2].thickness, pens[2].inkType),
        std::tuple(4.0f, 12.0f, InkTypeBrush, 16.0f, InkTypeHilighter));
    EXPECT_EQ(g->recentFontFamilies(), (std::vector<std::string>{"Times", "Courier", "Helvetica"}));
    EXPECT_EQ(g->recentFontName(), "Times");
    const FLTextSettings& text = g->defaultTextSettings();
    EXPECT_EQ(std::tuple(text.fontName, text.fontSize, text.textAlignment), std::tuple("Courier", 30.0f, 1));
    EXPECT_EQ(
        std::tuple(g->colorPalettePage(), g->pleaseRateVersion(), g->lastRateTime(), g->promotionVersion()),
        std::tuple(2, 5, 12345, 3));
    EXPECT_DOUBLE_EQ(g->installDate(), 654321000.0);

    ASSERT_TRUE(g->saveSettings());
    EXPECT_TRUE(readFile(path()) ==
                readFile(VELUMEN_SHELL_TEST_DATA_DIR "/settings-store-2026-11-saved.plist"));
    EXPECT_EQ(persisted(*fresh(1.0)), persisted(*g));
}

TEST_F(SettingsTest, InstallDateIsEstimatedFromTheRunTime) {
    const std::pair<int, double> cases[] = {{0, 0},          {59, 0},         {60, 1036800},  {1799, 1036800},
                                            {1800, 2851200}, {7199, 2851200}, {7200, 3628800}};
    for (const auto& [rtx, back] : cases) {
        writeRaw("rtx", rtx);
        EXPECT_DOUBLE_EQ(fresh(1e9)->installDate(), 1e9 - back) << rtx;
    }
}

TEST_F(SettingsTest, ASetterAnnouncesARealChangeOnceUnderItsKeyAndLoadingAnnouncesNothing) {
    auto g = fresh();
    QStringList keys;
    QObject::connect(g.get(), &FoliantGlobals::changed, [&](const QString& key) { keys << key; });
    for (const auto& [key, set] : kSetEveryValue) {
        keys.clear();
        set(*g);
        set(*g);
        EXPECT_EQ(keys, QStringList{key});
    }
    keys.clear();
    g->addRecentFontFamily("Mono");  // first already
    g->setPenColors(g->penColors());
    g->setDefaultTextSettings(g->defaultTextSettings());
    EXPECT_TRUE(keys.isEmpty());
    g->addRecentFontFamily("Helvetica");
    EXPECT_EQ(keys, QStringList{"recentFontFamilies"});

    keys.clear();
    g->defaults().setObject("onlyDrawWithStylus", false);
    g->defaults().setObject("recentFontName", QString("Times"));
    g->loadSettings();
    EXPECT_FALSE(g->onlyDrawWithStylus());
    EXPECT_EQ(g->recentFontName(), "Times");
    EXPECT_TRUE(keys.isEmpty());
}

TEST(FoliantGlobalsTables, RecentFontsAndSwatchColours) {
    QTemporaryDir dir;
    FoliantGlobals g(openDefaultsStore(dir.filePath("d.plist")), 0.0);
    for (const char* f : {"A", "B", "C", "D"})
        g.addRecentFontFamily(f);
    EXPECT_EQ(g.recentFontFamilies(), (std::vector<std::string>{"D", "C", "B", "A", "Helvetica"}));
    g.addRecentFontFamily("E");
    EXPECT_EQ(g.recentFontFamilies(), (std::vector<std::string>{"E", "D", "C", "B", "A"}));
    g.addRecentFontFamily("B");
    EXPECT_EQ(g.recentFontFamilies(), (std::vector<std::string>{"B", "E", "D", "C", "A"}));
    EXPECT_DOUBLE_EQ(FoliantGlobals::displayColorForColor({0.1, 0.2, 0.3, 0.05}).a, 0.5);
    EXPECT_DOUBLE_EQ(FoliantGlobals::displayColorForColor({0.1, 0.2, 0.3, 0.35}).a, 1.0);
    EXPECT_DOUBLE_EQ(FoliantGlobals::displayColorForColor({0.1, 0.2, 0.3, 0.35}).g, 0.2);
}

}  // namespace
}  // namespace velumen
