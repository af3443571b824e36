// How a text box looks, in one place for every picture of it: the text document that lays its text out
// (font, width, alignment, margin, wrapping at words), used alike by the live view over the page and by
// every off-screen picture, so that both break lines at the same words and put them at the same places;
// the drawing of a box with a QPainter into any device (a page picture, a PDF page with live text, an
// image for a texture); and the cleaning of pasted text.
#pragma once

#include <QImage>
#include <QString>
#include <QTransform>
#include <vector>

#include "objects/FoliantTextBox.h"

class QPainter;
class QRectF;
class QTextDocument;

namespace velumen {

namespace textbox {
// The inset of the text within its box, on every side, in page units.
inline constexpr double kTextInset = 4;
}  // namespace textbox

// Lays the box's text out in `document` at `width` page units: its font, alignment and wrapping.
void configureTextDocument(QTextDocument& document, const FoliantTextBox& box, double width);
// The height the box's text needs at its shown width, rounded up, at least textbox::kMinimumHeight.
double fittedTextHeight(const FoliantTextBox& box);

// Draws the box into `rect` (in the painter's units): its background over the whole rect, then its text
// laid out at the rect's width, clipped to the rect.
void renderTextBox(const FoliantTextBox& box, const QRectF& rect, QPainter& painter);
// The box alone, `scale` device pixels per page unit, premultiplied, transparent where it has no
// background: what a texture of the box is made from.
QImage textBoxImage(const FoliantTextBox& box, double scale);
// Draws the boxes, back to front, over a picture of a page whose page units map to its pixels (whatever its
// pixel ratio) by `pageToImage`, at their shown frames with the height their text needs, as the live views
// show them: text lies above ink and images, as on screen.
void drawTextBoxesOnPicture(QImage& picture, const std::vector<FoliantTextBoxPtr>& boxes,
                            const QTransform& pageToImage);

// Text from the clipboard as a text editor takes it: line ends made "\n", tabs kept, every other control
// character (and a stray NUL) removed.
QString cleanPastedText(const QString& text);

}  // namespace velumen
