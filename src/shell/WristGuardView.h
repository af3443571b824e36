// The wrist guard on screen: a translucent panel over the bottom of the editor and the tab that raises and
// lowers it. Touches, pen and mouse on the panel go nowhere; the tab is tapped or dragged (a flick carries
// on). Made by the editor on tablets only.
#pragma once

#include <QWidget>
#include <functional>

#include "input/WristGuard.h"

class QVariantAnimation;

namespace velumen {

class WristGuardView : public QObject {
  public:
    // Both views become children of `mainView`, above what is already there.
    explicit WristGuardView(QWidget* mainView);
    ~WristGuardView() override;

    WristGuard model;

    // Called when the view's size changed: the height is capped, the views follow at once.
    void layoutWristguardForViewSize(Size size);
    // Shows or hides both views (the user's setting "shouldHideWristGuard").
    void setShown(bool shown);
    // User operations on the tab; each animates to the new placement.
    void wristGuardButtonTapped();
    void wristGuardPanned(double dy);
    void wristGuardPanEnded(double velocityY);

    QWidget* guardView() const { return guard_; }
    QWidget* tabButton() const { return tab_; }
    // The height the views show now (between placements while animating).
    double shownHeight() const { return shownHeight_; }

  private:
    void placeAt(double height);
    void animateTo(double seconds, bool easeOut);

    QWidget* mainView_;
    QWidget* guard_;
    QWidget* tab_;
    QVariantAnimation* animation_;
    double shownHeight_ = 0;
};

}  // namespace velumen
