#include "render/KGLUtils.h"

#include <algorithm>
#include <cmath>

namespace velumen {

namespace {

bool hasPixels(const KImage& image) {
    return !image.isEmpty() && image.pixels.size() >= static_cast<std::size_t>(image.width) *
                                                          static_cast<std::size_t>(image.height);
}

Size uploadScaled(GLLayer& gl, GLuint& texture, const KImage& image, int width, int height) {
    width = std::max(width, 1);
    height = std::max(height, 1);
    GLuint made = 0;
    if (width == image.width && height == image.height) {
        made = gl.createTextureFromArgb32(image.pixels.data(), width, height, false);
    } else {
        const KImage scaled = KGLUtils::scaledImage(image, width, height);
        made = gl.createTextureFromArgb32(scaled.pixels.data(), scaled.width, scaled.height, false);
    }
    if (!made) return {};
    texture = made;
    return {double(width), double(height)};
}

// Both sides within limit, keeping the aspect; the sides rounded.
void fit(int& width, int& height, int limit) {
    if (limit <= 0 || (width <= limit && height <= limit)) return;
    const float ratio = std::min(float(limit) / float(width), float(limit) / float(height));
    width = std::clamp(static_cast<int>(std::round(float(width) * ratio)), 1, limit);
    height = std::clamp(static_cast<int>(std::round(float(height) * ratio)), 1, limit);
}

}  // namespace

bool KGLUtils::createTextureWithPow2Image(GLLayer& gl, GLuint& texture, const KImage& image) {
    if (!hasPixels(image)) return false;
    int width = image.width, height = image.height;
    fit(width, height, gl.maxTextureSize());
    GLuint made = 0;
    if (width == image.width && height == image.height) {
        made = gl.createTextureFromArgb32(image.pixels.data(), width, height, true);
    } else {
        const KImage scaled = scaledImage(image, width, height);
        made = gl.createTextureFromArgb32(scaled.pixels.data(), width, height, true);
    }
    if (!made) return false;
    texture = made;
    return true;
}

Size KGLUtils::createTextureWithNonPow2Image(GLLayer& gl, GLuint& texture, const KImage& image,
                                             int maxTextureSize) {
    if (!hasPixels(image)) return {};
    int width = image.width, height = image.height;
    fit(width, height, maxTextureSize);
    if (!hasNonPow2Textures()) width = height = 1024;
    fit(width, height, gl.maxTextureSize());
    return uploadScaled(gl, texture, image, width, height);
}

Size KGLUtils::createTextureWithNonPow2ImageAndMaxSize(GLLayer& gl, GLuint& texture, const KImage& image,
                                                       int maxSize) {
    if (!hasPixels(image)) return {};
    int width = image.width, height = image.height;
    if (!hasNonPow2Textures()) {
        const int device = gl.maxTextureSize();
        const Size fitted = sizeThatFitsWithinATextureForSize({double(width), double(height)}, device);
        auto pow2 = [&](double side) {
            int p = 1;
            while (p < side && p < (1 << 30))
                p <<= 1;
            return std::min({p, maxSize > 0 ? maxSize : p, device > 0 ? device : p});
        };
        width = pow2(fitted.width);
        height = pow2(fitted.height);
    }
    fit(width, height, gl.maxTextureSize());
    return uploadScaled(gl, texture, image, width, height);
}

Size KGLUtils::sizeThatFitsWithinATextureForSize(Size size, int m) {
    const double w = size.width, h = size.height;
    if (w < m && h < m) return size;
    if (w > h) return {w, h * (m / w)};
    return {w * (m / h), h};
}

KImage KGLUtils::kImageFromQImage(const QImage& source) {
    KImage out;
    if (source.isNull()) return out;
    const QImage image = source.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    out.width = image.width();
    out.height = image.height();
    out.scale = image.devicePixelRatio();
    out.pixels.resize(static_cast<std::size_t>(out.width) * static_cast<std::size_t>(out.height));
    for (int y = 0; y < out.height; ++y) {
        const auto* row = reinterpret_cast<const std::uint32_t*>(image.constScanLine(y));
        std::copy(row, row + out.width, out.pixels.begin() + std::ptrdiff_t(y) * out.width);
    }
    return out;
}

QImage KGLUtils::qImageView(const KImage& image) {
    if (!hasPixels(image)) return {};
    return QImage(reinterpret_cast<const uchar*>(image.pixels.data()), image.width, image.height,
                  image.width * 4, QImage::Format_ARGB32_Premultiplied);
}

KImage KGLUtils::scaledImage(const KImage& image, int width, int height) {
    const QImage view = qImageView(image);
    if (view.isNull() || width <= 0 || height <= 0) return {};
    KImage out =
        kImageFromQImage(view.scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    out.scale = image.scale;
    return out;
}

KImage KGLUtils::grayScaleImage(const KImage& image) {
    KImage out = image;
    for (std::uint32_t& p : out.pixels) {
        const std::uint32_t r = (p >> 16) & 0xff, g = (p >> 8) & 0xff, b = p & 0xff;
        const std::uint32_t grey = (r * 77 + g * 150 + b * 29 + 128) >> 8;
        p = 0xff000000u | (grey << 16) | (grey << 8) | grey;
    }
    return out;
}

}  // namespace velumen
