// The notebook's entry point: settings, then the editor (the GL surface, the viewport and the touch path,
// in that order), then one book from the books folder (a one-page book when there is none) that is written
// back when the window closes. Keys choose the pen: E eraser, 1 fountain pen, 2 pencil, 3 brush, 4 hilighter.
// With --demo PATH it plays a short built-in touch script through the touch path instead of waiting for a
// person, saves the book, writes a picture of the page to PATH and exits: for machines with no display.
// Options: --books DIR (the books folder), --settings FILE (the defaults store), --device tablet|phone.
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QStandardPaths>
#include <QSurfaceFormat>
#include <QTimer>
#include <cstdio>

#include "ink/MemoryPolicy.h"
#include "objects/qt/QtImageCodec.h"
#include "shell/BookFile.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantGlobals.h"
#include "shell/FoliantViewController.h"
#include "shell/TouchReplay.h"

namespace {

using namespace velumen;

QString option(const QStringList& args, const char* name) {
    const qsizetype at = args.indexOf(name);
    return at >= 0 && at + 1 < args.size() ? args[at + 1] : QString();
}

}  // namespace

int main(int argc, char** argv) {
    velumen::keepFreedMemoryForReuse();
    QSurfaceFormat::setDefaultFormat(EAGLViewController::surfaceFormat());
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QCoreApplication::setAttribute(Qt::AA_CompressTabletEvents, false);
    QApplication app(argc, argv);
    QApplication::setApplicationName("Velumen");
    const QStringList args = QApplication::arguments();
    const QString demoPath = option(args, "--demo");
    const std::optional<DeviceProfile> forcedProfile =
        deviceProfileFromName(option(args, "--device").toStdString());

    // Settings first: everything after reads them.
    if (const QString settings = option(args, "--settings"); !settings.isEmpty())
        setDefaultsStorePath(settings);
    FoliantGlobals& globals = FoliantGlobals::shared();

    QString booksDir = option(args, "--books");
    if (booksDir.isEmpty())
        booksDir = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/Books";
    QDir().mkpath(booksDir);
    const QString bookPath = booksDir + "/Notebook.velumen";
    QtImageCodec codec;
    std::string error;
    FoliantDataPtr book = readBook(bookPath, codec, error);
    if (!book) {
        std::fprintf(stderr, "%s; a new book is used and the file is kept as %s.unreadable\n", error.c_str(),
                     qPrintable(bookPath));
        QFile::rename(bookPath, bookPath + ".unreadable");
        book = newOnePageBook();
    }

    // The demo's strokes follow their own clock, so that every demo draws the same page.
    SteadyClock steadyClock;
    ManualClock demoClock;
    const Clock& clock = demoPath.isEmpty() ? static_cast<const Clock&>(steadyClock) : demoClock;
    FoliantViewController editor(globals, clock, forcedProfile);
    editor.openBook(book);
    editor.resize(600, 750);
    editor.show();
    editor.startDisplayLink();

    if (!demoPath.isEmpty()) {
        // Once the window is up: the script, then the picture of what the window shows.
        QTimer::singleShot(0, [&] {
            replaySteps(editor, demoClock,
                        demoSteps({double(editor.touchTarget()->width()), double(editor.touchTarget()->height())}));
            const QImage screen = editor.screenImage();
            const bool saved = !screen.isNull() && screen.save(demoPath, "PNG");
            if (saved)
                std::printf("screenshot: %s\n", qPrintable(demoPath));
            else
                std::fprintf(stderr, "screenshot: %s could not be written%s\n", qPrintable(demoPath),
                             editor.hasSurface() ? "" : " (no OpenGL context)");
            QApplication::exit(saved ? 0 : 1);
        });
    }
    const int status = QApplication::exec();
    editor.stopDisplayLink();
    editor.sampler.cancelCurrentLine();
    const bool saved = writeBook(*book, bookPath, codec, error);
    if (saved)
        std::printf("book: %s\n", qPrintable(bookPath));
    else
        std::fprintf(stderr, "book: %s\n", error.c_str());
    // The demo's pen colours are not the user's.
    if (demoPath.isEmpty()) globals.saveSettings();
    return status == 0 && saved ? 0 : 1;
}
