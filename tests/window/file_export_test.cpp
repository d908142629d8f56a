#include "window/parts/file_export.h"

#include <gtest/gtest.h>

#include "app/program_fixture.h"
#include "history/csv_export.h"
#include "window/parts/scale.h"

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
}

TEST(Scale, EndsAtARoundNumber) {
    const std::pair<double, double> numbers[] = {{100, 100}, {101, 200},  {201, 400},  {401, 600},
                                                 {601, 800}, {801, 1000}, {0.15, 0.2}, {1000, 1000}};
    for (const auto& [number, end] : numbers)
        EXPECT_DOUBLE_EQ(RoundedUp(number), end);
}

}  // namespace
}  // namespace corvane
