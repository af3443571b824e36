// The pages of a PDF file as pictures. A reader opens one file; pages count from 1 and a page number above
// the count (or 0) gives an empty size and a null picture. A padded picture has the size asked for, the
// page centred in it at the largest size that fits and transparent bands beside it; a page turned by 90
// or 270 degrees is measured against its exchanged box. A file that cannot be read, is encrypted with a
// password, or has no pages leaves the reader with no pages and says why.
#pragma once

#include <QImage>
#include <QString>
#include <cstdint>
#include <memory>
#include <string>

#include "ink/KGeometry.h"

class QPainter;

namespace Poppler {
class Document;
}

namespace velumen {

class KPdfReader {
  public:
    KPdfReader();
    ~KPdfReader();
    KPdfReader(const KPdfReader&) = delete;
    KPdfReader& operator=(const KPdfReader&) = delete;

    // Opens the file (an empty path closes the one open). False when it gives no pages; `error` then says why.
    bool setFileOpenUrl(const QString& path);
    const QString& fileOpenUrl() const { return fileOpenUrl_; }
    std::uint64_t totalNumberOfPages() const { return totalNumberOfPages_; }
    const std::string& error() const { return error_; }

    // The page's box as the file gives it, in points, before its rotation; zero out of range.
    Size getPageImageSize(std::uint64_t page) const;
    // The page's rotation in degrees, clockwise: 0, 90, 180 or 270.
    int getPageRotation(std::uint64_t page) const;
    // The page's size as shown: the box, its sides exchanged for 90 and 270 degrees.
    Size getShownPageSize(std::uint64_t page) const;

    // A picture of exactly width x height pixels, the page centred in it; null out of range or for sizes
    // below one pixel or above 16384.
    QImage getPageImage(std::uint64_t page, float width, float height) const;
    QImage getPaddedPageImage(std::uint64_t page, float width, float height) const {
        return getPageImage(page, width, height);
    }
    // A picture of at most maxSize: r = the larger of box width / max width and box height / max height,
    // at most 1, and the picture (max width x r, max height x r).
    QImage getPaddedPageImage(std::uint64_t page, Size maxSize) const;
    // Draws the page centred into a painter's device of the given size.
    bool renderPaddedPageImage(std::uint64_t page, QPainter& painter, Size size) const;
    // The page alone, no bands, fitted within maxSide on its longer side, over white: what becomes a page
    // image. Null out of range.
    QImage getPageImageOnWhite(std::uint64_t page, int maxSide) const;

  private:
    // The rendered page at `scale` pixels per point, transparent where the page draws nothing.
    QImage renderPage(std::uint64_t page, double scale, bool onWhite) const;

    QString fileOpenUrl_;
    std::unique_ptr<Poppler::Document> pdfDocument_;
    std::uint64_t totalNumberOfPages_ = 0;
    std::string error_;
};

}  // namespace velumen
