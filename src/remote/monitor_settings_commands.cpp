// The commands "monitor ...": the settings of the target's monitor, now and as they were.
#include <QJsonArray>

#include "app/program.h"
#include "control/setters.h"
#include "remote/command.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QJsonObject SettingsObject(const SettingsBlock& block) {
    QJsonObject object{{u"serial"_s, QString::fromStdString(block.SerialText())}};
    for (std::size_t i = 0; i < kSettingsFields.size(); ++i) {
        object[QLatin1StringView(kSettingsFields[i].key)] = block.Value(static_cast<MonitorSetting>(i));
    }
    return object;
}

QCoro::Task<Reply> Read(Program& program, QStringList, Operator& op) {
    const Outcome read = co_await program.monitorSettings.ReadSettings(op);
    if (!read) co_return Reply::Failure(read.Error());
    co_return Reply{.lines = program.monitorSettings.LastLines(),
                    .data = SettingsObject(*program.monitorSettings.Last())};
}

QCoro::Task<Reply> SetMonitor(Program& program, QStringList arguments, Operator& op) {
    QString name = arguments.value(0).toLower();
    QStringList inputs = arguments.mid(1);
    if (name == "trim"_L1 && !inputs.isEmpty()) name += inputs.takeFirst();
    const Outcome set = co_await program.monitorSettings.Set(name, inputs, op);
    co_return Reply::Of(set, u"%1 was sent."_s.arg(name));
}

QCoro::Task<Reply> ListHistory(Program& program, QStringList, Operator&) {
    const QString serial = program.monitorSettings.TargetSerial();
    Reply reply;
    for (const KeptSettings& kept : program.monitorHistory.Of(serial))
        reply.lines.append(kept.when);
    reply.data = {{u"serial"_s, serial}, {u"kept"_s, QJsonArray::fromStringList(reply.lines)}};
    if (reply.lines.isEmpty()) {
        reply.lines.append(u"No settings are kept of %1; \"monitor read\" reads some."_s.arg(
            serial.isEmpty() ? u"the target's monitor"_s : serial));
    }
    co_return reply;
}

/// The read-outs that "diff" compares: the last two, or one and the last, or two.
std::variant<std::pair<KeptSettings, KeptSettings>, QString> Compared(Program& program,
                                                                      const QStringList& whens) {
    const QString serial = program.monitorSettings.TargetSerial();
    const auto all = program.monitorHistory.Of(serial);
    if (all.empty() || (whens.isEmpty() && all.size() < 2)) {
        return u"There are no two read-outs to compare; \"monitor history\" lists them."_s;
    }
    std::vector<KeptSettings> found;
    for (const QString& when : whens) {
        const auto kept = program.monitorHistory.Find(serial, when);
        if (!kept.has_value()) return u"No settings of %1 are kept from %2."_s.arg(serial, when);
        found.push_back(*kept);
    }
    const KeptSettings& from = found.empty() ? all[all.size() - 2] : found.front();
    const KeptSettings& to = found.size() < 2 ? all.back() : found.back();
    return std::pair(from, to);
}

QCoro::Task<Reply> Diff(Program& program, QStringList whens, Operator&) {
    const auto compared = Compared(program, whens);
    if (const auto* why = std::get_if<QString>(&compared)) co_return Reply::Failure(*why);
    const auto& [from, to] = std::get<0>(compared);
    Reply reply;
    for (const SettingChange& change : Changes(from.block, to.block))
        reply.lines.append(change.text);
    reply.data = {
        {u"from"_s, from.when}, {u"to"_s, to.when}, {u"changes"_s, QJsonArray::fromStringList(reply.lines)}};
    reply.lines.prepend(u"From %1 to %2:"_s.arg(from.when, to.when));
    co_return reply;
}

QCoro::Task<Reply> RestoreMonitor(Program& program, QStringList arguments, Operator& op) {
    const Outcome restored = co_await program.monitorSettings.Restore(arguments.first(), op);
    co_return Reply::Of(restored, u"The monitor is set as it was on %1."_s.arg(arguments.first()));
}

}  // namespace

std::span<const Command> MonitorSettingsCommands() {
    static constexpr Command commands[] = {
        {"monitor read", "", "Reads what the target's monitor is set to, and shows it.", 0, 0, false, Read},
        {"monitor set", "SETTER VALUE...", "Sets something of it; without words, lists what.", 0, 3, false,
         SetMonitor},
        {"monitor history", "", "When settings of it were kept.", 0, 0, true, ListHistory},
        {"monitor diff", "[WHEN [WHEN]]", "What changed, field by field.", 0, 2, true, Diff},
        {"monitor restore", "WHEN", "Sets it to what it was then, after asking.", 1, 1, false,
         RestoreMonitor},
    };
    return commands;
}

}  // namespace corvane
