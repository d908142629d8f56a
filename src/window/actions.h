// What a user starts by a button or a menu: one thing at a time.
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <functional>

#include "base/outcome.h"

namespace corvane {

class Operator;
class RunningCommand;
class WindowOperator;

/// Buttons that start an action are greyed out while one runs; see `Busy` and `BusyChanged`.
class Actions : public QObject {
    Q_OBJECT

public:
    using Action = std::function<QCoro::Task<Outcome>(Operator& op)>;

    Actions(WindowOperator& op, RunningCommand& running);

    /// Runs `action`, and shows its failure, which is also what it throws. Refused, with a text, while
    /// another command runs, also one that came over the control socket. `name` is what is told of it then.
    /// What the action refers to must live as long as it runs.
    void Run(const QString& name, Action action);

    /// Shows the failure of something that was done at once, if it is one. Returns whether it succeeded.
    bool Done(const Outcome& outcome);

    [[nodiscard]] bool Busy() const;

    /// The person at the window.
    [[nodiscard]] WindowOperator& Person() { return op_; }

Q_SIGNALS:
    void BusyChanged(bool busy);

private:
    QCoro::Task<> Start(QString name, Action action);

    WindowOperator& op_;
    RunningCommand& running_;
};

}  // namespace corvane
