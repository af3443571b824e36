// The gallery's screen: the search row, the grid of icons painted for what is on screen, the commands with
// their dialogs, and the zoom between an icon and the editor.
#include "gallery/ui/GalleryView.h"

#include <QApplication>
#include <QButtonGroup>
#include <QContextMenuEvent>
#include <QDateTime>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QGraphicsOpacityEffect>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QParallelAnimationGroup>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QSequentialAnimationGroup>
#include <QToolButton>
#include <QVariantAnimation>
#include <QVBoxLayout>
#include <cmath>

namespace velumen {

namespace {

// The gallery's colours: light text on a dark shelf.
const QColor kShelf(0x3a, 0x3d, 0x42);
const QColor kSelection = QColor::fromRgbF(1.0f, 0.5f, 0.0f, 0.75f);
const QColor kSearchTint = QColor::fromRgbF(0.1f, 0.5f, 0.8f, 1.0f);

// `image` scaled and cropped to fill `size` (the card's aspect fill).
void drawAspectFill(QPainter& painter, const QImage& image, const QRectF& target) {
    if (image.isNull()) return;
    const double scale = std::max(target.width() / image.width(), target.height() / image.height());
    const QSizeF shown(target.width() / scale, target.height() / scale);
    const QRectF source((image.width() - shown.width()) * 0.5, (image.height() - shown.height()) * 0.5,
                        shown.width(), shown.height());
    painter.drawImage(target, image, source);
}

// A picture for the zoom that is never empty (a book without one zooms a clear card).
QPixmap zoomPixmap(const QImage& image) {
    if (!image.isNull()) return QPixmap::fromImage(image);
    QPixmap clear(8, 10);
    clear.fill(Qt::transparent);
    return clear;
}

}  // namespace

// ---- the model's zoom -----------------------------------------------------------------------------------

void GalleryController::zoomInThumbnail(const QImage& image, bool inPlace, std::function<void()> done) {
    if (zoomIn)
        zoomIn(image, inPlace, std::move(done));
    else
        done();
}

// ---- the grid -------------------------------------------------------------------------------------------

GalleryGridView::GalleryGridView(KCloudGallery& gallery, QWidget* parent)
    : QAbstractScrollArea(parent), gallery_(gallery) {
    setObjectName("galleryGrid");
    setFocusPolicy(Qt::StrongFocus);
    setAcceptDrops(true);
    viewport()->setAcceptDrops(true);
    QPalette shelf = viewport()->palette();
    shelf.setColor(QPalette::Window, kShelf);
    viewport()->setPalette(shelf);
    viewport()->setAutoFillBackground(true);
    setFrameShape(QFrame::NoFrame);
    verticalScrollBar()->setSingleStep(40);
    connect(&gallery_, &KCloudGallery::thumbnailReady, this, [this](const QUrl& url, const QImage& image) {
        const int index = gallery_.indexOfFileUrl(url);
        if (index < 0) return;
        pictures_.insert(pictureKey(gallery_.files[std::size_t(index)]), image);
        viewport()->update();
    });
}

void GalleryGridView::setMetrics(const GalleryMetrics& metrics) {
    metrics_ = metrics;
    relayout();
}

QString GalleryGridView::pictureKey(const FileInfo& record) const {
    return record.fileUrl.toString() + QLatin1Char('\n') + QString::number(record.lastModDate);
}

void GalleryGridView::relayout() {
    const std::vector<int>& order = gallery_.arrangedOrder();
    gridFiles_ = order;
    std::vector<bool> shown(order.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        const auto it = gallery_.fileFilter.find(gallery_.files[std::size_t(order[i])].fileUrl.toString());
        shown[i] = it == gallery_.fileFilter.end() || it->second;
    }
    grid_ = arrangeGalleryGrid(metrics_, shown, viewport()->width(), viewport()->height(), 0);
    requested_.clear();
    // Pictures of books that left the list or changed go; those of the others stay for the next screen.
    QSet<QString> live;
    for (const FileInfo& record : gallery_.files)
        live.insert(pictureKey(record));
    for (auto it = pictures_.begin(); it != pictures_.end();) {
        if (!live.contains(it.key()))
            it = pictures_.erase(it);
        else
            ++it;
    }
    updateScrollBars();
    viewport()->update();
}

void GalleryGridView::updateScrollBars() {
    const QSize view = viewport()->size();
    verticalScrollBar()->setPageStep(view.height());
    verticalScrollBar()->setRange(0, std::max(0, int(std::ceil(grid_.canvasSize.height())) - view.height()));
    horizontalScrollBar()->setPageStep(view.width());
    horizontalScrollBar()->setRange(0, std::max(0, int(std::ceil(grid_.canvasSize.width())) - view.width()));
}

QPointF GalleryGridView::canvasOffset() const {
    return QPointF(horizontalScrollBar()->value(), verticalScrollBar()->value());
}

QRectF GalleryGridView::visibleCanvasRect() const {
    return QRectF(canvasOffset(), QSizeF(viewport()->size()));
}

QRectF GalleryGridView::iconRect(int fileIndex, bool cardOnly) const {
    for (std::size_t i = 0; i < gridFiles_.size() && i < grid_.centres.size(); ++i) {
        if (gridFiles_[i] != fileIndex || !grid_.centres[i]) continue;
        const QRectF frame =
            cardOnly ? cardFrame(metrics_, *grid_.centres[i]) : iconFrame(metrics_, *grid_.centres[i]);
        return frame.translated(-canvasOffset());
    }
    return {};
}

int GalleryGridView::fileIndexAt(QPoint point, bool* onLabel) const {
    const QPointF at = QPointF(point) + canvasOffset();
    for (std::size_t i = 0; i < grid_.centres.size(); ++i) {
        if (!grid_.centres[i]) continue;
        const QRectF frame = iconFrame(metrics_, *grid_.centres[i]);
        if (!frame.contains(at)) continue;
        if (onLabel) *onLabel = !cardFrame(metrics_, *grid_.centres[i]).contains(at);
        return gridFiles_[i];
    }
    return -1;
}

void GalleryGridView::ensureSelectedVisible() {
    if (gallery_.selectedFileIndex < 0) return;
    const QRectF icon = iconRect(int(gallery_.selectedFileIndex), false);
    if (icon.isEmpty()) return;
    const double margin = metrics_.scrollPaddingY;
    QScrollBar* bar = verticalScrollBar();
    if (icon.top() - margin < 0)
        bar->setValue(bar->value() + int(std::floor(icon.top() - margin)));
    else if (icon.bottom() + margin > viewport()->height())
        bar->setValue(bar->value() + int(std::ceil(icon.bottom() + margin - viewport()->height())));
}

void GalleryGridView::moveSelection(int delta) {
    const std::vector<int> shown = gallery_.visibleOrder();
    if (shown.empty()) return;
    int at = -1;
    for (std::size_t i = 0; i < shown.size(); ++i)
        if (shown[i] == gallery_.selectedFileIndex) at = int(i);
    const int next = at < 0 ? 0 : std::clamp(at + delta, 0, int(shown.size()) - 1);
    gallery_.selectFile(gallery_.files[std::size_t(shown[std::size_t(next)])].fileUrl);
    ensureSelectedVisible();
    viewport()->update();
    if (selectionChanged) selectionChanged();
}

void GalleryGridView::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    relayout();
}

