#include "shell/text/TextOverlayView.h"

#include <QApplication>
#include <QClipboard>
#include <QGraphicsRectItem>
#include <QGraphicsSceneContextMenuEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QPainter>
#include <QTextCursor>
#include <QTextDocument>
#include <cmath>

#include "objects/TextBoxRules.h"
#include "shell/text/TextBoxDrawing.h"

namespace velumen {

namespace {
QColor qColor(const KColor& c) {
    return QColor::fromRgbF(float(c.r), float(c.g), float(c.b), float(c.a));
}

// The keys a box being edited keeps from the window's commands: everything typed without a command
// modifier (letters, digits, arrows, Delete, Escape), and the usual editing sequences.
bool isEditingKey(const QKeyEvent* key) {
    if (!(key->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))) return true;
    for (QKeySequence::StandardKey standard :
         {QKeySequence::Undo, QKeySequence::Redo, QKeySequence::Copy, QKeySequence::Cut, QKeySequence::Paste,
          QKeySequence::SelectAll, QKeySequence::MoveToNextWord, QKeySequence::MoveToPreviousWord,
          QKeySequence::SelectNextWord, QKeySequence::SelectPreviousWord, QKeySequence::DeleteEndOfWord,
          QKeySequence::DeleteStartOfWord, QKeySequence::MoveToStartOfDocument, QKeySequence::MoveToEndOfDocument,
          QKeySequence::SelectStartOfDocument, QKeySequence::SelectEndOfDocument})
        if (key->matches(standard)) return true;
    return false;
}
// A mouse event made from a touch of a finger, not from a mouse or a stylus.
bool isFromFinger(const QMouseEvent* event) {
    return event->pointingDevice() && event->pointingDevice()->type() == QInputDevice::DeviceType::TouchScreen;
}
}  // namespace

// ---- TextBoxItem ----

TextBoxItem::TextBoxItem(FoliantTextBoxPtr box, QGraphicsItem* parent)
    : QGraphicsTextItem(parent), box_(std::move(box)) {
    setAcceptedMouseButtons(Qt::NoButton);
    setAcceptDrops(false);
    showBox();
    QObject::connect(document(), &QTextDocument::contentsChanged, this, [this] {
        if (!editing_) return;
        fitHeight();
        if (textChanged) textChanged();
    });
}

void TextBoxItem::showBox() {
    const Rect frame = textbox::shownFrame(box_->frame);
    width_ = frame.width;
    const bool wasEditing = editing_;
    editing_ = false;  // setting the text is no typing
    configureTextDocument(*document(), *box_, width_);
    editing_ = wasEditing;
    setDefaultTextColor(qColor(box_->foregroundColor));
    setPos(frame.x, frame.y);
    fitHeight();
}

void TextBoxItem::showStyle() {
    FoliantTextBox styled = *box_;
    styled.text = document()->toPlainText().toStdString();
    const bool wasEditing = editing_;
    editing_ = false;
    QTextCursor cursor = textCursor();
    const int anchor = cursor.anchor();
    const int position = cursor.position();
    document()->setDefaultFont(QFont());
    QTextDocument fresh;
    configureTextDocument(fresh, styled, width_);
    document()->setDefaultFont(fresh.defaultFont());
    document()->setDefaultTextOption(fresh.defaultTextOption());
    // The font and alignment of the existing paragraphs follow the document's defaults once their own
    // formats are cleared.
    QTextCursor all(document());
    all.select(QTextCursor::Document);
    all.setCharFormat(QTextCharFormat());
    QTextBlockFormat block;
    block.setAlignment(fresh.defaultTextOption().alignment());
    all.setBlockFormat(block);
    cursor.setPosition(std::min(anchor, document()->characterCount() - 1));
    cursor.setPosition(std::min(position, document()->characterCount() - 1), QTextCursor::KeepAnchor);
    setTextCursor(cursor);
    editing_ = wasEditing;
    setDefaultTextColor(qColor(box_->foregroundColor));
    fitHeight();
    update();
}

Rect TextBoxItem::shownFrame() const {
    return {pos().x(), pos().y(), width_, height_};
}

void TextBoxItem::setShownOrigin(Point origin) {
    setPos(origin.x, origin.y);
}

void TextBoxItem::setShownWidth(double width) {
    prepareGeometryChange();
    width_ = width;
    document()->setTextWidth(width);
    fitHeight();
}

void TextBoxItem::fitHeight() {
    prepareGeometryChange();
    height_ = std::max(textbox::kMinimumHeight, std::ceil(document()->size().height()));
    update();
}

