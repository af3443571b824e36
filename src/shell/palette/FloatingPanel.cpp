#include "shell/palette/FloatingPanel.h"

#include <QApplication>
#include <QMouseEvent>
#include <QTabletEvent>
#include <QTouchEvent>

namespace velumen {

FloatingPanel::FloatingPanel(QWidget* host) : QFrame(host) {
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setFocusPolicy(Qt::NoFocus);
    hide();
    qApp->installEventFilter(this);
}

FloatingPanel::~FloatingPanel() {
    qApp->removeEventFilter(this);
}

void FloatingPanel::showFromWidget(QWidget* anchor) {
    QWidget* host = parentWidget();
    adjustSize();
    QPoint at(0, 0);
    if (anchor && host) {
        const QPoint below = anchor->mapTo(host->window(), QPoint(anchor->width() / 2, anchor->height()));
        at = host->mapFrom(host->window(), below) - QPoint(width() / 2, -4);
    }
    if (host) {
        at.setX(std::clamp(at.x(), 0, std::max(0, host->width() - width())));
        at.setY(std::clamp(at.y(), 0, std::max(0, host->height() - height())));
    }
    move(at);
    show();
    raise();
}

void FloatingPanel::showOverHost() {
    if (QWidget* host = parentWidget()) setGeometry(host->rect());
    show();
    raise();
}

void FloatingPanel::dismiss() {
    if (!isVisible()) return;
    hide();
    if (dismissed) dismissed();
}

bool FloatingPanel::isInside(const QPoint& globalPoint) const {
    if (rect().contains(mapFromGlobal(globalPoint))) return true;
    for (const QPointer<QWidget>& view : passthroughViews_) {
        if (view && view->isVisible() && view->rect().contains(view->mapFromGlobal(globalPoint))) return true;
    }
    return false;
}

bool FloatingPanel::eventFilter(QObject* watched, QEvent* event) {
    if (!closesOnOutsidePress_ || !isVisible() || !watched->isWidgetType()) return false;
    QPoint global;
    switch (event->type()) {
        case QEvent::MouseButtonPress:
            global = static_cast<QMouseEvent*>(event)->globalPosition().toPoint();
            break;
        case QEvent::TabletPress:
            global = static_cast<QTabletEvent*>(event)->globalPosition().toPoint();
            break;
        case QEvent::TouchBegin: {
            const auto& points = static_cast<QTouchEvent*>(event)->points();
            if (points.isEmpty()) return false;
            global = points.front().globalPosition().toPoint();
            break;
        }
        default:
            return false;
    }
    if (!isInside(global)) dismiss();
    return false;
}

}  // namespace velumen
