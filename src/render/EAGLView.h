// The one GL surface of the editor. Its pixels live in a retained back buffer of our own, a texture-backed
// framebuffer at the surface's pixel size, which keeps its contents between presents and while the
// widget that shows it is hidden; the context is made current on an offscreen surface, so the surface
// works without any window. Presenting hands the back buffer to whoever shows it.
#pragma once

#include <QImage>
#include <cstdint>
#include <functional>
#include <memory>

#include "ink/KGeometry.h"
#include "render/GLLayer.h"
#include "render/RenderQueue.h"

class QOpenGLContext;
class QSurface;

namespace velumen {

class EAGLView {
  public:
    EAGLView();
    ~EAGLView();
    EAGLView(const EAGLView&) = delete;
    EAGLView& operator=(const EAGLView&) = delete;

    // The context and the surface it is made current on. A null context leaves the surface empty:
    // every operation returns at once. The layer is built in the new context; false when that fails,
    // and the surface then has no context either.
    bool setContext(QOpenGLContext* context, QSurface* surface);
    QOpenGLContext* context() const { return context_; }
    bool makeCurrent();
    GLLayer& layer() { return layer_; }
    RenderQueue& renderingQueue() { return queue_; }

    // ---- Geometry ----
    // Size in view points; the back buffer has bounds times contentsScale pixels.
    Size bounds() const { return bounds_; }
    double contentsScale() const { return contentsScale_; }
    // true: contentsScale is the screen's scale; false: 1.0. Drops the back buffer.
    void setSupportRetina(bool supportRetina, double screenScale);
    bool supportRetina() const { return supportRetina_; }
    // A new size drops the back buffer (rebuilt by the next batch) and tells the delegate; the same size
    // does nothing.
    void layoutSubviews(Size bounds);
    // Told after a resize; the editor answers by setting its dirty flag.
    std::function<void()> eaglViewDidLayoutSubViews;
    // Told after each present; the widget that shows the surface schedules a paint.
    std::function<void()> didPresent;

    // The part painted white by clearCanvas, in view points; the null rect means all of it.
    Rect visibleRect() const { return visibleRect_; }
    void setVisibleRect(const Rect& rect) { visibleRect_ = rect; }

    // ---- Back buffer ----
    int framebufferWidth = 0;
    int framebufferHeight = 0;
    Size frameBufferSize() const { return {double(framebufferWidth), double(framebufferHeight)}; }
    GLuint defaultFramebuffer() const { return defaultFramebuffer_; }
    GLuint backBufferTexture() const { return colorTexture_; }
    Size frameViewSize() const { return frameViewSize_; }

    // Builds the back buffer at the pixel size of the bounds and clears it. No-op without a context or
    // when it exists.
    void createFramebuffer();
    void deleteFramebuffer();
    // Preamble of every batch on the surface: the back buffer bound, the viewport, and the projection of
    // the bounds in view points, y down. False without a context.
    bool setFramebuffer();
    // Flushes and hands the back buffer over. False without a context.
    bool presentFramebuffer();
    std::uint64_t presentCount() const { return presents_; }
    // Paper: opaque white inside the visible rect, transparent outside it.
    void clearCanvas();
    // As one batch: bind, clear, present.
    void eraseView();

    // ---- Pictures ----
    // The back buffer as it stands, rows top first, device pixel ratio contentsScale; null without one.
    QImage getImage();
    // Off-screen render of size (points, truncated) at contentsScale: redraw runs with a framebuffer of
    // its own bound, the projection of (0, 0)-size and the null visible rect; everything is restored
    // afterwards. A size below one point is taken as one point; a picture that would exceed the largest
    // texture is made at a lower scale, which the image's device pixel ratio tells. Rows top first. The
    // bytes are tagged as straight alpha: a page rendered over white at alpha 0 then reads as ink
    // matted against white, which is what a picture without background is meant to hold.
    QImage getImageWithSize(Size size, const std::function<void()>& redraw);
    void destroyImageFBO();

  private:
    QOpenGLContext* context_ = nullptr;
    QSurface* surface_ = nullptr;
    GLLayer layer_;
    RenderQueue queue_;

    Size bounds_{1, 1};
    double contentsScale_ = 1.0;
    bool supportRetina_ = false;
    Rect visibleRect_ = Rect::null();
    Size frameViewSize_;

    GLuint defaultFramebuffer_ = 0;
    GLuint colorTexture_ = 0;
    GLuint imageRenderFrameBufferId_ = 0;
    GLuint imageRenderTexture_ = 0;
    std::uint64_t presents_ = 0;
};

// Turns read-back rows (bottom first, RGBA) into an upright picture of the given RGBA format.
QImage imageFromBottomUpRows(const std::vector<std::uint8_t>& rows, int width, int height,
                             QImage::Format format = QImage::Format_RGBA8888_Premultiplied);

}  // namespace velumen