void TextBoxItem::setEditing(bool editing, const KColor& borderColor) {
    editing_ = editing;
    border_ = qColor(borderColor);
    setTextInteractionFlags(editing ? Qt::TextEditorInteraction : Qt::NoTextInteraction);
    setAcceptedMouseButtons(editing ? Qt::LeftButton : Qt::NoButton);
    setAcceptDrops(false);
    if (editing) {
        setFocus(Qt::OtherFocusReason);
    } else {
        QTextCursor cursor = textCursor();
        cursor.clearSelection();
        setTextCursor(cursor);
        clearFocus();
    }
    update();
}

QRectF TextBoxItem::boundingRect() const {
    return QRectF(0, 0, width_, height_).united(QGraphicsTextItem::boundingRect()).adjusted(-2, -2, 2, 2);
}

void TextBoxItem::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) {
    const QRectF frame(0, 0, width_, height_);
    painter->fillRect(frame, qColor(box_->backgroundColor));
    painter->save();
    painter->setClipRect(frame, Qt::IntersectClip);
    QGraphicsTextItem::paint(painter, option, widget);
    painter->restore();
    if (editing_) {
        QPen pen(border_, 2.0);
        pen.setCosmetic(true);
        painter->setPen(pen);
        painter->setBrush(Qt::NoBrush);
        painter->drawRect(frame);
    }
}

