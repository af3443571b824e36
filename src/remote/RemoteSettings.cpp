// Reading the settings document.
#include "remote/RemoteSettings.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkRequest>
#include <QPointer>
#include <QUrl>
#include <cmath>

namespace velumen {

namespace {

// A JSON number or boolean as a number; nothing for any other kind.
std::optional<double> numberOf(const QJsonValue& value) {
    if (value.isBool()) return value.toBool() ? 1.0 : 0.0;
    if (value.isDouble() && std::isfinite(value.toDouble())) return value.toDouble();
    return std::nullopt;
}

std::int64_t clampedInteger(double v) {
    return static_cast<std::int64_t>(std::trunc(std::fmin(std::fmax(v, -9.0e18), 9.0e18)));
}

}  // namespace

RemoteSettings& RemoteSettings::shared() {
    static RemoteSettings* settings = new RemoteSettings();
    return *settings;
}

void RemoteSettings::load(const QString& url) {
    if (url.isEmpty()) return;
    QPointer<RemoteSettings> self(this);
    fetchWithLimits(network ? *network : remoteNetworkAccess(), QNetworkRequest(QUrl(url)), "GET", {}, limits,
                    [self](const WebFetchResult& result) {
                        if (!self || !result.succeeded || result.data.isEmpty()) return;
                        if (!self->parseDocument(result.data)) return;
                        emit self->remoteSettingsLoaded(self);
                    });
}

bool RemoteSettings::parseDocument(const QByteArray& json) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) return false;
    const QJsonObject top = document.object();
    if (auto v = numberOf(top.value(kShowPromotion))) _showPromotion = *v != 0;
    if (auto v = numberOf(top.value(kPromotionMinRuntime))) _promotionMinRuntime = clampedInteger(*v);
    if (auto v = numberOf(top.value(kPromotionMaxRuntime))) _promotionMaxRuntime = clampedInteger(*v);
    _isLoaded = true;
    return true;
}

bool RemoteSettings::shouldShowPromotion(std::int64_t rt, std::int64_t promotionVersion) const {
    return _isLoaded && _showPromotion && promotionVersion < kPromotionVersion && rt >= _promotionMinRuntime &&
           rt <= _promotionMaxRuntime;
}

}  // namespace velumen
