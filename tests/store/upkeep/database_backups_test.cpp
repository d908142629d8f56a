#include "store/upkeep/database_backups.h"

#include <QCoroTask>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sqlite3.h>

#include "store/rows.h"
#include "store/upkeep/maintenance_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::HasSubstr;

const char* const kKeep = "Would you like to keep the older backups and create a new backup?";
const char* const kDelete =
    "The previous database backup(s) for database file vrq1.db3 will be deleted.\nContinue?";
const char* const kWarning = "WARNING: The database file has not been backed up! Cancel was selected.";
const char* const kReplace = "With this file?";

struct BackupsTest : MaintenanceFixture {
    /// A database that is told from others by one mark, put in the place of `name`.
    void Mark(const QString& name, const char* mark) const {
        Execute(folder.Path(name).toStdString(),
                std::string("UPDATE applications SET kwhcost1='") + mark + "'");
    }
    [[nodiscard]] std::string MarkOf(const QString& name) const {
        return Rows(folder.Path(name).toStdString(), "SELECT kwhcost1 FROM applications").at(0);
    }
    std::string Backup() { return Result(backups.BackupDBfile(op)); }
    std::string Restore(int number) { return Result(backups.Restore(number, op)); }
};

TEST_F(BackupsTest, AreNumberedKeptOrReplacedAsTheUserSays) {
    Mark(u"vrq1.db3"_s, "1");
    EXPECT_EQ(Backup(), "") << "the first asks nothing";
    EXPECT_EQ(op.Messages().back(),
              "The database has been backed up:  " + folder.Path(u"vrq1_bak1.db3"_s).toStdString());
    for (const char* mark : {"2", "3"}) {
        Mark(u"vrq1.db3"_s, mark);
        op.WillAnswer(kKeep, Answer::Yes);
        EXPECT_EQ(Backup(), "");
    }
    const auto all = ElementsAre("vrq1.db3", "vrq1_bak1.db3", "vrq1_bak2.db3", "vrq1_bak3.db3");
    EXPECT_THAT(folder.Entries(), all);
    for (const auto& [mark, name] :
         {std::pair{"1", u"vrq1_bak1.db3"_s}, {"2", u"vrq1_bak2.db3"_s}, {"3", u"vrq1_bak3.db3"_s}})
        EXPECT_EQ(MarkOf(name), mark);

    op.WillAnswer(kKeep, Answer::Cancel);
    EXPECT_EQ(Backup(), kWarning);
    op.WillAnswer(kKeep, Answer::No);
    op.WillAnswer(kDelete, Answer::No);
    EXPECT_EQ(Backup(), kWarning);
    EXPECT_THAT(folder.Entries(), all);

    Mark(u"vrq1.db3"_s, "4");
    op.WillAnswer(kKeep, Answer::No);
    op.WillAnswer(kDelete, Answer::Yes);
    EXPECT_EQ(Backup(), "");
    EXPECT_THAT(folder.Entries(), ElementsAre("vrq1.db3", "vrq1_bak1.db3"));
    EXPECT_EQ(MarkOf(u"vrq1_bak1.db3"_s), "4");
}

