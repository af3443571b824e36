#include "shell/FoliantViewController.h"

#include <QEvent>
#include <QKeySequence>
#include <QLabel>
#include <QShortcut>
#include <QVBoxLayout>
#include <cmath>

namespace velumen {

FoliantViewController::FoliantViewController(FoliantGlobals& globals_, const Clock& clock,
                                             std::optional<DeviceProfile> forcedProfile, QWidget* parent)
    : QWidget(parent),
      globals(globals_),
      sampler(editor, clock),
      dispatcher(sampler, viewport, globals_),
      router(dispatcher, viewport),
      forcedProfile_(forcedProfile),
      displayLink_([this] {
          syncCompositor();
          compositor.drawFrame();
      }) {
    setWindowTitle("Velumen");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    eaglFrame_ = new QWidget(this);
    layout->addWidget(eaglFrame_);

    sampler.usePenSettings(0, globals.penTables);
    editor.hooks().eraseView = [this] { compositor.isFrameUpdateNeeded = true; };
    editor.hooks().forgetCurrentLine = [this] { sampler.cancelCurrentLine(); };
    editor.hooks().registerDocumentChange = [this] { showPageInk(); };
    dispatcher.hooks.pageInkReplaced = [this] { showPageInk(); };
    eraser.setFrameUpdateNeeded = [this] { compositor.isFrameUpdateNeeded = true; };
    dispatcher.hooks.eraseAtPoint = [this](Point p) {
        eraser.isErasingSelectedColor = globals.isErasingSelectedColor;
        eraser.currentLineColor = sampler.currentLineColor;
        eraser.eraseAtPoint(p);
    };
    dispatcher.hooks.endErasing = [this](const KVSPointSetArrayPtr& snapshot) {
        eraser.endErasing(snapshot);
        showPageInk();
    };
    dispatcher.hooks.setFrameUpdateNeeded = [this] { showPageInk(); };
    dispatcher.hooks.deleteInkSnapshotTexture = [this] { compositor.deleteInkSnapshotTexture(); };
    sampler.setFrameUpdateNeeded = [this] { compositor.isFrameUpdateNeeded = true; };
    viewport.redrawAllLines = [this] { redrawAllLines(); };
    router.didRouteEvent = [this] { editor.endUndoGrouping(); };
    dispatcher.isPencilConnected = stylusDetector.isPencilConnected();
    stylusDetector.didChangeState = [this](StylusDetector& d) { dispatcher.isPencilConnected = d.isPencilConnected(); };

    if (surface.viewDidLoad()) {
        canvas_ = surface.createWidget(eaglFrame_);
        compositor.initializeEagl(canvas_->devicePixelRatioF());
        compositor.loadFixedTextures();
        sampler.renderer = &compositor;
        router.attach(canvas_);
        // Overshoot moves the surface inside its frame.
        viewport.setSurfaceTranslation = [this](Point t) {
            canvas_->setGeometry(
                QRect(QPoint(int(std::lround(t.x)), int(std::lround(t.y))), eaglFrame_->size()));
        };
        surface.eaglView().eaglViewDidLayoutSubViews = [this] { compositor.isFrameUpdateNeeded = true; };
    } else {
        auto* label =
            new QLabel("<p>No OpenGL 3.3 context could be made: pages cannot be shown.</p>", eaglFrame_);
        label->setAlignment(Qt::AlignCenter);
        router.attach(eaglFrame_);
    }
    eaglFrame_->installEventFilter(this);

    // Pens by key, with the width last used for each; undo and redo.
    const std::pair<const char*, int> penKeys[] = {{"E", 0}, {"1", 1}, {"2", 2}, {"3", 3}, {"4", 4}};
    for (const auto& [key, index] : penKeys) {
        auto* shortcut = new QShortcut(QKeySequence(key), this);
        connect(shortcut, &QShortcut::activated, this, [this, index = index] {
            if (dispatcher.touchMode == TouchModeNone) setPenTypeIndex(index);
        });
    }
    auto* undo = new QShortcut(QKeySequence::Undo, this);
    connect(undo, &QShortcut::activated, this, [this] {
        if (dispatcher.touchMode == TouchModeNone && editor.undoManager()) editor.undoManager()->undo();
    });
    auto* redo = new QShortcut(QKeySequence::Redo, this);
    connect(redo, &QShortcut::activated, this, [this] {
        if (dispatcher.touchMode == TouchModeNone && editor.undoManager()) editor.undoManager()->redo();
    });
}

FoliantViewController::~FoliantViewController() {
    displayLink_.invalidate();
    sampler.renderer = nullptr;
    sampler.cancelCurrentLine();
    eaglFrame_->removeEventFilter(this);
}

QWidget* FoliantViewController::touchTarget() const {
    return canvas_ ? canvas_ : eaglFrame_;
}

void FoliantViewController::openBook(FoliantDataPtr book) {
    sampler.cancelCurrentLine();
    book_ = std::move(book);
    if (book_ && book_->pages().empty()) {
        book_->pages().push_back(FoliantData::createNewPage());
        book_->setPageNum(0);
    }
    if (book_ && !book_->pointSets()) book_->setPointSets(std::make_shared<KVSPointSetArray>());
    if (book_) editor.setCurrentPage(book_->currentPage());
    viewport.document = book_.get();
    dispatcher.document = book_.get();
    dispatcher.isPencilConnected = stylusDetector.updateState();
    needsDocumentLayout_ = true;
    if (eaglFrame_->width() > 0 && eaglFrame_->height() > 0)
        layoutForSize({double(eaglFrame_->width()), double(eaglFrame_->height())});
    showPageInk();
}

void FoliantViewController::showPageInk() {
    compositor.pointSets = book_ && book_->pointSets() ? book_->pointSets() : std::make_shared<KVSPointSetArray>();
    compositor.isFrameUpdateNeeded = true;
}

void FoliantViewController::syncCompositor() {
    compositor.zoomFactor = viewport.zoomFactor;
    compositor.inkPanDelta = viewport.inkPanDelta;
}

void FoliantViewController::redrawAllLines() {
    syncCompositor();
    if (canvas_) compositor.redrawAllLines();
}

bool FoliantViewController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == eaglFrame_ && event->type() == QEvent::Resize)
        layoutForSize({double(eaglFrame_->width()), double(eaglFrame_->height())});
    return QWidget::eventFilter(watched, event);
}

