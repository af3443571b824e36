#include "shell/FoliantViewController.h"

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QEvent>
#include <QFileInfo>
#include <QIcon>
#include <QGraphicsOpacityEffect>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QMenu>
#include <QPropertyAnimation>
#include <QShortcut>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <QVariantAnimation>
#include <cmath>

#include "shell/pages/PageIcons.h"

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
    layout->setSpacing(0);
    buildToolbar();
    layout->addWidget(toolbar_);
    eaglFrame_ = new QWidget(this);
    layout->addWidget(eaglFrame_, 1);

    sampler.usePenSettings(0, globals.penTables());
    editor.hooks().eraseView = [this] { compositor.isFrameUpdateNeeded = true; };
    editor.hooks().forgetCurrentLine = [this] { sampler.cancelCurrentLine(); };
    editor.hooks().registerDocumentChange = [this] {
        registerDocumentChange();
        showPageInk();
    };
    dispatcher.hooks.pageInkReplaced = [this] { showPageInk(); };
    eraser.setFrameUpdateNeeded = [this] { compositor.isFrameUpdateNeeded = true; };
    dispatcher.hooks.eraseAtPoint = [this](Point p) {
        eraser.isErasingSelectedColor = globals.isErasingSelectedColor();
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
    // Whatever started an edit (a touch, a key, a menu, a timer), its group closes with this turn of the
    // event loop: one user action, one undo step.
    editor.hooks().undoGroupOpened = [this] {
        QMetaObject::invokeMethod(this, [this] { editor.endUndoGrouping(); }, Qt::QueuedConnection);
    };
    dispatcher.isPencilConnected = stylusDetector.isPencilConnected();
    stylusDetector.didChangeState = [this](StylusDetector& d) {
        dispatcher.isPencilConnected = d.isPencilConnected();
        updateStylusView();
    };
    dispatcher.hooks.flashStylusButton = [this] {
        if (!_stylusButton->isVisible()) return;
        _stylusButton->setStyleSheet("QToolButton { color: rgba(128, 191, 255, 255); }");
        QTimer::singleShot(300, _stylusButton, [this] { updateStylusView(); });
    };
    editor.hooks().updateUndoToolbarButtons = [this] { updateUndoToolbarButtons(); };

    // Swipes in from the edges turn pages on a phone; the stroke they interrupt is dropped.
    edgeSwipes.touchMode = [this] { return dispatcher.touchMode; };
    edgeSwipes.disableScreenPanning = [this] { return globals.disableScreenPanning(); };
    edgeSwipes.edgePanned = [this](ScreenEdgeSwipes::Edge edge) {
        dispatcher.cancelDrawing();
        dispatcher.touchMode = TouchModeNone;
        if (edge == ScreenEdgeSwipes::Edge::Right)
            nextPageButtonTapped();
        else
            previousPageButtonTapped();
    };
    router.edgeSwipes = &edgeSwipes;

    // The map of the page while it is panned or zoomed: at every two-finger step, gone at the touch's end;
    // after the wheel it lingers a moment.
    positionSatelliteView_ = new KPositionSatelliteView(eaglFrame_);
    dispatcher.hooks.showPositionSatelliteView = [this] { showPositionSatelliteView(); };
    dispatcher.hooks.hidePositionSatelliteView = [this] { hidePositionSatelliteView(); };
    router.didMovePageByWheel = [this] {
        showPositionSatelliteView();
        positionSatelliteView_->fadeOut(kWheelMapLingerMilliseconds);
    };

    if (surface.viewDidLoad()) {
        canvas_ = surface.createWidget(eaglFrame_);
        // The surface has no window of its own before it is shown: ask the one it will show in.
        compositor.initializeEagl(canvas_->window()->devicePixelRatioF());
        compositor.loadFixedTextures();
        sampler.renderer = &compositor;
        router.attach(canvas_);
        // Overshoot moves the surface inside its frame; at the end of a touch it springs back.
        springBack_ = new QVariantAnimation(this);
        springBack_->setDuration(kSpringBackMilliseconds);
        springBack_->setEasingCurve(QEasingCurve::InOutQuad);
        connect(springBack_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
            canvas_->setGeometry(QRect(value.toPoint(), eaglFrame_->size()));
        });
        viewport.setSurfaceTranslation = [this](Point t) {
            springBack_->stop();
            canvas_->setGeometry(
                QRect(QPoint(int(std::lround(t.x)), int(std::lround(t.y))), eaglFrame_->size()));
        };
        viewport.animateSurfaceTranslation = [this](Point t) {
            const QPoint target(int(std::lround(t.x)), int(std::lround(t.y)));
            springBack_->stop();
            if (canvas_->pos() == target) return viewport.setSurfaceTranslation(t);
            springBack_->setStartValue(canvas_->pos());
            springBack_->setEndValue(target);
            springBack_->start();
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
            // The keys stand for the pen button, which a locked book does not show.
            if (dispatcher.touchMode == TouchModeNone && !isBookLocked()) setPenTypeIndex(index);
        });
    }
    auto* undo = new QShortcut(QKeySequence::Undo, this);
    connect(undo, &QShortcut::activated, this, [this] { undoButtonTapped(); });
    auto* redo = new QShortcut(QKeySequence::Redo, this);
    connect(redo, &QShortcut::activated, this, [this] { redoButtonTapped(); });
    auto* nextPage = new QShortcut(QKeySequence(Qt::Key_PageDown), this);
    connect(nextPage, &QShortcut::activated, this, [this] { nextPageButtonTapped(); });
    auto* previousPage = new QShortcut(QKeySequence(Qt::Key_PageUp), this);
    connect(previousPage, &QShortcut::activated, this, [this] { previousPageButtonTapped(); });
    auto* settings = new QShortcut(QKeySequence::Preferences, this);
    connect(settings, &QShortcut::activated, this, [this] { showInputSettings(); });
    auto* lock = new QShortcut(QKeySequence("Ctrl+L"), this);
    connect(lock, &QShortcut::activated, this, [this] { toggleLockTapped(); });
    auto* settingsAlt = new QShortcut(QKeySequence("Ctrl+,"), this);
    connect(settingsAlt, &QShortcut::activated, this, [this] { showInputSettings(); });
    updateStylusView();
    updateUndoToolbarButtons();
}

