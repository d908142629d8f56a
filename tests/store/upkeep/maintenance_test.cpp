#include "store/upkeep/maintenance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/date_entry.h"
#include "store/upkeep/maintenance_fixture.h"
#include "support/loopback.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const char* const kBackUpFirst = "Would you like to back up the current database first?";
const char* const kContinue = "Are you sure you wish to continue?";

struct MaintenanceTest : MaintenanceFixture {
    ~MaintenanceTest() override {
        // Whatever the operation came to: records are written again, and the file is whole.
        writer.WriteSQL("insert into monitordata_hourly(date) values ('afterwards')");
        writer.Flush();
        EXPECT_THAT(All("SELECT date FROM monitordata_hourly"), Contains("afterwards"));
        EXPECT_THAT(All("PRAGMA integrity_check"), ElementsAre("ok"));
    }

    void AddMinutes(std::initializer_list<const char*> rows) const {
        for (const char* row : rows)
            Execute(path,
                    std::string("INSERT INTO monitordata_minute(id, date, deviceaddress) VALUES ") + row);
    }
    [[nodiscard]] std::vector<std::string> MinuteIds() const {
        return All("SELECT id FROM monitordata_minute");
    }
};

QDate On(const char* text) {
    return ProperDate(QString::fromLatin1(text)).value();
}

TEST_F(MaintenanceTest, CondensingLeavesTheLastRowOfEachDeviceAndMinuteWithinTheLimits) {
    AddMinutes({"(1, '2026-01-02 00:00:00', 301)", "(2, '2026-01-02 00:00:10', 301)",
                "(3, '2026-01-02 00:00:50', 301)",  // 2 goes, 1 is the limit
                "(4, '2026-01-03 10:00:05', 302)", "(5, '2026-01-03 10:00:01', 301)",  // another device
                "(6, '2026-01-03 10:00:00', 301)",  // 5 goes: the id counts
                "(7, '2026-01-04 23:59:58', 301)", "(8, '2026-01-04 23:59:59', 301)",  // 7 goes
                "(9, '2026-01-05 00:00:01', 301)", "(10, '2026-01-05 00:00:02', 301)"});
    EXPECT_EQ(Result(maintenance.Granulate(On("2026-01-02"), On("2026-1-4"), op)), "");
    EXPECT_THAT(MinuteIds(), ElementsAre("1", "3", "4", "6", "8", "9", "10"));
    EXPECT_THAT(op.Messages(), ElementsAre(StartsWith("Condensing Granular Data.\nThis process may take"),
                                           "Condensed: 3 rows are gone."));
}

TEST_F(MaintenanceTest, DeletingKeepsTheTwoDaysThatLimitIt) {
    AddMinutes({"(1, '2026-01-02 23:59:59', 301)", "(2, '2026-01-03 00:00:00', 301)",
                "(3, '2026-01-03 12:00:00', 302)", "(4, '2026-01-04 00:00:00', 301)"});
    EXPECT_EQ(Result(maintenance.DeleteMinutes(On("2026-01-02"), On("2026-01-04"), op)), "");
    EXPECT_THAT(MinuteIds(), ElementsAre("1", "4"));
    EXPECT_EQ(op.Messages().back(), "Deleted: 2 rows are gone.");
}

TEST_F(MaintenanceTest, WhatIsOlderThanSomeDaysGoesAfterAQuestionThatNamesTheMoment) {
    AddMinutes({"(1, '2026-02-23 10:20:29', 301)", "(2, '2026-02-23 10:20:30', 301)"});
    for (const auto& [days, error] : {std::pair{"abc", "Must be a numeric value"},
                                      {"0", "Must be 1 day or greater."},
                                      {"1501", "Number of days is too high. Try different value."}})
        EXPECT_EQ(Result(maintenance.DeleteOlderThan(QString::fromLatin1(days), op)), error);
    EXPECT_TRUE(Maintenance::CheckDays(u"1500"_s));
    for (const Answer answer : {Answer::No, Answer::Yes}) {
        EXPECT_THAT(MinuteIds(), ElementsAre("1", "2"));
        op.WillAnswer("older than 7 days. (2026-02-23 10:20:30)\nDo you wish to continue?", answer);
        EXPECT_EQ(Result(maintenance.DeleteOlderThan(u"7"_s, op)),
                  answer == Answer::Yes ? "" : "Deletion aborted.");
    }
    EXPECT_THAT(MinuteIds(), ElementsAre("2"));
}

