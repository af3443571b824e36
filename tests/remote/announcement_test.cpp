// The announcement line: its fixed positions and every test in order, judged on its own and fetched from a
// real HTTP server on the loopback interface, hostile servers included.
#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QUrlQuery>

#include "LoopbackHttpServer.h"
#include "RemoteTestSupport.h"
#include "remote/KAsyncWebRequest.h"
#include "remote/KWebAlert.h"
#include "remote/RemoteEndpoints.h"
#include "remote/WebFetch.h"

namespace velumen {
namespace {

using test::LoopbackAnswer;
using test::LoopbackHttpServer;
using test::TempGlobals;
using test::waitFor;

const QStringList kPrefixes = {"https://www.allowed.example/", "https://allowed.example/",
                               "http://www.allowed.example/", "https://www.second.example/",
                               "https://files.allowed.example/svcapps1/"};

// An announcement: "dlg", five free characters, the id, one free, the minutes, one free, the address.
QByteArray line(const char* id, const char* minutes, const QString& address) {
    return QByteArray("dlg00001") + id + " " + minutes + " " + address.toUtf8();
}

struct Veto : KWebAlertDelegate {
    bool allow = true;
    int asked = 0;
    bool KWebAlert(class KWebAlert&, const QString&) override {
        ++asked;
        return allow;
    }
};

class AnnouncementTest : public ::testing::Test {
  protected:
    TempGlobals store;
    KWebAlert alert{store.defaults(), "https://files.allowed.example/svcapps1/velumenlatest.txt",
                    KWebAlert::kVersion, KWebAlert::kEdition};
    void SetUp() override {
        alert.allowedPrefixes = kPrefixes;
        store.setRunTime(6000);
    }
    std::int64_t mark(const QString& key) { return store.defaults().integerForKey(key); }
};

TEST_F(AnnouncementTest, LineOfEighteenCharactersIsNoAnnouncementButNineteenIsRead) {
    EXPECT_EQ(alert.urlForData("dlg00001abcd 0000 "), std::nullopt);
    EXPECT_TRUE(alert.dialogKey().isEmpty());
    // Nineteen characters are read (the id is taken) though one character is no allowed address.
    EXPECT_EQ(alert.urlForData("dlg00001abcd 0000 x"), std::nullopt);
    EXPECT_EQ(alert.dialogKey(), "dlg-abcd");
    EXPECT_EQ(alert.dialogRuntime(), 6000);
    EXPECT_EQ(mark("dlg-abcd"), 0);
}

TEST_F(AnnouncementTest, LineEndAfterEighteenCharactersDoesNotMakeNineteen) {
    EXPECT_EQ(alert.urlForData("dlg00001abcd 0000 \n"), std::nullopt);
    EXPECT_TRUE(alert.dialogKey().isEmpty());
}

TEST_F(AnnouncementTest, PassingLineIsMarkedShownAndGivesItsAddressWithoutTheLineEnd) {
    const auto url = alert.urlForData(line("wxyz", "0010", "https://www.allowed.example/news.html") + "\r\n");
    ASSERT_TRUE(url.has_value());
    EXPECT_EQ(url->toString(), "https://www.allowed.example/news.html");
    EXPECT_EQ(mark("dlg-wxyz"), 1);
    EXPECT_EQ(mark(FoliantGlobals::kWebDialogRtx), 6000);
    // Shown once in the life of the installation: the same line again gives nothing.
    store.setRunTime(100000);
    EXPECT_EQ(alert.urlForData(line("wxyz", "0010", "https://www.allowed.example/news.html")), std::nullopt);
}

TEST_F(AnnouncementTest, ShownIdGivesNothingHoweverTheRestLooks) {
    store.defaults().setObject("dlg-abcd", 1);
    EXPECT_EQ(alert.urlForData(line("abcd", "0000", "https://www.allowed.example/")), std::nullopt);
    // Refused before the run time is read.
    EXPECT_TRUE(alert.dialogKey().isEmpty());
}

TEST_F(AnnouncementTest, RunTimeMustReachTheMinutesAndFiveMinutesSinceTheLastDialog) {
    struct Case {
        qlonglong rt;
        qlonglong last;
        const char* minutes;
        bool shows;
    };
    const Case cases[] = {
        {1299, 1000, "0000", false}, {1300, 1000, "0000", true}, {5999, 0, "0100", false},
        {6000, 0, "0100", true},     {299, 0, "0000", true},     {60, 0, " 1xy", true},
        {59, 0, " 1xy", false},      {0, 0, "abcd", true},
    };
    int n = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(n);
        store.setRunTime(c.rt);
        store.defaults().setObject(FoliantGlobals::kWebDialogRtx, c.last);
        const QByteArray id = QByteArray("id") + char('a' + n++) + "z";
        const auto url = alert.urlForData(line(id.constData(), c.minutes, "https://allowed.example/p"));
        EXPECT_EQ(url.has_value(), c.shows);
        EXPECT_EQ(mark("dlg-" + QString::fromLatin1(id)), c.shows ? 1 : 0);
        EXPECT_EQ(mark(FoliantGlobals::kWebDialogRtx), c.shows ? c.rt : c.last);
    }
}

TEST_F(AnnouncementTest, AddressMustLieUnderAnAllowedPrefixOfItsOwnHost) {
    struct Case {
        const char* address;
        bool allowed;
    };
    const Case cases[] = {
        {"https://www.allowed.example/page.html", true},
        {"http://www.allowed.example/page.html", true},
        {"https://allowed.example/", true},
        {"https://www.second.example/x?y=1", true},
        {"https://files.allowed.example/svcapps1/promo.html", true},
        // Capitals pass, as the test is on the lower-cased text.
        {"HTTPS://WWW.ALLOWED.EXAMPLE/PAGE.HTML", true},
        {"https://evil.test/page.html", false},
        {"http://allowed.example/", false},
        {"https://second.example/", false},
        {"https://files.allowed.example/other/", false},
        {"https://allowed.example.evil.test/", false},
        {"https://allowed.example@evil.test/", false},
        {"https://www.allowed.example@evil.test/x", false},
        {"https://user@www.allowed.example/x", false},
        {"https://www.allowed.example\\@evil.test/", false},
        {"https://www.allowed.example/\\evil.test", false},
        {"https://www.allowed.example/ x", false},
        {"https://www.allowed%2Eexample/", false},
        {"https://www.allowed.example%2F@evil.test/", false},
        {"https://www.allowed.example:444/", false},
        {"javascript://www.allowed.example/", false},
    };
    int n = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.address);
        const QByteArray id = QByteArray("p") + char('a' + n / 26) + char('a' + n % 26) + "x";
        ++n;
        const auto url = alert.urlForData(line(id.constData(), "0000", QString::fromUtf8(c.address)));
        EXPECT_EQ(url.has_value(), c.allowed);
        EXPECT_EQ(mark("dlg-" + QString::fromLatin1(id)), c.allowed ? 1 : 0);
        if (url) {
            // Used as it was written.
            EXPECT_EQ(url->toString(), QUrl(c.address).toString());
            EXPECT_EQ(url->path(), QUrl(c.address).path());
        }
        // Once shown, the next needs five minutes more.
        store.defaults().setObject(FoliantGlobals::kWebDialogRtx, 0);
    }
}

