#include "control/guarded_commands.h"

#include "base/operator.h"
#include "control/monitor_commands.h"
#include "link/device_slots.h"
#include "measure/measurement.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

void ZeroCarriesInUse(const DeviceSlots& slots, Measurement& measurement, const char* why) {
    for (int slot = 1; slot <= slots.InUse(); ++slot)
        measurement.ZeroCarries(slot, why);
}

}  // namespace

QCoro::Task<Outcome> ResetAccumulatedValues(MonitorCommands& commands, const DeviceSlots& slots,
                                            Measurement& measurement, Operator& op) {
    const HeldTarget target(commands);
    const bool agreed = co_await op.AskYesNo(
        u"WARNING! This action will reset all accumulated values of the selected devices. Do you wish to "
        "continue?"_s);
    if (!agreed) co_return Outcome::Failure(u"Reset aborted!"_s);
    const Outcome sent = co_await commands.Send(Operation::ResetKwh, {}, op);
    if (!sent) co_return sent;
    // Of every device in use, although one monitor was told: on purpose.
    ZeroCarriesInUse(slots, measurement, "with the reset of the accumulated values");
    co_return Outcome::Success();
}

QCoro::Task<Outcome> ZeroCarryCounters(const DeviceSlots& slots, Measurement& measurement, Operator& op) {
    // The safe answer is Yes: the question asks whether to give up, on purpose.
    Question question{.text =
                          u"This will zero the Corvane software's \"carry\" counters and \r\n"
                          "may cause an erroneous record when viewed with the dashboard.\r\n"
                          "Pursuing this action is not recommended.\r\n"
                          "Would you like to abort this function?"_s,
                      .safe = Answer::Yes,
                      .title = u"CAUTION"_s};
    const Answer answer = co_await op.Ask(std::move(question));
    if (answer != Answer::No) co_return Outcome::Failure(u"Aborted"_s);
    ZeroCarriesInUse(slots, measurement, "by the command that zeroes the carries");
    co_return Outcome::Success();
}

QCoro::Task<Outcome> EnterPassThroughMode(MonitorCommands& commands, Operator& op) {
    const HeldTarget target(commands);
    const bool agreed = co_await op.AskYesNo(
        u"Once this command has been executed, the power to the VRQ-5810 will need to be manualy cycled to "
        "return to normal operation. Do you want to continue? "_s);
    if (!agreed) co_return Outcome::Failure(u"Pass-through mode was not entered."_s);
    co_return co_await commands.Send(Operation::PassThroughOnRequest, {}, op);
}

QCoro::Task<Outcome> EraseDataLogger(MonitorCommands& commands, Operator& op) {
    const HeldTarget target(commands);
    const bool agreed = co_await op.AskYesNo(
        u"This erases all records in the monitor's data logger. Do you want to continue?"_s);
    if (!agreed) co_return Outcome::Failure(u"Nothing was erased."_s);
    co_return co_await commands.Send(Operation::EraseLogger, {}, op);
}

QCoro::Task<Outcome> WriteMonitorMemory(MonitorCommands& commands, int address, int value, Operator& op) {
    const HeldTarget target(commands);
    const bool agreed = co_await op.AskYesNo(
        u"This writes %1 into byte %2 of the monitor's memory, which can make it unusable. Do you want to "
        "continue?"_s.arg(value)
            .arg(address));
    if (!agreed) co_return Outcome::Failure(u"Nothing was written."_s);
    QByteArray arguments(1, static_cast<char>(address));
    arguments.append(static_cast<char>(value));
    co_return co_await commands.Send(Operation::MemoryWrite, arguments, op);
}

}  // namespace corvane
