#include "render/EAGLView.h"

#include <QOpenGLContext>
#include <QSurface>
#include <algorithm>
#include <cmath>
#include <cstring>

namespace velumen {

namespace {

// Pixels for a length in points at a scale, at least 1.
int pixels(double points, double scale) {
    const double v = std::floor(points * scale + 0.5);
    if (!(v >= 1)) return 1;
    return v > 1e6 ? 1000000 : static_cast<int>(v);
}

}  // namespace

QImage imageFromBottomUpRows(const std::vector<std::uint8_t>& rows, int width, int height,
                             QImage::Format format) {
    if (width <= 0 || height <= 0 || rows.size() < std::size_t(width) * std::size_t(height) * 4) return {};
    QImage image(width, height, format);
    if (image.isNull()) return {};
    const std::size_t stride = std::size_t(width) * 4;
    for (int y = 0; y < height; ++y)
        std::memcpy(image.scanLine(y), rows.data() + std::size_t(height - 1 - y) * stride, stride);
    return image;
}

EAGLView::EAGLView() : queue_([this] { return makeCurrent(); }) {}

EAGLView::~EAGLView() {
    setContext(nullptr, nullptr);
}

bool EAGLView::makeCurrent() {
    if (!context_ || !surface_) return false;
    if (QOpenGLContext::currentContext() == context_ && context_->surface() == surface_) return true;
    return context_->makeCurrent(surface_);
}

bool EAGLView::setContext(QOpenGLContext* context, QSurface* surface) {
    if (context == context_ && surface == surface_) return context_ != nullptr;
    if (context_) {
        queue_.sync([this] {
            deleteFramebuffer();
            destroyImageFBO();
            layer_.release();
        });
        context_->doneCurrent();
    }
    context_ = context;
    surface_ = surface;
    if (!context_) return false;
    bool ready = false;
    queue_.sync([&] { ready = layer_.initialize(context_); });
    if (!ready) {
        context_->doneCurrent();
        context_ = nullptr;
        surface_ = nullptr;
    }
    return ready;
}

void EAGLView::setSupportRetina(bool supportRetina, double screenScale) {
    supportRetina_ = supportRetina;
    const double scale = supportRetina && screenScale > 0 && std::isfinite(screenScale) ? screenScale : 1.0;
    if (scale == contentsScale_) return;
    contentsScale_ = scale;
    queue_.sync([this] { deleteFramebuffer(); });
}

void EAGLView::layoutSubviews(Size bounds) {
    if (!(bounds.width > 0) || !(bounds.height > 0)) bounds = {1, 1};
    if (bounds == frameViewSize_ && bounds == bounds_) return;
    bounds_ = bounds;
    queue_.sync([this] {
        layer_.loadOrtho(bounds_.width, bounds_.height);
        deleteFramebuffer();
    });
    if (eaglViewDidLayoutSubViews) eaglViewDidLayoutSubViews();
}

void EAGLView::createFramebuffer() {
    if (!context_ || defaultFramebuffer_) return;
    int width = pixels(bounds_.width, contentsScale_);
    int height = pixels(bounds_.height, contentsScale_);
    const int limit = layer_.maxTextureSize();
    if (limit > 0) width = std::min(width, limit), height = std::min(height, limit);
    colorTexture_ = layer_.createRenderTexture(width, height, true);
    defaultFramebuffer_ = layer_.createFramebufferForTexture(colorTexture_);
    if (!defaultFramebuffer_) {
        layer_.deleteTexture(colorTexture_);
        return;
    }
    framebufferWidth = width;
    framebufferHeight = height;
    layer_.bindFramebuffer(defaultFramebuffer_);
    layer_.viewport(0, 0, width, height);
    clearCanvas();
    frameViewSize_ = bounds_;
}

void EAGLView::deleteFramebuffer() {
    if (context_) {
        layer_.deleteFramebuffer(defaultFramebuffer_);
        layer_.deleteTexture(colorTexture_);
        framebufferWidth = framebufferHeight = 0;
    }
    frameViewSize_ = {};
    destroyImageFBO();
}

bool EAGLView::setFramebuffer() {
    if (!context_ || !makeCurrent()) return false;
    if (!defaultFramebuffer_) createFramebuffer();
    if (!defaultFramebuffer_) return false;
    layer_.bindFramebuffer(defaultFramebuffer_);
    layer_.viewport(0, 0, framebufferWidth, framebufferHeight);
    layer_.loadOrtho(bounds_.width, bounds_.height);
    return true;
}

bool EAGLView::presentFramebuffer() {
    if (!context_ || !makeCurrent()) return false;
    layer_.flush();
    ++presents_;
    if (didPresent) didPresent();
    return true;
}

void EAGLView::clearCanvas() {
    if (!context_) return;
    layer_.enableScissor(false);
    if (!visibleRect_.isNull()) {
        layer_.clearColor(0, 0, 0, 0);
        layer_.clear();
        layer_.enableScissor(true);
        const double cs = contentsScale_;
        const Rect& r = visibleRect_;
        // Exact for a rect at the top of the surface, the only kind that occurs.
        layer_.scissor(static_cast<int>(r.x * cs),
                       static_cast<int>(r.y * cs) - static_cast<int>(r.height * cs) + framebufferHeight,
                       static_cast<int>(r.width * cs), static_cast<int>(r.height * cs));
    }
    layer_.clearColor(1, 1, 1, 1);
    layer_.clear();
    layer_.enableScissor(false);
}

void EAGLView::eraseView() {
    queue_.sync([this] {
        if (!setFramebuffer()) return;
        clearCanvas();
        presentFramebuffer();
    });
}

QImage EAGLView::getImage() {
    QImage image;
    queue_.sync([&] {
        if (!context_ || !makeCurrent() || !defaultFramebuffer_) return;
        const GLuint bound = layer_.boundFramebuffer();
        layer_.bindFramebuffer(defaultFramebuffer_);
        image = imageFromBottomUpRows(layer_.readPixels(0, 0, framebufferWidth, framebufferHeight),
                                      framebufferWidth, framebufferHeight);
        layer_.bindFramebuffer(bound);
    });
    if (!image.isNull()) image.setDevicePixelRatio(contentsScale_);
    return image;
}

QImage EAGLView::getImageWithSize(Size size, const std::function<void()>& redraw) {
    const double w = std::isfinite(size.width) ? std::clamp(std::trunc(size.width), 1.0, 1e6) : 1.0;
    const double h = std::isfinite(size.height) ? std::clamp(std::trunc(size.height), 1.0, 1e6) : 1.0;
    QImage image;
    double scale = contentsScale_;
    const Rect savedVisibleRect = visibleRect_;
    visibleRect_ = Rect::null();
    queue_.sync([&] {
        if (!context_ || !makeCurrent()) return;
        destroyImageFBO();
        const int limit = std::max(layer_.maxTextureSize(), 1);
        if (w * scale > limit || h * scale > limit) scale = std::min(limit / w, limit / h);
        // Truncated, with room for the rounding of a scale that was cut to the limit.
        const int pw = std::clamp(static_cast<int>(w * scale + 1e-6), 1, limit);
        const int ph = std::clamp(static_cast<int>(h * scale + 1e-6), 1, limit);

        const GLuint savedFramebuffer = layer_.boundFramebuffer();
        const std::array<int, 4> savedViewport = layer_.currentViewport();
        const std::size_t savedDepth = layer_.matrixDepth();
        const Affine2D savedMatrix = layer_.matrix();

        imageRenderTexture_ = layer_.createRenderTexture(pw, ph, true);
        imageRenderFrameBufferId_ = layer_.createFramebufferForTexture(imageRenderTexture_);
        if (imageRenderFrameBufferId_) {
            layer_.bindFramebuffer(imageRenderFrameBufferId_);
            layer_.viewport(0, 0, pw, ph);
            layer_.loadOrtho(w, h);
            if (redraw) redraw();
            layer_.finish();
            image = imageFromBottomUpRows(layer_.readPixels(0, 0, pw, ph), pw, ph, QImage::Format_RGBA8888);
        }

        while (layer_.matrixDepth() > savedDepth)
            layer_.popMatrix();
        while (layer_.matrixDepth() < savedDepth)
            layer_.pushMatrix();
        layer_.loadMatrix(savedMatrix);
        layer_.bindFramebuffer(savedFramebuffer);
        layer_.viewport(savedViewport[0], savedViewport[1], savedViewport[2], savedViewport[3]);
    });
    visibleRect_ = savedVisibleRect;
    if (!image.isNull()) image.setDevicePixelRatio(scale);
    return image;
}

void EAGLView::destroyImageFBO() {
    if (!context_) return;
    layer_.deleteFramebuffer(imageRenderFrameBufferId_);
    layer_.deleteTexture(imageRenderTexture_);
}

}  // namespace velumen
