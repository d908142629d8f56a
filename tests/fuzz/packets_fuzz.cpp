// Any bytes on any streams: framed, decoded, measured and turned into records.
//
// An input is a row of pieces: a byte n, then n / 5 + 1 bytes for the receive stream n % 5.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

#include "fuzz/quick_folder.h"
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
        if (++readings_ % 8 != 0) return;  // rows cost as much as all the rest
        for (const std::string& row : {sql::MinuteRow(readings), sql::PowerRow(readings),
                                       sql::EnergyRow(readings), sql::HourlyRow(readings)}) {
            REQUIRE(row.starts_with("insert into ") && row.ends_with(")"));
        }
    }

private:
    unsigned readings_ = 0;
};

/// All that a packet goes through, built once; an input finds it as the one before left it, without readings.
class House {
public:
    /// Slot A takes 301234, slot B every two-channel packet.
    House() {
        settings_.Save(kSingleTwoChannel, true);
        settings_.Save(kDeviceSerial, u"301234"_s, {.slot = 1});
        settings_.Save(kDeviceSerial, u"999998"_s, {.slot = 2});
        measurement_.AddSink(sink_);
    }

    void Take(std::span<const std::uint8_t> input) {
        Framer framer(measurement_);
        framer.SetRawDisplay(kStreamTcpB, true);
        Feed(framer, input);
        REQUIRE((framer.GoodPackets() + framer.BadPackets()) * kTwoChannel.length <= input.size());
        for (int slot = 1; slot <= kSlots; ++slot) {
            if (!measurement_.Readings(slot).Seen()) continue;
            if (ManyWraps(slot)) measurement_.ZeroCarries(slot, "there is an end to them");
            measurement_.BeginAnew(slot);
        }
    }

private:
    [[nodiscard]] bool ManyWraps(int slot) const {
        constexpr int kMany = 30'000;
        return std::ranges::any_of(measurement_.Readings(slot).channels, [](const ChannelReadings& channel) {
            return channel.absolute.carry > kMany || channel.polarized.carry > kMany;
        });
    }

    static void Feed(Framer& framer, std::span<const std::uint8_t> input) {
        while (!input.empty()) {
            const int stream = input.front() % kStreams;
            const std::size_t length = std::min<std::size_t>(input.front() / kStreams + 1U, input.size() - 1);
            for (const std::uint8_t byte : input.subspan(1, length))
                framer.ProcessByte(stream, byte);
            input = input.subspan(1 + length);
        }
    }

    QuickFolder folder_;
    FakeClock clock_;
    ErrorLog errorLog_{folder_.Path(), u"Fuzz"_s, clock_};
    CaptureDatabase database_{folder_.Path(u"none.db3"_s).toStdString()};
    SettingsStore settings_{u"/dev/null/corvane.ini"_s};  // cannot be written: what changes is kept in memory
    DeviceSlots deviceSlots_{settings_, database_};
    Measurement measurement_{deviceSlots_, settings_, errorLog_, clock_};
    CheckingSink sink_;
};

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static corvane::House house;
    house.Take({data, size});
    return 0;
}
