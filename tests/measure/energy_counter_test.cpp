#include "measure/measurement.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "measure/measurement_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr double kTop40 = 1099511627776.0;
constexpr double kTop32 = 4294967296.0;

/// One of the nine counters: how the monitor counts it, where it is read, and the key of its carry.
struct CounterCase {
    const char* name;
    const char* carryKey;
    double top;
    void (*set)(MonitorState&, std::uint64_t);
    const EnergyCounter& (*of)(const DeviceReadings&);
};

void PrintTo(const CounterCase& counter, std::ostream* out) {
    *out << counter.name;
}

template <std::size_t Aux>
constexpr CounterCase AuxCase(const char* name, const char* carryKey) {
    return {name, carryKey, kTop32,
            [](MonitorState& s, std::uint64_t value) { s.aux[Aux] = static_cast<std::uint32_t>(value); },
            [](const DeviceReadings& r) -> const EnergyCounter& { return r.channels[2 + Aux].absolute; }};
}

constexpr std::array<CounterCase, 9> kCounters = {{
    {"Ch1Absolute", "Roll1A", kTop40, [](MonitorState& s, std::uint64_t value) { s.ch1Absolute = value; },
     [](const DeviceReadings& r) -> const EnergyCounter& { return r.channels[0].absolute; }},
    {"Ch1Polarized", "Roll1P", kTop40, [](MonitorState& s, std::uint64_t value) { s.ch1Polarized = value; },
     [](const DeviceReadings& r) -> const EnergyCounter& { return r.channels[0].polarized; }},
    {"Ch2Absolute", "Roll2A", kTop40, [](MonitorState& s, std::uint64_t value) { s.ch2Absolute = value; },
     [](const DeviceReadings& r) -> const EnergyCounter& { return r.channels[1].absolute; }},
    {"Ch2Polarized", "Roll2P", kTop40, [](MonitorState& s, std::uint64_t value) { s.ch2Polarized = value; },
     [](const DeviceReadings& r) -> const EnergyCounter& { return r.channels[1].polarized; }},
    AuxCase<0>("Aux1", "Roll3"),
    AuxCase<1>("Aux2", "Roll4"),
    AuxCase<2>("Aux3", "Roll5"),
    AuxCase<3>("Aux4", "Roll6"),
    AuxCase<4>("Aux5", "Roll7"),
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

    /// The carries of slot A in the settings that are there, as "key=value".
    [[nodiscard]] std::vector<std::string> SavedCarries() const {
        std::vector<std::string> saved;
        for (const CounterCase& counter : kCounters) {
            const QString key = QString::fromLatin1(counter.carryKey);
            const QString value = settings_.GetSetting(key, {}, u"1"_s);
            if (!value.isEmpty()) saved.push_back((key + u'=' + value).toStdString());
        }
        return saved;
    }
    [[nodiscard]] static std::string Saved(int carry) {
        return std::string(GetParam().carryKey) + "=" + std::to_string(carry);
    }
};

INSTANTIATE_TEST_SUITE_P(Measurement, EveryCounter, testing::ValuesIn(kCounters),
                         [](const auto& test) { return test.param.name; });

TEST_P(EveryCounter, GivesNoWattsAtFirstAndExactOnesThen) {
    Count(100, 70'000);
    EXPECT_EQ(Counter().watts, std::nullopt);
    EXPECT_EQ(Counter().lastWatts, std::nullopt);
    EXPECT_TRUE(A().restart);
    Count(108, 78'000);
    EXPECT_EQ(A().elapsed, 8);
    EXPECT_FALSE(A().restart);
    Count(116, 80'004);  // 250.5 W
    for (const CounterCase& counter : kCounters) {
        const int expected = counter.of(A()).current == 5000 ? 0 : 251;
        EXPECT_EQ(counter.of(A()).watts, expected) << counter.name;
        EXPECT_EQ(counter.of(A()).lastWatts, expected) << counter.name;
    }
    EXPECT_FALSE(A().counterReset);
}

TEST_P(EveryCounter, GivesNoneForASecondPacketOfTheSameSecondAndLosesNoEnergy) {
    Count(100, 70'000);
    Count(108, 78'000);
    Count(108, 79'000);
    EXPECT_EQ(Counter().watts, std::nullopt);
    EXPECT_EQ(Counter().lastWatts, 1000);
    EXPECT_EQ(Counter().current, 79'000);
    Count(112, 82'000);
    EXPECT_EQ(Counter().watts, 1000);
}

TEST_P(EveryCounter, RaisesItsOwnCarryAtAWrapAndSavesItAtOnce) {
    Count(100, Top() - 7000);
    Count(108, 1000);
    EXPECT_EQ(Counter().watts, 1000);
    EXPECT_EQ(Counter().carry, 1);
    EXPECT_EQ(SavedCarries(), (std::vector<std::string>{Saved(1)}));
    EXPECT_EQ(Counter().Kwh(), (Top() + 1000) / 3'600'000);
    EXPECT_FALSE(A().counterReset);
    for (const CounterCase& counter : kCounters) {
        if (&counter.of(A()) == &Counter()) continue;
        EXPECT_EQ(counter.of(A()).carry, 0) << counter.name;
    }
    Count(116, 9000);
    EXPECT_EQ(Counter().watts, 1000);
    EXPECT_EQ(Counter().carry, 1);
}

TEST_P(EveryCounter, StartsAnewWhenItFellBackWithoutAWrap) {
    const double limit = Top() == kTop40 ? 48'500 : 32'500;
    const struct {
        double before;
        double after;
    } cases[] = {{1'000'000, 900'000}, {1'000'000, 0}, {Top() - 8, 0}, {Top() - 8, 8 * (limit - 1)}};
    std::uint32_t seconds = 100;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.before);
        StartMeasurement();
        Count(seconds += 8, c.before);
        Count(seconds += 8, c.after);
        EXPECT_EQ(Counter().watts, std::nullopt);
        EXPECT_EQ(Counter().carry, 0);
        EXPECT_TRUE(A().counterReset);
        EXPECT_EQ(Counter().Kwh(), c.after / 3'600'000);
        Count(seconds += 8, c.after + 8000);
        EXPECT_EQ(Counter().watts, 1000);
        EXPECT_EQ(SavedCarries(), std::vector<std::string>());
    }
}

TEST_P(EveryCounter, ReportsACarryThatCannotRise) {
    Set(QString::fromLatin1(GetParam().carryKey), u"32766"_s, u"1"_s);
    Count(100, Top() - 7000);
    Count(108, 1000);
    EXPECT_EQ(Counter().carry, 32767);
    EXPECT_TRUE(errorLog_.Load().lines.empty());
    Count(116, Top() - 7000);
    Count(124, 1000);
    EXPECT_EQ(Counter().carry, 32767);
    EXPECT_EQ(SavedCarries(), (std::vector<std::string>{Saved(32767)}));
    const QStringList log = errorLog_.Load().lines;
    ASSERT_EQ(log.size(), 1);
    EXPECT_TRUE(log[0].startsWith(u"6\tOverflow\t"_s)) << log[0].toStdString();
    EXPECT_TRUE(log[0].contains(QString::fromLatin1(GetParam().carryKey))) << log[0].toStdString();
}

TEST_P(EveryCounter, CountsItsCarryInTheEnergy) {
    const QString key = QString::fromLatin1(GetParam().carryKey);
    Set(key, u"3"_s, u"1"_s);
    StartMeasurement();
    Count(100, 7200);
    EXPECT_EQ(Counter().Lifetime(), 3 * Top() + 7200);
    EXPECT_EQ(Counter().Kwh(), (3 * Top() + 7200) / 3'600'000);
    Set(key, u"0"_s, u"1"_s);  // as the user's reset of accumulated values does
    EXPECT_EQ(Counter().Kwh(), 0.002);
    EXPECT_EQ(GetParam().of(Of(2)).carry, 0);
    Set(key, u"9"_s, u"2"_s);
    EXPECT_EQ(Counter().carry, 0);
    EXPECT_EQ(GetParam().of(Of(2)).carry, 9);
}

}  // namespace
}  // namespace corvane
