#include "measure/readings_document.h"

#include <QJsonArray>
#include <QString>

#include <cmath>

#include "base/clock.h"
#include "link/framer.h"
#include "measure/heard_texts.h"
#include "measure/measurement.h"
#include "measure/pulse_counters.h"
#include "measure/virtual_channels.h"
#include "store/channel_labels.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QJsonValue Watts(const EnergyCounter& counter) {
    return counter.lastWatts.has_value() ? QJsonValue(*counter.lastWatts) : QJsonValue();
}

/// The suffix "Polarized" tells the second counter of a channel from the first.
void AddCounter(QJsonObject& channel, const EnergyCounter& counter, const QString& suffix) {
    channel[u"wattSeconds"_s + suffix] = counter.current;
    channel[u"carry"_s + suffix] = counter.carry;
    channel[u"kwh"_s + suffix] = counter.Kwh();
}

QJsonObject ChannelObject(const ChannelReadings& readings, std::size_t index, const QString& label) {
    QJsonObject channel{{u"name"_s, QLatin1StringView(ChannelName(index))},
                        {u"label"_s, label},
                        {u"watts"_s, Watts(readings.absolute)}};
    AddCounter(channel, readings.absolute, {});
    if (kChannelTable[index].polarized) {
        const QString polarized = u"Polarized"_s;
        channel[u"watts"_s + polarized] = Watts(readings.polarized);
        AddCounter(channel, readings.polarized, polarized);
        // A float's own decimal, not the nearest double's: 1.2 and not 1.2000000476837158.
        channel[u"amps"_s] = std::round(static_cast<double>(readings.amps) * 10) / 10;
    }
    return channel;
}

QJsonValue PulseValue(const std::optional<PulseReadings>& pulse) {
    if (!pulse.has_value()) return {};
    return QJsonObject{{u"rate"_s, pulse->rate},
                       {u"rateUnit"_s, QLatin1StringView(pulse->unit->shortRate)},
                       {u"total"_s, pulse->total},
                       {u"totalUnit"_s, QLatin1StringView(pulse->unit->total)},
                       {u"page"_s, QLatin1StringView(pulse->unit->page)}};
}

QJsonValue VirtualValue(const VirtualChannels& virtualChannels) {
    if (virtualChannels.Groups().Empty()) return {};
    const VirtualReadings values = virtualChannels.Read();
    QJsonArray missing;
    for (const int slot : values.missing)
        missing.append(SlotLetter(slot));
    QJsonArray channels;
    for (const Flow& flow : values.virtuals)
        channels.append(QJsonObject{{u"power"_s, flow.watts}, {u"kwh"_s, flow.Kwh()}});
    return QJsonObject{{u"netMetering"_s, values.netMetering},
                       {u"bipolarMain"_s, values.bipolarMain},
                       {u"mainPower"_s, values.ShownMainPower()},
                       {u"mainAmps"_s, values.ShownMainAmps()},
                       {u"mainKwh"_s, values.main.Kwh()},
                       {u"netPower"_s, values.net.watts},
                       {u"netKwh"_s, values.net.Kwh()},
                       {u"powerGen"_s, values.generated.watts},
                       {u"kwhGen"_s, values.generated.Kwh()},
                       {u"powerUsed"_s, values.used.watts},
                       {u"kwhUsed"_s, values.used.Kwh()},
                       {u"powerBought"_s, values.bought.watts},
                       {u"powerSold"_s, values.sold.watts},
                       {u"kwhBought"_s, values.bought.Kwh()},
                       {u"kwhSold"_s, values.sold.Kwh()},
                       {u"other"_s, values.other.watts},
                       {u"otherKwh"_s, values.other.Kwh()},
                       {u"channels"_s, channels},
                       {u"stale"_s, values.stale},
                       {u"missing"_s, missing}};
}

QJsonObject DeviceObject(const DeviceReadings& readings, Presence presence, std::int64_t age,
                         const ChannelLabels& labels, const std::optional<PulseReadings>& pulse) {
    QJsonArray channels;
    for (std::size_t i = 0; i < kChannels; ++i) {
        channels.append(ChannelObject(readings.channels[i], i, labels[i]));
    }
    return {{u"slot"_s, SlotLetter(readings.slot)},
            {u"serial"_s, QString::fromStdString(readings.serial)},
            {u"model"_s, ModelName(*readings.model)},
            {u"online"_s, presence != Presence::OffLine},
            {u"stale"_s, presence != Presence::Live},
            {u"lastPacket"_s, QString::fromStdString(DateTimeText(readings.time))},
            {u"age"_s, qint64{age}},
            {u"volt"_s, readings.volt},
            {u"seconds"_s, readings.seconds.value_or(0)},
            {u"elapsed"_s, readings.elapsed},
            {u"channels"_s, channels},
            {u"pulse"_s, PulseValue(pulse)}};
}

}  // namespace

QJsonObject ReadingsDocument(const Framer& framer, const Measurement& measurement,
                             const PulseCounters& pulses, const VirtualChannels& virtualChannels,
                             const CaptureDatabase& database, const Clock& clock,
                             std::optional<int> onlySlot) {
    auto labels = ReadChannelLabels(database);
    QJsonArray devices;
    for (int slot = 1; slot <= kSlots; ++slot) {
        const DeviceReadings& readings = measurement.Readings(slot);
        if (!readings.Seen() || onlySlot.value_or(slot) != slot) continue;
        const std::int64_t age = (clock.Monotonic() - readings.at + 500) / 1000;
        devices.append(
            DeviceObject(readings, measurement.PresenceOf(slot), age, labels[slot], pulses.Readings(slot)));
    }
    return {{u"time"_s, QString::fromStdString(DateTimeText(clock.Now()))},
            {u"badPackets"_s, qint64{framer.BadPackets()}},
            {u"goodPackets"_s, static_cast<qint64>(framer.GoodPackets())},
            {u"devices"_s, devices},
            {u"virtual"_s, VirtualValue(virtualChannels)}};
}

}  // namespace corvane
