// The notebook's top-level window: a menu bar that offers every command of the editor (the same actions as
// its toolbar buttons and keys), and a stack of pages of which the editor is the one shown; the gallery of
// books joins the stack beside it.
#pragma once

#include <QAction>
#include <QMainWindow>

class QMenu;
class QStackedWidget;

namespace velumen {

class FoliantViewController;

class NotebookWindow : public QMainWindow {
  public:
    // The window shows the editor without owning it: the editor leaves the stack when the window goes.
    explicit NotebookWindow(FoliantViewController& editor, QWidget* parent = nullptr);
    ~NotebookWindow() override;

    QStackedWidget* stack() const { return stack_; }
    // Puts the gallery first in the stack and shows it, and its commands at the head of the File menu.
    void addGallery(QWidget* gallery, const QList<QAction*>& commands);
    // File: closing the open book (Ctrl+W) and quitting (Ctrl+Q).
    QAction* closeBookAction = nullptr;
    QAction* quitAction = nullptr;

  private:
    FoliantViewController& editor_;
    QMenu* fileMenu_ = nullptr;
    QStackedWidget* stack_ = nullptr;
};

}  // namespace velumen
