// The small settings document the deployment may publish: a JSON object read fresh at every start (never
// cached, never kept), whose only use is a cross-promotion prompt shown at most once within a range of run
// time. Only numbers count (true and false among them): a key holding anything else, or missing, leaves its
// value as it was, and a document that does not parse changes nothing and leaves the settings unloaded.
// With no address configured nothing is fetched.
#pragma once

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QObject>
#include <QString>
#include <cstdint>

#include "remote/WebFetch.h"

namespace velumen {

class RemoteSettings : public QObject {
    Q_OBJECT

  public:
    static constexpr const char* kShowPromotion = "showPromotion";
    static constexpr const char* kPromotionMinRuntime = "promotionMinRuntime";
    static constexpr const char* kPromotionMaxRuntime = "promotionMaxRuntime";
    // The version whose promotion was shown: the prompt shows once per version.
    static constexpr std::int64_t kPromotionVersion = 720;

    explicit RemoteSettings(QObject* parent = nullptr) : QObject(parent) {}

    // The process's settings, made on first use on the GUI thread.
    static RemoteSettings& shared();

    // Fetches the document at `url` (nothing when empty); on success reads it (parseDocument) and announces
    // remoteSettingsLoaded. Any failure leaves isLoaded false and announces nothing.
    void load(const QString& url);
    // Reads a fetched document: true, and the numbers taken, when it is a JSON object.
    bool parseDocument(const QByteArray& json);
    bool isLoaded() const { return _isLoaded; }

    // Whether the promotion may show at run time `rt` for a user who last saw the promotion of
    // `promotionVersion`: it is switched on, `rt` lies within its range, and this version has not shown it.
    bool shouldShowPromotion(std::int64_t rt, std::int64_t promotionVersion) const;

    bool showPromotion() const { return _showPromotion; }
    std::int64_t promotionMinRuntime() const { return _promotionMinRuntime; }
    std::int64_t promotionMaxRuntime() const { return _promotionMaxRuntime; }

    QNetworkAccessManager* network = nullptr;
    WebFetchLimits limits{64 * 1024, 10000};

  signals:
    // The document was read (the settings' "kRemoteSettings_LoadedNotification").
    void remoteSettingsLoaded(RemoteSettings* sender);

  private:
    bool _isLoaded = false;
    bool _showPromotion = false;
    std::int64_t _promotionMinRuntime = 0;
    std::int64_t _promotionMaxRuntime = 0;
};

}  // namespace velumen
