// What is wrong with the program right now, decided once for everybody who shows it.
#pragma once

#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "base/local_time.h"

namespace corvane {

class Clock;
class ErrorLog;

enum class Severity : std::uint8_t {
    Info,     ///< worth knowing; nothing is lost
    Warning,  ///< something does not do what it should
    Error,    ///< records are lost or missing, or will be soon
};

/// "info", "warning" or "error".
[[nodiscard]] QString SeverityText(Severity severity);

/// How long something must stand until it counts, and be gone until it no longer does: what comes and goes
/// all the time is one state.
struct Steadiness {
    int after = 0;  ///< seconds
    int gone = 0;   ///< seconds
};

/// What a look at the program found.
struct Finding {
    QString id;  ///< of the state, the same for as long as the program exists: "database-locked"
    Severity severity = Severity::Warning;
    QString text;    ///< what is, as a sentence or more
    QString remedy;  ///< what a person can do about it; may be empty
    Steadiness steadiness = {};
};

/// A finding that counts.
struct HealthState {
    Finding finding;
    LocalTime since;
};

/// The figures beside the states.
struct HealthFigures {
    bool recording = false;                ///< packets come, and their records get into the database
    std::optional<LocalTime> lastRecord;   ///< when one was stored last in this run
    int queue = 0;                         ///< records that the database is still to get
    std::optional<std::int64_t> diskFree;  ///< bytes, where the database is
    std::optional<int> diskDays;           ///< how long that is enough, as the database grows today
    std::optional<LocalTime> lastBackup;   ///< of the newest one; nothing where there is none
};

struct HealthReport {
    HealthFigures figures;
    std::vector<Finding> findings;
};

/// Looks once a second. Warnings and errors are noted in the error log as they come and go.
class Health : public QObject {
    Q_OBJECT

public:
    Health(std::function<HealthReport()> look, ErrorLog& errorLog, Clock& clock);

    [[nodiscard]] const HealthFigures& Figures() const { return figures_; }

    /// The worst first, and of the same severity those that are there for longest.
    [[nodiscard]] const std::vector<HealthState>& States() const { return states_; }

    /// Of the worst state; nothing where all is well.
    [[nodiscard]] std::optional<Severity> Worst() const;

    /// Looks now, not only with the next second.
    void Look();

Q_SIGNALS:
    /// A state came or went, or says something else.
    void Changed();

private:
    struct Watched {
        Finding finding;
        std::int64_t firstSeen = 0;      ///< monotonic, ms
        std::int64_t lastSeen = 0;       ///< monotonic, ms
        bool seen = false;               ///< by this look
        std::optional<LocalTime> since;  ///< from when on it counts
    };

    void Take(Finding finding, std::int64_t now);
    void Note(const QString& text);
    void Forget(std::int64_t now);

    std::function<HealthReport()> look_;
    ErrorLog& errorLog_;
    const Clock& clock_;
    std::map<QString, Watched> watched_;  ///< by their ids
    HealthFigures figures_;
    std::vector<HealthState> states_;
};

/// One line: "Recording, last record at 10:20:30, none waits", and what else is known.
[[nodiscard]] QString FiguresText(const HealthFigures& figures);

/// Two lines a state: what is, and what to do.
[[nodiscard]] QStringList StateLines(const Health& health);

/// {"recording": true, "lastRecord": ..., "queue": 0, "disk": {...}, "lastBackup": ..., "states": [...]};
/// what is not known is null.
[[nodiscard]] QJsonObject HealthObject(const Health& health);

}  // namespace corvane
