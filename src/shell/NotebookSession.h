// The notebook's books until books are chosen from a gallery: one book at a time, the one handed over on the
// command line or by a later launch, else the notebook in the books folder (made when there is none). A
// closed book gives way to that notebook again. A file that is missing or not a readable book is refused with
// a message saying which, and left as it is.
#pragma once

#include <QObject>
#include <QString>
#include <functional>

#include "objects/qt/QtImageCodec.h"

namespace velumen {

class FoliantViewController;

class NotebookSession : public QObject {
  public:
    NotebookSession(FoliantViewController& editor, QString booksFolder, QObject* parent = nullptr);

    // The book kept in the books folder.
    QString defaultBookPath() const;
    // Opens the book at `path`, or the default one for an empty path.
    void start(const QString& path = {});
    // Another book, handed over while one is open: the open one is saved and closed first.
    void openHandedOver(const QString& path);
    // The application quits: a stroke still running is cancelled, the book is saved as for going to the
    // background (unless the window already went there), closed, and its write waited for. True when every
    // write succeeded.
    bool quit();
    // What the user is told when the file at `path` does not open: missing, a folder, unreadable, or not a
    // readable book.
    static QString refusalMessage(const QString& path);

    // A message for the user (a refused file); by default printed on stderr. File names and reasons in it
    // have their control characters escaped: a hostile name shows as one line of visible text.
    std::function<void(const QString&)> showMessage;
    // A book is open in the editor (the path it came from).
    std::function<void(const QString&)> didOpen;

  private:
    void open(const QString& path);
    // Shows `text` through showMessage with its control characters escaped.
    void tell(const QString& text);
    // A path in the books folder that holds no file yet, for a new notebook.
    QString freshBookPath() const;

    FoliantViewController& editor_;
    QtImageCodec codec_;
    QString booksFolder_;
};

}  // namespace velumen