TEST_F(AnnouncementTest, TextThatIsNotUtf8GivesNothing) {
    EXPECT_EQ(alert.urlForData(line("abcd", "0000", "https://allowed.example/") + "\xff\xfe"), std::nullopt);
    EXPECT_EQ(alert.urlForData("\xc3\x28lg00001abcd 0000 https://allowed.example/"), std::nullopt);
    EXPECT_EQ(mark("dlg-abcd"), 0);
}

TEST_F(AnnouncementTest, VetoComesBeforeTheDialogIsMarkedShown) {
    Veto veto;
    veto.allow = false;
    alert.delegate = &veto;
    EXPECT_EQ(alert.urlForData(line("abcd", "0000", "https://allowed.example/")), std::nullopt);
    EXPECT_EQ(veto.asked, 1);
    EXPECT_EQ(mark("dlg-abcd"), 0);
    EXPECT_EQ(mark(FoliantGlobals::kWebDialogRtx), 0);
    veto.allow = true;
    EXPECT_TRUE(alert.urlForData(line("abcd", "0000", "https://allowed.example/")).has_value());
    EXPECT_EQ(mark("dlg-abcd"), 1);
    // A line that fails earlier never asks.
    EXPECT_EQ(alert.urlForData(line("efgh", "0000", "https://evil.test/")), std::nullopt);
    EXPECT_EQ(veto.asked, 2);
}

