#include "measure/pulse_counters.h"

#include <gmock/gmock.h>

#include <tuple>

#include "measure/measurement_fixture.h"
#include "measure/virtual_texts.h"
#include "support/scripted_operator.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class PulseCountersTest : public MeasurementFixture {
protected:
    PulseCountersTest() { measurement_->AddSink(pulses_); }

    void SwitchOn(const QString& source, const QString& flowType, const QString& period, const QString& k) {
        EXPECT_TRUE(pulses_.SetUp(1, source, flowType, period, k));
        Set(u"EnablePulseCnt"_s, u"True"_s, u"1"_s);
    }

    void Pulses(std::uint32_t seconds, std::uint32_t count) {
        Send({.seconds = seconds, .aux = {7, count, 7, 7, 7}});
    }

    Outcome Enable(bool enabled) { return QCoro::waitFor(pulses_.SetEnabled(1, enabled, op_)); }
    Outcome Preset() { return QCoro::waitFor(pulses_.PresetTotal(1, op_)); }

    ScriptedOperator op_;
    PulseCounters pulses_{settings_};
};

TEST_F(PulseCountersTest, EveryUnitHasItsWordsAndItsRate) {
    const std::tuple<int, const char*, const char*, const char*, const char*> units[] = {
        {0, "minute", "CuFt/Min", "Flow 3.00 CFM, 2.00 CuFt", "/flow_cfm.html"},
        {0, "hour", "CuFt/Hr", "Flow 180.00 CFH, 2.00 CuFt", "/flow_cfh.html"},
        {1, "minute", "CuMetre/Min", "Flow 3.00 m(3)/min, 2.00 m(3)", "/flow_cmm.html"},
        {1, "hour", "CuMetre/Hr", "Flow 180.00 m(3)/hr, 2.00 m(3)", "/flow_cmh.html"},
        {2, "minute", "GPM", "Flow 3.00 GPM, 2.00 Gals", "/flow_gpm.html"},
        {2, "HOUR", "GPH", "Flow 180.00 GPH, 2.00 Gals", "/flow_gph.html"},
        {3, "minute", "LPM", "Flow 3.00 LPM, 2.00 Litres", "/flow_lpm.html"},
        {3, "hour", "LPH", "Flow 180.00 LPH, 2.00 Litres", "/flow_lph.html"},
    };
    std::uint32_t seconds = 1000;
    for (const auto& [type, period, rate, text, page] : units) {
        SwitchOn(u"aux2"_s, QString::number(type), QString::fromLatin1(period), u"0.1"_s);
        Pulses(seconds += 10, 16);
        Pulses(seconds += 8, 20);  // 4 pulses in 8 seconds
        EXPECT_EQ(FlowText(pulses_.Readings(1).value()).toStdString(), text);
        EXPECT_STREQ(pulses_.Setup(1).Unit().page, page);
        EXPECT_EQ(KeptByKey(settings_, u"FlowUnits"_s, {}, u"1"_s).toStdString(), rate);
    }
}

TEST_F(PulseCountersTest, TheRateFollowsTheCounterAndStartsAnewWhereItFell) {
    SwitchOn(u"AUX2"_s, u"2"_s, u"minute"_s, u"0.5"_s);
    EXPECT_FALSE(pulses_.Readings(1).has_value());
    const struct {
        std::uint32_t seconds, count;
        double rate, total;
    } steps[] = {
        {100, 1000, 0, 500},  {110, 1006, 18, 503},
        {120, 1006, 0, 503},  {120, 1010, 0, 503},  // the same second: calculated with the next packet
        {130, 1012, 18, 506}, {140, 4, 0, 2},
        {150, 6, 6, 3},       {16'777'000, 9, 0.0000054, 4.5},
        {5, 20, 0, 10},  // the monitor restarted
    };
    for (const auto& step : steps) {
        Pulses(step.seconds, step.count);
        EXPECT_NEAR(pulses_.Readings(1)->rate, step.rate, 1e-6) << step.seconds;
        EXPECT_EQ(pulses_.Readings(1)->total, step.total) << step.seconds;
    }
    Set(u"PulseSource"_s, u"AUX1"_s, u"1"_s);
    EXPECT_FALSE(pulses_.Readings(1).has_value()) << "of another input nothing is known";
    Send({.model = Model::TwoChannel, .seconds = 15});
    EXPECT_FALSE(pulses_.Readings(1).has_value());
}

TEST_F(PulseCountersTest, ThePresetTotalCountsOnAlsoAfterARestart) {
    SwitchOn(u"AUX2"_s, u"3"_s, u"minute"_s, u"0.1"_s);
    Pulses(100, 50);
    Pulses(105, 50);
    op_.WillEnter("Preset To:", u"12.5"_s);
    EXPECT_EQ(Preset().Error(),
              u"At least one pulse must be received after starting this program before this function can be "
              "used. Please try again after receiving a pulse."_s);
    Pulses(110, 51);
    op_.WillEnter("Preset To:", u"abc"_s);
    EXPECT_EQ(Preset().Error(), u"You must use a numeric value"_s);
    EXPECT_NEAR(pulses_.Readings(1)->total, 5.1, 1e-9);
    op_.WillEnter("Preset To:", u"12.5"_s);
    EXPECT_TRUE(Preset());
    op_.WillEnter("Preset To:", std::nullopt);
    EXPECT_TRUE(Preset());
    Pulses(120, 71);
    EXPECT_EQ(pulses_.Readings(1)->total, 14.5);
    EXPECT_EQ(KeptByKey(settings_, u"CountRefVal"_s, {}, u"1"_s), u"51"_s);
    EXPECT_EQ(KeptByKey(settings_, u"CountRefSec"_s, {}, u"1"_s), u"110"_s);

    PulseCounters restarted(settings_);
    measurement_->AddSink(restarted);
    Pulses(130, 81);
    EXPECT_EQ(restarted.Readings(1)->total, 15.5);
}

TEST_F(PulseCountersTest, TheSwitchNeedsASourceAndAsks) {
    EXPECT_EQ(Enable(true).Error(), u"Source device must be selected."_s);
    EXPECT_TRUE(pulses_.SetUp(1, u"AUX4"_s, u"0"_s, u"hour"_s, u"0.25"_s));
    for (const auto& [answer, enable, after] : {std::tuple{Answer::No, true, false},
                                                {Answer::Yes, true, true},
                                                {Answer::No, false, true},
                                                {Answer::Yes, false, false}}) {
        op_.WillAnswer(enable ? "Are you sure you wish to enable pulse counting for this device?"
                              : "Are you sure you wish to disable pulse counting for this device?",
                       answer);
        EXPECT_TRUE(Enable(enable));
        EXPECT_EQ(pulses_.Setup(1).enabled, after);
    }
    EXPECT_FALSE(pulses_.Setup(2).channel.has_value());

    QString problem;
    QObject::connect(&settings_, &SettingsStore::Problem,
                     [&problem](const QString& text) { problem = text; });
    Set(u"CountK"_s, u"-1"_s, u"1"_s);
    EXPECT_EQ(problem, u"The setting CountK is \"-1\", which is no number for it; 1 is used."_s);
    EXPECT_EQ(pulses_.Setup(1).countK, 1);
}

}  // namespace
}  // namespace corvane