void FoliantViewController::buildToolbar() {
    toolbar_ = new QWidget(this);
    toolbar_->setObjectName("toolbar");
    auto* bar = new QHBoxLayout(toolbar_);
    bar->setContentsMargins(6, 2, 6, 2);
    auto button = [this](const QString& text, const QString& tip) {
        auto* b = new QToolButton(toolbar_);
        b->setText(text);
        b->setToolTip(tip);
        b->setAutoRaise(true);
        b->setFocusPolicy(Qt::NoFocus);
        return b;
    };
    previousPageButton_ = button("", "Previous page");
    previousPageButton_->setIcon(QIcon(QPixmap::fromImage(pageIconImage("right arrow.png", 2).mirrored(true, false))));
    titleButton_ = button("", "Pages");
    nextPageButton_ = button("", "Next page");
    bar->addWidget(previousPageButton_);
    bar->addWidget(titleButton_);
    bar->addWidget(nextPageButton_);
    connect(previousPageButton_, &QToolButton::clicked, this, [this] { previousPageButtonTapped(); });
    connect(nextPageButton_, &QToolButton::clicked, this, [this] { nextPageButtonTapped(); });
    connect(titleButton_, &QToolButton::clicked, this, [this] {
        if (pageNavigator) pageNavigator->titleButtonTapped(titleButton_);
    });
    bar->addStretch(1);
    undoButton_ = button("\u21B6", "Undo (hold for the menu)");
    redoButton_ = button("\u21B7", "Redo");
    _stylusButton = button("\u270E", "Draw with the stylus only");
    unlockButton_ = button("Unlock", "This book is locked: it can be viewed, not changed. Unlock it for editing (Ctrl+L)");
    unlockButton_->setObjectName("unlockButton");
    unlockButton_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    unlockButton_->setIcon(QIcon(QPixmap::fromImage(pageIconImage("lock icon.png", 2))));
    for (QToolButton* b : {unlockButton_, undoButton_, redoButton_, _stylusButton})
        bar->addWidget(b);
    // Undo: a tap undoes, a press held for 0.3 s opens the menu instead.
    undoMenuTimer_ = new QTimer(this);
    undoMenuTimer_->setSingleShot(true);
    undoMenuTimer_->setInterval(300);
    connect(undoMenuTimer_, &QTimer::timeout, this, [this] { showUndoRedoMenu(); });
    connect(undoButton_, &QToolButton::pressed, this, [this] { undoButtonTouchDown(); });
    // A release outside the button cancels; inside, the click follows the release.
    connect(undoButton_, &QToolButton::released, this, [this] { undoButtonTouchCancel(); });
    connect(undoButton_, &QToolButton::clicked, this, [this] { undoButtonTapped(); });
    connect(redoButton_, &QToolButton::clicked, this, [this] { redoButtonTapped(); });
    connect(_stylusButton, &QToolButton::clicked, this, [this] { stylusTapped(); });
    connect(unlockButton_, &QToolButton::clicked, this, [this] { unlockBttonTapped(); });
    updateUnlockView();
}

