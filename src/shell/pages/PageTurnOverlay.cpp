#include "shell/pages/PageTurnOverlay.h"

#include <QEasingCurve>
#include <QPainter>
#include <QtMath>
#include <utility>

#include "shell/pages/PageNavigator.h"

namespace velumen {

namespace {

// The platform's default ease in and out.
QEasingCurve easeInOut() {
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(QPointF(0.42, 0.0), QPointF(0.58, 1.0), QPointF(1.0, 1.0));
    return curve;
}

}  // namespace

PageTurnView::PageTurnView(QWidget* canvasFrame, QImage picture, bool withShadow, double offset)
    : QWidget(canvasFrame->window()), picture_(std::move(picture)), withShadow_(withShadow), offset_(offset) {
    QWidget* window = canvasFrame->window();
    frame_ = QRectF(QPointF(canvasFrame->mapTo(window, QPoint(0, 0))), QSizeF(canvasFrame->size()));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setGeometry(window->rect());
    raise();
    show();
}

void PageTurnView::setLift(double lift) {
    lift_ = lift;
    update();
}

void PageTurnView::setShadowShift(double shift) {
    shadowShift_ = shift;
    update();
}

QTransform PageTurnView::liftTransform(QPointF centre, double offset, double lift) {
    QTransform t;
    t.translate(centre.x(), centre.y());
    t.translate(-offset * lift, -PageNavigator::kLiftRise * lift);
    t.rotateRadians(PageNavigator::kLiftAngle * lift);
    t.translate(-centre.x(), -centre.y());
    return t;
}

void PageTurnView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setTransform(liftTransform(frame_.center(), offset_, lift_));
    if (withShadow_)
        painter.fillRect(frame_.translated(shadowShift_, shadowShift_),
                         QColor::fromRgbF(0, 0, 0, float(PageNavigator::kShadowAlpha)));
    if (picture_.isNull())
        painter.fillRect(frame_, Qt::white);
    else
        painter.drawImage(frame_, picture_);
}

PageTurnOverlay::PageTurnOverlay(QWidget* canvasFrame, QImage oldPage, bool forward, double offset,
                                 QObject* parent)
    : QObject(parent), canvasFrame_(canvasFrame), forward_(forward), offset_(offset) {
    if (canvasFrame_) oldView_ = new PageTurnView(canvasFrame_, std::move(oldPage), forward_, offset_);
}

PageTurnOverlay::~PageTurnOverlay() {
    removeViews();
}

void PageTurnOverlay::start(QImage newPage, std::function<void()> finished) {
    if (canvasFrame_) {
        newView_ = new PageTurnView(canvasFrame_, std::move(newPage), !forward_, offset_);
        if (forward_) {
            if (oldView_) newView_->stackUnder(oldView_);
        } else {
            newView_->setLift(1);
            newView_->setShadowShift(PageNavigator::kShadowDrift);
        }
    }
    animation_ = new QVariantAnimation(this);
    animation_->setStartValue(0.0);
    animation_->setEndValue(1.0);
    animation_->setDuration(int(PageNavigator::kAnimationDuration * 1000));
    animation_->setEasingCurve(easeInOut());
    connect(animation_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        const double p = value.toDouble();
        if (forward_ && oldView_) {
            oldView_->setLift(p);
            oldView_->setShadowShift(PageNavigator::kShadowDrift * p);
        } else if (!forward_ && newView_) {
            newView_->setLift(1 - p);
            newView_->setShadowShift(PageNavigator::kShadowDrift * (1 - p));
        }
    });
    connect(animation_, &QVariantAnimation::finished, this, [this, finished = std::move(finished)] {
        if (finished)
            finished();
        else
            removeViews();
    });
    animation_->start();
}

void PageTurnOverlay::setProgress(double progress) {
    if (!animation_) return;
    animation_->setCurrentTime(int(progress * animation_->duration()));
}

void PageTurnOverlay::removeViews() {
    delete oldView_.data();
    delete newView_.data();
}

}  // namespace velumen
