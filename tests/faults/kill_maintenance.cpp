// Kills the real service with SIGKILL at random moments of a condense, of a repair and of a restore, and of
// the backup before these, and looks at what they leave behind:
//
//   fault_kill_maintenance ROUNDS [SEED]
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <random>

#include "faults/fault.h"
#include "store/schema.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kRows = 60'000;

/// Rows, a row's content, and the type of the column to be mended, in one text.
std::string Fingerprint(const QString& path) {
    return RowOfWhole(
        path,
        "SELECT COUNT(*), SUM(id), SUM(ch1kwh), (SELECT type FROM pragma_table_info('monitordata_minute') "
        "WHERE name='ch1kwh'), (SELECT COUNT(*) FROM sqlite_master) FROM monitordata_minute");
}

/// A day of a row each second or so, in a table whose energy has the wrong type.
void MakeDatabase(const QString& path) {
    Require(bool(CreateTables(path.toStdString())), u"no database"_s);
    std::string old = sql::kNewMinuteDataTable;
    const std::string column = "ch1kwh DOUBLE";
    old.replace(old.find(column), column.size(), "ch1kwh NUMERIC");
    const auto database = CaptureDatabase::OpenFile(path.toStdString(), false);
    const QueryResult made = database.GetTable(
        "DROP TABLE monitordata_minute;" + old +
        ";WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n LIMIT " + std::to_string(kRows) +
        ") INSERT INTO monitordata_minute(date, deviceaddress, ch1kwh) SELECT datetime('2026-01-01 "
        "00:00:01', "
        "i || ' seconds'), 300001, i / 4.0 FROM n");
    Require(made.Ok(), QString::fromStdString(made.errorText));
}

class Rounds {
public:
    explicit Rounds(unsigned seed) : random_(seed) {
        MakeDatabase(pristine_);
        old_ = Fingerprint(pristine_);
        Require(QFile::copy(pristine_, earlier_), u"no copy"_s);
        const QueryResult fewer =
            CaptureDatabase(earlier_.toStdString()).Run("DELETE FROM monitordata_minute WHERE id % 3 = 0");
        Require(fewer.Ok(), QString::fromStdString(fewer.errorText));
        backedUp_ = Fingerprint(earlier_);
    }

    /// Rounds of one command; what it must lead to is what it gives when nobody kills it.
    void Run(const char* name, const QStringList& command, int rounds) {
        QElapsedTimer elapsed;
        elapsed.start();
        const std::string done = Round(command, -1);
        const auto duration = static_cast<unsigned>(elapsed.nsecsElapsed() / 1000);
        Require(done != old_, u"the command changes nothing"_s);
        int unchanged = 0;
        int finished = 0;
        for (int round = 0; round < rounds; ++round) {
            const std::string left = Round(command, static_cast<int>(random_() % duration));
            Require(left == old_ || left == done, u"half done: "_s + QString::fromStdString(left));
            (left == old_ ? unchanged : finished) += 1;
        }
        Tell(
            u"`kill -9` in the middle of a "_s + QLatin1StringView(name),
            u"%1 kills: %2 left the old rows and %3 the new ones, nothing in between; no backup was cut short"_s
                .arg(rounds)
                .arg(unchanged)
                .arg(finished));
    }

private:
    /// What the database is after the command, killed so many microseconds after its start; -1: not killed.
    std::string Round(const QStringList& command, int microseconds) {
        house_.Renew();
        const QString path = house_.DatabasePath();
        Require(QFile::copy(pristine_, path), u"no copy"_s);
        const bool restoring = command.contains(u"restore"_s);
        if (restoring) Require(QFile::copy(earlier_, house_.folder.Path(u"vrq1_bak1.db3"_s)), u"no copy"_s);
        Service service(house_);
        Started ctl(u"corvanectl"_s, QStringList{u"--yes"_s} + house_.Arguments() + command);
        if (microseconds >= 0) {
            QThread::usleep(static_cast<unsigned long>(microseconds));
            service.Kill();
        }
        const int code = ctl.ExitCode();
        Require(microseconds >= 0 || code == 0, ctl.Output());
        service.KillNow();
        // A backup that has its name is whole.
        for (const QString& name : {u"vrq1_bak1.db3"_s, u"vrq1_bak2.db3"_s}) {
            const QString backup = house_.folder.Path(name);
            const bool given = restoring && name == "vrq1_bak1.db3"_L1;
            Require(!QFile::exists(backup) || Fingerprint(backup) == (given ? backedUp_ : old_),
                    u"a backup is not whole"_s);
        }
        return Fingerprint(path);
    }

    TempFolder folder_;
    QString pristine_ = folder_.Path(u"pristine.db3"_s);
    std::string old_;
    QString earlier_ = folder_.Path(u"earlier.db3"_s);
    std::string backedUp_;
    RenewedFolder house_;
    std::mt19937 random_;
};

void Run(const QStringList& words) {
    const int rounds = words[1].toInt();
    Require(rounds > 0, "no rounds");
    Rounds kills(words.value(2, u"1"_s).toUInt());
    kills.Run("condense, and of the backup before it",
              {u"db"_s, u"condense"_s, u"2025-12-31"_s, u"2026-01-02"_s}, rounds);
    kills.Run("repair, and of the backup before it", {u"db"_s, u"repair"_s, u"minute"_s}, rounds);
    kills.Run("restore, and of the backup before it", {u"db"_s, u"restore"_s, u"1"_s}, rounds);
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    return corvane::RunWith(argc, argv, "ROUNDS [SEED]", corvane::Run);
}