void FoliantViewController::setToolbarLocked(bool locked) {
    toolbarLocked_ = locked;
    updateUnlockView();
}

void FoliantViewController::updateUnlockView() {
    // The editing buttons give way to the unlock button in a locked book.
    undoButton_->setVisible(!toolbarLocked_);
    redoButton_->setVisible(!toolbarLocked_);
    unlockButton_->setVisible(toolbarLocked_);
    if (toolbarLocked_ && _undoActionSheet) _undoActionSheet->close();
}

FoliantViewController::~FoliantViewController() {
    displayLink_.invalidate();
    sampler.renderer = nullptr;
    sampler.cancelCurrentLine();
    eaglFrame_->removeEventFilter(this);
    // The surface widget refers to the view it shows, a member: it goes first.
    delete canvas_;
    canvas_ = nullptr;
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
    editor.setCurrentPage(book_ ? book_->currentPage() : nullptr);
    viewport.document = book_.get();
    makePageNavigator();
    dispatcher.document = book_.get();
    dispatcher.isPencilConnected = stylusDetector.updateState();
    updateStylusView();
    needsDocumentLayout_ = true;
    if (eaglFrame_->width() > 0 && eaglFrame_->height() > 0)
        layoutForSize({double(eaglFrame_->width()), double(eaglFrame_->height())});
    showPageInk();
}

void FoliantViewController::showPageInk() {
    compositor.pointSets = book_ && book_->pointSets() ? book_->pointSets() : std::make_shared<KVSPointSetArray>();
    compositor.isFrameUpdateNeeded = true;
}

void FoliantViewController::showPositionSatelliteView() {
    positionSatelliteView_->showFrame(viewport.currentFrame(), QString::fromStdString(viewport.percentageText()));
}

void FoliantViewController::hidePositionSatelliteView() {
    positionSatelliteView_->fadeOut();
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
    positionSatelliteView_->placeInParent();
    if (canvas_) {
        springBack_->stop();
        canvas_->setGeometry(QRect(QPoint(0, 0), pixels));
        surface.eaglView().layoutSubviews(size);
    }
    viewport.profile = forcedProfile_.value_or(deviceProfileForViewSize(size));
    viewport.layoutForFrameSize(size);
    applyProfile();
    if (needsDocumentLayout_ && book_) {
        viewport.handleDocumentChanged();
        needsDocumentLayout_ = false;
    }
    syncCompositor();
    compositor.isFrameUpdateNeeded = true;
}

void FoliantViewController::setPenTypeIndex(int index) {
    sampler.setPenTypeIndex(index, globals.penWidths()[std::size_t(index)], globals.penTables());
}

QImage FoliantViewController::screenImage() {
    if (!canvas_) return {};
    redrawAllLines();
    return compositor.getThumbnailImage();
}

