#include "link/device_texts.h"

#include <QStringList>

#include "link/device_slots.h"

namespace corvane {

using namespace Qt::StringLiterals;

QString SlotName(int slot) {
    return u"Device "_s + SlotLetter(slot);
}

QString BoundText(const DeviceSlots& slots, int slot) {
    const QString serial = slots.Bound(slot);
    return serial.isEmpty() ? u"not bound"_s : serial;
}

QString AnswersText(const DeviceSlots& slots, int slot) {
    const QString serial = slots.Bound(slot);
    return u"%1 answers to %2."_s.arg(SlotName(slot), serial.isEmpty() ? u"no monitor"_s : serial);
}

QString UnboundText(const std::vector<std::string>& serials) {
    QStringList names;
    for (const std::string& serial : serials)
        names.append(QString::fromStdString(serial));
    return names.isEmpty() ? QString() : u"Heard, but bound to no device: %1"_s.arg(names.join(u", "_s));
}

Outcome NoUnitSelected() {
    return Outcome::Failure(u"Select desired Unit."_s);
}

}  // namespace corvane
