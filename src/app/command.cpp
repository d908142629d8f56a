#include "app/command.h"

#include <array>

namespace corvane {
namespace {

auto AllCommands() {
    return std::array{GeneralCommands(),
                      LinkCommands(),
                      DeviceCommands(),
                      MonitorCommands(),
                      MonitorSettingsCommands(),
                      VirtualCommands(),
                      DatabaseCommands(),
                      MaintenanceCommands(),
                      LogCommands()};
}

}  // namespace

const Command* FindCommand(const QString& name, QStringList& arguments) {
    const QString twoWords = name + u' ' + arguments.value(0);
    for (const auto group : AllCommands()) {
        for (const Command& command : group) {
            const QLatin1StringView known(command.name);
            if (name == known) return &command;
            if (twoWords != known) continue;
            arguments.removeFirst();
            return &command;
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
