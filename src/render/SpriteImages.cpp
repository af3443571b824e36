#include "render/SpriteImages.h"

#include <algorithm>
#include <cmath>

namespace velumen {

namespace {

// Straight-alpha white of the given coverage.
QRgb white(double alpha) {
    const int a = std::clamp(static_cast<int>(std::lround(alpha * 255.0)), 0, 255);
    return qRgba(255, 255, 255, a);
}

}  // namespace

QImage makeParticleImage(int size) {
    QImage image(size, size, QImage::Format_ARGB32);
    const double c = (size - 1) / 2.0, radius = size / 2.0;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const double r2 = ((x - c) * (x - c) + (y - c) * (y - c)) / (radius * radius);
            const double a = r2 < 1 ? (1 - r2) * (1 - r2) : 0.0;
            image.setPixel(x, y, white(a));
        }
    }
    return image;
}

QImage makeParticle2Image(int size) {
    QImage image(size, size, QImage::Format_ARGB32);
    const double c = (size - 1) / 2.0, radius = size / 2.0;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const double r = std::sqrt((x - c) * (x - c) + (y - c) * (y - c));
            image.setPixel(x, y, white(std::clamp(radius - 0.5 - r, 0.0, 1.0)));
        }
    }
    return image;
}

QImage makePictureBorderImage(int size) {
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    const int side = std::max(2, size * 20 / 512);
    const int bottom = 2 * side;
    const QRgb paper = qRgba(250, 249, 245, 255);
    const QRgb edge = qRgba(190, 190, 186, 255);
    const QRgb inner = qRgba(215, 214, 210, 255);
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const bool hole = x >= side && x < size - side && y >= side && y < size - bottom;
            if (hole) continue;
            const bool outer = x == 0 || y == 0 || x == size - 1 || y == size - 1;
            const bool rim = (x == side - 1 || x == size - side) && y >= side - 1 && y <= size - bottom
                                 ? true
                                 : (y == side - 1 || y == size - bottom) && x >= side - 1 && x <= size - side;
            image.setPixel(x, y, outer ? edge : rim ? inner : paper);
        }
    }
    return image;
}

}  // namespace velumen
