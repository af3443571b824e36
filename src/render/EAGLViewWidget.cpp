#include "render/EAGLViewWidget.h"

#include <QOpenGLContext>
#include <QOpenGLExtraFunctions>
#include <QPainter>
#include <QResizeEvent>

#include "render/EAGLView.h"

namespace velumen {

EAGLViewWidget::EAGLViewWidget(EAGLView& view, QWidget* parent) : QOpenGLWidget(parent), view_(view) {
    view_.didPresent = [this] { update(); };
}

EAGLViewWidget::~EAGLViewWidget() {
    view_.didPresent = nullptr;
    if (readFramebuffer_ && context()) {
        makeCurrent();
        context()->extraFunctions()->glDeleteFramebuffers(1, &readFramebuffer_);
        doneCurrent();
    }
}

void EAGLViewWidget::initializeGL() {}

void EAGLViewWidget::resizeEvent(QResizeEvent* event) {
    QOpenGLWidget::resizeEvent(event);
    if (view_.supportRetina()) view_.setSupportRetina(true, devicePixelRatioF());
    view_.layoutSubviews({double(width()), double(height())});
}

void EAGLViewWidget::paintGL() {
    ++paints_;
    QOpenGLContext* mine = context();
    QOpenGLExtraFunctions* f = mine->extraFunctions();
    f->glClearColor(0.5f, 0.5f, 0.5f, 1.0f);
    f->glClear(GL_COLOR_BUFFER_BIT);
    const unsigned int texture = view_.backBufferTexture();
    if (!texture) return;
    const int targetWidth = int(width() * devicePixelRatioF() + 0.5);
    const int targetHeight = int(height() * devicePixelRatioF() + 0.5);
    if (QOpenGLContext::areSharing(mine, view_.context())) {
        if (!readFramebuffer_) f->glGenFramebuffers(1, &readFramebuffer_);
        f->glBindFramebuffer(GL_READ_FRAMEBUFFER, readFramebuffer_);
        f->glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
        f->glBindFramebuffer(GL_DRAW_FRAMEBUFFER, defaultFramebufferObject());
        f->glBlitFramebuffer(0, 0, view_.framebufferWidth, view_.framebufferHeight, 0, 0, targetWidth,
                             targetHeight, GL_COLOR_BUFFER_BIT, GL_NEAREST);
        f->glBindFramebuffer(GL_FRAMEBUFFER, defaultFramebufferObject());
        return;
    }
    // Contexts that share nothing: go through a picture of the back buffer.
    const QImage image = view_.getImage();
    makeCurrent();
    QPainter painter(this);
    painter.drawImage(rect(), image);
}

}  // namespace velumen