void FoliantViewController::layoutForSize(Size size) {
    const QSize pixels(int(std::lround(size.width)), int(std::lround(size.height)));
    if (isHidden()) {
        // A hidden widget gets no resize events until it is shown: lay the surface out by hand.
        if (this->size() != pixels) resize(pixels);
        eaglFrame_->setGeometry(QRect(QPoint(0, 0), pixels));
    }
    if (canvas_) {
        canvas_->setGeometry(QRect(QPoint(0, 0), pixels));
        surface.eaglView().layoutSubviews(size);
    }
    viewport.profile = forcedProfile_.value_or(deviceProfileForViewSize(size));
    viewport.layoutForFrameSize(size);
    if (needsDocumentLayout_ && book_) {
        viewport.handleDocumentChanged();
        needsDocumentLayout_ = false;
    }
    syncCompositor();
    compositor.isFrameUpdateNeeded = true;
}

void FoliantViewController::setPenTypeIndex(int index) {
    sampler.setPenTypeIndex(index, globals.penWidths()[std::size_t(index)], globals.penTables);
}

QImage FoliantViewController::screenImage() {
    if (!canvas_) return {};
    redrawAllLines();
    return compositor.getThumbnailImage();
}

void FoliantViewController::startDisplayLink() {
    displayLink_.start(screen());
}

}  // namespace velumen
