// What holds for each of the nine counters of a slot.
#include <array>
#include <optional>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "measure/measurement_fixture.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr double kTop40 = 1099511627776.0;
constexpr double kTop32 = 4294967296.0;

/// One of the nine counters: how the monitor counts it, where it is read, and the key of its carry.
struct CounterCase {
    const char* carryKey;
    double top;
    void (*set)(MonitorState&, std::uint64_t);
    const EnergyCounter& (*of)(const DeviceReadings&);
};

void PrintTo(const CounterCase& counter, std::ostream* out) {
    *out << counter.carryKey;
}

template <std::uint64_t MonitorState::*Raw, std::size_t Channel, EnergyCounter ChannelReadings::*Counter>
constexpr CounterCase MainCase(const char* carryKey) {
    return {carryKey, kTop40, [](MonitorState& s, std::uint64_t value) { s.*Raw = value; },
            [](const DeviceReadings& r) -> const EnergyCounter& { return r.channels[Channel].*Counter; }};
}

template <std::size_t Aux>
constexpr CounterCase AuxCase(const char* carryKey) {
    return {carryKey, kTop32,
            [](MonitorState& s, std::uint64_t value) { s.aux[Aux] = static_cast<std::uint32_t>(value); },
            [](const DeviceReadings& r) -> const EnergyCounter& { return r.channels[2 + Aux].absolute; }};
}

constexpr std::array<CounterCase, 9> kCounters = {{
    MainCase<&MonitorState::ch1Absolute, 0, &ChannelReadings::absolute>("Roll1A"),
    MainCase<&MonitorState::ch1Polarized, 0, &ChannelReadings::polarized>("Roll1P"),
    MainCase<&MonitorState::ch2Absolute, 1, &ChannelReadings::absolute>("Roll2A"),
    MainCase<&MonitorState::ch2Polarized, 1, &ChannelReadings::polarized>("Roll2P"),
    AuxCase<0>("Roll3"),
    AuxCase<1>("Roll4"),
    AuxCase<2>("Roll5"),
    AuxCase<3>("Roll6"),
    AuxCase<4>("Roll7"),
}};

class EveryCounter : public MeasurementFixture, public testing::WithParamInterface<CounterCase> {
protected:
    /// A packet in which the counter stands at `value`, and all others at 5000.
    void Count(std::uint32_t seconds, double value) {
        MonitorState state = {.seconds = seconds};
        for (const CounterCase& counter : kCounters)
            counter.set(state, 5000);
        GetParam().set(state, static_cast<std::uint64_t>(value));
        Send(state);
    }

    [[nodiscard]] const EnergyCounter& Counter() const { return GetParam().of(A()); }
    [[nodiscard]] static double Top() { return GetParam().top; }
    [[nodiscard]] static QString Key() { return QString::fromLatin1(GetParam().carryKey); }

    /// Sees the counter carry `carry`, in the settings too where it is `saved`, and no other carry anything.
    void ExpectOnlyCarry(int carry, bool saved) const {
        for (const CounterCase& counter : kCounters) {
            const bool own = &counter.of(A()) == &Counter();
            EXPECT_EQ(counter.of(A()).carry, own ? carry : 0) << counter.carryKey;
            EXPECT_EQ(KeptByKey(settings_, QString::fromLatin1(counter.carryKey), u"-"_s, u"1"_s),
                      own && saved ? QString::number(carry) : u"-"_s)
                << counter.carryKey;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Measurement, EveryCounter, testing::ValuesIn(kCounters),
                         [](const auto& test) { return test.param.carryKey; });

TEST_P(EveryCounter, GivesWattsFromTheSecondPacketOnAndLosesNoneWithinASecond) {
    const std::tuple<std::uint32_t, double, std::optional<int>, std::optional<int>> steps[] = {
        {100, 70'000, std::nullopt, std::nullopt},
        {108, 78'000, 1000, 1000},
        {116, 80'004, 251, 251},           // 250.5 W
        {116, 81'004, std::nullopt, 251},  // the same second again
        {120, 84'004, 1000, 1000},
        {121, 4'284'967'295, std::nullopt, 1000},  // more than any power
        {122, 4'284'967'595, 300, 300},
    };
    for (const auto& [seconds, value, watts, lastWatts] : steps) {
        Count(seconds, value);
        EXPECT_EQ(Counter().watts, watts) << value;
        EXPECT_EQ(Counter().lastWatts, lastWatts) << value;
        EXPECT_EQ(Counter().current, value);
        for (const CounterCase& counter : kCounters) {
            EXPECT_EQ(counter.of(A()).lastWatts.value_or(0),
                      &counter.of(A()) == &Counter() ? Counter().lastWatts.value_or(0) : 0);
        }
    }
    EXPECT_FALSE(A().counterReset);
}

TEST_P(EveryCounter, RaisesItsOwnCarryAtAWrapAndSavesItAtOnce) {
    Count(100, Top() - 7000);
    Count(108, 1000);
    EXPECT_EQ(Counter().watts, 1000);
    ExpectOnlyCarry(1, true);
    EXPECT_EQ(Counter().Kwh(), (Top() + 1000) / 3'600'000);
    EXPECT_FALSE(A().counterReset);
}

TEST_P(EveryCounter, StartsAnewWhenItFellBackWithoutAWrap) {
    Count(100, 1'000'000);
    Count(108, 900'000);
    EXPECT_EQ(Counter().watts, std::nullopt);
    EXPECT_TRUE(A().counterReset);
    Count(116, 908'000);
    EXPECT_EQ(Counter().watts, 1000);
    ExpectOnlyCarry(0, false);
}

TEST_P(EveryCounter, ReportsACarryThatCannotRise) {
    Set(Key(), u"32766"_s, u"1"_s);
    for (const std::uint32_t seconds : {100U, 200U}) {
        EXPECT_TRUE(errorLog_.Load().lines.empty());
        Count(seconds, Top() - 7000);
        Count(seconds + 8, 1000);
        ExpectOnlyCarry(32767, true);
    }
    const QStringList log = errorLog_.Load().lines;
    ASSERT_EQ(log.size(), 1);
    EXPECT_TRUE(log[0].startsWith(u"6\tOverflow\t"_s)) << log[0].toStdString();
    EXPECT_TRUE(log[0].contains(Key())) << log[0].toStdString();
}

TEST_P(EveryCounter, CountsTheCarryOfItsSlotInTheEnergy) {
    Set(Key(), u"3"_s, u"1"_s);
    Set(Key(), u"9"_s, u"2"_s);
    StartMeasurement();
    Count(100, 7200);
    EXPECT_EQ(Counter().Kwh(), (3 * Top() + 7200) / 3'600'000);
    Set(Key(), u"0"_s, u"1"_s);  // as the user's reset of accumulated values does
    EXPECT_EQ(Counter().Kwh(), 0.002);
    EXPECT_EQ(GetParam().of(Of(2)).carry, 9);
}

}  // namespace
}  // namespace corvane
