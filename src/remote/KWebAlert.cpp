// Fetching and judging the announcement line.
#include "remote/KWebAlert.h"

#include <QNetworkRequest>
#include <QRandomGenerator>
#include <QStringDecoder>
#include <QSysInfo>
#include <charconv>
#include <cmath>

#include "remote/RemoteEndpoints.h"
#include "shell/FoliantGlobals.h"

namespace velumen {

namespace {

QByteArray decimal(std::int64_t v) {
    char buffer[24];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, v);
    return QByteArray(buffer, ec == std::errc() ? end - buffer : 0);
}

}  // namespace

bool KWebAlertDelegate::KWebAlert(class KWebAlert&, const QString&) {
    return true;
}

KWebAlert::KWebAlert(UserDefaults& defaults, QString url, std::int64_t version, std::int64_t edition)
    : defaults_(defaults), _alertUrlString(std::move(url)), _version(version), _edition(edition) {}

std::int64_t leadingInteger(const QString& text) {
    qsizetype i = 0;
    while (i < text.size() && text[i].isSpace())
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == u'-' || text[i] == u'+')) negative = text[i++] == u'-';
    std::int64_t value = 0;
    for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i) {
        if (value > 100000000000000LL) break;
        value = value * 10 + (text[i].unicode() - u'0');
    }
    return negative ? -value : value;
}

QString KWebAlert::getUniqueID() {
    if (auto stored = defaults_.stringForKey(kAppSetupToken); stored && !stored->isEmpty()) return *stored;
    char buffer[64];
    const double hundredths = FoliantGlobals::referenceDateNow() * 100.0;
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, hundredths, std::chars_format::fixed, 0);
    QString id = QString::fromLatin1(buffer, ec == std::errc() ? end - buffer : 0);
    id += u'_' + QString::fromLatin1(decimal(QRandomGenerator::system()->generate()));
    defaults_.setObject(kAppSetupToken, id);
    defaults_.synchronize();
    return id;
}

QByteArray KWebAlert::requestBody() {
    const std::int64_t rt = defaults_.integerForKey(FoliantGlobals::kRunTime);
    const std::int64_t rtt = defaults_.integerForKey(FoliantGlobals::kRtt);
    QByteArray body = "rt=" + decimal(rt);
    body += "&ra=" + decimal(rt >= rtt ? 1 : 0);
    body += "&ci=" + getUniqueID().toUtf8();
    body += "&m=" + decimal(profile == DeviceProfile::Tablet ? 1 : 0);
    body += "&os=" + QUrl::toPercentEncoding(QSysInfo::productVersion());
    body += "&v=" + decimal(_version);
    body += "&ed=" + decimal(_edition);
    return body;
}

void KWebAlert::checkForAlertWithCompletion(std::function<void(std::optional<QUrl>)> completion) {
    if (_alertUrlString.isEmpty()) return;
    QNetworkRequest request{QUrl(_alertUrlString)};
    request.setHeader(QNetworkRequest::ContentTypeHeader, "application/x-www-form-urlencoded");
    // The alert may be gone by the time the answer comes: the judgement works on a copy of what it needs.
    auto judge = std::make_shared<KWebAlert>(*this);
    const bool hasContext = !context.isNull();
    fetchWithLimits(network ? *network : remoteNetworkAccess(), request, _httpMethod, requestBody(), limits,
                    [judge, hasContext, completion = std::move(completion)](const WebFetchResult& result) {
                        if (hasContext && judge->context.isNull()) return;
                        if (!result.succeeded || result.data.isEmpty()) return;
                        const std::optional<QUrl> url = judge->urlForData(result.data);
                        if (completion) completion(url);
                    });
}

std::optional<QUrl> KWebAlert::urlForData(const QByteArray& data) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(data);
    if (decoder.hasError()) return std::nullopt;
    // A file of one line ends with its line end, which is no part of the address.
    while (text.endsWith(u'\n') || text.endsWith(u'\r'))
        text.chop(1);
    if (!text.startsWith(u"dlg") || text.size() < 19) return std::nullopt;

    const QString dialogId = text.mid(8, 4);
    const std::int64_t minutes = leadingInteger(text.mid(13, 4));
    const QString key = "dlg-" + dialogId;

    if (defaults_.integerForKey(key) >= 1) return std::nullopt;

    const std::int64_t rt = defaults_.integerForKey(FoliantGlobals::kRunTime);
    const std::int64_t last = defaults_.integerForKey(FoliantGlobals::kWebDialogRtx);
    _dlgId = key;
    _dlgRuntime = rt;

    if (rt < minutes * 60) return std::nullopt;
    if (last != 0 && rt - last < 300) return std::nullopt;

    const QString address = text.mid(18);
    if (address.isEmpty() || !isAllowedAddress(address, allowedPrefixes)) return std::nullopt;

    if (delegate && !delegate->KWebAlert(*this, key)) return std::nullopt;

    defaults_.setObject(key, qlonglong(1));
    defaults_.setObject(FoliantGlobals::kWebDialogRtx, qlonglong(rt));
    defaults_.synchronize();
    return QUrl(address, QUrl::StrictMode);
}

}  // namespace velumen
