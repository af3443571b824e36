// The texture toolbox: textures from decoded pictures, the size rules for them, and the one textured
// quad. Pictures come as KImage (premultiplied 0xAARRGGBB words) and go up as they are.
#pragma once

#include <QImage>

#include "ink/KGeometry.h"
#include "objects/KImage.h"
#include "render/GLLayer.h"

namespace velumen {

class KGLUtils {
  public:
    KGLUtils() = delete;

    // Whether textures may have any size. GL 3.3 and GLES 3.0 allow it in their core, so this holds on
    // every context the layer accepts; the size rules below keep their other branch for completeness.
    static bool hasNonPow2Textures() { return true; }

    // Mipmapped texture of the picture at its own size (linear, linear-mipmap-nearest). An image without
    // pixels makes no texture: the name keeps its value and false comes back.
    static bool createTextureWithPow2Image(GLLayer& gl, GLuint& texture, const KImage& image);
    // createTextureWithNonPow2Image with a maximum of 2048.
    static Size createTextureWithNonPow2Image(GLLayer& gl, GLuint& texture, const KImage& image) {
        return createTextureWithNonPow2Image(gl, texture, image, 2048);
    }
    // A picture larger than the maximum on either side is scaled by the smaller ratio, each side rounded,
    // keeping its aspect; without non-power-of-two textures every picture becomes 1024 x 1024. Linear,
    // clamped, no mipmaps. Returns the texture's size; {0, 0} and the name unchanged for an image without
    // pixels.
    static Size createTextureWithNonPow2Image(GLLayer& gl, GLuint& texture, const KImage& image,
                                              int maxTextureSize);
    // The variant for page objects: the picture's own size, which the maximum limits only when textures
    // must be powers of two. The device's largest texture always limits it.
    static Size createTextureWithNonPow2ImageAndMaxSize(GLLayer& gl, GLuint& texture, const KImage& image,
                                                        int maxSize);

    // The textured quad: rect in current coordinates, turned by rotation radians about its centre.
    static void renderTexture(GLLayer& gl, GLuint texture, const Rect& rect, float alpha,
                              float rotation = 0) {
        gl.renderTexture(texture, rect, alpha, rotation);
    }

    // w x h unchanged when both are below m; otherwise the longer side is kept and the other scaled by
    // m over it (the longer side is deliberately left as it was).
    static Size sizeThatFitsWithinATextureForSize(Size size, int m);

    // ---- Pictures ----
    // Premultiplied copy of a Qt image.
    static KImage kImageFromQImage(const QImage& image);
    // A view of the words as a Qt image, valid while image lives.
    static QImage qImageView(const KImage& image);
    // The picture drawn into width x height (stretched), smooth.
    static KImage scaledImage(const KImage& image, int width, int height);
    // Grey from the premultiplied colour over black, opaque: the picture loses its transparency.
    static KImage grayScaleImage(const KImage& image);
};

}  // namespace velumen
