#include "store/db_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "rows.h"
#include "store/capture_database.h"
#include "store/error_log.h"
#include "store/settings_store.h"
#include "support/fake_clock.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

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
        ASSERT_TRUE(connection);
        ASSERT_TRUE(connection.GetTable("CREATE TABLE t (id INTEGER PRIMARY KEY, n INTEGER)").Ok());
    }

    /// The values that were written, in the order of their writing.
    [[nodiscard]] Texts Written() const { return Rows(path, "SELECT n FROM t ORDER BY id"); }

    /// The statements that wait, oldest first.
    [[nodiscard]] Texts Queue() const {
        Texts statements;
        for (int slot = 1; slot <= writer.Pointer(); ++slot)
            statements.push_back(writer.Buffer().Slot(slot));
        return statements;
    }

    /// Queues statements without a burst.
    void Hold(const Texts& statements) {
        writer.SetMaintenanceBusy(true);
        for (const std::string& statement : statements)
            writer.WriteSQL(statement);
        writer.SetMaintenanceBusy(false);
    }

    [[nodiscard]] std::string BufferText() const { return writer.BufferText().toStdString(); }
    [[nodiscard]] std::string WriteState() const { return writer.WriteStateText().toStdString(); }
};

TEST_F(DbWriterTest, AStatementThatComesToAnEmptyQueueIsRunAtOnceAndAgainWithTheNextBurst) {
    writer.WriteSQL(Insert(1));
    EXPECT_THAT(Written(), ElementsAre("1"));
    EXPECT_THAT(Queue(), ElementsAre(Insert(1) + ";"));
    EXPECT_EQ(BufferText(), "DB Buffer = 0");
    EXPECT_EQ(writer.WriteCountdown(), 10);

    clock.AdvanceSeconds(10);
    writer.WriteSQL(Insert(2));
    EXPECT_THAT(Written(), ElementsAre("1", "1"));
    EXPECT_THAT(Queue(), ElementsAre(Insert(2) + ";"));

    clock.AdvanceSeconds(10);
    writer.WriteSQL(Insert(3));
    EXPECT_THAT(Written(), ElementsAre("1", "1", "2"));
    EXPECT_THAT(Queue(), ElementsAre(Insert(3) + ";"));
}

TEST_F(DbWriterTest, StatementsWaitForTheCountdownAndAreWrittenInTheOrderOfTheirArrival) {
    writer.WriteSQL("");  // an empty statement runs and stays in slot 1 without a trace
    for (const int value : {1, 2, 3})
        writer.WriteSQL(Insert(value));
    EXPECT_THAT(Written(), IsEmpty());
    EXPECT_EQ(BufferText(), "DB Buffer = 3");

    clock.AdvanceSeconds(10);
    EXPECT_THAT(Written(), IsEmpty()) << "the countdown alone writes nothing";
    EXPECT_EQ(writer.WriteCountdown(), 0);
    writer.WriteSQL(Insert(4));
    EXPECT_THAT(Written(), ElementsAre("1", "2", "3"));
    EXPECT_THAT(Queue(), ElementsAre(Insert(4) + ";"));
    EXPECT_EQ(BufferText(), "DB Buffer = 0");
    EXPECT_EQ(writer.WriteCountdown(), 10);
    EXPECT_EQ(writer.WriteIndicator(), DbWriter::Indicator::Green);
    EXPECT_EQ(writer.IndicatorText().toStdString(), "DB Write OK");
}

TEST_F(DbWriterTest, NoBurstStartsASecondTooSoon) {
    writer.WriteSQL("");
    clock.AdvanceSeconds(9);
    writer.WriteSQL(Insert(1));
    writer.WriteSQL(Insert(2));
    EXPECT_THAT(Written(), IsEmpty());
    EXPECT_EQ(writer.WriteCountdown(), 1) << "calls in between do not reload it";
    clock.AdvanceSeconds(1);
    writer.WriteSQL(Insert(3));
    EXPECT_THAT(Written(), ElementsAre("1", "2"));
}

