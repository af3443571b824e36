#include "gallery/BookPreview.h"

#include <QFile>

#include "document/FoliantData.h"
#include "document/MappedFile.h"
#include "objects/qt/QtImageCodec.h"

namespace velumen {

std::optional<BookPreview> readBookPreview(const QString& path) {
    const std::optional<MappedFile> file = MappedFile::open(QFile::encodeName(path).toStdString());
    if (!file) return std::nullopt;
    const QtImageCodec codec;
    const std::optional<FoliantPartialData> info = unarchivePartialData(file->bytes(), &codec);
    if (!info || !info->thumbnail || info->thumbnail->isEmpty()) return std::nullopt;
    const KImage& image = *info->thumbnail;
    if (image.pixels.size() < static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height))
        return std::nullopt;
    BookPreview preview;
    // The pixels are premultiplied 0xAARRGGBB words, which is Qt's own layout for this format.
    preview.thumbnail = QImage(reinterpret_cast<const uchar*>(image.pixels.data()), image.width, image.height,
                               image.width * 4, QImage::Format_ARGB32_Premultiplied)
                            .copy();
    preview.thumbnail.setDevicePixelRatio(image.scale);
    preview.pageNum = info->pageNum;
    preview.isLocked = info->isLocked;
    return preview;
}

QImage scaledToFit(const QImage& image, int size) {
    if (image.isNull() || size <= 0) return image;
    if (image.width() <= size && image.height() <= size) return image;
    return image.scaled(size, size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

}  // namespace velumen
