#include "shell/KPositionSatelliteView.h"

#include <QPainter>
#include <QPainterPath>
#include <QTimerEvent>

namespace velumen {

KPositionSatelliteView::KPositionSatelliteView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setObjectName("positionSatelliteView");
    resize(kWidth, kHeight);
    fade_.setDuration(kFadeMilliseconds);
    fade_.setEasingCurve(QEasingCurve::InOutQuad);
    connect(&fade_, &QVariantAnimation::valueChanged, this, [this](const QVariant& v) { setAlpha(v.toDouble()); });
    connect(&fade_, &QVariantAnimation::finished, this, [this] {
        if (alpha_ <= 0) hide();
    });
    hide();
}

void KPositionSatelliteView::placeInParent() {
    if (QWidget* p = parentWidget()) move(p->width() - kWidth - kInset, kInset);
}

void KPositionSatelliteView::showFrame(const Rect& visible, const QString& percentage) {
    fade_.stop();
    if (fadeDelayTimer_) killTimer(fadeDelayTimer_);
    fadeDelayTimer_ = 0;
    currentFrame = visible;
    percentage_ = percentage;
    placeInParent();
    raise();
    show();
    setAlpha(kShownAlpha);
}

void KPositionSatelliteView::fadeOut(int afterMs) {
    if (isHidden() || fade_.state() == QAbstractAnimation::Running || fadeDelayTimer_) return;
    if (afterMs > 0) {
        fadeDelayTimer_ = startTimer(afterMs);
        return;
    }
    fade_.setStartValue(alpha_);
    fade_.setEndValue(0.0);
    fade_.start();
}

void KPositionSatelliteView::timerEvent(QTimerEvent* event) {
    if (event->timerId() != fadeDelayTimer_) return QWidget::timerEvent(event);
    killTimer(fadeDelayTimer_);
    fadeDelayTimer_ = 0;
    fadeOut();
}

void KPositionSatelliteView::setAlpha(double alpha) {
    alpha_ = alpha;
    update();
}

void KPositionSatelliteView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setOpacity(alpha_);
    QPainterPath clip;
    clip.addRoundedRect(QRectF(rect()), 3, 3);
    p.setClipPath(clip);
    p.fillRect(rect(), QColor::fromRgbF(0.65f, 0.65f, 0.65f));
    if (maxFrame.width > 0 && maxFrame.height > 0) {
        const double sx = width() / maxFrame.width;
        const double sy = height() / maxFrame.height;
        const QRectF visible((currentFrame.x - maxFrame.x) * sx, (currentFrame.y - maxFrame.y) * sy,
                             currentFrame.width * sx, currentFrame.height * sy);
        p.fillRect(visible, QColor::fromRgbF(0.9f, 0.9f, 0.9f));
    }
    if (showPercentage) {
        QFont font = p.font();
        font.setBold(true);
        font.setPixelSize(20);
        p.setFont(font);
        p.setPen(QColor::fromRgbF(0, 0, 0, 0.5f));
        p.drawText(QRectF(0, height() / 2.0 - 10, width(), 40), Qt::AlignHCenter | Qt::AlignTop | Qt::TextSingleLine,
                   percentage_);
    }
}

}  // namespace velumen
