// Whether a stylus is connected, as far as the toolkit's list of input devices tells: a pen, an airbrush or
// a puck among them counts. The answer is asked for only at set moments (when made, when the application
// becomes active, when a book opens), so a stylus that goes away is noticed at the next of them.
#pragma once

#include <QList>
#include <QObject>
#include <functional>

class QInputDevice;

namespace velumen {

class StylusDetector : public QObject {
  public:
    // Asks once at once, and again whenever the application becomes active.
    explicit StylusDetector(QObject* parent = nullptr);

    bool isPencilConnected() const { return isPencilConnected_; }
    // Asks the toolkit again; calls didChangeState when the answer changed. Returns the answer.
    bool updateState();
    // True when one of the devices is a stylus of any kind.
    static bool hasStylus(const QList<const QInputDevice*>& devices);

    std::function<void(StylusDetector&)> didChangeState;

  private:
    bool isPencilConnected_ = false;
};

}  // namespace velumen