void GalleryGridView::scrollContentsBy(int, int) {
    viewport()->update();
}

void GalleryGridView::animateIcon(const QUrl& url, bool appearing, std::function<void()> done) {
    const QString key = url.toString();
    auto* animation = new QVariantAnimation(this);
    animation->setDuration(350);
    animation->setStartValue(appearing ? 0.0 : -1.0);
    animation->setEndValue(appearing ? 1.0 : -0.0);
    iconAnimation_.insert(key, appearing ? 0.0 : -1.0);
    connect(animation, &QVariantAnimation::valueChanged, this, [this, key](const QVariant& value) {
        iconAnimation_.insert(key, value.toDouble());
        viewport()->update();
    });
    connect(animation, &QAbstractAnimation::finished, this, [this, key, done = std::move(done)] {
        iconAnimation_.remove(key);
        viewport()->update();
        if (done) done();
    });
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

void GalleryGridView::paintIcon(QPainter& painter, const FileInfo& record, QPointF centre, bool selected) {
    const auto animated = iconAnimation_.constFind(record.fileUrl.toString());
    painter.save();
    if (animated != iconAnimation_.constEnd()) {
        // Growing in: scale and opacity rise from 0; leaving: they fall to a tenth and to nothing.
        const double t = *animated;
        const double scale = t >= 0 ? t : 0.1 + 0.9 * -t;
        painter.translate(centre);
        painter.scale(std::max(scale, 0.001), std::max(scale, 0.001));
        painter.translate(-centre);
        painter.setOpacity(std::abs(t));
    }
    paintIconContent(painter, record, centre, selected);
    painter.restore();
}

void GalleryGridView::paintIconContent(QPainter& painter, const FileInfo& record, QPointF centre, bool selected) {
    const QRectF card = cardFrame(metrics_, centre);
    if (selected) {
        const QRectF ring = card.adjusted(-5, -5, 5, 5);
        painter.setPen(Qt::NoPen);
        painter.setBrush(kSelection);
        painter.drawRoundedRect(ring, 3, 3);
    }
    painter.fillRect(card.translated(2, 2), QColor(0, 0, 0, 64));
    painter.fillRect(card, Qt::white);
    const QString key = pictureKey(record);
    const auto found = pictures_.constFind(key);
    if (found != pictures_.constEnd()) {
        drawAspectFill(painter, *found, card);
    } else if (!requested_.contains(key)) {
        requested_.insert(key);
        gallery_.setThumbnailAsync(record.fileUrl);
    }
    // Categories, when switched on, mark the icon and move the name aside.
    const bool categories = gallery_.showCategories();
    const double labelLeft = categories ? 44 : 0;
    if (categories) {
        const QString name = QFileInfo(record.fileName).completeBaseName();
        painter.fillRect(QRectF(card.left() + 12, card.bottom() + 12, 20, 20),
                         gallery_.colorForCategoryIndex(gallery_.categoryIndexForFileWithName(name)));
    }
    const double labelWidth = metrics_.thumbnailSize.width() - 10 - labelLeft;
    const QRectF nameRect(card.left() + 5 + labelLeft, card.bottom() + 5, labelWidth, 20);
    const QRectF dateRect(card.left() + 5 + labelLeft, card.bottom() + 25, labelWidth, 15);
    QFont nameFont = font();
    nameFont.setBold(true);
    nameFont.setPixelSize(metrics_.thumbnailSize.width() >= 200 ? 18 : 14);
    painter.setFont(nameFont);
    const QString name = QFileInfo(record.fileName).completeBaseName();
    const QString shownName = QFontMetrics(nameFont).elidedText(name, Qt::ElideMiddle, int(labelWidth));
    painter.setPen(QColor(0, 0, 0, 160));
    painter.drawText(nameRect.translated(0, 1), Qt::AlignHCenter | Qt::AlignVCenter, shownName);
    painter.setPen(Qt::white);
    painter.drawText(nameRect, Qt::AlignHCenter | Qt::AlignVCenter, shownName);
    QFont dateFont = font();
    dateFont.setPixelSize(12);
    painter.setFont(dateFont);
    const QString date = KCloudGallery::showsSyncProgress(record)
                             ? KCloudGallery::syncProgressText(record)
                             : KCloudGallery::dateText(record, QDateTime::currentDateTime());
    painter.setPen(QColor::fromRgbF(0.85f, 0.85f, 0.85f));
    painter.drawText(dateRect, Qt::AlignHCenter | Qt::AlignVCenter, date);
}

void GalleryGridView::paintEvent(QPaintEvent*) {
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QPointF offset = canvasOffset();
    painter.translate(-offset);
    if (gallery_.files.empty()) {
        painter.setPen(QColor(255, 255, 255, 200));
        painter.drawText(QRectF(offset, QSizeF(viewport()->size())), Qt::AlignCenter,
                         "No books yet. Press Ctrl+N to make one.");
        return;
    }
    // Only the icons on screen are drawn, and only their pictures are asked for.
    for (const int position : iconsInRect(metrics_, grid_, visibleCanvasRect())) {
        const int fileIndex = gridFiles_[std::size_t(position)];
        paintIcon(painter, gallery_.files[std::size_t(fileIndex)], *grid_.centres[std::size_t(position)],
                  fileIndex == gallery_.selectedFileIndex);
    }
}

void GalleryGridView::mousePressEvent(QMouseEvent* event) {
    setFocus(Qt::MouseFocusReason);
    pressedIndex_ = event->button() == Qt::LeftButton ? fileIndexAt(event->position().toPoint()) : -1;
    if (pressedIndex_ >= 0) {
        gallery_.selectFile(gallery_.files[std::size_t(pressedIndex_)].fileUrl);
        viewport()->update();
        if (selectionChanged) selectionChanged();
    }
}

void GalleryGridView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    bool onLabel = false;
    const int index = fileIndexAt(event->position().toPoint(), &onLabel);
    const int pressed = pressedIndex_;
    pressedIndex_ = -1;
    if (index < 0 || index != pressed) return;
    if (onLabel) {
        if (contextMenuRequested) contextMenuRequested(index, event->globalPosition().toPoint());
    } else if (iconTapped) {
        iconTapped(index);
    }
}

