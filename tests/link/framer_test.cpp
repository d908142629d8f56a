#include "link/framer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "support/received_packets.h"

namespace corvane {
namespace {

using Framed = std::pair<int, Bytes>;  ///< stream and packet

/// Notes among the received packets, under the stream -10 and less, what was forwarded to it.
struct Destination final : PacketDestination {
    Destination(NotedPackets& recorder, int number) : recorder_(recorder), stream_(-10 - number) {}
    void Forward(std::span<const std::uint8_t> packet) override { recorder_.DisplayData(stream_, packet); }

    NotedPackets& recorder_;
    int stream_;
};

struct Result {
    std::vector<Bytes> packets;
    std::uint64_t bad = 0;
    bool operator==(const Result&) const = default;
};

Result Framing(const Bytes& bytes) {
    NotedPackets recorder;
    Framer framer(recorder);
    for (const std::uint8_t byte : bytes)
        framer.ProcessByte(0, byte);
    Result result;
    for (const auto& [stream, packet] : recorder.framed)
        result.packets.push_back(packet);
    result.bad = framer.BadPackets();
    EXPECT_EQ(framer.GoodPackets(), result.packets.size());
    return result;
}

/// What must come through, from the whole text at once: the first header, then as many bytes as its kind has,
/// taken unless their last one is 0 and their sum does not allow it, and so on behind them.
Result Expected(const Bytes& bytes) {
    Result result;
    std::size_t at = 0;
    while (at + 3 <= bytes.size()) {
        const bool header = bytes[at] == 0xFE && bytes[at + 1] == 0xFF && (bytes[at + 2] | 2) == 0x03;
        if (!header) {
            ++at;
            continue;
        }
        const std::size_t length = bytes[at + 2] == 0x03 ? 65 : 43;
        if (at + length > bytes.size()) break;
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        const Bytes packet(begin, begin + static_cast<std::ptrdiff_t>(length));
        const int sum = std::accumulate(packet.begin(), packet.end() - 1, 0) % 256;
        if (packet.back() == 0 && sum >= 1 && sum <= 253) {
            ++result.bad;
        } else {
            result.packets.push_back(packet);
        }
        at += length;
    }
    return result;
}

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// `serialNumber` tells packets apart. With `zeroSum` the bytes add up to a checksum byte of 0: only such a
/// packet is refused when it is damaged.
Bytes Packet(Model model, std::uint16_t serialNumber, bool zeroSum = false) {
    MonitorState state = {.model = model,
                          .ch1Absolute = 0x123456789A,
                          .ch2Polarized = 0xFEFF0100FE,
                          .serialNumber = serialNumber,
                          .ch1Hundredths = 512,
                          .seconds = 70000,
                          .aux = {1, 0x0203FFFE, 3, 4, 5}};
    if (zeroSum) state.flags = static_cast<std::uint8_t>(256 - PacketOf(state).back());
    return PacketOf(state);
}

/// All that may happen to the first byte of `rest` on the way.
std::vector<Bytes> Damages(const Bytes& front, const Bytes& rest) {
    const Bytes without(rest.begin() + 1, rest.end());
    std::vector<Bytes> ways = {front, front + without};  // cut off, and one byte lost
    for (unsigned bit = 1; bit < 256; bit *= 2)
        ways.push_back(front + Bytes{static_cast<std::uint8_t>(rest[0] ^ bit)} + without);
    for (const std::uint8_t gained : Bytes{0x00, 0x01, 0x03, 0xFE, 0xFF})
        ways.push_back(front + Bytes{gained} + rest);
    return ways;
}

TEST(Framer, FramesWhatIsLeftOfADamagedStream) {
    // A zero first: a packet that lost a byte takes it for its checksum byte, the one that can be refused.
    const Bytes behind = Bytes{0} + Packet(Model::FiveChannel, 12, true) + Packet(Model::TwoChannel, 13) +
                         Packet(Model::FiveChannel, 14);
    for (const Model model : {Model::TwoChannel, Model::FiveChannel}) {
        for (const bool zeroSum : {false, true}) {
            const Bytes packet = Packet(model, 11, zeroSum);
            std::uint64_t bad = 0;
            for (auto place = packet.begin(); place != packet.end(); ++place) {
                for (const Bytes& damaged :
                     Damages(Bytes(packet.begin(), place), Bytes(place, packet.end()))) {
                    const Result expected = Expected(damaged + behind);
                    ASSERT_EQ(Framing(damaged + behind), expected) << "at " << place - packet.begin();
                    bad += expected.bad;
                }
            }
            EXPECT_TRUE(bad > 0 || !zeroSum) << "no damage was ever noticed";
        }
    }
}

TEST(Framer, OfAStretchOf43BytesBetweenLongPacketsItsHeaderDecidesWhatIsTaken) {
    const Bytes a = PacketOf({.serialNumber = 1});
    const Bytes b = PacketOf({.serialNumber = 2});
    const Bytes last = PacketOf({.serialNumber = 4});
    const Bytes front(b.begin(), b.begin() + 43);
    // What is cut short is completed by 22 bytes of the packet behind, and judged by the last of them.
    const Bytes zero = PacketOf({.serialNumber = 3});
    const Bytes other = PacketOf({.ch2Polarized = 0x1234, .serialNumber = 3});
    const Bytes glued = front + Bytes(other.begin(), other.begin() + 22);
    const Bytes twoChannel = PacketOf({.model = Model::TwoChannel, .serialNumber = 2});
    const struct {
        const char* what;
        const Bytes& stretch;
        const Bytes& behind;
        Result expected;
    } cases[] = {{"a packet of the other model", twoChannel, zero, {{a, twoChannel, zero, last}}},
                 {"a packet without its end", front, other, {{a, glued, last}}},
                 {"a packet without its end, refused", front, zero, {{a, last}, 1}},
                 {"a packet without its beginning", {b.begin() + 22, b.end()}, zero, {{a, zero, last}}}};
    for (const auto& [what, stretch, behind, expected] : cases)
        EXPECT_EQ(Framing(a + stretch + behind + last), expected) << what;
}

class FramerTest : public testing::Test {
protected:
    void Feed(const Bytes& bytes, int stream = 0) {
        for (const std::uint8_t byte : bytes)
            framer_.ProcessByte(stream, byte);
    }

