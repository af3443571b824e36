#include "export/KPdfReader.h"

#include <poppler/qt6/poppler-qt6.h>

#include <QFileInfo>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace velumen {

namespace {

constexpr double kLargestSide = 16384;

// Poppler reports damaged files on standard error; the reader says what matters itself.
void quietPoppler() {
    static const bool once = [] {
        Poppler::setDebugErrorFunction([](const QString&, const QVariant&) {}, QVariant());
        return true;
    }();
    (void)once;
}

}  // namespace

KPdfReader::KPdfReader() {
    quietPoppler();
}

KPdfReader::~KPdfReader() = default;

bool KPdfReader::setFileOpenUrl(const QString& path) {
    fileOpenUrl_ = path;
    pdfDocument_.reset();
    totalNumberOfPages_ = 0;
    error_.clear();
    if (path.isEmpty()) return false;
    if (!QFileInfo(path).isFile()) {
        error_ = "The PDF file could not be found.";
        return false;
    }
    std::unique_ptr<Poppler::Document> document = Poppler::Document::load(path);
    if (!document) {
        error_ = "The file is not a PDF file that can be read.";
        return false;
    }
    if (document->isLocked()) {
        error_ = "The PDF file is protected by a password.";
        return false;
    }
    const int pages = document->numPages();
    if (pages <= 0) {
        error_ = "The PDF file has no pages.";
        return false;
    }
    pdfDocument_ = std::move(document);
    totalNumberOfPages_ = std::uint64_t(pages);
    return true;
}

int KPdfReader::getPageRotation(std::uint64_t page) const {
    if (!pdfDocument_ || page == 0 || page > totalNumberOfPages_) return 0;
    const std::unique_ptr<Poppler::Page> p = pdfDocument_->page(int(page - 1));
    if (!p) return 0;
    switch (p->orientation()) {
    case Poppler::Page::Landscape: return 90;
    case Poppler::Page::UpsideDown: return 180;
    case Poppler::Page::Seascape: return 270;
    default: return 0;
    }
}

Size KPdfReader::getShownPageSize(std::uint64_t page) const {
    if (!pdfDocument_ || page == 0 || page > totalNumberOfPages_) return {};
    const std::unique_ptr<Poppler::Page> p = pdfDocument_->page(int(page - 1));
    if (!p) return {};
    const QSizeF s = p->pageSizeF();
    if (!(s.width() > 0) || !(s.height() > 0)) return {};
    return {s.width(), s.height()};
}

Size KPdfReader::getPageImageSize(std::uint64_t page) const {
    const Size shown = getShownPageSize(page);
    const int rotation = getPageRotation(page);
    // Poppler reports the size as shown; the box is the other way round for a quarter turn.
    if (rotation == 90 || rotation == 270) return {shown.height, shown.width};
    return shown;
}

QImage KPdfReader::renderPage(std::uint64_t page, double scale, bool onWhite) const {
    if (!pdfDocument_ || page == 0 || page > totalNumberOfPages_ || !(scale > 0)) return {};
    const std::unique_ptr<Poppler::Page> p = pdfDocument_->page(int(page - 1));
    if (!p) return {};
    pdfDocument_->setRenderHint(Poppler::Document::Antialiasing, true);
    pdfDocument_->setRenderHint(Poppler::Document::TextAntialiasing, true);
    pdfDocument_->setPaperColor(onWhite ? QColor(Qt::white) : QColor(Qt::transparent));
    return p->renderToImage(72.0 * scale, 72.0 * scale);
}

bool KPdfReader::renderPaddedPageImage(std::uint64_t page, QPainter& painter, Size size) const {
    const Size shown = getShownPageSize(page);
    if (shown.width <= 0 || shown.height <= 0 || !(size.width >= 1) || !(size.height >= 1)) return false;
    const double s = std::min(float(size.width / shown.width), float(size.height / shown.height));
    const QImage rendered = renderPage(page, s, false);
    if (rendered.isNull()) return false;
    // Centred: the bands share the slack.
    const double x = (size.width - rendered.width()) / 2, y = (size.height - rendered.height()) / 2;
    painter.drawImage(QPointF(std::round(x), std::round(y)), rendered);
    return true;
}

QImage KPdfReader::getPageImage(std::uint64_t page, float width, float height) const {
    if (!(width >= 1) || !(height >= 1) || width > kLargestSide || height > kLargestSide) return {};
    if (getShownPageSize(page).width <= 0) return {};
    QImage image(int(std::lround(width)), int(std::lround(height)), QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) return {};
    image.fill(Qt::transparent);
    QPainter painter(&image);
    const bool drawn = renderPaddedPageImage(page, painter, {double(image.width()), double(image.height())});
    painter.end();
    return drawn ? image : QImage();
}

QImage KPdfReader::getPaddedPageImage(std::uint64_t page, Size maxSize) const {
    const Size box = getPageImageSize(page);
    if (box.width <= 0 || !(maxSize.width > 0) || !(maxSize.height > 0)) return {};
    const double r = std::min(1.0, std::max(box.width / maxSize.width, box.height / maxSize.height));
    return getPageImage(page, float(maxSize.width * r), float(maxSize.height * r));
}

QImage KPdfReader::getPageImageOnWhite(std::uint64_t page, int maxSide) const {
    const Size shown = getShownPageSize(page);
    if (shown.width <= 0 || maxSide <= 0) return {};
    const double s = double(maxSide) / std::max(shown.width, shown.height);
    QImage image = renderPage(page, s, true);
    if (image.isNull()) return {};
    // JPEG keeps no alpha: anything left transparent goes onto white.
    if (image.hasAlphaChannel()) {
        QImage white(image.size(), QImage::Format_ARGB32_Premultiplied);
        white.fill(Qt::white);
        QPainter p(&white);
        p.drawImage(0, 0, image);
        p.end();
        image = white;
    }
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

}  // namespace velumen
