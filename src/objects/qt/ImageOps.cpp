#include "objects/qt/ImageOps.h"

#include <QImageReader>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <cstring>

#include "objects/ImageGeometry.h"

namespace velumen {

KImage kImageFromQImage(const QImage& source) {
    KImage out;
    if (source.isNull() || source.width() <= 0 || source.height() <= 0) return out;
    const QImage image = source.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) return out;
    out.width = image.width();
    out.height = image.height();
    const std::size_t row = std::size_t(out.width);
    out.pixels.resize(row * std::size_t(out.height));
    for (int y = 0; y < out.height; ++y)
        std::memcpy(out.pixels.data() + row * std::size_t(y), image.constScanLine(y), row * 4);
    return out;
}

QImage qImageView(const KImage& image) {
    if (image.isEmpty() || image.pixels.size() < std::size_t(image.width) * std::size_t(image.height))
        return {};
    return QImage(reinterpret_cast<const uchar*>(image.pixels.data()), image.width, image.height,
                  qsizetype(image.width) * 4, QImage::Format_ARGB32_Premultiplied);
}

KImage imageByScalingAndCroppingForSize(const KImage& image, Size target, bool fill) {
    const QImage source = qImageView(image);
    if (source.isNull() || !(target.width >= 1) || !(target.height >= 1)) return {};
    const Size iw{double(image.width), double(image.height)};
    const Size out = scaledAndCroppedSize(iw, target, fill);
    const int w = std::max(1, int(std::lround(out.width)));
    const int h = std::max(1, int(std::lround(out.height)));
    QImage canvas(w, h, QImage::Format_ARGB32_Premultiplied);
    if (canvas.isNull()) return {};
    canvas.fill(Qt::transparent);
    QPainter p(&canvas);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    if (iw == target) {
        p.drawImage(QRectF(0, 0, w, h), source);
    } else {
        const double sx = target.width / iw.width, sy = target.height / iw.height;
        const double s = fill ? std::max(sx, sy) : std::min(sx, sy);
        const double sw = iw.width * s, sh = iw.height * s;
        // Centred on the axis with slack; without fill the canvas has no slack.
        const double ox = fill ? (target.width - sw) / 2 : 0;
        const double oy = fill ? (target.height - sh) / 2 : 0;
        p.drawImage(QRectF(ox, oy, sw, sh), source);
    }
    p.end();
    KImage result = kImageFromQImage(canvas);
    result.scale = image.scale;
    return result;
}

KImage fixImageForTexture(const KImage& image, double maxSide) {
    KImage fixed = image;
    if (fixed.scale > 1.0) fixed.scale = 1.0;
    if (fixed.width > maxSide || fixed.height > maxSide) {
        KImage scaled = imageByScalingAndCroppingForSize(fixed, {maxSide, maxSide}, false);
        scaled.scale = 1.0;
        return scaled;
    }
    return fixed;
}

KImage grayScaleKImage(const KImage& image) {
    KImage out = image;
    for (std::uint32_t& px : out.pixels) {
        const std::uint32_t r = (px >> 16) & 0xff, g = (px >> 8) & 0xff, b = px & 0xff;
        const std::uint32_t v = (r * 11 + g * 16 + b * 5) / 32;
        px = 0xff000000u | (v << 16) | (v << 8) | v;
    }
    return out;
}

KImage readPictureFile(const QString& path, int maxSide, std::string& error) {
    QImageReader reader(path);
    reader.setAutoTransform(true);
    if (!reader.canRead()) {
        error = "The file is not a picture that can be read.";
        return {};
    }
    QSize size = reader.size();
    if (size.isValid() && (size.width() <= 0 || size.height() <= 0)) {
        error = "The picture has no pixels.";
        return {};
    }
    if (size.isValid() && (size.width() > maxSide || size.height() > maxSide) &&
        reader.supportsOption(QImageIOHandler::ScaledSize)) {
        const Size fit = fitSize({double(size.width()), double(size.height())}, {double(maxSide), double(maxSide)});
        reader.setScaledSize(QSize(std::max(1, int(std::lround(fit.width))), std::max(1, int(std::lround(fit.height)))));
    }
    const QImage image = reader.read();
    if (image.isNull() || image.width() <= 0 || image.height() <= 0) {
        error = reader.error() == QImageReader::InvalidDataError || reader.error() == QImageReader::UnknownError
                    ? "The picture is damaged or too large to read."
                    : "The picture could not be read.";
        return {};
    }
    KImage picture = kImageFromQImage(image);
    if (picture.isEmpty()) {
        error = "The picture has no pixels.";
        return {};
    }
    return fixImageForTexture(picture, maxSide);
}

}  // namespace velumen
