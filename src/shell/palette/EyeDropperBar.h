// The bar that shows while the eyedropper is on: what to do, the colour taken so far (clear while over
// empty paper) and Done. It slides down from above its place when shown and back up when hidden.
#pragma once

#include <QFrame>

#include "ink/KColor.h"

class QPropertyAnimation;
class QToolButton;

namespace velumen {

class EyeDropperBar : public QFrame {
  public:
    // `done` is the command that ends picking (its button and its key).
    EyeDropperBar(QAction* done, QWidget* host);

    // Slides in at the top of the host (or out) over 0.3 s; without animation at once.
    void showEyeDropperToolbar(bool show, bool animated = true);
    bool isShown() const { return shown_; }
    // The colour taken, at full alpha; nothing shows a clear swatch.
    void showColor(const std::optional<KColor>& color);
    QWidget* colorView() const { return _eyeDropperColorView; }
    std::optional<KColor> shownColor() const { return shownColor_; }

  private:
    QWidget* _eyeDropperColorView = nullptr;
    QPropertyAnimation* slide_ = nullptr;
    std::optional<KColor> shownColor_;
    bool shown_ = false;
};

}  // namespace velumen
