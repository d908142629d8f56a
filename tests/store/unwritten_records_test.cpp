#include "store/unwritten_records.h"

#include <gmock/gmock.h>

#include "store/upkeep/maintenance_fixture.h"
#include "support/loopback.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string Hourly(const std::string& date, int kwh) {
    return "insert into monitordata_hourly(date,deviceaddress,ch1kwh,online) values ('" + date + "',301234," +
           std::to_string(kwh) + ",1);";
}
// As the capture words it, with a column that is named twice.
const std::string kEnergy =
    "insert into "
    "minute_energy(date,deviceaddress,ch1Akwh,ch2Pkwh,ch2Akwh,ch2Pkwh,aux1kwh,aux2kwh,aux3kwh,aux4kwh,"
    "aux5kwh) values ('2026-03-02 10:20',301234,1.5,2,-3e-05,2,0,0,0,0,0);";
const QString kWhy = u"database or disk is full"_s;

struct UnwrittenTest : MaintenanceFixture {
    UnwrittenRecords unwritten{folder.Path(), errorLog, clock};

    [[nodiscard]] std::string File() const {
        return QFile::exists(unwritten.Path()) ? folder.Read(u"unwritten.sql"_s) : "";
    }
    void Keep(std::initializer_list<std::string> statements) {
        for (const std::string& statement : statements)
            unwritten.Keep(statement, kWhy);
        EXPECT_TRUE(unwritten.Save());
    }
    [[nodiscard]] std::vector<std::string> HourRows() const {
        return All("SELECT id, date, ch1kwh FROM monitordata_hourly ORDER BY id");
    }
};

TEST_F(UnwrittenTest, AreKeptALineEachInAFileForTheUserAloneAndFoundAgain) {
    unwritten.Keep("a;", kWhy);
    EXPECT_EQ(File(), "");
    EXPECT_TRUE(SpinUntil([this] { return File() == "a;\n"; })) << "as soon as events run";
    Keep({"b\nc;"});
    EXPECT_EQ(File(), "a;\nb c;\n");
    EXPECT_EQ(QFile::permissions(unwritten.Path()) & ~(QFile::ReadUser | QFile::WriteUser),
              QFile::ReadOwner | QFile::WriteOwner);
    folder.Write(u"unwritten.sql"_s, "a;\nb c;\ncut of");  // by a kill
    UnwrittenRecords later(folder.Path(), errorLog, clock);
    EXPECT_EQ(later.Count(), 2);
    EXPECT_EQ(File(), "a;\nb c;\n");
    EXPECT_THAT(later.StateText().toStdString(), HasSubstr("2 records could not be written to the database"));
    EXPECT_TRUE(later.Forget(3));
    EXPECT_EQ(File(), "b c;\n") << "what came meanwhile stays";
    EXPECT_EQ(later.Count(), 1);
    EXPECT_TRUE(later.Forget(5));
    EXPECT_FALSE(QFile::exists(later.Path()));
    EXPECT_EQ(later.StateText(), u""_s);
}

TEST_F(UnwrittenTest, WaitInMemoryForRoomAndAreLostOnlyBeyondTheLimitWhichIsTold) {
    UnwrittenRecords small(elsewhere.Path(u"not/there"_s), errorLog, clock, 6);
    std::vector<std::string> told;
    QObject::connect(&small, &UnwrittenRecords::Told,
                     [&told](const QString& text) { told.push_back(text.toStdString()); });
    small.Keep("1;", kWhy);
    small.Keep("2;", kWhy);
    EXPECT_FALSE(small.Save());
    EXPECT_THAT(small.StateText().toStdString(), HasSubstr("2 of them only in memory"));
    small.Keep("3;", kWhy);
    small.Keep("4;", kWhy);
    EXPECT_EQ(small.Count(), 2);
    EXPECT_EQ(small.Lost(), 2);
    EXPECT_THAT(told, ElementsAre(HasSubstr("2 records could not be written"), HasSubstr("is full")));
    ASSERT_TRUE(QDir().mkpath(elsewhere.Path(u"not/there"_s)));
    clock.AdvanceSeconds(1);
    EXPECT_EQ(elsewhere.Read(u"not/there/unwritten.sql"_s), "1;\n2;\n") << "the room is found by itself";
}

