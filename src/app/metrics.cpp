#include "app/metrics.h"

#include <QCoreApplication>

#include <cmath>
#include <string>
#include <string_view>

#include "link/framer.h"
#include "link/monitor_link.h"
#include "measure/measurement.h"
#include "store/db_writer.h"

namespace corvane {

namespace {

using enum MetricsFamily::Kind;

constexpr MetricsFamily kOnline{"corvane_monitor_online", Gauge, "", "Whether packets of the monitor come."};
constexpr MetricsFamily kLastPacket{"corvane_last_packet_timestamp_seconds", Gauge, "seconds",
                                    "When its last packet came."};
constexpr MetricsFamily kVoltage{"corvane_voltage_volts", Gauge, "volts", "Voltage."};
constexpr MetricsFamily kEnergy{"corvane_energy_joules", Counter, "joules",
                                "Energy that went in or out, over all wraps of the monitor's counters."};
constexpr MetricsFamily kPower{"corvane_power_watts", Gauge, "watts", "Power; below zero where it goes out."};
constexpr MetricsFamily kCurrent{"corvane_current_amperes", Gauge, "amperes", "Current."};
constexpr MetricsFamily kChannel{"corvane_channel", Info, "", "The label that the channel was given."};
constexpr MetricsFamily kFrames{"corvane_frames", Counter, "", "Packets, by whether they were whole."};
constexpr MetricsFamily kQueue{"corvane_database_queue_rows", Gauge, "rows",
                               "Records that the database is still to get."};
constexpr MetricsFamily kLoopDelay{"corvane_event_loop_delay_seconds", Histogram, "seconds",
                                   "How late the program does what is due."};
constexpr MetricsFamily kBuild{"corvane_build", Info, "", "The program's version."};

}  // namespace

void Metrics::AddMonitors(MetricsWriter& writer) {
    const auto eachMonitor = [&](const MetricsFamily& family, bool online, const auto& add) {
        writer.Begin(family);
        for (int slot = 1; slot <= kSlots; ++slot) {
            const DeviceReadings& readings = measurement_.Readings(slot);
            if (readings.Seen() && (!online || measurement_.Online(slot))) add(readings.serial, readings);
        }
    };
    const auto eachChannel = [&](const MetricsFamily& family, bool online, const auto& add) {
        eachMonitor(family, online, [&](const std::string& serial, const DeviceReadings& readings) {
            for (std::size_t i = 0; i < kChannels; ++i)
                if (readings.model->Has(i))
                    add(serial, std::string_view(kChannelTable[i].column), readings.channels[i], i);
        });
    };

    eachMonitor(kOnline, false, [&](const auto& serial, const auto& readings) {
        writer.Add({{"monitor", serial}}, measurement_.Online(readings.slot) ? 1 : 0);
    });
    eachMonitor(kLastPacket, false, [&](const auto& serial, const auto& readings) {
        writer.Add({{"monitor", serial}}, static_cast<double>(readings.time.unixSeconds));
    });
    eachMonitor(kVoltage, true, [&](const auto& serial, const auto& readings) {
        writer.Add({{"monitor", serial}}, readings.volt);
    });
    eachChannel(kEnergy, false, [&](const auto& serial, auto name, const auto& channel, std::size_t i) {
        const double out = kChannelTable[i].polarized ? channel.polarized.Lifetime() : 0;
        writer.Add({{"monitor", serial}, {"channel", name}, {"direction", "import"}},
                   channel.absolute.Lifetime() - out);
        if (kChannelTable[i].polarized)
            writer.Add({{"monitor", serial}, {"channel", name}, {"direction", "export"}}, out);
    });
    eachChannel(kPower, true, [&](const auto& serial, auto name, const auto& channel, std::size_t i) {
        if (!channel.absolute.lastWatts.has_value()) return;
        const int out = kChannelTable[i].polarized ? channel.polarized.lastWatts.value_or(0) : 0;
        writer.Add({{"monitor", serial}, {"channel", name}}, *channel.absolute.lastWatts - 2 * out);
    });
    eachChannel(kCurrent, true, [&](const auto& serial, auto name, const auto& channel, std::size_t i) {
        if (kChannelTable[i].polarized)
            writer.Add({{"monitor", serial}, {"channel", name}}, std::round(channel.amps * 10.0) / 10);
    });
    if (auto labels = ReadStoredLabels(database_)) labels_ = *std::move(labels);
    eachMonitor(kChannel, false, [&](const auto& serial, const auto& readings) {
        const auto labels = labels_.find(readings.slot);
        if (labels == labels_.end()) return;
        for (std::size_t i = 0; i < kChannels; ++i) {
            const std::string label = GivenLabel(labels->second[i]).toStdString();
            if (readings.model->Has(i) && !label.empty())
                writer.Add({{"monitor", serial}, {"channel", kChannelTable[i].column}, {"label", label}}, 1);
        }
    });
}

void Metrics::AddProgram(MetricsWriter& writer) const {
    writer.Begin(kFrames);
    for (const MonitorLink* link : links_) {
        const std::string stream = link->Word().toStdString();
        writer.Add({{"stream", stream}, {"result", "good"}},
                   static_cast<double>(framer_.GoodPackets(link->Stream())));
        writer.Add({{"stream", stream}, {"result", "bad"}}, framer_.BadPackets(link->Stream()));
    }
    writer.Begin(kQueue);
    writer.Add({}, static_cast<double>(writer_.Buffer().UnwrittenRecords()));
    writer.Begin(kLoopDelay);
    writer.AddHistogram(LoopDelay::kBounds, loopDelay_.Counts(), loopDelay_.Sum());
    writer.Begin(kBuild);
    writer.Add({{"version", QCoreApplication::applicationVersion().toStdString()}}, 1);
}

QByteArray Metrics::Text(MetricsFormat format) {
    MetricsWriter writer(format);
    AddMonitors(writer);
    AddProgram(writer);
    return QByteArray::fromStdString(writer.Take());
}

}  // namespace corvane
