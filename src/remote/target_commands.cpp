// Commands that make the target's monitor do something, and that choose the target.
#include <functional>
#include <optional>
#include <variant>

#include "app/program.h"
#include "base/number_entry.h"
#include "control/device_binding.h"
#include "control/guarded_commands.h"
#include "link/device_texts.h"
#include "measure/heard_texts.h"
#include "remote/command.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QString TargetText(const Program& program) {
    const CommandTarget target = program.commands.Target();
    return u"%1 is the command target, on %2, command byte %3."_s.arg(
        SlotName(target.slot), program.commands.TargetLinkText(), QString::number(target.commandByte));
}

QCoro::Task<Reply> Target(Program& program, QStringList arguments, Operator&) {
    if (arguments.isEmpty()) co_return Reply::Line(TargetText(program));
    const auto slot = SlotOfLetter(arguments.first());
    if (!slot.has_value()) co_return Reply::Failure(u"There are Device A to F."_s);
    const Outcome bound = program.commands.BindTarget(*slot - 1);
    if (!bound) co_return Reply::Failure(bound.Error());
    QString text = TargetText(program);
    if (program.commands.Target().slot != *slot) {
        text += u" It is the last of %1 in use; \"set DeviceQTY\" puts more in use."_s.arg(
            program.deviceSlots.InUse());
    }
    co_return Reply::Line(text);
}

std::optional<int> Byte(const QString& text) {
    return WholeNumberEntry(text, 0, 255);
}

QCoro::Task<Reply> CommandByte(Program& program, QStringList arguments, Operator& op) {
    const auto slot = SlotOfLetter(arguments[0]);
    if (!slot.has_value()) co_return Reply::Failure(u"There are Device A to F."_s);
    const int position = Byte(arguments[1]).value_or(-1);
    const Outcome chosen = co_await program.commands.ChooseCommandByte(*slot, position, op);
    co_return Reply::Of(
        chosen,
        u"%1 listens to command byte %2."_s.arg(SlotName(*slot)).arg(program.commands.CommandByte(*slot)));
}

QCoro::Task<Reply> Realtime(Program& program, QStringList arguments, Operator& op) {
    const QString word = arguments.first().toLower();
    MonitorCommands& commands = program.commands;
    if (word == "start"_L1) {
        const Outcome sent = co_await commands.StartRealtime(op);
        co_return Reply::Of(sent, u"The monitor was told to send packets."_s);
    }
    if (word == "stop"_L1) {
        const Outcome sent = co_await commands.StopRealtime(op);
        co_return Reply::Of(sent, u"The monitor was told to send no packets."_s);
    }
    if (word == "once"_L1) {
        const Outcome sent = co_await commands.SendOnePacket(op);
        co_return Reply::Of(sent, u"The monitor was asked for one packet."_s);
    }
    co_return Reply::Failure(u"Realtime data are to start, to stop or to come once."_s);
}

/// The failure, or which monitor the device answers to now.
Reply Answers(const Program& program, const Outcome& outcome, std::optional<int> slot) {
    return Reply::Of(outcome, slot.has_value() ? AnswersText(program.deviceSlots, *slot) : QString());
}

QCoro::Task<Outcome> BindHeard(Program& program, int slot, Operator& op) {
    const std::vector<UnboundMonitor> unbound = program.measurement.Unbound();
    if (unbound.empty()) co_return Outcome::Failure(u"No monitor was heard that no device answers to."_s);
    if (unbound.size() > 1)
        co_return Outcome::Failure(UnboundText(unbound) +
                                   u". \"set-serial\" binds a device to one of them."_s);
    co_return co_await program.deviceSlots.Bind(slot, QString::fromStdString(unbound.front().serial), op);
}

QCoro::Task<Reply> Bind(Program& program, QStringList arguments, Operator& op) {
    const auto slot = SlotOfLetter(arguments.value(0));
    Outcome bound = NoUnitSelected();
    if (arguments.value(1) == u"heard"_s) {
        if (slot.has_value()) bound = co_await BindHeard(program, *slot, op);
    } else if (arguments.size() > 1) {
        co_return Reply::Failure(
            u"The second word is \"heard\", or none; \"set-serial\" takes a serial number."_s);
    } else {
        bound = co_await BindDevice(slot, program.monitorSettings, program.deviceSlots, op);
    }
    co_return Answers(program, bound, slot);
}

QCoro::Task<Reply> Find(Program& program, QStringList arguments, Operator& op) {
    const auto slot = SlotOfLetter(arguments.value(0));
    const Outcome found = co_await FindDevice(slot, program.monitorSettings, program.deviceSlots, op);
    co_return Answers(program, found, slot);
}

