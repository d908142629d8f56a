#include "store/db_writer.h"

#include <gmock/gmock.h>

#include "store/capture_database.h"
#include "store/error_log.h"
#include "store/rows.h"
#include "store/settings_store.h"
#include "store/settle_bursts.h"
#include "support/fake_clock.h"
#include "support/loopback.h"
#include "support/settings_by_key.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;
using Indicator = DbWriter::Indicator;

std::string Insert(int value) {
    return "insert into t(n) values (" + std::to_string(value) + ")";
}

struct DbWriterTest : testing::Test {
    TempFolder folder;
    std::string path = folder.Path(u"vrq1.db3"_s).toStdString();
    FakeClock clock;
    SettingsStore settings{folder.Path(u"corvane.ini"_s)};
    ErrorLog log{folder.Path(), u"Corvane"_s, clock};
    CaptureDatabase database{path};
    DbWriter writer{database, settings, log, clock};

    void SetUp() override { MakeDatabase(path); }

    static void MakeDatabase(const std::string& file) {
        const auto connection = CaptureDatabase::OpenFile(file, true);
        ASSERT_TRUE(connection.GetTable("CREATE TABLE t (id INTEGER PRIMARY KEY, n INTEGER)").Ok());
    }

    /// The values that were written, in the order of their writing.
    [[nodiscard]] Texts Written() const {
        return Rows(database.databasePath(), "SELECT n FROM t ORDER BY id");
    }

    /// The statements that wait, oldest first, without the semicolon that each was given.
    [[nodiscard]] Texts Queue() const {
        Texts statements;
        for (int slot = 1; slot <= writer.Pointer(); ++slot) {
            statements.push_back(writer.Buffer().Slot(slot));
            EXPECT_EQ(statements.back().back(), ';');
            statements.back().pop_back();
        }
        return statements;
    }

    /// Queues statements without a burst.
    void Hold(const Texts& statements) {
        writer.SetMaintenanceBusy(true);
        for (const std::string& statement : statements)
            writer.WriteSQL(statement);
        writer.SetMaintenanceBusy(false);
    }

    /// Hands a statement over, and waits for the burst that it may begin.
    void Write(const std::string& statement) {
        writer.WriteSQL(statement);
        SettleBursts(writer);
    }

    [[nodiscard]] std::string BufferText() const { return writer.BufferText().toStdString(); }
    [[nodiscard]] std::string WriteState() const { return writer.WriteStateText().toStdString(); }
    [[nodiscard]] std::string LastMessage() const { return writer.LastDbMessage().toStdString(); }
};

TEST_F(DbWriterTest, AStatementThatComesToAnEmptyQueueIsRunAtOnceAndAgainWithTheNextBurst) {
    const Texts written[] = {{"1"}, {"1", "1"}, {"1", "1", "2"}};
    for (int value = 1; value <= 3; ++value) {
        Write(Insert(value));
        EXPECT_EQ(Written(), written[value - 1]);
        EXPECT_THAT(Queue(), ElementsAre(Insert(value)));
        EXPECT_EQ(BufferText(), "DB Buffer = 0");
        EXPECT_EQ(writer.WriteCountdown(), 10);
        clock.AdvanceSeconds(10);
    }
}

TEST_F(DbWriterTest, StatementsWaitForTheCountdownAndForMaintenanceAndAreWrittenInTheirOrder) {
    EXPECT_EQ(BufferText(), "DB Buffer = -1");
    Write("");  // an empty statement runs and stays in slot 1 without a trace
    clock.AdvanceSeconds(9);
    Write(Insert(1));
    Write(Insert(2));
    EXPECT_EQ(writer.WriteCountdown(), 1) << "calls in between do not reload it";
    EXPECT_EQ(WriteState(), "DB write in 1 seconds.");
    clock.AdvanceSeconds(5);
    EXPECT_EQ(WriteState(), "Preparing to write to db");
    Hold({Insert(3)});
    EXPECT_THAT(Written(), IsEmpty()) << "neither the countdown nor the end of maintenance writes alone";
    EXPECT_EQ(BufferText(), "DB Buffer = 3");

    Write(Insert(4));
    EXPECT_THAT(Written(), ElementsAre("1", "2", "3"));
    EXPECT_THAT(Queue(), ElementsAre(Insert(4)));
    EXPECT_EQ(writer.WriteCountdown(), 10);
    EXPECT_EQ(writer.WriteIndicator(), Indicator::Green);
    EXPECT_EQ(writer.IndicatorText().toStdString(), "DB Write OK");

    Write(Insert(5));
    writer.ForceNextBurst();  // on closing
    Write("");
    EXPECT_THAT(Written(), ElementsAre("1", "2", "3", "4", "5"));
}

