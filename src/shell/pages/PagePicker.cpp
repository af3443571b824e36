#include "shell/pages/PagePicker.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QTimer>
#include <QVBoxLayout>

#include "shell/pages/PageIcons.h"

namespace velumen {

namespace {

constexpr int kTagRole = Qt::UserRole;

}  // namespace

PagePicker::PagePicker(const Clock& clock, QWidget* parent) : QWidget(parent), model_(clock) {
    blank_ = pageIconImage("blank page thumbnail.png", devicePixelRatioF());
    auto* layout = new QVBoxLayout(this);
    auto* headerBar = new QHBoxLayout;
    addButton_ = new QPushButton("+", this);
    addButton_->setToolTip("Add a page after this one");
    header_ = new QLabel(this);
    header_->setAlignment(Qt::AlignCenter);
    editButton_ = new QPushButton("Edit", this);
    headerBar->addWidget(addButton_);
    headerBar->addWidget(header_, 1);
    headerBar->addWidget(editButton_);
    layout->addLayout(headerBar);

    tableView_ = new QListWidget(this);
    tableView_->setIconSize(QSize(96, PagePickerModel::kRowHeight - 8));
    tableView_->setUniformItemSizes(true);
    tableView_->setSelectionMode(QAbstractItemView::SingleSelection);
    layout->addWidget(tableView_, 1);

    editBar_ = new QWidget(this);
    auto* editLayout = new QHBoxLayout(editBar_);
    editLayout->setContentsMargins(0, 0, 0, 0);
    auto* up = new QPushButton("Move Up", editBar_);
    auto* down = new QPushButton("Move Down", editBar_);
    auto* remove = new QPushButton("Delete\u2026", editBar_);
    remove->setObjectName("deleteButton");
    remove->setToolTip("Delete the selected page (asks first)");
    editLayout->addWidget(up);
    editLayout->addWidget(down);
    editLayout->addWidget(remove);
    editBar_->hide();
    layout->addWidget(editBar_);

    confirmBar_ = new QWidget(this);
    auto* confirmLayout = new QVBoxLayout(confirmBar_);
    confirmLayout->setContentsMargins(0, 0, 0, 0);
    confirmLabel_ = new QLabel(confirmBar_);
    confirmLabel_->setWordWrap(true);
    confirmLayout->addWidget(confirmLabel_);
    auto* answers = new QHBoxLayout;
    cancelDelete_ = new QPushButton("Cancel", confirmBar_);
    confirmDelete_ = new QPushButton("Delete Page", confirmBar_);
    confirmDelete_->setStyleSheet("QPushButton { color: rgb(200, 0, 0); }");
    answers->addStretch(1);
    answers->addWidget(cancelDelete_);
    answers->addWidget(confirmDelete_);
    confirmLayout->addLayout(answers);
    confirmBar_->hide();
    layout->addWidget(confirmBar_);
    resize(320, 600);

    connect(addButton_, &QPushButton::clicked, this, [this] { model_.addButtonTapped(); });
    connect(editButton_, &QPushButton::clicked, this, [this] { editButtonTapped(); });
    connect(up, &QPushButton::clicked, this, [this] { moveSelectedRow(-1); });
    connect(down, &QPushButton::clicked, this, [this] { moveSelectedRow(1); });
    connect(remove, &QPushButton::clicked, this, [this] { askToDeleteSelectedRow(); });
    connect(cancelDelete_, &QPushButton::clicked, this, [this] { dismissDeleteConfirmation(); });
    connect(confirmDelete_, &QPushButton::clicked, this, [this] {
        const int row = rowToDelete_;
        dismissDeleteConfirmation();
        if (editing_ && model_.canDeleteRows() && row >= 0 && row < tableView_->count()) model_.deleteRow(row);
    });
    tableView_->installEventFilter(this);
    connect(tableView_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        if (editing_) return;
        model_.didSelectRow(tableView_->row(item));
    });
    connect(tableView_, &QListWidget::itemDoubleClicked, this, [this](QListWidgetItem* item) {
        if (editing_) setEditing(false);
        model_.didSelectRow(tableView_->row(item));
    });
    // A row dragged in place: the list has moved it already.
    connect(tableView_->model(), &QAbstractItemModel::rowsMoved, this,
            [this](const QModelIndex&, int start, int, const QModelIndex&, int destination) {
                if (reloading_) return;
                model_.moveRow(start, destination > start ? destination - 1 : destination);
            });
    connect(tableView_->verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { refreshThumbnails(); });

