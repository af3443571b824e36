// The notebook's entry point: settings, then the editor (the GL surface, the viewport and the touch path,
// in that order), then a book: the one named on the command line, else the notebook of the books folder
// (made when there is none). A later launch hands its book to the running notebook and exits. The book is
// saved in the background as it changes, when the window is hidden or minimised, and when the notebook
// quits. Keys choose the pen: E eraser, 1 fountain pen, 2 pencil, 3 brush, 4 hilighter; Ctrl+W closes the
// book, Ctrl+L locks or unlocks it.
// With --demo PATH it plays a short built-in touch script through the touch path instead of waiting for a
// person, saves the book, writes a picture of the page to PATH and exits: for machines with no display.
// Options: --books DIR (the books folder), --settings FILE (the defaults store), --device tablet|phone.
#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QShortcut>
#include <QStandardPaths>
#include <QSurfaceFormat>
#include <QTimer>
#include <QWindow>
#include <cstdio>

#include "ink/MemoryPolicy.h"
#include "objects/qt/QtImageCodec.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantGlobals.h"
#include "shell/FoliantViewController.h"
#include "shell/NotebookSession.h"
#include "shell/SingleInstance.h"
#include "shell/TouchReplay.h"

namespace {

using namespace velumen;

QString option(const QStringList& args, const char* name) {
    const qsizetype at = args.indexOf(name);
    return at >= 0 && at + 1 < args.size() ? args[at + 1] : QString();
}

// The first argument that is neither an option nor an option's value: a book to open.
QString bookArgument(const QStringList& args) {
    for (qsizetype i = 1; i < args.size(); ++i) {
        if (args[i].startsWith("--")) {
            ++i;
            continue;
        }
        return QDir::current().absoluteFilePath(args[i]);
    }
    return {};
}

// Going to the background: hidden or minimised, and back.
class ActivityWatcher : public QObject {
  public:
    explicit ActivityWatcher(FoliantViewController& editor) : editor_(editor) {}
    bool eventFilter(QObject* watched, QEvent* event) override {
        const bool away = editor_.isMinimized() || !editor_.isVisible();
        if (event->type() == QEvent::WindowStateChange || event->type() == QEvent::Hide ||
            event->type() == QEvent::Show) {
            if (away && !editor_.isApplicationSuspended)
                editor_.applicationWillResignActive();
            else if (!away && editor_.isApplicationSuspended)
                editor_.applicationDidBecomeActive();
        }
        return QObject::eventFilter(watched, event);
    }

  private:
    FoliantViewController& editor_;
};

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
    const QString handedBook = bookArgument(args);

    // One notebook per session; the demo stands alone.
    SingleInstance instance;
    if (demoPath.isEmpty()) {
        if (instance.sendToRunning(handedBook)) {
            std::printf("velumen: the running notebook took over%s\n",
                        handedBook.isEmpty() ? "" : qPrintable(" " + handedBook));
            return 0;
        }
        instance.listen();
    }

    // The demo's strokes follow their own clock, so that every demo draws the same page.
    SteadyClock steadyClock;
    ManualClock demoClock;
    const Clock& clock = demoPath.isEmpty() ? static_cast<const Clock&>(steadyClock) : demoClock;
    FoliantViewController editor(globals, clock, forcedProfile);
    editor.savesSettingsInBackground = demoPath.isEmpty();
    NotebookSession session(editor, booksDir);
    if (demoPath.isEmpty())
        session.showMessage = [&editor](const QString& text) { QMessageBox::warning(&editor, "Velumen", text); };
    instance.openRequested = [&](const QString& path) {
        editor.showNormal();
        editor.raise();
        editor.activateWindow();
        if (!path.isEmpty()) session.openHandedOver(path);
    };
    ActivityWatcher watcher(editor);
    editor.installEventFilter(&watcher);
    auto* closeBook = new QShortcut(QKeySequence::Close, &editor);
    QObject::connect(closeBook, &QShortcut::activated, &editor, [&] {
        if (editor.dispatcher.touchMode == TouchModeNone) editor.closeDocumentAndReturnToGallery();
    });

    editor.resize(600, 750);
    editor.show();
    editor.startDisplayLink();
    QString bookPath;
    bool demoStarted = false;
    session.didOpen = [&](const QString& path) {
        bookPath = path;
        if (demoPath.isEmpty() || demoStarted) return;
        // The demo: the script once the book is open, then the picture of what the window shows.
        demoStarted = true;
        QTimer::singleShot(0, &editor, [&] {
            replaySteps(editor, demoClock,
                        demoSteps({double(editor.touchTarget()->width()), double(editor.touchTarget()->height())}));
            const QImage screen = editor.screenImage();
            const bool shot = !screen.isNull() && screen.save(demoPath, "PNG");
            if (shot)
                std::printf("screenshot: %s\n", qPrintable(demoPath));
            else
                std::fprintf(stderr, "screenshot: %s could not be written%s\n", qPrintable(demoPath),
                             editor.hasSurface() ? "" : " (no OpenGL context)");
            QApplication::exit(shot ? 0 : 1);
        });
    };
    session.start(handedBook);

    const int status = QApplication::exec();
    editor.stopDisplayLink();
    editor.sampler.cancelCurrentLine();
    const bool saved = session.quit();
    if (saved && !bookPath.isEmpty())
        std::printf("book: %s\n", qPrintable(bookPath));
    else if (!saved)
        std::fprintf(stderr, "book: %s could not be saved\n", qPrintable(bookPath));
    // The demo's pen colours are not the user's.
    if (demoPath.isEmpty()) globals.saveSettings();
    return status == 0 && saved ? 0 : 1;
}
