// The notebook's entry point: settings, the GL surface, the viewport and the touch path, in that order,
// then one book from the books folder (made from a one-page book when there is none) that is written back
// when the window closes. Keys choose the pen: E eraser, 1 fountain pen, 2 pencil, 3 brush, 4 hilighter.
// With --demo PATH it saves a picture of the window to PATH and exits, for machines with no display.
// Options: --books DIR (the books folder), --settings FILE (the defaults store), --device tablet|phone.
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QKeySequence>
#include <QLabel>
#include <QSaveFile>
#include <QShortcut>
#include <QStandardPaths>
#include <QSurfaceFormat>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>
#include <cstdio>

#include "document/FoliantData.h"
#include "document/KeyedArchive.h"
#include "document/PageInkEditor.h"
#include "ink/MemoryPolicy.h"
#include "ink/StrokeSampler.h"
#include "input/EditorViewport.h"
#include "input/TouchDispatcher.h"
#include "input/TouchRouter.h"
#include "objects/qt/QtImageCodec.h"
#include "render/DisplayLink.h"
#include "render/EAGLViewController.h"
#include "render/PageCompositor.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantGlobals.h"

namespace {

using namespace velumen;

QString option(const QStringList& args, const char* name) {
    const qsizetype at = args.indexOf(name);
    return at >= 0 && at + 1 < args.size() ? args[at + 1] : QString();
}

// The book in the folder, or a new one-page book when there is none or it cannot be read.
FoliantDataPtr openBook(const QString& path, const ImageCodec& codec) {
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        const QByteArray bytes = file.readAll();
        try {
            auto book = unarchiveFoliantData(
                {reinterpret_cast<const std::uint8_t*>(bytes.constData()), std::size_t(bytes.size())},
                &codec);
            if (book && !book->pages().empty()) return book;
        } catch (const ArchiveError& error) {
            std::fprintf(stderr, "%s could not be read (%s); a new book is used and the file is kept.\n",
                         qPrintable(path), error.what());
            QFile::rename(path, path + ".unreadable");
        }
    }
    auto book = std::make_shared<FoliantData>();
    book->pages().push_back(FoliantData::createNewPage());
    book->setPageNum(0);
    return book;
}

