#include "shell/NotebookSession.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <cstdio>
#include <memory>

#include "document/DisplayText.h"
#include "shell/BookFile.h"
#include "shell/FoliantViewController.h"

namespace velumen {

NotebookSession::NotebookSession(FoliantViewController& editor, QString booksFolder, QObject* parent)
    : QObject(parent), editor_(editor), booksFolder_(std::move(booksFolder)) {
    showMessage = [](const QString& text) { std::fprintf(stderr, "%s\n", qPrintable(text)); };
    editor_.returnToGallery = [this] { start(); };
    editor_.openHandedOverFile = [this](const QString& path) { open(path); };
}

QString NotebookSession::defaultBookPath() const {
    return QDir(booksFolder_).filePath("Notebook.velumen");
}

QString NotebookSession::freshBookPath() const {
    for (int n = 2;; ++n) {
        const QString path = QDir(booksFolder_).filePath(QString("Notebook %1.velumen").arg(n));
        if (!QFileInfo::exists(path)) return path;
    }
}

void NotebookSession::start(const QString& path) {
    if (!path.isEmpty()) {
        open(path);
        return;
    }
    QString book = defaultBookPath();
    if (!QFileInfo::exists(book)) {
        QDir().mkpath(booksFolder_);
        std::string error;
        if (!writeBook(*newOnePageBook(), book, codec_, error)) {
            tell(QString::fromStdString(error));
            return;
        }
    }
    open(book);
}

void NotebookSession::openHandedOver(const QString& path) {
    editor_.handleApplicationOpenUrl(path, false);
}

QString NotebookSession::refusalMessage(const QString& path) {
    const QFileInfo file(path);
    const QString name = file.fileName();
    if (!file.exists())
        return QString("\u201C%1\u201D could not be opened: no such file (%2).").arg(name, file.absolutePath());
    if (file.isDir()) return QString("\u201C%1\u201D could not be opened: it is a folder, not a book.").arg(name);
    if (!file.isReadable())
        return QString("\u201C%1\u201D could not be opened: you may not read this file.").arg(name);
    return QString("\u201C%1\u201D could not be opened: it is not a book this notebook can read. "
                   "The file was left as it is.")
        .arg(name);
}

void NotebookSession::open(const QString& path) {
    editor_.loadDocumentFromFile(path, [this, path](bool success) {
        if (success) {
            if (didOpen) didOpen(path);
            return;
        }
        tell(refusalMessage(path));
        // Back to a book that opens: the notebook of the books folder, or a new one beside it when that
        // notebook itself is what failed.
        // (By path: two files that do not exist compare equal as file infos.)
        if (QFileInfo(path).absoluteFilePath() != QFileInfo(defaultBookPath()).absoluteFilePath()) {
            start();
            return;
        }
        const QString fresh = freshBookPath();
        QDir().mkpath(booksFolder_);
        std::string error;
        if (writeBook(*newOnePageBook(), fresh, codec_, error))
            open(fresh);
        else
            tell(QString::fromStdString(error));
    });
}

void NotebookSession::tell(const QString& text) {
    if (showMessage) showMessage(QString::fromStdString(escapedForDisplay(text.toStdString())));
}

bool NotebookSession::quit() {
    // A stroke still running is dropped, as when the system takes a touch away; every committed one stays.
    editor_.view().router.cancelAllTouches();
    // A window already closed went to the background as it went: its save is under way.
    if (!editor_.isApplicationSuspended()) editor_.applicationWillResignActive();
    if (!editor_.document()) return true;
    auto closed = std::make_shared<std::optional<bool>>();
    editor_.closeDocumentWithCompletion([closed](bool success) { *closed = success; });
    FoliantDocument::waitForAllWrites();
    // The answer comes through the event loop once the write has ended.
    QElapsedTimer clock;
    clock.start();
    while (!closed->has_value() && clock.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return closed->value_or(false);
}

}  // namespace velumen
