// The counters' stored array, its rules for older stores, and the support line.
#include "remote/FLDiagnostics.h"

#include <QDateTime>
#include <QVariantList>
#include <cmath>
#include <limits>

#include "shell/FoliantGlobals.h"

namespace velumen {

namespace {

constexpr double kReferenceDateOffset = 978307200.0;

// A stored number as a 32-bit counter: anything else reads 0, numbers beyond the range are clamped.
std::int32_t counterValue(const QVariant& value) {
    switch (value.typeId()) {
        case QMetaType::Bool:
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::UInt:
        case QMetaType::ULongLong:
        case QMetaType::Double:
        case QMetaType::Float: {
            const double v = value.toDouble();
            if (!std::isfinite(v)) return 0;
            constexpr double lo = std::numeric_limits<std::int32_t>::min();
            constexpr double hi = std::numeric_limits<std::int32_t>::max();
            return static_cast<std::int32_t>(std::trunc(std::fmin(std::fmax(v, lo), hi)));
        }
        default:
            return 0;
    }
}

}  // namespace

FLDiagnostics::FLDiagnostics(UserDefaults& defaults, std::optional<double> now)
    : defaults_(defaults), now_(now) {
    loadSettings();
}

FLDiagnostics& FLDiagnostics::shared() {
    static FLDiagnostics instance(FoliantGlobals::shared().defaults());
    return instance;
}

void FLDiagnostics::loadSettings() {
    const QVariant stored = defaults_.objectForKey(FoliantGlobals::kUserPreferences);
    if (stored.typeId() == QMetaType::QVariantList) {
        const QVariantList list = stored.toList();
        if (list.size() >= 18) {
            for (int i = 0; i < 18; ++i)
                setCounter(Counter(i), counterValue(list[i]));
        }
        if (list.size() >= 20) {
            for (int i = 18; i < 20; ++i)
                setCounter(Counter(i), counterValue(list[i]));
        }
    }
    _installTime = defaults_.doubleForKey(FoliantGlobals::kInstallTime);
    if (_installTime == 0 && defaults_.integerForKey(FoliantGlobals::kRunTime) == 0)
        _installTime = now_ ? *now_ : FoliantGlobals::referenceDateNow();
}

bool FLDiagnostics::saveSettings() {
    QVariantList list;
    for (int i = 0; i < kCounterCount; ++i)
        list.append(int(counter(Counter(i))));
    defaults_.setObject(FoliantGlobals::kUserPreferences, list);
    defaults_.setObject(FoliantGlobals::kInstallTime, _installTime);
    return defaults_.synchronize();
}

void FLDiagnostics::count(Counter which) {
    setCounter(which, static_cast<std::int32_t>(static_cast<std::uint32_t>(counter(which)) + 1u));
}

QString FLDiagnostics::getDiagnosticsString(const QTimeZone& zone) const {
    QString line;
    for (int i = 0; i < kCounterCount; ++i) {
        if (i > 0) line += u'-';
        line += QString::number(counter(Counter(i)));
    }
    if (_installTime != 0 && std::isfinite(_installTime) && std::fabs(_installTime) < 1e13) {
        const auto ms = static_cast<qint64>(std::llround((_installTime + kReferenceDateOffset) * 1000.0));
        line += u'-' + QDateTime::fromMSecsSinceEpoch(ms, zone).toString(QStringLiteral("MMddyy"));
    } else {
        line += QStringLiteral("-0");
    }
    return line;
}

}  // namespace velumen
