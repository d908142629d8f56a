// One command at a time, whoever gives it: window, control socket.
#pragma once

#include <QObject>
#include <QString>

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

    void Set(const QString& name) {
        if (std::exchange(name_, name) != name) Q_EMIT Changed();
    }

Q_SIGNALS:
    void Changed();

private:
    QString name_;
};

}  // namespace corvane
