// A packet's road from the receiver to the sinks, with no record due.
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include "link/device_slots.h"
#include "measure/measurement.h"
#include "measure/pulse_counters.h"
#include "measure/record_writer.h"
#include "measure/virtual_channels.h"
#include "ratios.h"
#include "sim/simulated_monitor.h"
#include "store/capture_database.h"
#include "store/db_writer.h"
#include "store/error_log.h"
#include "store/settings_store.h"
#include "support/fake_clock.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr std::size_t kPackets = 1000;

std::vector<std::vector<std::uint8_t>> Packets() {
    SimulatedMonitor monitor({.serial = {.unitId = 3, .number = 1234}, .seed = 1, .interval = 1});
    std::vector<std::vector<std::uint8_t>> packets;
    for (std::size_t i = 0; i < kPackets; ++i) {
        const auto packet = monitor.NextPacket();
        packets.emplace_back(packet.begin(), packet.end());
    }
    return packets;
}

/// On the machine's own clock, as in the program.
void DisplayData(benchmark::State& state) {
    const QTemporaryDir folder;
    SystemClock clock;
    SettingsStore settings(folder.filePath(u"corvane.ini"_s));
    settings.Save(kDeviceSerial, u"301234"_s, {.slot = 6});
    CaptureDatabase database(folder.filePath(u"none.db3"_s).toStdString());
    ErrorLog errorLog(folder.path(), u"Bench"_s, clock);
    DbWriter writer(database, settings, errorLog, clock);
    writer.SetMaintenanceBusy(true);  // records queue up without being written
    const DeviceSlots slots(settings, database);
    Measurement measurement(slots, settings, errorLog, clock);
    PulseCounters pulses(settings);
    const ChannelGroups groups(settings);
    const StoredEnergies stored(database, slots, clock);
    const VirtualChannels virtualChannels(groups, measurement, stored, settings);
    RecordWriter records(writer, database, virtualChannels, clock);
    measurement.AddSink(pulses);
    measurement.AddSink(records);

    const auto packets = Packets();
    for (auto _ : state) {
        for (const auto& packet : packets)
            measurement.DisplayData(kStreamTcpA, packet);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kPackets));
    if (!measurement.Readings(6).Seen()) state.SkipWithError("the packets reached no slot");
}
BENCHMARK(DisplayData)->Repetitions(5);

const Rate kRate("DisplayData", 300'000);

}  // namespace
}  // namespace corvane