TEST_F(DbWriterTest, ALockedDatabaseCostsNothingButADelay) {
    // Nobody else may even read; another writer; a reader within a transaction.
    for (const char* lock : {"BEGIN EXCLUSIVE", "BEGIN IMMEDIATE", "BEGIN; SELECT * FROM t"}) {
        SCOPED_TRACE(lock);
        Execute(path, "DELETE FROM t");
        Texts queued = Queue();  // from the second lock on, the one that the burst left
        {
            const auto other = CaptureDatabase::OpenFile(path, false);
            ASSERT_TRUE(other.GetTable(lock).Ok());
            for (const int value : {1, 2}) {
                queued.push_back(Insert(value));
                Write(Insert(value));
            }
        }
        EXPECT_EQ(Queue(), queued);
        EXPECT_EQ(writer.WriteCountdown(), 0);
        EXPECT_EQ(LastMessage(), "database is locked");
        EXPECT_EQ(writer.DatabaseMessageText().toStdString(), "") << "a lock is not told";
        EXPECT_EQ(writer.WriteIndicator(), Indicator::Yellow);
        EXPECT_THAT(Written(), IsEmpty());

        Write(Insert(9));
        EXPECT_EQ(Written(), queued.size() == 2 ? Texts({"1", "2"}) : Texts({"9", "1", "2"}));
        EXPECT_EQ(writer.WriteIndicator(), Indicator::Green);
        writer.ForceNextBurst();
    }
}

TEST_F(DbWriterTest, AStatementThatFailsStaysInSlot1AndTheNewestIsGivenUpForIt) {
    const std::string bad = "insert into missing(n) values (0)";
    Write(bad);
    EXPECT_THAT(Queue(), IsEmpty()) << "alone it is itself the newest";
    Hold({Insert(1), bad, Insert(2)});
    Write(Insert(3));
    EXPECT_EQ(WriteState(), "Writing to database") << "until the next tick";
    // Every later call tries it again, and gives up what it brought.
    for (const char* message :
         {"2026-03-02 10:20   no such table: missing", "2026-03-02 10:21   no such table: missing"}) {
        EXPECT_THAT(Written(), ElementsAre("1")) << "what was written before stays";
        EXPECT_THAT(Queue(), ElementsAre(bad, Insert(2)));
        EXPECT_EQ(BufferText(), "DB Buffer = 1");
        EXPECT_EQ(writer.WriteCountdown(), 0);
        EXPECT_EQ(writer.WriteIndicator(), Indicator::Yellow);
        EXPECT_EQ(writer.IndicatorText().toStdString(), "");
        EXPECT_EQ(LastMessage(), "no such table: missing");
        EXPECT_EQ(writer.DatabaseMessageText().toStdString(), message);
        clock.AdvanceSeconds(60);
        Write(Insert(4));
    }
    Execute(path, "CREATE TABLE missing (n)");
    Write(Insert(5));
    EXPECT_THAT(Written(), ElementsAre("1", "2"));
    EXPECT_THAT(Rows(path, "SELECT n FROM missing"), ElementsAre("0"));
    EXPECT_THAT(Queue(), ElementsAre(Insert(5)));
    EXPECT_EQ(writer.WriteIndicator(), Indicator::Green);
}

TEST_F(DbWriterTest, AFullQueueKeepsIts15999OldestAndTheLatest) {
    Texts expected;
    for (int value = 1; value <= 16000; ++value)
        expected.push_back(Insert(value));
    Hold(expected);
    EXPECT_EQ(LastMessage(), "");
    EXPECT_TRUE(log.Load().lines.empty());

    Hold({Insert(16001), Insert(16002)});
    expected.back() = Insert(16002);
    EXPECT_EQ(Queue(), expected);
    EXPECT_EQ(LastMessage(), "  DB Pointer at MAX = 16000");
    ASSERT_EQ(log.Load().lines.size(), 2) << "one for each record given up";
    for (const QString& line : log.Load().lines)
        EXPECT_TRUE(line.contains(u"\t  DB Pointer at MAX = 16000\t"_s)) << line.toStdString();
}

TEST_F(DbWriterTest, WhatTheQueueGivesUpIsHandedOnUnlessItIsWrittenAlready) {
    std::vector<std::pair<std::string, std::string>> givenUp;
    QObject::connect(&writer, &DbWriter::GivenUp, [&](const std::string& statement, const QString& why) {
        givenUp.emplace_back(statement, why.toStdString());
    });
    const std::string bad = "insert into missing(n) values (0)";
    Write(Insert(1));  // executed, and kept in slot 1
    writer.ForceNextBurst();
    Hold({bad});
    Write(Insert(2));
    EXPECT_THAT(givenUp, ElementsAre(std::pair{Insert(2) + ";", "no such table: missing"}));
    EXPECT_THAT(Written(), ElementsAre("1", "1"));

    EXPECT_FALSE(QCoro::waitFor(writer.Drain(3))) << "an error is not waited for";
    givenUp.clear();
    Hold(Texts(16000 - static_cast<std::size_t>(writer.Pointer()), Insert(4)));
    Hold({Insert(5), Insert(6)});
    EXPECT_THAT(givenUp, ElementsAre(std::pair{Insert(4) + ";", "The queue of the database is full"},
                                     std::pair{Insert(5) + ";", "The queue of the database is full"}));
}

