// Reading pictures for the conversion into ink: the size is looked at before any pixel is decoded, so that a
// picture too large to decode whole is refused, and JPEG is asked for at reduced size.
#include "imagetoink/qt/TracegrabPicture.h"

#include <unistd.h>
#include <QFile>
#include <QImageIOHandler>
#include <QImageReader>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace velumen {

namespace {

std::string decimal(long long value) {
    char buffer[24];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, ec == std::errc() ? end : buffer);
}

}  // namespace

int tracegrabSizeLimit(std::uint64_t totalMemoryBytes, bool highResolution) {
    if (totalMemoryBytes > 299999) return highResolution ? 2048 : 1280;
    return 1024;
}

std::uint64_t totalMemory() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGE_SIZE);
    if (pages <= 0 || pageSize <= 0) return 0;
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

QSize sizeFittingLimit(QSize size, int limit) {
    if (size.width() <= limit && size.height() <= limit) return size;
    const double factor =
        std::min(static_cast<double>(limit) / size.width(), static_cast<double>(limit) / size.height());
    const auto side = [&](int v) {
        return static_cast<int>(std::clamp<long>(std::lround(v * factor), 1L, static_cast<long>(limit)));
    };
    return {side(size.width()), side(size.height())};
}

RgbaImage rgbaImageFromQImage(const QImage& image) {
    if (image.isNull() || image.width() <= 0 || image.height() <= 0) return {};
    const QImage converted = image.convertToFormat(QImage::Format_RGBA8888_Premultiplied);
    if (converted.isNull()) return {};
    RgbaImage out(converted.width(), converted.height());
    const std::size_t row = static_cast<std::size_t>(out.width) * 4;
    for (int y = 0; y < out.height; ++y)
        std::memcpy(out.bytes.data() + row * static_cast<std::size_t>(y), converted.constScanLine(y), row);
    return out;
}

QImage qImageFromRgbaImage(const RgbaImage& image) {
    if (image.isEmpty()) return {};
    QImage out(image.width, image.height, QImage::Format_RGBA8888_Premultiplied);
    if (out.isNull()) return {};
    const std::size_t row = static_cast<std::size_t>(image.width) * 4;
    for (int y = 0; y < image.height; ++y)
        std::memcpy(out.scanLine(y), image.bytes.data() + row * static_cast<std::size_t>(y), row);
    return out;
}

RgbaImage tracegrabPictureFromImage(const QImage& image, int limit) {
    if (image.isNull()) return {};
    const QSize fit = sizeFittingLimit(image.size(), limit);
    if (fit == image.size()) return rgbaImageFromQImage(image);
    return rgbaImageFromQImage(image.scaled(fit, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
}

std::optional<RgbaImage> readTracegrabPicture(QIODevice* device, int limit, std::string& why) {
    QImageReader reader(device);
    reader.setAutoTransform(true);
    reader.setDecideFormatFromContent(true);
    if (!reader.canRead()) {
        why = "not a readable picture";
        return std::nullopt;
    }
    const QSize raw = reader.size();
    if (raw.isValid()) {
        if (raw.width() <= 0 || raw.height() <= 0) {
            why = "a picture without pixels";
            return std::nullopt;
        }
        const QSize fit = sizeFittingLimit(raw, limit);
        if (fit != raw) {
            const std::int64_t bytes = std::int64_t{raw.width()} * raw.height() * 4;
            // JPEG is decoded at a fraction of its size by the codec itself; the other readers that take a
            // scaled size decode the whole picture first.
            if (reader.format() == "jpeg" && reader.supportsOption(QImageIOHandler::ScaledSize)) {
                reader.setScaledSize(fit);
            } else if (bytes > kMaxFullDecodeBytes) {
                why = decimal(raw.width()) + " x " + decimal(raw.height()) +
                      " pixels is too large to convert: this format cannot be read at reduced size, and at "
                      "most " +
                      decimal(kMaxFullDecodeBytes / 4 / 1000000) + " megapixels are read whole";
                return std::nullopt;
            }
        }
    }
    reader.setAllocationLimit(static_cast<int>(kMaxFullDecodeBytes / (1024 * 1024)));
    const QImage image = reader.read();
    if (image.isNull()) {
        why = "not a readable picture (" + reader.errorString().toStdString() + ")";
        return std::nullopt;
    }
    if (image.width() <= 0 || image.height() <= 0) {
        why = "a picture without pixels";
        return std::nullopt;
    }
    RgbaImage out = tracegrabPictureFromImage(image, limit);
    if (out.isEmpty()) {
        why = "the picture could not be converted to pixels";
        return std::nullopt;
    }
    return out;
}

std::optional<RgbaImage> readTracegrabPicture(const QString& path, int limit, std::string& why) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        why = "cannot be read (" + file.errorString().toStdString() + ")";
        return std::nullopt;
    }
    return readTracegrabPicture(&file, limit, why);
}

}  // namespace velumen