    NotedPackets recorder_;
    Framer framer_{recorder_};
};

TEST_F(FramerTest, APacketEndsWithItsLastByteAndAHeaderWithinItOpensNone) {
    EXPECT_EQ(framer_.LastModel(3), nullptr);
    Feed({0xFE, 0xFE, 0xFF, 0xFE, 0xFF, 0x02, 0xFF, 0x03, 0xFE}, 3);  // a header may start within it
    for (const Model model : {Model::TwoChannel, Model::FiveChannel}) {
        Bytes packet = Packet(model, 1);
        for (const std::size_t place : {5U, 24U, 39U})
            std::ranges::copy(Bytes{0xFE, 0xFF, 0x01}, packet.begin() + static_cast<std::ptrdiff_t>(place));
        SetChecksum(packet, 5);  // lenient: only a checksum byte of 0 can be wrong
        recorder_.framed.clear();
        Feed(Bytes(packet.begin(), packet.end() - 1), 3);
        EXPECT_TRUE(recorder_.framed.empty());
        framer_.ProcessByte(3, packet.back());
        EXPECT_EQ(recorder_.framed, (std::vector<Framed>{{3, packet}}));
        EXPECT_EQ(framer_.LastModel(3), model == Model::TwoChannel ? &kTwoChannel : &kFiveChannel);
    }
}

TEST_F(FramerTest, AHoldOpensNoPacketAndLeavesTheHeaderWindowButCollectsTheOpenOne) {
    const Bytes packet = Packet(Model::FiveChannel, 1);
    const Bytes next = Packet(Model::TwoChannel, 2);
    Feed({0xFE, 0xFF});
    framer_.SetPacketHold(0, true);
    Feed({0x03, 0x11, 0x22});  // ignored, not even seen by the window
    framer_.SetPacketHold(0, false);
    Feed({packet[2]});
    framer_.SetPacketHold(0, true);
    Feed(Bytes(packet.begin() + 3, packet.end()) + next);
    Feed(next, 1);  // another stream is not held
    EXPECT_EQ(recorder_.framed, (std::vector<Framed>{{0, packet}, {1, next}}));
    framer_.SetPacketHold(0, false);
    Feed(next);
    EXPECT_EQ(recorder_.framed.size(), 3U);
}

TEST_F(FramerTest, DestinationsGetThePacketAsItCameBeforeTheReceiver) {
    Destination first(recorder_, 0);
    Destination second(recorder_, 1);
    framer_.AddDestination(first);
    framer_.AddDestination(second);
    Bytes packet = Packet(Model::FiveChannel, 1);
    packet[62] = 0xAB;  // bytes without a meaning go along too
    SetChecksum(packet, 2);
    Bytes bad = Packet(Model::FiveChannel, 1, true);
    bad[30] ^= 0x10;
    Feed(packet + bad, 1);
    EXPECT_EQ(recorder_.framed, (std::vector<Framed>{{-10, packet}, {-11, packet}, {1, packet}}));
}

TEST_F(FramerTest, RawTextKeepsTheLatestBytesOfItsStreamAndIsBounded) {
    framer_.SetRawDisplay(0, true);
    framer_.SetPacketHold(0, true);
    framer_.ProcessByte(1, 1);
    std::string sent;
    for (std::size_t i = 0; i < 3 * Framer::kRawTextKept + 7; ++i) {
        const auto byte = static_cast<std::uint8_t>(i * i / 7);
        framer_.ProcessByte(0, byte);
        sent += static_cast<char>(byte);
        ASSERT_LE(framer_.RawText(0).size(), Framer::kRawTextKept);
    }
    EXPECT_GE(framer_.RawText(0).size(), Framer::kRawTextKept / 2);
    EXPECT_TRUE(sent.ends_with(framer_.RawText(0)));
    EXPECT_EQ(framer_.RawText(1), "");

    framer_.SetPacketHold(0, false);
    const Bytes packet = Packet(Model::FiveChannel, 1);
    Feed(Bytes(packet.begin(), packet.begin() + 30));
    framer_.SetRawDisplay(0, false);
    EXPECT_EQ(framer_.RawText(0), "");
    framer_.SetRawDisplay(0, true);
    Feed(Bytes(packet.begin() + 30, packet.end()));
    EXPECT_EQ(framer_.RawText(0), std::string(packet.begin() + 30, packet.end()));
    EXPECT_EQ(recorder_.framed, (std::vector<Framed>{{0, packet}}));
}

/// Holds the framer at every packet, until told to go on.
struct Waiting final : PacketDestination {
    explicit Waiting(Framer& framer) : framer_(framer) {}
    void Forward(std::span<const std::uint8_t>) override { framer_.Hold(); }
    Framer& framer_;
};

struct Source final : ByteSource {
    void SetReading(bool on) override { reading = on; }
    bool reading = true;
};

TEST_F(FramerTest, AHeldPacketGoesOnWhereItWasAndNothingThatCameMeanwhileIsLost) {
    Waiting first(framer_);
    Waiting second(framer_);
    Destination last(recorder_, 0);
    Source source;
    framer_.AddDestination(first);
    framer_.AddDestination(second);
    framer_.AddDestination(last);
    framer_.AddSource(source);
    framer_.SetRawDisplay(1, true);
    const Bytes a = Packet(Model::FiveChannel, 1);
    const Bytes b = Packet(Model::TwoChannel, 2);
    const Bytes c = Packet(Model::FiveChannel, 3);
    Feed(Bytes(b.begin(), b.begin() + 20), 1);
    Feed(a + c);
    Feed(Bytes(b.begin() + 20, b.begin() + 30), 1);
    framer_.SetRawDisplay(1, false);  // no shortcut past what is kept
    Feed(Bytes(b.begin() + 30, b.end()), 1);
    std::vector<Framed> expected;
    for (const Framed& packet : {Framed{0, a}, Framed{0, c}, Framed{1, b}}) {
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(recorder_.framed, expected);
            EXPECT_FALSE(source.reading);
            framer_.Release();
        }
        expected.insert(expected.end(), {{-10, packet.second}, packet});
    }
    EXPECT_EQ(recorder_.framed, expected);
    EXPECT_TRUE(source.reading);
}

}  // namespace
}  // namespace corvane
