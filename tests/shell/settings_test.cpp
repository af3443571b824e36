// The defaults store and the global settings, on real files in a temporary folder.
#include <gtest/gtest.h>

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QTimeZone>

#include "document/BinaryPlist.h"
#include "document/KeyedArchive.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantGlobals.h"

namespace velumen {

// Test-only: colours equal channel by channel; pen slots field by field.
bool operator==(const KColor& x, const KColor& y) {
    return x.r == y.r && x.g == y.g && x.b == y.b && x.a == y.a;
}
bool operator==(const PenSettings& x, const PenSettings& y) {
    return x.version == y.version && x.thickness == y.thickness && x.inkType == y.inkType &&
           x.color == y.color;
}

namespace {

class SettingsTest : public ::testing::Test {
  protected:
    QTemporaryDir dir;
    QString path() const { return dir.filePath("defaults.plist"); }
    std::unique_ptr<FoliantGlobals> fresh(std::optional<double> now = 700000000.0) {
        return std::make_unique<FoliantGlobals>(openDefaultsStore(path()), now);
    }
    void writeRaw(const char* key, const QVariant& value) {
        auto store = openDefaultsStore(path());
        store->setValue(key, value);
        store->sync();
    }
    static QByteArray bytes(const std::vector<std::uint8_t>& v) {
        return QByteArray(reinterpret_cast<const char*>(v.data()), qsizetype(v.size()));
    }
    static std::span<const std::uint8_t> bytesOf(const QByteArray& b) {
        return {reinterpret_cast<const std::uint8_t*>(b.constData()), std::size_t(b.size())};
    }
};

TEST_F(SettingsTest, PlainValuesKeepTheirTypesThroughTheFile) {
    {
        auto store = openDefaultsStore(path());
        store->setValue("b", true);
        store->setValue("i", qlonglong(-1234567890123));
        store->setValue("d", 0.1);
        store->setValue("s", QString("Grüße"));
        store->setValue("data", QByteArray("\x00\x01\xff", 3));
        store->setValue("date", QDateTime::fromMSecsSinceEpoch(1700000000123, QTimeZone::utc()));
        store->setValue("list", QVariantList{1, QString("two"), 3.5});
        store->sync();
        ASSERT_EQ(store->status(), QSettings::NoError);
    }
    auto store = openDefaultsStore(path());
    EXPECT_EQ(store->value("b").typeId(), QMetaType::Bool);
    EXPECT_EQ(store->value("i").toLongLong(), -1234567890123);
    EXPECT_EQ(store->value("i").typeId(), QMetaType::LongLong);
    EXPECT_EQ(store->value("d").typeId(), QMetaType::Double);
    EXPECT_EQ(store->value("d").toDouble(), 0.1);
    EXPECT_EQ(store->value("s").toString(), QString("Grüße"));
    EXPECT_EQ(store->value("data").toByteArray(), QByteArray("\x00\x01\xff", 3));
    EXPECT_EQ(store->value("date").toDateTime().toMSecsSinceEpoch(), 1700000000123);
    const QVariantList list = store->value("list").toList();
    ASSERT_EQ(list.size(), 3);
    EXPECT_EQ(list[1].typeId(), QMetaType::QString);
    EXPECT_EQ(list[2].toDouble(), 3.5);
}

TEST_F(SettingsTest, FreshStoreHasTheFactoryDefaults) {
    auto g = fresh();
    ASSERT_EQ(g->_defaultPenColors.size(), 32u);
    EXPECT_EQ(g->penColors.size(), 32u);
    EXPECT_DOUBLE_EQ(g->_defaultPenColors[9].g, 122 / 255.0);
    EXPECT_DOUBLE_EQ(g->_defaultPenColors[8].a, 0.35);
    EXPECT_DOUBLE_EQ(g->_defaultPenColors[31].a, 0.1);
    for (int page = 0; page < 4; ++page)
        EXPECT_EQ(g->_defaultPenColors[std::size_t(page) * 8].r, 0.0);
    EXPECT_EQ(g->penWidths(), (std::vector<float>{64, 6, 3, 32, 16}));
    ASSERT_EQ(g->currentPenColors().size(), 6u);
    EXPECT_DOUBLE_EQ(g->currentPenColors()[5].a, 0.35);
    ASSERT_EQ(g->penSettings().size(), 3u);
    EXPECT_EQ(g->penSettings()[2].thickness, 6.0f);
    EXPECT_EQ(g->_recentFontFamilies, std::vector<std::string>{"Helvetica"});
    EXPECT_EQ(g->_recentFontName, "Helvetica");
    EXPECT_EQ(g->_recentFontSize, 48.0f);
    EXPECT_EQ(g->_defaultTextSettings->fontSize, 48.0f);
    EXPECT_DOUBLE_EQ(g->_installDate, 700000000.0);
    EXPECT_TRUE(g->defaults().boolForKey("shouldSendHighResPdf"));
    EXPECT_TRUE(g->defaults().boolForKey("dontAdjustInsertedImages"));
    EXPECT_FALSE(g->defaults().boolForKey("shouldHideWristGuard"));
}

TEST_F(SettingsTest, EveryKeyRoundTripsThroughAFreshStore) {
    {
        auto g = fresh();
        g->isPenPalettePinned = true;
        g->isErasingSelectedColor = true;
        g->_shownColorPaletteScrollHint = true;
        g->_disablePalmRejection = true;
        g->_onlyDrawWithStylus = true;
        g->_disableScreenPanning = true;
        g->_recentFontSize = 17.5f;
        g->penColors[3] = {0.25, 0.5, 0.75, 0.125};
        g->penWidths() = {60, 5, 2, 24, 12};
        g->currentPenColors()[2] = {1, 0, 0.5, 0.5};
        g->penSettings()[1] = PenSettings::initWithColor({0, 0.5, 1, 0.25}, 12);
        g->penSettings()[1].inkType = InkTypeBrush;
        g->addRecentFontFamily("Courier");
        g->_recentFontName = "Courier";
        g->_defaultTextSettings->fontName = "Times";
        g->_defaultTextSettings->textAlignment = 2;
        g->_colorPalettePage = 3;
        g->_installDate = 123456789.5;
        g->_pleaseRateVersion = 7;
        g->_lastRateTime = 99;
        g->_promotionVersion = 4;
        ASSERT_TRUE(g->saveSettings());
    }
    auto g = fresh(1.0);
    EXPECT_TRUE(g->isPenPalettePinned && g->isErasingSelectedColor && g->_shownColorPaletteScrollHint);
    EXPECT_TRUE(g->disablePalmRejection() && g->onlyDrawWithStylus() && g->disableScreenPanning());
    EXPECT_EQ(g->_recentFontSize, 17.5f);
    EXPECT_EQ(g->penColors.size(), 32u);
    EXPECT_EQ(g->penColors[3], (KColor{0.25, 0.5, 0.75, 0.125}));
    EXPECT_EQ(g->penWidths(), (std::vector<float>{60, 5, 2, 24, 12}));
    EXPECT_EQ(g->currentPenColors()[2], (KColor{1, 0, 0.5, 0.5}));
    EXPECT_EQ(g->penSettings()[1].thickness, 12.0f);
    EXPECT_EQ(g->penSettings()[1].inkType, InkTypeBrush);
    EXPECT_EQ(g->_recentFontFamilies, (std::vector<std::string>{"Courier", "Helvetica"}));
    EXPECT_EQ(g->_recentFontName, "Courier");
    EXPECT_EQ(g->_defaultTextSettings->fontName, "Times");
    EXPECT_EQ(g->_defaultTextSettings->textAlignment, 2);
    EXPECT_EQ(g->_colorPalettePage, 3);
    EXPECT_DOUBLE_EQ(g->_installDate, 123456789.5);
    EXPECT_EQ(g->_pleaseRateVersion, 7);
    EXPECT_EQ(g->_lastRateTime, 99);
    EXPECT_EQ(g->_promotionVersion, 4);
}

TEST_F(SettingsTest, ACorruptKeyFallsBackAloneAndShortTablesAreReplacedWhole) {
    {
        auto g = fresh();
        g->_onlyDrawWithStylus = true;
        g->_recentFontName = "Courier";
        ASSERT_TRUE(g->saveSettings());
    }
    writeRaw("penSettings", QByteArray("bplist00 not an archive"));
    writeRaw("penWidths", QVariantList{1, 2, 3});
    writeRaw("currentPenColors", bytes(archiveColors({{1, 0, 0, 1}, {0, 1, 0, 1}})));
    writeRaw("defaultTextSettings", bytes(archiveColors({{1, 0, 0, 1}})));  // the wrong class
    writeRaw("recentFontFamilies", QString("not a list"));
    writeRaw("recentFontSize", 0.0);
    auto g = fresh();
    EXPECT_EQ(g->penSettings().size(), 3u);
    EXPECT_EQ(g->penWidths(), PenTables::defaultPenWidths());
    EXPECT_EQ(g->currentPenColors(), std::vector<KColor>(6, g->penColors.front()));
    EXPECT_EQ(g->_defaultTextSettings->fontName, "Helvetica");
    EXPECT_EQ(g->_recentFontFamilies, std::vector<std::string>{"Helvetica"});
    EXPECT_EQ(g->_recentFontSize, 48.0f);
    // The others stand.
    EXPECT_TRUE(g->onlyDrawWithStylus());
    EXPECT_EQ(g->_recentFontName, "Courier");
}

TEST_F(SettingsTest, AnOlderPaletteGainsTheNewPageAndATruncatedFileLosesNothingElse) {
    std::vector<KColor> old(24, KColor{0.5, 0.5, 0.5, 0.2});
    writeRaw("penColors", bytes(archiveColors(old)));
    auto g = fresh();
    ASSERT_EQ(g->penColors.size(), 32u);
    EXPECT_EQ(g->penColors[23], (KColor{0.5, 0.5, 0.5, static_cast<double>(0.2f)}));
    EXPECT_EQ(g->penColors[24], g->_defaultPenColors[24]);

    // A store that is not a property list at all reads as empty, and the program goes on with defaults.
    QFile file(path());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("garbage");
    file.close();
    auto h = fresh();
    EXPECT_EQ(h->penColors.size(), 32u);
    EXPECT_EQ(h->penWidths(), PenTables::defaultPenWidths());
}

// The class of the archived value under "root", read from the property list itself rather than through
// the archive reader: the stored form as any reader of keyed archives sees it.
std::string storedRootClass(const QByteArray& data) {
    const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(data.constData()),
                                              std::size_t(data.size()));
    const auto r = plist::Reader::open(bytes);
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

// Every persisted object value of a store, to compare one load with another.
struct ObjectValues {
    std::vector<PenSettings> penSettings;
    std::vector<KColor> penColors;
    std::vector<float> penWidths;
    std::vector<KColor> currentPenColors;
    std::vector<std::string> recentFontFamilies;
    std::string textFont;
    float textSize;
    int textAlignment;
    explicit ObjectValues(FoliantGlobals& g)
        : penSettings(g.penSettings()),
          penColors(g.penColors),
          penWidths(g.penWidths()),
          currentPenColors(g.currentPenColors()),
          recentFontFamilies(g._recentFontFamilies),
          textFont(g._defaultTextSettings->fontName),
          textSize(g._defaultTextSettings->fontSize),
          textAlignment(g._defaultTextSettings->textAlignment) {}
};

// A store with every object value away from its default, five pen slots among them.
void setEveryObjectValue(FoliantGlobals& g) {
    g.penSettings().clear();
    for (int i = 0; i < 5; ++i) {
        PenSettings pen = PenSettings::initWithColor({0.125 * i, 0.5, 1 - 0.125 * i, 0.25}, 2.0f + float(i));
        pen.inkType = i;
        g.penSettings().push_back(pen);
    }
    // Colours are kept as 32-bit floats: the palette starts from its stored precision.
    for (KColor& c : g.penColors)
        c = {double(float(c.r)), double(float(c.g)), double(float(c.b)), double(float(c.a))};
    g.penColors[5] = {0.25, 0.5, 0.75, 0.125};
    g.penColors.push_back({1, 1, 1, 0.5});  // a 33rd colour is kept
    g.penWidths() = {60, 5, 2, 24, 12, 7.25f};
    g.currentPenColors() = {{1, 0, 0, 0.5}, {0, 1, 0, 0.5}, {0, 0, 1, 0.5},
                            {1, 1, 0, 0.5}, {0, 1, 1, 0.5}, {1, 0, 1, 0.5}};
    for (const char* f : {"Times", "Courier", "Grüße\tSans", "Mono"})
        g.addRecentFontFamily(f);
    g._defaultTextSettings->fontName = "Courier";
    g._defaultTextSettings->fontSize = 30;
    g._defaultTextSettings->textAlignment = 2;
}

TEST_F(SettingsTest, ObjectValuesAreStoredAsArchivesOfTheValueAndComeBackWhole) {
    std::unique_ptr<ObjectValues> expected;
    {
        auto g = fresh();
        setEveryObjectValue(*g);
        expected = std::make_unique<ObjectValues>(*g);
        ASSERT_TRUE(g->saveSettings());
    }
    {
        auto store = openDefaultsStore(path());
        const std::pair<const char*, const char*> forms[] = {
            {"penSettings", "NSMutableArray"},        {"penColors", "NSMutableArray"},
            {"penWidths", "NSMutableArray"},          {"currentPenColors", "NSMutableArray"},
            {"recentFontFamilies", "NSMutableArray"}, {"defaultTextSettings", "FLTextSettings"},
        };
        for (const auto& [key, rootClass] : forms) {
            const QVariant v = store->value(key);
            EXPECT_EQ(v.typeId(), QMetaType::QByteArray) << key;
            EXPECT_EQ(storedRootClass(v.toByteArray()), rootClass) << key;
        }
        // The widths are numbers and the families text, one object each, as any archive reader takes them.
        KeyedUnarchiver widths(bytesOf(store->value("penWidths").toByteArray()));
        EXPECT_EQ(widths.topDecoder().decodeNumberArrayForKey("root"),
                  (std::vector<double>{60, 5, 2, 24, 12, 7.25}));
        KeyedUnarchiver families(bytesOf(store->value("recentFontFamilies").toByteArray()));
        EXPECT_EQ(families.topDecoder().decodeStringArrayForKey("root"),
                  (std::vector<std::string>{"Mono", "Grüße\tSans", "Courier", "Times", "Helvetica"}));
    }
    auto g = fresh();
    const ObjectValues loaded(*g);
    EXPECT_EQ(loaded.penSettings.size(), 5u);
    EXPECT_EQ(loaded.penSettings, expected->penSettings);
    EXPECT_EQ(loaded.penColors.size(), 33u);
    EXPECT_EQ(loaded.penColors, expected->penColors);
    EXPECT_EQ(loaded.penWidths, expected->penWidths);
    EXPECT_EQ(loaded.currentPenColors, expected->currentPenColors);
    EXPECT_EQ(loaded.recentFontFamilies, expected->recentFontFamilies);
    EXPECT_EQ(loaded.textFont, "Courier");
    EXPECT_EQ(loaded.textSize, 30.0f);
    EXPECT_EQ(loaded.textAlignment, 2);
}

TEST_F(SettingsTest, EachUnreadableObjectKeyFallsBackAloneAndTheOthersLoad) {
    std::unique_ptr<ObjectValues> saved;
    {
        auto g = fresh();
        setEveryObjectValue(*g);
        saved = std::make_unique<ObjectValues>(*g);
        ASSERT_TRUE(g->saveSettings());
    }
    const QByteArray original = [&] {
        QFile f(path());
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }();
    KeyedArchiver immutableFloats, immutableTexts, numbersAsTexts;
    const ArchiveClass immutable = {"NSArray", "NSObject"};
    const std::vector<float> sixWidths = {1, 2, 3, 4, 5, 6};
    const std::vector<std::string> twoTexts = {"A", "B"};
    const auto archived = [](std::optional<std::vector<std::uint8_t>> b) { return bytes(b.value()); };
    const QByteArray immutableWidths = archived(immutableFloats.archivedTopLevel(
        [&](KeyedEncoder& top) { top.encodeFloatArray("root", sixWidths, immutable); }));
    const QByteArray immutableFamilies = archived(immutableTexts.archivedTopLevel(
        [&](KeyedEncoder& top) { top.encodeStringArray("root", twoTexts, immutable); }));
    const QByteArray textsForNumbers = archived(numbersAsTexts.archivedTopLevel([&](KeyedEncoder& top) {
        top.encodeStringArray("root", twoTexts, {"NSMutableArray", "NSArray", "NSObject"});
    }));
    const QByteArray truncated = bytes(archiveColors(saved->currentPenColors)).left(100);

    struct Case {
        const char* key;
        QVariant value;
    };
    const Case cases[] = {
        {"penSettings", QByteArray("not an archive")},
        {"penSettings", bytes(archiveColors(saved->currentPenColors))},  // colours, not pens
        {"penColors", truncated},
        {"penColors", textsForNumbers},
        {"penWidths", immutableWidths},  // kept only when mutable
        {"penWidths", textsForNumbers},
        {"penWidths", bytes(archiveFloats({1, 2, 3, 4}))},  // fewer than five
        {"penWidths", QVariantList{1, 2, QString("3"), 4, 5}},
        {"currentPenColors", truncated},
        {"currentPenColors", bytes(archivePenSettings(saved->penSettings))},
        {"recentFontFamilies", immutableFamilies},
        {"recentFontFamilies", bytes(archiveFloats(sixWidths))},
        {"recentFontFamilies", QVariantList{QString("A"), 2}},
        {"defaultTextSettings", bytes(archiveStrings(twoTexts))},
        {"defaultTextSettings", QString("Courier")},
    };
    for (const Case& c : cases) {
        const std::string key = c.key;
        SCOPED_TRACE(key + " holding " + c.value.typeName());
        {
            QFile f(path());
            ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
            f.write(original);
        }
        writeRaw(c.key, c.value);
        auto g = fresh();
        const ObjectValues loaded(*g);
        if (key == "penSettings")
            EXPECT_EQ(
                loaded.penSettings,
                std::vector<PenSettings>(3, PenSettings::initWithColor(PenTables::defaultPenColor(), 6.0f)));
        else
            EXPECT_EQ(loaded.penSettings, saved->penSettings);
        EXPECT_EQ(loaded.penColors, key == "penColors" ? g->_defaultPenColors : saved->penColors);
        EXPECT_EQ(loaded.penWidths, key == "penWidths" ? PenTables::defaultPenWidths() : saved->penWidths);
        EXPECT_EQ(loaded.currentPenColors, key == "currentPenColors"
                                               ? std::vector<KColor>(6, loaded.penColors.front())
                                               : saved->currentPenColors);
        EXPECT_EQ(loaded.recentFontFamilies, key == "recentFontFamilies"
                                                 ? std::vector<std::string>{"Helvetica"}
                                                 : saved->recentFontFamilies);
        EXPECT_EQ(loaded.textFont, key == "defaultTextSettings" ? "Helvetica" : "Courier");
        EXPECT_EQ(loaded.textAlignment, key == "defaultTextSettings" ? 0 : 2);
    }
}

TEST_F(SettingsTest, AStoreWrittenBeforeTheArchivedFormsLoadsIntoTheSameValues) {
    // Written by the program as it stood before the widths and font families were archived and before the
    // archives held the value itself at their root.
    ASSERT_TRUE(QFile::copy(VELUMEN_SHELL_TEST_DATA_DIR "/settings-store-2026-11.plist", path()));
    QFile::setPermissions(path(), QFile::ReadOwner | QFile::WriteOwner);
    const auto check = [](FoliantGlobals& g) {
        EXPECT_TRUE(g.isPenPalettePinned);
        EXPECT_FALSE(g.isErasingSelectedColor);
        EXPECT_TRUE(g._shownColorPaletteScrollHint);
        EXPECT_FALSE(g.disablePalmRejection());
        EXPECT_TRUE(g.onlyDrawWithStylus());
        EXPECT_TRUE(g.disableScreenPanning());
        EXPECT_EQ(g._recentFontSize, 21.5f);
        ASSERT_EQ(g.penColors.size(), 32u);
        EXPECT_EQ(g.penColors[3], (KColor{0.25, 0.5, 0.75, 0.125}));
        EXPECT_EQ(g.penColors[30], (KColor{0.5, 0.25, 0.0, 0.5}));
        const KColor factory = g._defaultPenColors[4];
        EXPECT_EQ(g.penColors[4],
                  (KColor{float(factory.r), float(factory.g), float(factory.b), float(factory.a)}));
        EXPECT_EQ(g.penWidths(), (std::vector<float>{48, 8, 2, 96, 14}));
        const auto f = [](double v) { return static_cast<double>(static_cast<float>(v)); };
        EXPECT_EQ(g.currentPenColors(), (std::vector<KColor>{{1, 0, 0, f(0.35)},
                                                             {0, 1, 0, f(0.35)},
                                                             {0, 0, 1, f(0.35)},
                                                             {0.5, 0.5, 0.5, 1},
                                                             {0.25, 0.25, 0.25, 0.5},
                                                             {1, 1, 0, f(0.1)}}));
        ASSERT_EQ(g.penSettings().size(), 3u);
        EXPECT_EQ(g.penSettings()[0].thickness, 4.0f);
        EXPECT_EQ(g.penSettings()[0].color, (KColor{f(0.2), f(0.4), f(0.6), f(0.35)}));
        EXPECT_EQ(g.penSettings()[1].thickness, 12.0f);
        EXPECT_EQ(g.penSettings()[1].inkType, InkTypeBrush);
        EXPECT_EQ(g.penSettings()[2].thickness, 16.0f);
        EXPECT_EQ(g.penSettings()[2].inkType, InkTypeHilighter);
        EXPECT_EQ(g._recentFontFamilies, (std::vector<std::string>{"Times", "Courier", "Helvetica"}));
        EXPECT_EQ(g._recentFontName, "Times");
        EXPECT_EQ(g._defaultTextSettings->fontName, "Courier");
        EXPECT_EQ(g._defaultTextSettings->fontSize, 30.0f);
        EXPECT_EQ(g._defaultTextSettings->textAlignment, 1);
        EXPECT_EQ(g._colorPalettePage, 2);
        EXPECT_DOUBLE_EQ(g._installDate, 654321000.0);
        EXPECT_EQ(g._pleaseRateVersion, 5);
        EXPECT_EQ(g._lastRateTime, 12345);
        EXPECT_EQ(g._promotionVersion, 3);
    };
    {
        auto g = fresh(1.0);
        SCOPED_TRACE("as found");
        check(*g);
        ASSERT_TRUE(g->saveSettings());
    }
    // Saved again in today's forms, it reads the same.
    auto store = openDefaultsStore(path());
    EXPECT_EQ(store->value("penWidths").typeId(), QMetaType::QByteArray);
    EXPECT_EQ(storedRootClass(store->value("penSettings").toByteArray()), "NSMutableArray");
    store.reset();
    SCOPED_TRACE("saved again");
    auto g = fresh(1.0);
    check(*g);
}

TEST_F(SettingsTest, InstallDateIsEstimatedFromTheRunTime) {
    const std::pair<int, double> cases[] = {{0, 0},          {59, 0},         {60, 1036800},  {1799, 1036800},
                                            {1800, 2851200}, {7199, 2851200}, {7200, 3628800}};
    for (const auto& [rtx, back] : cases) {
        writeRaw("rtx", rtx);
        EXPECT_DOUBLE_EQ(fresh(1e9)->_installDate, 1e9 - back) << rtx;
    }
}

TEST(FoliantGlobalsTables, RecentFontsAndSwatchColours) {
    QTemporaryDir dir;
    FoliantGlobals g(openDefaultsStore(dir.filePath("d.plist")), 0.0);
    for (const char* f : {"A", "B", "C", "D"})
        g.addRecentFontFamily(f);
    EXPECT_EQ(g._recentFontFamilies, (std::vector<std::string>{"D", "C", "B", "A", "Helvetica"}));
    g.addRecentFontFamily("E");
    EXPECT_EQ(g._recentFontFamilies, (std::vector<std::string>{"E", "D", "C", "B", "A"}));
    g.addRecentFontFamily("B");
    EXPECT_EQ(g._recentFontFamilies, (std::vector<std::string>{"B", "E", "D", "C", "A"}));
    EXPECT_DOUBLE_EQ(FoliantGlobals::displayColorForColor({0.1, 0.2, 0.3, 0.05}).a, 0.5);
    EXPECT_DOUBLE_EQ(FoliantGlobals::displayColorForColor({0.1, 0.2, 0.3, 0.35}).a, 1.0);
    EXPECT_DOUBLE_EQ(FoliantGlobals::displayColorForColor({0.1, 0.2, 0.3, 0.35}).g, 0.2);
}

}  // namespace
}  // namespace velumen
