// The editor's commands and what it says to the user: one QAction per command, shared by its toolbar
// button, its key and its menu entry; the toolbar; the flash message; the long-press menu of undo; and the
// dialog of touch settings. It holds no editing logic: the controller connects each action to its operation.
#pragma once

#include <QAction>
#include <QWidget>
#include <vector>

#include "ink/KColor.h"

class QMenu;
class QTimer;
class QToolButton;

namespace velumen {

class FoliantGlobals;

class EditorWindow : public QWidget {
  public:
    explicit EditorWindow(QWidget* parent);

    // ---- Commands ----
    QAction* undoAction = nullptr;
    QAction* redoAction = nullptr;
    QAction* nextPageAction = nullptr;
    QAction* previousPageAction = nullptr;
    QAction* pagesAction = nullptr;
    QAction* stylusAction = nullptr;
    QAction* unlockAction = nullptr;
    QAction* toggleLockAction = nullptr;
    QAction* settingsAction = nullptr;
    QAction* convertPictureAction = nullptr;
    // The pens by index: 0 eraser, 1 fountain pen, 2 pencil, 3 brush, 4 hilighter.
    std::vector<QAction*> penActions;
    // The pen button: the palette of pens, widths and colours.
    QAction* penPaletteAction = nullptr;
    // The colour picker on the pen's colour; taking a colour from the ink on the page, and ending that.
    QAction* editColorAction = nullptr;
    QAction* eyeDropperAction = nullptr;
    QAction* eyeDropperDoneAction = nullptr;
    // The pen's width one step down or up its table.
    QAction* thinnerAction = nullptr;
    QAction* thickerAction = nullptr;
    // Pictures: a picture file onto the page, a photo from the camera, the pages of a PDF file as new pages, the book's stationery.
    QAction* insertPictureAction = nullptr;
    QAction* insertPhotoAction = nullptr;
    // A camera can give photos: only then does "Take Photo…" show (and only in an unlocked book).
    void setHasCamera(bool hasCamera);
    QAction* insertPdfAction = nullptr;
    QAction* stationeryAction = nullptr;
    // A new text box on the page, in editing at once.
    QAction* insertTextBoxAction = nullptr;
    // Every command, in the order of the menus.
    std::vector<QAction*> allActions() const;

    // ---- Toolbar ----
    QToolButton* undoButton() const { return undoButton_; }
    QToolButton* redoButton() const { return redoButton_; }
    QToolButton* titleButton() const { return titleButton_; }
    QToolButton* nextPageButton() const { return nextPageButton_; }
    QToolButton* previousPageButton() const { return previousPageButton_; }
    QToolButton* stylusButton() const { return stylusButton_; }
    QToolButton* unlockButton() const { return unlockButton_; }
    QToolButton* penButton() const { return penButton_; }
    // The pen button shows the pen and its colour (as a swatch shows it).
    void setPenIcon(int penTypeIndex, const KColor& swatchColor);
    // A locked book shows unlock in place of the editing commands, whose keys then do nothing either.
    void showLocked(bool locked);
    // The stylus command shows only while a stylus is connected, tinted blue while it alone draws; a flash
    // tints it light blue for a moment.
    void showStylus(bool connected, bool onlyStylus);
    void flashStylusButton();

    // ---- Undo's long press ----
    // A press on undo held this long opens the menu instead.
    static constexpr int kUndoMenuDelayMilliseconds = 300;
    QTimer* undoMenuTimer() const { return undoMenuTimer_; }
    // The menu of a long press on undo: "Undo" and "Redo" where possible, and "Cancel".
    void showUndoRedoMenu(bool canUndo, bool canRedo);
    QMenu* undoActionSheet() const { return undoActionSheet_; }

    // ---- Messages and dialogs ----
    // A short message in the middle of `over` that fades after `delay` seconds.
    void flashMessage(QWidget* over, const QString& text, double delay);
    QWidget* flashLabel() const { return flashLabel_; }
    // The settings of touch input (palm rejection, the stylus, the wrist guard, edge swipes), stored when
    // accepted. True when accepted.
    static bool showInputSettings(QWidget* parent, FoliantGlobals& globals);

  private:
    QAction* command(const QString& text, const QString& tip, const QKeySequence& key);

    QToolButton* undoButton_ = nullptr;
    QToolButton* redoButton_ = nullptr;
    QToolButton* titleButton_ = nullptr;
    QToolButton* nextPageButton_ = nullptr;
    QToolButton* previousPageButton_ = nullptr;
    QToolButton* stylusButton_ = nullptr;
    QToolButton* unlockButton_ = nullptr;
    QToolButton* penButton_ = nullptr;
    QTimer* undoMenuTimer_ = nullptr;
    QMenu* undoActionSheet_ = nullptr;
    QWidget* flashLabel_ = nullptr;
    bool stylusConnected_ = false;
    bool hasCamera_ = false;
    bool locked_ = false;
    bool onlyStylus_ = false;
};

}  // namespace velumen
