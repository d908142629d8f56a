// Kills the real service with SIGKILL at random moments of a condense, a repair and the backup before it, and
// looks at what they leave behind:
//
//   fault_kill_maintenance ROUNDS [SEED]
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <random>
#include <stdexcept>

#include "store/capture_database.h"
#include "store/schema.h"
#include "system/programs.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kRows = 60'000;

void Require(bool condition, const QString& what) {
    if (!condition) throw std::runtime_error(what.toStdString());
}

/// Rows, a row's content, and the type of the column to be mended, in one text.
std::string Fingerprint(const QString& path) {
    const CaptureDatabase database(path.toStdString());
    const QueryResult whole = database.Run("PRAGMA integrity_check");
    Require(whole.Ok() && whole.rows.front().front() == "ok", path + u" is damaged"_s);
    const QueryResult rows = database.Run(
        "SELECT COUNT(*), SUM(id), SUM(ch1kwh), (SELECT type FROM pragma_table_info('monitordata_minute') "
        "WHERE "
        "name='ch1kwh'), (SELECT COUNT(*) FROM sqlite_master) FROM monitordata_minute");
    Require(rows.Ok(), u"%1: %2"_s.arg(path, QString::fromStdString(rows.errorText)));
    std::string text;
    for (const auto& cell : rows.rows.front())
        text += cell.value_or("NULL") + " ";
    return text;
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
        std::printf("%s: %d kills, %d left the old rows and %d the new ones, all whole\n", name, rounds,
                    unchanged, finished);
    }

private:
    /// What the database is after the command, killed so many microseconds after its start; -1: not killed.
    std::string Round(const QStringList& command, int microseconds) {
        ServiceFolder house;
        const QString path = house.folder.Path(u"vrq1.db3"_s);
        Require(QFile::copy(pristine_, path), u"no copy"_s);
        Started service(u"corvaned"_s, house.Arguments());
        Require(service.Says(u"TCP Server B listens"_s),
                u"the service does not start: "_s + service.Output());
        Started ctl(u"corvanectl"_s, QStringList{u"--yes"_s} + house.Arguments() + command);
        if (microseconds >= 0) {
            QThread::usleep(static_cast<unsigned long>(microseconds));
            service.Kill();
        }
        const int code = ctl.ExitCode();
        Require(microseconds >= 0 || code == 0, ctl.Output());
        service.Kill();
        (void)service.ExitCode();
        // A backup that has its name is whole.
        const QString backup = house.folder.Path(u"vrq1_bak1.db3"_s);
        Require(!QFile::exists(backup) || Fingerprint(backup) == old_, u"a backup is not whole"_s);
        return Fingerprint(path);
    }

    TempFolder folder_;
    QString pristine_ = folder_.Path(u"pristine.db3"_s);
    std::string old_;
    std::mt19937 random_;
};

void Run(int rounds, unsigned seed) {
    Rounds kills(seed);
    kills.Run("condense", {u"db"_s, u"condense"_s, u"2025-12-31"_s, u"2026-01-02"_s}, rounds);
    kills.Run("repair, after a backup", {u"db"_s, u"repair"_s, u"minute"_s}, rounds);
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int rounds = arguments.value(1).toInt();
    if (rounds <= 0) {
        std::fputs("usage: fault_kill_maintenance ROUNDS [SEED]\n", stderr);
        return 64;
    }
    try {
        corvane::Run(rounds, arguments.value(2, QStringLiteral("1")).toUInt());
    } catch (const std::runtime_error& fault) {
        std::fprintf(stderr, "%s\n", fault.what());
        return 1;
    }
    return 0;
}
