#include "input/StylusDetector.h"

#include <QGuiApplication>
#include <QInputDevice>

namespace velumen {

StylusDetector::StylusDetector(QObject* parent) : QObject(parent) {
    isPencilConnected_ = hasStylus(QInputDevice::devices());
    if (auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        connect(app, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
            if (state == Qt::ApplicationActive) updateState();
        });
    }
}

bool StylusDetector::hasStylus(const QList<const QInputDevice*>& devices) {
    for (const QInputDevice* device : devices) {
        if (!device) continue;
        switch (device->type()) {
            case QInputDevice::DeviceType::Stylus:
            case QInputDevice::DeviceType::Airbrush:
            case QInputDevice::DeviceType::Puck:
                return true;
            default:
                break;
        }
    }
    return false;
}

bool StylusDetector::updateState() {
    const bool connected = hasStylus(QInputDevice::devices());
    const bool changed = connected != isPencilConnected_;
    isPencilConnected_ = connected;
    if (changed && didChangeState) didChangeState(*this);
    return connected;
}

}  // namespace velumen
