// The small map of the page shown while the page is panned or zoomed: the whole page in grey, the part
// the view shows in a lighter grey, and the zoom as text ("2.5x"). It appears at 0.4 alpha at every step
// of a two-finger gesture (and of the wheel) and fades out over 0.2 s when the gesture ends. It takes no
// input: touches pass through to the page below.
#pragma once

#include <QVariantAnimation>
#include <QWidget>

#include "ink/KGeometry.h"
#include "ink/ViewTransform.h"

namespace velumen {

class KPositionSatelliteView : public QWidget {
  public:
    static constexpr double kShownAlpha = 0.4;
    static constexpr int kFadeMilliseconds = 200;
    // The map's size in points: the page's 4:5 at a glanceable scale, inset from the view's top right.
    static constexpr int kWidth = 96;
    static constexpr int kHeight = 120;
    static constexpr int kInset = 10;

    explicit KPositionSatelliteView(QWidget* parent);

    // The whole page and the part of it in view, both in page units.
    Rect maxFrame{0, 0, kPageSize.width, kPageSize.height};
    Rect currentFrame{0, 0, kPageSize.width, kPageSize.height};
    bool showPercentage = true;

    // Shows the map at once at 0.4 alpha with this visible part and zoom text, stopping a fade under way.
    void showFrame(const Rect& visible, const QString& percentage);
    // Fades from the present alpha to 0 over 0.2 s, then hides; `afterMs` delays the start of the fade.
    void fadeOut(int afterMs = 0);
    double alpha() const { return alpha_; }
    QString percentageText() const { return percentage_; }
    // Keeps the map in the top right corner of its parent.
    void placeInParent();

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    void setAlpha(double alpha);

    double alpha_ = 0;
    QString percentage_;
    QVariantAnimation fade_;
    int fadeDelayTimer_ = 0;
    void timerEvent(QTimerEvent* event) override;
};

}  // namespace velumen