    PagePickerTable& table = model_.table;
    table.reloadData = [this] { reloadRows(); };
    table.selectRow = [this](std::int64_t row) {
        if (row >= 0 && row < tableView_->count()) tableView_->setCurrentRow(int(row));
    };
    table.deleteRow = [this](std::int64_t row) {
        if (row >= 0 && row < tableView_->count()) delete tableView_->takeItem(int(row));
        updateButtons();
        updateDeleteControls();
    };
    table.moveRow = [this](std::int64_t from, std::int64_t to) {
        QListWidgetItem* at = tableView_->item(int(to));
        if (at && at->data(kTagRole).toLongLong() == from) return;
        reloading_ = true;
        if (QListWidgetItem* item = tableView_->takeItem(int(from))) {
            tableView_->insertItem(int(to), item);
            tableView_->setCurrentItem(item);
        }
        reloading_ = false;
    };
    table.insertRow = [this](std::int64_t row) {
        auto* item = new QListWidgetItem(QString::fromStdString(PagePickerModel::rowText(row)));
        item->setData(kTagRole, qlonglong(-1));
        item->setIcon(iconFor({}));
        item->setSizeHint(QSize(0, PagePickerModel::kRowHeight));
        tableView_->insertItem(int(row), item);
        tableView_->scrollToItem(item, QAbstractItemView::PositionAtCenter);
        updateButtons();
        updateDeleteControls();
    };
    table.setRowImage = [this](std::int64_t row, const QImage& image) {
        if (QListWidgetItem* item = itemTaggedWith(row)) item->setIcon(iconFor(image));
    };
    table.lockedChanged = [this](bool) {
        if (model_.isLockedForEditing()) setEditing(false);
        updateButtons();
        updateDeleteControls();
    };
    table.headerChanged = [this](const std::string& text) { header_->setText(QString::fromStdString(text)); };
    table.runLater = [this](double seconds, std::function<void()> work) {
        QTimer::singleShot(int(seconds * 1000), this, std::move(work));
    };
    updateButtons();
}

PagePicker::~PagePicker() {
    model_.table = {};
}

QIcon PagePicker::iconFor(const QImage& image) const {
    return QIcon(QPixmap::fromImage(image.isNull() ? blank_ : image));
}

QListWidgetItem* PagePicker::itemTaggedWith(std::int64_t row) const {
    QListWidgetItem* item = tableView_->item(int(row));
    return item && item->data(kTagRole).toLongLong() == row ? item : nullptr;
}

void PagePicker::reloadRows() {
    reloading_ = true;
    tableView_->clear();
    for (std::int64_t row = 0; row < model_.numberOfPages(); ++row) {
        auto* item = new QListWidgetItem(QString::fromStdString(PagePickerModel::rowText(row)), tableView_);
        item->setData(kTagRole, qlonglong(row));
        item->setSizeHint(QSize(0, PagePickerModel::kRowHeight));
        item->setIcon(iconFor(model_.thumbnailForRow(row, false)));
    }
    if (model_.currentPage() < tableView_->count()) tableView_->setCurrentRow(int(model_.currentPage()));
    reloading_ = false;
    updateButtons();
    updateDeleteControls();
    refreshThumbnails();
}

void PagePicker::refreshThumbnails() {
    if (!model_.isViewActive()) return;
    const QRect visible = tableView_->viewport()->rect();
    for (int row = 0; row < tableView_->count(); ++row) {
        QListWidgetItem* item = tableView_->item(row);
        if (item->data(kTagRole).toLongLong() != row) continue;
        if (!tableView_->visualItemRect(item).intersects(visible)) continue;
        if (model_.cachedThumbnailForPage(row)) continue;
        item->setIcon(iconFor(model_.thumbnailForRow(row, true)));
    }
}

