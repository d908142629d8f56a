#include "store/upkeep/database_work.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <new>

#include "store/upkeep/maintenance_fixture.h"
#include "support/loopback.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using DatabaseWorkTest = MaintenanceFixture;

/// The event loop lives while a statement runs, and whoever has to can end it.
TEST_F(DatabaseWorkTest, RunsBesideTheEventLoopAndEndsWhenTold) {
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
    EXPECT_EQ(finish(start()), "interrupted") << "who gave up one step wants none after it";

    op.cancelled = false;
    auto closed = start();
    auto stopping = work.Stop();  // the program closes
    EXPECT_EQ(finish(std::move(closed)), "interrupted");
    clock.Advance(10);
    EXPECT_TRUE(stopping.isReady());
    EXPECT_EQ(finish(start()), "interrupted") << "nothing new begins";
}

TEST_F(DatabaseWorkTest, GoesOnAfterAJobThatGotNoThreadAndOneThatThrew) {
    const auto run = [this](const SqlJob& job) {
        return QCoro::waitFor(work.Run(u"Work"_s, path, job, op)).errorText;
    };
    const SqlJob nothing = [](SqlSession&) { return QueryResult(); };
    pthread_attr_t usual;
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    pthread_attr_t endless = usual;
    ASSERT_EQ(pthread_attr_setstacksize(&endless, std::size_t{1} << 47), 0);  // more than a process can have
    ASSERT_EQ(pthread_setattr_default_np(&endless), 0);
    EXPECT_THAT(run(nothing), HasSubstr("no room for another thread"));
    ASSERT_EQ(pthread_setattr_default_np(&usual), 0);
    EXPECT_EQ(run([](SqlSession&) -> QueryResult { throw std::bad_alloc(); }), "std::bad_alloc");
    EXPECT_FALSE(work.Running());
    EXPECT_EQ(run(nothing), "");
    EXPECT_TRUE(QCoro::waitFor(writer.Drain(0))) << "records are written again";
}

TEST_F(DatabaseWorkTest, BackupsAreOfOneMomentThoughTheCaptureWritesMeanwhile) {
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
    EXPECT_TRUE(QCoro::waitFor(writer.Drain(0)));
    EXPECT_THAT(Rows(path, "SELECT COUNT(*) FROM monitordata_hourly WHERE date='after'"), ElementsAre("100"));
}

TEST_F(DatabaseWorkTest, BackupsThatFailOrAreGivenUpLeaveNoFileAndTheOlderOnes) {
    Fill(20'000);
    for (const QString& name : {u"vrq1_bak1.db3"_s, u"vrq1_bak2.db3"_s})
        folder.Write(name, "old");
    op.WillAnswer("Would you like to keep the older backups", Answer::No);
    op.WillAnswer("will be deleted.\nContinue?", Answer::Yes);
    const auto other = CaptureDatabase::OpenFile(path, false);
    ASSERT_TRUE(
        other.GetTable("BEGIN EXCLUSIVE").Ok());  // holds the copy until the user's wish was looked at
    auto backup = backups.BackupDBfile(op);
    op.cancelled = true;
    clock.AdvanceSeconds(1);
    ASSERT_TRUE(other.GetTable("ROLLBACK").Ok());
    EXPECT_EQ(Result(std::move(backup)), "interrupted");
    EXPECT_THAT(folder.Entries(), ElementsAre("vrq1.db3", "vrq1_bak1.db3", "vrq1_bak2.db3"));
    EXPECT_TRUE(folder.Read(u"vrq1_bak1.db3"_s) == "old");
    EXPECT_FALSE(work.Running());
}

}  // namespace
}  // namespace corvane
