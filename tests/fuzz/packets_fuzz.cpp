// Any bytes on any streams: framed, decoded, measured and turned into records.
//
// An input is a row of pieces: a byte n, then n / 5 + 1 bytes for the receive stream n % 5.
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

#include "fuzz/require.h"
#include "link/device_slots.h"
#include "measure/measurement.h"
#include "measure/record_writer.h"
#include "store/capture_database.h"
#include "store/error_log.h"
#include "store/settings_store.h"
#include "support/fake_clock.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// Sees to it that no packet, however damaged, gives a reading that cannot be.
class CheckingSink final : public ReadingsSink {
public:
    void OnReadings(const DeviceReadings& readings) override {
        REQUIRE(readings.slot >= 1 && readings.slot <= kSlots);
        REQUIRE(readings.elapsed >= 0 && readings.elapsed <= kSecondsSpan);
        REQUIRE(readings.volt >= 0 && readings.volt <= 6553.5);
        for (const ChannelReadings& channel : readings.channels) {
            for (const EnergyCounter* counter : {&channel.absolute, &channel.polarized}) {
                REQUIRE(counter->watts.value_or(0) >= 0);
                REQUIRE(!(readings.restart && counter->watts.has_value()));
                REQUIRE(counter->carry >= 0);
                REQUIRE(counter->current >= 0 && counter->current < CounterSpan(counter->fiveByte));
                REQUIRE(std::isfinite(counter->Kwh()) && counter->Kwh() >= 0);
            }
        }
        for (const std::string& row : {sql::MinuteRow(readings), sql::PowerRow(readings),
                                       sql::EnergyRow(readings), sql::HourlyRow(readings)}) {
            REQUIRE(row.starts_with("insert into ") && row.ends_with(")"));
        }
    }
};

/// Slot A takes 301234, slot B every two-channel packet.
QString SettingsIn(const QTemporaryDir& folder) {
    QFile file(folder.filePath(u"corvane.ini"_s));
    REQUIRE(file.open(QIODevice::WriteOnly));
    file.write("[startup]\nVRQ5806=True\n[0]\nDevSerial=301234\n[1]\nDevSerial=999998\n");
    return file.fileName();
}

void Feed(Framer& framer, std::span<const std::uint8_t> input) {
    while (!input.empty()) {
        const int stream = input.front() % kStreams;
        const std::size_t length = std::min<std::size_t>(input.front() / kStreams + 1U, input.size() - 1);
        for (const std::uint8_t byte : input.subspan(1, length))
            framer.ProcessByte(stream, byte);
        input = input.subspan(1 + length);
    }
}

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace corvane;
    static const QTemporaryDir folder;
    static const FakeClock clock;
    static ErrorLog errorLog(folder.path(), QStringLiteral("Fuzz"), clock);
    static const CaptureDatabase database(folder.filePath(QStringLiteral("none.db3")).toStdString());
    SettingsStore settings(SettingsIn(folder));
    const DeviceSlots deviceSlots(settings, database);
    Measurement measurement(deviceSlots, settings, errorLog, clock);
    CheckingSink sink;
    measurement.AddSink(sink);
    Framer framer(measurement);
    framer.SetRawDisplay(kStreamTcpB, true);

    Feed(framer, {data, size});
    REQUIRE((framer.GoodPackets() + framer.BadPackets()) * kTwoChannel.length <= size);
    return 0;
}
