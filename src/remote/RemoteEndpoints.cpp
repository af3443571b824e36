// The deployment values and the address tests.
#include "remote/RemoteEndpoints.h"

#include "shell/FoliantGlobals.h"

namespace velumen {

namespace {

QString textForKey(const UserDefaults& defaults, const char* key) {
    const QVariant value = defaults.objectForKey(key);
    return value.typeId() == QMetaType::QString ? value.toString().trimmed() : QString();
}

bool hasUnsafeCharacter(const QString& text) {
    for (const QChar c : text) {
        if (c.unicode() <= 0x20 || c.unicode() == 0x7f || c == u'\\' || c.isSpace() ||
            c.category() == QChar::Other_Control || c.category() == QChar::Other_Format)
            return true;
    }
    return false;
}

// The scheme and the authority of `text` as written: everything before the "/" that closes the host, or
// empty when there is no such "/".
QString schemeAndAuthority(const QString& text) {
    const qsizetype start = text.indexOf(u"://");
    if (start <= 0) return {};
    const qsizetype slash = text.indexOf(u'/', start + 3);
    if (slash < 0) return {};
    return text.left(slash + 1);
}

}  // namespace

RemoteEndpoints RemoteEndpoints::fromDefaults(const UserDefaults& defaults) {
    RemoteEndpoints e;
    const QVariant prefixes = defaults.objectForKey(kAllowedPrefixes);
    if (prefixes.typeId() == QMetaType::QVariantList || prefixes.typeId() == QMetaType::QStringList) {
        for (const QVariant& p : prefixes.toList()) {
            if (p.typeId() != QMetaType::QString) continue;
            const QString prefix = p.toString().trimmed().toLower();
            if (isUsablePrefix(prefix)) e.allowedPrefixes.append(prefix);
        }
    }
    e.announcementTabletUrl = textForKey(defaults, kAnnouncementTabletUrl);
    e.announcementPhoneUrl = textForKey(defaults, kAnnouncementPhoneUrl);
    e.settingsUrl = textForKey(defaults, kSettingsUrl);
    e.ratingPageUrl = textForKey(defaults, kRatingPageUrl);
    e.promotionPageUrl = textForKey(defaults, kPromotionPageUrl);
    return e;
}

bool isUsablePrefix(const QString& prefix) {
    if (prefix.isEmpty() || hasUnsafeCharacter(prefix)) return false;
    const QString head = schemeAndAuthority(prefix);
    if (head.isEmpty()) return false;
    const QUrl url(head, QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    return url.isValid() && (scheme == "http" || scheme == "https") && !url.host().isEmpty() &&
           url.userInfo().isEmpty() && !head.contains(u'@') && !head.contains(u'%');
}

bool isAllowedAddress(const QString& text, const QStringList& prefixes) {
    if (text.isEmpty() || hasUnsafeCharacter(text)) return false;
    const QString lower = text.toLower();
    for (const QString& prefix : prefixes) {
        if (!lower.startsWith(prefix)) continue;
        // Read as an address, it must name the prefix's own host: no user name, the same scheme and port.
        const QUrl url(text, QUrl::StrictMode);
        const QUrl allowed(schemeAndAuthority(prefix), QUrl::StrictMode);
        if (!url.isValid() || !url.userInfo().isEmpty()) continue;
        if (url.scheme().toLower() != allowed.scheme() || url.host().toLower() != allowed.host().toLower() ||
            url.port(-1) != allowed.port(-1))
            continue;
        return true;
    }
    return false;
}

bool isOpenableOutside(const QUrl& url) {
    const QString scheme = url.scheme().toLower();
    return url.isValid() && (scheme == "http" || scheme == "https") && !url.host().isEmpty() &&
           url.userInfo().isEmpty();
}

}  // namespace velumen
