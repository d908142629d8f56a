#include "support/third_model.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "measure/channel_groups.h"
#include "measure/measurement_fixture.h"
#include "measure/pulse_counters.h"
#include "measure/readings_document.h"
#include "measure/virtual_channels.h"
#include "support/data_lines.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// A packet of the third model, laid out by hand.
Bytes ThreeChannelPacket(const MonitorState& state) {
    Bytes packet = PacketOf(state);
    packet.resize(47);
    packet[2] = 0xA7;
    // What is not read stands where another model has its AUX2.
    packet[44] = packet[45] = 0xEE;
    SetChecksum(packet);
    return packet;
}

class ThirdModelTest : public MeasurementFixture {
protected:
    ThirdModelTest() {
        measurement_ = std::make_unique<Measurement>(slots_, settings_, errorLog_, clock_, kWithThird);
        measurement_->AddSink(pulses_);
        framer_.emplace(*measurement_, kWithThird);
    }

    void Feed(const Bytes& bytes) {
        for (const std::uint8_t byte : bytes)
            framer_->ProcessByte(kStreamTcpB, byte);
    }

    [[nodiscard]] QJsonObject Device(qsizetype index) {
        const StoredEnergies stored(database_, slots_, clock_);
        const VirtualChannels virtualChannels(groups_, *measurement_, stored, settings_);
        return ReadingsDocument(*framer_, *measurement_, pulses_, virtualChannels, database_,
                                clock_)[u"devices"_s][index]
            .toObject();
    }

    std::optional<Framer> framer_;
    PulseCounters pulses_{settings_};
    ChannelGroups groups_{settings_};
};

TEST_F(ThirdModelTest, ItsPacketsAmongOthersBecomeReadingsOfItsChannels) {
    for (std::uint32_t i = 0; i < 2; ++i) {
        Feed(ThreeChannelPacket({.ch1Absolute = 1'000 + i * 800,
                                 .ch2Absolute = 2'000 + i * 1'600,
                                 .ch1Polarized = 500 + i * 200,
                                 .ch2Hundredths = 150,
                                 .seconds = 70 + i * 8,
                                 .aux = {3'000 + i * 400}}));
        Feed(PacketOf({.serialNumber = 5678, .unitId = 4, .seconds = 70 + i * 8, .aux = {0, i * 80}}));
        Feed(PacketOf({.model = Model::TwoChannel, .unitId = 9}));
    }
    EXPECT_EQ(framer_->GoodPackets(), 6U);
    EXPECT_EQ(framer_->BadPackets(), 0U);

    clock_.Jump(86400);  // of the clock on the wall, which tells no age
    clock_.AdvanceSeconds(20);
    QJsonObject device = Device(0);
    const QJsonArray channels = device.take(u"channels"_s).toArray();
    EXPECT_EQ(
        QJsonDocument(device).toJson(QJsonDocument::Compact).toStdString(),
        R"({"age":20,"elapsed":8,"lastPacket":"2026-03-02 10:20:30","model":"Made-up","online":true,"pulse":null,)"
        R"("seconds":78,"serial":"301234","slot":"A","stale":false,"volt":120.5})");
    const std::vector<DataLine> expected = CasesOf("ThirdModel");
    ASSERT_EQ(expected.size(), kChannels);
    for (std::size_t i = 0; i < kChannels; ++i) {
        const QJsonObject channel = channels[static_cast<qsizetype>(i)].toObject();
        QStringList texts;
        for (const QString& key : {u"name"_s, u"watts"_s, u"wattSeconds"_s, u"kwh"_s, u"wattsPolarized"_s,
                                   u"wattSecondsPolarized"_s, u"amps"_s}) {
            if (channel.contains(key))
                texts.append(channel[key].isNull() ? u"-"_s : channel[key].toVariant().toString());
        }
        EXPECT_EQ(texts.join(u' ').toStdString(), expected[i].Word(0));
    }
    EXPECT_EQ(Device(1)[u"model"_s], u"VRQ-5810"_s);
    EXPECT_EQ(Device(1)[u"channels"_s][3][u"watts"_s], 10);
}

TEST_F(ThirdModelTest, PulsesAreCountedOnAChannelThatItHas) {
    Set(u"EnablePulseCnt"_s, u"True"_s, u"1"_s);
    for (const auto& [source, counted] : {std::pair(u"AUX1"_s, true), std::pair(u"AUX2"_s, false)}) {
        Set(u"PulseSource"_s, source, u"1"_s);
        Feed(ThreeChannelPacket({.aux = {12}}));
        EXPECT_EQ(pulses_.Readings(1).has_value(), counted) << source.toStdString();
    }
}

TEST_F(ThirdModelTest, TheSettingOfTheSingleTwoChannelMonitorLeavesItsSerialText) {
    Set(u"VRQ5806"_s, u"True"_s);
    Feed(ThreeChannelPacket({}));
    EXPECT_TRUE(A().Seen());
    Feed(PacketOf({.model = Model::TwoChannel, .serialNumber = 5678, .unitId = 4}));
    EXPECT_FALSE(Of(2).Seen());
}

}  // namespace
}  // namespace corvane
