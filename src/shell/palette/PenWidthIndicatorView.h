// The round preview of a pen's width: a disc in the pen's colour that grows with the width up to the
// largest step of its table.
#pragma once

#include <QWidget>

#include "ink/KColor.h"

namespace velumen {

class PenWidthIndicatorView : public QWidget {
  public:
    explicit PenWidthIndicatorView(QWidget* parent);

    void setValue(float value);
    void setMaxValue(float maxValue);
    // The colour as a swatch shows it.
    void setColor(const KColor& color);
    float value() const { return _value; }
    float maxValue() const { return _maxValue; }
    // The disc's side in points at the present size.
    double diameter() const;

  protected:
    void paintEvent(QPaintEvent*) override;

  private:
    float _value = 0;
    float _maxValue = 0;
    KColor _color{0, 0, 0, 1};
};

}  // namespace velumen
