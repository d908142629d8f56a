// The ledger: every event in the life of a counter, kept in a file of its own beside the database.
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <utility>
#include <vector>

#include "link/device_slots.h"
#include "measure/ledger_file.h"
#include "measure/readings_sink.h"
#include "store/sql_worker.h"

namespace corvane {

class Clock;
class ErrorLog;
class Measurement;
class StatusBoard;

/// Takes what the measurement notes, finds the gaps between packets, and tells of each doubtful carry at
/// once. The file is written and read on a thread; what cannot be written waits in memory and is tried again
/// every ten seconds, and that is told once. The capture goes on whatever becomes of the file, which may be
/// deleted at any time: the next event makes a new one.
class Ledger : public QObject, public ReadingsSink {
    Q_OBJECT

public:
    static constexpr std::size_t kMostWaiting =
        1000;                                       ///< events in memory; what comes beyond is lost and told
    static constexpr std::int64_t kRetry = 10'000;  ///< ms
    static constexpr std::int64_t kHeardEvery = 60'000;    ///< ms until the file learns when packets came
    static constexpr std::int64_t kTellAgain = 3'600'000;  ///< ms until a counter is told of again

    /// Where the file lies in the data folder.
    [[nodiscard]] static QString PathIn(const QString& folder) {
        return folder + u'/' + QLatin1StringView(kLedgerFileName);
    }

    /// The file lies in `folder`.
    Ledger(const QString& folder, const Measurement& measurement, StatusBoard& board, ErrorLog& errorLog,
           Clock& clock);
    ~Ledger() override;
    Ledger(const Ledger&) = delete;
    Ledger& operator=(const Ledger&) = delete;

    /// Notes that the program starts.
    void StartUp();

    /// Notes that it ends, and writes what waits, as far as the file takes it: no longer than a lock of
    /// others is waited for.
    QCoro::Task<> Close();

    /// Keeps an event, and writes it as soon as that can be.
    void Note(const LedgerEntry& entry);

    void OnReadings(const DeviceReadings& readings) override;

    /// What the file has, and what still waits behind it, without ids. A failure is the error text.
    struct Listing {
        std::vector<LedgerEntry> entries;
        QString error;
    };
    QCoro::Task<Listing> List(LedgerQuery query);

    /// When each monitor was heard, up to now.
    struct Hearing {
        HeardSpans spans;
        QString error;
    };
    QCoro::Task<Hearing> Heard();

    /// Runs a job on the file when its turn comes.
    QCoro::Task<QueryResult> Run(SqlJob job);

    /// Writes what waits; the failure says why that cannot be now. Also looks again which carries stand.
    QCoro::Task<QueryResult> Write();

    /// The doubtful carries that were not taken back, oldest first.
    [[nodiscard]] const std::vector<LedgerEntry>& Doubtful() const { return doubtful_; }

    /// Why events wait or were lost; empty where none does and none was.
    [[nodiscard]] QString ProblemText() const;

    [[nodiscard]] const QString& Path() const { return path_; }

    /// "Device A (301234), AUX1: ...", with the total and what it would be without the carry.
    [[nodiscard]] static QString DoubtText(const LedgerEntry& entry);

Q_SIGNALS:
    /// There is something new in the file, or `Doubtful` changed.
    void Changed();

    void JobEnded();

private:
    void Look();  ///< writes where that is due
    void TellDoubt(const LedgerEntry& entry);
    void Tell(const QString& text);
    void NoteProblem(const QString& error);

    /// What is known of a slot's packets.
    struct LastPacket {
        std::string serial;
        std::int64_t at = 0;  ///< ms, monotonic
    };
    struct Telling {
        std::int64_t at = 0;  ///< ms, monotonic
        int untold = 0;
    };

    QString path_;
    StatusBoard& board_;
    ErrorLog& errorLog_;
    const Clock& clock_;
    std::deque<LedgerEntry> waiting_;
    std::array<LastPacket, kSlots> last_;
    HeardSpans heard_;           ///< in this run
    bool heardChanged_ = false;  ///< the file does not know all of it
    std::int64_t triedAt_ = 0;   ///< when it was written last, or could not be; ms, monotonic
    std::map<std::pair<int, std::string>, Telling> told_;  ///< by slot and counter
    std::vector<LedgerEntry> doubtful_;
    QString problem_;
    std::int64_t lost_ = 0;
    bool writing_ = false;
    bool closed_ = false;
    SqlWorker worker_;
};

}  // namespace corvane
