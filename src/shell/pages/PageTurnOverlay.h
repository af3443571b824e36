// The page turn on screen: pictures of the old and the new page over the surface's frame, one of them
// lifted off up and to the left with a tilt and a drifting shadow, for 0.3 seconds. The surface itself is
// hidden meanwhile by the editor.
#pragma once

#include <QImage>
#include <QPointer>
#include <QTransform>
#include <QVariantAnimation>
#include <QWidget>
#include <functional>

namespace velumen {

// One page picture in the frame's place, with or without its shadow, drawn under a share of the lift-off.
// It covers the frame's window so that the lifted page may leave the frame; it takes no input.
class PageTurnView : public QWidget {
  public:
    PageTurnView(QWidget* canvasFrame, QImage picture, bool withShadow, double offset);

    // 0 in place, 1 fully lifted.
    void setLift(double lift);
    double lift() const { return lift_; }
    // The shadow's centre moved by (shift, shift) from the picture's.
    void setShadowShift(double shift);
    double shadowShift() const { return shadowShift_; }
    bool hasShadow() const { return withShadow_; }
    // The picture's place in this widget.
    QRectF pageFrame() const { return frame_; }
    // The lift-off about the frame's centre: a translation by (-offset, -300) x lift, then a rotation by
    // -7 degrees x lift.
    static QTransform liftTransform(QPointF centre, double offset, double lift);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QImage picture_;
    QRectF frame_;
    bool withShadow_;
    double offset_;
    double lift_ = 0;
    double shadowShift_ = 0;
};

class PageTurnOverlay : public QObject {
  public:
    // Puts the picture of the page being left above the frame: alone for a turn back, with its shadow for a
    // turn forward. Without a frame nothing is shown, but the animation still runs its time.
    PageTurnOverlay(QWidget* canvasFrame, QImage oldPage, bool forward, double offset, QObject* parent = nullptr);
    ~PageTurnOverlay() override;

    // Adds the new page's picture (below the old one going forward; lifted, with its shadow moved by
    // (+20, +20), above it going back) and runs the 0.3-second animation; at its end both pictures are
    // removed and `finished` runs.
    void start(QImage newPage, std::function<void()> finished);
    // Puts the animation at a share of its course (eased) without waiting for it.
    void setProgress(double progress);

    bool isForward() const { return forward_; }
    PageTurnView* oldView() const { return oldView_; }
    PageTurnView* newView() const { return newView_; }
    QVariantAnimation* animation() const { return animation_; }
    // Takes both pictures off the screen.
    void removeViews();

  private:

    QPointer<QWidget> canvasFrame_;
    bool forward_;
    double offset_;
    QPointer<PageTurnView> oldView_;
    QPointer<PageTurnView> newView_;
    QVariantAnimation* animation_ = nullptr;
};

}  // namespace velumen
