#include "render/DisplayLink.h"

#include <QGuiApplication>
#include <QScreen>
#include <cmath>

namespace velumen {

DisplayLink::DisplayLink(std::function<void()> target, QObject* parent)
    : QObject(parent), target_(std::move(target)) {
    timer_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer_, &QTimer::timeout, this, [this] { tick(); });
}

int DisplayLink::intervalForRefreshRate(double hertz) {
    if (!(hertz >= 1) || !std::isfinite(hertz)) hertz = 60;
    return std::max(1, static_cast<int>(std::floor(1000.0 / hertz)));
}

void DisplayLink::start(const QScreen* screen) {
    if (!screen) screen = QGuiApplication::primaryScreen();
    timer_.start(intervalForRefreshRate(screen ? screen->refreshRate() : 60.0));
}

void DisplayLink::invalidate() {
    timer_.stop();
}

void DisplayLink::tick() {
    ++ticks_;
    if (target_) target_();
}

}  // namespace velumen
