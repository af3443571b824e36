#include "export/PdfImport.h"

#include <algorithm>

#include "export/KPdfReader.h"
#include "objects/ImageGeometry.h"
#include "objects/qt/ImageOps.h"

namespace velumen {

PdfImportResult importPdfPages(const QString& path, FoliantData& book, const ImageCodec& codec, int maxSide,
                               const std::function<bool(int, int)>& progress) {
    PdfImportResult result;
    KPdfReader reader;
    if (!reader.setFileOpenUrl(path)) {
        result.error = reader.error();
        return result;
    }
    result.pagesInFile = int(std::min<std::uint64_t>(reader.totalNumberOfPages(), 1u << 20));
    for (int n = 1; n <= result.pagesInFile; ++n) {
        if (progress && !progress(n - 1, result.pagesInFile)) {
            result.cancelled = true;
            break;
        }
        FoliantImagePtr image;
        {
            const KImage pixels = kImageFromQImage(reader.getPageImageOnWhite(std::uint64_t(n), maxSide));
            if (pixels.isEmpty()) continue;
            const Size size{double(pixels.width), double(pixels.height)};
            Rect frame = fitRect(size, {0, 0, kCanvasSize.width, kCanvasSize.height});
            frame.x = (kCanvasSize.width - frame.width) / 2;
            frame.y = (kCanvasSize.height - frame.height) / 2;
            image = FoliantImage::foliantImageWithImage(pixels, frame, 1.0, 0, codec);
        }
        if (!image || !image->imageData()) continue;
        FoliantPagePtr page = FoliantData::createNewPage();
        page->images.push_back(image);
        book.pages().push_back(page);
        ++result.pagesAdded;
    }
    if (progress && !result.cancelled) progress(result.pagesInFile, result.pagesInFile);
    if (result.pagesAdded == 0 && !result.cancelled && result.error.empty())
        result.error = "No page of the PDF file could be read.";
    return result;
}

}  // namespace velumen
