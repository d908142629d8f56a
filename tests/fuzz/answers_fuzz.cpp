// Any bytes as a monitor's answers to commands, at any moments.
//
// An input is a byte for the command, then pieces: a byte for the time that passes, one for how many bytes
// come then, and these.
#include <QCoroTask>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "base/operator.h"
#include "base/status_board.h"
#include "control/device_binding.h"
#include "control/monitor_commands.h"
#include "control/monitor_history.h"
#include "control/monitor_settings.h"
#include "fuzz/quick_folder.h"
#include "fuzz/require.h"
#include "link/device_slots.h"
#include "measure/heard_monitors.h"
#include "measure/measurement.h"
#include "store/capture_database.h"
#include "store/error_log.h"
#include "store/settings_store.h"
#include "support/fake_clock.h"
#include "support/wired_link.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// Says Yes to all: what is asked for is done.
class Willing final : public Operator {
public:
    void Show(const QString& text) override { REQUIRE(!text.isEmpty()); }
    QCoro::Task<Answer> Ask(Question) override { co_return Answer::Yes; }
    QCoro::Task<std::optional<QString>> AskText(QString) override { co_return std::nullopt; }
};

class House {
public:
    House() {
        settings_.Save(kDeviceSerial, u"301234"_s, {.slot = 1});
        settings_.Save(kCommandLink, int{kStreamTcpA});
    }

    void Take(std::span<const std::uint8_t> input) {
        if (input.empty()) return;
        std::optional<Outcome> ended;
        const auto noted = Begin(input.front()).then([&ended](const Outcome& outcome) { ended = outcome; });
        input = input.subspan(1);
        while (input.size() >= 2 && !ended.has_value()) {
            clock_.Advance(4 * (input[0] + 1));
            const auto length = std::min<std::size_t>(input[1], input.size() - 2);
            tcpA_.Send(input.subspan(2, length));
            input = input.subspan(2 + length);
        }
        for (int second = 0; second < kLongest && !ended.has_value(); ++second)
            clock_.AdvanceSeconds(1);
        REQUIRE(ended.has_value());
        REQUIRE(!framer_.PacketHold(kStreamTcpA) && !tcpA_.ReplyCapture());
        tcpA_.sent.clear();
    }

private:
    static constexpr int kLongest = 120;  // seconds that an operation takes, however often it tries

    QCoro::Task<Outcome> Begin(std::uint8_t which) {
        switch (which % 6) {
            case 0:
                return monitor_.ReadSettings(willing_);
            case 1:
                return monitor_.Set(u"ct1"_s, {u"17"_s, u"5"_s}, willing_);
            case 2:
                return monitor_.Set(u"iv2"_s, {u"10"_s}, willing_);
            case 3:
                return FindDevice(2, monitor_, slots_, willing_);
            case 4:
                return commands_.StartRealtime(willing_);
            default:
                return commands_.SendOnePacket(willing_);
        }
    }

    QuickFolder folder_;
    FakeClock clock_;
    SettingsStore settings_{u"/dev/null/corvane.ini"_s};  // cannot be written: what changes is kept in memory
    ErrorLog errorLog_{folder_.Path(), u"Fuzz"_s, clock_};
    StatusBoard board_;
    CaptureDatabase database_{folder_.Path(u"none.db3"_s).toStdString()};
    DeviceSlots slots_{settings_, database_};
    Measurement measurement_{slots_, settings_, errorLog_, clock_};
    Framer framer_{measurement_};
    WiredLink tcpA_{framer_, kStreamTcpA, clock_};
    WiredLink serialA_{framer_, kStreamSerialA, clock_};
    WiredLink tcpB_{framer_, kStreamTcpB, clock_};
    WiredLink serialB_{framer_, kStreamSerialB, clock_};
    WiredLink serialC_{framer_, kStreamSerialC, clock_};
    HeardMonitors heard_{slots_, measurement_, settings_};
    MonitorCommands commands_{{&tcpA_, &serialA_, &tcpB_, &serialB_, &serialC_},
                              framer_,
                              slots_,
                              heard_,
                              settings_,
                              board_,
                              errorLog_,
                              clock_};
    MonitorHistory history_{
        u"/dev/null"_s};  // where no folder can be made: nothing is kept from one to the next
    MonitorSettings monitor_{commands_, slots_, history_, errorLog_, clock_};
    Willing willing_;
};

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static corvane::House house;
    house.Take({data, size});
    return 0;
}
