// A command, as people give it to the program over the control socket: its name and arguments, what it does,
// and what it answers.
#pragma once

#include <QCoroTask>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <span>
#include <utility>

#include "base/outcome.h"

namespace corvane {

class NightlyRuns;
class Operator;
class Program;
class Settings;

/// What a command answers: lines for people and the same as data for programs, or why it failed.
struct Reply {
    Outcome outcome = Outcome::Success();
    QStringList lines = {};
    QJsonObject data = {};
    bool well = true;  ///< whether what it was asked about is; else corvanectl ends with 1

    static Reply Failure(QString text) { return {.outcome = Outcome::Failure(std::move(text))}; }

    /// One line; its data are {"text": line}.
    static Reply Line(const QString& line) {
        return {.lines = {line}, .data = {{QStringLiteral("text"), line}}};
    }

    /// The failure, or one line.
    static Reply Of(const Outcome& outcome, const QString& line) {
        return outcome ? Line(line) : Failure(outcome.Error());
    }
};

struct Command {
    const char* name;       ///< one word or, where the first argument chooses what is done, two
    const char* arguments;  ///< as help shows them
    const char* summary;
    int leastArguments;
    int mostArguments;
    bool readOnly;  ///< may run while another command waits for something
    QCoro::Task<Reply> (*run)(Program& program, QStringList arguments, Operator& op);
};

// Each subsystem brings its own commands.
[[nodiscard]] std::span<const Command> GeneralCommands();
[[nodiscard]] std::span<const Command> LinkCommands();
[[nodiscard]] std::span<const Command> DeviceCommands();
[[nodiscard]] std::span<const Command> VirtualCommands();
[[nodiscard]] std::span<const Command> TargetCommands();
[[nodiscard]] std::span<const Command> MonitorSettingsCommands();
[[nodiscard]] std::span<const Command> DatabaseCommands();
[[nodiscard]] std::span<const Command> MaintenanceCommands();
[[nodiscard]] std::span<const Command> LedgerCommands();
[[nodiscard]] std::span<const Command> LogCommands();
[[nodiscard]] std::span<const Command> ForwardCommands();

/// The two tasks of the night, as `db auto` and `status` tell programs of them.
[[nodiscard]] QJsonObject NightlyObject(const NightlyRuns& runs);

/// What a command answers that has changed the setting of that name: its value, from when on it is in effect,
/// and what still hinders it.
[[nodiscard]] Reply ChangeReply(Settings& settings, const QString& name);

/// The command that `name` and the first of the arguments name together, which is taken away from them then,
/// or else the one that `name` names alone; null where there is none.
[[nodiscard]] const Command* FindCommand(const QString& name, QStringList& arguments);

/// One line per command, in the order of the groups above.
[[nodiscard]] QStringList CommandHelp();

}  // namespace corvane
