// Shows the surface's back buffer in a widget and keeps the surface at the widget's size. Its own context
// shares objects with the surface's, so presenting is one copy of the back buffer's texture.
#pragma once

#include <QOpenGLWidget>
#include <cstdint>

namespace velumen {

class EAGLView;

class EAGLViewWidget : public QOpenGLWidget {
  public:
    explicit EAGLViewWidget(EAGLView& view, QWidget* parent = nullptr);
    ~EAGLViewWidget() override;

    std::uint64_t paintCount() const { return paints_; }

  protected:
    void initializeGL() override;
    void paintGL() override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    EAGLView& view_;
    unsigned int readFramebuffer_ = 0;
    std::uint64_t paints_ = 0;
};

}  // namespace velumen
