#include "gallery/KUtils.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTextBoundaryFinder>
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <random>

namespace velumen {

namespace {

QByteArray encoded(const QString& path) { return QFile::encodeName(path); }

FileTime timeOf(const struct stat& info) {
    return static_cast<FileTime>(info.st_mtim.tv_sec) * 1000000000 + static_cast<FileTime>(info.st_mtim.tv_nsec);
}

QString folderOf(const QString& path) { return QFileInfo(path).absolutePath(); }

// rename(2) that refuses to replace: true when `from` now has the name `to`. errno tells why not.
bool renameNoReplace(const QByteArray& from, const QByteArray& to) {
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    // A file system without the flag: a hard link claims the name without replacing, then the old name goes.
    if (::link(from.constData(), to.constData()) != 0) return false;
    ::unlink(from.constData());
    return true;
}

// A fresh hidden name in `folder` that the gallery never lists (it does not end in a book extension).
QString hiddenTemporaryPath(const QString& folder, const QString& name) {
    static thread_local std::mt19937_64 rng(std::random_device{}());
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, rng(), 36).ptr;
    return folder + QLatin1String("/.") + name + QLatin1Char('.') + QString::fromLatin1(digits, int(end - digits)) +
           QLatin1String(".part");
}

// Copies the bytes of `from` into a hidden file beside `to`, synced to disk, then gives it the name `to` if
// that is free.
bool copyIntoPlace(const QString& from, const QString& to) {
    const int in = ::open(encoded(from).constData(), O_RDONLY | O_CLOEXEC);
    if (in < 0) return false;
    struct stat info {};
    if (::fstat(in, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(in);
        return false;
    }
    const QString temporary = hiddenTemporaryPath(folderOf(to), QFileInfo(to).fileName().left(32));
    const QByteArray temporaryName = encoded(temporary);
    const int out = ::open(temporaryName.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (out < 0) {
        ::close(in);
        return false;
    }
    bool ok = true;
    std::vector<char> buffer(1 << 20);
    for (;;) {
        const ssize_t got = ::read(in, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            ok = false;
            break;
        }
        if (got == 0) break;
        for (ssize_t done = 0; done < got;) {
            const ssize_t wrote = ::write(out, buffer.data() + done, static_cast<std::size_t>(got - done));
            if (wrote < 0 && errno == EINTR) continue;
            if (wrote <= 0) {
                ok = false;
                break;
            }
            done += wrote;
        }
        if (!ok) break;
    }
    ::close(in);
    if (ok && ::fsync(out) != 0) ok = false;
    if (::close(out) != 0) ok = false;
    if (ok) ok = renameNoReplace(temporaryName, encoded(to));
    if (!ok) ::unlink(temporaryName.constData());
    else KUtils::syncFolder(folderOf(to));
    return ok;
}

}  // namespace

QString KUtils::sanitizeFileNameString(const QString& text) {
    static const QString forbidden = QStringLiteral("/\\?%*|\"<>:.");
    QString out;
    const QString trimmed = text.trimmed();
    out.reserve(trimmed.size());
    for (const QChar c : trimmed) {
        if (forbidden.contains(c)) continue;
        if (c.category() == QChar::Other_Control) continue;
        out.append(c);
    }
    return out;
}

QString KUtils::cutToBytes(const QString& base, int maxBytes) {
    if (base.toUtf8().size() <= maxBytes) return base;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, base);
    qsizetype kept = 0;
    for (qsizetype at = finder.toNextBoundary(); at > 0; at = finder.toNextBoundary()) {
        if (base.left(at).toUtf8().size() > maxBytes) break;
        kept = at;
    }
    return base.left(kept);
}

QString KUtils::fitBaseName(const QString& base, const QString& extension) {
    const int suffix = extension.isEmpty() ? 0 : int(extension.toUtf8().size()) + 1;
    return cutToBytes(base, kMaxNameBytes - suffix - kSerialRoom);
}

double KUtils::millisecondsSinceReferenceDate() {
    constexpr double kReferenceDateMs = 978307200000.0;  // 1 January 2001, 00:00 UTC
    return static_cast<double>(QDateTime::currentMSecsSinceEpoch()) - kReferenceDateMs;
}

QString KUtils::getTemporaryFilePath() {
    char digits[32];
    const auto end =
        std::to_chars(digits, digits + sizeof digits, std::round(millisecondsSinceReferenceDate()),
                      std::chars_format::fixed, 0)
            .ptr;
    return QDir::tempPath() + QLatin1Char('/') + QString::fromLatin1(digits, int(end - digits)) +
           QLatin1String(".temp");
}

std::optional<std::vector<FileInfo>> KUtils::getDateSortedFileList(const QString& folder) {
    return getDateSortedFileList(folder, QString());
}

std::optional<std::vector<FileInfo>> KUtils::getDateSortedFileList(const QString& folder, const QString& extension) {
    const QByteArray folderName = encoded(folder);
    DIR* dir = ::opendir(folderName.constData());
    if (!dir) return std::nullopt;
    std::vector<FileInfo> records;
    const QString prefix = QDir(folder).absolutePath() + QLatin1Char('/');
    while (const dirent* entry = ::readdir(dir)) {
        const char* raw = entry->d_name;
        if (std::strcmp(raw, ".") == 0 || std::strcmp(raw, "..") == 0) continue;
        struct stat info {};
        const QByteArray full = folderName + '/' + raw;
        // The error of one entry stays with the walk: it ends here.
        if (::stat(full.constData(), &info) != 0) break;
        const QString name = QFile::decodeName(raw);
        if (!extension.isEmpty()) {
            const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
            if (dot < 0 || name.mid(dot + 1).compare(extension, Qt::CaseInsensitive) != 0) continue;
        }
        FileInfo record;
        record.fileName = name;
        record.fileUrl = QUrl::fromLocalFile(prefix + name);
        record.lastModDate = timeOf(info);
        records.push_back(std::move(record));
    }
    ::closedir(dir);
    std::stable_sort(records.begin(), records.end(),
                     [](const FileInfo& a, const FileInfo& b) { return a.lastModDate > b.lastModDate; });
    return records;
}

void KUtils::touchFileAtPath(const QString& path) {
    (void)::utimensat(AT_FDCWD, encoded(path).constData(), nullptr, 0);
}

bool KUtils::copyAndTouchFileFrom(const QString& from, const QString& to) {
    if (!copyIntoPlace(from, to)) return false;
    touchFileAtPath(to);
    return true;
}

bool KUtils::ensureDirectoryExists(const QString& folder) {
    if (QFileInfo(folder).isDir()) return false;
    QDir().mkpath(folder);
    return true;
}

void KUtils::setSkipBackupAttribute(bool skip, const QUrl& url) {
    const QByteArray path = encoded(url.toLocalFile());
    if (skip) {
        (void)::setxattr(path.constData(), "user.xdg.robots.backup", "false", 5, 0);
    } else {
        (void)::removexattr(path.constData(), "user.xdg.robots.backup");
    }
}

QString KUtils::getUniqueSerialFilePathInDirectory(const QString& folder, const QString& base,
                                                   const QString& extension) {
    const QString dir = QDir(folder).absolutePath() + QLatin1Char('/');
    const QString dotExtension = extension.isEmpty() ? QString() : QLatin1Char('.') + extension;
    const int extensionBytes = int(dotExtension.toUtf8().size());
    QString candidate = dir + cutToBytes(base, kMaxNameBytes - extensionBytes) + dotExtension;
    for (long serial = 2; entryExists(candidate); ++serial) {
        const QString number = QLatin1Char(' ') + QString::number(serial);
        candidate = dir + cutToBytes(base, kMaxNameBytes - extensionBytes - int(number.size())) + number + dotExtension;
    }
    return candidate;
}

bool KUtils::moveFileNoReplace(const QString& from, const QString& to) {
    if (!renameNoReplace(encoded(from), encoded(to))) return false;
    syncFolder(folderOf(to));
    if (folderOf(from) != folderOf(to)) syncFolder(folderOf(from));
    return true;
}

bool KUtils::moveFileSafely(const QString& from, const QString& to) {
    if (moveFileNoReplace(from, to)) return true;
    if (errno != EXDEV) return false;
    if (!copyIntoPlace(from, to)) return false;
    return removeFile(from);
}

void KUtils::removeStrayCopies(const QString& folder) {
    static const QRegularExpression halfCopy(QStringLiteral("^\\..+\\.[0-9a-z]{1,13}\\.part$"));
    const QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString& name : names)
        if (halfCopy.match(name).hasMatch()) removeFile(folder + QLatin1Char('/') + name);
}

bool KUtils::removeFile(const QString& path) {
    const QByteArray name = encoded(path);
    if (::unlink(name.constData()) != 0 && errno != ENOENT) return false;
    syncFolder(folderOf(path));
    return true;
}

void KUtils::syncFolder(const QString& folder) {
    const int fd = ::open(encoded(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    (void)::fsync(fd);
    ::close(fd);
}

bool KUtils::entryExists(const QString& path) {
    struct stat info {};
    return ::lstat(encoded(path).constData(), &info) == 0;
}

std::optional<FileTime> KUtils::modificationTime(const QString& path) {
    struct stat info {};
    if (::stat(encoded(path).constData(), &info) != 0) return std::nullopt;
    return timeOf(info);
}

}  // namespace velumen
