#include "sim/simulated_monitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <ostream>

#include "link/framer.h"

namespace corvane {
namespace {

using Raw = std::array<std::uint64_t, kPacketFields.size()>;

constexpr std::array kEnergyFields = {Field::Ch1Absolute,  Field::Ch2Absolute, Field::Ch1Polarized,
                                      Field::Ch2Polarized, Field::Aux1,        Field::Aux2,
                                      Field::Aux3,         Field::Aux4,        Field::Aux5};

/// A receiver that keeps what the framer accepts.
class Received : public PacketReceiver {
public:
    void DisplayData(int stream, std::span<const std::uint8_t> packet) override {
        const RealtimePacket decoded = DecodePacket(stream, packet);
        raws.push_back(decoded.raw);
        serials.push_back(decoded.SerialText());
        models.push_back(decoded.kind->model);
    }

    std::vector<Raw> raws;
    std::vector<std::string> serials;
    std::vector<std::string_view> models;
};

struct SimCase {
    std::string_view scenario;
    const PacketKind* kind;
    std::int32_t interval;
};

std::ostream& operator<<(std::ostream& out, const SimCase& c) {
    return out << c.scenario << ", " << c.kind->model << ", " << c.interval << " s";
}

std::vector<SimCase> AllCases() {
    std::vector<SimCase> cases;
    for (const Scenario& scenario : Scenarios()) {
        for (const PacketKind* kind : {&kTwoChannel, &kFiveChannel}) {
            for (const int interval : {1, 8, 255})
                cases.push_back({scenario.name, kind, interval});
        }
    }
    return cases;
}

SimulatedMonitor Monitor(const SimCase& c, std::uint32_t seed = 7) {
    return SimulatedMonitor({.kind = c.kind,
                             .serial = {.unitId = 3, .number = 1234},
                             .scenario = FindScenario(c.scenario),
                             .seed = seed,
                             .interval = c.interval});
}

void ExpectArrivesAsSent(const SimCase& c) {
    Received received;
    Framer framer(received);
    SimulatedMonitor monitor = Monitor(c);
    std::vector<Raw> sent;
    for (int i = 0; i < 400; ++i) {
        for (const std::uint8_t byte : monitor.NextPacket())
            framer.ProcessByte(kStreamTcpA, byte);
        if (!monitor.LastPacketLost()) sent.push_back(monitor.AllRaw());
        ASSERT_EQ(received.raws.size(), sent.size()) << "after packet " << i + 1;
    }
    EXPECT_EQ(received.raws, sent);
    EXPECT_EQ(received.serials, std::vector<std::string>(sent.size(), "301234"));
    EXPECT_EQ(received.models, std::vector<std::string_view>(sent.size(), c.kind->model));
    EXPECT_EQ(framer.BadPackets(), monitor.RefusedPackets());
    EXPECT_EQ(framer.GoodPackets(), sent.size());
}

TEST(SimulatedMonitor, PacketsArriveAsSent) {
    for (const SimCase& c : AllCases()) {
        SCOPED_TRACE(c);
        ExpectArrivesAsSent(c);
    }
}

TEST(SimulatedMonitor, TheSameSeedGivesTheSameBytesAndAnotherGivesOthers) {
    const auto run = [](const SimCase& c, std::uint32_t seed) {
        SimulatedMonitor monitor = Monitor(c, seed);
        std::vector<std::uint8_t> bytes;
        for (int i = 0; i < 50; ++i) {
            const auto packet = monitor.NextPacket();
            bytes.insert(bytes.end(), packet.begin(), packet.end());
        }
        return bytes;
    };
    for (const SimCase& c : AllCases()) {
        SCOPED_TRACE(c);
        EXPECT_EQ(run(c, 1), run(c, 1));
        EXPECT_NE(run(c, 1), run(c, 2));
    }
}

/// Watt-seconds that a counter must have taken up since the packet before.
std::uint64_t ExpectedStep(const SimCase& c, Field field, const ChannelWatts& watts) {
    const auto at = static_cast<std::size_t>(std::find(kEnergyFields.begin(), kEnergyFields.end(), field) -
                                             kEnergyFields.begin());
    const bool polarized = field == Field::Ch1Polarized || field == Field::Ch2Polarized;
    const std::int32_t power = watts[at < 4 ? at % 2 : at - 2];
    if ((polarized && power >= 0) || (at >= 4 && !c.kind->hasAux)) return 0;
    return static_cast<std::uint64_t>(std::abs(power)) * static_cast<std::uint64_t>(c.interval);
}

/// What a receiver reckons from two packets is the power and the current that were there.
void ExpectFitsThePower(const SimCase& c) {
    SimulatedMonitor monitor = Monitor(c);
    Raw previous{};
    for (int i = 1; i <= 400; ++i) {
        (void)monitor.NextPacket();
        const ChannelWatts& watts = monitor.Watts();
        const RealtimePacket packet = DecodePacket(0, monitor.LastPacket());
        const double volts = packet.Value(Field::Voltage);
        ASSERT_TRUE(volts >= 118 && volts <= 124) << volts;
        ASSERT_NEAR(packet.Value(Field::Ch1Current), std::abs(watts[kMainPanel]) / volts, 0.00501);
        ASSERT_NEAR(packet.Value(Field::Ch2Current), std::abs(watts[kGenerator]) / volts, 0.00501);
        const bool first = i == 1 || (i == 11 && c.scenario == "restart");
        for (std::size_t n = 0; n < kEnergyFields.size() && !first; ++n) {
            const Field field = kEnergyFields[n];
            const std::uint64_t top = std::uint64_t{1} << (n < 4 ? 40 : 32);
            const std::uint64_t step = (packet.Raw(field) - previous[static_cast<std::size_t>(field)]) % top;
            ASSERT_EQ(step, ExpectedStep(c, field, watts)) << Layout(field).name << ", packet " << i;
        }
        previous = packet.raw;
    }
}

TEST(SimulatedMonitor, CountersVoltageAndCurrentsFitThePower) {
    for (const SimCase& c : AllCases()) {
        SCOPED_TRACE(c);
        ExpectFitsThePower(c);
    }
}

TEST(SimulatedMonitor, SteadyPowerIsThatOfTheScenario) {
    SimulatedMonitor monitor = Monitor({"steady", &kFiveChannel, 8});
    for (int i = 0; i < 100; ++i) {
        (void)monitor.NextPacket();
        ASSERT_EQ(monitor.Watts(), (ChannelWatts{3000, 1200, 500, 400, 300, 200, 100}));
    }
}

/// The packets, from 1 on, at which a field went backwards, and its value there.
std::vector<std::pair<int, std::uint64_t>> StepsBack(const SimCase& c, Field field) {
    SimulatedMonitor monitor = Monitor(c);
    std::vector<std::pair<int, std::uint64_t>> steps;
    std::uint64_t previous = 0;
    for (int i = 1; i <= 20; ++i) {
        (void)monitor.NextPacket();
        if (monitor.Raw(field) < previous) steps.emplace_back(i, monitor.Raw(field));
        previous = monitor.Raw(field);
    }
    return steps;
}

TEST(SimulatedMonitor, EveryCounterWrapsOnceAndTheSecondsAtAPacketOfTheirOwn) {
    for (const PacketKind* kind : {&kTwoChannel, &kFiveChannel}) {
        for (const int interval : {1, 8, 255}) {
            const SimCase wrap = {"wrap", kind, interval};
            const auto seconds = StepsBack(wrap, Field::Seconds);
            ASSERT_EQ(seconds.size(), 1U);
            for (const Field field : kEnergyFields) {
                const auto steps = StepsBack(wrap, field);
                const bool sent = kind->hasAux || !Layout(field).fiveChannelOnly;
                ASSERT_EQ(steps.size(), sent ? 1U : 0U) << Layout(field).name;
                if (!sent) continue;
                EXPECT_NE(steps[0].first, seconds[0].first) << Layout(field).name;
                EXPECT_GT(steps[0].second, 0U) << "at 0 receivers take a counter as reset";
            }
        }
    }
}

TEST(SimulatedMonitor, ARestartBeginsAllCountersAgain) {
    SimulatedMonitor monitor = Monitor({"restart", &kFiveChannel, 8});
    for (int i = 0; i < 10; ++i)
        (void)monitor.NextPacket();
    const Raw before = monitor.AllRaw();
    EXPECT_EQ(before[static_cast<std::size_t>(Field::Seconds)], 864'080U);
    (void)monitor.NextPacket();
    EXPECT_EQ(monitor.Raw(Field::Seconds), 8U);
    EXPECT_EQ(monitor.Raw(Field::Ch1Absolute), 3000U * 8);
    EXPECT_EQ(monitor.Raw(Field::Ch1Polarized), 0U);
    EXPECT_EQ(monitor.Raw(Field::Aux5), 100U * 8);
    for (const Field field : kEnergyFields)
        EXPECT_LT(monitor.Raw(field), before[static_cast<std::size_t>(field)]) << Layout(field).name;
    (void)monitor.NextPacket();
    EXPECT_EQ(monitor.Raw(Field::Seconds), 16U) << "one restart only";
}

TEST(SimulatedMonitor, ASolarDaySellsAtNoonAndBuysAtNight) {
    constexpr std::size_t kMinutes = 2880;  // two days
    SimulatedMonitor monitor({.scenario = FindScenario("solar-day"), .interval = 60, .startSecondOfDay = 0});
    std::array<int, 24> soldMinutes{};
    std::int32_t generated = 0;
    for (std::size_t minute = 0; minute < kMinutes; ++minute) {
        (void)monitor.NextPacket();
        const ChannelWatts& watts = monitor.Watts();
        const int consumed = watts[kMainPanel] + watts[kGenerator];
        int monitored = 0;
        for (std::size_t i = kFirstAux; i < kSimChannels; ++i) {
            ASSERT_GE(watts[i], 0);
            monitored += watts[i];
        }
        ASSERT_GT(consumed, monitored) << "minute " << minute;
        ASSERT_LT(consumed, 10'000);
        ASSERT_NEAR(watts[kGenerator], generated, 600) << "minute " << minute << ": the sun does not jump";
        generated = watts[kGenerator];
        soldMinutes[minute / 60 % 24] += watts[kMainPanel] < 0 ? 1 : 0;
    }
    for (const std::size_t hour : {0, 4, 7, 19, 23})
        EXPECT_EQ(soldMinutes[hour], 0) << hour;
    for (const std::size_t hour : {10, 12, 14})
        EXPECT_EQ(soldMinutes[hour], 2 * 60) << hour;
}

TEST(SimulatedMonitor, TheDayGoesOnAtTheSpeedOfItsPackets) {
    SimulatedMonitor monitor(
        {.scenario = FindScenario("solar-day"), .interval = 255, .startSecondOfDay = 12 * 3600});
    (void)monitor.NextPacket();
    EXPECT_GT(monitor.Watts()[kGenerator], 4000);
    for (int i = 0; i < 12 * 3600 / 255; ++i)
        (void)monitor.NextPacket();
    EXPECT_LT(monitor.Watts()[kGenerator], 0) << "around midnight the inverter draws";
}

TEST(SimulatedMonitor, NoiseIsOfEveryKind) {
    SimulatedMonitor monitor = Monitor({"noise", &kFiveChannel, 8});
    int quiet = 0;
    int lost = 0;
    int unrefused = 0;
    for (int i = 0; i < 400; ++i) {
        const std::uint32_t refusedBefore = monitor.RefusedPackets();
        const std::size_t noise = monitor.NextPacket().size() - monitor.LastPacket().size();
        const bool refused = monitor.RefusedPackets() > refusedBefore;
        quiet += noise == 0 ? 1 : 0;
        unrefused += noise > 0 && !refused ? 1 : 0;
        lost += monitor.LastPacketLost() ? 1 : 0;
    }
    const int damaged = static_cast<int>(monitor.RefusedPackets()) - lost;
    for (const int count : {quiet, unrefused, damaged, lost})
        EXPECT_GT(count, 40);
}

TEST(MonitorSerial, IsAUnitIdAndFiveDigits) {
    struct {
        std::string_view text;
        std::optional<std::pair<int, int>> expected;
    } const cases[] = {
        {"301234", {{3, 1234}}}, {"000007", {{0, 7}}},
        {"100001", {{1, 1}}},    {"25565535", {{255, 65535}}},
        {"1000000", {{10, 0}}},  {"", {}},
        {"01234", {}},           {"301235x", {}},
        {"25600001", {}},        {"165536", {}},
        {"0301234", {}},         {"0000007", {}},
        {"123456789", {}},       {"-301234", {}},
        {" 301234", {}},         {"30 1234", {}},
    };
    for (const auto& c : cases) {
        const auto parsed = ParseMonitorSerial(c.text);
        const auto* serial = std::get_if<MonitorSerial>(&parsed);
        ASSERT_EQ(serial != nullptr, c.expected.has_value()) << c.text;
        if (serial == nullptr) {
            EXPECT_FALSE(std::get<std::string>(parsed).empty()) << c.text;
            continue;
        }
        EXPECT_EQ(std::pair(int{serial->unitId}, int{serial->number}), c.expected) << c.text;
        SimulatedMonitor monitor({.serial = *serial});
        (void)monitor.NextPacket();
        EXPECT_EQ(DecodePacket(0, monitor.LastPacket()).SerialText(), c.text);
    }
}

}  // namespace
}  // namespace corvane
