// The web dialog on the offscreen platform, its pages and images served by a real server on the loopback
// interface: what loads, what never does, the private scheme's links, and a page that fails.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QTextBrowser>
#include <QWidget>

#include "LoopbackHttpServer.h"
#include "RemoteTestSupport.h"
#include "remote/KWebDialog.h"
#include "remote/RemoteDialogs.h"

namespace velumen {
namespace {

using test::LoopbackAnswer;
using test::LoopbackHttpServer;
using test::waitFor;

QByteArray png() {
    QImage image(4, 3, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

class WebDialogTest : public ::testing::Test {
  protected:
    LoopbackHttpServer server;
    LoopbackHttpServer other;
    QNetworkAccessManager network;
    QWidget parent;
    std::unique_ptr<KWebDialog> dialog;
    QList<QUrl> opened;

    void SetUp() override {
        parent.resize(800, 600);
        parent.show();
        dialog = std::make_unique<KWebDialog>(QStringList{server.url("/")}, &parent);
        dialog->network = &network;
        dialog->presentationDelayMs = 20;
        dialog->pageLimits.timeoutMs = 500;
        dialog->openExternally = [this](const QUrl& url) { opened << url; };
    }
    QString text() const { return dialog->webView()->toPlainText(); }
    void click(const QString& link) { emit dialog->webView()->anchorClicked(QUrl(link)); }
    void showPage(const QByteArray& html) {
        server.answer("/page.html", LoopbackAnswer::plain(html, "text/html; charset=utf-8"));
        dialog->showFromViewController(&parent, QUrl(server.url("/page.html")));
        ASSERT_TRUE(waitFor([&] { return dialog->isVisible() && text().contains("Hello"); }));
    }
};

TEST_F(WebDialogTest, PageArrivesAndTheDialogShowsOverItsParent) {
    showPage("<html><body><p>Hello from the makers</p></body></html>");
    EXPECT_EQ(dialog->modalParent(), &parent);
    EXPECT_EQ(dialog->pageUrl(), QUrl(server.url("/page.html")));
    EXPECT_FALSE(dialog->isClosed());
}

TEST_F(WebDialogTest, PageThatFailsClosesTheDialogBeforeItIsSeen) {
    dialog->presentationDelayMs = 60000;
    const LoopbackAnswer failures[] = {
        LoopbackAnswer::withStatus(500),
        LoopbackAnswer::of(LoopbackAnswer::Kind::Huge),
        LoopbackAnswer::of(LoopbackAnswer::Kind::Never),
        LoopbackAnswer::redirect(other.url("/page.html").toUtf8()),
    };
    int n = 0;
    for (const LoopbackAnswer& failure : failures) {
        SCOPED_TRACE(n);
        const QByteArray path = "/fail" + QByteArray::number(n++) + ".html";
        server.answer(path, failure);
        dialog->showFromViewController(&parent, QUrl(server.url(QString::fromLatin1(path))));
        EXPECT_TRUE(dialog->presentationTimer().isActive());
        ASSERT_TRUE(waitFor([&] { return dialog->isClosed(); }));
        EXPECT_FALSE(dialog->presentationTimer().isActive());
        EXPECT_FALSE(dialog->isVisible());
        EXPECT_EQ(dialog->modalParent(), nullptr);
    }
    EXPECT_EQ(other.requests().size(), 0);
}

TEST_F(WebDialogTest, PageOutsideTheAllowedPrefixesIsNeverFetched) {
    dialog->presentationDelayMs = 60000;
    other.answer("/page.html", LoopbackAnswer::plain("<p>Hello</p>", "text/html"));
    dialog->showFromViewController(&parent, QUrl(other.url("/page.html")));
    EXPECT_TRUE(dialog->isClosed());
    EXPECT_FALSE(dialog->presentationTimer().isActive());
    EXPECT_EQ(other.requests().size(), 0);
}

TEST_F(WebDialogTest, CloseLinkClosesTheDialog) {
    showPage("<p>Hello</p><a href='knav://close'>Close</a>");
    click("knav://close");
    EXPECT_TRUE(dialog->isClosed());
    EXPECT_FALSE(dialog->isVisible());
    EXPECT_TRUE(opened.isEmpty());
}

TEST_F(WebDialogTest, OpenLinkHandsOnlyWebAddressesToTheDesktopAndCloses) {
    struct Case {
        const char* link;
        const char* opens;
    };
    const Case cases[] = {
        {"knav://open?url=https://www.example.org/a?b=c", "https://www.example.org/a?b"},
        {"knav://open?url=http://www.example.org/", "http://www.example.org/"},
        {"knav://open?url=file:///etc/passwd", nullptr},
        {"knav://open?url=javascript:alert(1)", nullptr},
        {"knav://open?url=velumen:x", nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.link);
        opened.clear();
        showPage("<p>Hello</p>");
        click(c.link);
        EXPECT_TRUE(dialog->isClosed());
        if (c.opens) {
            ASSERT_EQ(opened.size(), 1);
            EXPECT_EQ(opened.front().toString(), c.opens);
        } else {
            EXPECT_TRUE(opened.isEmpty());
        }
    }
}

TEST_F(WebDialogTest, OrdinaryLinksLoadOnlyUnderTheAllowedPrefixes) {
    server.answer("/next.html", LoopbackAnswer::plain("<p>Second page</p>", "text/html"));
    other.answer("/evil.html", LoopbackAnswer::plain("<p>Evil page</p>", "text/html"));
    showPage("<p>Hello</p>");
    click(other.url("/evil.html"));
    click("knav://elsewhere/evil.html");
    click("file:///etc/passwd");
    click("next.html");  // relative to the page
    ASSERT_TRUE(waitFor([&] { return text().contains("Second page"); }));
    EXPECT_EQ(dialog->pageUrl(), QUrl(server.url("/next.html")));
    EXPECT_EQ(other.requests().size(), 0);
    EXPECT_FALSE(dialog->isClosed());
}

TEST_F(WebDialogTest, ImagesLoadFromTheAllowedPrefixesOnly) {
    server.answer("/pic.png", LoopbackAnswer::plain(png(), "image/png"));
    server.answer("/bad.png", LoopbackAnswer::plain(QByteArray(5000, 'z'), "image/png"));
    other.answer("/spy.png", LoopbackAnswer::plain(png(), "image/png"));
    showPage("<p>Hello</p><img src='pic.png'><img src='" + other.url("/spy.png").toUtf8() +
             "'><img src='file:///etc/hostname'><img src='/bad.png'>");
    ASSERT_TRUE(waitFor([&] { return dialog->webView()->images.contains(QUrl(server.url("/pic.png"))); }));
    ASSERT_TRUE(waitFor([&] { return server.requestCount("/bad.png") == 1 && server.closedConnections() >= 3; }));
    QTest::qWait(0);
    EXPECT_EQ(dialog->webView()->images.size(), 1);
    EXPECT_EQ(dialog->webView()->images.value(QUrl(server.url("/pic.png"))).size(), QSize(4, 3));
    EXPECT_EQ(server.requestCount("/pic.png"), 1);
    EXPECT_EQ(other.requests().size(), 0);
    EXPECT_FALSE(dialog->isClosed());
}

TEST(PleaseRateDialog, RateOpensTheConfiguredPageAndNotNowOnlyCloses) {
    QList<QUrl> opened;
    PleaseRateDialog rate(DeviceProfile::Phone, QUrl("https://rate.example/velumen"));
    EXPECT_EQ(rate.objectName(), "PleaseRateDialog_iPhone");
    rate.openExternally = [&](const QUrl& url) { opened << url; };
    rate.open();
    rate.cancelTapped();
    EXPECT_TRUE(opened.isEmpty());
    EXPECT_FALSE(rate.isVisible());
    rate.open();
    rate.okTapped();
    EXPECT_EQ(opened, QList<QUrl>{QUrl("https://rate.example/velumen")});
    EXPECT_FALSE(rate.isVisible());
}

}  // namespace
}  // namespace velumen
