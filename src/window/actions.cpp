#include "window/actions.h"

#include <exception>
#include <utility>

#include "app/running_command.h"
#include "window/window_operator.h"

namespace corvane {

Actions::Actions(WindowOperator& op, RunningCommand& running) : op_(op), running_(running) {
    connect(&running, &RunningCommand::Changed, this, [this] { Q_EMIT BusyChanged(Busy()); });
}

bool Actions::Busy() const {
    return !running_.Name().isEmpty();
}

void Actions::Run(const QString& name, Action action) {
    if (const QString refusal = running_.Refusal(); !refusal.isEmpty()) return op_.Show(refusal);
    Start(name, std::move(action));
}

QCoro::Task<> Actions::Start(QString name, Action action) {
    Outcome outcome;
    {
        const CommandRuns runs(running_, name);
        op_.SetCancelled(false);
        try {
            outcome = co_await action(op_);
        } catch (const std::exception& error) {
            outcome = Outcome::Failure(FailureOf(name, error));
        }
    }
    Done(outcome);
}

bool Actions::Done(const Outcome& outcome) {
    if (!outcome) op_.Show(outcome.Error());
    return bool(outcome);
}

}  // namespace corvane