TEST_F(MaintenanceTest, EmptyingTakesThreeAnswersAndABackupThatWasWantedMustSucceed) {
    const std::string hourly = "SELECT COUNT(*) FROM monitordata_hourly";
    Fill(5);
    Execute(path, "INSERT INTO monitordata_hourly(date) VALUES ('2026-01-01')");
    const char* const kWilling = "Are you willing to lose all collected data?";
    const char* const kAdvised = "It is advised to backup your database before proceeding.";
    const char* const kNow = "The database data will now be deleted.";

    op.WillAnswer(kWilling, Answer::No);
    EXPECT_EQ(Result(maintenance.DeleteDBdata(op)), "Deletion aborted.");
    op.WillAnswer(kWilling, Answer::Yes);
    op.WillAnswer(kAdvised, Answer::No);
    op.WillAnswer(kNow, Answer::No);
    EXPECT_EQ(Result(maintenance.DeleteDBdata(op)), "Aborting process");
    folder.Write(u"vrq1_bak1.db3"_s, "older");
    op.WillAnswer(kWilling, Answer::Yes);
    op.WillAnswer(kAdvised, Answer::Yes);
    op.WillAnswer("keep the older backups", Answer::Cancel);
    EXPECT_THAT(Result(maintenance.DeleteDBdata(op)), HasSubstr("has not been backed up!"));
    EXPECT_THAT(All(hourly), ElementsAre("1"));

    op.WillAnswer(kWilling, Answer::Yes);
    op.WillAnswer(kAdvised, Answer::Yes);
    op.WillAnswer("keep the older backups", Answer::Yes);
    op.WillAnswer(kNow, Answer::Yes);
    EXPECT_EQ(Result(maintenance.DeleteDBdata(op)), "");
    EXPECT_THAT(All(hourly), ElementsAre("0"));
    EXPECT_THAT(MinuteIds(), IsEmpty());
    EXPECT_THAT(Rows(folder.Path(u"vrq1_bak2.db3"_s).toStdString(), hourly), ElementsAre("1"));
}

TEST_F(MaintenanceTest, OutliersAreZeroedInEveryEnergyColumnAndNowhereElse) {
    const std::string columns = "ch1kwh,ch1kwhp,ch2kwh,ch2kwhp,aux1kwh,aux2kwh,aux3kwh,aux4kwh,aux5kwh";
    Execute(path,
            "INSERT INTO monitordata_hourly(date," + columns + ") VALUES ('d',51,52,53,54,55,56,57,58,59)");
    Execute(path, "INSERT INTO monitordata_hourly(date," + columns + ") VALUES ('d',1,2,3,4,5,6,7,8,50.5)");
    for (const char* wrong : {"", "many", "0", "-1"})
        EXPECT_EQ(Result(maintenance.ZeroOutliers(QString::fromLatin1(wrong), op)), "Select a kWh value!");
    EXPECT_EQ(Result(maintenance.ZeroOutliers(u"50.5"_s, op)), "");
    EXPECT_THAT(All("SELECT " + columns + " FROM monitordata_hourly"),
                ElementsAre("0.0|0.0|0.0|0.0|0.0|0.0|0.0|0.0|0.0", "1.0|2.0|3.0|4.0|5.0|6.0|7.0|8.0|50.5"));
    EXPECT_EQ(op.Messages().back(), "Completed !");
}

