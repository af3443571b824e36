// The editor: it composes the session (the open book, the page editor, the viewport, the tools), the view
// (surface, compositor, router) and the window (the commands, the toolbar, messages), connects each command
// to its operation, and applies what every event changed once. It also keeps the open book's file: opening,
// autosaving, locking and closing it. The notebook shows one; a replayed touch script and the tests drive
// another, hidden or not.
#pragma once

#include <QImage>
#include <QPointer>
#include <QWidget>
#include <memory>
#include <optional>

#include "document/EditorEffects.h"
#include "document/qt/FoliantDocument.h"
#include "objects/qt/QtImageCodec.h"
#include "shell/EditorSession.h"
#include "shell/EditorView.h"
#include "shell/EditorWindow.h"
#include "shell/pages/PageNavigator.h"
#include "shell/palette/PenPalette.h"

namespace velumen {

class EyeDropperBar;
class FLDiagnostics;
class ImageCommands;
class TextBoxEditor;

class FoliantViewController : public QWidget,
                              public FoliantDocumentDelegate,
                              public PenPaletteDelegate,
                              public BigPenPaletteDelegate {
  public:
    // `forcedProfile` overrides the device profile that the window's size implies.
    FoliantViewController(FoliantGlobals& globals, const Clock& clock,
                          std::optional<DeviceProfile> forcedProfile = std::nullopt, QWidget* parent = nullptr);
    ~FoliantViewController() override;

    // The three slices, for the notebook's window, the replay and the tests.
    EditorSession& session() { return session_; }
    EditorView& view() { return *view_; }
    EditorWindow& window() { return *window_; }
    // Pictures, stationery and PDF pages (src/shell/images).
    ImageCommands& images() { return *images_; }
    // Turning, adding, moving and deleting pages of the open book; null while none is open.
    PageNavigator* pageNavigator() const { return pageNavigator_.get(); }

    // Shows the book's current page (made empty-inked when it has no ink list); the stylus is asked for again.
    void openBook(FoliantDataPtr book);
    const FoliantDataPtr& book() const { return session_.book(); }

    // The surface at this size in points now, shown or not: the profile, the limits, the pan and zoom.
    void layoutForSize(Size size);
    // The pen by its index (0 eraser, 1 fountain pen, 2 pencil, 3 brush, 4 hilighter) at its last width.
    void setPenTypeIndex(int index);
    // Repaints the whole page now.
    void redrawAllLines() { view_->redrawAllLines(); }
    // The surface as the user sees it, at its pixel size; null without GL.
    QImage screenImage() { return withTextBoxes(view_->screenImage(), true); }
    // False when no GL context could be made: then touches still make ink but nothing is shown.
    bool hasSurface() const { return view_->hasSurface(); }
    // The widget that receives the touches (the GL surface, or the frame without GL).
    QWidget* touchTarget() const { return view_->touchTarget(); }

    // Applies what an event changed, together with what the page editor still holds: the shown ink, one
    // repaint, one registered change, the undo controls, the map, the stylus flash.
    void applyEffects(EditorEffects effects);
    // What the applied effects did so far, for the tests: the repaints asked of the view (the ink handed
    // to it included) and the changes registered with the document.
    struct AppliedCounts {
        int repaintsAsked = 0;
        int changesRegistered = 0;
    };
    const AppliedCounts& appliedCounts() const { return appliedCounts_; }

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
    void updateUnlockView() { window_->showLocked(toolbarLocked_); }
    // The window hidden or minimised, or the application quitting; and back.
    void applicationWillResignActive();
    void applicationDidBecomeActive();
    bool isApplicationSuspended() const { return isApplicationSuspended_; }
    // A book handed over from outside: the open one is saved and closed first.
    void handleApplicationOpenUrl(const QString& path, bool openInPlace);

    FoliantDocument* document() const { return document_.get(); }
    // An autosave was refused (a gesture ran) and waits for its retry.
    bool didAbortAutoSave() const { return didAbortAutoSave_; }
    // The saved preview is older than the page: the next close, lock or going away pays for a new one.
    bool needsThumbnailUpdate() const { return needToUpdateDocumentThumbnail_; }
    // Going to the background also stores the settings (not in a demo, whose pens are not the user's).
    void setSavesSettingsInBackground(bool saves) { savesSettingsInBackground_ = saves; }
    // Where books are chosen, once a book has closed; and the open of a handed-over book.
    std::function<void()> returnToGallery;
    std::function<void(const QString& path)> openHandedOverFile;
    // The book's thumbnail for the place where books are chosen.
    std::function<void(const QString& path, const KImagePtr& thumbnail)> setThumbnailForFile;

    // ---- Stylus ----
    // Flips drawing with the stylus only.
    void stylusTapped();
    // Shows the stylus button only while a stylus is connected, tinted blue while it alone draws.
    void updateStylusView();
    // A short message in the middle of the editor that fades after `delay` seconds.
    void flashMessage(const QString& text, double delay) { window_->flashMessage(this, text, delay); }

    // ---- Undo ----
    void updateUndoToolbarButtons();
    void undoButtonTapped();
    void redoButtonTapped();
    // The menu of a long press on undo: "Undo" and "Redo" where possible, and "Cancel".
    void showUndoRedoMenu();

    // ---- Pages ----
    void nextPageButtonTapped();
    void previousPageButtonTapped();

    // ---- Usage ----
    // The counters the commands raise (none while null), and what else goes with resigning active and
    // becoming active (the run time's stop and start); set by the notebook.
    FLDiagnostics* diagnostics = nullptr;
    std::function<void()> usageWillResignActive;
    std::function<void()> usageDidBecomeActive;

    // The settings of touch input (palm rejection, the stylus, the wrist guard, edge swipes).
    void showInputSettings();

    // ---- Pens and colours ----
    // The pen button, honoured while no gesture runs in an unlocked book: it closes the palette when open,
    // else opens it, floating under the button on a tablet at least 438 points wide, over the whole editor
    // otherwise.
    void penButtonTapped();
    void showPenPalettePopoverFromButton(QWidget* button);
    void showBigPenPaletteDialog();
    // Closes the colour picker, the width slider and the palette, whichever is open.
    void dismissPopovers();
    // The open palettes; null while closed.
    PenPalette* penPalette() const { return penPalette_; }
    BigPenPalette* bigPenPalette() const { return bigPenPalette_; }
    // The pen's colour for its ink type, from a palette or the eyedropper.
    void setPenColor(const KColor& color);
    void updatePenToolbarIcon();
    // Opens the palette with the colour picker on the selected colour.
    void editPenColorTapped();
    // The pen's width `steps` steps along its table (not for the eraser).
    void stepPenWidth(int steps);
    // Starts picking a colour from the page into the palette entry of the pen's colour (none when the
    // colour is not in the palette: then only the pen takes it).
    void eyeDropperTapped();
    void eyeDropperDoneTapped();
    void showEyeDropperToolbar(bool show);
    EyeDropperBar* eyeDropperToolbar() const { return eyeDropperToolbar_; }

    void penPaletteDidSelectColor(PenPalette* palette, const KColor& color) override;
    void penPaletteDidChangePenType(PenPalette* palette, int penTypeIndex, float width) override;
    void penPaletteDidChangePenWidth(PenPalette* palette, float width) override;
    void penPaletteDidChangeEraserMode(PenPalette* palette, bool isErasingSelectedColor) override;
    void penPaletteDidTapEyeDropper(PenPalette* palette, std::size_t colorIndex) override;
    void penPaletteWasPinned(PenPalette* palette, bool isPinned) override;
    void bigPenPaletteDidSelectColor(BigPenPalette* palette, const KColor& color) override;
    void bigPenPaletteDidChangePenType(BigPenPalette* palette, int penTypeIndex, float width) override;
    void bigPenPaletteDidChangePenWidth(BigPenPalette* palette, float width) override;
    void bigPenPaletteDidChangeEraserMode(BigPenPalette* palette, bool isErasingSelectedColor) override;
    void bigPenPaletteDidClose(BigPenPalette* palette) override;

    // ---- Text boxes (FoliantViewControllerText.cpp) ----
    // The live text views, the editing session, the text toolbar and its pickers.
    TextBoxEditor& textBoxEditor() const { return *textBoxEditor_; }
    // A new box in editing: under the pointer when it is over the page, else in the middle of what shows.
    void insertTextBox();
    // The page's text views made anew (a book opened, a page turned), or brought up to the model.
    void initializePageTextViews();
    // Text boxes drawn over a picture of the shown page (`screen`: the surface as shown) or of a whole page.
    QImage withTextBoxes(QImage picture, bool screen, const FoliantPage* page = nullptr);

    // Views, for the tests and the tools; null where the profile has none.
    QToolButton* stylusButton() const { return window_->stylusButton(); }
    QToolButton* undoButton() const { return window_->undoButton(); }
    QToolButton* titleButton() const { return window_->titleButton(); }
    QToolButton* nextPageButton() const { return window_->nextPageButton(); }
    QToolButton* previousPageButton() const { return window_->previousPageButton(); }
    QToolButton* redoButton() const { return window_->redoButton(); }
    QToolButton* unlockButton() const { return window_->unlockButton(); }
    WristGuardView* wristGuard() const { return view_->wristGuard(); }
    QMenu* undoActionSheet() const { return window_->undoActionSheet(); }
    QWidget* flashLabel() const { return window_->flashLabel(); }
    KPositionSatelliteView* positionSatelliteView() const { return view_->positionSatelliteView(); }

    void startDisplayLink() { view_->startDisplayLink(); }
    void stopDisplayLink() { view_->stopDisplayLink(); }

  private:
    bool isFrameLocked() const { return view_->compositor.isFrameLocked; }
    bool isBookLocked() const { return session_.isBookLocked(); }
    // Applies what the page editor holds and closes the undo groups: once per turn of the event loop.
    void settle();
    // The page now as a picture for the book's preview; null without GL.
    KImagePtr thumbnailForBook();
    void connectCommands();
    void makePageNavigator();
    // What either palette's report of a pen type, a width or the eraser mode does to the pen.
    void palettePenTypeChanged(PenPaletteBase* palette, int penTypeIndex, float width);
    void palettePenWidthChanged(PenPaletteBase* palette, float width);
    void paletteEraserModeChanged(bool isErasingSelectedColor);
    // Takes up what the eyedropper found in this event.
    void eyeDropPickedColor();
    void makeTextBoxEditor();
    // What the effects of an event mean for the text views.
    void applyTextEffects(const EditorEffects& effects);
    // The toolbar's pen commands act only while no gesture runs in an unlocked book.
    bool acceptsPenCommands() const { return !session_.isGestureRunning() && !isBookLocked(); }

    EditorSession session_;
    EditorView* view_ = nullptr;
    EditorWindow* window_ = nullptr;
    std::unique_ptr<PageNavigator> pageNavigator_;
    QPointer<PenPalette> penPalette_;
    QPointer<BigPenPalette> bigPenPalette_;
    EyeDropperBar* eyeDropperToolbar_ = nullptr;
    ImageCommands* images_ = nullptr;
    TextBoxEditor* textBoxEditor_ = nullptr;
    AppliedCounts appliedCounts_;
    bool settleQueued_ = false;

    QtImageCodec codec_;
    std::unique_ptr<FoliantDocument> document_;
    QMetaObject::Connection documentStateConnection_;
    QString fileName_;
    bool toolbarLocked_ = false;
    bool isEditorActive_ = false;
    bool isApplicationSuspended_ = false;
    bool isGeneratingPDF_ = false;
    bool didAbortAutoSave_ = false;
    bool needToUpdateDocumentThumbnail_ = false;
    bool savesSettingsInBackground_ = true;
    double lastChangeDate_ = 0;
};

}  // namespace velumen
