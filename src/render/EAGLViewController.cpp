#include "render/EAGLViewController.h"

#include <QOffscreenSurface>
#include <QOpenGLContext>

#include "render/EAGLViewWidget.h"
#include "render/KGLUtils.h"

namespace velumen {

namespace {

int& cachedMaxTextureSize() {
    static int value = 0;
    return value;
}

}  // namespace

EAGLViewController::EAGLViewController() = default;

EAGLViewController::~EAGLViewController() {
    viewDidUnload();
}

QSurfaceFormat EAGLViewController::surfaceFormat() {
    QSurfaceFormat format;
    format.setRenderableType(QSurfaceFormat::OpenGL);
    format.setVersion(3, 3);
    format.setProfile(QSurfaceFormat::CoreProfile);
    format.setRedBufferSize(8);
    format.setGreenBufferSize(8);
    format.setBlueBufferSize(8);
    format.setAlphaBufferSize(8);
    format.setDepthBufferSize(0);
    format.setStencilBufferSize(0);
    format.setSwapBehavior(QSurfaceFormat::DoubleBuffer);
    return format;
}

bool EAGLViewController::viewDidLoad() {
    if (view_.context()) return true;
    auto context = std::make_unique<QOpenGLContext>();
    context->setFormat(surfaceFormat());
    if (QOpenGLContext* shared = QOpenGLContext::globalShareContext()) context->setShareContext(shared);
    if (!context->create() && !context->create()) return false;
    const QSurfaceFormat made = context->format();
    const bool usable = context->isOpenGLES() ? made.majorVersion() >= 3
                                              : (made.majorVersion() > 3 ||
                                                 (made.majorVersion() == 3 && made.minorVersion() >= 3));
    if (!usable) return false;
    auto surface = std::make_unique<QOffscreenSurface>();
    surface->setFormat(made);
    surface->create();
    if (!surface->isValid()) return false;
    if (!view_.setContext(context.get(), surface.get())) return false;
    context_ = std::move(context);
    surface_ = std::move(surface);
    view_.renderingQueue().sync([this] {
        if (cachedMaxTextureSize() == 0) cachedMaxTextureSize() = view_.layer().maxTextureSize();
    });
    return true;
}

void EAGLViewController::viewDidUnload() {
    view_.setContext(nullptr, nullptr);
    surface_.reset();
    context_.reset();
}

QWidget* EAGLViewController::createWidget(QWidget* parent) {
    return new EAGLViewWidget(view_, parent);
}

int EAGLViewController::maxTextureSizeForThisDevice() {
    return cachedMaxTextureSize();
}

Size EAGLViewController::sizeThatFitsWithinATextureForSize(Size size) {
    return KGLUtils::sizeThatFitsWithinATextureForSize(size, maxTextureSizeForThisDevice());
}

}  // namespace velumen
