// The habits and the faults of the monitor's half, over a line that is looked at byte by byte.
#include "sim/command_listener.h"

#include <gtest/gtest.h>

#include <string_view>

#include "sim/line.h"
#include "sim/packet_sender.h"
#include "sim/simulated_monitor.h"
#include "support/fake_clock.h"

namespace corvane {
namespace {

using namespace std::string_view_literals;

class NotedLine final : public Line {
public:
    LineState State() override { return LineState::Ready; }
    std::int64_t Unsent() override { return 0; }
    void Send(std::span<const std::uint8_t> bytes) override { answered.append(bytes.begin(), bytes.end()); }
    void Say(std::string_view bytes) {
        Received({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    }
    std::string answered;
};

class CommandListenerTest : public testing::Test {
protected:
    ~CommandListenerTest() override { clock_.EndWaits(); }

    /// Says the pieces, each so long after the one before, and returns what was answered in the end.
    std::string Say(std::initializer_list<std::string_view> pieces, std::int64_t pause) {
        line_.answered.clear();
        for (const std::string_view piece : pieces) {
            line_.Say(piece);
            clock_.Advance(pause);
        }
        return line_.answered;
    }

    FakeClock clock_;
    NotedLine line_;
    SimulatedMonitor monitor_{{}};
};

TEST_F(CommandListenerTest, NeedsAMomentAfterEachPieceAndForgetsWhatIsNotGoneOnWith) {
    const CommandListener listener(monitor_, line_, clock_);
    EXPECT_EQ(Say({"\xFC", "TOG", "OFF"}, 100), "\xFC\xFC\xFC");
    EXPECT_FALSE(monitor_.SendsRealtime());
    EXPECT_EQ(Say({"\xFC", "TOG", "XTD"}, 99), "\xFC") << "TOG came too early, and XTD alone is no command";
    EXPECT_EQ(listener.LostBytes(), 3);
    clock_.Advance(6000);
    EXPECT_EQ(Say({"\xFC", "TO", "G", "XTD"}, 100), "\xFC\xFC\xFC") << "a word may come in parts";
    EXPECT_TRUE(monitor_.SendsRealtime());
    EXPECT_EQ(Say({"\xFC", "TOGOFF"}, 100), "\xFC\xFC") << "all that follows a piece at once is lost";
    clock_.Advance(5000);
    EXPECT_EQ(Say({"OFF"}, 100), "") << "forgotten";
    EXPECT_EQ(Say({"\xFD", "\xFC", "XYZ", "\xFC"}, 100), "\xFC\xFC") << "no command, and the next one";
    EXPECT_TRUE(monitor_.SendsRealtime());
}

TEST_F(CommandListenerTest, ThePacketsKeepToWhatWasSet) {
    const CommandListener listener(monitor_, line_, clock_);
    SendPackets(monitor_, line_, clock_, {.pause = 8000});
    const auto packetsIn = [this](int seconds) {
        line_.answered.clear();
        clock_.AdvanceSeconds(seconds);
        return line_.answered.size() / kFiveChannel.length;
    };
    EXPECT_EQ(packetsIn(80), 10U);
    Say({"\xFC", "SET", "IV2", "\x02"}, 100);
    clock_.AdvanceSeconds(8);  // the interval that has begun
    EXPECT_EQ(packetsIn(80), 40U);
    Say({"\xFC", "TOG", "OFF"}, 100);
    const std::uint64_t seconds = monitor_.Raw(Field::Seconds);
    EXPECT_EQ(packetsIn(80), 0U);
    EXPECT_GE(monitor_.Raw(Field::Seconds), seconds + 78) << "it counts on";
    EXPECT_EQ(Say({"\xFC", "SPK"}, 100).size(), 2 + kFiveChannel.length);
    Say({"\xFC", "RQS", "RLP"}, 100);
    EXPECT_EQ(monitor_.Raw(Field::Seconds), 0U);
    Say({"\xFC", "BT1", "\x05"}, 100);
    EXPECT_EQ(Say({"\xFC", "SPK"}, 100), "") << "it passes bytes through";
}

}  // namespace
}  // namespace corvane
