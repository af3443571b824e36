#include "shell/palette/KSliderViewController.h"

#include <QHBoxLayout>
#include <QSignalBlocker>

namespace velumen {

KSliderViewController::KSliderViewController(QWidget* host) : FloatingPanel(host) {
    setObjectName("widthSlider");
    setFixedSize(320, 44);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 4, 12, 4);
    _slider = new StepSlider(this);
    _slider->setFocusPolicy(Qt::TabFocus);
    _slider->setToolTip("Pen width: drag, turn the wheel or use the arrow keys");
    layout->addWidget(_slider);
    connect(_slider, &QSlider::valueChanged, this, [this](int v) {
        if (delegate) delegate->KSliderViewControllerDidChangeValue(this, v);
    });
}

void KSliderViewController::setRange(int minimum, int maximum) {
    const QSignalBlocker quiet(_slider);
    _slider->setRange(minimum, maximum);
}

void KSliderViewController::setValue(int value) {
    const QSignalBlocker quiet(_slider);
    _slider->setValue(value);
}

int KSliderViewController::value() const {
    return _slider->value();
}

}  // namespace velumen
