#include <QJsonArray>

#include "app/program.h"
#include "link/device_texts.h"
#include "remote/command.h"
#include "remote/given_text.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QCoro::Task<Reply> Slots(Program& program, QStringList, Operator&) {
    Reply reply;
    QJsonArray slotObjects;
    for (int slot = 1; slot <= kSlots; ++slot) {
        const QString serial = program.deviceSlots.Bound(slot);
        const Presence presence = program.measurement.PresenceOf(slot);
        const bool counterReset = program.measurement.Readings(slot).counterReset;
        QString line = u"%1: %2"_s.arg(SlotName(slot), BoundText(program.deviceSlots, slot));
        if (!serial.isEmpty()) line += u", "_s + QLatin1StringView(PresenceText(presence));
        if (counterReset) line += u", a counter was reset"_s;
        reply.lines.append(line);
        slotObjects.append(QJsonObject{{u"slot"_s, SlotLetter(slot)},
                                       {u"serial"_s, serial},
                                       {u"online"_s, program.measurement.Online(slot)},
                                       {u"counterReset"_s, counterReset}});
    }
    QStringList unbound;
    for (const std::string& serial : program.measurement.UnboundSerials())
        unbound.append(QString::fromStdString(serial));
    const QString unboundLine = UnboundText(program.measurement.UnboundSerials());
    if (!unboundLine.isEmpty()) reply.lines.append(unboundLine);
    reply.data = {{u"slots"_s, slotObjects}, {u"unbound"_s, QJsonArray::fromStringList(unbound)}};
    co_return reply;
}

QCoro::Task<Reply> SetSerial(Program& program, QStringList arguments, Operator& op) {
    const auto slot = SlotOfLetter(arguments.first());
    if (!slot.has_value()) co_return Reply::Of(NoUnitSelected(), {});
    Outcome entered = Outcome::Success();
    if (arguments.size() > 1) {
        GivenText given(op, arguments[1]);
        entered = co_await program.deviceSlots.EnterSerial(*slot, given);
    } else {
        entered = co_await program.deviceSlots.EnterSerial(*slot, op);
    }
    co_return Reply::Of(entered, AnswersText(program.deviceSlots, *slot));
}

}  // namespace

std::span<const Command> DeviceCommands() {
    static constexpr Command commands[] = {
        {"slots", "", "Devices A to F and the serial numbers they answer to.", 0, 0, true, Slots},
        {"set-serial", "SLOT [TEXT]", "Binds a device to a serial number; a blank in quotes clears it.", 1, 2,
         false, SetSerial},
    };
    return commands;
}

}  // namespace corvane