void GalleryGridView::contextMenuEvent(QContextMenuEvent* event) {
    const bool byKey = event->reason() == QContextMenuEvent::Keyboard;
    const int index = byKey ? int(gallery_.selectedFileIndex) : fileIndexAt(event->pos());
    if (index < 0) return;
    gallery_.selectFile(gallery_.files[std::size_t(index)].fileUrl);
    viewport()->update();
    QPoint at = event->globalPos();
    if (byKey) at = viewport()->mapToGlobal(iconRect(index).center().toPoint());
    if (contextMenuRequested) contextMenuRequested(index, at);
}

void GalleryGridView::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Left:
            moveSelection(-1);
            return;
        case Qt::Key_Right:
            moveSelection(1);
            return;
        case Qt::Key_Up:
            moveSelection(-grid_.columns);
            return;
        case Qt::Key_Down:
            moveSelection(grid_.columns);
            return;
        case Qt::Key_Home:
            moveSelection(-int(gallery_.files.size()));
            return;
        case Qt::Key_End:
            moveSelection(int(gallery_.files.size()));
            return;
        default:
            QAbstractScrollArea::keyPressEvent(event);
    }
}

void GalleryGridView::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void GalleryGridView::dragMoveEvent(QDragMoveEvent* event) {
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void GalleryGridView::dropEvent(QDropEvent* event) {
    // One book at a time: taking a file in opens it.
    for (const QUrl& url : event->mimeData()->urls()) {
        if (!url.isLocalFile() || !QFileInfo(url.toLocalFile()).isFile()) continue;
        event->acceptProposedAction();
        if (fileDropped) fileDropped(url);
        return;
    }
}

// ---- the screen ----------------------------------------------------------------------------------------

GalleryView::GalleryView(GalleryController& gallery, QWidget* zoomHost, QWidget* parent)
    : QWidget(parent), gallery_(gallery), zoomHost_(zoomHost) {
    setObjectName("gallery");
    row_ = new QWidget(this);
    row_->setObjectName("galleryRow");
    row_->setAutoFillBackground(true);
    title_ = new QLabel(row_);
    title_->setObjectName("galleryTitle");
    QFont titleFont = title_->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.3);
    title_->setFont(titleFont);
    search_ = new QLineEdit(row_);
    search_->setObjectName("gallerySearch");
    search_->setPlaceholderText("Search");
    search_->setClearButtonEnabled(true);
    search_->setMaximumWidth(370);
    dateButton_ = new QToolButton(row_);
    dateButton_->setText("Date");
    dateButton_->setCheckable(true);
    nameButton_ = new QToolButton(row_);
    nameButton_->setText("Name");
    nameButton_->setCheckable(true);
    auto* sort = new QButtonGroup(this);
    sort->setExclusive(true);
    sort->addButton(dateButton_, 0);
    sort->addButton(nameButton_, 1);
    (gallery_.thumbnailArrangement == 0 ? dateButton_ : nameButton_)->setChecked(true);
    addButton_ = new QToolButton(row_);
    addButton_->setObjectName("galleryAdd");

    auto* rowLayout = new QHBoxLayout(row_);
    rowLayout->addWidget(title_, 1);
    rowLayout->addWidget(search_, 2);
    rowLayout->addWidget(dateButton_);
    rowLayout->addWidget(nameButton_);
    rowLayout->addSpacing(12);
    rowLayout->addWidget(addButton_);

    grid_ = new GalleryGridView(gallery_, this);
    const QSize screen =
        QApplication::primaryScreen() ? QApplication::primaryScreen()->size() : QSize(1280, 1024);
    grid_->setMetrics(galleryMetricsForDevice(gallery_.isTabletIdiom,
                                              std::min(screen.width(), screen.height()),
                                              std::max(screen.width(), screen.height())));
    gallery_.thumbnailSize = grid_->metrics().thumbnailSize;
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(row_);
    layout->addWidget(grid_, 1);
    setFocusProxy(grid_);

    // Commands.
    newBookAction = new QAction("New Book", this);
    newBookAction->setShortcut(QKeySequence::New);
    newBookAction->setToolTip("Make a new book and select it");
    addButton_->setDefaultAction(newBookAction);
    addButton_->setText("+ New Book");
    importAction = new QAction("Import Book\u2026", this);
    importAction->setToolTip("Move a book from elsewhere into the books folder and open it");
    openAction = new QAction("Open", this);
    openAction->setToolTip("Open the selected book (Return)");
    openAction->setShortcuts({QKeySequence(Qt::Key_Return), QKeySequence(Qt::Key_Enter)});
    renameAction = new QAction("Rename", this);
    renameAction->setToolTip("Rename the selected book (F2)");
    renameAction->setShortcut(QKeySequence(Qt::Key_F2));
    duplicateAction = new QAction("Duplicate", this);
    duplicateAction->setToolTip("Copy the selected book beside it (Ctrl+D)");
    duplicateAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_D));
    deleteAction = new QAction("Delete", this);
    deleteAction->setToolTip("Delete the selected book, after a confirmation (Delete)");
    deleteAction->setShortcut(QKeySequence::Delete);
    findAction = new QAction("Find", this);
    findAction->setToolTip("Search the books by name (Ctrl+F)");
    findAction->setShortcut(QKeySequence::Find);
    // Keys that mean something in the search field work on the grid only.
    for (QAction* action : {openAction, renameAction, deleteAction}) {
        action->setShortcutContext(Qt::WidgetShortcut);
        grid_->addAction(action);
    }
    for (QAction* action : {newBookAction, duplicateAction, findAction}) {
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        addAction(action);
    }

    connect(newBookAction, &QAction::triggered, this, [this] {
        search_->blockSignals(true);
        search_->clear();
        search_->blockSignals(false);
        gallery_.addFileTapped();
        updateTitle();
        grid_->setFocus();
    });
    connect(importAction, &QAction::triggered, this, [this] {
        const QString path = QFileDialog::getOpenFileName(this, "Import Book");
        if (!path.isEmpty()) gallery_.handleOpenUrl(QUrl::fromLocalFile(path), false);
    });
    connect(openAction, &QAction::triggered, this, [this] {
        if (gallery_.selectedFileIndex >= 0 && !isZooming()) gallery_.openSelectedFile();
    });
    connect(renameAction, &QAction::triggered, this, &GalleryView::promptRename);
    connect(duplicateAction, &QAction::triggered, this, [this] { gallery_.duplicateSelectedFile(); });
    connect(deleteAction, &QAction::triggered, this, &GalleryView::confirmDelete);
    connect(findAction, &QAction::triggered, this, [this] {
        search_->setFocus(Qt::ShortcutFocusReason);
        search_->selectAll();
    });
    connect(search_, &QLineEdit::textChanged, this, [this](const QString& text) {
        gallery_.textFieldDidChange(text);
        updateTitle();
    });
    // Down from the search field goes to the grid.
    connect(search_, &QLineEdit::returnPressed, this, [this] { grid_->setFocus(); });
    connect(sort, &QButtonGroup::idClicked, this, [this](int id) { gallery_.sortSelectorChanged(id); });

    grid_->iconTapped = [this](int index) {
        if (isZooming()) return;
        gallery_.selectedFileIndex = index;
        gallery_.selectedFileUrl = gallery_.files[std::size_t(index)].fileUrl;
        gallery_.openSelectedFile();
    };
    grid_->contextMenuRequested = [this](int index, QPoint at) { showContextMenu(index, at); };
    grid_->selectionChanged = [this] { updateActions(); };
    grid_->fileDropped = [this](const QUrl& url) { gallery_.handleOpenUrl(url, false); };

    connect(&gallery_, &KCloudGallery::filesChanged, this, [this](bool, bool scroll, bool) {
        grid_->relayout();
        if (scroll) grid_->ensureSelectedVisible();
        updateTitle();
        updateActions();
    });
    connect(&gallery_, &KCloudGallery::iconsArranged, this, [this] {
        grid_->relayout();
        updateActions();
    });
    connect(&gallery_, &KCloudGallery::newFileAdded, this, [this](const QUrl& url) {
        grid_->ensureSelectedVisible();
        grid_->animateIcon(url, true);
    });
    gallery_.zoomIn = [this](const QImage& image, bool inPlace, std::function<void()> done) {
        zoomIn(image, inPlace, std::move(done));
    };
    updateTitle();
    updateActions();
}

