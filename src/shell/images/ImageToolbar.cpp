#include "shell/images/ImageToolbar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QSlider>
#include <cmath>

namespace velumen {

ImageToolbar::ImageToolbar(QWidget* parent) : QWidget(parent) {
    setObjectName("imageToolbar");
    setAutoFillBackground(true);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(8, 4, 8, 4);
    alphaLabel = new QLabel("Opacity", this);
    alphaSlider = new QSlider(Qt::Horizontal, this);
    alphaSlider->setRange(0, 100);
    alphaSlider->setMinimumWidth(160);
    alphaSlider->setObjectName("imageAlphaSlider");
    presetFullButton = new QPushButton("Full Page", this);
    presetCenterButton = new QPushButton("Center", this);
    borderButton = new QPushButton("Border", this);
    borderButton->setObjectName("imageBorderButton");
    grayscaleButton = new QPushButton("Grayscale", this);
    grayscaleButton->setObjectName("imageGrayscaleButton");
    convertToInkButton = new QPushButton("Convert To Ink", this);
    convertToInkButton->setObjectName("imageConvertToInkButton");
    convertToInkButton->setToolTip("Turn this picture into ink, with a preview to set how much of it becomes ink");
    doneButton = new QPushButton("Done", this);
    doneButton->setObjectName("imageDoneButton");
    row->addWidget(alphaLabel);
    row->addWidget(alphaSlider);
    row->addWidget(presetFullButton);
    row->addWidget(presetCenterButton);
    row->addWidget(borderButton);
    row->addWidget(grayscaleButton);
    row->addWidget(convertToInkButton);
    row->addStretch(1);
    row->addWidget(doneButton);
    hide();
}

void ImageToolbar::configure(bool isMasterImage) {
    for (QWidget* w : {static_cast<QWidget*>(alphaLabel), static_cast<QWidget*>(alphaSlider),
                       static_cast<QWidget*>(presetFullButton), static_cast<QWidget*>(presetCenterButton)})
        w->setVisible(isMasterImage);
    borderButton->setVisible(!isMasterImage);
    convertToInkButton->setVisible(!isMasterImage);
}

void ImageToolbar::setOpacityValue(double alpha) {
    const QSignalBlocker block(alphaSlider);
    alphaSlider->setValue(int(std::lround(alpha * 100)));
}

void ImageToolbar::showAnimated(bool animated) {
    if (parentWidget()) setGeometry(0, 0, parentWidget()->width(), sizeHint().height());
    show();
    raise();
    if (!animated) return;
    auto* slide = new QPropertyAnimation(this, "pos", this);
    slide->setDuration(300);
    slide->setStartValue(QPoint(0, -height()));
    slide->setEndValue(QPoint(0, 0));
    slide->start(QAbstractAnimation::DeleteWhenStopped);
}

void ImageToolbar::hideAnimated(bool animated) {
    if (!animated) {
        hide();
        return;
    }
    auto* slide = new QPropertyAnimation(this, "pos", this);
    slide->setDuration(300);
    slide->setStartValue(pos());
    slide->setEndValue(QPoint(0, -height()));
    connect(slide, &QPropertyAnimation::finished, this, [this] {
        hide();
        move(0, 0);
    });
    slide->start(QAbstractAnimation::DeleteWhenStopped);
}

ResizeGrip::ResizeGrip(QWidget* parent) : QWidget(parent) {
    setObjectName("resizeGrip");
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_TranslucentBackground);
    resize(44, 44);
    hide();
}

void ResizeGrip::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(Qt::white, 2));
    p.setBrush(QColor(40, 110, 220, 220));
    p.drawEllipse(QRectF(rect()).adjusted(10, 10, -10, -10));
}

}  // namespace velumen