void FoliantViewController::makePageNavigator() {
    pageNavigator.reset();
    if (!book_) {
        titleButton_->setText("");
        return;
    }
    PageNavigatorHooks h;
    h.touchMode = [this] { return int(dispatcher.touchMode); };
    h.getThumbnailImage = [this] {
        syncCompositor();
        return compositor.getThumbnailImage();
    };
    h.getThumbnailForPage = [this](const FoliantPage& page, Size size) {
        return compositor.getThumbnailForPage({page.pointSets, page.images}, size);
    };
    h.redrawAllLines = [this] { redrawAllLines(); };
    h.currentPageChanged = [this] {
        sampler.cancelCurrentLine();
        showPageInk();
    };
    h.registerDocumentChange = [this] { registerDocumentChange(); };
    h.setFrameUpdateNeeded = [this] { compositor.isFrameUpdateNeeded = true; };
    h.setRootInputEnabled = [this](bool enabled) { setEnabled(enabled); };
    h.setCanvasFrameAlpha = [this](double alpha) {
        if (canvas_) canvas_->setVisible(alpha > 0);
    };
    h.didAbortAutoSave = [this] { return didAbortAutoSave; };
    h.clearDidAbortAutoSave = [this] { didAbortAutoSave = false; };
    h.autoSaveDocument = [this] { autoSaveDocumentWithCompletion({}); };
    h.setPageTitle = [this](const std::string& text) { titleButton_->setText(QString::fromStdString(text)); };
    h.setPageIcons = [this](PageIconState state) {
        nextPageButton_->setIcon(QIcon(QPixmap::fromImage(
            pageIconImage(state.nextAddsPage ? "add page icon.png" : "right arrow.png", 2))));
        nextPageButton_->setToolTip(state.nextAddsPage ? "Add a page" : "Next page");
        previousPageButton_->setEnabled(state.previousEnabled);
    };
    h.viewSize = [this] { return Size{double(width()), double(height())}; };
    h.bookName = [this] { return QFileInfo(fileName).completeBaseName().toStdString(); };
    pageNavigator = std::make_unique<PageNavigator>(*book_, editor, viewport, std::move(h));
    pageNavigator->setCanvasFrame(eaglFrame_);
    pageNavigator->updatePageTitle();
    pageNavigator->updatePageIcons();
}

void FoliantViewController::nextPageButtonTapped() {
    if (pageNavigator) pageNavigator->nextPageButtonTapped();
}

void FoliantViewController::previousPageButtonTapped() {
    if (pageNavigator) pageNavigator->previousPageButtonTapped();
}

void FoliantViewController::applyProfile() {
    const bool tablet = viewport.profile == DeviceProfile::Tablet;
    edgeSwipes.enabled = !tablet;
    edgeSwipes.viewWidth = viewport.eaglFrameSize.width;
    // Made once, over the surface; it starts lowered.
    if (tablet && !_wristGuard) _wristGuard = new WristGuardView(eaglFrame_);
    if (_wristGuard) {
        _wristGuard->setShown(tablet && !globals.defaults().boolForKey(FoliantGlobals::kShouldHideWristGuard));
        _wristGuard->layoutWristguardForViewSize(viewport.eaglFrameSize);
    }
}

void FoliantViewController::stylusTapped() {
    globals.setOnlyDrawWithStylus(!globals.onlyDrawWithStylus());
    updateStylusView();
    if (globals.onlyDrawWithStylus()) flashMessage("Draw with Pencil only", 0.5);
}

void FoliantViewController::updateStylusView() {
    _stylusButton->setVisible(dispatcher.isPencilConnected);
    _stylusButton->setStyleSheet(globals.onlyDrawWithStylus() ? "QToolButton { color: rgba(0, 128, 255, 255); }"
                                                              : "QToolButton { color: rgba(122, 122, 122, 255); }");
}

void FoliantViewController::flashMessage(const QString& text, double delay) {
    delete flashLabel_;
    auto* label = new QLabel(text, this);
    flashLabel_ = label;
    label->setAlignment(Qt::AlignCenter);
    label->setStyleSheet(
        "QLabel { background: rgba(0, 0, 0, 170); color: white; padding: 12px 20px; border-radius: 10px; }");
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 1.4);
    label->setFont(font);
    label->adjustSize();
    label->move((width() - label->width()) / 2, (height() - label->height()) / 2);
    label->setAttribute(Qt::WA_TransparentForMouseEvents);
    label->show();
    label->raise();
    auto* effect = new QGraphicsOpacityEffect(label);
    label->setGraphicsEffect(effect);
    auto* fade = new QPropertyAnimation(effect, "opacity", label);
    fade->setStartValue(1.0);
    fade->setEndValue(0.0);
    fade->setDuration(400);
    connect(fade, &QPropertyAnimation::finished, this, [this, label] {
        if (flashLabel_ == label) flashLabel_ = nullptr;
        label->deleteLater();
    });
    QTimer::singleShot(int(std::lround(delay * 1000)), fade, [fade] { fade->start(); });
}

