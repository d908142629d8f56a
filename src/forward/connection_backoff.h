// What an output does about a connection that fails: it says so once, waits, and tries again.
#pragma once

#include <QObject>
#include <QString>

#include "forward/output_state.h"

namespace corvane {

class Clock;
class StatusBoard;

/// How long to wait after a failure. In seconds.
struct BackoffDelays {
    int first = 1;       ///< after the first; doubled with each further one in a row
    int most = 60;       ///< never longer
    bool spread = true;  ///< shortened at random by up to a quarter, so that many do not come back as one
};

/// Keeps the state of a connection, counts down to the next attempt by the seconds of the clock, and tells of
/// failures: the same one again and again is told once. It connects nothing by itself.
class ConnectionBackoff : public QObject {
    Q_OBJECT

public:
    static constexpr int kRefusedSeconds = 300;  ///< between two attempts while it is turned away

    /// `prefix` begins each line that is told to `board`.
    ConnectionBackoff(QString prefix, BackoffDelays delays, StatusBoard& board, Clock& clock);

    /// It is not wanted any more; no attempt is due.
    void SetOff();

    /// An attempt is on its way; `state` is `Resolving` or `Connecting`.
    void SetTrying(OutputState state = OutputState::Connecting);

    /// It is connected: delays begin at the first one again, and the next failure is told.
    void SetUp();

    /// An attempt, or the connection, failed; an empty `why` is not told. More than one of this for the same
    /// attempt counts as one.
    void Fail(const QString& why);

    /// It was turned away; the next attempt is due after `kRefusedSeconds`.
    void Refuse(const QString& why);

    /// Tells of a failure that changes nothing else.
    void Tell(const QString& why);

    /// The next failure is told even where it is that of before.
    void ForgetFailure() { lastTold_.clear(); }

    [[nodiscard]] OutputState State() const { return state_; }

    /// To the next attempt; 0 = none is due.
    [[nodiscard]] int SecondsLeft() const { return secondsLeft_; }

Q_SIGNALS:
    /// The next attempt is to be made now.
    void Due();

private:
    void Enter(OutputState state, int secondsLeft);
    void OnSecond();
    [[nodiscard]] int Delay() const;

    QString prefix_;
    BackoffDelays delays_;
    StatusBoard& board_;
    OutputState state_ = OutputState::Off;
    int secondsLeft_ = 0;
    int failures_ = 0;  ///< attempts in a row
    QString lastTold_;
};

}  // namespace corvane
