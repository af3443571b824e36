// The settings document: which values it may change, what a broken or hostile one does, and its load at
// the end of the settings store's load, fetched from a real server on the loopback interface.
#include <gtest/gtest.h>

#include <QSignalSpy>

#include "LoopbackHttpServer.h"
#include "RemoteTestSupport.h"
#include "remote/RemoteEndpoints.h"
#include "remote/RemoteSettings.h"

namespace velumen {
namespace {

using test::LoopbackAnswer;
using test::LoopbackHttpServer;
using test::waitFor;

TEST(RemoteSettings, NumbersAndTruthValuesAreTakenAndOtherKindsLeaveTheirField) {
    RemoteSettings s;
    ASSERT_TRUE(s.parseDocument(R"({"showPromotion": true, "promotionMinRuntime": 600,
                                    "promotionMaxRuntime": 7200.7, "other": [1, 2]})"));
    EXPECT_TRUE(s.isLoaded());
    EXPECT_TRUE(s.showPromotion());
    EXPECT_EQ(s.promotionMinRuntime(), 600);
    EXPECT_EQ(s.promotionMaxRuntime(), 7200);

    ASSERT_TRUE(s.parseDocument(R"({"showPromotion": "false", "promotionMinRuntime": "10",
                                    "promotionMaxRuntime": null})"));
    EXPECT_TRUE(s.showPromotion());
    EXPECT_EQ(s.promotionMinRuntime(), 600);
    EXPECT_EQ(s.promotionMaxRuntime(), 7200);

    ASSERT_TRUE(s.parseDocument(R"({"showPromotion": 0})"));
    EXPECT_FALSE(s.showPromotion());
}

TEST(RemoteSettings, StringForABooleanKeyLeavesItFalse) {
    RemoteSettings s;
    ASSERT_TRUE(s.parseDocument(R"({"showPromotion": "true", "promotionMinRuntime": 0,
                                    "promotionMaxRuntime": 100000})"));
    EXPECT_FALSE(s.showPromotion());
    EXPECT_FALSE(s.shouldShowPromotion(50, 0));
}

TEST(RemoteSettings, DocumentThatDoesNotParseChangesNothing) {
    const QByteArray bomb = QByteArray(100000, '[') + QByteArray(100000, ']');
    const QByteArray documents[] = {
        R"({"showPromotion": true, "promotionMinRuntime": )",
        "[1, 2, 3]",
        "",
        "\xff\xfe{}",
        bomb,
        "{\"showPromotion\": " + QByteArray(5000, '[') + "1" + QByteArray(5000, ']') + "}",
    };
    for (const QByteArray& json : documents) {
        SCOPED_TRACE(json.left(40).toStdString());
        RemoteSettings s;
        EXPECT_FALSE(s.parseDocument(json));
        EXPECT_FALSE(s.isLoaded());
        EXPECT_FALSE(s.showPromotion());
        EXPECT_EQ(s.promotionMaxRuntime(), 0);
    }
}

TEST(RemoteSettings, PromotionShowsWithinItsRangeOncePerVersion) {
    RemoteSettings s;
    EXPECT_FALSE(s.shouldShowPromotion(500, 0));  // not loaded
    ASSERT_TRUE(s.parseDocument(R"({"showPromotion": 1, "promotionMinRuntime": 100, "promotionMaxRuntime": 900})"));
    EXPECT_FALSE(s.shouldShowPromotion(99, 0));
    EXPECT_TRUE(s.shouldShowPromotion(100, 0));
    EXPECT_TRUE(s.shouldShowPromotion(900, 719));
    EXPECT_FALSE(s.shouldShowPromotion(901, 0));
    EXPECT_FALSE(s.shouldShowPromotion(500, RemoteSettings::kPromotionVersion));
}

class SettingsLoadTest : public ::testing::Test {
  protected:
    LoopbackHttpServer server;
    QNetworkAccessManager network;
    RemoteSettings settings;
    void SetUp() override {
        settings.network = &network;
        settings.limits.timeoutMs = 300;
    }
    void TearDown() override { FoliantGlobals::didLoadSettings = nullptr; }
};

TEST_F(SettingsLoadTest, LoadsAtTheEndOfTheSettingsStoresLoadAndAnnouncesIt) {
    server.answer("/settings.json", LoopbackAnswer::plain(R"({"promotionMaxRuntime": 42})", "application/json"));
    QSignalSpy loaded(&settings, &RemoteSettings::remoteSettingsLoaded);
    int rtxSeen = -1;
    FoliantGlobals::didLoadSettings = [&](FoliantGlobals& g) {
        // Called once everything else is read.
        rtxSeen = int(g.penWidths().size());
        settings.load(RemoteEndpoints::fromDefaults(g.defaults()).settingsUrl);
    };
    QTemporaryDir dir;
    {
        auto store = openDefaultsStore(dir.filePath("d.plist"));
        store->setValue(RemoteEndpoints::kSettingsUrl, server.url("/settings.json"));
        store->sync();
    }
    FoliantGlobals globals(openDefaultsStore(dir.filePath("d.plist")), 0.0);
    EXPECT_GE(rtxSeen, 3);
    EXPECT_FALSE(settings.isLoaded());  // the answer comes later, from the event loop
    ASSERT_TRUE(waitFor([&] { return settings.isLoaded(); }));
    EXPECT_EQ(settings.promotionMaxRuntime(), 42);
    ASSERT_EQ(loaded.count(), 1);
    EXPECT_EQ(loaded.at(0).at(0).value<RemoteSettings*>(), &settings);
    EXPECT_EQ(server.requestCount("/settings.json"), 1);
}

TEST_F(SettingsLoadTest, FailedFetchLeavesItUnloadedAndSilent) {
    QSignalSpy loaded(&settings, &RemoteSettings::remoteSettingsLoaded);
    server.answer("/broken.json", LoopbackAnswer::plain("{\"showPromotion\": true, \"promotionMinRuntime\": 9"));
    server.answer("/huge.json", LoopbackAnswer::of(LoopbackAnswer::Kind::Huge));
    server.answer("/silent.json", LoopbackAnswer::of(LoopbackAnswer::Kind::Never));
    for (const char* path : {"/broken.json", "/huge.json", "/silent.json", "/missing.json"}) {
        const int closed = server.closedConnections();
        settings.load(server.url(path));
        ASSERT_TRUE(waitFor([&] { return server.closedConnections() > closed; })) << path;
    }
    EXPECT_FALSE(settings.isLoaded());
    // A good document after them is the first and only one announced.
    server.answer("/good.json", LoopbackAnswer::plain(R"({"promotionMinRuntime": 5})"));
    settings.load(server.url("/good.json"));
    ASSERT_TRUE(waitFor([&] { return loaded.count() > 0; }));
    EXPECT_EQ(loaded.count(), 1);
    EXPECT_FALSE(settings.showPromotion());
    EXPECT_EQ(settings.promotionMinRuntime(), 5);
}

}  // namespace
}  // namespace velumen
