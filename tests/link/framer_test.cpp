#include "link/framer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>

#include "support/packets.h"

namespace corvane {
namespace {

using Framed = std::pair<int, Bytes>;  ///< stream and packet

/// Notes what comes through, and under which name it was handed over.
class Recorder final : public PacketReceiver, public PacketDestination {
public:
    explicit Recorder(std::string name = {}, std::vector<std::string>* order = nullptr)
        : name_(std::move(name)), order_(order) {}

    void DisplayData(int stream, std::span<const std::uint8_t> packet) override {
        framed.emplace_back(stream, Bytes(packet.begin(), packet.end()));
        if (order_ != nullptr) order_->push_back(name_);
    }
    void Forward(std::span<const std::uint8_t> packet) override { DisplayData(-1, packet); }

    std::vector<Framed> framed;

private:
    std::string name_;
    std::vector<std::string>* order_;
};

struct Result {
    std::vector<Bytes> packets;
    std::uint64_t bad = 0;
    bool operator==(const Result&) const = default;
};

Result Framing(const Bytes& bytes) {
    Recorder recorder;
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

struct Damaged {
    const char* name;
    Model model;
    bool zeroSum;
};

class Damage : public testing::TestWithParam<Damaged> {
protected:
    const Bytes packet_ = Packet(GetParam().model, 11, GetParam().zeroSum);
    /// A zero first: a packet that lost a byte takes it for its checksum byte, the one that can be refused.
    const Bytes behind_ = Bytes{0} + Packet(Model::FiveChannel, 12, true) + Packet(Model::TwoChannel, 13) +
                          Packet(Model::FiveChannel, 14);

    /// Damages a packet in all the ways that `damage` knows, puts good ones behind it, and compares.
    void Check(std::size_t ways, const std::function<Bytes(std::size_t)>& damage) {
        std::uint64_t bad = 0;
        for (std::size_t way = 0; way < ways; ++way) {
            const Bytes bytes = damage(way) + behind_;
            const Result expected = Expected(bytes);
            ASSERT_EQ(Framing(bytes), expected) << "way " << way << " of " << ways;
            bad += expected.bad;
        }
        if (GetParam().zeroSum) {
            EXPECT_GT(bad, 0U) << "no damage was ever noticed";
        }
    }

    [[nodiscard]] auto Place(std::size_t index) const {
        return packet_.begin() + static_cast<std::ptrdiff_t>(index);
    }
};

INSTANTIATE_TEST_SUITE_P(Framer, Damage,
                         testing::Values(Damaged{"TwoChannel", Model::TwoChannel, false},
                                         Damaged{"TwoChannelZeroSum", Model::TwoChannel, true},
                                         Damaged{"FiveChannel", Model::FiveChannel, false},
                                         Damaged{"FiveChannelZeroSum", Model::FiveChannel, true}),
                         [](const auto& test) { return test.param.name; });

TEST_P(Damage, NoneLetsAllThrough) {
    const Result result = Framing(packet_ + behind_);
    ASSERT_EQ(result.packets.size(), 4U);
    EXPECT_EQ(result.packets[0], packet_);
    EXPECT_EQ(result.bad, 0U);
}

TEST_P(Damage, OfEverySingleBit) {
    Check(packet_.size() * 8, [this](std::size_t way) {
        Bytes bytes = packet_;
        bytes[way / 8] = static_cast<std::uint8_t>(bytes[way / 8] ^ (1U << way % 8));
        return bytes;
    });
}

TEST_P(Damage, CutOffAtEveryLength) {
    Check(packet_.size(), [this](std::size_t way) { return Bytes(packet_.begin(), Place(way)); });
}

TEST_P(Damage, LosesAByteAtEveryPlace) {
    Check(packet_.size(), [this](std::size_t way) {
        return Bytes(packet_.begin(), Place(way)) + Bytes(Place(way + 1), packet_.end());
    });
}

TEST_P(Damage, GainsAByteAtEveryPlace) {
    const Bytes gained = {0x00, 0x01, 0x03, 0xFE, 0xFF};
    Check((packet_.size() + 1) * gained.size(), [this, &gained](std::size_t way) {
        const auto place = Place(way / gained.size());
        return Bytes(packet_.begin(), place) + Bytes{gained[way % gained.size()]} +
               Bytes(place, packet_.end());
    });
}

class FramerTest : public testing::Test {
protected:
    void Feed(const Bytes& bytes, int stream = 0) {
        for (const std::uint8_t byte : bytes)
            framer_.ProcessByte(stream, byte);
    }

    Recorder recorder_;
    Framer framer_{recorder_};
};

TEST_F(FramerTest, APacketEndsWithItsLastByte) {
    for (const Model model : {Model::TwoChannel, Model::FiveChannel}) {
        const Bytes packet = Packet(model, 1);
        recorder_.framed.clear();
        Feed(Bytes(packet.begin(), packet.end() - 1), 3);
        EXPECT_TRUE(recorder_.framed.empty());
        framer_.ProcessByte(3, packet.back());
        EXPECT_EQ(recorder_.framed, (std::vector<Framed>{{3, packet}}));
        EXPECT_EQ(framer_.LastKind(3), model == Model::TwoChannel ? &kTwoChannel : &kFiveChannel);
    }
    EXPECT_EQ(framer_.LastKind(0), nullptr);
}

TEST_F(FramerTest, AHeaderWithinAPacketOpensNone) {
    Bytes packet = Packet(Model::FiveChannel, 1);
    for (const std::size_t place : {5U, 24U, 61U}) {
        packet[place] = 0xFE;
        packet[place + 1] = 0xFF;
        packet[place + 2] = 0x01;
    }
    SetChecksum(packet);
    Feed(packet + Packet(Model::TwoChannel, 2));
    ASSERT_EQ(recorder_.framed.size(), 2U);
    EXPECT_EQ(recorder_.framed[0].second, packet);
    EXPECT_EQ(recorder_.framed[1].second, Packet(Model::TwoChannel, 2));
}

TEST_F(FramerTest, TheHeaderMayStartWithinWhatLooksLikeOne) {
    Feed(Bytes{0xFE, 0xFE, 0xFF, 0xFE, 0xFF, 0x02, 0xFF, 0x03, 0xFE} + Packet(Model::TwoChannel, 2));
    ASSERT_EQ(recorder_.framed.size(), 1U);
    EXPECT_EQ(recorder_.framed[0].second, Packet(Model::TwoChannel, 2));
}

TEST_F(FramerTest, ABadChecksumIsCountedOnceAndTheNextHeaderIsFound) {
    Bytes bad = Packet(Model::FiveChannel, 1, true);
    bad[30] ^= 0x10;
    const Bytes good = Packet(Model::FiveChannel, 2);
    Feed(bad + good);
    EXPECT_EQ(framer_.BadPackets(), 1U);
    EXPECT_EQ(framer_.GoodPackets(), 1U);
    EXPECT_EQ(recorder_.framed, (std::vector<Framed>{{0, good}}));
}

TEST_F(FramerTest, TheChecksumIsLenient) {
    const struct {
        int error;  ///< of the checksum byte against the sum
        bool zeroSum;
    } cases[] = {{0, false}, {2, false}, {5, false}, {-1, false}, {0, true}, {2, true}};
    for (const auto& c : cases) {
        Bytes packet = Packet(Model::FiveChannel, 1, c.zeroSum);
        SetChecksum(packet, c.error);
        Feed(packet);
    }
    EXPECT_EQ(framer_.GoodPackets(), std::size(cases));
    EXPECT_EQ(framer_.BadPackets(), 0U);
}

TEST_F(FramerTest, AHoldOpensNoPacketButCollectsTheOneThatIsOpen) {
    const Bytes packet = Packet(Model::FiveChannel, 1);
    const Bytes next = Packet(Model::TwoChannel, 2);
    Feed(Bytes(packet.begin(), packet.begin() + 3));
    framer_.SetPacketHold(0, true);
    Feed(Bytes(packet.begin() + 3, packet.end()));
    EXPECT_EQ(recorder_.framed.size(), 1U);
    Feed(next);
    Feed(next, 1);  // another stream is not held
    EXPECT_EQ(recorder_.framed, (std::vector<Framed>{{0, packet}, {1, next}}));
    framer_.SetPacketHold(0, false);
    Feed(next);
    EXPECT_EQ(recorder_.framed.size(), 3U);
}

TEST_F(FramerTest, AHoldLeavesTheHeaderWindowAsItIs) {
    const Bytes packet = Packet(Model::FiveChannel, 1);
    Feed({0xFE, 0xFF});
    framer_.SetPacketHold(0, true);
    Feed({0x03, 0x11, 0x22});  // ignored, not even seen by the window
    framer_.SetPacketHold(0, false);
    Feed(Bytes(packet.begin() + 2, packet.end()));
    EXPECT_EQ(recorder_.framed, (std::vector<Framed>{{0, packet}}));
}

TEST_F(FramerTest, StreamsInterleavedByteByByteAreFramedEachOnItsOwn) {
    for (const int streams : {2, 5}) {
        std::vector<Bytes> sent;
        for (int stream = 0; stream < streams; ++stream) {
            const Model model = stream % 2 == 0 ? Model::FiveChannel : Model::TwoChannel;
            const auto serialNumber = static_cast<std::uint16_t>(stream);
            sent.push_back(Bytes(static_cast<std::size_t>(stream), 0xFE) + Packet(model, serialNumber) +
                           Packet(model, serialNumber, true));
        }
        recorder_.framed.clear();
        for (std::size_t at = 0; at < 2 * kLongestPacket + 5; ++at) {
            for (int stream = 0; stream < streams; ++stream) {
                const Bytes& bytes = sent[static_cast<std::size_t>(stream)];
                if (at < bytes.size()) framer_.ProcessByte(stream, bytes[at]);
            }
        }
        EXPECT_EQ(recorder_.framed.size(), static_cast<std::size_t>(2 * streams));
        for (int stream = 0; stream < streams; ++stream) {
            Bytes seen(static_cast<std::size_t>(stream), 0xFE);
            for (const auto& [from, packet] : recorder_.framed) {
                if (from == stream) seen = seen + packet;
            }
            EXPECT_EQ(seen, sent[static_cast<std::size_t>(stream)]) << "stream " << stream;
        }
    }
}

TEST_F(FramerTest, DestinationsGetThePacketAsItCameBeforeTheReceiver) {
    std::vector<std::string> order;
    Recorder receiver("receiver", &order);
    Recorder first("first", &order);
    Recorder second("second", &order);
    Framer framer(receiver);
    framer.AddDestination(first);
    framer.AddDestination(second);
    Bytes packet = Packet(Model::FiveChannel, 1);
    packet[62] = 0xAB;  // bytes without a meaning go along too
    SetChecksum(packet, 2);
    Bytes bad = Packet(Model::FiveChannel, 1, true);
    bad[30] ^= 0x10;
    for (const std::uint8_t byte : packet + bad)
        framer.ProcessByte(1, byte);
    EXPECT_EQ(order, (std::vector<std::string>{"first", "second", "receiver"}));
    EXPECT_EQ(first.framed, (std::vector<Framed>{{-1, packet}}));
    EXPECT_EQ(second.framed, (std::vector<Framed>{{-1, packet}}));
    EXPECT_EQ(receiver.framed, (std::vector<Framed>{{1, packet}}));
}

TEST_F(FramerTest, RawTextHasEveryByteOfItsStreamWhetherFramedOrHeld) {
    const Bytes packet = Packet(Model::TwoChannel, 1);
    Feed(packet);  // not asked for yet
    framer_.SetRawDisplay(0, true);
    Feed(Bytes{1, 0, 2} + packet);
    framer_.SetPacketHold(0, true);
    Feed({3});
    Feed({4}, 1);
    const Bytes expected = Bytes{1, 0, 2} + packet + Bytes{3};
    EXPECT_EQ(framer_.RawText(0), std::string(expected.begin(), expected.end()));
    EXPECT_EQ(framer_.RawText(1), "");
    framer_.SetRawDisplay(0, false);
    EXPECT_EQ(framer_.RawText(0), "");
}

TEST_F(FramerTest, RawDisplayMayBeSwitchedAtEveryPlaceOfAPacket) {
    for (const Model model : {Model::TwoChannel, Model::FiveChannel}) {
        const Bytes packet = Packet(model, 1);
        for (std::size_t on = 0; on < packet.size(); ++on) {
            const std::size_t off = (on + packet.size()) / 2;
            recorder_.framed.clear();
            for (std::size_t at = 0; at < packet.size(); ++at) {
                if (at == on) framer_.SetRawDisplay(0, true);
                if (at == off && off > on) {
                    EXPECT_EQ(framer_.RawText(0).size(), off - on);
                    framer_.SetRawDisplay(0, false);
                }
                framer_.ProcessByte(0, packet[at]);
            }
            ASSERT_EQ(recorder_.framed, (std::vector<Framed>{{0, packet}})) << "on at " << on;
            framer_.SetRawDisplay(0, false);
        }
    }
}

TEST_F(FramerTest, RawTextKeepsTheLatestBytesAndIsBounded) {
    framer_.SetRawDisplay(0, true);
    std::string sent;
    for (std::size_t i = 0; i < 3 * Framer::kRawTextKept + 7; ++i) {
        const auto byte = static_cast<std::uint8_t>(i * i / 7);
        framer_.ProcessByte(0, byte);
        sent += static_cast<char>(byte);
        ASSERT_LE(framer_.RawText(0).size(), Framer::kRawTextKept);
    }
    EXPECT_GE(framer_.RawText(0).size(), Framer::kRawTextKept / 2);
    EXPECT_TRUE(sent.ends_with(framer_.RawText(0)));
}

}  // namespace
}  // namespace corvane
