// SIGTERM and SIGINT as an event of the event loop.
#pragma once

#include <QObject>

#include <memory>

class QSocketNotifier;

namespace corvane {

/// Raises `Requested` when the program is told to end. Only one may exist; a second signal within the same
/// run ends the program at once.
class Termination : public QObject {
    Q_OBJECT

public:
    Termination();
    ~Termination() override;

Q_SIGNALS:
    void Requested();

private:
    void Read();

    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace corvane
