// The gallery's screen: a row with the title, the search field, the sort selector and the new-book button
// above a scrolling grid of book icons (card, name, date). Pictures are asked for only for the icons on
// screen, off the GUI thread. Mouse: a click on a card opens its book with a zoom from the icon to the
// editor; a click on the name or a right click selects the book and offers Rename, Duplicate and Delete.
// Keys: arrows move the selection, Enter opens, F2 renames, Delete deletes after its confirmation, Ctrl+N
// makes a book. Files dropped on the grid are taken into the books folder and opened.
#pragma once

#include <QAbstractScrollArea>
#include <QAction>
#include <QHash>
#include <QPointer>
#include <QSet>
#include <QWidget>
#include <functional>

#include "gallery/FoliantGallery.h"
#include "gallery/ui/GalleryLayout.h"

#include <QLabel>
class QLineEdit;
class QToolButton;

namespace velumen {

// The notebook's gallery model with the zoom into a book done by its screen.
class GalleryController : public FoliantGallery {
  public:
    using FoliantGallery::FoliantGallery;
    // Runs the zoom from the selected icon (or, in place, from the middle of the screen) and calls `done`
    // at its end; without a screen `done` is called at once.
    std::function<void(const QImage&, bool inPlace, std::function<void()> done)> zoomIn;

  protected:
    void zoomInThumbnail(const QImage& image, bool inPlace, std::function<void()> done) override;
};

// The scrolling grid of icons.
class GalleryGridView : public QAbstractScrollArea {
    Q_OBJECT

  public:
    explicit GalleryGridView(KCloudGallery& gallery, QWidget* parent = nullptr);

    // Lays the icons out again from the model's order and filter.
    void relayout();
    // The icon of the book at `index` of the model's files, in viewport coordinates (card only with
    // `cardOnly`); empty when it has no cell.
    QRectF iconRect(int fileIndex, bool cardOnly = true) const;
    // Scrolls so that the selected icon is on screen.
    void ensureSelectedVisible();
    // Moves the selection by `delta` places in the shown order (clamped); selects the first with none.
    void moveSelection(int delta);
    int columns() const { return grid_.columns; }
    const GalleryMetrics& metrics() const { return metrics_; }
    void setMetrics(const GalleryMetrics& metrics);
    // Positions in the arranged order whose pictures were asked for since the last layout: only icons that
    // were on screen.
    int picturesRequested() const { return int(requested_.size()); }
    // The file index under a viewport point, -1 for none; `onLabel` tells whether it is the name and date.
    int fileIndexAt(QPoint point, bool* onLabel = nullptr) const;

    // Animates the book's icon about its centre: grown in from nothing (`appearing`), or shrunk to a tenth
    // and faded out; `done` runs at the end. 0.35 s.
    void animateIcon(const QUrl& url, bool appearing, std::function<void()> done = {});
    bool isAnimatingIcons() const { return !iconAnimation_.isEmpty(); }

    std::function<void(int fileIndex)> iconTapped;
    // The selection changed by a click or a key.
    std::function<void()> selectionChanged;
    std::function<void(int fileIndex, QPoint globalPos)> contextMenuRequested;
    std::function<void(const QUrl&)> fileDropped;

  protected:
    void paintEvent(QPaintEvent*) override;
    void resizeEvent(QResizeEvent*) override;
    void scrollContentsBy(int dx, int dy) override;
    void mousePressEvent(QMouseEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;
    void contextMenuEvent(QContextMenuEvent*) override;
    void keyPressEvent(QKeyEvent*) override;
    void dragEnterEvent(QDragEnterEvent*) override;
    void dragMoveEvent(QDragMoveEvent*) override;
    void dropEvent(QDropEvent*) override;

  private:
    QString pictureKey(const FileInfo& record) const;
    void updateScrollBars();
    QRectF visibleCanvasRect() const;
    QPointF canvasOffset() const;
    void paintIcon(QPainter& painter, const FileInfo& record, QPointF centre, bool selected);
    void paintIconContent(QPainter& painter, const FileInfo& record, QPointF centre, bool selected);

    KCloudGallery& gallery_;
    GalleryMetrics metrics_;
    GalleryGrid grid_;
    std::vector<int> gridFiles_;       // file index of each grid position (the arranged order)
    QHash<QString, QImage> pictures_;  // by URL and date: a changed book asks again
    QSet<QString> requested_;
    QHash<QString, double> iconAnimation_;  // by URL: progress of the scale and fade, negative when leaving
    int pressedIndex_ = -1;
};

class GalleryView : public QWidget {
    Q_OBJECT

  public:
    // `zoomHost` is the widget whose area the zoom fills (the window's stack of pages); it and `gallery`
    // outlive the view.
    GalleryView(GalleryController& gallery, QWidget* zoomHost, QWidget* parent = nullptr);

    GalleryController& gallery() { return gallery_; }
    GalleryGridView* grid() const { return grid_; }
    QLineEdit* searchField() const { return search_; }
    QToolButton* dateButton() const { return dateButton_; }
    QToolButton* nameButton() const { return nameButton_; }
    QLabel* titleLabel() const { return title_; }

    // The gallery goes behind an open book (false) or comes back (true); the zoom's picture fades away
    // once the editor is up.
    void show(bool shown);
    using QWidget::show;
    // The way back from a closed book: the list is read again (the edited book now first by date and
    // scrolled into view), then its picture shrinks from the whole screen into its icon.
    void zoomOutWithCompletion(std::function<void()> done);
    // A failed open: the zoom's picture goes and the gallery takes input again.
    void cancelZoom();
    // The zoom is running or its picture is still on screen.
    bool isZooming() const { return zoomImage_ != nullptr; }

    // Commands: one action each, shared by the menu, the keys and the context menu.
    QAction* newBookAction = nullptr;  // Ctrl+N
    QAction* importAction = nullptr;   // take a book in from elsewhere
    QAction* openAction = nullptr;     // Enter
    QAction* renameAction = nullptr;   // F2
    QAction* duplicateAction = nullptr;
    QAction* deleteAction = nullptr;  // Delete
    QAction* findAction = nullptr;    // Ctrl+F

    // The running confirmation or name dialog, for the keyboard and for tests.
    QWidget* activeDialog() const { return dialog_; }

  private:
    void updateTitle();
    void updateActions();
    void showContextMenu(int fileIndex, QPoint globalPos);
    void promptRename();
    void confirmDelete();
    void zoomIn(const QImage& image, bool inPlace, std::function<void()> done);
    QRect hostRect() const;
    void removeZoomImage();

    GalleryController& gallery_;
    QPointer<QWidget> zoomHost_;
    GalleryGridView* grid_ = nullptr;
    QWidget* row_ = nullptr;
    QLabel* title_ = nullptr;
    QLineEdit* search_ = nullptr;
    QToolButton* dateButton_ = nullptr;
    QToolButton* nameButton_ = nullptr;
    QToolButton* addButton_ = nullptr;
    QPointer<QWidget> dialog_;
    QPointer<QLabel> zoomImage_;
    QPointer<QWidget> backing_;
};

}  // namespace velumen
