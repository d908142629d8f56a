#include "forward/connection_backoff.h"

#include <QRandomGenerator>

#include <algorithm>
#include <utility>

#include "base/clock.h"
#include "base/status_board.h"

namespace corvane {

ConnectionBackoff::ConnectionBackoff(QString prefix, BackoffDelays delays, StatusBoard& board, Clock& clock)
    : prefix_(std::move(prefix)), delays_(delays), board_(board) {
    connect(&clock, &Clock::SecondPassed, this, &ConnectionBackoff::OnSecond);
}

void ConnectionBackoff::Enter(OutputState state, int secondsLeft) {
    state_ = state;
    secondsLeft_ = secondsLeft;
}

void ConnectionBackoff::SetOff() {
    failures_ = 0;
    Enter(OutputState::Off, 0);
}

void ConnectionBackoff::SetTrying(OutputState state) {
    Enter(state, 0);
}

void ConnectionBackoff::SetUp() {
    failures_ = 0;
    ForgetFailure();
    Enter(OutputState::Up, 0);
}

void ConnectionBackoff::Fail(const QString& why) {
    Tell(why);
    if (state_ != OutputState::Backoff) ++failures_;
    Enter(OutputState::Backoff, Delay());
}

void ConnectionBackoff::Refuse(const QString& why) {
    Tell(why);
    Enter(OutputState::Refused, kRefusedSeconds);
}

void ConnectionBackoff::Tell(const QString& why) {
    if (why.isEmpty() || why == std::exchange(lastTold_, why)) return;
    board_.AddLine(prefix_ + why);
}

int ConnectionBackoff::Delay() const {
    int delay = delays_.first;
    for (int failure = 1; failure < failures_ && delay < delays_.most; ++failure)
        delay *= 2;
    delay = std::min(delay, delays_.most);
    return delays_.spread ? delay - QRandomGenerator::global()->bounded(delay / 4 + 1) : delay;
}

void ConnectionBackoff::OnSecond() {
    if (secondsLeft_ == 0 || --secondsLeft_ > 0) return;
    SetTrying();
    Q_EMIT Due();
}

}  // namespace corvane