TEST_F(DbWriterTest, TheWriteStateFollowsTheCountdown) {
    EXPECT_EQ(BufferText(), "DB Buffer = -1");
    EXPECT_EQ(writer.WriteIndicator(), DbWriter::Indicator::None);
    clock.AdvanceSeconds(1);
    EXPECT_EQ(WriteState(), "Preparing to write to db") << "before the first burst";

    ASSERT_TRUE(writer.SetWriteFrequency(u"3"_s));
    writer.WriteSQL("");
    Texts states;
    for (int second = 1; second <= 5; ++second) {
        clock.AdvanceSeconds(1);
        states.push_back(WriteState());
    }
    EXPECT_THAT(states,
                ElementsAre("DB write in 2 seconds.", "DB write in 1 seconds.", "Preparing to write to db",
                            "Preparing to write to db", "Preparing to write to db"));
}

TEST_F(DbWriterTest, ALockedDatabaseCostsNothingButADelay) {
    const char* const locks[] = {
        "BEGIN EXCLUSIVE",         // nobody else may even read
        "BEGIN IMMEDIATE",         // another writer
        "BEGIN; SELECT * FROM t",  // a reader within a transaction
    };
    for (const char* lock : locks) {
        SCOPED_TRACE(lock);
        const std::string file = folder.Path(u"locked.db3"_s).toStdString();
        QFile::remove(QString::fromStdString(file));
        MakeDatabase(file);
        database.UseFile(file);
        DbWriter fresh(database, settings, log, clock);
        {
            const auto other = CaptureDatabase::OpenFile(file, false);
            ASSERT_TRUE(other.GetTable(lock).Ok());
            fresh.WriteSQL(Insert(1));
            fresh.WriteSQL(Insert(2));
        }
        EXPECT_EQ(fresh.Pointer(), 2);
        EXPECT_EQ(fresh.Buffer().Slot(1), Insert(1) + ";");
        EXPECT_EQ(fresh.Buffer().Slot(2), Insert(2) + ";");
        EXPECT_EQ(fresh.WriteCountdown(), 0);
        EXPECT_EQ(fresh.LastDbMessage().toStdString(), "database is locked");
        EXPECT_EQ(fresh.DatabaseMessageText().toStdString(), "") << "a lock is not told";
        EXPECT_EQ(fresh.WriteIndicator(), DbWriter::Indicator::Yellow);
        EXPECT_THAT(Rows(file, "SELECT n FROM t"), IsEmpty());

        fresh.WriteSQL(Insert(3));
        EXPECT_THAT(Rows(file, "SELECT n FROM t ORDER BY id"), ElementsAre("1", "2"));
        EXPECT_EQ(fresh.Pointer(), 1);
        EXPECT_EQ(fresh.WriteIndicator(), DbWriter::Indicator::Green);
        EXPECT_EQ(fresh.WriteCountdown(), 10);
    }
}

TEST_F(DbWriterTest, AStatementThatFailsStaysInSlot1AndTheNewestIsGivenUpForIt) {
    const std::string bad = "insert into missing(n) values (0)";
    Hold({bad, Insert(1), Insert(2)});
    writer.WriteSQL(Insert(3));
    EXPECT_THAT(Queue(), ElementsAre(bad + ";", Insert(1) + ";", Insert(2) + ";"));
    EXPECT_THAT(Written(), IsEmpty());
    EXPECT_EQ(BufferText(), "DB Buffer = 2");
    EXPECT_EQ(writer.WriteCountdown(), 0);
    EXPECT_EQ(writer.WriteIndicator(), DbWriter::Indicator::Yellow);
    EXPECT_EQ(writer.LastDbMessage().toStdString(), "no such table: missing");
    EXPECT_EQ(writer.DatabaseMessageText().toStdString(), "2026-03-02 10:20   no such table: missing");

    // Every later call tries it again, and gives up what it brought.
    clock.AdvanceSeconds(60);
    writer.WriteSQL(Insert(4));
    EXPECT_THAT(Queue(), ElementsAre(bad + ";", Insert(1) + ";", Insert(2) + ";"));
    EXPECT_EQ(writer.DatabaseMessageText().toStdString(), "2026-03-02 10:21   no such table: missing");

    Execute(path, "CREATE TABLE missing (n)");
    writer.WriteSQL(Insert(5));
    EXPECT_THAT(Written(), ElementsAre("1", "2"));
    EXPECT_THAT(Rows(path, "SELECT n FROM missing"), ElementsAre("0"));
    EXPECT_THAT(Queue(), ElementsAre(Insert(5) + ";"));
    EXPECT_EQ(writer.WriteIndicator(), DbWriter::Indicator::Green);
    EXPECT_EQ(writer.IndicatorText().toStdString(), "DB Write OK");
}

