#include "window/parts/file_export.h"

#include <gtest/gtest.h>

#include <optional>

#include "history/csv_export.h"
#include "store/rows.h"
#include "window/parts/scale.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST_F(ProgramTest, AFileIsReplacedOnYesOnlyAndAnEndedExportLeavesNone) {
    Program& program = Start();
    FileExport files(program.database, program.databaseFiles, clock);
    const std::string old = folder.Path(u"old.csv"_s).toStdString();
    const auto textOf = [](const std::string& path) {
        QFile file(QString::fromStdString(path));
        return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : "none";
    };
    const std::string question = "The file " + old + " exists. Would you like to replace it?";
    const char* endless = "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n) SELECT i FROM n";
    const struct {
        const char* name;  ///< of the file; none: no file is chosen
        std::optional<Answer> replace;
        const char* sql;
        const char* said;
        const char* text;  ///< of the file, afterwards
    } steps[] = {{"", {}, "SELECT 1 AS a", "", "none"},
                 {"old.csv", {}, "SELECT 1 AS a", "1 rows were written to ", "a\r\n1\r\n"},
                 {"old.csv", Answer::No, "SELECT 2 AS b", "", "a\r\n1\r\n"},
                 {"old.csv", Answer::Yes, "SELECT 2 AS b", "1 rows were written to ", "b\r\n2\r\n"},
                 {"new.csv", {}, endless, "The export was cancelled, and no file was made.", "none"},
                 {"new.csv", {}, "SELECT c", "The file could not be written: no such column: c", "none"}};
    for (const auto& step : steps) {
        ScriptedOperator op;
        const std::string path = folder.Path(QLatin1StringView(step.name)).toStdString();
        op.WillEnter("Save it",
                     *step.name == '\0' ? std::nullopt : std::optional(QString::fromStdString(path)));
        if (step.replace) op.WillAnswer(question, *step.replace);
        op.cancelled = step.sql == endless;
        const auto jobFor = [&step](std::string file) { return ExportQuery(std::move(file), step.sql, 1); };
        auto run = files.Run(u"Save it"_s, jobFor, op);
        EXPECT_TRUE(SpinUntil([&] {
            Q_EMIT clock.SecondPassed();
            return run.isReady();
        }));
        std::string said = QCoro::waitFor(run).Error().toStdString();
        for (const std::string& message : op.Messages())
            said += message;
        EXPECT_EQ(said, step.said + (std::string(step.said).ends_with("to ") ? path : ""));
        EXPECT_EQ(textOf(path), step.text) << step.sql;
    }

    const auto other = CaptureDatabase::OpenFile(program.database.databasePath(), false);
    ASSERT_TRUE(other.GetTable("BEGIN EXCLUSIVE").Ok());
    const auto jobFor = [](std::string file) {
        return ExportQuery(std::move(file), "SELECT id FROM applications", 1);
    };
    ScriptedOperator op;
    for (const bool waits : {true, false}) {
        op.WillEnter("Save it", folder.Path(u"new.csv"_s));
        auto run = files.Run(u"Save it"_s, jobFor, op);
        EXPECT_TRUE(!waits || SpinUntil([&] {
            Q_EMIT clock.SecondPassed();
            return op.progress.back().operation == kHeldText;
        })) << "never said why it takes so long";
        Q_EMIT program.databaseFiles.ReadersMustEnd();
        EXPECT_TRUE(run.isReady()) << waits;
        EXPECT_EQ(op.Messages().back(), "The export was cancelled, and no file was made.");
    }
    EXPECT_EQ(textOf(folder.Path(u"new.csv"_s).toStdString()), "none");
}

class ClosingTest : public WindowTest, public testing::WithParamInterface<const char*> {};

TEST_P(ClosingTest, EndsWhoReadsAndWritesWhatIsQueuedWithoutAQuestion) {
    Open(u"database"_s);  // which reads nothing
    const std::string path = program_->database.databasePath();
    // Hourly records without an end: who reads them holds the file until he is told to end.
    Execute(path,
            "DROP TABLE monitordata_hourly; CREATE VIEW monitordata_hourly(rowid, date, deviceaddress, " +
                ChannelColumns("kwh") +
                ") AS WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n) SELECT n.i, date(n.i * "
                "0, 'unixepoch'), n.i * 0 + 1, 0, 0, 0, 0, 0, 0, 0 FROM n CROSS JOIN applications");
    FileExport files(program_->database, program_->databaseFiles, clock);
    std::optional<QCoro::Task<Outcome>> exported;
    std::optional<QCoro::Task<WebReply>> asked;
    ScriptedOperator op;
    const std::string reader = GetParam();
    if (reader == "export") {
        op.WillEnter("Save it", folder.Path(u"hours.csv"_s));
        const auto jobFor = [](std::string file) {
            return ExportQuery(std::move(file), "SELECT * FROM monitordata_hourly", 1);
        };
        exported = files.Run(u"Save it"_s, jobFor, op);
    } else if (reader == "history") {
        const ChannelSteps steps{.address = "1", .channel = 0, .from = 0, .to = kWallDay};
        asked = program_->history.Read({.steps = steps, .step = u"hour"_s});
    } else {
        ShowPage(QString::fromStdString(reader));
    }
    const auto other = CaptureDatabase::OpenFile(path, false);
    ASSERT_TRUE(SpinUntil([&] { return other.GetTable("BEGIN EXCLUSIVE; ROLLBACK").Locked(); }))
        << "nobody reads";

    program_->dbWriter.WriteSQL("INSERT INTO applications(username) VALUES ('kept')");
    const auto closing = program_->Close(op);
    ASSERT_TRUE(SpinUntil([&] {
        clock.Advance(10);
        return closing.isReady();
    }));
    EXPECT_EQ(Rows(path, "SELECT DISTINCT username FROM applications WHERE username = 'kept'").size(), 1U);
    EXPECT_FALSE(QFile::exists(folder.Path(u"unwritten.sql"_s)));
}

INSTANTIATE_TEST_SUITE_P(Readers, ClosingTest, testing::Values("charts", "data", "export", "history"),
                         [](const auto& reader) { return std::string(reader.param); });

TEST(Scale, EndsAtARoundNumber) {
    const std::pair<double, double> numbers[] = {{100, 100}, {101, 200},  {201, 400},  {401, 600},
                                                 {601, 800}, {801, 1000}, {0.15, 0.2}, {1000, 1000}};
    for (const auto& [number, end] : numbers)
        EXPECT_DOUBLE_EQ(RoundedUp(number), end);
}

}  // namespace
}  // namespace corvane
