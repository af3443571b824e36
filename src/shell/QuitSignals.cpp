#include "shell/QuitSignals.h"

#include <QSocketNotifier>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace velumen {

namespace {

constexpr int kSignals[] = {SIGTERM, SIGHUP, SIGINT};
// The pipe's two ends; -1 while no QuitSignals exists. Written from the handler, so plain ints.
volatile sig_atomic_t writeEnd = -1;
int readEnd = -1;

extern "C" void onQuitSignal(int signal) {
    const int saved = errno;
    const unsigned char byte = static_cast<unsigned char>(signal);
    if (writeEnd >= 0) {
        // A full pipe already holds a request: dropping this one loses nothing.
        [[maybe_unused]] const ssize_t n = ::write(writeEnd, &byte, 1);
    }
    errno = saved;
}

}  // namespace

QuitSignals::QuitSignals(std::function<void(int)> requested, QObject* parent)
    : QObject(parent), requested_(std::move(requested)) {
    if (writeEnd >= 0) return;
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) return;
    readEnd = fds[0];
    writeEnd = fds[1];
    struct sigaction action {};
    action.sa_handler = onQuitSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : kSignals)
        ::sigaction(signal, &action, nullptr);
    notifier_ = new QSocketNotifier(readEnd, QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] { readPipe(); });
}

QuitSignals::~QuitSignals() {
    if (!notifier_) return;
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    for (int signal : kSignals)
        ::sigaction(signal, &action, nullptr);
    delete notifier_;
    const int w = writeEnd;
    writeEnd = -1;
    ::close(w);
    ::close(readEnd);
    readEnd = -1;
}

void QuitSignals::readPipe() {
    unsigned char bytes[16];
    ssize_t n;
    while ((n = ::read(readEnd, bytes, sizeof bytes)) > 0) {
        for (ssize_t i = 0; i < n; ++i)
            if (requested_) requested_(bytes[i]);
    }
}

}  // namespace velumen
