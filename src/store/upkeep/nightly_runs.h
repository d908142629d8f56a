// The two tasks that keep the database small by themselves, once a night each.
#pragma once

#include <QCoroTask>
#include <QDate>
#include <QObject>
#include <QString>

#include "base/operator.h"
#include "base/outcome.h"

namespace corvane {

class CaptureDatabase;
class Clock;
class ErrorLog;
class Maintenance;
class DatabaseWork;
class SettingsStore;
class StatusBoard;

/// Each task runs at its hour, or as soon as possible afterwards where the program did not run then, and at
/// most once for each night: the day of the last run is kept. It acts on what is older than a count of days
/// before today.
class NightlyRuns : public QObject {
    Q_OBJECT

public:
    struct Task {
        QString name;       ///< as users call it
        QString switchKey;  ///< whether it runs
        QString daysKey;
        QString lastRunKey;  ///< day of the last run, "yyyy-mm-dd"
        QString label;       ///< of its switch
        int hour;            ///< of the day
        int defaultDays;
        bool condenses;
    };
    static const Task kCondense;  ///< at 12:00 am
    static const Task kDelete;    ///< at 1:00 am

    NightlyRuns(Maintenance& maintenance, CaptureDatabase& database, DatabaseWork& work,
                SettingsStore& settings, StatusBoard& board, ErrorLog& errorLog, Clock& clock);

    /// From now on tasks run when they are due. To be called once the database is in force.
    void StartUp();

    /// Another database is in force: of this one, nothing has been condensed yet.
    void ForgetProgress();

    /// Switches a task on or off, with a count of days as a user entered it. A task that is switched on
    /// begins with the next time its hour comes.
    Outcome Switch(const Task& task, bool on, const QString& days);

    [[nodiscard]] bool IsOn(const Task& task) const;
    [[nodiscard]] int Days(const Task& task) const;

private:
    void Look();
    [[nodiscard]] QDate LatestDue(const Task& task) const;
    [[nodiscard]] QDate Today() const;
    QCoro::Task<> Run(const Task& task);
    QCoro::Task<Outcome> Condense(QDate firstKept, Operator& op);

    Maintenance& maintenance_;
    CaptureDatabase& database_;
    DatabaseWork& work_;
    SettingsStore& settings_;
    StatusBoard& board_;
    ErrorLog& errorLog_;
    Clock& clock_;
    bool running_ = false;
};

}  // namespace corvane