bool TextBoxItem::sceneEvent(QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride && editing_ && isEditingKey(static_cast<QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    return QGraphicsTextItem::sceneEvent(event);
}

void TextBoxItem::keyPressEvent(QKeyEvent* event) {
    if (!editing_) return QGraphicsTextItem::keyPressEvent(event);
    if (event->key() == Qt::Key_Escape) {
        if (finishRequested) finishRequested();
        return;
    }
    if (event->matches(QKeySequence::Paste)) {
        const QMimeData* data = QApplication::clipboard()->mimeData();
        if (data && data->hasText()) {
            QTextCursor cursor = textCursor();
            cursor.insertText(cleanPastedText(data->text()));
            setTextCursor(cursor);
        }
        return;
    }
    QGraphicsTextItem::keyPressEvent(event);
}

void TextBoxItem::contextMenuEvent(QGraphicsSceneContextMenuEvent* event) {
    // The toolkit's menu would paste rich text: the keys do the editing.
    event->accept();
}

// ---- TextOverlayView ----

TextOverlayView::TextOverlayView(QWidget* parent) : QGraphicsView(parent) {
    setScene(&scene_);
    setFrameStyle(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAlignment(Qt::AlignLeft | Qt::AlignTop);
    setTransformationAnchor(QGraphicsView::NoAnchor);
    setResizeAnchor(QGraphicsView::NoAnchor);
    setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    setViewportUpdateMode(QGraphicsView::MinimalViewportUpdate);
    setStyleSheet("background: transparent; border: none;");
    setBackgroundBrush(Qt::NoBrush);
    viewport()->setAutoFillBackground(false);
    setAttribute(Qt::WA_TranslucentBackground);
    viewport()->setAttribute(Qt::WA_TranslucentBackground);
    setFocusPolicy(Qt::ClickFocus);

    pageLayer_ = new QGraphicsRectItem();
    pageLayer_->setFlag(QGraphicsItem::ItemHasNoContents);
    pageLayer_->setPen(Qt::NoPen);
    scene_.addItem(pageLayer_);
    grip_ = new QGraphicsRectItem(-kGripSize / 2, -kGripSize / 2, kGripSize, kGripSize);
    grip_->setBrush(QColor(0x30, 0x80, 0xf0));
    grip_->setPen(QPen(Qt::white, 2));
    grip_->setZValue(10);
    grip_->hide();
    scene_.addItem(grip_);
    setPageTransform({1, {}});
    setEditedItem(nullptr);
}

void TextOverlayView::setPageTransform(const ViewTransform& transform) {
    if (transform == transform_) return;
    transform_ = transform;
    pageLayer_->setTransform(QTransform(transform.zoomFactor, 0, 0, transform.zoomFactor, transform.inkPanDelta.x,
                                        transform.inkPanDelta.y));
    positionGrips();
}

void TextOverlayView::setEditedItem(TextBoxItem* active) {
    active_ = active;
    press_ = Press::None;
    setAttribute(Qt::WA_TransparentForMouseEvents, active == nullptr);
    setInteractive(active != nullptr);
    if (active) setFocus(Qt::OtherFocusReason);
    positionGrips();
}

void TextOverlayView::positionGrips() {
    if (!active_) {
        grip_->hide();
        return;
    }
    const Rect frame = active_->shownFrame();
    grip_->setPos(viewPointFromPagePoint({frame.x + frame.width, frame.y + frame.height / 2}));
    grip_->show();
}

Point TextOverlayView::pagePointFromViewPoint(QPointF viewPoint) const {
    // The view shows the scene unscrolled and unscaled: view points are scene points.
    const QPointF page = pageLayer_->mapFromScene(viewPoint);
    return {page.x(), page.y()};
}

QPointF TextOverlayView::viewPointFromPagePoint(Point pagePoint) const {
    return pageLayer_->mapToScene(QPointF(pagePoint.x, pagePoint.y));
}

void TextOverlayView::resizeEvent(QResizeEvent* event) {
    QGraphicsView::resizeEvent(event);
    setSceneRect(0, 0, viewport()->width(), viewport()->height());
}

bool TextOverlayView::onFrameBand(QPointF viewPoint) const {
    if (!active_) return false;
    const Rect f = active_->shownFrame();
    const QRectF shown(viewPointFromPagePoint({f.x, f.y}), viewPointFromPagePoint({f.x + f.width, f.y + f.height}));
    return shown.adjusted(-kFrameBand, -kFrameBand, kFrameBand, kFrameBand).contains(viewPoint) &&
           !shown.adjusted(kFrameBand, kFrameBand, -kFrameBand, -kFrameBand).contains(viewPoint);
}

void TextOverlayView::mousePressEvent(QMouseEvent* event) {
    pressPoint_ = event->position();
    pressMoved_ = false;
    press_ = Press::Outside;
    if (!active_ || event->button() != Qt::LeftButton) {
        press_ = Press::None;
        return;
    }
    const QPointF p = event->position();
    if (grip_->isVisible() && grip_->sceneBoundingRect().contains(p)) {
        press_ = Press::Grip;
        if (delegate) delegate->textOverlayGripBegan();
        return;
    }
    if (onFrameBand(p)) {
        press_ = Press::Drag;
        if (delegate) delegate->textOverlayDragBegan();
        return;
    }
    const Rect f = active_->shownFrame();
    const Point page = pagePointFromViewPoint(p);
    if (page.x >= f.x && page.x < f.x + f.width && page.y >= f.y && page.y < f.y + f.height) {
        if (isFromFinger(event)) {
            press_ = Press::FingerOnBox;
            fingerPress_.reset(event->clone());
            return;
        }
        press_ = Press::Text;
        QGraphicsView::mousePressEvent(event);
    }
}

void TextOverlayView::mouseMoveEvent(QMouseEvent* event) {
    const QPointF moved = event->position() - pressPoint_;
    if (std::hypot(moved.x(), moved.y()) > 3) pressMoved_ = true;
    const double zoom = transform_.zoomFactor > 0 ? transform_.zoomFactor : 1;
    switch (press_) {
        case Press::Grip:
            if (delegate) delegate->textOverlayGripMoved(moved.x() / zoom);
            positionGrips();
            break;
        case Press::Drag:
            if (delegate) delegate->textOverlayDragMoved({moved.x() / zoom, moved.y() / zoom});
            positionGrips();
            break;
        case Press::Text: QGraphicsView::mouseMoveEvent(event); break;
        case Press::FingerOnBox:
            if (pressMoved_) {
                press_ = Press::Drag;
                fingerPress_.reset();
                if (delegate) {
                    delegate->textOverlayDragBegan();
                    delegate->textOverlayDragMoved({moved.x() / zoom, moved.y() / zoom});
                }
                positionGrips();
            }
            break;
        default: break;
    }
}

void TextOverlayView::mouseReleaseEvent(QMouseEvent* event) {
    const Press press = std::exchange(press_, Press::None);
    switch (press) {
        case Press::Grip:
            if (delegate) delegate->textOverlayGripEnded();
            break;
        case Press::Drag:
            if (delegate) delegate->textOverlayDragEnded();
            break;
        case Press::Text: QGraphicsView::mouseReleaseEvent(event); break;
        case Press::FingerOnBox:
            // A tap: the caret goes where the finger was.
            if (fingerPress_) QGraphicsView::mousePressEvent(fingerPress_.get());
            fingerPress_.reset();
            QGraphicsView::mouseReleaseEvent(event);
            break;
        case Press::Outside:
            if (!pressMoved_ && delegate) delegate->textOverlayTappedAt(pagePointFromViewPoint(event->position()));
            break;
        case Press::None: break;
    }
}

void TextOverlayView::mouseDoubleClickEvent(QMouseEvent* event) {
    // A double click selects a word inside the box; elsewhere it is a press like any other.
    const Rect f = active_ ? active_->shownFrame() : Rect{};
    const Point page = pagePointFromViewPoint(event->position());
    if (active_ && page.x >= f.x && page.x < f.x + f.width && page.y >= f.y && page.y < f.y + f.height &&
        !onFrameBand(event->position())) {
        press_ = Press::Text;
        QGraphicsView::mouseDoubleClickEvent(event);
        return;
    }
    mousePressEvent(event);
}

void TextOverlayView::wheelEvent(QWheelEvent* event) {
    // The wheel pans and zooms the page below.
    event->ignore();
}

}  // namespace velumen
