// The editor's root widget: the GL surface in its frame, the page's ink and its undo, the stroke engine,
// the viewport, the touch state machine and the router from the toolkit's events, wired together in the
// start-up order (settings are read before; then the surface, its textures, the touch path and the
// frame loop). The notebook shows one; a replayed touch script and the tests drive another, hidden or not.
#pragma once

#include <QImage>
#include <QWidget>
#include <memory>
#include <optional>

#include "document/FoliantData.h"
#include "document/PageInkEditor.h"
#include "document/qt/FoliantDocument.h"
#include "objects/qt/QtImageCodec.h"
#include "ink/Clock.h"
#include "ink/StrokeSampler.h"
#include "input/EditorViewport.h"
#include "input/InkEraser.h"
#include "input/ScreenEdgeSwipes.h"
#include "input/StylusDetector.h"
#include "input/TouchDispatcher.h"
#include "input/TouchRouter.h"
#include "render/DisplayLink.h"
#include "render/EAGLViewController.h"
#include "render/PageCompositor.h"
#include "shell/FoliantGlobals.h"
#include "shell/KPositionSatelliteView.h"
#include "shell/pages/PageNavigator.h"
#include "shell/WristGuardView.h"

class QMenu;
class QTimer;
class QToolButton;
class QVariantAnimation;

namespace velumen {

class FoliantViewController : public QWidget, public FoliantDocumentDelegate {
  public:
    // `forcedProfile` overrides the device profile that the window's size implies.
    FoliantViewController(FoliantGlobals& globals, const Clock& clock,
                          std::optional<DeviceProfile> forcedProfile = std::nullopt, QWidget* parent = nullptr);
    ~FoliantViewController() override;

    // Shows the book's current page (made empty-inked when it has no ink list); the stylus is asked for again.
    void openBook(FoliantDataPtr book);
    const FoliantDataPtr& book() const { return book_; }

    // The surface at this size in points now, shown or not: the profile, the limits, the pan and zoom.
    void layoutForSize(Size size);
    // The pen by its index (0 eraser, 1 fountain pen, 2 pencil, 3 brush, 4 hilighter) at its last width.
    void setPenTypeIndex(int index);
    // Repaints the whole page now.
    void redrawAllLines();
    // The surface as the user sees it, at its pixel size; null without GL.
    QImage screenImage();
    // False when no GL context could be made: then touches still make ink but nothing is shown.
    bool hasSurface() const { return canvas_ != nullptr; }
    // The widget that receives the touches (the GL surface, or the frame without GL).
    QWidget* touchTarget() const;

    // ---- The open book's file ----
    using Completion = std::function<void(bool success)>;
    // Opens the book file in the editor; the completion says whether it opened. A failed open leaves the
    // file untouched and the editor without a book.
    void loadDocumentFromFile(const QString& path, Completion completion);
    void documentWasLoaded();
    // After any replacement of the contents, once openBook has shown the book: stacks, pan and zoom, the
    // title, and the page repainted.
    void handleDocumentChanged();
    void documentStateChanged(FoliantDocument::DocumentState state);
    // The only way an edit marks the book changed; nothing on a locked book.
    void registerDocumentChange();
    // The retry of a refused autosave, once a second until it goes through.
    void tryToAutoSave();
    void autoSaveDocumentWithCompletion(Completion completion);
    void updateThumbnailAndSaveDocumentWithCompletion(Completion completion);
    bool documentWillAutoSave(FoliantDocument& document) override;
    void documentContentsDidUpdate(FoliantDocument& document) override;
    // Saves what is unsaved (at the fit view, with a new thumbnail) and lets the book go. Nothing happens,
    // and the completion is not called, when no book is open.
    void closeDocumentWithCompletion(Completion completion);
    // Closes the book and goes back to where books are chosen (returnToGallery).
    void closeDocumentAndReturnToGallery();
    // Locks the book: input goes off, the book is saved with a new preview, and once that is written the
    // toolbar turns to its locked form (undo, redo and the other editing buttons hidden, unlock shown).
    void lockDocument();
    // Unlocks it: the flag changes and the toolbar shows its editing buttons again; nothing is saved.
    void unlockDocument();
    // The toolbar's unlock button (and its key), honoured only while no gesture runs.
    void unlockBttonTapped();
    // Ctrl+L: locks an unlocked book, unlocks a locked one; only while no gesture runs.
    void toggleLockTapped();
    // The toolbar's lock state, as it was last told, and the buttons it shows for it.
    void setToolbarLocked(bool locked);
    bool isToolbarLocked() const { return toolbarLocked_; }
    void updateUnlockView();
    // The window hidden or minimised, or the application quitting; and back.
    void applicationWillResignActive();
    void applicationDidBecomeActive();
    // A book handed over from outside: the open one is saved and closed first.
    void handleApplicationOpenUrl(const QString& path, bool openInPlace);