void GalleryView::updateTitle() {
    const QString text = gallery_.titleText();
    title_->setText(text.isEmpty() ? QStringLiteral("Velumen") : text);
    QPalette palette = row_->palette();
    palette.setColor(QPalette::Window, gallery_.isToolbarTinted()
                                           ? kSearchTint
                                           : QApplication::palette().color(QPalette::Window));
    row_->setPalette(palette);
}

void GalleryView::updateActions() {
    const bool selected = gallery_.selectedFileIndex >= 0;
    for (QAction* action : {openAction, renameAction, duplicateAction, deleteAction})
        action->setEnabled(selected);
    grid_->viewport()->update();
}

void GalleryView::showContextMenu(int fileIndex, QPoint globalPos) {
    gallery_.selectFile(gallery_.files[std::size_t(fileIndex)].fileUrl);
    updateActions();
    auto* menu = new QMenu(this);
    menu->setObjectName("galleryContextMenu");
    menu->setAttribute(Qt::WA_DeleteOnClose);
    for (const QString& title : gallery_.contextMenuTitles()) {
        if (title == QLatin1String("Rename"))
            menu->addAction(renameAction);
        else if (title == QLatin1String("Duplicate"))
            menu->addAction(duplicateAction);
        else if (title == QLatin1String("Delete"))
            menu->addAction(deleteAction);
    }
    menu->popup(globalPos);
}

