// Where the notebook may talk to: the deployment values of the remote messages, kept in the defaults store
// and empty by default, so that a build nobody configured never fetches anything. Also the one test that
// decides whether an address may be shown: its lower-cased text must begin with an allowed prefix that ends
// at (or after) the "/" closing the host, and, read as an address, it must name that same host and port with
// no user name.
#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

#include "input/EditorViewport.h"

namespace velumen {

class UserDefaults;

struct RemoteEndpoints {
    // The keys of the deployment values.
    static constexpr const char* kAllowedPrefixes = "remoteAllowedPrefixes";
    static constexpr const char* kAnnouncementTabletUrl = "remoteAnnouncementTabletUrl";
    static constexpr const char* kAnnouncementPhoneUrl = "remoteAnnouncementPhoneUrl";
    static constexpr const char* kSettingsUrl = "remoteSettingsUrl";
    static constexpr const char* kRatingPageUrl = "ratingPageUrl";
    static constexpr const char* kPromotionPageUrl = "promotionPageUrl";

    // The allowed prefixes, lower-cased; entries that are not an http or https address whose host is
    // closed by "/" (and has no user name) are dropped, so no entry can let another host through.
    QStringList allowedPrefixes;
    // The announcement file for each device profile; empty for none.
    QString announcementTabletUrl;
    QString announcementPhoneUrl;
    // The settings document; empty for none.
    QString settingsUrl;
    // The page the rating dialog opens, and the page of the cross-promotion; empty for none.
    QString ratingPageUrl;
    QString promotionPageUrl;

    // Reads the values from the store; missing or non-text values are empty.
    static RemoteEndpoints fromDefaults(const UserDefaults& defaults);
    // The announcement file for the profile.
    QString announcementUrl(DeviceProfile profile) const {
        return profile == DeviceProfile::Phone ? announcementPhoneUrl : announcementTabletUrl;
    }
};

// Whether `prefix` is acceptable as an allowed prefix (see allowedPrefixes).
bool isUsablePrefix(const QString& prefix);

// Whether `text` may be loaded: it contains no blank, control character or backslash, its lower-cased form
// begins with one of `prefixes`, and it reads as an address with the scheme, host and port of that prefix
// and no user name.
bool isAllowedAddress(const QString& text, const QStringList& prefixes);

// Whether the platform may be handed `url` to open outside the notebook: an http or https address with a
// host.
bool isOpenableOutside(const QUrl& url);

}  // namespace velumen