    FoliantDocument* document() const { return document_.get(); }
    // Where books are chosen, once a book has closed; and the open of a handed-over book.
    std::function<void()> returnToGallery;
    std::function<void(const QString& path)> openHandedOverFile;
    // The book's thumbnail for the place where books are chosen.
    std::function<void(const QString& path, const KImagePtr& thumbnail)> setThumbnailForFile;

    QString fileName;
    bool isEditorActive = false;
    bool isApplicationSuspended = false;
    bool isGeneratingPDF = false;
    bool didAbortAutoSave = false;
    bool needToUpdateDocumentThumbnail = false;
    double lastChangeDate = 0;
    // Going to the background also stores the settings (not in a demo, whose pens are not the user's).
    bool savesSettingsInBackground = true;

    // ---- Stylus ----
    // Flips drawing with the stylus only.
    void stylusTapped();
    // Shows the stylus button only while a stylus is connected, tinted blue while it alone draws.
    void updateStylusView();
    // A short message in the middle of the editor that fades after `delay` seconds.
    void flashMessage(const QString& text, double delay);

    // ---- Undo ----
    void updateUndoToolbarButtons();
    void undoButtonTouchDown();
    void undoButtonTouchCancel();
    void undoButtonTapped();
    void redoButtonTapped();
    // The menu of a long press on undo: "Undo" and "Redo" where possible, and "Cancel".
    void showUndoRedoMenu();

    // ---- Pan and zoom ----
    // The map of the page: shown at 0.4 alpha with the visible part and the zoom; faded out over 0.2 s.
    void showPositionSatelliteView();
    void hidePositionSatelliteView();
    KPositionSatelliteView* positionSatelliteView() const { return positionSatelliteView_; }
    // The overshoot's spring-back at the end of a touch, and how long the map stays after the wheel.
    static constexpr int kSpringBackMilliseconds = 200;
    static constexpr int kWheelMapLingerMilliseconds = 600;

    // The settings of touch input (palm rejection, the stylus, the wrist guard, edge swipes).
    void showInputSettings();

    // Views, for the tests and the tools; null where the profile has none.
    QToolButton* stylusButton() const { return _stylusButton; }
    QToolButton* undoButton() const { return undoButton_; }
    QToolButton* titleButton() const { return titleButton_; }
    QToolButton* nextPageButton() const { return nextPageButton_; }
    QToolButton* previousPageButton() const { return previousPageButton_; }
    QToolButton* redoButton() const { return redoButton_; }
    QToolButton* unlockButton() const { return unlockButton_; }
    WristGuardView* wristGuard() const { return _wristGuard; }
    QMenu* undoActionSheet() const { return _undoActionSheet; }
    QWidget* flashLabel() const { return flashLabel_; }

    void startDisplayLink();
    void stopDisplayLink() { displayLink_.invalidate(); }

    FoliantGlobals& globals;
    EAGLViewController surface;
    PageCompositor compositor{surface.eaglView()};
    PageInkEditor editor;
    StrokeSampler sampler;
    EditorViewport viewport;
    InkEraser eraser{viewport, editor};
    TouchDispatcher dispatcher;
    TouchRouter router;
    StylusDetector stylusDetector;
    ScreenEdgeSwipes edgeSwipes;
    // Turning, adding, moving and deleting pages of the open book; null while none is open.
    std::unique_ptr<PageNavigator> pageNavigator;
    void nextPageButtonTapped();
    void previousPageButtonTapped();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    bool isFrameLocked() const { return compositor.isFrameLocked; }
    // The open book is locked against editing (from the moment lockDocument sets the flag).
    bool isBookLocked() const { return book_ && book_->isLocked(); }
    // The page now as a picture for the book's preview; null without GL.
    KImagePtr thumbnailForBook();
    void buildToolbar();
    void makePageNavigator();
    void applyProfile();
    void showPageInk();
    void syncCompositor();

    std::optional<DeviceProfile> forcedProfile_;
    FoliantDataPtr book_;
    QtImageCodec codec_;
    std::unique_ptr<FoliantDocument> document_;
    QMetaObject::Connection documentStateConnection_;
    QWidget* eaglFrame_ = nullptr;
    QWidget* canvas_ = nullptr;
    bool needsDocumentLayout_ = true;
    QWidget* toolbar_ = nullptr;
    QToolButton* _stylusButton = nullptr;
    QToolButton* undoButton_ = nullptr;
    QToolButton* titleButton_ = nullptr;
    QToolButton* nextPageButton_ = nullptr;
    QToolButton* previousPageButton_ = nullptr;
    QToolButton* redoButton_ = nullptr;
    QToolButton* unlockButton_ = nullptr;
    bool toolbarLocked_ = false;
    QTimer* undoMenuTimer_ = nullptr;
    QMenu* _undoActionSheet = nullptr;
    QWidget* flashLabel_ = nullptr;
    WristGuardView* _wristGuard = nullptr;
    KPositionSatelliteView* positionSatelliteView_ = nullptr;
    QVariantAnimation* springBack_ = nullptr;
    DisplayLink displayLink_;
};

}  // namespace velumen
