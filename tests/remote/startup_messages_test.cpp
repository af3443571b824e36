// The start-up messages: at most one dialog per appearance in their order, the thresholds by profile, the
// marks stored before a dialog shows and the veto before the marks.
#include <gtest/gtest.h>

#include "LoopbackHttpServer.h"
#include "RemoteTestSupport.h"
#include "remote/RemoteMessages.h"
#include "remote/RemoteSettings.h"

namespace velumen {
namespace {

using test::LoopbackAnswer;
using test::LoopbackHttpServer;
using test::TempGlobals;
using test::waitFor;

class StartupMessagesTest : public ::testing::Test {
  protected:
    TempGlobals store;
    RemoteSettings settings;
    RemoteEndpoints endpoints;
    bool presenting = false;
    int presentingAsked = 0;
    QStringList shown;
    std::int64_t whatsNewMarkWhenShown = -1;

    std::unique_ptr<RemoteMessages> messages(DeviceProfile profile = DeviceProfile::Tablet) {
        auto m = std::make_unique<RemoteMessages>(*store.globals, settings, endpoints, profile);
        m->isPresenting = [this] {
            ++presentingAsked;
            return presenting;
        };
        m->presentWhatsNewDialog = [this] {
            whatsNewMarkWhenShown = whatsNew();
            shown << "whatsNew";
        };
        m->presentPleaseRateDialog = [this] { shown << "rate"; };
        m->presentPromotion = [this] { shown << "promotion"; };
        m->presentWebDialog = [this](const QUrl& url) { shown << url.toString(); };
        return m;
    }
    std::int64_t whatsNew() { return store.defaults().integerForKey(FoliantGlobals::kLastWhatsNewDialogShown); }
    std::int64_t prrt() { return store.defaults().integerForKey(FoliantGlobals::kPrrt); }
};

TEST_F(StartupMessagesTest, NewInstallationNeverSeesWhatsNew) {
    store.setRunTime(0);
    messages()->viewDidAppear();
    EXPECT_EQ(whatsNew(), 720);
    store.setRunTime(5000);
    messages()->viewDidAppear();
    EXPECT_TRUE(shown.isEmpty());
}

TEST_F(StartupMessagesTest, WhatsNewThresholdsByProfile) {
    struct Case {
        DeviceProfile profile;
        qlonglong lastShown;
        bool shows;
    };
    const Case cases[] = {
        {DeviceProfile::Tablet, 500, false}, {DeviceProfile::Phone, 500, true},  {DeviceProfile::Tablet, 499, true},
        {DeviceProfile::Phone, 540, false},  {DeviceProfile::Phone, 539, true},  {DeviceProfile::Tablet, 0, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.lastShown);
        shown.clear();
        store.setRunTime(100);
        store.defaults().setObject(FoliantGlobals::kLastWhatsNewDialogShown, c.lastShown);
        auto m = messages(c.profile);
        m->viewDidAppear();
        EXPECT_EQ(shown, c.shows ? QStringList{"whatsNew"} : QStringList{});
        if (c.shows) {
            // Marked before it shows, and so shown once.
            EXPECT_EQ(whatsNewMarkWhenShown, 720);
            m->viewDidAppear();
            EXPECT_EQ(shown.size(), 1);
        }
    }
}

TEST_F(StartupMessagesTest, RatingIsAskedPastTwoHoursOnlyWhereAPageIsConfigured) {
    store.defaults().setObject(FoliantGlobals::kLastWhatsNewDialogShown, 720);
    store.setRunTime(7201);
    messages()->viewDidAppear();
    EXPECT_TRUE(shown.isEmpty());
    EXPECT_EQ(prrt(), 0);

    endpoints.ratingPageUrl = "https://rate.example/velumen";
    store.setRunTime(7200);
    messages()->viewDidAppear();
    EXPECT_TRUE(shown.isEmpty());
    EXPECT_EQ(prrt(), 0);

    store.setRunTime(7201);
    messages()->viewDidAppear();
    EXPECT_EQ(shown, QStringList{"rate"});
    EXPECT_EQ(prrt(), 7201);
    // Once in the life of the installation.
    store.setRunTime(90000);
    messages()->viewDidAppear();
    EXPECT_EQ(shown.size(), 1);
}

TEST_F(StartupMessagesTest, RatingPageThatIsNoWebAddressIsNeverOffered) {
    store.defaults().setObject(FoliantGlobals::kLastWhatsNewDialogShown, 720);
    store.setRunTime(8000);
    endpoints.ratingPageUrl = "file:///etc/passwd";
    messages()->viewDidAppear();
    EXPECT_TRUE(shown.isEmpty());
    EXPECT_EQ(prrt(), 0);
}

TEST_F(StartupMessagesTest, AtMostOneDialogPerAppearanceInOrder) {
    endpoints.ratingPageUrl = "https://rate.example/velumen";
    endpoints.promotionPageUrl = "https://promo.example/";
    ASSERT_TRUE(settings.parseDocument(R"({"showPromotion": true, "promotionMaxRuntime": 100000})"));
    store.defaults().setObject(FoliantGlobals::kLastWhatsNewDialogShown, 400);
    store.setRunTime(8000);
    auto m = messages();
    m->viewDidAppear();
    EXPECT_EQ(shown, QStringList{"whatsNew"});
    m->viewDidAppear();
    EXPECT_EQ(shown, (QStringList{"whatsNew", "rate"}));
    m->viewDidAppear();
    EXPECT_EQ(shown, (QStringList{"whatsNew", "rate", "promotion"}));
    EXPECT_EQ(store.globals->promotionVersion(), 720);
    m->viewDidAppear();
    EXPECT_EQ(shown.size(), 3);
}

TEST_F(StartupMessagesTest, NothingIsMarkedWhileSomethingIsPresented) {
    endpoints.ratingPageUrl = "https://rate.example/velumen";
    endpoints.promotionPageUrl = "https://promo.example/";
    ASSERT_TRUE(settings.parseDocument(R"({"showPromotion": true, "promotionMaxRuntime": 100000})"));
    store.defaults().setObject(FoliantGlobals::kLastWhatsNewDialogShown, 400);
    store.setRunTime(8000);
    presenting = true;
    messages()->viewDidAppear();
    EXPECT_TRUE(shown.isEmpty());
    EXPECT_EQ(whatsNew(), 400);
    EXPECT_EQ(prrt(), 0);
    EXPECT_EQ(store.globals->promotionVersion(), 0);
}

TEST_F(StartupMessagesTest, PromotionWaitsForTheSettingsDocument) {
    endpoints.promotionPageUrl = "https://promo.example/";
    store.defaults().setObject(FoliantGlobals::kLastWhatsNewDialogShown, 720);
    store.setRunTime(300);
    auto m = messages();
    m->viewDidAppear();
    EXPECT_TRUE(shown.isEmpty());
    ASSERT_TRUE(settings.parseDocument(R"({"showPromotion": true, "promotionMinRuntime": 200,
                                           "promotionMaxRuntime": 400})"));
    emit settings.remoteSettingsLoaded(&settings);
    EXPECT_EQ(shown, QStringList{"promotion"});
    // Listened for once.
    emit settings.remoteSettingsLoaded(&settings);
    EXPECT_EQ(shown.size(), 1);
}

TEST_F(StartupMessagesTest, AnnouncementOfTheProfileShowsItsPageUnlessSomethingIsPresented) {
    LoopbackHttpServer server;
    QNetworkAccessManager network;
    server.answer("/svcapps1/velumenphonelatest.txt",
                  LoopbackAnswer::plain("dlg00001abcd 0000 " + server.url("/phone.html").toUtf8()));
    server.answer("/svcapps1/velumenlatest.txt",
                  LoopbackAnswer::plain("dlg00001efgh 0000 " + server.url("/tablet.html").toUtf8()));
    endpoints.announcementPhoneUrl = server.url("/svcapps1/velumenphonelatest.txt");
    endpoints.announcementTabletUrl = server.url("/svcapps1/velumenlatest.txt");
    endpoints.allowedPrefixes = {server.url("/")};
    store.setRunTime(100);

    auto phone = messages(DeviceProfile::Phone);
    phone->network = &network;
    phone->checkForAlert();
    ASSERT_TRUE(waitFor([&] { return !shown.isEmpty(); }));
    EXPECT_EQ(shown, QStringList{server.url("/phone.html")});
    EXPECT_EQ(store.defaults().integerForKey("dlg-abcd"), 1);

    // Five minutes later, with something presented: vetoed, and not marked.
    store.setRunTime(1000);
    presenting = true;
    auto tablet = messages(DeviceProfile::Tablet);
    tablet->network = &network;
    presentingAsked = 0;
    tablet->checkForAlert();
    // The line is judged (and the editor asked) once it arrives.
    ASSERT_TRUE(waitFor([&] { return presentingAsked > 0; }));
    EXPECT_EQ(server.requestCount("/svcapps1/velumenlatest.txt"), 1);
    EXPECT_EQ(shown.size(), 1);
    EXPECT_EQ(store.defaults().integerForKey("dlg-efgh"), 0);
}

}  // namespace
}  // namespace velumen
