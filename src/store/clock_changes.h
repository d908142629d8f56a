// Whether the clock on the wall was set while the program ran, and whether its date is to be trusted since.
#pragma once

#include <QObject>

#include <array>
#include <cstdint>
#include <optional>

#include "base/local_time.h"
#include "base/setting.h"

namespace corvane {

class Clock;
class ErrorLog;
class SettingsStore;
class StatusBoard;

inline constexpr Setting kClockSetForward{
    .key = "ClockSetForward",
    .by = SettingBy::Program,
    .help = "Between which times (UTC) the clock was last set forward, while it is not trusted since."};
inline constexpr std::array kClockChangesSettings = {kClockSetForward};

/// A change is what moves the wall clock by `kLeast` or more against the monotonic one. Each is told once, in
/// the status list and the error log. Neither a machine's sleep nor summer time is one.
///
/// A clock that was set forward is not trusted until it has stood for `kTrial`, also where the program starts
/// again meanwhile; one that is set back to where it was is trusted at once.
class ClockChanges : public QObject {
    Q_OBJECT

public:
    static constexpr std::int64_t kLeast = 30 * 60;  ///< seconds; less moves no day, more is a zone or a date
    static constexpr std::int64_t kTrial = 24 * 3600;  ///< seconds

    ClockChanges(SettingsStore& settings, StatusBoard& board, ErrorLog& errorLog, Clock& clock);

    /// From when on the clock is trusted again; nothing where it is.
    [[nodiscard]] std::optional<LocalTime> TrustedFrom() const;

private:
    /// Unix seconds: what the clock would show, and what it shows.
    struct Change {
        std::int64_t from;
        std::int64_t to;
        [[nodiscard]] std::int64_t By() const { return to - from; }
    };

    void Look();
    void Take(Change change);
    void LoadTrial();
    void EndTrial();
    [[nodiscard]] std::int64_t Lead() const;

    SettingsStore& settings_;
    StatusBoard& board_;
    ErrorLog& errorLog_;
    const Clock& clock_;
    std::int64_t lead_;            ///< of the wall clock over the monotonic one, seconds
    std::optional<Change> trial_;  ///< all changes since the clock was last trusted, as one
};

}  // namespace corvane
