// The notebook's entry point: settings, then the editor (the GL surface, the viewport and the touch path,
// in that order), then the gallery of the books folder ("Velumen" in the user's documents; books of the
// folder earlier versions used move there once), or the book named on the command line, opened where it is. A later launch hands its book to the running notebook and exits; a launch made
// while the running notebook closes waits for it to end and then opens its book itself. The book is saved in
// the background as it changes, when the window is hidden or minimised, and when the notebook quits: by its
// window closing, or by SIGTERM, SIGHUP (a logout) or SIGINT, which all take the same way out (a stroke still
// running is cancelled, every committed change is saved, the write is waited for, the exit status is 0).
// Keys choose the pen: E eraser, 1 fountain pen, 2 pencil, 3 brush, 4 hilighter; Ctrl+W closes the book,
// Ctrl+L locks or unlocks it.
// With --demo PATH it draws a page with every pen through the touch path, in a book of its own in a new
// temporary folder (never the user's books), writes a picture of the whole window to PATH and exits: for
// machines with no display. --script FILE plays a touch script once the book is open (the clock then
// follows the script) and goes on as usual.
// Options: --books DIR (the books folder), --resources DIR (the template and guide books), --settings FILE (the defaults store), --device tablet|phone,
// --instance NAME (the name the notebooks of one session meet under; one per user by default).
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QShortcut>
#include <QStackedWidget>
#include <QStandardPaths>
#include <QSurfaceFormat>
#include <QTemporaryDir>
#include <QTimer>
#include <QWindow>
#include <csignal>
#include <cstdio>

#include "app/BooksFolder.h"
#include "app/NotebookGallery.h"
#include "document/DisplayText.h"
#include "gallery/ui/GalleryView.h"
#include "ink/MemoryPolicy.h"
#include "objects/qt/QtImageCodec.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantGlobals.h"
#include "shell/FoliantViewController.h"
#include "shell/NotebookSession.h"
#include "shell/NotebookWindow.h"
#include "shell/QuitSignals.h"
#include "shell/SingleInstance.h"
#include "shell/TouchReplay.h"
#include "shell/UsageWiring.h"
#include "shell/images/ImageCommands.h"

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

// A line on stdout at once, for whoever watches the notebook (scripts, tests); names in it may come from
// anywhere, so their control characters are shown, not sent.
void say(const QString& text) {
    std::printf("velumen: %s\n", escapedForDisplay(text.toStdString()).c_str());
    std::fflush(stdout);
}

// Going to the background: hidden or minimised, and back; and the window closing, which starts the quit.
class ActivityWatcher : public QObject {
  public:
    ActivityWatcher(FoliantViewController& editor, QWidget& window) : editor_(editor), window_(window) {}
    std::function<void()> windowClosing;
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Close && windowClosing) windowClosing();
        const bool away = window_.isMinimized() || !window_.isVisible();
        if (event->type() == QEvent::WindowStateChange || event->type() == QEvent::Hide ||
            event->type() == QEvent::Show) {
            if (away && !editor_.isApplicationSuspended())
                editor_.applicationWillResignActive();
            else if (!away && editor_.isApplicationSuspended())
                editor_.applicationDidBecomeActive();
        }
        return QObject::eventFilter(watched, event);
    }

  private:
    FoliantViewController& editor_;
    QWidget& window_;
};

}  // namespace

