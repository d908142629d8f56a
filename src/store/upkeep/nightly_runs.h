// The two tasks that keep the database small by themselves, once a night each.
#pragma once

#include <QCoroTask>
#include <QDate>
#include <QObject>
#include <QString>

#include <array>
#include <optional>

#include "base/operator.h"
#include "base/outcome.h"
#include "base/setting.h"
#include "store/upkeep/maintenance.h"

namespace corvane {

class CaptureDatabase;
class Clock;
class ClockChanges;
class ErrorLog;
class DatabaseWork;
class SettingsStore;
class StatusBoard;

inline constexpr Setting kAutoCondense{.key = "AutoCondense",
                                       .kind = SettingKind::Switch,
                                       .fallback = "False",
                                       .by = SettingBy::Command,
                                       .help = "Whether old minutes are condensed every night."};
inline constexpr Setting kAutoDelete{.key = "AutoDelete",
                                     .kind = SettingKind::Switch,
                                     .fallback = "False",
                                     .by = SettingBy::Command,
                                     .help = "Whether old minutes are deleted every night."};
inline constexpr Setting kAutoCondenseDays{.key = "AutoCondenseDays",
                                           .kind = SettingKind::Number,
                                           .fallback = "7",
                                           .least = 1,
                                           .most = Maintenance::kMostDays,
                                           .by = SettingBy::Command,
                                           .help = "How many days old data must be to be condensed."};
inline constexpr Setting kAutoDeleteDays{.key = "AutoDeleteDays",
                                         .kind = SettingKind::Number,
                                         .fallback = "31",
                                         .least = 1,
                                         .most = Maintenance::kMostDays,
                                         .by = SettingBy::Command,
                                         .help = "How many days old data must be to be deleted."};
inline constexpr Setting kLastCondense{.key = "LastCondenseDate",
                                       .by = SettingBy::Program,
                                       .help = "The day of the last automatic condense, \"yyyy-mm-dd\"."};
inline constexpr Setting kLastDelete{.key = "LastDeleteDate",
                                     .by = SettingBy::Program,
                                     .help = "The day of the last automatic delete, \"yyyy-mm-dd\"."};
inline constexpr Setting kCondensedTo{.key = "CondensedTo",
                                      .by = SettingBy::Program,
                                      .help =
                                          "The last day that the automatic condense has dealt with, and the "
                                          "file it did that in."};
inline constexpr std::array kNightlyRunsSettings = {
    kAutoCondense, kAutoDelete, kAutoCondenseDays, kAutoDeleteDays, kLastCondense, kLastDelete, kCondensedTo};

/// Each task runs at its hour, or as soon as possible afterwards where the program did not run then, and at
/// most once for each night: the day of the last run is kept. It acts on what is older than a count of days
/// before today, and while the clock is not trusted not at all: the run is made up for afterwards.
class NightlyRuns : public QObject {
    Q_OBJECT

public:
    struct Task {
        QString name;  ///< as users call it
        const Setting& enabled;
        const Setting& days;
        const Setting& lastRun;
        QString label;  ///< of its switch
        int hour;       ///< of the day
        bool condenses;
    };
    static const Task kCondense;  ///< at 12:00 am
    static const Task kDelete;    ///< at 1:00 am

    NightlyRuns(Maintenance& maintenance, const CaptureDatabase& database, DatabaseWork& work,
                const ClockChanges& clockChanges, SettingsStore& settings, StatusBoard& board,
                ErrorLog& errorLog, Clock& clock);

    /// From now on tasks run when they are due. To be called once the database is in use.
    void StartUp();

    /// Another database is in use: of this one, nothing has been condensed yet.
    void ForgetProgress();

    /// Switches a task on or off, with a count of days as a user entered it, or the one that is kept. A task
    /// that is switched on begins with the next time its hour comes.
    Outcome Switch(const Task& task, bool on, const std::optional<QString>& days);

    /// The same for a person: where the next night would take rows that were not given away before, it tells
    /// them and asks.
    QCoro::Task<Outcome> AskAndSwitch(const Task& task, bool on, std::optional<QString> days, Operator& op);

    [[nodiscard]] bool IsOn(const Task& task) const;

    /// The count of days as it is kept; it may be none.
    [[nodiscard]] QString DaysText(const Task& task) const;

    /// Why a task that is on does not run: its count of days cannot be read, and another count might delete
    /// what is to be kept; or the clock is not trusted. Empty where it runs or is off.
    [[nodiscard]] QString Hindrance(const Task& task) const;

private:
    void Look();
    [[nodiscard]] std::optional<int> Days(const Task& task) const;
    [[nodiscard]] QString WaitText(const Task& task) const;
    void TellOfWait(const Task& task);
    [[nodiscard]] QDate LatestDue(const Task& task) const;
    [[nodiscard]] QDate Today() const;
    QCoro::Task<> Run(const Task& task, int days);
    [[nodiscard]] std::optional<QDate> CondensedTo() const;
    QCoro::Task<Outcome> Condense(QDate firstKept, Operator& op);

    Maintenance& maintenance_;
    const CaptureDatabase& database_;
    DatabaseWork& work_;
    const ClockChanges& clockChanges_;
    SettingsStore& settings_;
    StatusBoard& board_;
    ErrorLog& errorLog_;
    Clock& clock_;
    bool running_ = false;
    std::array<QString, 2> waitsTold_;  ///< what was last told of the delete, and of the condense
};

}  // namespace corvane