TEST_F(UnwrittenTest, TheLogTellsEachReasonAtOnceAndThenOnceAnHour) {
    const auto lines = [this] { return errorLog.Load().lines.size(); };
    Keep({"1;", "2;"});
    Keep({"3;", "4;"});
    ASSERT_EQ(lines(), 1);
    EXPECT_THAT(errorLog.Load().lines.back().toStdString(), HasSubstr("2 records could not be written"));
    clock.AdvanceSeconds(3599);
    EXPECT_EQ(lines(), 1);
    clock.AdvanceSeconds(1);
    EXPECT_EQ(lines(), 2);
    unwritten.Keep("5;", kWhy);
    unwritten.Keep("6;", u"The queue of the database is full"_s);
    clock.AdvanceSeconds(7200);
    EXPECT_EQ(lines(), 4);
    clock.AdvanceSeconds(7200);
    EXPECT_EQ(lines(), 4) << "nothing new, nothing told";
}

TEST_F(UnwrittenTest, AreWrittenInOnceInTheirOrder) {
    Execute(path, sql::kNewEnergyTable);
    Execute(path, Hourly("2026-03-02 08:00:00", 8));
    Keep({Hourly("2026-03-02 09:00:00", 9), kEnergy, Hourly("2026-03-02 08:00:00", 8),
          Hourly("2026-03-02 10:00:00", 10)});
    for (const char* counts :
         {"3 records were written to the database; 1 were there already.", "No record is unwritten."}) {
        EXPECT_EQ(Result(maintenance.WriteIn(unwritten, op)), "");
        EXPECT_EQ(op.Messages().back(), counts);
        EXPECT_THAT(HourRows(), ElementsAre("1|2026-03-02 08:00:00|8.0", "2|2026-03-02 09:00:00|9.0",
                                            "3|2026-03-02 10:00:00|10.0"));
        EXPECT_THAT(All("SELECT date, ch1Akwh, ch2Akwh, ch2Pkwh FROM minute_energy"),
                    ElementsAre("2026-03-02 10:20|1.5|-3.0e-05|2"));
        EXPECT_EQ(unwritten.Count(), 0);
    }
    // As after a kill between the two: the rows are there, and so is the file. The database has no table of
    // power.
    Keep({kEnergy, Hourly("2026-03-02 10:00:00", 10), Hourly("2026-03-02 10:00:00", 11),
          "insert into minute_power(date) values ('2026-03-02 10:20');"});
    EXPECT_EQ(Result(maintenance.WriteIn(unwritten, op)), "");
    EXPECT_THAT(op.Messages(),
                testing::Contains("1 records were written to the database; 2 were there already."));
    EXPECT_EQ(op.Messages().back(),
              "1 were of tables for power and energy that this database does not have.");
}

TEST_F(UnwrittenTest, WhatIsNoRecordOrCannotBeWrittenLeavesAllAsItWas) {
    const std::string good = Hourly("2026-03-02 09:00:00", 9);
    for (const std::string& wrong :
         {std::string("drop table monitordata_minute;"),
          std::string("insert into applicationinfo(id) values (7);"),
          std::string("insert into monitordata_hourly(date) values ((select 1));"),
          good.substr(0, good.size() - 2),
          std::string("insert into monitordata_hourly(date) values (1);drop table x;"),
          std::string("insert into monitordata_hourly(nothing) values (1);")}) {
        SCOPED_TRACE(wrong);
        folder.Write(u"unwritten.sql"_s, good + "\n" + wrong + "\n");
        UnwrittenRecords read(folder.Path(), errorLog, clock);
        EXPECT_THAT(Result(maintenance.WriteIn(read, op)), HasSubstr("line 2"));
        EXPECT_EQ(read.Count(), 2);
        EXPECT_THAT(HourRows(), IsEmpty());
    }
    folder.Write(u"unwritten.sql"_s, good + "\n");
    UnwrittenRecords read(folder.Path(), errorLog, clock);
    op.cancelled = true;
    auto writing = maintenance.WriteIn(read, op);
    clock.AdvanceSeconds(1);
    const std::string result = Result(std::move(writing));
    EXPECT_EQ(HourRows().empty(), result == "interrupted") << result;
    EXPECT_EQ(QFile::exists(read.Path()), result == "interrupted");
}

}  // namespace
}  // namespace corvane