TEST_F(BackupsTest, AreOfOneMomentThoughTheCaptureWritesMeanwhile) {
    Fill(20'000);
    writer.WriteSQL("insert into monitordata_hourly(date) values ('before')");
    writer.ForceNextBurst();
    auto backup = backups.BackupDBfile(op);
    // Records that come while the copy is made wait for its end.
    for (int i = 0; i < 100; ++i)
        writer.WriteSQL("insert into monitordata_hourly(date) values ('after')");
    EXPECT_EQ(writer.Pointer(), 101);
    EXPECT_EQ(Result(std::move(backup)), "");
    const std::string copy = folder.Path(u"vrq1_bak1.db3"_s).toStdString();
    EXPECT_THAT(Rows(copy, "PRAGMA integrity_check"), ElementsAre("ok"));
    EXPECT_THAT(Rows(copy, "SELECT COUNT(*) FROM monitordata_minute"), ElementsAre("20000"));
    EXPECT_THAT(Rows(copy, "SELECT COUNT(*) FROM monitordata_hourly WHERE date='after'"), ElementsAre("0"));
    writer.Flush();
    EXPECT_THAT(Rows(path, "SELECT COUNT(*) FROM monitordata_hourly WHERE date='after'"), ElementsAre("100"));
}

TEST_F(BackupsTest, ThatFailOrAreGivenUpLeaveNoFileAndTheOlderOnes) {
    Fill(20'000);
    for (const QString& name : {u"vrq1_bak1.db3"_s, u"vrq1_bak2.db3"_s})
        folder.Write(name, "old");
    op.WillAnswer(kKeep, Answer::No);
    op.WillAnswer(kDelete, Answer::Yes);
    op.cancelled = true;
    const auto other = CaptureDatabase::OpenFile(path, false);
    ASSERT_TRUE(
        other.GetTable("BEGIN EXCLUSIVE").Ok());  // holds the copy until the user's wish was looked at
    auto backup = backups.BackupDBfile(op);
    clock.AdvanceSeconds(1);
    ASSERT_TRUE(other.GetTable("ROLLBACK").Ok());
    EXPECT_EQ(Result(std::move(backup)), "interrupted");
    EXPECT_THAT(folder.Entries(), ElementsAre("vrq1.db3", "vrq1_bak1.db3", "vrq1_bak2.db3"));
    EXPECT_TRUE(folder.Read(u"vrq1_bak1.db3"_s) == "old");

    op.cancelled = false;
    database.UseFile(folder.Path(u"gone.db3"_s).toStdString());
    EXPECT_EQ(Backup(), "unable to open database file");
    EXPECT_THAT(folder.Entries(), ElementsAre("vrq1.db3", "vrq1_bak1.db3", "vrq1_bak2.db3"));
    EXPECT_FALSE(work.Running());
}

TEST_F(BackupsTest, ComeBackOnlyWhereTheyAreDatabasesAndTheFileInForceIsSaved) {
    Mark(u"vrq1.db3"_s, "old");
    EXPECT_EQ(Backup(), "");
    Mark(u"vrq1.db3"_s, "new");
    folder.Write(u"vrq1_bak2.db3"_s, "no database at all, but long enough for one");
    for (const QString& other : {u"vrq1_bak10.db3"_s, u"vrq1_bak03.db3"_s, u"vrq2_bak4.db3"_s})
        folder.Write(other, "");
    EXPECT_THAT(backups.Numbers(), ElementsAre(1, 2, 10));
    EXPECT_THAT(Restore(3), HasSubstr("There is no backup"));
    EXPECT_THAT(Restore(2), HasSubstr("file is not a database"));
    op.WillAnswer(kReplace, Answer::No);
    EXPECT_EQ(Restore(1), "The current database file has not been replaced.");
    EXPECT_EQ(MarkOf(u"vrq1.db3"_s), "new");

    {  // a reader of the file is not left with half of it
        const auto reader = CaptureDatabase::OpenFile(path, false);
        ASSERT_TRUE(reader.GetTable("BEGIN; SELECT * FROM applications").Ok());
        op.WillAnswer(kReplace, Answer::Yes);
        EXPECT_EQ(Restore(1), "database is locked");
        EXPECT_EQ(MarkOf(u"vrq1.db3"_s), "new");
    }
    op.WillAnswer(kReplace, Answer::Yes);
    EXPECT_EQ(Restore(1), "");
    EXPECT_EQ(MarkOf(u"vrq1.db3"_s), "old");
    EXPECT_EQ(MarkOf(u"vrq1_bak4.db3"_s), "new") << "bak3 was made before the restore that failed";
    writer.WriteSQL("insert into monitordata_hourly(date) values ('later')");
    writer.Flush();
    EXPECT_THAT(Rows(path, "SELECT date FROM monitordata_hourly"), ElementsAre("later"));
    database.UseFile(folder.Path(u"a.1.db3"_s).toStdString());
    EXPECT_EQ(backups.PathOf(2), folder.Path(u"a.1_bak2.db3"_s)) << "not those of a.2.db3";
}

}  // namespace
}  // namespace corvane
