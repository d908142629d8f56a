// A whole program on a disk that fills up and is emptied again; FOLDER is on a small file system of its own:
//
//   fault_full_disk FOLDER
#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdio>

#include "app/program.h"
#include "faults/fault.h"
#include "store/settle_bursts.h"
#include "support/fake_clock.h"
#include "support/packets.h"
#include "support/scripted_operator.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// Takes all the room that is left.
void FillUp(const QString& path) {
    QFile file(path);
    Require(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered), "no filler file");
    for (const int size : {64 * 1024, 4096, 1}) {
        const QByteArray block(size, 'x');
        while (file.write(block) == size) {
        }
    }
}

std::string Cell(const Program& program, const std::string& sql) {
    const QueryResult result = program.database.Run(sql);
    return result.Ok() ? result.rows.front().front().value_or("NULL") : result.errorText;
}

/// A day of minute rows, ten seconds apart.
const char* const kManyRows =
    "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n LIMIT 8640) "
    "INSERT INTO monitordata_minute(date, deviceaddress) "
    "SELECT datetime('2026-01-01', (10 * i) || ' seconds'), 301234 FROM n";

/// Backup, condense and repair find no room: each says so, and leaves everything as it was.
void MaintenanceFails(Program& program) {
    const std::string count =
        "SELECT COUNT(*) || ' ' || (SELECT COUNT(*) FROM sqlite_master) FROM monitordata_minute";
    const std::string before = Cell(program, count);
    ScriptedOperator op;
    const auto fails = [&](const char* name, QCoro::Task<Outcome> operation) {
        const std::string error = QCoro::waitFor(std::move(operation)).Error().toStdString();
        std::printf("%s: %s\n", name, error.c_str());
        Require(!error.empty(), "it found room on a full disk");
        Require(Cell(program, count) == before, "it changed something");
        Require(Cell(program, "PRAGMA integrity_check") == "ok", "it damaged the database");
    };
    fails("backup", program.backups.BackupDBfile(op));
    const auto backups = QDir(program.DataFolder()).entryList({u"*_bak*"_s});
    Require(backups.isEmpty(), "it left a part of a backup");
    fails("condense", program.maintenance.Granulate(QDate(2025, 12, 31), QDate(2026, 2, 1), op));
    op.WillAnswer("back up the current database", Answer::No);
    op.WillAnswer("Are you sure", Answer::Yes);
    fails("repair", program.maintenance.RepairMinuteTable(op));
}

void Run(const QString& folder) {
    const QString settingsFile = QDir(folder).filePath(u"corvane.ini"_s);
    SettingsStore store(settingsFile);
    KeepByKey(store, u"DevSerial"_s, u"301234"_s, u"0"_s);
    FakeClock clock;
    Program program({.dataFolder = folder, .settingsFile = settingsFile}, clock);
    ScriptedOperator op;
    op.WillAnswer("Database Not Found", Answer::No);
    op.WillEnter("database filename", u"vrq1"_s);
    op.WillAnswer("default system file", Answer::Yes);
    op.WillAnswer("proceed", Answer::Yes);
    Require(bool(QCoro::waitFor(program.Start(op))), "the program does not start");

    MonitorState state{.seconds = 100};
    const auto aMinutePasses = [&] {
        clock.AdvanceSeconds(60);
        state.seconds += 60;
        state.ch1Absolute += 60'000;
        for (const std::uint8_t byte : PacketOf(state))
            program.framer.ProcessByte(kStreamTcpA, byte);
        SettleBursts(program.dbWriter);
    };
    for (int i = 0; i < 5; ++i)
        aMinutePasses();
    Require(program.dbWriter.WriteIndicator() == DbWriter::Indicator::Green, "nothing was written at first");

    Require(program.database.Run(kManyRows).Ok(), "the rows cannot be made");
    const QString filler = QDir(folder).filePath(u"filler"_s);
    FillUp(filler);
    for (int i = 0; i < 5; ++i)
        aMinutePasses();
    Require(program.dbWriter.WriteIndicator() == DbWriter::Indicator::Yellow,
            "the full disk shows no indicator");
    std::printf("said: %s\n", qPrintable(program.dbWriter.DatabaseMessageText()));
    Require(program.dbWriter.DatabaseMessageText().contains(u"full"_s), "the full disk is not said");
    Require(Cell(program, "PRAGMA integrity_check") == "ok",
            "the database is damaged while the disk is full");
    KeepByKey(program.settings, u"VoltX2"_s, true);  // there is no room for it
    MaintenanceFails(program);

    Require(QFile::remove(filler), "the filler stays");
    const std::string before = Cell(program, "SELECT count(*) FROM monitordata_minute");
    for (int i = 0; i < 5; ++i)
        aMinutePasses();
    Require(program.dbWriter.WriteIndicator() == DbWriter::Indicator::Green, "writing does not resume");
    const std::string after = Cell(program, "SELECT count(*) FROM monitordata_minute");
    Require(std::stoi(after) >= std::stoi(before) + 5, "rows are missing after the disk was emptied");
    Require(Cell(program, "PRAGMA integrity_check") == "ok", "the database is damaged");

    KeepByKey(program.settings, u"VRQ5806"_s, false);  // takes along what found no room
    const SettingsStore settings(settingsFile);
    Require(KeptByKey(settings, u"DevSerial"_s, {}, u"0"_s) == u"301234"_s, "the settings were emptied");
    QFile file(settingsFile);
    Require(file.open(QIODevice::ReadOnly) && file.readAll().contains("VoltX2=True"), "a setting was lost");
    std::printf("%s rows before, %s after the disk was emptied; all whole\n", before.c_str(), after.c_str());
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    return corvane::RunWith(argc, argv, "FOLDER", [](const QStringList& words) { corvane::Run(words[1]); });
}
