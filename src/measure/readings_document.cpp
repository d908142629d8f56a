#include "measure/readings_document.h"

#include <QJsonArray>
#include <QString>

#include <cmath>

#include "base/clock.h"
#include "link/framer.h"
#include "measure/channel_labels.h"
#include "measure/measurement.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QJsonValue Watts(const EnergyCounter& counter) {
    return counter.lastWatts.has_value() ? QJsonValue(*counter.lastWatts) : QJsonValue();
}

/// The suffix "Polarized" tells the second counter of a main channel from the first.
void AddCounter(QJsonObject& channel, const EnergyCounter& counter, const QString& suffix) {
    channel[u"wattSeconds"_s + suffix] = counter.current;
    channel[u"carry"_s + suffix] = counter.carry;
    channel[u"kwh"_s + suffix] = counter.Kwh();
}

QJsonObject ChannelObject(const ChannelReadings& readings, std::size_t index, const QString& label) {
    QJsonObject channel{{u"name"_s, QLatin1StringView(kChannelNames[index])},
                        {u"label"_s, label},
                        {u"watts"_s, Watts(readings.absolute)}};
    AddCounter(channel, readings.absolute, {});
    if (index < kMainChannels) {
        const QString polarized = u"Polarized"_s;
        channel[u"watts"_s + polarized] = Watts(readings.polarized);
        AddCounter(channel, readings.polarized, polarized);
        // A float's own decimal, not the nearest double's: 1.2 and not 1.2000000476837158.
        channel[u"amps"_s] = std::round(static_cast<double>(readings.amps) * 10) / 10;
    }
    return channel;
}

QJsonObject DeviceObject(const DeviceReadings& readings, bool online, const ChannelLabels& labels) {
    QJsonArray channels;
    for (std::size_t i = 0; i < kChannels; ++i) {
        channels.append(ChannelObject(readings.channels[i], i, labels[i]));
    }
    return {
        {u"slot"_s, SlotLetter(readings.slot)},
        {u"serial"_s, QString::fromStdString(readings.serial)},
        {u"model"_s, QLatin1StringView(readings.kind->model.data(), qsizetype(readings.kind->model.size()))},
        {u"online"_s, online},
        {u"lastPacket"_s, QString::fromStdString(DateTimeText(readings.time))},
        {u"volt"_s, readings.volt},
        {u"seconds"_s, readings.seconds.value_or(0)},
        {u"elapsed"_s, readings.elapsed},
        {u"channels"_s, channels},
        {u"pulse"_s, QJsonValue()}};
}

}  // namespace

QJsonObject ReadingsDocument(const Framer& framer, const Measurement& measurement,
                             const CaptureDatabase& database, const Clock& clock) {
    auto labels = ReadChannelLabels(database);
    QJsonArray devices;
    for (int slot = 1; slot <= kSlots; ++slot) {
        const DeviceReadings& readings = measurement.Readings(slot);
        if (readings.Seen()) devices.append(DeviceObject(readings, measurement.Online(slot), labels[slot]));
    }
    return {{u"time"_s, QString::fromStdString(DateTimeText(clock.Now()))},
            {u"badPackets"_s, qint64{framer.BadPackets()}},
            {u"goodPackets"_s, static_cast<qint64>(framer.GoodPackets())},
            {u"devices"_s, devices},
            {u"virtual"_s, QJsonValue()}};
}

}  // namespace corvane
