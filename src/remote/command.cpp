#include "remote/command.h"

#include <array>

namespace corvane {
namespace {

auto AllCommands() {
    return std::array{GeneralCommands(),         LinkCommands(),    DeviceCommands(),   TargetCommands(),
                      MonitorSettingsCommands(), VirtualCommands(), DatabaseCommands(), MaintenanceCommands(),
                      LedgerCommands(),          ForwardCommands(), LogCommands()};
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
            const QString summary = QString(25, u' ') + QLatin1StringView(command.summary);
            if (call.size() > 24) {
                lines.append({call, summary});
            } else {
                lines.append(call + summary.sliced(call.size()));
            }
        }
    }
    return lines;
}

}  // namespace corvane
