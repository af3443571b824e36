// Small pieces the palettes and the colour picker share: a model colour as a toolkit colour, the round
// colour swatch, a slider that a wheel notch moves by exactly one step, and the picture of a pen for the
// toolbar.
#pragma once

#include <QAbstractButton>
#include <QColor>
#include <QIcon>
#include <QSlider>

#include "ink/KColor.h"

namespace velumen {

// The colour with each component clamped to 0 to 1 (NaN as 0).
QColor qColorOf(const KColor& color);

// A round swatch of 36 points showing a colour as swatches show it (the palette's alpha made visible).
class ColorSwatchButton : public QAbstractButton {
  public:
    ColorSwatchButton(int colorIndex, QWidget* parent);
    int colorIndex() const { return colorIndex_; }
    // The colour drawn, as given: callers pass the swatch form of a palette value.
    void setSwatchColor(const KColor& color);
    const KColor& swatchColor() const { return color_; }
    QSize sizeHint() const override { return {36, 36}; }

  protected:
    void paintEvent(QPaintEvent*) override;

  private:
    int colorIndex_;
    KColor color_;
};

// A horizontal slider over whole steps; one notch of the wheel moves it by one step, whatever the
// desktop's scroll setting.
class StepSlider : public QSlider {
  public:
    explicit StepSlider(QWidget* parent);

  protected:
    void wheelEvent(QWheelEvent* event) override;

  private:
    int wheelRemainder_ = 0;
};

// The toolbar's picture of the pen: the pen type's glyph over a disc of the colour, crisp at `ratio`.
QIcon penToolbarIcon(int penTypeIndex, const KColor& swatchColor, qreal ratio);

}  // namespace velumen