TEST_F(DbWriterTest, AFailureWithinABurstKeepsWhatWasWrittenBefore) {
    const std::string bad = "insert into t(n) values (";
    Hold({Insert(1), bad, Insert(2)});
    writer.WriteSQL(Insert(3));
    EXPECT_THAT(Written(), ElementsAre("1"));
    EXPECT_THAT(Queue(), ElementsAre(bad + ";", Insert(2) + ";"));
    EXPECT_EQ(WriteState(), "Writing to database") << "until the next tick";
    EXPECT_EQ(writer.WriteCountdown(), 0);
    clock.AdvanceSeconds(1);
    EXPECT_EQ(WriteState(), "Preparing to write to db");
}

TEST_F(DbWriterTest, AStatementThatFailsAloneIsItselfTheNewestAndGone) {
    writer.WriteSQL("insert into missing(n) values (0)");
    EXPECT_THAT(Queue(), IsEmpty());
    EXPECT_EQ(BufferText(), "DB Buffer = -1");
    EXPECT_EQ(writer.WriteCountdown(), 0);
    writer.WriteSQL(Insert(1));
    EXPECT_THAT(Written(), ElementsAre("1"));
    EXPECT_THAT(Queue(), ElementsAre(Insert(1) + ";"));
}

TEST_F(DbWriterTest, AFullQueueKeepsIts15999OldestAndTheLatest) {
    Texts expected;
    for (int value = 1; value <= 16000; ++value)
        expected.push_back(Insert(value));
    Hold(expected);
    EXPECT_EQ(writer.Pointer(), 16000);
    EXPECT_EQ(writer.LastDbMessage().toStdString(), "");
    EXPECT_THAT(folder.Entries(), ElementsAre("vrq1.db3")) << "nothing logged yet";

    Hold({Insert(16001), Insert(16002)});
    EXPECT_EQ(writer.LastDbMessage().toStdString(), "  DB Pointer at MAX = 16000");
    expected.back() = Insert(16002);
    for (std::string& statement : expected)
        statement += ";";
    EXPECT_EQ(Queue(), expected);
    EXPECT_EQ(BufferText(), "DB Buffer = 15999");

    std::istringstream lines(folder.Read(u"ErrorsCorvane.log"_s));
    int entries = 0;
    for (std::string line; std::getline(lines, line); ++entries)
        EXPECT_NE(line.find("\t  DB Pointer at MAX = 16000\t"), std::string::npos) << line;
    EXPECT_EQ(entries, 2) << "one for each record lost";
}

TEST_F(DbWriterTest, MaintenanceHoldsBurstsOff) {
    writer.SetMaintenanceBusy(true);
    writer.WriteSQL(Insert(1));
    clock.AdvanceSeconds(30);
    writer.WriteSQL(Insert(2));
    EXPECT_THAT(Written(), IsEmpty());
    EXPECT_EQ(writer.Pointer(), 2);
    writer.SetMaintenanceBusy(false);
    EXPECT_THAT(Written(), IsEmpty()) << "the end of it alone writes nothing";
    writer.WriteSQL(Insert(3));
    EXPECT_THAT(Written(), ElementsAre("1", "2"));
}

TEST_F(DbWriterTest, AFileThatCannotBeOpenedKeepsTheQueueAndIsNotMade) {
    const QString missing = folder.Path(u"later.db3"_s);
    database.UseFile(missing.toStdString());
    writer.WriteSQL(Insert(1));
    writer.WriteSQL(Insert(2));
    EXPECT_THAT(Queue(), ElementsAre(Insert(1) + ";", Insert(2) + ";"));
    EXPECT_THAT(folder.Entries(), ElementsAre("vrq1.db3"));
    EXPECT_EQ(writer.WriteCountdown(), 0);
    EXPECT_EQ(writer.LastDbMessage().toStdString(), "");
    EXPECT_EQ(writer.WriteIndicator(), DbWriter::Indicator::None) << "it ends silently";

    MakeDatabase(missing.toStdString());
    writer.WriteSQL(Insert(3));
    EXPECT_THAT(Rows(missing.toStdString(), "SELECT n FROM t ORDER BY id"), ElementsAre("1", "2"));
}

