// What the ledger records: one event in the life of a counter, of a device or of the program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "base/channels.h"
#include "base/local_time.h"
#include "measure/counters.h"

namespace corvane {

enum class LedgerKind : std::uint8_t {
    Wrap,         ///< a counter stepped back, and its carry rose
    Reset,        ///< a counter stepped back and began again, or was told to
    SecondsWrap,  ///< the seconds counter stepped back and counts as wrapped
    Restart,      ///< the seconds counter stepped back and the monitor counts as restarted
    Zeroed,       ///< a carry was set to 0
    Swap,         ///< another serial text or model came in the slot
    Start,        ///< of the program
    Stop,
    Gap,  ///< no packet for more than two minutes; told when one came again
};

/// How far an event may be believed.
enum class Judgement : std::uint8_t { Sure, Likely, Doubtful };

/// One of a device's nine counters.
struct CounterName {
    std::size_t channel = 0;  ///< index into `kChannelTable`
    bool polarized = false;

    bool operator==(const CounterName&) const = default;
    [[nodiscard]] double Span() const { return CounterSpan(kChannelTable[channel].fiveByte); }
};

/// "AUX1", "CH1" or "CH1 polarized".
[[nodiscard]] inline std::string CounterText(const CounterName& counter) {
    std::string text = ChannelName(counter.channel);
    if (counter.polarized) text += " polarized";
    return text;
}

struct LedgerEntry {
    std::int64_t id = 0;  ///< 0 until it is in the file
    LedgerKind kind = LedgerKind::Start;
    Judgement judgement = Judgement::Sure;
    LocalTime time = {};
    int slot = 0;                              ///< 1..6; 0: of the program
    std::string serial = {};                   ///< empty where none is known
    std::optional<CounterName> counter = {};   ///< nothing where it is of all of them, or of none
    std::optional<double> counterBefore = {};  ///< watt-seconds; seconds of `SecondsWrap` and `Restart`
    std::optional<double> counterAfter = {};
    std::optional<std::int64_t> elapsedMonitor = {};  ///< seconds, by the monitor's own counter
    std::optional<std::int64_t> elapsedClock = {};    ///< seconds, by the clock that is never set
    std::optional<int> carryBefore = {};
    std::optional<int> carryAfter = {};
    std::string note = {};  ///< what else there is to say: by whom, or what was there before
    bool undone = false;
    std::string undoneFrom = {};  ///< stamp of the rows from which on they lack a carry that was taken back

    [[nodiscard]] bool IsDoubtfulCarry() const {
        return kind == LedgerKind::Wrap && judgement == Judgement::Doubtful && !undone;
    }
};

/// Silence from which on it is a gap, in seconds.
inline constexpr std::int64_t kLeastGap = 120;

/// What two clocks say of the time between two packets: where they differ by more than a tenth and by more
/// than a minute, the monitor did not count through, and what follows from its count is doubtful.
[[nodiscard]] constexpr Judgement JudgeClocks(std::optional<std::int64_t> monitor,
                                              std::optional<std::int64_t> clock) {
    if (!monitor || !clock) return Judgement::Likely;
    const std::int64_t difference = *monitor > *clock ? *monitor - *clock : *clock - *monitor;
    if (difference > 60 && difference * 10 > *clock) return Judgement::Doubtful;
    return *clock > kLeastGap ? Judgement::Likely : Judgement::Sure;
}

/// "wrap", "reset" and so on, as file and commands have them; nothing for any other text.
[[nodiscard]] const char* KindText(LedgerKind kind);
[[nodiscard]] std::optional<LedgerKind> KindOf(const std::string& text);

/// "sure", "likely", "doubtful".
[[nodiscard]] const char* JudgementText(Judgement judgement);
[[nodiscard]] std::optional<Judgement> JudgementOf(const std::string& text);

}  // namespace corvane
