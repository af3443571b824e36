// The editor's side of text boxes: it makes the text editor over the surface, opens a tapped box, makes
// the views follow what each event changed (the page's boxes, the zoom and pan, the end of a zoom), inserts
// new boxes, and draws the boxes over every picture of a page that the surface makes.

#include <QCursor>

#include "shell/FoliantViewController.h"
#include "shell/text/TextBoxDrawing.h"
#include "shell/text/TextBoxEditor.h"

namespace velumen {

void FoliantViewController::makeTextBoxEditor() {
    QWidget* surface = view_->canvas() ? view_->canvas() : static_cast<QWidget*>(view_);
    textBoxEditor_ = new TextBoxEditor(session_, surface, this);
    textBoxEditor_->applyEffects = [this](const EditorEffects& effects) { applyEffects(effects); };
}

void FoliantViewController::applyTextEffects(const EditorEffects& effects) {
    // The overlay moves with the ink in the same event.
    textBoxEditor_->followViewTransform();
    if (isBookLocked()) textBoxEditor_->endEditing();
    textBoxEditor_->followCurrentPage();
    if (effects.textBoxesChanged) textBoxEditor_->syncPageTextViews();
    if (effects.gestureEnded) textBoxEditor_->refreshAllTextViews();
    if (effects.textBoxTapped) {
        FoliantTextBoxPtr box = session_.drawTapTool.takeTappedTextBox();
        if (!box) box = session_.eraseTapTool.takeTappedTextBox();
        if (TextBoxItem* view = textBoxEditor_->textViewForTextBox(box); view && !isBookLocked())
            textBoxEditor_->beginEditingTextBoxWithTextView(view);
    }
}

void FoliantViewController::initializePageTextViews() {
    textBoxEditor_->initializePageTextViews();
}

void FoliantViewController::insertTextBox() {
    if (!book() || isBookLocked() || session_.isGestureRunning()) return;
    QWidget* surface = touchTarget();
    const QPoint cursor = surface->mapFromGlobal(QCursor::pos());
    Point viewPoint{surface->width() / 2.0, surface->height() / 2.0};
    if (surface->rect().contains(cursor)) viewPoint = {double(cursor.x()), double(cursor.y())};
    textBoxEditor_->insertTextBox(session_.viewport.eaglPointFromViewPoint(viewPoint));
}

QImage FoliantViewController::withTextBoxes(QImage picture, bool screen, const FoliantPage* page) {
    if (picture.isNull()) return picture;
    if (!page) page = session_.editor.currentPage().get();
    if (!page || page->textBoxes.empty()) return picture;
    QTransform pageToImage;
    if (screen) {
        // The surface's picture: page units to points by the view transform, then to the picture's pixels.
        const ViewTransform& t = session_.viewport.view;
        const double ratio = touchTarget()->width() > 0 ? double(picture.width()) / touchTarget()->width() : 1.0;
        pageToImage = QTransform(t.zoomFactor, 0, 0, t.zoomFactor, t.inkPanDelta.x, t.inkPanDelta.y) *
                      QTransform::fromScale(ratio, ratio);
    } else {
        const double scale = double(picture.width()) / kPageSize.width;
        pageToImage = QTransform::fromScale(scale, scale);
    }
    if (picture.format() != QImage::Format_ARGB32_Premultiplied && picture.format() != QImage::Format_RGB32 &&
        picture.format() != QImage::Format_ARGB32)
        picture = picture.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    drawTextBoxesOnPicture(picture, page->textBoxes, pageToImage);
    return picture;
}

}  // namespace velumen
