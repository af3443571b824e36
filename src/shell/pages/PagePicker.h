// The page picker: a list of the book's pages with their thumbnails under the book's name, an add button
// and an edit button. Editing reorders rows (drag, or the move buttons) and deletes them: each row then
// shows a delete control, which asks first, naming what goes with the page. Shown as a popover under the
// title button on a tablet and over the whole editor on a phone.
#pragma once

#include <QListWidget>
#include <QWidget>

#include "shell/pages/PagePickerModel.h"

class QAbstractButton;
class QLabel;
class QPushButton;

namespace velumen {

class PagePicker : public QWidget {
  public:
    explicit PagePicker(const Clock& clock, QWidget* parent = nullptr);
    ~PagePicker() override;

    PagePickerModel& model() { return model_; }
    QListWidget* tableView() const { return tableView_; }
    QPushButton* addButton() const { return addButton_; }
    QPushButton* editButton() const { return editButton_; }
    QLabel* headerButtonItem() const { return header_; }

    void editButtonTapped();
    bool isEditing() const { return editing_; }
    // While editing, asks whether to delete the row (the selected one for the edit bar's button and the
    // Delete key); nothing is deleted until the question is answered with its delete button.
    void askToDeleteRow(int row);
    void askToDeleteSelectedRow() { askToDeleteRow(tableView_->currentRow()); }
    // The selected row moved by one while editing.
    void moveSelectedRow(int by);
    // The delete control of a row while editing; null otherwise.
    QAbstractButton* deleteControlForRow(int row) const;
    // The question and its answers; hidden while none is asked.
    QWidget* deleteConfirmation() const { return confirmBar_; }
    QLabel* deleteConfirmationLabel() const { return confirmLabel_; }
    QPushButton* confirmDeleteButton() const { return confirmDelete_; }
    QPushButton* cancelDeleteButton() const { return cancelDelete_; }

    // A popup anchored under the button, or a layer over the whole of `root`.
    void showPopoverFromButton(QWidget* button);
    void showAsModalDialog(QWidget* root);
    void dismiss();
    bool isPresented() const { return isVisible(); }

  protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void reloadRows();
    // Each row takes what the model shows for it now; a visible row may ask for a fresh picture.
    void refreshThumbnails();
    QListWidgetItem* itemTaggedWith(std::int64_t row) const;
    QIcon iconFor(const QImage& image) const;
    void setEditing(bool editing);
    void updateButtons();
    void scrollToCurrentRow();
    // Gives every row its delete control while editing rows can be deleted, and takes them away otherwise.
    void updateDeleteControls();
    void dismissDeleteConfirmation();

    PagePickerModel model_;
    QLabel* header_ = nullptr;
    QPushButton* addButton_ = nullptr;
    QPushButton* editButton_ = nullptr;
    QWidget* editBar_ = nullptr;
    QWidget* confirmBar_ = nullptr;
    QLabel* confirmLabel_ = nullptr;
    QPushButton* confirmDelete_ = nullptr;
    QPushButton* cancelDelete_ = nullptr;
    // The row the question is about; -1 while none is asked.
    int rowToDelete_ = -1;
    QListWidget* tableView_ = nullptr;
    QImage blank_;
    bool editing_ = false;
    bool reloading_ = false;
};

}  // namespace velumen
