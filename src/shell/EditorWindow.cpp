#include "shell/EditorWindow.h"

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QGraphicsOpacityEffect>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPropertyAnimation>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <cmath>

#include "shell/FoliantGlobals.h"
#include "shell/palette/PaletteWidgets.h"
#include "shell/pages/PageIcons.h"

namespace velumen {

QAction* EditorWindow::command(const QString& text, const QString& tip, const QKeySequence& key) {
    auto* action = new QAction(text, this);
    action->setToolTip(tip);
    if (!key.isEmpty()) action->setShortcut(key);
    return action;
}

EditorWindow::EditorWindow(QWidget* parent) : QWidget(parent) {
    setObjectName("toolbar");
    undoAction = command("Undo", "Undo (hold for the menu)", QKeySequence::Undo);
    undoAction->setIconText("\u21B6");
    redoAction = command("Redo", "Redo", QKeySequence::Redo);
    redoAction->setIconText("\u21B7");
    insertPictureAction = command("Insert Picture\u2026", "Place a picture on the page", QKeySequence("Ctrl+Shift+I"));
    insertPhotoAction = command("Take Photo\u2026", "Place a photo from the camera on the page", QKeySequence());
    insertPdfAction = command("Insert PDF\u2026", "Add the pages of a PDF file as new pages", QKeySequence());
    stationeryAction = command("Stationery\u2026", "The paper behind every page of the book", QKeySequence());
    nextPageAction = command("Next Page", "Next page", QKeySequence(Qt::Key_PageDown));
    nextPageAction->setIcon(QIcon(QPixmap::fromImage(pageIconImage("right arrow.png", 2))));
    previousPageAction = command("Previous Page", "Previous page", QKeySequence(Qt::Key_PageUp));
    previousPageAction->setIcon(
        QIcon(QPixmap::fromImage(pageIconImage("right arrow.png", 2).mirrored(true, false))));
    pagesAction = command("Pages\u2026", "Pages", {});
    pagesAction->setIconText("");
    stylusAction = command("Draw with the Stylus Only", "Draw with the stylus only", {});
    stylusAction->setIconText("\u270E");
    unlockAction = command("Unlock", "This book is locked: it can be viewed, not changed. Unlock it for editing (Ctrl+L)", {});
    unlockAction->setIcon(QIcon(QPixmap::fromImage(pageIconImage("lock icon.png", 2))));
    toggleLockAction = command("Lock or Unlock Book", "Lock the book against changes, or unlock it", QKeySequence("Ctrl+L"));
    settingsAction = command("Touch and Stylus Settings\u2026", "Palm rejection, the stylus, the wrist guard, swipes",
                             QKeySequence::Preferences);
    settingsAction->setShortcuts({QKeySequence::Preferences, QKeySequence("Ctrl+,")});
    convertPictureAction =
        command("Convert Picture To Ink\u2026", "Turn a picture of a drawing into ink on this page", {});
    const char* penNames[] = {"Eraser", "Fountain Pen", "Pencil", "Brush", "Highlighter"};
    const char* penKeys[] = {"E", "1", "2", "3", "4"};
    for (int i = 0; i < 5; ++i)
        penActions.push_back(command(penNames[i], QString("Choose the %1").arg(QString(penNames[i]).toLower()),
                                     QKeySequence(penKeys[i])));
    penPaletteAction = command("Pens and Colours\u2026", "Pens, widths and colours (P)", QKeySequence("P"));
    editColorAction = command("Edit Pen Colour\u2026", "Change the selected colour of the palette (Shift+P)",
                              QKeySequence("Shift+P"));
    eyeDropperAction = command("Pick Colour from Page", "Take the colour of ink on the page (I)", QKeySequence("I"));
    eyeDropperDoneAction = command("Stop Picking Colour", "Stop picking colours (Esc)", QKeySequence(Qt::Key_Escape));
    eyeDropperDoneAction->setIconText("Done");
    insertTextBoxAction = command("Insert Text Box", "Type text on the page (T)", QKeySequence("T"));
    eyeDropperDoneAction->setEnabled(false);
    thinnerAction = command("Thinner Pen", "The pen one width step thinner ([)", QKeySequence("["));
    thickerAction = command("Thicker Pen", "The pen one width step thicker (])", QKeySequence("]"));

    auto* bar = new QHBoxLayout(this);
    bar->setContentsMargins(6, 2, 6, 2);
    auto button = [this](QAction* action) {
        auto* b = new QToolButton(this);
        b->setDefaultAction(action);
        b->setAutoRaise(true);
        b->setFocusPolicy(Qt::NoFocus);
        return b;
    };
    previousPageButton_ = button(previousPageAction);
    titleButton_ = button(pagesAction);
    nextPageButton_ = button(nextPageAction);
    bar->addWidget(previousPageButton_);
    bar->addWidget(titleButton_);
    bar->addWidget(nextPageButton_);
    bar->addStretch(1);
    undoButton_ = button(undoAction);
    redoButton_ = button(redoAction);
    stylusButton_ = button(stylusAction);
    penButton_ = button(penPaletteAction);
    penButton_->setObjectName("penButton");
    penButton_->setIconSize({32, 32});
    unlockButton_ = button(unlockAction);
    unlockButton_->setObjectName("unlockButton");
    unlockButton_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    for (QToolButton* b : {unlockButton_, penButton_, undoButton_, redoButton_, stylusButton_})
        bar->addWidget(b);
    // Undo: a tap undoes, a press held for 0.3 s opens the menu instead.
    undoMenuTimer_ = new QTimer(this);
    undoMenuTimer_->setSingleShot(true);
    undoMenuTimer_->setInterval(kUndoMenuDelayMilliseconds);
    connect(undoButton_, &QToolButton::pressed, undoMenuTimer_, qOverload<>(&QTimer::start));
    // A release outside the button cancels; inside, the click follows the release.
    connect(undoButton_, &QToolButton::released, undoMenuTimer_, &QTimer::stop);
    showLocked(false);
}

std::vector<QAction*> EditorWindow::allActions() const {
    std::vector<QAction*> all{undoAction,  redoAction,       previousPageAction, nextPageAction, pagesAction,
                              unlockAction, toggleLockAction, stylusAction,       settingsAction, convertPictureAction};
    all.insert(all.end(), penActions.begin(), penActions.end());
    all.insert(all.end(), {penPaletteAction, editColorAction, eyeDropperAction, eyeDropperDoneAction, thinnerAction,
                           thickerAction, insertPictureAction, insertPhotoAction, insertPdfAction, stationeryAction, insertTextBoxAction});
    return all;
}

void EditorWindow::showLocked(bool locked) {
    locked_ = locked;
    insertPhotoAction->setVisible(hasCamera_ && !locked);
    undoAction->setVisible(!locked);
    redoAction->setVisible(!locked);
    for (QAction* pen : penActions)
        pen->setVisible(!locked);
    for (QAction* pen : {penPaletteAction, editColorAction, eyeDropperAction, thinnerAction, thickerAction,
                         insertPictureAction, insertPdfAction, stationeryAction, insertTextBoxAction})
        pen->setVisible(!locked);
    penButton_->setVisible(!locked);
    unlockAction->setVisible(locked);
    // A button does not follow its action's visibility by itself.
    undoButton_->setVisible(!locked);
    redoButton_->setVisible(!locked);
    unlockButton_->setVisible(locked);
    if (locked && undoActionSheet_) undoActionSheet_->close();
}

void EditorWindow::setHasCamera(bool hasCamera) {
    hasCamera_ = hasCamera;
    insertPhotoAction->setVisible(hasCamera_ && !locked_);
}

void EditorWindow::setPenIcon(int penTypeIndex, const KColor& swatchColor) {
    penPaletteAction->setIcon(penToolbarIcon(penTypeIndex, swatchColor, devicePixelRatioF()));
}

void EditorWindow::showStylus(bool connected, bool onlyStylus) {
    stylusConnected_ = connected;
    onlyStylus_ = onlyStylus;
    stylusAction->setVisible(connected);
    stylusButton_->setVisible(connected);
    stylusButton_->setStyleSheet(onlyStylus ? "QToolButton { color: rgba(0, 128, 255, 255); }"
                                            : "QToolButton { color: rgba(122, 122, 122, 255); }");
}

void EditorWindow::flashStylusButton() {
    if (!stylusButton_->isVisible()) return;
    stylusButton_->setStyleSheet("QToolButton { color: rgba(128, 191, 255, 255); }");
    QTimer::singleShot(300, stylusButton_, [this] { showStylus(stylusConnected_, onlyStylus_); });
}

void EditorWindow::showUndoRedoMenu(bool canUndo, bool canRedo) {
    delete undoActionSheet_;
    undoActionSheet_ = new QMenu(this);
    if (canUndo) undoActionSheet_->addAction("Undo", undoAction, &QAction::trigger);
    if (canRedo) undoActionSheet_->addAction("Redo", redoAction, &QAction::trigger);
    undoActionSheet_->addSeparator();
    undoActionSheet_->addAction("Cancel");
    undoActionSheet_->popup(undoButton_->mapToGlobal(QPoint(0, undoButton_->height())));
}

void EditorWindow::flashMessage(QWidget* over, const QString& text, double delay) {
    delete flashLabel_;
    auto* label = new QLabel(text, over);
    flashLabel_ = label;
    label->setAlignment(Qt::AlignCenter);
    label->setStyleSheet(
        "QLabel { background: rgba(0, 0, 0, 170); color: white; padding: 12px 20px; border-radius: 10px; }");
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 1.4);
    label->setFont(font);
    label->adjustSize();
    label->move((over->width() - label->width()) / 2, (over->height() - label->height()) / 2);
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

bool EditorWindow::showInputSettings(QWidget* parent, FoliantGlobals& globals) {
    QDialog dialog(parent);
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
    if (dialog.exec() != QDialog::Accepted) return false;
    // The wrist guard's key is stored first, so that the changed signals below find it.
    globals.defaults().setObject(FoliantGlobals::kShouldHideWristGuard, !guard->isChecked());
    globals.setDisablePalmRejection(!palm->isChecked());
    globals.setOnlyDrawWithStylus(stylus->isChecked());
    globals.setDisableScreenPanning(!swipes->isChecked());
    globals.defaults().synchronize();
    globals.saveSettings();
    return true;
}

}  // namespace velumen