TEST_F(MaintenanceTest, TablesWithColumnsOfTheWrongTypeAreFoundAndMadeAnew) {
    const std::string schema = "SELECT name, sql FROM sqlite_master ORDER BY name";
    const std::vector<std::string> proper = All(schema);
    for (const DataTable table : {DataTable::Hourly, DataTable::Minute})
        EXPECT_EQ(maintenance.TestColumnTypes(table),
                  u"Test Results: Passed........, fields are proper \"DOUBLE\" type."_s);

    for (const auto& [name, create] : {std::pair{"monitordata_hourly", sql::kNewHourlyTable},
                                       {"monitordata_minute", sql::kNewMinuteDataTable}}) {
        std::string old = create;
        for (const std::string column : {"aux2kwh DOUBLE", "ch1kwh DOUBLE"})
            old.replace(old.find(column), column.size(), column.substr(0, column.find(' ')) + " NUMERIC");
        Execute(path, std::string("DROP TABLE ") + name + ";" + old + ";INSERT INTO " + name +
                          "(id,date,deviceaddress,ch1kwh,aux2kwh,online) VALUES "
                          "(7,'a',301,1.5,'2',1),(9,'b',302,3,NULL,0)");
    }
    const char* const kFound =
        "The hourly table field type is improper: ch1kwh, aux2kwh\nThe %1 table needs to be repaired to "
        "change "
        "certain field types from NUMERIC to DOUBLE";
    EXPECT_EQ(maintenance.TestColumnTypes(DataTable::Hourly), QString::fromLatin1(kFound).arg(u"hourly"_s));
    EXPECT_EQ(maintenance.TestColumnTypes(DataTable::Minute), QString::fromLatin1(kFound).arg(u"minute"_s));

    for (const bool hourly : {true, false}) {
        op.WillAnswer(kBackUpFirst, Answer::No);
        op.WillAnswer(kContinue, Answer::Yes);
        EXPECT_EQ(Result(hourly ? maintenance.RepairHourlyTable(op) : maintenance.RepairMinuteTable(op)), "");
        EXPECT_THAT(All(std::string("SELECT id,date,deviceaddress,ch1kwh,aux2kwh,online FROM monitordata_") +
                        (hourly ? "hourly" : "minute")),
                    ElementsAre("7|a|301|1.5|2.0|1", "9|b|302|3.0|NULL|0"));
    }
    EXPECT_EQ(All(schema), proper);
}

TEST_F(MaintenanceTest, ARepairThatCannotBeFinishedChangesNothing) {
    Fill(10);
    const std::vector<std::string> before = MinuteIds();
    op.WillAnswer(kBackUpFirst, Answer::No);
    op.WillAnswer(kContinue, Answer::No);
    EXPECT_EQ(Result(maintenance.RepairMinuteTable(op)), "The minute table was not repaired.");

    Execute(path, "CREATE TABLE tmp (id INTEGER PRIMARY KEY); INSERT INTO tmp VALUES (1)");
    EXPECT_THAT(Result(maintenance.RepairMinuteTable(op)), HasSubstr("holds a table tmp with rows"));
    Execute(path, "DROP TABLE tmp; ALTER TABLE monitordata_minute DROP COLUMN online");
    op.WillAnswer(kBackUpFirst, Answer::No);
    op.WillAnswer(kContinue, Answer::Yes);
    EXPECT_THAT(Result(maintenance.RepairMinuteTable(op)),
                StartsWith("Error Processing INSERT INTO tmp SELECT id, date, deviceaddress, "));
    EXPECT_EQ(MinuteIds(), before);
    EXPECT_THAT(All("SELECT name FROM sqlite_master WHERE name='tmp'"), IsEmpty());
}

