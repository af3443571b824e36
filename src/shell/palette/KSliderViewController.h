// A slider in a small floating panel of 320 by 44 that tells its delegate each value it takes. The pen
// palettes use it for the width, with the slider's value an index into the width steps.
#pragma once

#include "shell/palette/FloatingPanel.h"
#include "shell/palette/PaletteWidgets.h"

namespace velumen {

class KSliderViewController;

class KSliderViewControllerDelegate {
  public:
    virtual ~KSliderViewControllerDelegate() = default;
    virtual void KSliderViewControllerDidChangeValue(KSliderViewController* slider, double value) = 0;
};

class KSliderViewController : public FloatingPanel {
  public:
    explicit KSliderViewController(QWidget* host);

    KSliderViewControllerDelegate* delegate = nullptr;
    // Whole steps from `minimum` to `maximum`; setting the value tells nobody.
    void setRange(int minimum, int maximum);
    void setValue(int value);
    int value() const;
    StepSlider* slider() const { return _slider; }

  private:
    StepSlider* _slider = nullptr;
};

}  // namespace velumen
