#include "shell/FoliantViewController.h"

#include <QFileInfo>
#include <QMenu>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include "remote/FLDiagnostics.h"
#include "shell/images/ImageCommands.h"
#include "shell/pages/PageIcons.h"
#include "shell/palette/EyeDropperBar.h"

namespace velumen {

FoliantViewController::FoliantViewController(FoliantGlobals& globals, const Clock& clock,
                                             std::optional<DeviceProfile> forcedProfile, QWidget* parent)
    : QWidget(parent), session_(globals, clock) {
    setWindowTitle("Velumen");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    window_ = new EditorWindow(this);
    layout->addWidget(window_);
    view_ = new EditorView(session_, forcedProfile, this);
    layout->addWidget(view_, 1);
    for (QAction* action : window_->allActions())
        addAction(action);

    // Whatever changed the book (a touch, a key, a menu, a timer), its effects are applied and its undo
    // group closes with this turn of the event loop: one user action, one undo step.
    session_.editor.hooks().needsSettling = [this] {
        if (settleQueued_) return;
        settleQueued_ = true;
        QMetaObject::invokeMethod(this, [this] { settle(); }, Qt::QueuedConnection);
    };
    view_->router.didRouteEvent = [this](const EditorEffects& effects) {
        applyEffects(effects);
        session_.editor.endUndoGrouping();
    };
    session_.stylusDetector.didChangeState = [this](StylusDetector& d) {
        session_.dispatcher.isPencilConnected = d.isPencilConnected();
        updateStylusView();
    };
    // Swipes in from the edges turn pages on a phone; the stroke they interrupt is dropped at once.
    session_.edgeSwipes.edgePanned = [this](ScreenEdgeSwipes::Edge edge) {
        applyEffects(session_.dispatcher.cancelGesture());
        redrawAllLines();
        if (edge == ScreenEdgeSwipes::Edge::Right)
            nextPageButtonTapped();
        else
            previousPageButtonTapped();
    };
    // Input, the wrist guard and the stylus button follow the settings as they change.
    connect(&globals, &FoliantGlobals::changed, this, [this] {
        view_->applyProfile();
        updateStylusView();
    });
    eyeDropperToolbar_ = new EyeDropperBar(window_->eyeDropperDoneAction, this);
    makeTextBoxEditor();
    connectCommands();
    images_ = new ImageCommands(*this);
    updateStylusView();
    updateUndoToolbarButtons();
    updatePenToolbarIcon();
}

FoliantViewController::~FoliantViewController() {
    session_.editor.hooks().needsSettling = nullptr;
    session_.edgeSwipes.edgePanned = nullptr;
    session_.stylusDetector.didChangeState = nullptr;
    delete images_;
    images_ = nullptr;
    // The view refers to the session, a member: it goes first.
    // The view refers to the session, a member: it goes first, with the text editor over its surface.
    textBoxEditor_ = nullptr;
    delete view_;
    view_ = nullptr;
}

void FoliantViewController::connectCommands() {
    EditorWindow& w = *window_;
    connect(w.undoAction, &QAction::triggered, this, [this] { undoButtonTapped(); });
    connect(w.redoAction, &QAction::triggered, this, [this] { redoButtonTapped(); });
    connect(w.nextPageAction, &QAction::triggered, this, [this] { nextPageButtonTapped(); });
    connect(w.previousPageAction, &QAction::triggered, this, [this] { previousPageButtonTapped(); });
    connect(w.pagesAction, &QAction::triggered, this, [this] {
        if (pageNavigator_) pageNavigator_->titleButtonTapped(window_->titleButton());
    });
    connect(w.stylusAction, &QAction::triggered, this, [this] { stylusTapped(); });
    connect(w.unlockAction, &QAction::triggered, this, [this] { unlockBttonTapped(); });
    connect(w.toggleLockAction, &QAction::triggered, this, [this] { toggleLockTapped(); });
    connect(w.settingsAction, &QAction::triggered, this, [this] { showInputSettings(); });
    connect(w.undoMenuTimer(), &QTimer::timeout, this, [this] { showUndoRedoMenu(); });
    connect(w.penPaletteAction, &QAction::triggered, this, [this] { penButtonTapped(); });
    connect(w.editColorAction, &QAction::triggered, this, [this] { editPenColorTapped(); });
    connect(w.eyeDropperAction, &QAction::triggered, this, [this] { eyeDropperTapped(); });
    connect(w.eyeDropperDoneAction, &QAction::triggered, this, [this] { eyeDropperDoneTapped(); });
    connect(w.thinnerAction, &QAction::triggered, this, [this] { stepPenWidth(-1); });
    connect(w.thickerAction, &QAction::triggered, this, [this] { stepPenWidth(1); });
    connect(w.insertTextBoxAction, &QAction::triggered, this, [this] { insertTextBox(); });
    for (std::size_t i = 0; i < w.penActions.size(); ++i) {
        connect(w.penActions[i], &QAction::triggered, this, [this, index = int(i)] {
            // The keys stand for the pen button, which a locked book does not show.
            if (!session_.isGestureRunning() && !isBookLocked() && !session_.isEditingText) setPenTypeIndex(index);
        });
    }
}

void FoliantViewController::applyEffects(EditorEffects effects) {
    effects |= session_.editor.takeEffects();
    if (effects.strokeDropped) {
        session_.sampler.cancelCurrentLine();
        view_->compositor.deleteInkSnapshotTexture();
    }
    if (effects.inkReplaced) view_->showPageInk();
    if (effects.repaint) view_->compositor.isFrameUpdateNeeded = true;
    if (effects.pageMoved) view_->redrawAllLines();
    view_->followSurfaceTranslation();
    if (effects.inkReplaced || effects.repaint) ++appliedCounts_.repaintsAsked;
    if (effects.bookChanged) registerDocumentChange();
    if (effects.undoChanged) updateUndoToolbarButtons();
    if (effects.viewMoved) view_->showPositionSatelliteView();
    if (effects.gestureEnded) view_->hidePositionSatelliteView();
    if (effects.stylusRefused) window_->flashStylusButton();
    if (effects.colorPicked) eyeDropPickedColor();
    if (images_) images_->afterEffects(effects);
    applyTextEffects(effects);
    view_->showToolOverlay(session_.dispatcher.currentTool());
}

void FoliantViewController::settle() {
    settleQueued_ = false;
    session_.editor.endUndoGrouping();
    applyEffects({});
}

void FoliantViewController::openBook(FoliantDataPtr book) {
    session_.setBook(std::move(book));
    makePageNavigator();
    session_.dispatcher.isPencilConnected = session_.stylusDetector.updateState();
    updateStylusView();
    view_->setNeedsDocumentLayout();
    if (view_->width() > 0 && view_->height() > 0)
        view_->layoutForSize({double(view_->width()), double(view_->height())});
    applyEffects(EditorEffects::newInk());
}

void FoliantViewController::layoutForSize(Size size) {
    const QSize pixels(int(std::lround(size.width)), int(std::lround(size.height)));
    if (isHidden()) {
        // A hidden widget gets no resize events until it is shown: lay the surface out by hand.
        if (this->size() != pixels) resize(pixels);
        view_->setGeometry(QRect(QPoint(0, 0), pixels));
    }
    view_->layoutForSize(size);
}

void FoliantViewController::setToolbarLocked(bool locked) {
    toolbarLocked_ = locked;
    updateUnlockView();
}

void FoliantViewController::setPenTypeIndex(int index) {
    session_.setPenTypeIndex(index);
    updatePenToolbarIcon();
    if (penPalette_) {
        penPalette_->setPenWidths(session_.globals.penWidths());
        penPalette_->setPenTypeIndex(index);
        penPalette_->setSelectedColor(session_.currentLineColor());
    }
}

void FoliantViewController::makePageNavigator() {
    pageNavigator_.reset();
    if (!book()) {
        window_->pagesAction->setIconText("");
        return;
    }
    PageNavigatorHooks h;
    h.isGestureRunning = [this] { return session_.isGestureRunning(); };
    h.getThumbnailImage = [this] { return withTextBoxes(view_->compositor.getThumbnailImage(), true); };
    h.getThumbnailForPage = [this](const FoliantPage& page, Size size) {
        return withTextBoxes(view_->compositor.getThumbnailForPage({page.pointSets, page.images}, size), false, &page);
    };
    h.redrawAllLines = [this] { redrawAllLines(); };
    h.currentPageChanged = [this] {
        session_.sampler.cancelCurrentLine();
        applyEffects(EditorEffects::newInk());
    };
    h.registerDocumentChange = [this] { registerDocumentChange(); };
    h.setFrameUpdateNeeded = [this] { view_->compositor.isFrameUpdateNeeded = true; };
    h.setRootInputEnabled = [this](bool enabled) { setEnabled(enabled); };
    h.setCanvasFrameAlpha = [this](double alpha) {
        if (view_->canvas()) view_->canvas()->setVisible(alpha > 0);
    };
    h.didAbortAutoSave = [this] { return didAbortAutoSave_; };
    h.clearDidAbortAutoSave = [this] { didAbortAutoSave_ = false; };
    h.autoSaveDocument = [this] { autoSaveDocumentWithCompletion({}); };
    h.setPageTitle = [this](const std::string& text) {
        window_->pagesAction->setIconText(QString::fromStdString(text));
    };
    h.setPageIcons = [this](PageIconState state) {
        window_->nextPageAction->setIcon(QIcon(QPixmap::fromImage(
            pageIconImage(state.nextAddsPage ? "add page icon.png" : "right arrow.png", 2))));
        window_->nextPageAction->setToolTip(state.nextAddsPage ? "Add a page" : "Next page");
        window_->previousPageAction->setEnabled(state.previousEnabled);
    };
    h.viewSize = [this] { return Size{double(width()), double(height())}; };
    h.bookName = [this] { return QFileInfo(fileName_).completeBaseName().toStdString(); };
    pageNavigator_ = std::make_unique<PageNavigator>(*book(), session_.editor, session_.viewport, std::move(h));
    pageNavigator_->setCanvasFrame(view_);
    pageNavigator_->updatePageTitle();
    pageNavigator_->updatePageIcons();
}

void FoliantViewController::nextPageButtonTapped() {
    const std::size_t pagesBefore = book() ? book()->pages().size() : 0;
    if (pageNavigator_) pageNavigator_->nextPageButtonTapped();
    if (diagnostics && book() && book()->pages().size() > pagesBefore) diagnostics->didAddPage();
}

void FoliantViewController::previousPageButtonTapped() {
    if (pageNavigator_) pageNavigator_->previousPageButtonTapped();
}

void FoliantViewController::stylusTapped() {
    FoliantGlobals& globals = session_.globals;
    globals.setOnlyDrawWithStylus(!globals.onlyDrawWithStylus());
    if (globals.onlyDrawWithStylus()) flashMessage("Draw with Pencil only", 0.5);
}

void FoliantViewController::updateStylusView() {
    window_->showStylus(session_.dispatcher.isPencilConnected, session_.globals.onlyDrawWithStylus());
}

void FoliantViewController::updateUndoToolbarButtons() {
    UndoManager* manager = session_.editor.undoManager();
    window_->undoAction->setEnabled(manager && manager->canUndo());
    window_->redoAction->setEnabled(manager && manager->canRedo());
}

void FoliantViewController::undoButtonTapped() {
    // While a box is edited, undo belongs to its text.
    if (session_.isEditingText) return;
    window_->undoMenuTimer()->stop();
    if (window_->undoActionSheet() && window_->undoActionSheet()->isVisible()) return;
    applyEffects(session_.undo());
}

void FoliantViewController::redoButtonTapped() {
    if (session_.isEditingText) return;
    applyEffects(session_.redo());
}

void FoliantViewController::showUndoRedoMenu() {
    UndoManager* manager = session_.editor.undoManager();
    if (isBookLocked() || !manager || (!manager->canUndo() && !manager->canRedo())) return;
    window_->showUndoRedoMenu(manager->canUndo(), manager->canRedo());
}

void FoliantViewController::showInputSettings() {
    // The settings' changed signal brings input and the stylus button up to date; the wrist guard's key is
    // no setting of its own.
    if (EditorWindow::showInputSettings(this, session_.globals)) view_->applyProfile();
}

}  // namespace velumen
