#include "sim/simulated_monitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "support/received_packets.h"
#include "support/third_model.h"

namespace corvane {
namespace {

using enum Field;

/// The energy counters, each with the channel whose power it counts, in the order in which they wrap.
constexpr std::array kEnergyFields = {
    std::pair(Ch1Absolute, 0U),  std::pair(Ch2Absolute, 1U), std::pair(Ch1Polarized, 0U),
    std::pair(Ch2Polarized, 1U), std::pair(Aux1, 2U),        std::pair(Aux2, 3U),
    std::pair(Aux3, 4U),         std::pair(Aux4, 5U),        std::pair(Aux5, 6U)};

/// Watt-seconds that a counter takes up in an interval.
std::uint64_t Energy(const MonitorConfig& config, Field field, std::int32_t watts) {
    const bool polarized = field == Ch1Polarized || field == Ch2Polarized;
    const bool sent = config.model->Has(field);
    return sent && (!polarized || watts < 0) ? static_cast<std::uint64_t>(std::abs(watts) * config.interval)
                                             : 0;
}

/// Calls `check` with the configuration of every scenario for all models and several intervals.
template <typename Check>
void ForAllConfigs(Check check) {
    for (const Scenario& scenario : Scenarios()) {
        for (const MonitorModel& model : kWithThird) {
            for (const int interval : {1, 8, 255}) {
                SCOPED_TRACE(testing::Message() << scenario.name << " " << model.name << " " << interval);
                check(MonitorConfig{.model = &model,
                                    .serial = {.unitId = 3, .number = 1234},
                                    .scenario = &scenario,
                                    .seed = 7,
                                    .interval = interval});
            }
        }
    }
}

TEST(SimulatedMonitor, PacketsArriveAsSentForTheSameSeedOnlyAndThroughNoiseOfEveryKind) {
    ForAllConfigs([](MonitorConfig config) {
        SimulatedMonitor monitor(config);
        SimulatedMonitor twin(config);
        config.seed = 8;
        SimulatedMonitor other(config);
        NotedPackets received(kWithThird);
        Framer framer(received, kWithThird);
        std::size_t arrived = 0;
        bool othersDiffer = false;
        int quiet = 0;
        int unrefused = 0;
        for (int i = 1; i <= 400; ++i) {
            const std::uint32_t refusedBefore = monitor.RefusedPackets();
            const auto bytes = monitor.NextPacket();
            const bool noisy = bytes.size() > monitor.LastPacket().size();
            quiet += noisy ? 0 : 1;
            unrefused += noisy && monitor.RefusedPackets() == refusedBefore ? 1 : 0;
            ASSERT_TRUE(std::ranges::equal(bytes, twin.NextPacket())) << "packet " << i;
            othersDiffer |= !std::ranges::equal(bytes, other.NextPacket());
            for (const std::uint8_t byte : bytes)
                framer.ProcessByte(kStreamTcpA, byte);
            arrived += monitor.LastPacketLost() ? 0 : 1;
            ASSERT_EQ(received.framed.size(), arrived) << "after packet " << i;
            if (monitor.LastPacketLost()) continue;
            const RealtimePacket packet =
                DecodePacket(kStreamTcpA, received.framed.back().second, kWithThird);
            ASSERT_EQ(packet.raw, monitor.AllRaw());
            ASSERT_EQ(packet.SerialText(), "301234");
            ASSERT_EQ(packet.model, config.model);
        }
        EXPECT_TRUE(othersDiffer);
        EXPECT_EQ(framer.BadPackets(), monitor.RefusedPackets());
        const int lost = 400 - static_cast<int>(arrived);
        const int refused = static_cast<int>(monitor.RefusedPackets());
        for (const int count : {quiet, unrefused, refused - lost, lost})
            EXPECT_TRUE(count > 40 || !config.scenario->lineNoise) << count;
    });
}

TEST(SimulatedMonitor, CountersVoltageAndCurrentsFitThePowerAndEachCounterWrapsAtAPacketOfItsOwn) {
    ForAllConfigs([](const MonitorConfig& config) {
        SimulatedMonitor monitor(config);
        auto previous = monitor.AllRaw();
        std::vector<std::pair<int, Field>> wraps;
        for (int i = 1; i <= 100; ++i) {
            (void)monitor.NextPacket();
            const ChannelWatts& watts = monitor.Watts();
            const RealtimePacket packet = DecodePacket(0, monitor.LastPacket(), kWithThird);
            const double volts = packet.Value(Voltage);
            ASSERT_TRUE(volts >= 118 && volts <= 124) << volts;
            ASSERT_NEAR(packet.Value(Ch1Current), std::abs(watts[kMainPanel]) / volts, 0.00501);
            ASSERT_NEAR(packet.Value(Ch2Current), std::abs(watts[kGenerator]) / volts, 0.00501);
            const bool restarted = i == 11 && config.scenario->name == "restart";
            const std::uint64_t seconds = previous[static_cast<std::size_t>(Seconds)];
            ASSERT_EQ(packet.Raw(Seconds),
                      ((restarted ? 0 : seconds) + static_cast<unsigned>(config.interval)) % (1 << 24));
            if (packet.Raw(Seconds) < seconds) wraps.emplace_back(i, Seconds);
            for (const auto& [field, channel] : kEnergyFields) {
                const std::uint64_t before = previous[static_cast<std::size_t>(field)];
                const std::uint64_t top = std::uint64_t{1} << (channel < kMainChannels ? 40 : 32);
                ASSERT_EQ((packet.Raw(field) - (restarted ? 0 : before)) % top,
                          Energy(config, field, watts[channel]))
                    << Layout(field).name << ", packet " << i;
                if (packet.Raw(field) >= before) continue;
                wraps.emplace_back(i, field);
                EXPECT_TRUE(packet.Raw(field) > 0 || restarted) << "at 0 it would be taken as reset";
            }
            previous = packet.raw;
        }
        if (config.scenario->name != "wrap") return;
        std::vector<std::pair<int, Field>> expected = {{14, Seconds}};
        for (int at = 11; at >= 3; --at) {
            const Field field = kEnergyFields[static_cast<std::size_t>(at - 3)].first;
            if (config.model->Has(field)) expected.emplace(expected.begin(), at, field);
        }
        EXPECT_EQ(wraps, expected);
    });
}

}  // namespace
}  // namespace corvane