QCoro::Task<Reply> ResetAccumulated(Program& program, QStringList arguments, Operator& op) {
    if (!arguments.isEmpty()) {
        if (arguments.first() != "each"_L1) co_return Reply::Failure(u"Usage: reset-accumulated [each]"_s);
        const Outcome reset =
            co_await ResetEachMonitor(program.commands, program.deviceSlots, program.measurement, op);
        co_return Reply::Of(reset, u"Each monitor was told to reset its counters."_s);
    }
    const Outcome reset =
        co_await ResetAccumulatedValues(program.commands, program.deviceSlots, program.measurement, op);
    co_return Reply::Of(reset, u"The monitor was told to reset its counters; all carries are 0."_s);
}

QCoro::Task<Reply> ZeroCarries(Program& program, QStringList, Operator& op) {
    const Outcome zeroed = co_await ZeroCarryCounters(program.deviceSlots, program.measurement, op);
    co_return Reply::Of(zeroed, u"All carries are 0."_s);
}

QCoro::Task<Reply> Reboot(Program& program, QStringList, Operator& op) {
    const Outcome sent = co_await RestartMonitor(program.commands, op);
    co_return Reply::Of(sent, u"The monitor was told to restart."_s);
}

QCoro::Task<Reply> Thru(Program& program, QStringList arguments, Operator& op) {
    const bool quick = !arguments.isEmpty();
    if (quick && arguments.first() != "quick"_L1) co_return Reply::Failure(u"Usage: thru [quick]"_s);
    const Outcome sent =
        co_await EnterPassThroughMode(program.commands, quick ? PassThrough::Quick : PassThrough::Usual, op);
    co_return Reply::Of(sent, u"The monitor was told to pass bytes through."_s);
}

QCoro::Task<Reply> EraseLogger(Program& program, QStringList, Operator& op) {
    const Outcome sent = co_await EraseDataLogger(program.commands, op);
    co_return Reply::Of(sent, u"The monitor was told to erase its data logger."_s);
}

QCoro::Task<Reply> Memory(Program& program, QStringList arguments, Operator& op) {
    const auto address = Byte(arguments.first());
    const auto value = Byte(arguments.last());
    if (!address.has_value() || !value.has_value()) {
        co_return Reply::Failure(u"Addresses and values are numbers from 0 to 255."_s);
    }
    if (arguments.size() == 2) {
        const Outcome written = co_await WriteMonitorMemory(program.commands, *address, *value, op);
        co_return Reply::Of(written, u"%1 was sent for byte %2."_s.arg(*value).arg(*address));
    }
    // The answer is "DAT" and the byte.
    const std::function<bool(const QByteArray&)> isWhole = [](const QByteArray& reply) {
        const qsizetype start = reply.indexOf("DAT");
        return start >= 0 && reply.size() > start + 3;
    };
    const QByteArray which(1, static_cast<char>(*address));
    const MonitorReply reply = co_await program.commands.Exchange(Operation::MemoryRead, which, isWhole, op);
    if (!reply.outcome) co_return Reply::Failure(reply.outcome.Error());
    const int byte = static_cast<std::uint8_t>(reply.bytes[reply.bytes.indexOf("DAT") + 3]);
    co_return Reply{.lines = {u"Byte %1 is %2."_s.arg(*address).arg(byte)}, .data = {{u"value"_s, byte}}};
}

}  // namespace

std::span<const Command> TargetCommands() {
    static constexpr Command commands[] = {
        {"target", "A|B|C|D|E|F", "Which device the commands below go to.", 0, 1, false, Target},
        {"command-byte", "A|B|C|D|E|F POSITION", "The byte that a device listens to: 0 to 3 for 252 to 255.",
         2, 2, false, CommandByte},
        {"realtime", "start|stop|once", "Has the monitor send packets, or stop that, or send one.", 1, 1,
         false, Realtime},
        {"bind", "A|B|C|D|E|F [heard]",
         "Binds a device to the monitor that answers, or to the one that was heard and is bound to none.", 0,
         2, false, Bind},
        {"find-device", "A|B|C|D|E|F", "Tells which monitor answers, and offers to bind it.", 0, 1, false,
         Find},
        {"reset-accumulated", "[each]",
         "Sets the energy counters of the monitor, or of each one in use, and all carries to 0.", 0, 1, false,
         ResetAccumulated},
        {"zero-carries", "", "Sets all carries to 0, and tells no monitor.", 0, 0, false, ZeroCarries},
        {"reboot", "", "Restarts the monitor.", 0, 0, false, Reboot},
        {"thru", "[quick]",
         "Has the monitor pass bytes through, until its power is cycled; quick: without the long pause.", 0,
         1, false, Thru},
        {"erase-logger", "", "Erases the monitor's data logger.", 0, 0, false, EraseLogger},
        {"memory", "ADDRESS [VALUE]", "A byte of the monitor's memory; with a value, writes it.", 1, 2, false,
         Memory},
    };
    return commands;
}

}  // namespace corvane
