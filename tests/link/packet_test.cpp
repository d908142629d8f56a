#include "link/packet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "support/packets.h"

namespace corvane {
namespace {

constexpr std::uint64_t kMost40 = 1099511627775;
constexpr std::uint64_t kMost32 = 4294967295;
constexpr std::uint64_t kMost24 = 16777215;

/// Every field holds something else, and no two bytes of a field are alike.
MonitorState Distinct(Model model) {
    return {.model = model,
            .voltTenths = 0x0102,
            .ch1Absolute = 0x1514131211,
            .ch2Absolute = 0x2524232221,
            .ch1Polarized = 0x3534333231,
            .ch2Polarized = 0x4544434241,
            .serialNumber = 0x5251,
            .flags = 0x61,
            .unitId = 0x71,
            .ch1Hundredths = 0x8281,
            .ch2Hundredths = 0x9291,
            .seconds = 0xA3A2A1,
            .aux = {0xB4B3B2B1, 0xC4C3C2C1, 0xD4D3D2D1, 0xE4E3E2E1, 0xF4F3F2F1},
            .auxiliary = 0x0706};
}

std::vector<std::pair<Field, std::uint64_t>> FieldsOf(const MonitorState& state) {
    std::vector<std::pair<Field, std::uint64_t>> fields = {
        {Field::Voltage, state.voltTenths},
        {Field::Ch1Absolute, state.ch1Absolute},
        {Field::Ch2Absolute, state.ch2Absolute},
        {Field::Ch1Polarized, state.ch1Polarized},
        {Field::Ch2Polarized, state.ch2Polarized},
        {Field::SerialNumber, state.serialNumber},
        {Field::Flags, state.flags},
        {Field::UnitId, state.unitId},
        {Field::Ch1Current, state.ch1Hundredths},
        {Field::Ch2Current, state.ch2Hundredths},
        {Field::Seconds, state.seconds},
    };
    if (state.model == Model::FiveChannel) {
        for (std::size_t i = 0; i < state.aux.size(); ++i)
            fields.emplace_back(AuxField(i), state.aux[i]);
        fields.emplace_back(Field::Auxiliary, state.auxiliary);
    }
    return fields;
}

class BothKinds : public testing::TestWithParam<Model> {};

INSTANTIATE_TEST_SUITE_P(Packet, BothKinds, testing::Values(Model::TwoChannel, Model::FiveChannel),
                         [](const auto& test) {
                             return test.param == Model::TwoChannel ? "TwoChannel" : "FiveChannel";
                         });

TEST_P(BothKinds, DecodesEveryFieldFromItsPlace) {
    const MonitorState state = Distinct(GetParam());
    const Bytes bytes = PacketOf(state);
    const RealtimePacket packet = DecodePacket(2, bytes);
    EXPECT_EQ(packet.source, 2);
    EXPECT_EQ(packet.kind, GetParam() == Model::FiveChannel ? &kFiveChannel : &kTwoChannel);
    EXPECT_TRUE(std::ranges::equal(packet.bytes, bytes));
    for (const auto& [field, raw] : FieldsOf(state))
        EXPECT_EQ(packet.Raw(field), raw) << Layout(field).name;
}

TEST_P(BothKinds, EncodesEveryFieldIntoItsPlace) {
    const MonitorState state = Distinct(GetParam());
    const Bytes expected = PacketOf(state);
    Bytes bytes(expected.size(), 0);
    std::copy_n(expected.begin(), kHeaderLength, bytes.begin());
    for (const auto& [field, raw] : FieldsOf(state))
        EncodeField(bytes, field, raw);
    bytes.back() = PacketChecksum(bytes);
    EXPECT_EQ(bytes, expected);
}

TEST_P(BothKinds, HoldsTheLargestCountsExactly) {
    MonitorState state = {.model = GetParam()};
    state.ch1Absolute = state.ch2Absolute = state.ch1Polarized = state.ch2Polarized = kMost40;
    state.seconds = kMost24;
    state.aux.fill(kMost32);
    const Bytes bytes = PacketOf(state);
    const RealtimePacket packet = DecodePacket(0, bytes);
    for (const Field field :
         {Field::Ch1Absolute, Field::Ch2Absolute, Field::Ch1Polarized, Field::Ch2Polarized}) {
        EXPECT_EQ(packet.Value(field), 1099511627775.0) << Layout(field).name;
    }
    EXPECT_EQ(packet.Value(Field::Seconds), 16777215.0);
    for (std::size_t i = 0; i < kAuxChannels; ++i)
        EXPECT_EQ(packet.Value(AuxField(i)), GetParam() == Model::FiveChannel ? 4294967295.0 : 0.0);
}

TEST(Packet, OfTwoChannelsHasNothingBehindTheSecondsCounter) {
    MonitorState state = Distinct(Model::TwoChannel);
    Bytes bytes = PacketOf(state);
    bytes[40] = bytes[41] = 0xAA;
    const RealtimePacket packet = DecodePacket(0, bytes);
    for (std::size_t i = 0; i < kAuxChannels; ++i)
        EXPECT_EQ(packet.Raw(AuxField(i)), 0U);
    EXPECT_EQ(packet.Raw(Field::Auxiliary), 0U);
}

TEST(Packet, EncodingCutsOffWhatHasNoRoom) {
    Bytes bytes(65, 0);
    EncodeField(bytes, Field::Ch1Absolute, kMost40 + 6);
    EXPECT_EQ(DecodePacket(0, bytes).Raw(Field::Ch1Absolute), 5U);
    EXPECT_EQ(DecodePacket(0, bytes).Raw(Field::Ch2Absolute), 0U);
}

TEST(Packet, ValuesAreInVoltsAndAmperes) {
    const Bytes bytes = PacketOf({.voltTenths = 1213, .ch1Hundredths = 1234, .ch2Hundredths = 65535});
    const RealtimePacket packet = DecodePacket(0, bytes);
    EXPECT_EQ(packet.Value(Field::Voltage), 121.3);
    EXPECT_EQ(packet.Value(Field::Ch1Current), 12.34);
    EXPECT_EQ(packet.Value(Field::Ch2Current), 655.35);
}

TEST(Packet, SerialTextIsTheUnitIdAndFiveDigits) {
    const struct {
        std::uint8_t unitId;
        std::uint16_t serialNumber;
        const char* text;
    } cases[] = {
        {0, 0, "000000"},       {0, 7, "000007"},      {3, 1234, "301234"},
        {12, 40000, "1240000"}, {100, 10, "10000010"}, {255, 65535, "25565535"},
    };
    for (const auto& c : cases) {
        for (const Model model : {Model::TwoChannel, Model::FiveChannel}) {
            const Bytes bytes =
                PacketOf({.model = model, .serialNumber = c.serialNumber, .unitId = c.unitId});
            EXPECT_EQ(DecodePacket(0, bytes).SerialText(), c.text);
        }
    }
}

TEST(Packet, OnlyAZeroChecksumByteCanBeRefused) {
    int refused = 0;
    for (int sum = 0; sum < 256; ++sum) {
        for (int checksum = 0; checksum < 256; ++checksum) {
            const bool wrong = checksum == 0 && sum >= 1 && sum <= 253;
            ASSERT_EQ(IsAccepted(sum, checksum), !wrong) << "sum " << sum << " checksum " << checksum;
            if (wrong) ++refused;
        }
    }
    EXPECT_EQ(refused, 253);
}

TEST(Packet, ChecksumIsTheSumOfAllBytesInFrontOfIt) {
    EXPECT_EQ(PacketChecksum(Bytes{0xFE, 0xFF, 0x03, 0x77}), 0);
    EXPECT_EQ(PacketChecksum(Bytes{0xFE, 0xFF, 0x01, 0x77}), 254);
    EXPECT_EQ(PacketChecksum(Bytes{0xFE, 0xFF, 0x01, 0x03, 0x77}), 1);
}

}  // namespace
}  // namespace corvane
