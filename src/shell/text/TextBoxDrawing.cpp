#include "shell/text/TextBoxDrawing.h"

#include <QAbstractTextDocumentLayout>
#include <QPainter>
#include <QTextDocument>
#include <QTextOption>
#include <cmath>

#include "objects/TextBoxRules.h"
#include "shell/text/TextFonts.h"

namespace velumen {

namespace {
QColor qColor(const KColor& c) {
    return QColor::fromRgbF(float(c.r), float(c.g), float(c.b), float(c.a));
}

Qt::Alignment qAlignment(std::int64_t alignment) {
    switch (textbox::shownAlignment(alignment)) {
        case 1: return Qt::AlignHCenter;
        case 2: return Qt::AlignRight;
        default: return Qt::AlignLeft;
    }
}
}  // namespace

void configureTextDocument(QTextDocument& document, const FoliantTextBox& box, double width) {
    document.setUndoRedoEnabled(false);
    document.setDefaultFont(textfonts::qFontForKFont(box.font));
    document.setDocumentMargin(textbox::kTextInset);
    document.setUseDesignMetrics(true);
    QTextOption option(qAlignment(box.textAlignment));
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    document.setDefaultTextOption(option);
    const std::size_t shown = std::min(box.text.size(), textbox::kMaximumShownTextLength);
    document.setPlainText(QString::fromUtf8(box.text.data(), qsizetype(shown)));
    document.setTextWidth(width);
    document.setUndoRedoEnabled(true);
}

double fittedTextHeight(const FoliantTextBox& box) {
    QTextDocument document;
    configureTextDocument(document, box, textbox::shownFrame(box.frame).width);
    return std::max(textbox::kMinimumHeight, std::ceil(document.size().height()));
}

void renderTextBox(const FoliantTextBox& box, const QRectF& rect, QPainter& painter) {
    painter.save();
    painter.fillRect(rect, qColor(box.backgroundColor));
    painter.setClipRect(rect, Qt::IntersectClip);
    painter.translate(rect.topLeft());
    QTextDocument document;
    configureTextDocument(document, box, rect.width());
    QAbstractTextDocumentLayout::PaintContext context;
    context.palette.setColor(QPalette::Text, qColor(box.foregroundColor));
    context.clip = QRectF(0, 0, rect.width(), rect.height());
    document.documentLayout()->draw(&painter, context);
    painter.restore();
}

QImage textBoxImage(const FoliantTextBox& box, double scale) {
    const Rect frame = textbox::shownFrame(box.frame);
    const double height = fittedTextHeight(box);
    QImage image(int(std::ceil(frame.width * scale)), int(std::ceil(height * scale)),
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    painter.scale(scale, scale);
    renderTextBox(box, QRectF(0, 0, frame.width, height), painter);
    return image;
}

void drawTextBoxesOnPicture(QImage& picture, const std::vector<FoliantTextBoxPtr>& boxes,
                            const QTransform& pageToImage) {
    if (picture.isNull() || boxes.empty()) return;
    QPainter painter(&picture);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    // The transform is to the picture's pixels; a painter on a picture with a pixel ratio works in points.
    const double ratio = picture.devicePixelRatio();
    painter.setTransform(pageToImage * QTransform::fromScale(1 / ratio, 1 / ratio));
    for (const FoliantTextBoxPtr& box : boxes) {
        if (!box) continue;
        const Rect frame = textbox::shownFrame(box->frame);
        const double height = fittedTextHeight(*box);
        renderTextBox(*box, QRectF(frame.x, frame.y, frame.width, height), painter);
    }
}

QString cleanPastedText(const QString& text) {
    QString clean;
    clean.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c == '\r') {
            clean += '\n';
            if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
        } else if (c == QChar::ParagraphSeparator || c == QChar::LineSeparator) {
            clean += '\n';
        } else if (c == '\n' || c == '\t') {
            clean += c;
        } else if (c.category() == QChar::Other_Control) {
            continue;
        } else {
            clean += c;
        }
    }
    return clean;
}

}  // namespace velumen
