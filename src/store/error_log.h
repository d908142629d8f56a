// The log of errors and lost data: one line a fault, appended to a text file that outlives the program.
#pragma once

#include <QCoroTask>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <deque>

#include "base/outcome.h"

namespace corvane {

class Clock;
class Operator;

/// Logging never disturbs what goes on. The files are for this user alone.
class ErrorLog {
public:
    static constexpr int kOverflow = 6;         ///< error number of an arithmetic overflow
    static constexpr int kLinesListed = 32001;  ///< the viewer takes no more
    static constexpr qint64 kMostBytes = 5 * 1024 * 1024;
    static constexpr std::size_t kMostWaiting = 100;

    /// The log "Errors" + `applicationName` + ".log" in `folder`.
    ErrorLog(QString folder, QString applicationName, const Clock& clock);

    /// Appends the number, the description, the context and the date and time ("2026-11-22 10:20:30"),
    /// separated by tabs. Tabs and line ends within a text become blanks, so that an entry stays one line.
    /// What cannot be appended, as to a file of another user, goes to the older log "errorLog.txt": date and
    /// description, ", " and context. A log that is full, at 5 MiB, becomes "ErrorsCorvane.1.log" (or
    /// "errorLog.1.txt"), and the one that was that goes. What no file takes now, as while there is no
    /// descriptor left, waits in memory until the next line comes: the newest `kMostWaiting`.
    void LogError(int number, const QString& description, const QString& context);

    struct Listing {
        QStringList lines;
        QString message;  ///< empty, or why lines are missing
    };

    /// The lines of the older log and of this one, oldest first, as the viewer lists them: at most
    /// `kLinesListed`.
    [[nodiscard]] Listing Load() const;

    /// The last lines, at most so many, oldest first, however long the log is.
    [[nodiscard]] QStringList LastLines(qsizetype most) const;

    /// Asks, and deletes both on Yes. The failure says why a file is still there.
    QCoro::Task<Outcome> Delete(Operator& op);

    /// Full path of the log.
    [[nodiscard]] QString Path() const;

private:
    /// A line as it stands in the log, and in the older one.
    struct Line {
        QString text;
        QString older;
    };

    [[nodiscard]] bool Write(const Line& line) const;

    QString folder_;
    QString applicationName_;
    const Clock& clock_;
    std::deque<Line> waiting_;
};

}  // namespace corvane
