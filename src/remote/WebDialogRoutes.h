// What a link in the web dialog does. Pages talk back to the notebook through the private scheme "knav":
// "knav://close" closes the dialog, "knav://open?url=ADDRESS" hands ADDRESS to the desktop and closes it,
// and any other "knav" host, like every ordinary link, is a page to load (which loads only when it lies
// under an allowed prefix). No widgets here.
#pragma once

#include <QMap>
#include <QString>
#include <QUrl>

namespace velumen {

struct WebDialogRoute {
    enum class Action {
        // Load the address as a page (subject to the prefix test).
        Load,
        // Close the dialog; nothing loads.
        Close,
        // Hand `openUrl` to the desktop, when it is an http or https address, and close the dialog.
        Open,
        // Nothing: an "open" without a url.
        Refuse,
    };
    Action action = Action::Load;
    QString openUrl;
};

// The pairs of a query: split at "&", each piece at "="; the first two parts are key and value, so a value
// holding "=" is cut there, and a piece without "=" is passed over. Nothing is percent-decoded.
QMap<QString, QString> parseQuery(const QString& query);

// The route of a navigation to `url`.
WebDialogRoute routeForNavigation(const QUrl& url);

}  // namespace velumen