TEST_F(MaintenanceTest, ShortSerialNumbersAreReplacedThroughoutAfterAsking) {
    Execute(path,
            "INSERT INTO monitordata_hourly(date,deviceaddress) VALUES "
            "('a',77),('b',300001),('c',8),('d',100001)");
    Execute(path, "INSERT INTO monitordata_minute(date,deviceaddress) VALUES ('a',77),('b',8),('c',300001)");
    Execute(path, "UPDATE applicationinfo SET deviceaddress='8'");
    op.WillAnswer("Serial number 77 is too short.", Answer::No);
    op.WillAnswer("Serial number 8 is too short.", Answer::Yes);
    EXPECT_EQ(Result(maintenance.RepairSerialNumbers(op)), "");
    // 100001 is taken by a device, 100002 was that of the one declined.
    EXPECT_THAT(All("SELECT deviceaddress FROM monitordata_hourly"),
                ElementsAre("77", "300001", "100003", "100001"));
    EXPECT_THAT(All("SELECT deviceaddress FROM monitordata_minute"), ElementsAre("77", "100003", "300001"));
    EXPECT_THAT(All("SELECT deviceaddress FROM applicationinfo"), ElementsAre("100003"));
}

TEST_F(MaintenanceTest, LabelsAreResetUpToTheFirstDeviceWithoutASerialNumber) {
    const std::string labels =
        "SELECT id,deviceaddress,ch1alias,aux5desc,isprimarydevice FROM applicationinfo";
    const char* const kWarning = "This will delete all of the assigned Labels, Pictures and Comments";
    const auto before = All(labels);
    op.WillAnswer(kWarning, Answer::No);
    EXPECT_NE(Result(maintenance.ResetLabels(op)), "");
    op.WillAnswer(kWarning, Answer::Yes);
    EXPECT_EQ(Result(maintenance.ResetLabels(op)), "No device serial number has been assigned to Device A.");
    EXPECT_EQ(All(labels), before);

    for (const auto& [section, serial] : {std::pair{u"0"_s, u"300001"_s}, {u"2"_s, u"300003"_s}})
        KeepByKey(settings, u"DevSerial"_s, serial, section);
    op.WillAnswer(kWarning, Answer::Yes);
    EXPECT_EQ(Result(maintenance.ResetLabels(op)), "");
    EXPECT_THAT(All(labels), ElementsAre("1|300001|No Label| |TRUE"));
    for (int device = 1; device < 6; ++device)
        KeepByKey(settings, u"DevSerial"_s, QString::number(300001 + device), QString::number(device));
    op.WillAnswer(kWarning, Answer::Yes);
    EXPECT_EQ(Result(maintenance.ResetLabels(op)), "");
    EXPECT_THAT(All("SELECT deviceaddress FROM applicationinfo"),
                ElementsAre("300001", "300002", "300003", "300004"));
}

/// The event loop lives while a statement runs, and whoever has to can end it.
TEST_F(MaintenanceTest, RunsBesideTheEventLoopAndEndsWhenTold) {
    const SqlJob endless = [](SqlSession& session) {
        session.Begin(u"Counting"_s, 1e9);
        return session.Database().GetTable(
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT MAX(i) FROM n");
    };
    const auto start = [&] { return work.Run(u"Work"_s, path, endless, op); };
    const auto finish = [](QCoro::Task<QueryResult> task) {
        return QCoro::waitFor(std::move(task)).errorText;
    };

    clock.AdvanceSeconds(5);
    auto given = start();
    EXPECT_THAT(finish(work.Run(u"Other"_s, path, endless, op)), HasSubstr("still running"));
    writer.WriteSQL("insert into monitordata_hourly(date) values ('waits')");
    EXPECT_THAT(All("SELECT date FROM monitordata_hourly"), IsEmpty());
    clock.AdvanceSeconds(2);
    EXPECT_EQ(op.progress.back().seconds, 2);
    ASSERT_TRUE(SpinUntil([&] {
        clock.AdvanceSeconds(1);
        return op.progress.back().operation == u"Counting"_s;
    }));
    EXPECT_TRUE(work.Running());
    op.cancelled = true;
    clock.AdvanceSeconds(1);
    EXPECT_EQ(finish(std::move(given)), "interrupted");

    op.cancelled = false;
    auto closed = start();
    auto stopping = work.Stop();  // the program closes
    EXPECT_EQ(finish(std::move(closed)), "interrupted");
    clock.Advance(10);
    EXPECT_TRUE(stopping.isReady());
    EXPECT_EQ(finish(start()), "interrupted") << "nothing new begins";
}

}  // namespace
}  // namespace corvane
