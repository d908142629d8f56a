// Writes the records of the capture in short bursts, so that the database is seldom open and a reader who
// holds it locked costs nothing but a delay.
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/local_time.h"
#include "base/outcome.h"
#include "base/setting.h"
#include "store/db_buffer.h"

namespace corvane {

class CaptureDatabase;
class Clock;
class ErrorLog;
class Operator;
class SettingsStore;

Outcome CheckWriteFrequency(QString& text, const SettingValues& values);

inline constexpr Setting kDatabaseEnabled{.key = "DBenabled",
                                          .kind = SettingKind::Switch,
                                          .fallback = "True",
                                          .help = "Whether records are written to the database."};
inline constexpr Setting kWriteFrequency{.key = "DBwriteFrequency",
                                         .kind = SettingKind::Number,
                                         .fallback = "10",
                                         .least = 1,
                                         .most = 60,
                                         .check = CheckWriteFrequency,
                                         .help = "Seconds between two bursts of writing, 1 to 60."};
inline constexpr std::array kDbWriterSettings = {kDatabaseEnabled, kWriteFrequency};

/// Owns the queue and the countdown to the next burst. The countdown starts at 0 and is loaded with the write
/// frequency (`kWriteFrequency`) after each burst that emptied the queue.
class DbWriter : public QObject {
    Q_OBJECT

public:
    enum class Indicator { None, Green, Yellow };  ///< none yet, last write succeeded, last write failed
    static constexpr const char* kNotOpened = "unable to open database file";

    /// A moment, by both clocks.
    struct Moment {
        LocalTime time;
        std::int64_t at = 0;  ///< monotonic, ms
    };

    /// What hinders the writing, and for how long.
    struct Failure {
        std::string words;       ///< SQLite's own
        std::int64_t since = 0;  ///< monotonic, ms: of the first burst that failed
    };

    DbWriter(CaptureDatabase& database, SettingsStore& settings, ErrorLog& errorLog, Clock& clock);

    /// Queues one statement and, when the countdown has run out, begins to write the queue. A burst writes on
    /// a thread of its own, for the slow disk of a small computer; what it came to is noted in the event
    /// loop, where everything else goes on meanwhile.
    ///
    /// A burst leaves the newest statement in slot 1 without dropping it: it is run at the start of the next
    /// burst. So a statement that comes to an empty queue is run at once and again with the next burst. Both
    /// are on purpose, and readers of the database allow for it.
    void WriteSQL(const std::string& statement);

    /// Whether records are handed to `WriteSQL` at all (`kDatabaseEnabled`).
    [[nodiscard]] bool Enabled() const { return enabled_; }

    /// "Database is Enabled" or "Database is Disabled".
    [[nodiscard]] QString EnabledText() const;

    /// While set by a maintenance operation, no burst starts.
    void SetMaintenanceBusy(bool busy) { maintenanceBusy_ = busy; }

    /// Lets the next call write, whatever the countdown says.
    void ForceNextBurst() { writeCountdown_ = 0; }

    /// Writes what is queued at once; it takes an empty statement, which then is the one left in the queue. A
    /// locked file is tried again every second, so many times. True where all records are in the database.
    QCoro::Task<bool> Drain(int patience);

    /// Writes what is queued, as another file is going to take the place of the one in use: the records so
    /// far belong into the one so far. The failure says why that cannot be now; the file in use must stay
    /// then. A file that is gone or broken takes no records, and is no failure: they go into the next one.
    QCoro::Task<Outcome> WriteBeforeChange();

    /// Gives up a record that never came into the queue.
    void GiveUp(const std::string& statement);

    /// Gives up all records that the database does not have yet, once the burst that is under way has ended,
    /// and from then on every record that comes: the last thing before the program ends.
    QCoro::Task<> GiveUpAll();

    /// Whether a burst is under way.
    [[nodiscard]] bool Bursting() const { return bursting_; }

    /// When a record was stored last in this run; nothing before the first.
    [[nodiscard]] const std::optional<Moment>& LastStored() const { return lastStored_; }

    /// What the last burst met; nothing where it wrote all it had.
    [[nodiscard]] const std::optional<Failure>& Failing() const { return failing_; }

    [[nodiscard]] int Pointer() const { return buffer_.Pointer(); }
    [[nodiscard]] int WriteCountdown() const { return writeCountdown_; }
    [[nodiscard]] const DbBuffer& Buffer() const { return buffer_; }
    [[nodiscard]] const QString& LastDbMessage() const { return lastDbMessage_; }

    // The fields of the main screen.
    [[nodiscard]] QString BufferText() const;  ///< "DB Buffer = " and the count without the newest
    [[nodiscard]] QString WriteStateText() const { return writeState_; }
    [[nodiscard]] QString DatabaseMessageText() const {
        return databaseMessage_;
    }  ///< last error with its time
    [[nodiscard]] Indicator WriteIndicator() const { return indicator_; }
    [[nodiscard]] QString IndicatorText() const { return indicatorText_; }

    /// Why records wait longer than they should; empty where they do not.
    [[nodiscard]] QString WaitText() const;

    /// That, or else how the writing stands.
    [[nodiscard]] QString StateText() const { return WaitText().isEmpty() ? writeState_ : WaitText(); }

Q_SIGNALS:
    void BurstEnded();

    /// The queue gives up a record that the database does not have, for the reason told.
    void GivenUp(const std::string& statement, const QString& why);

private:
    /// What came of some statements.
    struct Written {
        bool alone = false;  ///< there was no other in the queue
        int executed = 0;
        bool opened = true;     ///< the file, for the one behind them
        std::string errorText;  ///< of the one behind them; empty where there was none
    };

    void LoadEnabled();
    void LoadFrequency();
    void Timer6();  ///< the tick of the second
    void Burst();
    void BurstOn();
    [[nodiscard]] static Written WriteInTurn(const std::string& path,
                                             const std::vector<std::string>& statements);
    void Note(const Written& written);
    void NoteSuccess(bool alone);
    void NoteFailure(const std::string& errorText);
    void GiveUp(const QueuedStatement& statement, const QString& why);

    CaptureDatabase& database_;
    SettingsStore& settings_;
    ErrorLog& errorLog_;
    Clock& clock_;

    DbBuffer buffer_;
    std::int16_t writeCountdown_ = 0;  ///< seconds; 0 = the next call writes
    std::uint8_t writeFrequency_ = 0;  ///< seconds between bursts
    bool maintenanceBusy_ = false;
    bool enabled_ = false;
    bool bursting_ = false;
    bool closed_ = false;  ///< all was given up, or is about to be
    bool locked_ = false;  ///< what the last burst met
    bool opened_ = true;
    bool failed_ = false;
    std::optional<Moment> lastStored_;
    std::optional<Failure> failing_;

    QString lastDbMessage_;
    QString writeState_;
    QString databaseMessage_;
    Indicator indicator_ = Indicator::None;
    QString indicatorText_;

    std::jthread thread_;  ///< of the burst that runs
};

}  // namespace corvane
