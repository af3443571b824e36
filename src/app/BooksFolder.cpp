// The books folder and the one move of books from the folder earlier versions used.
#include "app/BooksFolder.h"

#include <QDir>
#include <QFileInfo>

#include "gallery/KUtils.h"

namespace velumen {

QString booksFolderIn(const QString& documents) {
    return QDir(documents).filePath(QStringLiteral("Velumen"));
}

BooksMove moveBooksOnce(const QString& oldFolder, const QString& newFolder) {
    BooksMove result;
    const QDir old(oldFolder);
    if (!old.exists() || QFileInfo(oldFolder).canonicalFilePath() == QFileInfo(newFolder).canonicalFilePath())
        return result;
    const QStringList books =
        old.entryList({QStringLiteral("*.velumen")}, QDir::Files | QDir::Hidden, QDir::Name);
    if (books.isEmpty()) return result;
    KUtils::ensureDirectoryExists(newFolder);
    for (const QString& name : books) {
        const QString target = QDir(newFolder).filePath(name);
        // A rename where both folders share a file system; else a copy synced whole before the old file goes.
        if (!KUtils::entryExists(target) && KUtils::moveFileSafely(old.filePath(name), target))
            result.moved << name;
        else
            result.skipped << name;
    }
    old.rmdir(oldFolder);
    return result;
}

}  // namespace velumen
