#include "objects/qt/QtImageCodec.h"

#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace velumen {

KImagePtr QtImageCodec::decode(std::span<const std::uint8_t> bytes, double scale) const {
    if (bytes.empty() || bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        return nullptr;
    // A view, not a copy: the reader is done with it before this returns.
    const QByteArray data = QByteArray::fromRawData(reinterpret_cast<const char*>(bytes.data()),
                                                    static_cast<qsizetype>(bytes.size()));
    QBuffer buffer;
    buffer.setData(data);
    if (!buffer.open(QIODevice::ReadOnly)) return nullptr;
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    QImage image = reader.read();
    if (image.isNull() || image.width() <= 0 || image.height() <= 0) return nullptr;
    image.convertTo(QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) return nullptr;

    auto result = std::make_shared<KImage>();
    result->width = image.width();
    result->height = image.height();
    result->scale = scale > 0 && std::isfinite(scale) ? scale : 1.0;
    const std::size_t rowWords = static_cast<std::size_t>(result->width);
    result->pixels.resize(rowWords * static_cast<std::size_t>(result->height));
    for (int y = 0; y < result->height; ++y) {
        std::memcpy(result->pixels.data() + rowWords * static_cast<std::size_t>(y), image.constScanLine(y),
                    rowWords * sizeof(std::uint32_t));
    }
    return result;
}

std::optional<std::vector<std::uint8_t>> QtImageCodec::encodeJpeg(const KImage& image, double quality) const {
    if (image.isEmpty()) return std::nullopt;
    const std::size_t count = static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height);
    if (image.pixels.size() < count || image.width > std::numeric_limits<int>::max() / 4) return std::nullopt;
    // Wraps the pixels without copying them; the writer drops alpha, as a JPEG has none.
    const QImage wrapped(reinterpret_cast<const uchar*>(image.pixels.data()), image.width, image.height,
                         static_cast<qsizetype>(image.width) * 4, QImage::Format_ARGB32_Premultiplied);
    if (wrapped.isNull()) return std::nullopt;

    QBuffer buffer;
    if (!buffer.open(QIODevice::WriteOnly)) return std::nullopt;
    QImageWriter writer(&buffer, "jpeg");
    const double clamped = std::isnan(quality) ? 0.0 : std::clamp(quality, 0.0, 1.0);
    writer.setQuality(static_cast<int>(std::lround(clamped * 100)));
    if (!writer.write(wrapped)) return std::nullopt;
    const QByteArray& out = buffer.data();
    return std::vector<std::uint8_t>(reinterpret_cast<const std::uint8_t*>(out.constData()),
                                     reinterpret_cast<const std::uint8_t*>(out.constData()) + out.size());
}

}  // namespace velumen
