#include "measure/heard_monitors.h"

#include <utility>

#include "link/device_texts.h"
#include "measure/heard_texts.h"
#include "measure/measurement.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

HeardMonitors::HeardMonitors(const DeviceSlots& slots, const Measurement& measurement,
                             SettingsStore& settings)
    : slots_(slots), settings_(settings) {
    connect(&measurement, &Measurement::Forgotten, this, &HeardMonitors::Forget);
    connect(&settings, &SettingsStore::Changed, this, [this](const QString&, const QString& key) {
        if (!IsKeyOf(kDeviceLink, key)) return;
        for (int slot = 1; slot <= kSlots; ++slot)
            if (Of(slot).link.has_value() && Of(slot).link != slots_.LinkIndex(slot)) Forget(slot);
    });
}

void HeardMonitors::OnReadings(const DeviceReadings& readings) {
    LookForTwo(readings);
    Follow(readings);
}

void HeardMonitors::Follow(const DeviceReadings& readings) {
    Heard& heard = Of(readings.slot);
    if (heard.link != readings.stream) {
        // Two links may bring the packets of one serial number by turns: the command target does not swing.
        if (heard.link.has_value() && readings.at - heard.at < kSilence) {
            heard.otherLink = readings.stream;
            heard.otherAt = readings.at;
            return;
        }
        heard.link = readings.stream;
        heard.otherLink.reset();
        if (slots_.LinkIndex(readings.slot) != readings.stream) {
            settings_.Save(kDeviceLink, readings.stream, {.member = SlotLetter(readings.slot)});
            Q_EMIT Noted(u"The packets of %1 come over %2: commands to it go there from now on."_s.arg(
                SlotName(readings.slot), LinkName(readings.stream)));
            Q_EMIT Moved(readings.slot, readings.stream);
        }
    }
    heard.at = readings.at;
}

void HeardMonitors::LookForTwo(const DeviceReadings& readings) {
    Heard& heard = Of(readings.slot);
    const MonitorModel* before = std::exchange(heard.model, readings.model);
    if (before != nullptr && before != readings.model && !std::exchange(heard.modelTold, true)) {
        Q_EMIT Doubted(
            u"Monitor %1 of %2 is a %3 now and was a %4. Where it was not replaced, there are two with "
            "this serial number: give one of them another."_s.arg(
                QString::fromStdString(readings.serial), SlotName(readings.slot), ModelName(*readings.model),
                ModelName(*before)));
    }

    const bool otherBetween = heard.otherLink.has_value() && heard.link == readings.stream &&
                              readings.at - heard.otherAt < kSilence;
    if (otherBetween) {
        TellTwo(heard, readings,
                u"over %1 and over %2"_s.arg(LinkName(readings.stream), LinkName(*heard.otherLink)));
    }

    const auto seconds = std::exchange(heard.seconds, readings.seconds);
    if (!seconds.has_value() || readings.seconds >= seconds) return;
    if (heard.setbacks == 0 || readings.at - heard.setbackAt >= kSetbackTime) {
        heard.setbacks = 0;
        heard.setbackAt = readings.at;
    }
    if (++heard.setbacks == kSetbacks)
        TellTwo(heard, readings,
                u"over %1, and its seconds step back again and again"_s.arg(LinkName(readings.stream)));
}

void HeardMonitors::TellTwo(Heard& heard, const DeviceReadings& readings, const QString& where) {
    if (std::exchange(heard.twoTold, true)) return;
    Q_EMIT Doubted(
        u"Monitor %1 of %2 is heard %3. If it is one, let it send over one connection; if there are "
        "two, give one of them another serial number: their counters are mixed up."_s.arg(
            QString::fromStdString(readings.serial), SlotName(readings.slot), where));
}

}  // namespace corvane
