#include "shell/NotebookWindow.h"

#include <QMenuBar>
#include <QStackedWidget>

#include "shell/FoliantViewController.h"
#include "shell/tracegrab/Tracegrab.h"

namespace velumen {

NotebookWindow::NotebookWindow(FoliantViewController& editor, QWidget* parent)
    : QMainWindow(parent), editor_(editor) {
    setWindowTitle("Velumen");
    stack_ = new QStackedWidget(this);
    stack_->addWidget(&editor);
    stack_->setCurrentWidget(&editor);
    setCentralWidget(stack_);

    EditorWindow& commands = editor.window();
    closeBookAction = new QAction("Close Book", this);
    closeBookAction->setShortcut(QKeySequence::Close);
    closeBookAction->setToolTip("Save the book and close it");
    connect(closeBookAction, &QAction::triggered, &editor, [&editor] {
        if (!editor.session().isGestureRunning()) editor.closeDocumentAndReturnToGallery();
    });
    quitAction = new QAction("Quit", this);
    quitAction->setShortcut(QKeySequence::Quit);
    quitAction->setToolTip("Save the book and quit");
    connect(quitAction, &QAction::triggered, this, &QWidget::close);

    QMenu* file = fileMenu_ = menuBar()->addMenu("&File");
    file->addAction(closeBookAction);
    file->addSeparator();
    file->addAction(quitAction);
    QMenu* edit = menuBar()->addMenu("&Edit");
    edit->addAction(commands.undoAction);
    edit->addAction(commands.redoAction);
    edit->addSeparator();
    edit->addAction(commands.insertTextBoxAction);
    edit->addSeparator();
    edit->addAction(commands.toggleLockAction);
    edit->addAction(commands.unlockAction);
    edit->addAction(commands.convertPictureAction);
    connect(commands.convertPictureAction, &QAction::triggered, &editor, [&editor] {
        convertPictureToInk(&editor, editor.session(),
                            [&editor](EditorEffects effects) { editor.applyEffects(effects); });
    });
    QMenu* pens = menuBar()->addMenu("P&ens");
    pens->addAction(commands.penPaletteAction);
    pens->addSeparator();
    for (QAction* pen : commands.penActions)
        pens->addAction(pen);
    pens->addSeparator();
    pens->addAction(commands.thinnerAction);
    pens->addAction(commands.thickerAction);
    pens->addAction(commands.editColorAction);
    pens->addAction(commands.eyeDropperAction);
    pens->addAction(commands.eyeDropperDoneAction);
    pens->addSeparator();
    pens->addAction(commands.stylusAction);
    QMenu* pages = menuBar()->addMenu("&Pages");
    pages->addAction(commands.previousPageAction);
    pages->addAction(commands.nextPageAction);
    pages->addAction(commands.pagesAction);
    QMenu* insert = menuBar()->addMenu("&Insert");
    insert->addAction(commands.insertPictureAction);
    insert->addAction(commands.insertPhotoAction);
    insert->addAction(commands.insertPdfAction);
    insert->addAction(commands.stationeryAction);
    QMenu* settings = menuBar()->addMenu("&Settings");
    settings->addAction(commands.settingsAction);
    for (QMenu* menu : {file, edit, pens, pages, insert, settings})
        menu->setToolTipsVisible(true);
}

void NotebookWindow::addGallery(QWidget* gallery, const QList<QAction*>& commands) {
    stack_->insertWidget(0, gallery);
    stack_->setCurrentWidget(gallery);
    QAction* first = fileMenu_->actions().value(0);
    for (QAction* command : commands) fileMenu_->insertAction(first, command);
    fileMenu_->insertSeparator(first);
}

NotebookWindow::~NotebookWindow() {
    stack_->removeWidget(&editor_);
    editor_.setParent(nullptr);
}

}  // namespace velumen
