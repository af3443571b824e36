// The web dialog's private scheme and its query reading, without widgets.
#include <gtest/gtest.h>

#include "remote/RemoteEndpoints.h"
#include "remote/WebDialogRoutes.h"

namespace velumen {
namespace {

using Action = WebDialogRoute::Action;

TEST(ParseQuery, SplitsAtAmpersandsAndTheFirstEqualsSign) {
    const QMap<QString, QString> q = parseQuery("url=https://a.example/x?y=1&flag&k=v=w&empty=&=nokey&%41=%42");
    EXPECT_EQ(q.value("url"), "https://a.example/x?y");
    EXPECT_FALSE(q.contains("flag"));
    EXPECT_EQ(q.value("k"), "v");
    EXPECT_TRUE(q.contains("empty"));
    EXPECT_EQ(q.value("empty"), "");
    EXPECT_EQ(q.value(""), "nokey");
    // Nothing is percent-decoded.
    EXPECT_EQ(q.value("%41"), "%42");
}

TEST(WebDialogRoutes, PrivateSchemeClosesOpensOrPassesThrough) {
    struct Case {
        const char* url;
        Action action;
        const char* open;
    };
    const Case cases[] = {
        {"knav://close", Action::Close, ""},
        {"KNAV://CLOSE?now=1", Action::Close, ""},
        {"knav://open?url=https://www.example.org/page", Action::Open, "https://www.example.org/page"},
        // A second "=" cuts the address there.
        {"knav://open?url=https://www.example.org/p?a=b", Action::Open, "https://www.example.org/p?a"},
        {"knav://open?x=1&url=http://b.example/", Action::Open, "http://b.example/"},
        {"knav://open?url=", Action::Refuse, ""},
        {"knav://open", Action::Refuse, ""},
        {"knav://elsewhere/page?url=x", Action::Load, ""},
        {"https://www.example.org/next.html", Action::Load, ""},
        {"close", Action::Load, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.url);
        const WebDialogRoute route = routeForNavigation(QUrl(c.url));
        EXPECT_EQ(route.action, c.action);
        EXPECT_EQ(route.openUrl, c.open);
    }
}

TEST(WebDialogRoutes, OnlyWebAddressesAreHandedToTheDesktop) {
    EXPECT_TRUE(isOpenableOutside(QUrl("https://www.example.org/a")));
    EXPECT_TRUE(isOpenableOutside(QUrl("HTTP://www.example.org/")));
    for (const char* refused : {"file:///etc/passwd", "javascript:alert(1)", "mailto:a@example.org",
                                "knav://open?url=x", "https:///nohost", "https://user:pw@example.org/", "",
                                "data:text/html,<b>x</b>", "velumen://x"})
        EXPECT_FALSE(isOpenableOutside(QUrl(refused))) << refused;
}

}  // namespace
}  // namespace velumen
