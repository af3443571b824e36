// The page picker: a list of the book's pages with their thumbnails under the book's name, an add button
// and an edit button. Editing reorders rows (drag, or the move buttons) and deletes them. Shown as a
// popover under the title button on a tablet and over the whole editor on a phone.
#pragma once

#include <QListWidget>
#include <QWidget>

#include "shell/pages/PagePickerModel.h"

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
    // The selected row while editing: deleted, or moved by one.
    void deleteSelectedRow();
    void moveSelectedRow(int by);

    // A popup anchored under the button, or a layer over the whole of `root`.
    void showPopoverFromButton(QWidget* button);
    void showAsModalDialog(QWidget* root);
    void dismiss();
    bool isPresented() const { return isVisible(); }

  protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    void reloadRows();
    // Each row takes what the model shows for it now; a visible row may ask for a fresh picture.
    void refreshThumbnails();
    QListWidgetItem* itemTaggedWith(std::int64_t row) const;
    QIcon iconFor(const QImage& image) const;
    void setEditing(bool editing);
    void updateButtons();
    void scrollToCurrentRow();

    PagePickerModel model_;
    QLabel* header_ = nullptr;
    QPushButton* addButton_ = nullptr;
    QPushButton* editButton_ = nullptr;
    QWidget* editBar_ = nullptr;
    QListWidget* tableView_ = nullptr;
    QImage blank_;
    bool editing_ = false;
    bool reloading_ = false;
};

}  // namespace velumen
