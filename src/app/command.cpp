#include "app/command.h"

#include <array>

namespace corvane {
namespace {

std::array<std::span<const Command>, 6> AllCommands() {
    return {GeneralCommands(), LinkCommands(),     DeviceCommands(),
            VirtualCommands(), DatabaseCommands(), LogCommands()};
}

}  // namespace

const Command* FindCommand(const QString& name) {
    for (const auto group : AllCommands()) {
        for (const Command& command : group) {
            if (name == QLatin1StringView(command.name)) return &command;
        }
    }
    return nullptr;
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
