#include "link/packet.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "link/raw_view.h"
#include "support/packets.h"

namespace corvane {
namespace {

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

/// The counts of `state` in the order of `Field`.
std::vector<std::uint64_t> CountsOf(const MonitorState& s) {
    std::vector<std::uint64_t> counts = {s.voltTenths,    s.ch1Absolute,   s.ch2Absolute, s.ch1Polarized,
                                         s.ch2Polarized,  s.serialNumber,  s.flags,       s.unitId,
                                         s.ch1Hundredths, s.ch2Hundredths, s.seconds};
    if (s.model == Model::FiveChannel) {
        counts.insert(counts.end(), s.aux.begin(), s.aux.end());
        counts.push_back(s.auxiliary);
    }
    return counts;
}

TEST(Packet, EveryFieldIsDecodedFromItsPlaceAndEncodedIntoIt) {
    for (const Model model : {Model::TwoChannel, Model::FiveChannel}) {
        const MonitorState state = Distinct(model);
        const Bytes bytes = PacketOf(state);
        const RealtimePacket packet = DecodePacket(2, bytes);
        EXPECT_EQ(packet.source, 2);
        EXPECT_EQ(packet.model, model == Model::FiveChannel ? &kFiveChannel : &kTwoChannel);
        EXPECT_TRUE(std::ranges::equal(packet.bytes, bytes));
        Bytes encoded(bytes.size(), 0);
        std::copy_n(bytes.begin(), kHeaderLength, encoded.begin());
        // A two-channel packet has nothing behind the seconds counter, whatever stands there.
        for (std::size_t i = CountsOf(state).size(); i < kPacketFields.size(); ++i)
            EXPECT_EQ(packet.Raw(static_cast<Field>(i)), 0U) << kPacketFields[i].name;
        const auto counts = CountsOf(state);
        for (std::size_t i = 0; i < counts.size(); ++i) {
            EXPECT_EQ(packet.Raw(static_cast<Field>(i)), counts[i]) << kPacketFields[i].name;
            EncodeField(encoded, static_cast<Field>(i), counts[i] + (1ULL << 40));  // no room: cut off
        }
        encoded.back() = PacketChecksum(encoded);
        EXPECT_EQ(encoded, bytes);
    }
}

TEST(Packet, ValuesAreInVoltsAndAmperesAndTheLargestCountIsExact) {
    const Bytes bytes = PacketOf(
        {.voltTenths = 1213, .ch1Absolute = 1099511627775, .ch1Hundredths = 1234, .ch2Hundredths = 65535});
    const RealtimePacket packet = DecodePacket(0, bytes);
    EXPECT_EQ(packet.Value(Field::Voltage), 121.3);
    EXPECT_EQ(packet.Value(Field::Ch1Absolute), 1099511627775.0);
    EXPECT_EQ(packet.Value(Field::Ch1Current), 12.34);
    EXPECT_EQ(packet.Value(Field::Ch2Current), 655.35);
}

TEST(Packet, OnlyAZeroChecksumByteCanBeRefused) {
    for (int sum = 0; sum < 256; ++sum) {
        for (int checksum = 0; checksum < 256; ++checksum) {
            const bool wrong = checksum == 0 && sum >= 1 && sum <= 253;
            ASSERT_EQ(IsAccepted(sum, checksum), !wrong) << "sum " << sum << " checksum " << checksum;
        }
    }
}

TEST(RawView, TakesPacketsApartWhateverTheirChecksumAndShowsTheRestAsBytes) {
    Bytes refused = PacketOf({.model = Model::TwoChannel});
    refused.back() = 0;
    const Bytes cut = {0xFE, 0xFF, 0x03, 0xA9};
    std::string stream(17, '\x0F');
    for (const Bytes& bytes : {refused, PacketOf({.ch1Hundredths = 1050}), cut})
        stream.append(bytes.begin(), bytes.end());
    const std::vector<std::string> lines = RawView(stream);
    ASSERT_EQ(lines.size(), 2U + (1 + 11 + 1) + (1 + kPacketFields.size() + 1) + 1);
    EXPECT_EQ(lines[0], "0F 0F 0F 0F 0F 0F 0F 0F 0F 0F 0F 0F 0F 0F 0F 0F");
    EXPECT_EQ(lines[1], "0F");
    EXPECT_EQ(lines[2], "VRQ-5806 packet, serial text 301234, refused by its checksum");
    EXPECT_EQ(lines[3], "  line voltage        04 B5           120.5 V");
    EXPECT_EQ(lines[8], "  serial number       D2 04           1234");
    EXPECT_EQ(lines[14], "  checksum            00");
    EXPECT_EQ(lines[15], "VRQ-5810 packet, serial text 301234");
    EXPECT_EQ(lines[24], "  CH1 current         1A 04           10.5 A");
    EXPECT_EQ(lines.back(), "FE FF 03 A9");
}

}  // namespace
}  // namespace corvane
