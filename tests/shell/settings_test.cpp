// The defaults store and the global settings, on real files in a temporary folder.
#include <gtest/gtest.h>

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QTimeZone>

#include "shell/DefaultsStore.h"
#include "shell/FoliantGlobals.h"

namespace velumen {

// Test-only: colours equal channel by channel.
bool operator==(const KColor& x, const KColor& y) {
    return x.r == y.r && x.g == y.g && x.b == y.b && x.a == y.a;
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
