// The private scheme's routes.
#include "remote/WebDialogRoutes.h"

#include <QStringList>

namespace velumen {

QMap<QString, QString> parseQuery(const QString& query) {
    QMap<QString, QString> pairs;
    for (const QString& piece : query.split(u'&')) {
        const QStringList parts = piece.split(u'=');
        if (parts.size() < 2) continue;
        pairs.insert(parts[0], parts[1]);
    }
    return pairs;
}

WebDialogRoute routeForNavigation(const QUrl& url) {
    WebDialogRoute route;
    if (url.scheme().compare(u"knav", Qt::CaseInsensitive) != 0) return route;
    const QString host = url.host(QUrl::FullyEncoded);
    if (host == u"close") {
        route.action = WebDialogRoute::Action::Close;
    } else if (host == u"open") {
        const QString target = parseQuery(url.query(QUrl::FullyEncoded)).value(QStringLiteral("url"));
        if (target.isEmpty()) {
            route.action = WebDialogRoute::Action::Refuse;
        } else {
            route.action = WebDialogRoute::Action::Open;
            route.openUrl = target;
        }
    }
    return route;
}

}  // namespace velumen
