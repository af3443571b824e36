// Owner of the surface: makes the one GL context (shared with the widgets' contexts, so that a widget can
// show the back buffer) and the offscreen surface it works on, and hands them to the EAGLView.
#pragma once

#include <QSurfaceFormat>
#include <memory>

#include "ink/KGeometry.h"
#include "render/EAGLView.h"

class QOpenGLContext;
class QOffscreenSurface;
class QWidget;

namespace velumen {

class EAGLViewController {
  public:
    EAGLViewController();
    ~EAGLViewController();
    EAGLViewController(const EAGLViewController&) = delete;
    EAGLViewController& operator=(const EAGLViewController&) = delete;

    // The format of every GL context of the program: GL 3.3 core (or GLES 3.0), RGBA8, no depth. The
    // program sets it as the default before its application object exists, together with
    // Qt::AA_ShareOpenGLContexts.
    static QSurfaceFormat surfaceFormat();

    // Makes the context (a second try when the first fails) and the offscreen surface, and gives them to
    // the view. False when no context can be made: the view stays empty and everything else goes on.
    bool viewDidLoad();
    void viewDidUnload();
    bool hasContext() const { return view_.context() != nullptr; }
    EAGLView& eaglView() { return view_; }

    // A widget that shows the back buffer and keeps the view's size; the caller owns it.
    QWidget* createWidget(QWidget* parent = nullptr);

    // GL_MAX_TEXTURE_SIZE, read once for the process (0 before any context was made).
    static int maxTextureSizeForThisDevice();
    static Size sizeThatFitsWithinATextureForSize(Size size);

  private:
    std::unique_ptr<QOpenGLContext> context_;
    std::unique_ptr<QOffscreenSurface> surface_;
    EAGLView view_;
};

}  // namespace velumen
