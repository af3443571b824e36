// The layer of live page objects over the GL surface: a transparent graphics view whose page layer is in
// page units and moves with the ink's zoom and pan (set in the same event as the ink's), so that what it
// holds never lags or drifts from the ink. It holds one live text view per text box of the shown page, the
// width grip of the box being edited, and is built to hold the lasso, grips and satellite of a selection
// as well. It takes pointer input only while a box is being edited; otherwise every touch passes through
// to the surface below.
#pragma once

#include <QGraphicsTextItem>
#include <QGraphicsView>
#include <QMouseEvent>
#include <functional>
#include <memory>

#include "ink/KGeometry.h"
#include "ink/KColor.h"
#include "ink/ViewTransform.h"
#include "objects/FoliantTextBox.h"

class QGraphicsRectItem;

namespace velumen {

class TextOverlayView;

// The live view of one text box: its text laid out as every picture of the box lays it out, over the box's
// background, editable only while its box is edited.
class TextBoxItem : public QGraphicsTextItem {
  public:
    TextBoxItem(FoliantTextBoxPtr box, QGraphicsItem* parent);

    const FoliantTextBoxPtr& box() const { return box_; }
    // Shows the model: text, font, colours, alignment, and its frame (origin rounded down, size up); the
    // height follows the text.
    void showBox();
    // Shows the model's style (font, colours, alignment) and keeps the text being typed.
    void showStyle();
    // The frame shown, in page units: origin and width as set, height as the text needs.
    Rect shownFrame() const;
    // Moves the view to an origin, or changes its width (the height follows the text).
    void setShownOrigin(Point origin);
    void setShownWidth(double width);
    // Editable (with the border of the edited box) or not.
    void setEditing(bool editing, const KColor& borderColor);
    bool isEditing() const { return editing_; }

    // Called after every change of the text while editing; and on Escape.
    std::function<void()> textChanged;
    std::function<void()> finishRequested;

    QRectF boundingRect() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

  protected:
    bool sceneEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QGraphicsSceneContextMenuEvent* event) override;

  private:
    void fitHeight();

    FoliantTextBoxPtr box_;
    double width_ = 0;
    double height_ = 0;
    bool editing_ = false;
    QColor border_;
};

// What the overlay reports of a pointer while a box is being edited.
class TextOverlayDelegate {
  public:
    virtual ~TextOverlayDelegate() = default;
    // A tap (press and release without movement) outside the edited box, at a page point.
    virtual void textOverlayTappedAt(Point pagePoint) = 0;
    // A drag of the width grip: its start, each movement since the start in page units, its end.
    virtual void textOverlayGripBegan() = 0;
    virtual void textOverlayGripMoved(double dx) = 0;
    virtual void textOverlayGripEnded() = 0;
    // A drag that moves the edited box (one finger on it, or a mouse on its frame).
    virtual void textOverlayDragBegan() = 0;
    virtual void textOverlayDragMoved(Point delta) = 0;
    virtual void textOverlayDragEnded() = 0;
};

class TextOverlayView : public QGraphicsView {
  public:
    // The grip's side and how close to the edited box's edge a mouse press grabs its frame, in view points.
    static constexpr double kGripSize = 22;
    static constexpr double kFrameBand = 6;

    explicit TextOverlayView(QWidget* parent);

    TextOverlayDelegate* delegate = nullptr;

    // The page layer's transform: page units to view points, as the ink is drawn. Cheap when unchanged.
    void setPageTransform(const ViewTransform& transform);
    const ViewTransform& pageTransform() const { return transform_; }
    // Items in page units go under this.
    QGraphicsItem* pageLayer() const { return pageLayer_; }

    // Input on (a box is being edited, `active` its view) or off (every touch reaches the surface).
    void setEditedItem(TextBoxItem* active);
    TextBoxItem* editedItem() const { return active_; }
    // Centres the width grip on the middle of the edited box's right edge; hidden without one.
    void positionGrips();
    QGraphicsItem* widthResizeGrip() const { return grip_; }

    Point pagePointFromViewPoint(QPointF viewPoint) const;
    QPointF viewPointFromPagePoint(Point pagePoint) const;

  protected:
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

  private:
    // A finger on the box is a tap (the caret goes there) until it moves: then it drags the box.
    enum class Press { None, Text, Grip, Drag, Outside, FingerOnBox };
    bool onFrameBand(QPointF viewPoint) const;

    QGraphicsScene scene_;
    QGraphicsRectItem* pageLayer_ = nullptr;
    QGraphicsRectItem* grip_ = nullptr;
    TextBoxItem* active_ = nullptr;
    ViewTransform transform_{0, {}};
    Press press_ = Press::None;
    QPointF pressPoint_;
    // The press of a finger on the box, replayed to the text if it lifts without moving.
    std::unique_ptr<QMouseEvent> fingerPress_;
    bool pressMoved_ = false;
};

}  // namespace velumen
