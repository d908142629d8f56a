#include "control/guarded_commands.h"

#include <QStringList>

#include "base/operator.h"
#include "control/monitor_commands.h"
#include "link/device_slots.h"
#include "link/device_texts.h"
#include "measure/measurement.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kResetAborted = u"Reset aborted!"_s;

constexpr const char* kWithTheReset = "with the reset of the accumulated values";

void ZeroCarriesInUse(const DeviceSlots& slots, Measurement& measurement, const char* why) {
    for (int slot = 1; slot <= slots.InUse(); ++slot)
        measurement.ZeroCarries(slot, why);
}

/// "Device A (301234), Device B (not bound)"
QString InUseText(const DeviceSlots& slots) {
    QStringList devices;
    for (int slot = 1; slot <= slots.InUse(); ++slot)
        devices.append(u"%1 (%2)"_s.arg(SlotName(slot), BoundText(slots, slot)));
    return devices.join(u", "_s);
}

QCoro::Task<bool> AskToReset(const QString& whom, Operator& op) {
    return op.AskYesNo(
        whom +
        u"\n\n"
        "WARNING! This action will reset all accumulated values of the selected devices. Do you wish to "
        "continue?"_s);
}

QCoro::Task<bool> AskOfTarget(const MonitorCommands& commands, const QString& question, Operator& op) {
    return op.AskYesNo(commands.TargetText() + u"\n\n"_s + question);
}

}  // namespace

QCoro::Task<Outcome> ResetAccumulatedValues(MonitorCommands& commands, const DeviceSlots& slots,
                                            Measurement& measurement, Operator& op) {
    const HeldTarget target(commands);
    const bool agreed = co_await AskToReset(
        u"The counters of %1; the carries of %2."_s.arg(commands.TargetText(), InUseText(slots)), op);
    if (!agreed) co_return Outcome::Failure(kResetAborted);
    const Outcome sent = co_await commands.Send(Operation::ResetKwh, {}, op);
    if (!sent) co_return sent;
    // Of every device in use, although one monitor was told: on purpose.
    ZeroCarriesInUse(slots, measurement, kWithTheReset);
    co_return Outcome::Success();
}

QCoro::Task<Outcome> ResetEachMonitor(MonitorCommands& commands, const DeviceSlots& slots,
                                      Measurement& measurement, Operator& op) {
    const bool agreed = co_await AskToReset(u"The counters and carries of %1."_s.arg(InUseText(slots)), op);
    if (!agreed) co_return Outcome::Failure(kResetAborted);
    for (int slot = 1; slot <= slots.InUse(); ++slot) {
        const HeldTarget target(commands, commands.TargetOf(slot));
        const Outcome sent = co_await commands.Send(Operation::ResetKwhOfEach, {}, op);
        if (!sent) co_return Outcome::Failure(u"%1: %2"_s.arg(SlotName(slot), sent.Error()));
        measurement.ZeroCarries(slot, kWithTheReset);
        op.Show(u"%1: the monitor was told to reset its counters; its carries are 0."_s.arg(SlotName(slot)));
    }
    co_return Outcome::Success();
}

QCoro::Task<Outcome> ZeroCarryCounters(const DeviceSlots& slots, Measurement& measurement, Operator& op) {
    // The safe answer is Yes: the question asks whether to give up, on purpose.
    Question question{
        .text = u"The carries of %1."_s.arg(InUseText(slots)), .safe = Answer::Yes, .title = u"CAUTION"_s};
    question.text +=
        u"\n\n"
        "This will zero the Corvane software's \"carry\" counters and \r\n"
        "may cause an erroneous record when viewed with the dashboard.\r\n"
        "Pursuing this action is not recommended.\r\n"
        "Would you like to abort this function?"_s;
    const Answer answer = co_await op.Ask(std::move(question));
    if (answer != Answer::No) co_return Outcome::Failure(u"Aborted"_s);
    ZeroCarriesInUse(slots, measurement, "by the command that zeroes the carries");
    co_return Outcome::Success();
}

QCoro::Task<Outcome> EnterPassThroughMode(MonitorCommands& commands, PassThrough how, Operator& op) {
    const HeldTarget target(commands);
    const bool agreed = co_await AskOfTarget(
        commands,
        u"Once this command has been executed, the power to the VRQ-5810 will need to be manualy cycled to "
        "return to normal operation. Do you want to continue? "_s,
        op);
    if (!agreed) co_return Outcome::Failure(u"Pass-through mode was not entered."_s);
    if (how == PassThrough::Quick) co_return co_await commands.ThruMode(op);
    co_return co_await commands.Send(Operation::PassThroughOnRequest, {}, op);
}

QCoro::Task<Outcome> RestartMonitor(MonitorCommands& commands, Operator& op) {
    const HeldTarget target(commands);
    const bool agreed = co_await AskOfTarget(
        commands, u"This restarts the monitor, and its counters begin at 0. Do you want to continue?"_s, op);
    if (!agreed) co_return Outcome::Failure(u"The monitor was not restarted."_s);
    co_return co_await commands.ReBoot5810(op);
}

QCoro::Task<Outcome> EraseDataLogger(MonitorCommands& commands, Operator& op) {
    const HeldTarget target(commands);
    const bool agreed = co_await AskOfTarget(
        commands, u"This erases all records in the monitor's data logger. Do you want to continue?"_s, op);
    if (!agreed) co_return Outcome::Failure(u"Nothing was erased."_s);
    co_return co_await commands.Send(Operation::EraseLogger, {}, op);
}

QCoro::Task<Outcome> WriteMonitorMemory(MonitorCommands& commands, int address, int value, Operator& op) {
    const HeldTarget target(commands);
    const bool agreed = co_await AskOfTarget(
        commands,
        u"This writes %1 into byte %2 of the monitor's memory, which can make it unusable. Do you want to "
        "continue?"_s.arg(value)
            .arg(address),
        op);
    if (!agreed) co_return Outcome::Failure(u"Nothing was written."_s);
    QByteArray arguments(1, static_cast<char>(address));
    arguments.append(static_cast<char>(value));
    co_return co_await commands.Send(Operation::MemoryWrite, arguments, op);
}

}  // namespace corvane
