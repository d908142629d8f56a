#include "link/device_texts.h"

#include <array>

#include "link/device_slots.h"

namespace corvane {

using namespace Qt::StringLiterals;

QString SlotName(int slot) {
    return u"Device "_s + SlotLetter(slot);
}

QString LinkName(int stream) {
    static constexpr std::array<const char*, kStreams> kNames = {
        "TCP Server A", "Serial Connection A", "TCP Server B", "Serial Connection B", "Serial Connection C"};
    return QString::fromLatin1(kNames.at(static_cast<std::size_t>(stream)));
}

QString BoundText(const DeviceSlots& slots, int slot) {
    const QString serial = slots.Bound(slot);
    return serial.isEmpty() ? u"not bound"_s : serial;
}

QString AnswersText(const DeviceSlots& slots, int slot) {
    const QString serial = slots.Bound(slot);
    return u"%1 answers to %2."_s.arg(SlotName(slot), serial.isEmpty() ? u"no monitor"_s : serial);
}

Outcome NoUnitSelected() {
    return Outcome::Failure(u"Select desired Unit."_s);
}

}  // namespace corvane
