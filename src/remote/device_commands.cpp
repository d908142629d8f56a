#include <QJsonArray>

#include "app/program.h"
#include "link/device_texts.h"
#include "measure/heard_texts.h"
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
    const std::vector<UnboundMonitor> unbound = program.measurement.Unbound();
    if (!unbound.empty()) reply.lines.append(UnboundText(unbound));
    QJsonArray serials;
    QJsonArray heard;
    for (const UnboundMonitor& monitor : unbound) {
        serials.append(QString::fromStdString(monitor.serial));
        heard.append(QJsonObject{{u"serial"_s, QString::fromStdString(monitor.serial)},
                                 {u"model"_s, ModelName(*monitor.model)},
                                 {u"link"_s, LinkName(monitor.stream)},
                                 {u"lastPacket"_s, QString::fromStdString(DateTimeText(monitor.time))}});
    }
    reply.data = {{u"slots"_s, slotObjects}, {u"unbound"_s, serials}, {u"heard"_s, heard}};
    co_return reply;
}

QCoro::Task<Reply> ForgetUnbound(Program& program, QStringList, Operator&) {
    program.measurement.ForgetUnbound();
    co_return Reply{.lines = {u"The list of monitors that no device answers to is empty."_s}};
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
        {"forget-unbound", "", "Empties the list of the monitors heard that no device answers to.", 0, 0,
         false, ForgetUnbound},
    };
    return commands;
}

}  // namespace corvane
