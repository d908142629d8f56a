#include "measure/heard_monitors.h"

#include <gmock/gmock.h>

#include <vector>

#include "measure/measurement_fixture.h"
#include "support/data_lines.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class HeardMonitorsTest : public MeasurementFixture {
protected:
    HeardMonitorsTest() {
        measurement_->AddSink(heard_);
        for (const auto told : {&HeardMonitors::Noted, &HeardMonitors::Doubted})
            QObject::connect(&heard_, told,
                             [this](const QString& text) { noted_.push_back(text.toStdString()); });
    }

    std::vector<std::string> Take() { return std::exchange(noted_, {}); }

    HeardMonitors heard_{slots_, *measurement_, settings_};
    std::vector<std::string> noted_;
};

TEST_F(HeardMonitorsTest, TheLinkOfADeviceFollowsItsPackets) {
    std::uint32_t seconds = 0;
    EXPECT_EQ(slots_.LinkIndex(1), 0);
    EXPECT_EQ(heard_.LinkOf(1), std::nullopt);
    // After so many seconds a packet on a stream; what is noted then, and the link of the device.
    for (const DataLine& line : CasesOf("LinkFollows")) {
        clock_.AdvanceSeconds(line.Column(0).toInt());
        measurement_->DisplayData(line.Column(1).toInt(), PacketOf({.seconds = ++seconds}));
        EXPECT_EQ(slots_.LinkIndex(1), line.Column(2).toInt()) << line;
        EXPECT_EQ(heard_.LinkOf(1), slots_.LinkIndex(1)) << line;
        const auto noted = Take();
        EXPECT_EQ(noted.empty() ? "" : noted.front(), line.Word(3)) << line;
    }
    Set(u"BindDeviceA"_s, u"3"_s);
    EXPECT_EQ(heard_.LinkOf(1), std::nullopt) << "chosen by hand: it holds until a packet comes";
}

TEST_F(HeardMonitorsTest, WhatTwoMonitorsWithOneSerialNumberBringAboutIsSaidOnce) {
    for (std::uint32_t i = 0; i < 10; ++i) {
        clock_.AdvanceSeconds(5);
        Send({.seconds = i % 2 == 0 ? 1000 + i : 90'000 + i});
    }
    auto noted = Take();
    ASSERT_EQ(noted.size(), 2U);
    EXPECT_THAT(noted.back(), testing::HasSubstr("its seconds step back again and again"));
    for (const Model model : {Model::TwoChannel, Model::FiveChannel, Model::TwoChannel})
        Send({.model = model, .seconds = 100'000});
    EXPECT_THAT(Take(),
                testing::ElementsAre("Monitor 301234 of Device A is a VRQ-5806 now and was a VRQ-5810. "
                                     "Where it was not replaced, there are two with this serial number: "
                                     "give one of them another."));
    Set(u"DevSerial"_s, u"301235"_s, u"0"_s);
    Set(u"DevSerial"_s, u"301234"_s, u"0"_s);
    for (const std::uint32_t seconds : {5000U, 10U, 5000U, 10U})
        Send({.seconds = seconds});
    EXPECT_THAT(Take(), testing::IsEmpty()) << "a monitor may begin again twice";
}

}  // namespace
}  // namespace corvane