TEST_F(AnnouncementTest, InstallationIdentifierIsMadeOnceAndKept) {
    const QString id = alert.getUniqueID();
    EXPECT_TRUE(QRegularExpression("^[0-9]{11,}_[0-9]+$").match(id).hasMatch()) << id.toStdString();
    EXPECT_EQ(alert.getUniqueID(), id);
    EXPECT_EQ(store.defaults().stringForKey(KWebAlert::kAppSetupToken), id);
}

TEST(LeadingInteger, ReadsLikeThePlatformIntegerReading) {
    const std::pair<const char*, std::int64_t> cases[] = {
        {"0100", 100}, {" 12x", 12}, {"-5  ", -5}, {"+7", 7}, {"abcd", 0}, {"", 0}, {"9999", 9999}};
    for (const auto& [text, value] : cases)
        EXPECT_EQ(leadingInteger(text), value) << text;
}

TEST(RemoteEndpoints, NothingIsConfiguredByDefault) {
    TempGlobals store;
    const RemoteEndpoints e = RemoteEndpoints::fromDefaults(store.defaults());
    EXPECT_TRUE(e.allowedPrefixes.isEmpty());
    EXPECT_TRUE(e.announcementTabletUrl.isEmpty());
    EXPECT_TRUE(e.announcementPhoneUrl.isEmpty());
    EXPECT_TRUE(e.settingsUrl.isEmpty());
    EXPECT_TRUE(e.ratingPageUrl.isEmpty());
    EXPECT_TRUE(e.promotionPageUrl.isEmpty());
}

TEST(RemoteEndpoints, PrefixesThatWouldLetAnotherHostThroughAreDropped) {
    TempGlobals store;
    store.defaults().setObject(RemoteEndpoints::kAllowedPrefixes,
                               QStringList{"HTTPS://WWW.Allowed.Example/", "https://allowed.example",
                                           "https://a@b.example/", "ftp://files.example/", "https://x.example/y/",
                                           "https://%61.example/"});
    EXPECT_EQ(RemoteEndpoints::fromDefaults(store.defaults()).allowedPrefixes,
              QStringList({"https://www.allowed.example/", "https://x.example/y/"}));
}

// ---- Over the network ----

class FetchTest : public ::testing::Test {
  protected:
    LoopbackHttpServer server;
    QNetworkAccessManager network;
    std::optional<WebFetchResult> result;
    void fetch(const QString& path, WebFetchLimits limits) {
        fetchWithLimits(network, QNetworkRequest(QUrl(server.url(path))), "GET", {}, limits,
                        [this](const WebFetchResult& r) {
                            EXPECT_FALSE(result.has_value()) << "completion called twice";
                            result = r;
                        });
    }
};

TEST_F(FetchTest, PlainAnswerArrives) {
    server.answer("/a.txt", LoopbackAnswer::plain("hello"));
    fetch("/a.txt", {1024, 2000});
    ASSERT_TRUE(waitFor([&] { return result.has_value(); }));
    EXPECT_TRUE(result->succeeded);
    EXPECT_EQ(result->data, "hello");
}

