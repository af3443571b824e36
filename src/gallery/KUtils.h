// File operations of the gallery: names made safe and unique, the dated listing of a folder, copies that
// come out newest, and the moves and removals that leave a book whole at every moment. Errors are read and
// dropped: callers look at the folder afterwards, never at an error code.
#pragma once

#include <QString>
#include <QUrl>
#include <optional>
#include <vector>

#include "gallery/FileInfo.h"

namespace velumen {

class KUtils {
  public:
    // Longest file name in bytes (UTF-8) that Linux file systems take.
    static constexpr int kMaxNameBytes = 255;
    // Bytes kept free in a cleaned name for a serial suffix (" 99999").
    static constexpr int kSerialRoom = 6;

    // Trims whitespace at both ends, then deletes every / \ ? % * | " < > : and full stop anywhere. Control
    // characters go too: a name shows as one line.
    static QString sanitizeFileNameString(const QString& text);
    // `base` cut at a character boundary (never inside a character or a combined sequence) so that it
    // takes at most `maxBytes` bytes of UTF-8.
    static QString cutToBytes(const QString& base, int maxBytes);
    // A cleaned name cut so that "name 99999.ext" still fits one file name.
    static QString fitBaseName(const QString& base, const QString& extension);

    // The temporary folder + the milliseconds since 1 January 2001 as "%.0f.temp".
    static QString getTemporaryFilePath();
    // Milliseconds since 1 January 2001, whole.
    static double millisecondsSinceReferenceDate();

    // Records of every entry of `folder`, newest first, equal dates in directory order; nullopt when the
    // folder cannot be read. An entry whose attributes cannot be read ends the walk there: it and every later
    // entry are left out. With an extension, only names whose extension matches it case-insensitively.
    static std::optional<std::vector<FileInfo>> getDateSortedFileList(const QString& folder);
    static std::optional<std::vector<FileInfo>> getDateSortedFileList(const QString& folder,
                                                                      const QString& extension);

    // Sets the modification date to now; errors ignored.
    static void touchFileAtPath(const QString& path);
    static void touchFileAtUrl(const QUrl& url) { touchFileAtPath(url.toLocalFile()); }
    // Copies `from` to `to` and touches the copy, so that it is the newest. The copy is written under a
    // hidden name in the destination folder, synced, and renamed into place only if `to` is still free: a
    // crash leaves no half copy under a book's name, and nothing is ever overwritten. False on failure.
    static bool copyAndTouchFileFrom(const QString& from, const QString& to);
    static bool copyAndTouchFileFromUrl(const QUrl& from, const QUrl& to) {
        return copyAndTouchFileFrom(from.toLocalFile(), to.toLocalFile());
    }
    // Creates the folder with its parents unless it is there; true if it tried to create it.
    static bool ensureDirectoryExists(const QString& folder);
    // Exclusion from backups. Desktop backup tools read no per-file mark, so this records the wish in the
    // file's extended attribute "user.xdg.robots.backup" ("false" to exclude) where the file system allows.
    static void setSkipBackupAttribute(bool skip, const QUrl& url);
    // "base.ext" in `folder`, and on a clash "base N.ext" counting from 2. The base is cut where a name would
    // pass the length limit.
    static QString getUniqueSerialFilePathInDirectory(const QString& folder, const QString& base,
                                                      const QString& extension);

    // Moves `from` to `to` with one rename of the file system, never replacing a file at `to` (a rename
    // either happened whole or not at all), and syncs the folders. False when it did not happen (`to`
    // taken, another file system, no such file).
    static bool moveFileNoReplace(const QString& from, const QString& to);
    // Moves across file systems too: a rename where it can, else copy, sync, rename into place, then remove
    // the source. The source is removed only once the copy is whole on disk.
    static bool moveFileSafely(const QString& from, const QString& to);
    // Removes the hidden half copies that a copy cut short (by a crash) left in `folder`.
    static void removeStrayCopies(const QString& folder);
    // Removes the file and syncs its folder; false when it is still there.
    static bool removeFile(const QString& path);
    // Makes the folder's entries durable.
    static void syncFolder(const QString& folder);
    // True when the file or folder at `path` is there (a dangling link counts).
    static bool entryExists(const QString& path);
    // The modification time, or nullopt when it cannot be read.
    static std::optional<FileTime> modificationTime(const QString& path);
};

}  // namespace velumen
