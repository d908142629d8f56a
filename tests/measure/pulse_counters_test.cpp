#include "measure/pulse_counters.h"

#include <gmock/gmock.h>

#include "measure/measurement_fixture.h"
#include "measure/virtual_texts.h"
#include "support/data_lines.h"
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
    std::uint32_t seconds = 1000;
    for (const DataLine& line : CasesOf("FlowUnits")) {
        SwitchOn(u"aux2"_s, line.Column(0), line.Column(1), u"0.1"_s);
        Pulses(seconds += 10, 16);
        Pulses(seconds += 8, 20);  // 4 pulses in 8 seconds
        EXPECT_EQ(FlowText(pulses_.Readings(1).value()).toStdString(), line.Word(3));
        EXPECT_EQ(pulses_.Setup(1).Unit().page, line.Word(4));
        EXPECT_EQ(KeptByKey(settings_, u"FlowUnits"_s, {}, u"1"_s), line.Column(2));
    }
}

TEST_F(PulseCountersTest, TheRateFollowsTheCounterAndStartsAnewWhereItFell) {
    SwitchOn(u"AUX2"_s, u"2"_s, u"minute"_s, u"0.5"_s);
    EXPECT_FALSE(pulses_.Readings(1).has_value());
    Pulses(1, 4'000'000'000);
    pulses_.Forget(1);  // another monitor is at the slot
    EXPECT_FALSE(pulses_.Readings(1).has_value());
    for (const DataLine& line : CasesOf("FlowRate")) {
        Pulses(static_cast<std::uint32_t>(line.Number(0)), static_cast<std::uint32_t>(line.Number(1)));
        EXPECT_NEAR(pulses_.Readings(1)->rate, line.Number(2), 1e-6) << line;
        EXPECT_EQ(pulses_.Readings(1)->total, line.Number(3)) << line;
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
    EXPECT_EQ(problem, u"The setting CountK is \"-1\", not a number for it; 1 is used."_s);
    EXPECT_EQ(pulses_.Setup(1).countK, 1);
}

}  // namespace
}  // namespace corvane
