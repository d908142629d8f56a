// Another program holds the database of the real service locked while more records come than its queue takes:
//
//   fault_locked SECONDS [ROWS]
//
// With 0 seconds the rows come as fast as they are taken, and the end of the service under a lock is left
// out, which takes 20 seconds.
#include <QElapsedTimer>
#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <optional>

#include "faults/stepped_service.h"
#include "store/db_buffer.h"
#include "store/schema.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kRowsAMinute = 3 * kMonitors;
const char* const kMinuteTables[] = {"monitordata_minute", "minute_power", "minute_energy"};

class Lock {
public:
    explicit Lock(const QString& path) : connection_(CaptureDatabase::OpenFile(path.toStdString(), false)) {
        Require(SpinUntil([&] { return connection_.GetTable("BEGIN EXCLUSIVE").Ok(); }), "no lock");
    }

private:
    CaptureDatabase::Connection connection_;
};

QString Seconds(const QElapsedTimer& since) {
    return QString::number(static_cast<double>(since.elapsed()) / 1000, 'f', 1);
}

int LinesKept(const RenewedFolder& house) {
    const std::string lines = house.folder.Read(u"unwritten.sql"_s);
    return static_cast<int>(std::ranges::count(lines, '\n'));
}

void IsInOrder(const RenewedFolder& house, const std::string& table) {
    const std::string back =
        RowOfWhole(house.DatabasePath(),
                   "SELECT count(*) FROM (SELECT date, lag(date) OVER (ORDER BY rowid) before FROM " + table +
                       ") WHERE date < before");
    Require(back == "0", u"rows of %1 are out of order"_s.arg(QString::fromStdString(table)));
}

/// A row of each monitor, minute and table, once; but the very first one comes to an empty queue, and is
/// there twice.
void AllIsThere(const RenewedFolder& house, const SteppedWall& wall) {
    for (const char* table : kMinuteTables) {
        const int rows = RowsIn(house, table);
        Require(
            rows == kMonitors * wall.Minutes(),
            u"%1 of %2 rows in %3"_s.arg(rows).arg(kMonitors * wall.Minutes()).arg(QLatin1StringView(table)));
    }
    const std::string all = RowOfWhole(house.DatabasePath(), "SELECT count(*) FROM monitordata_minute");
    Require(std::stoi(all) <= kMonitors * wall.Minutes() + 1, "rows are there twice");
}

/// Minutes with so many rows in all, spread over the seconds.
void PassMinutes(SteppedService& service, int rows, int seconds) {
    QElapsedTimer time;
    time.start();
    const int minutes = rows / kRowsAMinute;
    for (int minute = 1; minute <= minutes; ++minute) {
        service.PassMinute();
        const qint64 early = 1000LL * seconds * minute / minutes - time.elapsed();
        if (early > 0) QThread::msleep(static_cast<unsigned long>(early));
    }
}

void LongLock(const RenewedFolder& house, SteppedWall& wall, int seconds, int rows) {
    SteppedService service(house, wall);
    PassMinutes(service, 100, 0);
    QElapsedTimer time;
    time.start();
    std::optional<Lock> lock(house.DatabasePath());
    PassMinutes(service, rows, seconds);
    const QString held = Seconds(time);
    const QJsonObject locked = DatabaseStatus(house);
    Require(locked[u"pending"_s] == DbBuffer::kMax && locked[u"indicator"_s] == "yellow"_L1,
            "the status does not tell of the lock");
    Require(locked[u"unwritten"_s] == LinesKept(house) && locked[u"lost"_s] == 0,
            "not all that was given up is in unwritten.sql");

    time.restart();
    lock.reset();
    AwaitWriting(house, service);
    const QString took = Seconds(time);
    for (const char* table : kMinuteTables)
        IsInOrder(house, table);
    const int kept = LinesKept(house);
    WriteIn(house);
    service.End();
    AllIsThere(house, wall);
    Tell(u"the file locked by another program for %1 s while %2 rows come"_s.arg(held).arg(rows),
         u"16,000 rows wait, and are written in their order within %1 s once it is free; the %2 without room "
         u"are in "
         "`unwritten.sql`, and `corvanectl db write-unwritten` writes each once"_s.arg(took)
             .arg(kept));
}

void EndUnderLock(const RenewedFolder& house, SteppedWall& wall) {
    constexpr int kRows = 1800;
    SteppedService service(house, wall);
    std::optional<Lock> lock(house.DatabasePath());
    PassMinutes(service, kRows, 0);
    QElapsedTimer time;
    time.start();
    service.Terminate();
    Require(service.ExitCode(25'000) == 0, "the service does not end under a lock");
    const QString took = Seconds(time);
    lock.reset();
    const int kept = LinesKept(house);
    Service again(house);
    WriteIn(house);
    again.End();
    AllIsThere(house, wall);
    Tell(
        u"SIGTERM while the file is locked"_s,
        u"ends within %1 s; the %2 rows that were queued are in `unwritten.sql`, and are written in by the next run"_s
            .arg(took)
            .arg(kept));
}

void Run(const QStringList& words) {
    const int seconds = words[1].toInt();
    const QFileInfo memory(u"/dev/shm"_s);
    if (seconds == 0 && memory.isWritable()) qputenv("TMPDIR", memory.filePath().toLocal8Bit());
    const RenewedFolder house;
    PresetMonitors(house);
    const std::string path = house.DatabasePath().toStdString();
    Require(bool(CreateTables(path)), "no database");
    for (const char* table : {sql::kNewPowerTable, sql::kNewEnergyTable})
        Require(CaptureDatabase(path).Run(table).Ok(), "no table");
    SteppedWall wall;
    LongLock(house, wall, seconds, words.value(2, u"16200"_s).toInt());
    if (seconds > 0) EndUnderLock(house, wall);
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    return corvane::RunWith(argc, argv, "SECONDS [ROWS]", corvane::Run);
}
