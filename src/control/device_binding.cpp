#include "control/device_binding.h"

#include "base/operator.h"
#include "control/monitor_settings.h"
#include "link/device_slots.h"
#include "link/device_texts.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

Outcome NoSerial(int slot) {
    return Outcome::Failure(u"Device \"%1\" has no Serial Number."_s.arg(SlotLetter(slot)));
}

}  // namespace

QCoro::Task<Outcome> BindDevice(std::optional<int> slot, MonitorSettings& monitor, DeviceSlots& slots,
                                Operator& op) {
    if (!slot.has_value()) co_return NoUnitSelected();
    const HeldTarget target = monitor.HoldTarget();
    const Outcome read = co_await monitor.Read(op);
    if (!read) co_return read;
    if (monitor.Last()->HasNoSerial()) co_return NoSerial(*slot);
    co_return co_await slots.Bind(*slot, QString::fromStdString(monitor.Last()->SerialText()), op);
}

QCoro::Task<Outcome> FindDevice(std::optional<int> slot, MonitorSettings& monitor, DeviceSlots& slots,
                                Operator& op) {
    if (!slot.has_value()) co_return Outcome::Failure(u"Select Device to be Found"_s);
    const HeldTarget target = monitor.HoldTarget();
    const QString letter = SlotLetter(*slot);
    const Outcome read = co_await monitor.Read(op);
    if (!read) {
        op.Show(read.Error());
        co_return Outcome::Failure(u"Device \"%1\" not found."_s.arg(letter));
    }
    if (monitor.Last()->HasNoSerial()) co_return NoSerial(*slot);
    const QString serialText = QString::fromStdString(monitor.Last()->SerialText());
    const bool save = co_await op.Offer(
        u"Device \"%1\" Serial Number: %2 Would you like to Save it?"_s.arg(letter, serialText));
    if (!save) co_return Outcome::Success();
    const Outcome saved = slots.SaveSerial(*slot, serialText);
    slots.TellWhoAnswers(*slot, op);
    co_return saved;
}

}  // namespace corvane