void PagePicker::setEditing(bool editing) {
    editing_ = editing;
    editButton_->setText(editing ? "Done" : "Edit");
    tableView_->setDragDropMode(editing && model_.canMoveRows() ? QAbstractItemView::InternalMove
                                                                 : QAbstractItemView::NoDragDrop);
    editBar_->setVisible(editing);
    if (!editing) dismissDeleteConfirmation();
    updateButtons();
    updateDeleteControls();
}

void PagePicker::editButtonTapped() {
    setEditing(!editing_);
    if (model_.currentPage() < tableView_->count()) tableView_->setCurrentRow(int(model_.currentPage()));
}

void PagePicker::updateButtons() {
    const bool locked = model_.isLockedForEditing();
    addButton_->setEnabled(!locked);
    editButton_->setEnabled(!locked);
    if (auto* remove = editBar_->findChild<QPushButton*>("deleteButton")) remove->setEnabled(model_.canDeleteRows());
}

void PagePicker::updateDeleteControls() {
    const bool show = editing_ && model_.canDeleteRows();
    for (int row = 0; row < tableView_->count(); ++row) {
        QListWidgetItem* item = tableView_->item(row);
        if (!show) {
            if (tableView_->itemWidget(item)) tableView_->removeItemWidget(item);
            continue;
        }
        if (tableView_->itemWidget(item)) continue;
        // A transparent strip over the row with the control at its right end.
        auto* strip = new QWidget;
        auto* stripLayout = new QHBoxLayout(strip);
        stripLayout->setContentsMargins(0, 0, 8, 0);
        stripLayout->addStretch(1);
        auto* control = new QPushButton("\u2212", strip);
        control->setObjectName("rowDeleteControl");
        control->setToolTip("Delete this page (asks first)");
        control->setFixedSize(28, 28);
        control->setStyleSheet("QPushButton { color: white; background: rgb(220, 40, 40); border-radius: 14px;"
                               " font-weight: bold; }");
        stripLayout->addWidget(control);
        connect(control, &QPushButton::clicked, this, [this, item] { askToDeleteRow(tableView_->row(item)); });
        tableView_->setItemWidget(item, strip);
    }
    if (!show) dismissDeleteConfirmation();
}

QAbstractButton* PagePicker::deleteControlForRow(int row) const {
    QListWidgetItem* item = tableView_->item(row);
    QWidget* strip = item ? tableView_->itemWidget(item) : nullptr;
    return strip ? strip->findChild<QAbstractButton*>("rowDeleteControl") : nullptr;
}

void PagePicker::askToDeleteRow(int row) {
    if (!editing_ || !model_.canDeleteRows() || row < 0 || row >= tableView_->count()) return;
    rowToDelete_ = row;
    tableView_->setCurrentRow(row);
    confirmLabel_->setText(QString::fromStdString(model_.deleteConfirmationText(row)));
    editBar_->hide();
    confirmBar_->show();
    cancelDelete_->setFocus();
}

void PagePicker::dismissDeleteConfirmation() {
    rowToDelete_ = -1;
    confirmBar_->hide();
    editBar_->setVisible(editing_);
}

bool PagePicker::eventFilter(QObject* watched, QEvent* event) {
    if (watched == tableView_ && event->type() == QEvent::KeyPress && editing_) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Delete || key == Qt::Key_Backspace) {
            askToDeleteSelectedRow();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void PagePicker::moveSelectedRow(int by) {
    if (!editing_) return;
    const int from = tableView_->currentRow();
    model_.moveRow(from, from + by);
}

void PagePicker::scrollToCurrentRow() {
    if (QListWidgetItem* item = tableView_->item(int(model_.currentPage())))
        tableView_->scrollToItem(item, QAbstractItemView::PositionAtCenter);
}

void PagePicker::showPopoverFromButton(QWidget* button) {
    setParent(nullptr, Qt::Popup);
    if (button) move(button->mapToGlobal(QPoint(0, button->height())));
    show();
}

void PagePicker::showAsModalDialog(QWidget* root) {
    setParent(root, Qt::Widget);
    setAutoFillBackground(true);
    if (root) setGeometry(root->rect());
    raise();
    show();
}

void PagePicker::dismiss() {
    hide();
}

void PagePicker::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    model_.viewWillAppear();
    scrollToCurrentRow();
    refreshThumbnails();
}

void PagePicker::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    if (editing_) setEditing(false);
    model_.viewDidDisappear();
}

}  // namespace velumen