void GalleryView::promptRename() {
    if (gallery_.selectedFileIndex < 0 || dialog_) return;
    auto* dialog = new QInputDialog(this);
    dialog->setObjectName("renameDialog");
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(KCloudGallery::kRenameTitle);
    dialog->setLabelText(QString());
    dialog->setTextValue(QFileInfo(gallery_.selectedFileUrl.toLocalFile()).completeBaseName());
    dialog->setOkButtonText(KCloudGallery::kRenameButton);
    dialog->setCancelButtonText(KCloudGallery::kCancelButton);
    auto* field = dialog->findChild<QLineEdit*>();
    if (field) field->setClearButtonEnabled(true);
    connect(dialog, &QInputDialog::textValueSelected, this,
            [this](const QString& text) { gallery_.renameSelectedFile(text); });
    connect(dialog, &QDialog::finished, grid_, [this] { grid_->setFocus(); });
    dialog_ = dialog;
    dialog->open();
    // The name is ready to be typed over.
    if (field) {
        field->setFocus(Qt::OtherFocusReason);
        field->selectAll();
    }
}

void GalleryView::confirmDelete() {
    if (gallery_.selectedFileIndex < 0 || dialog_) return;
    auto* box = new QMessageBox(this);
    box->setObjectName("deleteDialog");
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowTitle(KCloudGallery::kDeleteTitle);
    box->setText(gallery_.deleteConfirmationMessage());
    box->setIcon(QMessageBox::Warning);
    QPushButton* no = box->addButton(KCloudGallery::kDeleteNoButton, QMessageBox::RejectRole);
    QPushButton* remove = box->addButton(KCloudGallery::kDeleteButton, QMessageBox::DestructiveRole);
    box->setDefaultButton(no);
    box->setEscapeButton(no);
    connect(box, &QMessageBox::buttonClicked, this, [this, remove](QAbstractButton* button) {
        if (button != remove) return;
        // The icon shrinks away first; input waits for the end, so the selection stays the doomed book.
        setEnabled(false);
        grid_->animateIcon(gallery_.selectedFileUrl, false, [this] {
            setEnabled(true);
            grid_->setFocus();
            gallery_.deleteSelectedFile();
        });
    });
    connect(box, &QDialog::finished, grid_, [this] { grid_->setFocus(); });
    dialog_ = box;
    box->open();
}

