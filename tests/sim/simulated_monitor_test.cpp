#include "sim/simulated_monitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <tuple>

#include "support/received_packets.h"
#include "support/third_model.h"

namespace corvane {
namespace {

using enum Field;

/// The energy counters, each with the channel whose power it counts.
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

TEST(SimulatedMonitor, PacketsArriveAsSentAndTheSameForTheSameSeedOnly) {
    ForAllConfigs([](MonitorConfig config) {
        SimulatedMonitor monitor(config);
        SimulatedMonitor twin(config);
        config.seed = 8;
        SimulatedMonitor other(config);
        NotedPackets received(kWithThird);
        Framer framer(received, kWithThird);
        std::size_t arrived = 0;
        bool othersDiffer = false;
        for (int i = 1; i <= 400; ++i) {
            const auto bytes = monitor.NextPacket();
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
    });
}

TEST(SimulatedMonitor, CountersVoltageAndCurrentsFitThePower) {
    ForAllConfigs([](const MonitorConfig& config) {
        SimulatedMonitor monitor(config);
        auto previous = monitor.AllRaw();
        for (int i = 1; i <= 100; ++i) {
            (void)monitor.NextPacket();
            const ChannelWatts& watts = monitor.Watts();
            const RealtimePacket packet = DecodePacket(0, monitor.LastPacket(), kWithThird);
            const double volts = packet.Value(Voltage);
            ASSERT_TRUE(volts >= 118 && volts <= 124) << volts;
            ASSERT_NEAR(packet.Value(Ch1Current), std::abs(watts[kMainPanel]) / volts, 0.00501);
            ASSERT_NEAR(packet.Value(Ch2Current), std::abs(watts[kGenerator]) / volts, 0.00501);
            for (const auto& [field, channel] : kEnergyFields) {
                if (i == 1 || (i == 11 && config.scenario->name == "restart")) continue;
                const std::uint64_t top = std::uint64_t{1} << (channel < kMainChannels ? 40 : 32);
                ASSERT_EQ((packet.Raw(field) - previous[static_cast<std::size_t>(field)]) % top,
                          Energy(config, field, watts[channel]))
                    << Layout(field).name << ", packet " << i;
            }
            previous = packet.raw;
        }
    });
}

/// The packets, from 1 on, at which a field went backwards.
std::vector<int> StepsBack(const MonitorConfig& config, Field field) {
    SimulatedMonitor monitor(config);
    std::vector<int> steps;
    std::uint64_t previous = 0;
    for (int i = 1; i <= 20; ++i) {
        (void)monitor.NextPacket();
        if (monitor.Raw(field) < previous) {
            steps.push_back(i);
            EXPECT_TRUE(monitor.Raw(field) > 0 || field == Seconds)
                << "at 0 receivers take a counter as reset";
        }
        previous = monitor.Raw(field);
    }
    return steps;
}

TEST(SimulatedMonitor, EveryCounterWrapsOnceAndTheSecondsAtAPacketOfTheirOwn) {
    ForAllConfigs([](const MonitorConfig& config) {
        if (config.scenario->name != "wrap") return;
        const auto seconds = StepsBack(config, Seconds);
        EXPECT_EQ(seconds.size(), 1U);
        for (const auto& [field, channel] : kEnergyFields) {
            const auto steps = StepsBack(config, field);
            EXPECT_EQ(steps.size(), config.model->Has(field) ? 1U : 0U);
            EXPECT_NE(steps, seconds) << Layout(field).name;
        }
    });
}

TEST(SimulatedMonitor, ARestartBeginsAllCountersAgainOnce) {
    const MonitorConfig config{.scenario = FindScenario("restart")};
    SimulatedMonitor monitor(config);
    const ChannelWatts steady = {3000, 1200, 500, 400, 300, 200, 100};
    for (std::uint64_t i = 1; i <= 12; ++i) {
        (void)monitor.NextPacket();
        ASSERT_EQ(monitor.Watts(), steady);
        EXPECT_EQ(monitor.Raw(Seconds), (i <= 10 ? 864'000 + i * 8 : (i - 10) * 8));
        for (const auto& [field, channel] : kEnergyFields)
            EXPECT_EQ(monitor.Raw(field) == (i - 10) * Energy(config, field, steady[channel]), i > 10);
    }
}

TEST(SimulatedMonitor, ASolarDaySellsAtNoonAndBuysAtNight) {
    constexpr int kStart = 12 * 60;  // minutes
    SimulatedMonitor monitor(
        {.scenario = FindScenario("solar-day"), .interval = 60, .startSecondOfDay = kStart * 60});
    std::array<int, 24> soldMinutes{};
    for (int minute = kStart; minute < kStart + 2 * 24 * 60; ++minute) {
        (void)monitor.NextPacket();
        const ChannelWatts& watts = monitor.Watts();
        const int consumed = watts[kMainPanel] + watts[kGenerator];
        for (std::size_t i = kMainChannels; i < kChannels; ++i)
            ASSERT_TRUE(watts[i] >= 0 && watts[i] < consumed) << "minute " << minute;
        ASSERT_LT(consumed, 10'000);
        soldMinutes[static_cast<std::size_t>(minute / 60 % 24)] += watts[kMainPanel] < 0 ? 1 : 0;
    }
    for (const std::size_t hour : {0U, 4U, 7U, 19U, 23U})
        EXPECT_EQ(soldMinutes[hour], 0) << hour;
    for (const std::size_t hour : {10U, 12U, 14U})
        EXPECT_EQ(soldMinutes[hour], 2 * 60) << hour;
}

TEST(SimulatedMonitor, NoiseIsOfEveryKind) {
    SimulatedMonitor monitor({.scenario = FindScenario("noise"), .seed = 7});
    int quiet = 0;
    int lost = 0;
    int unrefused = 0;
    for (int i = 0; i < 400; ++i) {
        const std::uint32_t refusedBefore = monitor.RefusedPackets();
        const bool noisy = monitor.NextPacket().size() > monitor.LastPacket().size();
        quiet += noisy ? 0 : 1;
        unrefused += noisy && monitor.RefusedPackets() == refusedBefore ? 1 : 0;
        lost += monitor.LastPacketLost() ? 1 : 0;
    }
    for (const int count : {quiet, unrefused, static_cast<int>(monitor.RefusedPackets()) - lost, lost})
        EXPECT_GT(count, 40);
}

TEST(MonitorSerial, IsAUnitIdAndFiveDigits) {
    const std::tuple<std::string_view, std::optional<std::pair<int, int>>> cases[] = {
        {"301234", {{3, 1234}}}, {"000007", {{0, 7}}}, {"25565535", {{255, 65535}}},
        {"01234", {}},           {"301235x", {}},      {"25600001", {}},
        {"165536", {}},          {"0301234", {}},      {"123456789", {}},
        {"-301234", {}}};
    for (const auto& [text, expected] : cases) {
        const auto parsed = ParseMonitorSerial(text);
        const auto* serial = std::get_if<MonitorSerial>(&parsed);
        ASSERT_EQ(serial != nullptr, expected.has_value()) << text;
        if (serial == nullptr) continue;
        EXPECT_EQ(std::pair(int{serial->unitId}, int{serial->number}), expected) << text;
    }
}

}  // namespace
}  // namespace corvane