void FoliantViewController::updateUndoToolbarButtons() {
    UndoManager* manager = editor.undoManager();
    undoButton_->setEnabled(manager && manager->canUndo());
    redoButton_->setEnabled(manager && manager->canRedo());
}

void FoliantViewController::undoButtonTouchDown() {
    undoMenuTimer_->start();
}

void FoliantViewController::undoButtonTouchCancel() {
    undoMenuTimer_->stop();
}

void FoliantViewController::undoButtonTapped() {
    undoMenuTimer_->stop();
    if (_undoActionSheet && _undoActionSheet->isVisible()) return;
    if (dispatcher.touchMode != TouchModeNone || isBookLocked()) return;
    UndoManager* manager = editor.undoManager();
    if (manager && manager->canUndo()) manager->undo();
}

void FoliantViewController::redoButtonTapped() {
    if (dispatcher.touchMode != TouchModeNone || isBookLocked()) return;
    UndoManager* manager = editor.undoManager();
    if (manager && manager->canRedo()) manager->redo();
}

void FoliantViewController::showUndoRedoMenu() {
    UndoManager* manager = editor.undoManager();
    if (isBookLocked() || !manager || (!manager->canUndo() && !manager->canRedo())) return;
    delete _undoActionSheet;
    _undoActionSheet = new QMenu(this);
    if (manager->canUndo()) _undoActionSheet->addAction("Undo", this, [this] { undoButtonTapped(); });
    if (manager->canRedo()) _undoActionSheet->addAction("Redo", this, [this] { redoButtonTapped(); });
    _undoActionSheet->addSeparator();
    _undoActionSheet->addAction("Cancel");
    _undoActionSheet->popup(undoButton_->mapToGlobal(QPoint(0, undoButton_->height())));
}

void FoliantViewController::showInputSettings() {
    QDialog dialog(this);
    dialog.setWindowTitle("Touch and stylus");
    auto* layout = new QVBoxLayout(&dialog);
    auto option = [&](const QString& text, bool on, const QString& help) {
        auto* box = new QCheckBox(text, &dialog);
        box->setChecked(on);
        layout->addWidget(box);
        auto* note = new QLabel(help, &dialog);
        note->setWordWrap(true);
        note->setContentsMargins(24, 0, 0, 8);
        QPalette palette = note->palette();
        palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
        note->setPalette(palette);
        layout->addWidget(note);
        return box;
    };
    auto* palm = option("Palm rejection", !globals.disablePalmRejection(),
                        "Touches wider than 70 points are taken for a resting hand and ignored. Many touch "
                        "screens do not report how wide a touch is; there every touch counts, and drawing "
                        "with the stylus only, or the wrist guard, keeps a resting hand off the page.");
    auto* stylus = option("Draw with the stylus only", globals.onlyDrawWithStylus(),
                          "While a stylus is connected, a finger does not draw; two fingers still pan and zoom.");
    auto* guard = option("Wrist guard", !globals.defaults().boolForKey(FoliantGlobals::kShouldHideWristGuard),
                         "On a tablet, a panel pulled up from the bottom of the screen where touches go nowhere.");
    auto* swipes = option("Turn pages by swiping in from the edges", !globals.disableScreenPanning(),
                          "On a phone, a quick swipe in from the left or right edge turns the page.");
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    if (dialog.exec() != QDialog::Accepted) return;
    globals.setDisablePalmRejection(!palm->isChecked());
    globals.setOnlyDrawWithStylus(stylus->isChecked());
    globals.setDisableScreenPanning(!swipes->isChecked());
    globals.defaults().setObject(FoliantGlobals::kShouldHideWristGuard, !guard->isChecked());
    globals.defaults().synchronize();
    globals.saveSettings();
    applyProfile();
    updateStylusView();
}

void FoliantViewController::startDisplayLink() {
    displayLink_.start(screen());
}

}  // namespace velumen