// ---- the zoom ------------------------------------------------------------------------------------------

QRect GalleryView::hostRect() const {
    QWidget* host = zoomHost_ ? zoomHost_.data() : const_cast<GalleryView*>(this);
    return QRect(host->mapTo(window(), QPoint(0, 0)), host->size());
}

void GalleryView::removeZoomImage() {
    if (zoomImage_) zoomImage_->deleteLater();
    if (backing_) backing_->deleteLater();
    zoomImage_ = nullptr;
    backing_ = nullptr;
}

void GalleryView::zoomIn(const QImage& image, bool inPlace, std::function<void()> done) {
    setEnabled(false);
    removeZoomImage();
    QRectF from;
    if (inPlace || gallery_.selectedFileIndex < 0) {
        const QRect host = hostRect();
        from = QRectF(host.center().x() - 60, host.center().y() - 60 - 60, 120, 120);
    } else {
        const QRectF card = grid_->iconRect(int(gallery_.selectedFileIndex));
        from = QRectF(grid_->viewport()->mapTo(window(), card.topLeft().toPoint()), card.size());
    }
    const QSizeF size = image.isNull() ? QSizeF(from.size()) : QSizeF(image.size());
    from = zoomStartRect(from, size);
    const QRect host = hostRect();
    const bool imageLandscape = size.width() > size.height();
    const bool hostLandscape = host.width() > host.height();
    if (imageLandscape != hostLandscape) {
        // White beyond the picture's edges at the end, as the page shows on its paper.
        auto* backing = new QWidget(window());
        backing->setAutoFillBackground(true);
        QPalette white = backing->palette();
        white.setColor(QPalette::Window, Qt::white);
        backing->setPalette(white);
        backing->setGeometry(host);
        auto* fade = new QGraphicsOpacityEffect(backing);
        fade->setOpacity(0);
        backing->setGraphicsEffect(fade);
        backing->show();
        backing->raise();
        backing_ = backing;
    }
    auto* label = new QLabel(window());
    label->setObjectName("galleryZoom");
    label->setScaledContents(true);
    label->setPixmap(zoomPixmap(image));
    label->setGeometry(from.toAlignedRect());
    label->show();
    label->raise();
    zoomImage_ = label;
    // The picture grows to fill the page area as the page will, keeping its shape.
    const QRect to = zoomEndRect(QRectF(host), size).toAlignedRect();
    auto* group = new QParallelAnimationGroup(label);
    auto* grow = new QPropertyAnimation(label, "geometry", group);
    grow->setDuration(350);
    grow->setStartValue(from.toAlignedRect());
    grow->setEndValue(to);
    grow->setEasingCurve(QEasingCurve::OutBack);
    group->addAnimation(grow);
    if (backing_) {
        auto* appear = new QPropertyAnimation(backing_->graphicsEffect(), "opacity", group);
        appear->setDuration(350);
        appear->setStartValue(0.0);
        appear->setEndValue(1.0);
        group->addAnimation(appear);
    }
    connect(group, &QAbstractAnimation::finished, this, [done = std::move(done)] { done(); });
    group->start();
}

