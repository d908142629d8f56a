#include "app/command.h"

#include <array>

namespace corvane {
namespace {

std::array<std::span<const Command>, 6> AllCommands() {
    return {GeneralCommands(),  LinkCommands(), DeviceCommands(),
            DatabaseCommands(), LogCommands(),  ForwardCommands()};
}

const Command* Named(const QString& name) {
    for (const auto group : AllCommands()) {
        for (const Command& command : group) {
            if (name == QLatin1StringView(command.name)) return &command;
        }
    }
    return nullptr;
}

}  // namespace

const Command* FindCommand(const QString& name, QStringList& arguments) {
    if (!arguments.isEmpty()) {
        if (const Command* command = Named(name + u' ' + arguments.first())) {
            arguments.removeFirst();
            return command;
        }
    }
    return Named(name);
}

QStringList CommandHelp() {
    QStringList lines;
    for (const auto group : AllCommands()) {
        for (const Command& command : group) {
            const QString call =
                QString::fromLatin1(command.name) + u' ' + QLatin1StringView(command.arguments);
            lines.append(call.leftJustified(24) + u' ' + QLatin1StringView(command.summary));
        }
    }
    return lines;
}

}  // namespace corvane
