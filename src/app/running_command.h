// One command at a time, whoever gives it: window, control socket.
#pragma once

#include <QObject>
#include <QString>

#include <exception>
#include <utility>

namespace corvane {

/// The name of the command that runs now; empty where none does.
class RunningCommand : public QObject {
    Q_OBJECT

public:
    [[nodiscard]] const QString& Name() const { return name_; }

    /// Empty where a command may begin, else why not.
    [[nodiscard]] QString Refusal() const {
        if (name_.isEmpty()) return {};
        return QStringLiteral("The command %1 is still running; try again when it has ended.").arg(name_);
    }

Q_SIGNALS:
    void Changed();

private:
    friend class CommandRuns;

    void Set(const QString& name) {
        if (std::exchange(name_, name) != name) Q_EMIT Changed();
    }

    QString name_;
};

/// As long as it lives, the command of that name runs.
class CommandRuns {
public:
    CommandRuns(RunningCommand& running, const QString& name) : running_(running) { running_.Set(name); }
    ~CommandRuns() { running_.Set({}); }
    CommandRuns(const CommandRuns&) = delete;
    CommandRuns& operator=(const CommandRuns&) = delete;

private:
    RunningCommand& running_;
};

/// What is told of a command that threw something, as for want of memory.
[[nodiscard]] inline QString FailureOf(const QString& name, const std::exception& error) {
    return QStringLiteral("The command %1 failed: %2").arg(name, QString::fromLocal8Bit(error.what()));
}

}  // namespace corvane