void GalleryView::show(bool shown) {
    gallery_.show(shown);
    QWidget* picture = zoomImage_;
    QWidget* backing = backing_;
    if (shown || !picture) return;
    // The editor is up: the zoom's picture fades away above it.
    zoomImage_ = nullptr;
    backing_ = nullptr;
    auto* sequence = new QSequentialAnimationGroup(picture);
    sequence->addPause(100);
    auto* both = new QParallelAnimationGroup(sequence);
    for (QWidget* widget : {picture, backing}) {
        if (!widget) continue;
        auto* effect = new QGraphicsOpacityEffect(widget);
        widget->setGraphicsEffect(effect);
        auto* fade = new QPropertyAnimation(effect, "opacity", both);
        fade->setDuration(200);
        fade->setStartValue(1.0);
        fade->setEndValue(0.0);
        both->addAnimation(fade);
    }
    sequence->addAnimation(both);
    connect(sequence, &QAbstractAnimation::finished, picture, [picture, backing] {
        picture->deleteLater();
        if (backing) backing->deleteLater();
    });
    sequence->start();
}

void GalleryView::cancelZoom() {
    removeZoomImage();
    setEnabled(true);
    grid_->setFocus();
}

void GalleryView::zoomOutWithCompletion(std::function<void()> done) {
    gallery_.updateTimestampForCachediCloudFile(gallery_.selectedFileUrl);
    gallery_.updateFileListAndScroll(true, false);
    removeZoomImage();
    const int index = int(gallery_.selectedFileIndex);
    const QRectF card = index >= 0 ? grid_->iconRect(index) : QRectF();
    if (card.isEmpty()) {
        // The book is gone from the list: the gallery simply appears.
        setEnabled(true);
        grid_->setFocus();
        if (done) done();
        return;
    }
    setEnabled(false);
    const QImage image = gallery_.getCachedThumbnailForFile(gallery_.selectedFileUrl);
    const QRect host = hostRect();
    const QSizeF size = image.isNull() ? QSizeF(card.size()) : QSizeF(image.size());
    const QRect to =
        zoomStartRect(QRectF(grid_->viewport()->mapTo(window(), card.topLeft().toPoint()), card.size()), size)
            .toAlignedRect();
    const QRect from = zoomEndRect(QRectF(host), size).toAlignedRect();
    auto* label = new QLabel(window());
    label->setObjectName("galleryZoom");
    label->setScaledContents(true);
    label->setPixmap(zoomPixmap(image));
    label->setGeometry(from);
    label->show();
    label->raise();
    zoomImage_ = label;
    auto* sequence = new QSequentialAnimationGroup(label);
    auto* shrink = new QPropertyAnimation(label, "geometry", sequence);
    shrink->setDuration(400);
    shrink->setStartValue(from);
    shrink->setEndValue(to);
    shrink->setEasingCurve(QEasingCurve::OutCubic);
    sequence->addAnimation(shrink);
    auto* effect = new QGraphicsOpacityEffect(label);
    label->setGraphicsEffect(effect);
    auto* fade = new QPropertyAnimation(effect, "opacity", sequence);
    fade->setDuration(100);
    fade->setStartValue(1.0);
    fade->setEndValue(0.0);
    sequence->addAnimation(fade);
    connect(sequence, &QAbstractAnimation::finished, this, [this, done = std::move(done)] {
        removeZoomImage();
        setEnabled(true);
        grid_->setFocus();
        if (done) done();
    });
    sequence->start();
}

}  // namespace velumen