TEST_F(DbWriterTest, WithoutAFileInForceTheQueueIsKept) {
    database.UseFile("");
    writer.WriteSQL(Insert(1));
    EXPECT_THAT(Queue(), ElementsAre(Insert(1) + ";"));
    EXPECT_EQ(writer.WriteCountdown(), 0);
    EXPECT_EQ(writer.DatabaseMessageText().toStdString(), "");
}

TEST_F(DbWriterTest, ClosingWritesTheWholeQueueAtOnce) {
    writer.WriteSQL("");
    writer.WriteSQL(Insert(1));
    writer.WriteSQL(Insert(2));
    ASSERT_EQ(writer.WriteCountdown(), 10);
    writer.ForceNextBurst();
    writer.WriteSQL("");
    EXPECT_THAT(Written(), ElementsAre("1", "2"));
    EXPECT_THAT(Queue(), ElementsAre(";"));
}

TEST_F(DbWriterTest, TheFileInForceIsTheOneWrittenTo) {
    writer.WriteSQL("");
    writer.WriteSQL(Insert(1));
    const std::string other = folder.Path(u"other.db3"_s).toStdString();
    MakeDatabase(other);
    database.UseFile(other);
    clock.AdvanceSeconds(10);
    writer.WriteSQL(Insert(2));
    EXPECT_THAT(Written(), IsEmpty());
    EXPECT_THAT(Rows(other, "SELECT n FROM t"), ElementsAre("1"));
}

TEST_F(DbWriterTest, WriteFrequencyEntries) {
    const std::string notNumeric = "Must be a numeric value";
    // The message says 3 where 1 is accepted.
    const std::string outOfRange = "Not within acceptable range of 3 to 60 seconds";
    const struct {
        QString entry;
        std::string error;
        int frequency;  ///< in force afterwards
    } cases[] = {
        {u"2"_s, "", 2},
        {u"1"_s, "", 1},
        {u"60"_s, "", 60},
        {u"0"_s, outOfRange, 60},
        {u"61"_s, outOfRange, 60},
        {u"-5"_s, outOfRange, 60},
        {u"266"_s, outOfRange, 60},
        {u"0.9"_s, outOfRange, 60},
        {u"60.5"_s, outOfRange, 60},
        {u"1e99"_s, outOfRange, 60},
        {u""_s, notNumeric, 60},
        {u"ten"_s, notNumeric, 60},
        {u"10s"_s, notNumeric, 60},
        {u"nan"_s, notNumeric, 60},
        {u" 25 "_s, "", 25},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.entry.toStdString());
        EXPECT_EQ(writer.SetWriteFrequency(c.entry).Error().toStdString(), c.error);
        EXPECT_EQ(settings.GetSetting(u"DBwriteFrequency"_s).toStdString(), std::to_string(c.frequency));
        writer.ForceNextBurst();
        writer.WriteSQL("");
        EXPECT_EQ(writer.WriteCountdown(), c.frequency);
    }
}

TEST_F(DbWriterTest, AFrequencyIsRememberedAndANonsenseOneIsTen) {
    const struct {
        QString stored;
        int frequency;
    } cases[] = {{u"25"_s, 25}, {u"1"_s, 1}, {u"60"_s, 60}, {u"0"_s, 10}, {u"300"_s, 10}, {u"often"_s, 10}};
    for (const auto& c : cases) {
        settings.SaveSetting(u"DBwriteFrequency"_s, c.stored);
        DbWriter restarted(database, settings, log, clock);
        restarted.WriteSQL("");
        EXPECT_EQ(restarted.WriteCountdown(), c.frequency) << c.stored.toStdString();
    }
}

TEST_F(DbWriterTest, TheSwitchOfTheDatabase) {
    EXPECT_TRUE(writer.Enabled());
    const struct {
        bool enabled;
        const char* text;
        const char* saved;
    } cases[] = {{false, "Database is Disabled", "False"}, {true, "Database is Enabled", "True"}};
    for (const auto& c : cases) {
        EXPECT_EQ(writer.SetEnabled(c.enabled).toStdString(), c.text);
        EXPECT_EQ(writer.Enabled(), c.enabled);
        EXPECT_EQ(settings.GetSetting(u"DBenabled"_s).toStdString(), c.saved);
        EXPECT_EQ(DbWriter(database, settings, log, clock).Enabled(), c.enabled) << "after a restart";
    }
}

}  // namespace
}  // namespace corvane