TEST_F(FetchTest, HostileServersAreCutOffInSizeAndTime) {
    struct Case {
        const char* name;
        LoopbackAnswer answer;
        const char* error;
    };
    LoopbackAnswer hugeAnnounced = LoopbackAnswer::of(LoopbackAnswer::Kind::Huge);
    LoopbackAnswer hugeStreamed = hugeAnnounced;
    hugeStreamed.announceLength = false;
    LoopbackAnswer notFound = LoopbackAnswer::plain("dlg00001abcd 0000 https://allowed.example/");
    notFound.status = 404;
    const Case cases[] = {
        {"never answers", LoopbackAnswer::of(LoopbackAnswer::Kind::Never), "timed out"},
        {"drips", LoopbackAnswer::of(LoopbackAnswer::Kind::Drip), "timed out"},
        {"ten megabytes announced", hugeAnnounced, "too large"},
        {"ten megabytes streamed", hugeStreamed, "too large"},
        {"not found", notFound, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        result.reset();
        const QByteArray path = "/" + QByteArray(c.name).replace(' ', '-');
        server.answer(path, c.answer);
        fetch(QString::fromLatin1(path), {64 * 1024, 300});
        ASSERT_TRUE(waitFor([&] { return result.has_value(); }, 3000));
        EXPECT_FALSE(result->succeeded);
        EXPECT_TRUE(result->data.isEmpty());
        if (c.error) {
            EXPECT_EQ(result->error, c.error);
        }
    }
}

TEST_F(FetchTest, CompressedBombIsCutOffAtTheCapOfWhatItUnpacksTo) {
    // Twenty megabytes of zeros in a few kilobytes.
    const QByteArray packed = qCompress(QByteArray(20 * 1024 * 1024, '\0'), 9).mid(4);
    ASSERT_LT(packed.size(), 64 * 1024);
    LoopbackAnswer bomb = LoopbackAnswer::plain(packed);
    bomb.extraHeaders = "Content-Encoding: deflate\r\n";
    server.answer("/bomb", bomb);
    fetch("/bomb", {64 * 1024, 3000});
    ASSERT_TRUE(waitFor([&] { return result.has_value(); }));
    EXPECT_FALSE(result->succeeded);
    EXPECT_TRUE(result->data.isEmpty());
}

TEST_F(FetchTest, FailedTlsHandshakeIsAFailedFetch) {
    server.answer("/a.txt", LoopbackAnswer::plain("hello"));
    QString address = server.url("/a.txt");
    address.replace("http://", "https://");
    fetchWithLimits(network, QNetworkRequest(QUrl(address)), "GET", {}, {1024, 10000},
                    [this](const WebFetchResult& r) { result = r; });
    ASSERT_TRUE(waitFor([&] { return result.has_value(); }, 5000));
    EXPECT_FALSE(result->succeeded);
    EXPECT_NE(result->error, "timed out");
    EXPECT_TRUE(result->data.isEmpty());
}

TEST_F(FetchTest, RedirectIsFollowedOnlyToTheSameOrigin) {
    LoopbackHttpServer other;
    other.answer("/elsewhere.txt", LoopbackAnswer::plain("dlg00001abcd 0000 https://allowed.example/"));
    server.answer("/away", LoopbackAnswer::redirect(other.url("/elsewhere.txt").toUtf8()));
    server.answer("/near", LoopbackAnswer::redirect("/here.txt"));
    server.answer("/here.txt", LoopbackAnswer::plain("here"));

    fetch("/away", {1024, 2000});
    ASSERT_TRUE(waitFor([&] { return result.has_value(); }));
    EXPECT_FALSE(result->succeeded);
    EXPECT_EQ(other.requests().size(), 0);

    result.reset();
    fetch("/near", {1024, 2000});
    ASSERT_TRUE(waitFor([&] { return result.has_value(); }));
    EXPECT_TRUE(result->succeeded);
    EXPECT_EQ(result->data, "here");
}

TEST_F(FetchTest, OnlyHttpAddressesAreFetched) {
    fetchWithLimits(network, QNetworkRequest(QUrl("file:///etc/passwd")), "GET", {}, {1024, 1000},
                    [this](const WebFetchResult& r) { result = r; });
    ASSERT_TRUE(waitFor([&] { return result.has_value(); }));
    EXPECT_FALSE(result->succeeded);
    EXPECT_TRUE(result->data.isEmpty());
}

TEST_F(FetchTest, GeneralRequestPostsItsFormInAsciiAndGetsTheAnswer) {
    server.answer("/form", LoopbackAnswer::plain("thanks"));
    KAsyncWebRequest request;
    request.network = &network;
    request.tag = 7;
    int completions = 0;
    request.setOnCompleteDelegate([&](KAsyncWebRequest& r) {
        ++completions;
        EXPECT_EQ(r.tag, 7);
    });
    request.makePostRequest(QUrl(server.url("/form")), QString::fromUtf8("name=Zo\u00eb&n=1"));
    ASSERT_TRUE(waitFor([&] { return completions == 1; }));
    EXPECT_TRUE(request.succeeded);
    EXPECT_EQ(request.receivedData, "thanks");
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(server.requests()[0].method, "POST");
    EXPECT_EQ(server.requests()[0].body, "name=Zo?&n=1");

    request.limits.timeoutMs = 200;
    server.answer("/silent", LoopbackAnswer::of(LoopbackAnswer::Kind::Never));
    request.makeGetRequest(QUrl(server.url("/silent")));
    ASSERT_TRUE(waitFor([&] { return completions == 2; }));
    EXPECT_FALSE(request.succeeded);
    EXPECT_TRUE(request.receivedData.isEmpty());
    EXPECT_EQ(request.error, "timed out");
}

class AlertOverNetworkTest : public ::testing::Test {
  protected:
    LoopbackHttpServer server;
    QNetworkAccessManager network;
    TempGlobals store;
    std::unique_ptr<KWebAlert> alert;
    int completions = 0;
    std::optional<QUrl> page;

    void SetUp() override {
        store.setRunTime(6000);
        alert = std::make_unique<KWebAlert>(store.defaults(), server.url("/svcapps1/velumenlatest.txt"),
                                            KWebAlert::kVersion, KWebAlert::kEdition);
        alert->allowedPrefixes = {server.url("/")};
        alert->network = &network;
        alert->limits.timeoutMs = 300;
    }
    void check() {
        alert->checkForAlertWithCompletion([this](std::optional<QUrl> url) {
            ++completions;
            page = url;
        });
    }
};

TEST_F(AlertOverNetworkTest, AnnouncementGivesItsPageAndTheRequestCarriesItsParameters) {
    server.answer("/svcapps1/velumenlatest.txt",
                  LoopbackAnswer::plain(line("wxyz", "0001", server.url("/promo.html")) + "\n"));
    store.defaults().setObject(FoliantGlobals::kRtt, 7000);
    alert->profile = DeviceProfile::Phone;
    check();
    ASSERT_TRUE(waitFor([&] { return completions == 1; }));
    ASSERT_TRUE(page.has_value());
    EXPECT_EQ(page->toString(), server.url("/promo.html"));
    EXPECT_EQ(store.defaults().integerForKey("dlg-wxyz"), 1);

    ASSERT_EQ(server.requests().size(), 1);
    const auto& request = server.requests().front();
    EXPECT_EQ(request.method, "GET");
    const QString body = QString::fromUtf8(request.body);
    EXPECT_TRUE(QRegularExpression("^rt=6000&ra=0&ci=[0-9]+_[0-9]+&m=0&os=[^&]*&v=720&ed=1$").match(body).hasMatch())
        << body.toStdString();
    EXPECT_TRUE(body.contains("&ci=" + alert->getUniqueID() + "&"));
}

TEST_F(AlertOverNetworkTest, AnnouncementOfAnotherHostGivesNothing) {
    server.answer("/svcapps1/velumenlatest.txt",
                  LoopbackAnswer::plain(line("wxyz", "0000", "http://localhost:1/promo.html")));
    check();
    ASSERT_TRUE(waitFor([&] { return completions == 1; }));
    EXPECT_EQ(page, std::nullopt);
    EXPECT_EQ(store.defaults().integerForKey("dlg-wxyz"), 0);
}

TEST_F(AlertOverNetworkTest, SilentServerNeverCallsTheCompletion) {
    server.answer("/svcapps1/velumenlatest.txt", LoopbackAnswer::of(LoopbackAnswer::Kind::Never));
    check();
    // The notebook gives up and closes the connection; nothing is judged.
    ASSERT_TRUE(waitFor([&] { return server.closedConnections() == 1; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(completions, 0);
}

TEST_F(AlertOverNetworkTest, AnswerAfterTheOwnerIsGoneIsDropped) {
    server.answer("/svcapps1/velumenlatest.txt",
                  LoopbackAnswer::plain(line("wxyz", "0000", server.url("/promo.html"))));
    auto owner = std::make_unique<QObject>();
    alert->context = owner.get();
    check();
    owner.reset();
    alert.reset();
    ASSERT_TRUE(waitFor([&] { return server.closedConnections() == 1; }));
    // A later fetch on the same network completes after the first answer was taken.
    server.answer("/later.txt", LoopbackAnswer::plain("later"));
    bool later = false;
    fetchWithLimits(network, QNetworkRequest(QUrl(server.url("/later.txt"))), "GET", {}, {1024, 2000},
                    [&](const WebFetchResult&) { later = true; });
    ASSERT_TRUE(waitFor([&] { return later; }));
    EXPECT_EQ(completions, 0);
    EXPECT_EQ(store.defaults().integerForKey("dlg-wxyz"), 0);
}

}  // namespace
}  // namespace velumen
