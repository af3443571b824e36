#include "shell/DefaultsStore.h"

#include <QDateTime>
#include <QIODevice>
#include <QStandardPaths>
#include <QTimeZone>
#include <cmath>
#include <span>
#include <vector>

#include "document/BinaryPlist.h"

namespace velumen {

namespace {

// Seconds between the Unix epoch and 1 January 2001 UTC.
constexpr double kReferenceDateOffset = 978307200.0;
// Nesting kept when reading lists and dictionaries; deeper values are passed over.
constexpr int kMaxDepth = 16;

QString& storePathOverride() {
    static QString path;
    return path;
}

std::optional<QVariant> readValue(const plist::Reader& reader, plist::Ref ref, int depth) {
    const std::optional<plist::Kind> kind = reader.kind(ref);
    if (!kind) return std::nullopt;
    switch (*kind) {
        case plist::Kind::Bool:
            if (auto v = reader.asBool(ref)) return QVariant(*v);
            break;
        case plist::Kind::Int:
            if (auto v = reader.asInt(ref)) return QVariant(qlonglong(*v));
            break;
        case plist::Kind::Real:
            if (auto v = reader.asReal(ref)) return QVariant(*v);
            break;
        case plist::Kind::Date:
            if (auto v = reader.asDate(ref); v && std::isfinite(*v) && std::fabs(*v) < 1e13) {
                const auto ms = static_cast<qint64>(std::llround((*v + kReferenceDateOffset) * 1000.0));
                return QVariant(QDateTime::fromMSecsSinceEpoch(ms, QTimeZone::utc()));
            }
            break;
        case plist::Kind::Data:
            if (auto v = reader.asData(ref))
                return QVariant(QByteArray(reinterpret_cast<const char*>(v->data()), qsizetype(v->size())));
            break;
        case plist::Kind::String:
            if (auto v = reader.asString(ref)) return QVariant(QString::fromStdString(*v));
            break;
        case plist::Kind::Array:
        case plist::Kind::Set: {
            if (depth >= kMaxDepth) break;
            const auto count = reader.arrayCount(ref);
            if (!count) break;
            QVariantList list;
            for (std::uint64_t i = 0; i < *count; ++i) {
                const auto member = reader.arrayAt(ref, i);
                if (!member) return std::nullopt;
                auto value = readValue(reader, *member, depth + 1);
                if (!value) return std::nullopt;
                list.append(*value);
            }
            return QVariant(list);
        }
        case plist::Kind::Dict: {
            if (depth >= kMaxDepth) break;
            const auto count = reader.dictCount(ref);
            if (!count) break;
            QVariantMap map;
            for (std::uint64_t i = 0; i < *count; ++i) {
                const auto key = reader.dictKeyAt(ref, i);
                const auto value = reader.dictValueAt(ref, i);
                const auto text = key ? reader.asString(*key) : std::nullopt;
                if (!text || !value) return std::nullopt;
                auto decoded = readValue(reader, *value, depth + 1);
                if (!decoded) return std::nullopt;
                map.insert(QString::fromStdString(*text), *decoded);
            }
            return QVariant(map);
        }
        default:
            break;
    }
    return std::nullopt;
}

// Byte buffers must outlive the writer's finish(): they are kept here.
struct WriteState {
    plist::Writer writer;
    std::vector<std::unique_ptr<QByteArray>> buffers;
};

std::optional<plist::Ref> writeValue(WriteState& state, const QVariant& value, int depth) {
    plist::Writer& w = state.writer;
    switch (value.typeId()) {
        case QMetaType::Bool:
            return w.addBool(value.toBool());
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::Long:
        case QMetaType::LongLong:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::Char:
        case QMetaType::SChar:
        case QMetaType::UChar:
            return w.addInt(value.toLongLong());
        case QMetaType::ULong:
        case QMetaType::ULongLong:
            return w.addInt(static_cast<std::int64_t>(value.toULongLong()));
        case QMetaType::Float:
        case QMetaType::Double:
            return w.addReal(value.toDouble());
        case QMetaType::QString:
            return w.addString(value.toString().toStdString());
        case QMetaType::QByteArray: {
            state.buffers.push_back(std::make_unique<QByteArray>(value.toByteArray()));
            const QByteArray& bytes = *state.buffers.back();
            return w.addData(
                {reinterpret_cast<const std::uint8_t*>(bytes.constData()), std::size_t(bytes.size())});
        }
        case QMetaType::QDateTime: {
            const QDateTime date = value.toDateTime();
            if (!date.isValid()) return std::nullopt;
            return w.addDate(double(date.toMSecsSinceEpoch()) / 1000.0 - kReferenceDateOffset);
        }
        case QMetaType::QStringList:
        case QMetaType::QVariantList: {
            if (depth >= kMaxDepth) return std::nullopt;
            std::vector<plist::Ref> members;
            for (const QVariant& member : value.toList()) {
                if (auto ref = writeValue(state, member, depth + 1)) members.push_back(*ref);
            }
            return w.addArray(members);
        }
        case QMetaType::QVariantMap: {
            if (depth >= kMaxDepth) return std::nullopt;
            std::vector<plist::Ref> keys, values;
            const QVariantMap map = value.toMap();
            for (auto it = map.begin(); it != map.end(); ++it) {
                auto ref = writeValue(state, it.value(), depth + 1);
                if (!ref) continue;
                keys.push_back(w.addString(it.key().toStdString()));
                values.push_back(*ref);
            }
            return w.addDict(keys, values);
        }
        default:
            return std::nullopt;
    }
}

}  // namespace

bool readDefaultsPlist(QIODevice& device, QSettings::SettingsMap& map) {
    const QByteArray bytes = device.readAll();
    if (bytes.isEmpty()) return true;  // a new store
    const std::span<const std::uint8_t> view(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
                                             std::size_t(bytes.size()));
    const std::optional<plist::Reader> reader = plist::Reader::open(view);
    if (!reader || reader->kind(reader->top()) != plist::Kind::Dict) return false;
    const auto count = reader->dictCount(reader->top());
    if (!count) return false;
    for (std::uint64_t i = 0; i < *count; ++i) {
        const auto key = reader->dictKeyAt(reader->top(), i);
        const auto text = key ? reader->asString(*key) : std::nullopt;
        const auto value = reader->dictValueAt(reader->top(), i);
        if (!text || !value) continue;
        // One bad value costs that key alone.
        if (auto decoded = readValue(*reader, *value, 1)) map.insert(QString::fromStdString(*text), *decoded);
    }
    return true;
}

bool writeDefaultsPlist(QIODevice& device, const QSettings::SettingsMap& map) {
    WriteState state;
    std::vector<plist::Ref> keys, values;
    for (auto it = map.begin(); it != map.end(); ++it) {
        auto ref = writeValue(state, it.value(), 1);
        if (!ref) continue;
        keys.push_back(state.writer.addString(it.key().toStdString()));
        values.push_back(*ref);
    }
    const plist::Ref top = state.writer.addDict(keys, values);
    const auto bytes = state.writer.finish(top);
    if (!bytes) return false;
    return device.write(reinterpret_cast<const char*>(bytes->data()), qint64(bytes->size())) ==
           qint64(bytes->size());
}

QSettings::Format defaultsStoreFormat() {
    static const QSettings::Format format =
        QSettings::registerFormat("plist", readDefaultsPlist, writeDefaultsPlist, Qt::CaseSensitive);
    return format;
}

void setDefaultsStorePath(const QString& path) {
    storePathOverride() = path;
}

QString defaultsStorePath() {
    if (!storePathOverride().isEmpty()) return storePathOverride();
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/Velumen/Velumen.plist";
}

std::unique_ptr<QSettings> openDefaultsStore(const QString& path) {
    return std::make_unique<QSettings>(path.isEmpty() ? defaultsStorePath() : path, defaultsStoreFormat());
}

}  // namespace velumen