TEST_F(DbWriterTest, AtTheEndOnlyWhatTheDatabaseDoesNotHaveIsGivenUpAndWhatComesLate) {
    Texts givenUp;
    QObject::connect(&writer, &DbWriter::GivenUp,
                     [&](const std::string& statement) { givenUp.push_back(statement); });
    Hold({Insert(1), Insert(2)});
    writer.WriteSQL(Insert(3));  // begins a burst, which is under way
    auto given = writer.GiveUpAll();
    writer.WriteSQL(Insert(4));
    QCoro::waitFor(std::move(given));
    EXPECT_THAT(Written(), ElementsAre("1", "2"));
    EXPECT_THAT(givenUp, ElementsAre(Insert(4) + ";", Insert(3) + ";"));
    EXPECT_THAT(Queue(), IsEmpty());
}

TEST_F(DbWriterTest, ALockedFileIsDrainedWhenItIsFreeAndWaitedForNoLongerThanAsked) {
    auto other = std::make_unique<CaptureDatabase::Connection>(CaptureDatabase::OpenFile(path, false));
    ASSERT_TRUE(other->GetTable("BEGIN EXCLUSIVE").Ok());
    Hold({Insert(1)});
    for (const bool freed : {false, true}) {
        std::optional<bool> drained;
        auto drain = [](DbWriter& from, std::optional<bool>& result) -> QCoro::Task<> {
            result = co_await from.Drain(3);
        }(writer, drained);
        const std::int64_t begun = clock.Monotonic();
        EXPECT_TRUE(SpinUntil([&] {
            if (freed && clock.Monotonic() - begun >= 2000) other.reset();
            if (!writer.Bursting()) clock.Advance(100);
            return drained.has_value();
        }));
        EXPECT_EQ(drained, freed);
        EXPECT_NEAR(static_cast<double>(clock.Monotonic() - begun), freed ? 3000 : 4000, 1000);
        if (!freed) {
            EXPECT_THAT(QCoro::waitFor(writer.WriteBeforeChange()).Error().toStdString(),
                        testing::HasSubstr("locked by another program"));
        }
    }
    EXPECT_THAT(Written(), ElementsAre("1"));
    EXPECT_EQ(QCoro::waitFor(writer.WriteBeforeChange()).Error(), u""_s);
    writer.SetMaintenanceBusy(true);
    EXPECT_FALSE(QCoro::waitFor(writer.WriteBeforeChange()));
}

TEST_F(DbWriterTest, AFileThatCannotBeOpenedKeepsTheQueueAndIsNotMade) {
    const std::string later = folder.Path(u"later.db3"_s).toStdString();
    for (const std::string& file : {std::string(), later}) {
        database.UseFile(file);
        Write(Insert(1));
    }
    EXPECT_THAT(Queue(), ElementsAre(Insert(1), Insert(1)));
    EXPECT_THAT(folder.Entries(), ElementsAre("vrq1.db3"));
    EXPECT_EQ(writer.WriteCountdown(), 0);
    EXPECT_EQ(LastMessage(), "");
    EXPECT_EQ(writer.WriteIndicator(), Indicator::None) << "it ends silently";
    EXPECT_EQ(writer.WaitText(), u"The database file cannot be opened; records wait."_s);
    MakeDatabase(later);
    Write(Insert(3));
    EXPECT_EQ(writer.WaitText(), u""_s);
    EXPECT_THAT(Written(), ElementsAre("1", "1"));
}

TEST_F(DbWriterTest, TheWriteFrequencyAndTheSwitch) {
    for (const auto& [stored, frequency] :
         std::vector<std::pair<QString, int>>{{u"1"_s, 1}, {u"60"_s, 60}, {u"0"_s, 10}, {u"61"_s, 10}}) {
        KeepByKey(settings, u"DBwriteFrequency"_s, stored);
        writer.ForceNextBurst();
        Write("");
        EXPECT_EQ(writer.WriteCountdown(), frequency) << stored.toStdString();
        DbWriter restarted(database, settings, log, clock);
        restarted.WriteSQL("");
        SettleBursts(restarted);
        EXPECT_EQ(restarted.WriteCountdown(), frequency) << stored.toStdString();
    }
    EXPECT_TRUE(writer.Enabled());
    for (const bool enabled : {false, true}) {
        settings.Save(kDatabaseEnabled, enabled);
        EXPECT_EQ(writer.Enabled(), enabled);
        EXPECT_EQ(writer.EnabledText(), enabled ? u"Database is Enabled"_s : u"Database is Disabled"_s);
        EXPECT_EQ(DbWriter(database, settings, log, clock).Enabled(), enabled) << "after a restart";
    }
}

}  // namespace
}  // namespace corvane
