// The gallery's record of one book on disk, built fresh at each read of the folder: its name, where it is,
// and when it last changed. Records of the ubiquitous store carry its four download fields besides.
#pragma once

#include <QDateTime>
#include <QString>
#include <QUrl>
#include <cstdint>
#include <optional>

namespace velumen {

// A file's modification time in nanoseconds since the epoch: finer than QDateTime, so that a cache file
// written in the same millisecond as its book still compares by the file system's own clock.
using FileTime = std::int64_t;

struct FileInfo {
    QString fileName;  // last path component, with extension
    QUrl fileUrl;      // identity of the book in all lists
    FileTime lastModDate = 0;

    // Present only in records of the ubiquitous store.
    std::optional<bool> isIniCloud;
    std::optional<bool> isDownloaded;
    std::optional<bool> isDownloading;
    std::optional<double> percentDownloaded;

    QString path() const { return fileUrl.toLocalFile(); }
    QDateTime lastModDateTime() const { return QDateTime::fromMSecsSinceEpoch(lastModDate / 1000000); }
};

}  // namespace velumen