bool saveBook(FoliantData& book, const QString& path, const ImageCodec& codec) {
    try {
        const std::vector<std::uint8_t> bytes = archivedDataWithRootObject(book, &codec);
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly)) return false;
        file.write(reinterpret_cast<const char*>(bytes.data()), qint64(bytes.size()));
        return file.commit();
    } catch (const ArchiveError&) {
        return false;
    }
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
    FoliantDataPtr book = openBook(bookPath, codec);

    // The surface, the page's ink and its undo, the stroke engine, the viewport and the touch path.
    EAGLViewController surface;
    PageCompositor compositor(surface.eaglView());
    PageInkEditor editor;
    editor.setCurrentPage(book->currentPage());
    if (!book->pointSets()) book->setPointSets(std::make_shared<KVSPointSetArray>());
    SteadyClock clock;
    StrokeSampler sampler(editor, clock);
    EditorViewport viewport;
    TouchDispatcher dispatcher(sampler, viewport, globals);
    TouchRouter router(dispatcher, viewport);
    viewport.document = book.get();
    dispatcher.document = book.get();
    sampler.usePenSettings(0, globals.penTables);

    auto showPageInk = [&] {
        compositor.pointSets = book->pointSets();
        compositor.isFrameUpdateNeeded = true;
    };
    editor.hooks().eraseView = [&] { compositor.isFrameUpdateNeeded = true; };
    editor.hooks().forgetCurrentLine = [&] { sampler.cancelCurrentLine(); };
    editor.hooks().registerDocumentChange = showPageInk;
    dispatcher.hooks.pageInkReplaced = showPageInk;
    dispatcher.hooks.setFrameUpdateNeeded = showPageInk;
    dispatcher.hooks.deleteInkSnapshotTexture = [&] { compositor.deleteInkSnapshotTexture(); };
    sampler.setFrameUpdateNeeded = [&] { compositor.isFrameUpdateNeeded = true; };
    viewport.redrawAllLines = [&] {
        compositor.zoomFactor = viewport.zoomFactor;
        compositor.inkPanDelta = viewport.inkPanDelta;
        compositor.redrawAllLines();
    };
    router.didRouteEvent = [&] { editor.endUndoGrouping(); };

    QWidget window;
    window.setWindowTitle("Velumen");
    auto* layout = new QVBoxLayout(&window);
    layout->setContentsMargins(0, 0, 0, 0);
    QWidget* eaglFrame = new QWidget(&window);
    layout->addWidget(eaglFrame);
    QWidget* canvas = nullptr;
    if (surface.viewDidLoad()) {
        canvas = surface.createWidget(eaglFrame);
        compositor.initializeEagl(canvas->devicePixelRatioF());
        compositor.loadFixedTextures();
        sampler.renderer = &compositor;
        router.attach(canvas);
        // Overshoot moves the surface inside its frame.
        viewport.setSurfaceTranslation = [&](Point t) {
            canvas->setGeometry(
                QRect(QPoint(int(std::lround(t.x)), int(std::lround(t.y))), eaglFrame->size()));
        };
        surface.eaglView().eaglViewDidLayoutSubViews = [&] { compositor.isFrameUpdateNeeded = true; };
        showPageInk();
    } else {
        auto* label =
            new QLabel("<p>No OpenGL 3.3 context could be made: pages cannot be shown.</p>", eaglFrame);
        label->setAlignment(Qt::AlignCenter);
    }

    // Layout: the device profile from the size (or the switch), the limits, and the book's pan and zoom.
    struct FrameWatcher : QObject {
        std::function<void()> resized;
        bool eventFilter(QObject*, QEvent* e) override {
            if (e->type() == QEvent::Resize && resized) resized();
            return false;
        }
    } watcher;
    bool firstLayout = true;
    watcher.resized = [&] {
        const Size size{double(eaglFrame->width()), double(eaglFrame->height())};
        viewport.profile = forcedProfile.value_or(deviceProfileForViewSize(size));
        if (canvas) canvas->setGeometry(eaglFrame->rect());
        viewport.layoutForFrameSize(size);
        if (firstLayout) {
            viewport.handleDocumentChanged();
            firstLayout = false;
        }
        compositor.zoomFactor = viewport.zoomFactor;
        compositor.inkPanDelta = viewport.inkPanDelta;
        compositor.isFrameUpdateNeeded = true;
    };
    eaglFrame->installEventFilter(&watcher);

    // Pens by key, with the width last used for each.
    const std::pair<const char*, int> penKeys[] = {{"E", 0}, {"1", 1}, {"2", 2}, {"3", 3}, {"4", 4}};
    for (const auto& [key, index] : penKeys) {
        auto* shortcut = new QShortcut(QKeySequence(key), &window);
        QObject::connect(shortcut, &QShortcut::activated, [&, index = index] {
            if (dispatcher.touchMode != TouchModeNone) return;
            sampler.setPenTypeIndex(index, globals.penWidths()[std::size_t(index)], globals.penTables);
        });
    }
    auto* undo = new QShortcut(QKeySequence::Undo, &window);
    QObject::connect(undo, &QShortcut::activated, [&] {
        if (dispatcher.touchMode == TouchModeNone && editor.undoManager()) editor.undoManager()->undo();
    });
    auto* redo = new QShortcut(QKeySequence::Redo, &window);
    QObject::connect(redo, &QShortcut::activated, [&] {
        if (dispatcher.touchMode == TouchModeNone && editor.undoManager()) editor.undoManager()->redo();
    });

    DisplayLink displayLink([&] {
        compositor.zoomFactor = viewport.zoomFactor;
        compositor.inkPanDelta = viewport.inkPanDelta;
        compositor.drawFrame();
    });
    window.resize(600, 750);
    window.show();
    displayLink.start(window.screen());

    if (!demoPath.isEmpty()) {
        QTimer::singleShot(400, [&] {
            const bool saved = window.grab().save(demoPath, "PNG");
            std::printf("screenshot: %s\n", saved ? qPrintable(demoPath) : "(could not be written)");
            QApplication::exit(saved ? 0 : 1);
        });
    }
    const int status = QApplication::exec();
    displayLink.invalidate();
    sampler.cancelCurrentLine();
    const bool saved = saveBook(*book, bookPath, codec);
    std::printf("book: %s%s\n", qPrintable(bookPath), saved ? "" : " (could not be written)");
    globals.saveSettings();
    return status == 0 && saved ? 0 : 1;
}
