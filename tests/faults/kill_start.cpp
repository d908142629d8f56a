// Kills the real service with SIGKILL at random moments of its start, where it makes its database or mends
// one that lacks tables, and looks whether the next start finds all it needs:
//
//   fault_kill_start ROUNDS [SEED]
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <random>

#include "faults/fault.h"
#include "store/schema.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

struct Start {
    const char* name;
    void (*prepare)(const QString& path);
    std::string rows;  ///< of the four base tables, once a start came to its end
};

/// A database that another program left with its records alone.
void MakeWithoutDevices(const QString& path) {
    Require(bool(CreateTables(path.toStdString())), "no database");
    const QueryResult made = CaptureDatabase(path.toStdString())
                                 .Run(
                                     "DROP TABLE applicationinfo; DROP TABLE applications; INSERT INTO "
                                     "monitordata_minute(deviceaddress) VALUES (1), (2), (3)");
    Require(made.Ok(), QString::fromStdString(made.errorText));
}

const Start kStarts[] = {
    {"`kill -9` at a random moment of the first start", [](const QString&) {}, "1 1 0 0"},
    {"`kill -9` while missing tables are made", MakeWithoutDevices, "1 1 0 3"},
};

void StartsInFull(const RenewedFolder& house, const Start& start) {
    Service(house).End();
    const std::string rows = RowOfWhole(house.DatabasePath(),
                                        "SELECT (SELECT count(*) FROM applicationinfo), (SELECT count(*) "
                                        "FROM applications), (SELECT count(*) FROM monitordata_hourly), "
                                        "(SELECT count(*) FROM monitordata_minute)");
    Require(rows == start.rows, u"rows of the tables: "_s + QString::fromStdString(rows));
    const SettingsStore settings(house.folder.Path(u"corvane.ini"_s));
    Require(KeptByKey(settings, u"TcpPortA"_s) == QString::number(house.portA), "the settings lost a port");
    const QStringList left = QDir(house.folder.Path()).entryList({u"*.new*"_s, u"*-journal"_s});
    Require(left.isEmpty(), u"left behind: "_s + left.join(u' '));
}

void Kills(const RenewedFolder& house, const Start& start, int rounds, std::mt19937& random) {
    const auto prepare = [&] {
        house.Renew();
        start.prepare(house.DatabasePath());
    };
    prepare();
    QElapsedTimer elapsed;
    elapsed.start();
    {
        Service whole(house);
        whole.KillNow();
    }
    const auto duration = static_cast<unsigned>(elapsed.nsecsElapsed() / 1000);
    int midway = 0;
    for (int round = 0; round < rounds; ++round) {
        prepare();
        Started service(u"corvaned"_s, house.Arguments());
        QThread::usleep(random() % duration);
        service.Kill();
        (void)service.ExitCode();
        midway += QDir(house.folder.Path()).entryList({u"*.new*"_s, u"*-journal"_s}).isEmpty() ? 0 : 1;
        StartsInFull(house, start);
    }
    Tell(QString::fromLatin1(start.name),
         u"%1 kills, %2 of them while the file was written: each next start found or made all tables, and no "
         u"row "
         "was lost"_s.arg(rounds)
             .arg(midway));
}

void Run(const QStringList& words) {
    const int rounds = words[1].toInt();
    Require(rounds > 0, "no rounds");
    std::mt19937 random(words.value(2, u"1"_s).toUInt());
    const RenewedFolder house;
    for (const Start& start : kStarts)
        Kills(house, start, rounds, random);
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    return corvane::RunWith(argc, argv, "ROUNDS [SEED]", corvane::Run);
}
