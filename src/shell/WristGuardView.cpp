#include "shell/WristGuardView.h"

#include <QElapsedTimer>
#include <QEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QVariantAnimation>
#include <cmath>

namespace velumen {

namespace {

// The panel: dark grey at alpha 0.2 with a pale mark, swallowing whatever lands on it.
class GuardPanel : public QWidget {
  public:
    explicit GuardPanel(QWidget* parent) : QWidget(parent) {
        setAttribute(Qt::WA_AcceptTouchEvents);
        setAttribute(Qt::WA_NoMousePropagation);
    }

  protected:
    bool event(QEvent* e) override {
        switch (e->type()) {
            case QEvent::TouchBegin:
            case QEvent::TouchUpdate:
            case QEvent::TouchEnd:
            case QEvent::TouchCancel:
            case QEvent::TabletPress:
            case QEvent::TabletMove:
            case QEvent::TabletRelease:
            case QEvent::MouseButtonPress:
            case QEvent::MouseMove:
            case QEvent::MouseButtonRelease:
            case QEvent::MouseButtonDblClick:
            case QEvent::Wheel:
                e->accept();
                return true;
            default:
                return QWidget::event(e);
        }
    }
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.fillRect(rect(), QColor::fromRgbF(0.3f, 0.3f, 0.3f, 0.2f));
        // The mark: 100 by 50 at the middle, 550 points down, white at half strength.
        const QRectF mark(width() / 2.0 - 50, 550, 100, 50);
        p.setPen(QColor::fromRgbF(1, 1, 1, 0.5f));
        QFont font = p.font();
        font.setPixelSize(22);
        font.setBold(true);
        p.setFont(font);
        p.drawText(mark, Qt::AlignCenter, "Velumen");
    }
};

// The tab: a grip, on a rounded background while the guard is down. A press that moves less than
// kSlop points before release is a tap; otherwise a drag, whose last moves give the release's velocity.
class GuardTab : public QWidget {
  public:
    static constexpr double kSlop = 8;
    GuardTab(QWidget* parent, WristGuardView& owner) : QWidget(parent), owner_(owner) {
        setCursor(Qt::SizeVerCursor);
        setToolTip("Wrist guard: tap to raise or lower it, or drag it");
    }
    bool hasBackground = true;

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        if (hasBackground) {
            p.setBrush(QColor::fromRgbF(0.3f, 0.3f, 0.3f, 0.45f));
            p.setPen(Qt::NoPen);
            p.drawRoundedRect(QRectF(rect()).adjusted(2, 2, -2, 6), 8, 8);
        }
        p.setPen(QPen(QColor::fromRgbF(1, 1, 1, 0.9f), 2.5, Qt::SolidLine, Qt::RoundCap));
        for (int i = 0; i < 3; ++i) {
            const double y = 14 + 6 * i;
            p.drawLine(QPointF(11, y), QPointF(29, y));
        }
    }
    void mousePressEvent(QMouseEvent* e) override {
        pressY_ = lastY_ = e->globalPosition().y();
        dragging_ = false;
        velocity_ = 0;
        clock_.start();
    }
    void mouseMoveEvent(QMouseEvent* e) override {
        const double y = e->globalPosition().y();
        if (!dragging_ && std::fabs(y - pressY_) < kSlop) return;
        dragging_ = true;
        const double dt = double(clock_.restart()) / 1000.0;
        if (dt > 0) velocity_ = (y - lastY_) / dt;
        owner_.wristGuardPanned(y - lastY_);
        lastY_ = y;
    }
    void mouseReleaseEvent(QMouseEvent* e) override {
        if (!dragging_) {
            if (rect().contains(e->position().toPoint())) owner_.wristGuardButtonTapped();
            return;
        }
        // A pause before the release leaves no flick.
        owner_.wristGuardPanEnded(clock_.elapsed() > 100 ? 0.0 : velocity_);
        dragging_ = false;
    }

  private:
    WristGuardView& owner_;
    QElapsedTimer clock_;
    double pressY_ = 0;
    double lastY_ = 0;
    double velocity_ = 0;
    bool dragging_ = false;
};

Size sizeOf(const QWidget* w) {
    return {double(w->width()), double(w->height())};
}

QRect toQRect(const Rect& r) {
    return QRect(int(std::lround(r.x)), int(std::lround(r.y)), int(std::lround(r.width)), int(std::lround(r.height)));
}

}  // namespace

WristGuardView::WristGuardView(QWidget* mainView)
    : QObject(mainView),
      mainView_(mainView),
      guard_(new GuardPanel(mainView)),
      tab_(new GuardTab(mainView, *this)),
      animation_(new QVariantAnimation(this)) {
    guard_->raise();
    tab_->raise();
    connect(animation_, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& v) { placeAt(v.toDouble()); });
    placeAt(0);
    guard_->show();
    tab_->show();
}

WristGuardView::~WristGuardView() = default;

void WristGuardView::placeAt(double height) {
    shownHeight_ = height;
    WristGuard at = model;
    at.wristGuardVisibleHeight = float(height);
    const WristGuardPlacement p = at.placement(sizeOf(mainView_));
    guard_->setGeometry(toQRect(p.guard));
    tab_->setGeometry(toQRect(p.tab));
    auto* tab = static_cast<GuardTab*>(tab_);
    if (tab->hasBackground != p.tabHasBackground) {
        tab->hasBackground = p.tabHasBackground;
        tab->update();
    }
}

void WristGuardView::animateTo(double seconds, bool easeOut) {
    animation_->stop();
    animation_->setStartValue(shownHeight_);
    animation_->setEndValue(double(model.wristGuardVisibleHeight));
    animation_->setDuration(int(std::lround(seconds * 1000)));
    animation_->setEasingCurve(easeOut ? QEasingCurve::OutCubic : QEasingCurve::InOutQuad);
    animation_->start();
}

void WristGuardView::layoutWristguardForViewSize(Size size) {
    animation_->stop();
    model.layoutWristguardForViewSize(size);
    placeAt(model.wristGuardVisibleHeight);
}

void WristGuardView::setShown(bool shown) {
    guard_->setVisible(shown);
    tab_->setVisible(shown);
}

void WristGuardView::wristGuardButtonTapped() {
    model.wristGuardButtonTapped(sizeOf(mainView_));
    animateTo(WristGuard::kTapAnimationSeconds, false);
}

void WristGuardView::wristGuardPanned(double dy) {
    animation_->stop();
    model.wristGuardPanned(dy);
    placeAt(model.wristGuardVisibleHeight);
}

void WristGuardView::wristGuardPanEnded(double velocityY) {
    model.wristGuardPanEnded(velocityY, sizeOf(mainView_));
    animateTo(WristGuard::kReleaseAnimationSeconds, true);
}

}  // namespace velumen
