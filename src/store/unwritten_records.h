// The records that the queue of the database gave up: kept in a file beside it, to be written in later.
#pragma once

#include <QObject>
#include <QString>

#include <cstdint>
#include <string>

namespace corvane {

class Clock;
class ErrorLog;

/// The file `unwritten.sql`: a statement a line, in the order in which they were given up. What cannot be
/// written there yet, as on a full disk, waits in memory and is tried again every second.
class UnwrittenRecords : public QObject {
    Q_OBJECT

public:
    /// Of file and memory together; what comes beyond is lost, which is told.
    static constexpr std::int64_t kMostBytes = 64 * 1024 * 1024;

    /// The file lies in `folder`.
    UnwrittenRecords(const QString& folder, ErrorLog& errorLog, Clock& clock,
                     std::int64_t mostBytes = kMostBytes);

    /// Keeps a statement, which is in the file as soon as the event loop runs, and tells the error log, at
    /// most once an hour for the same reason.
    void Keep(const std::string& statement, const QString& why);

    /// Tries to write what waits in memory. True where nothing waits there any more.
    bool Save();

    /// Cuts the first `bytes` off the file: what stood there is in the database now. The failure is told by
    /// false; then the file is as it was.
    bool Forget(std::int64_t bytes);

    [[nodiscard]] QString Path() const { return path_; }
    [[nodiscard]] std::int64_t BytesInFile() const { return bytesInFile_; }
    [[nodiscard]] std::int64_t Count() const { return inFile_ + inMemory_; }
    [[nodiscard]] std::int64_t Lost() const { return lost_; }  ///< in this run, for want of room

    /// What there is to say, empty where nothing is unwritten.
    [[nodiscard]] QString StateText() const;

Q_SIGNALS:
    /// A line for the status list.
    void Told(const QString& text);

private:
    void CountFile();
    void Tell();
    void Log();

    QString path_;
    ErrorLog& errorLog_;
    const Clock& clock_;
    std::int64_t mostBytes_;
    std::int64_t bytesInFile_ = 0;
    std::int64_t inFile_ = 0;
    std::int64_t inMemory_ = 0;
    std::int64_t lost_ = 0;
    std::string memory_;       ///< statements that wait for room, a line each
    QString why_;              ///< of the last that was kept
    QString toldWhy_;          ///< of the last that the log tells of
    std::int64_t toldAt_ = 0;  ///< monotonic, ms
    std::int64_t untold_ = 0;  ///< records that no line of the log tells of yet
};

}  // namespace corvane
