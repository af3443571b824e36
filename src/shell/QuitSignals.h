// The system's requests to end the notebook: SIGTERM, SIGHUP (the session ending at a logout) and SIGINT (a
// terminal's Ctrl+C). The handler only writes the signal's number into a pipe; the event loop reads it and
// makes the call, so that the quit runs as an ordinary event and nothing is saved inside a handler.
#pragma once

#include <QObject>
#include <functional>

class QSocketNotifier;

namespace velumen {

class QuitSignals : public QObject {
  public:
    // At most one at a time. `requested` is called in the event loop, once per signal that arrives.
    explicit QuitSignals(std::function<void(int signal)> requested, QObject* parent = nullptr);
    // The signals get their default actions back.
    ~QuitSignals() override;

    // False when the pipe or the handlers could not be set up: the signals then keep their default actions.
    bool isActive() const { return notifier_ != nullptr; }

  private:
    void readPipe();

    std::function<void(int)> requested_;
    QSocketNotifier* notifier_ = nullptr;
};

}  // namespace velumen
