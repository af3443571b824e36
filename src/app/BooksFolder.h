// Where the notebook keeps its books: the folder "Velumen" in the user's documents, where people find and
// back up their files. Books kept by earlier versions in the application's data folder move there once, at
// the first start that finds them, each one copied whole and synced before its old file is removed.
#pragma once

#include <QString>
#include <QStringList>

namespace velumen {

// The books folder inside a documents folder.
QString booksFolderIn(const QString& documents);

struct BooksMove {
    QStringList moved;    // names now in the new folder
    QStringList skipped;  // names left behind: the new folder has a file of that name, or the move failed
};

// Moves every book ("*.velumen") of `oldFolder` into `newFolder` (made when missing), never replacing a
// file there; a book whose move fails stays where it was. Nothing happens when `oldFolder` has no books or
// is `newFolder`. The old folder is removed once empty.
BooksMove moveBooksOnce(const QString& oldFolder, const QString& newFolder);

}  // namespace velumen