int main(int argc, char** argv) {
    velumen::keepFreedMemoryForReuse();
    // Past a file-size limit a write fails with its reason instead of ending the notebook mid-save.
    std::signal(SIGXFSZ, SIG_IGN);
    QSurfaceFormat::setDefaultFormat(EAGLViewController::surfaceFormat());
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QCoreApplication::setAttribute(Qt::AA_CompressTabletEvents, false);
    QApplication app(argc, argv);
    QApplication::setApplicationName("Velumen");
    const QStringList args = QApplication::arguments();
    const QString demoPath = option(args, "--demo");
    const bool demo = !demoPath.isEmpty();
    const std::optional<DeviceProfile> forcedProfile =
        deviceProfileFromName(option(args, "--device").toStdString());

    // A script to play, read before anything is shown: a bad one ends the launch with its error.
    std::optional<TouchScript> script;
    if (const QString scriptPath = option(args, "--script"); !scriptPath.isEmpty()) {
        QFile file(scriptPath);
        std::string error;
        if (file.open(QIODevice::ReadOnly)) script = parseTouchScript(file.readAll(), error);
        else error = "no such file or not readable";
        if (!script) {
            std::fprintf(stderr, "velumen: %s: %s\n", qPrintable(scriptPath), error.c_str());
            return 2;
        }
    }

    // Settings first: everything after reads them.
    if (const QString settings = option(args, "--settings"); !settings.isEmpty())
        setDefaultsStorePath(settings);
    // The remote settings document (when the deployment names one) loads with the settings.
    if (!demo) loadRemoteSettingsWithSettings();
    FoliantGlobals& globals = FoliantGlobals::shared();

    QString booksDir = option(args, "--books");
    if (booksDir.isEmpty() && !demo) {
        booksDir = booksFolderIn(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
        const BooksMove move =
            moveBooksOnce(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/Books", booksDir);
        if (!move.moved.isEmpty()) say(QString("moved %1 books into %2").arg(move.moved.size()).arg(booksDir));
        for (const QString& name : move.skipped) say("left in the old books folder: " + name);
    }
    // The demo draws in a book of its own, kept after the run for a look: never in the user's books.
    if (demo) {
        QTemporaryDir demoDir(QDir(QDir::tempPath()).filePath("velumen-demo-XXXXXX"));
        if (!demoDir.isValid()) {
            std::fprintf(stderr, "velumen: no temporary folder for the demo's book\n");
            return 1;
        }
        demoDir.setAutoRemove(false);
        booksDir = demoDir.path();
        say("the demo draws in a book of its own in " + booksDir);
    }
    const QString handedBook = demo ? QString() : bookArgument(args);

    // One notebook per session; the demo stands alone.
    const QString instanceName = option(args, "--instance");
    SingleInstance instance(instanceName.isEmpty() ? SingleInstance::defaultName() : instanceName);
    if (!demo) {
        const auto launch = instance.handOverOrListen(handedBook, 30000, [] {
            say("waiting for the notebook that is starting or closing");
        });
        if (launch == SingleInstance::Launch::HandedOver) {
            say("the running notebook took over" + (handedBook.isEmpty() ? QString() : " " + handedBook));
            return 0;
        }
    }

    // Scripted strokes follow their own clock, so that every demo draws the same page.
    SteadyClock steadyClock;
    ManualClock scriptClock;
    const bool scripted = demo || script.has_value();
    const Clock& clock = scripted ? static_cast<const Clock&>(scriptClock) : static_cast<const Clock&>(steadyClock);
    FoliantViewController editor(globals, clock, forcedProfile);
    // The stationery of the user's own pictures lives beside the books.
    editor.images().customStationeryFolder = QDir(booksDir).filePath("Stationery");
    editor.setSavesSettingsInBackground(!demo);
    NotebookWindow window(editor);
    NotebookSession session(editor, booksDir);
    auto warn = [&window](const QString& text) {
        const QString shown = QString::fromStdString(escapedForDisplay(text.toStdString()));
        std::fprintf(stderr, "velumen: %s\n", qPrintable(shown));
        QMessageBox::warning(&window, "Velumen", shown);
    };
    if (!demo) session.showMessage = warn;
    instance.openRequested = [&](const QString& path) {
        window.showNormal();
        window.raise();
        window.activateWindow();
        if (!path.isEmpty()) session.openHandedOver(path);
    };

    // The gallery, first in the window; not in a scripted run (the demo, a touch script), which draws in the
    // book named or in the notebook of the books folder.
    QString resources = option(args, "--resources");
    if (resources.isEmpty()) resources = VELUMEN_BOOKS_DIR;
    const QString caches = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    std::unique_ptr<GalleryController> gallery;
    std::unique_ptr<GalleryView> galleryView;
    std::unique_ptr<NotebookGallery> shelf;
    if (!scripted) {
        QDir().mkpath(booksDir);
        gallery = std::make_unique<GalleryController>(KCloudGallery::Folders{booksDir, caches, resources},
                                                      globals.defaults().store());
        gallery->isTabletIdiom = forcedProfile.value_or(DeviceProfile::Tablet) == DeviceProfile::Tablet;
        gallery->viewDidLoad();
        galleryView = std::make_unique<GalleryView>(*gallery, window.stack());
        window.addGallery(galleryView.get(), {galleryView->newBookAction, galleryView->importAction,
                                              galleryView->openAction, galleryView->renameAction,
                                              galleryView->duplicateAction, galleryView->deleteAction,
                                              galleryView->findAction});
        shelf = std::make_unique<NotebookGallery>(editor, window, *galleryView);
        shelf->showMessage = warn;
    }

    // The quit, however it comes: no more hand-overs, and a stroke still running is dropped before the
    // window goes to the background and its book is saved.
    bool quitting = false;
    auto beginQuit = [&] {
        if (quitting) return;
        quitting = true;
        instance.stopListening();
        editor.view().router.cancelAllTouches();
        say("closing");
    };
    ActivityWatcher watcher(editor, window);
    watcher.windowClosing = beginQuit;
    window.installEventFilter(&watcher);
    QuitSignals quitSignals([&](int) {
        beginQuit();
        window.close();
        QApplication::quit();
    });

    // Run time, counters and start-up messages; a demo's use is not the user's.
    std::unique_ptr<UsageWiring> usage;
    if (!demo) usage = std::make_unique<UsageWiring>(editor, globals, steadyClock);
    window.resize(600, 750);
    window.show();
    if (usage) QTimer::singleShot(0, usage.get(), [&usage] { usage->viewDidAppear(); });
    editor.startDisplayLink();
    QString bookPath;
    bool scriptStarted = false;
    auto opened = [&](const QString& path) {
        bookPath = path;
        say("opened " + path);
        if (!scripted || scriptStarted) return;
        scriptStarted = true;
        QTimer::singleShot(0, &editor, [&] {
            if (script) {
                replayTouchScript(editor, scriptClock, *script);
                say("script played");
                return;
            }
            // The demo: the page drawn once the book is open, then a picture of the whole window.
            const QWidget& surface = *editor.touchTarget();
            const Size view{double(surface.width()), double(surface.height())};
            const Rect page = editor.session().viewport.viewRectFromEaglRect({0, 0, kPageSize.width, kPageSize.height});
            replaySteps(editor, scriptClock, demoSteps(view, page));
            editor.redrawAllLines();
            QTimer::singleShot(100, &editor, [&] {
                const QImage screen = editor.hasSurface() ? window.grab().toImage() : QImage();
                const bool shot = !screen.isNull() && screen.save(demoPath, "PNG");
                if (shot)
                    std::printf("screenshot: %s\n", qPrintable(demoPath));
                else
                    std::fprintf(stderr, "screenshot: %s could not be written%s\n", qPrintable(demoPath),
                                 editor.hasSurface() ? "" : " (no OpenGL context)");
                QApplication::exit(shot ? 0 : 1);
            });
        });
    };
    session.didOpen = opened;
    if (shelf) {
        shelf->didOpen = opened;
        shelf->didReturn = [&] {
            bookPath.clear();
            say("gallery");
        };
        shelf->start(handedBook);
    } else {
        session.start(handedBook);
    }

    const int status = QApplication::exec();
    beginQuit();
    editor.stopDisplayLink();
    const bool saved = session.quit();
    // Every write has ended: a launch waiting for this notebook may open the book now.
    instance.releaseLock();
    if (saved && !bookPath.isEmpty())
        std::printf("book: %s\n", qPrintable(bookPath));
    else if (!saved)
        std::fprintf(stderr, "book: %s could not be saved\n", qPrintable(bookPath));
    // The demo's pen colours are not the user's.
    if (!demo) globals.saveSettings();
    return status == 0 && saved ? 0 : 1;
}
