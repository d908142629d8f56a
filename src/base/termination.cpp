#include "base/termination.h"

#include <QSocketNotifier>

#include <csignal>
#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

namespace corvane {
namespace {

constexpr std::initializer_list<int> kSignals = {SIGTERM, SIGINT};

// A signal handler may do next to nothing: it writes a byte, and the event loop reads it.
int wakePipe[2] = {-1, -1};  // NOLINT(readability-identifier-naming)

void OnSignal(int signal) {
    const char byte = 0;
    [[maybe_unused]] const auto written = write(wakePipe[1], &byte, 1);
    std::signal(signal, SIG_DFL);
}

}  // namespace

Termination::Termination() {
    if (pipe2(wakePipe, O_CLOEXEC | O_NONBLOCK) != 0) return;
    notifier_ = std::make_unique<QSocketNotifier>(wakePipe[0], QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, &Termination::Read);
    for (const int signal : kSignals)
        std::signal(signal, OnSignal);
}

Termination::~Termination() {
    for (const int signal : kSignals)
        std::signal(signal, SIG_DFL);
    notifier_.reset();
    for (int& end : wakePipe) {
        if (end >= 0) close(end);
        end = -1;
    }
}

void Termination::Read() {
    char byte = 0;
    while (read(wakePipe[0], &byte, 1) > 0) {
    }
    Q_EMIT Requested();
}

}  // namespace corvane
