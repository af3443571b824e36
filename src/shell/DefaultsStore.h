// The per-user defaults store: a QSettings file in a format of our own, one binary property list whose
// top dictionary maps each key to its value, so that booleans, integers, reals, dates, text, byte buffers
// and lists read back as the types they were written as. Objects are kept as keyed archives in data
// entries by their owners.
#pragma once

#include <QSettings>
#include <QString>
#include <memory>

namespace velumen {

// The QSettings format of the store, registered once for the process.
QSettings::Format defaultsStoreFormat();

// The store in the given file; an empty path means the user's own store in the standard configuration
// folder (see setDefaultsStorePath).
std::unique_ptr<QSettings> openDefaultsStore(const QString& path = {});

// Redirects the user's own store (a command-line option, tests). Takes effect for stores opened later.
void setDefaultsStorePath(const QString& path);
QString defaultsStorePath();

// The file form, for tests and tools: false when the bytes are not a property list with a dictionary on
// top. Values of kinds the store does not hold are passed over.
bool readDefaultsPlist(QIODevice& device, QSettings::SettingsMap& map);
bool writeDefaultsPlist(QIODevice& device, const QSettings::SettingsMap& map);

}  // namespace velumen
