#include "history/csv_export.h"

#include <QCoroTask>
#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <cmath>

#include "history/table_rows.h"
#include "store/rows.h"
#include "store/schema.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

struct CsvExport : testing::Test {
    TempFolder folder;
    std::string path = folder.Path(QStringLiteral("vrq1.db3")).toStdString();
    std::string csv = folder.Path(QStringLiteral("rows.csv")).toStdString();
    SqlWorker worker;

    CsvExport() { EXPECT_TRUE(CreateTables(path)); }

    QueryResult Run(SqlJob job) { return QCoro::waitFor(worker.Run(path, std::move(job))); }
    [[nodiscard]] std::string Written() const {
        QFile file(QString::fromStdString(csv));
        return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : "no file";
    }
};

TEST_F(CsvExport, WritesEveryValueSoThatItReadsBack) {
    const QueryResult result = Run(ExportQuery(
        csv,
        "SELECT 0.1 + 0.2 AS sum, 1e21 AS big, 1099511627776 AS whole, 9e999 AS none, 'a,b' AS \"co,mma\", "
        "'say \"x\"' AS quote, 'two' || char(10) || 'lines' AS line, '' AS empty",
        1));
    EXPECT_EQ(result.errorText, "");
    EXPECT_EQ(result.rows.front().front(), "1");
    EXPECT_EQ(Written(),
              "sum,big,whole,none,\"co,mma\",quote,line,empty\r\n"
              "0.30000000000000004,1000000000000000000000,1099511627776,,\"a,b\",\"say "
              "\"\"x\"\"\",\"two\nlines\",\r\n");
}

TEST_F(CsvExport, TellsHowFarItIsAndLosesNoRowOfMany) {
    std::vector<int> told;
    QObject::connect(&worker, &SqlWorker::Told, &worker,
                     [&told](const QString&, std::optional<int> percent) { told.push_back(*percent); });
    const std::string rows =
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 51200) "
        "SELECT i, 'some twenty characters' AS text FROM n";
    std::string expected = "i,text\r\n";
    for (int i = 1; i <= 51'200; ++i)
        expected.append(std::to_string(i)).append(",some twenty characters\r\n");
    EXPECT_EQ(Run(ExportQuery(csv, rows, 51'200)).errorText, "");
    EXPECT_TRUE(Written() == expected);
    EXPECT_EQ(told.back(), 99);
}

TEST_F(CsvExport, LeavesNoFileAndTouchesNoneWhereItFails) {
    const std::string endless =
        "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n) SELECT i FROM n";
    ASSERT_EQ(Run(ExportQuery(csv, "SELECT 1 AS one", 1)).errorText, "");
    QObject::connect(&worker, &SqlWorker::Told, &worker, [this] { worker.Interrupt(); });
    EXPECT_EQ(Run(ExportQuery(csv, endless, 100'000)).errorText, SqlWorker::kInterrupted);
    EXPECT_NE(Run(ExportQuery(csv, "SELECT wrong", 1)).errorText, "");
    EXPECT_NE(Run(ExportQuery(csv, "SELECT abs(-9223372036854775807 - 1)", 1)).errorText, "");
    EXPECT_EQ(Written(), "one\r\n1\r\n") << "the file of before";
    ASSERT_TRUE(QDir(folder.Path()).mkpath(QStringLiteral("kept.csv/inside")));
    EXPECT_NE(Run(ExportQuery(folder.Path().toStdString() + "/kept.csv", "SELECT 1", 1)).errorText, "");
    EXPECT_EQ(folder.Entries(), (std::vector<std::string>{"kept.csv", "rows.csv", "vrq1.db3"}));
    EXPECT_NE(Run(ExportQuery(csv + "/none.csv", "SELECT 1", 1)).errorText, "");
}

TEST_F(CsvExport, ChartsHaveTheChannelsShownAndTheTimeAskedFor) {
    const WallTime begin = ParseStamp("2026-05-01 10:00:00").value();
    const auto history = std::make_shared<DeviceHistory>();
    for (const WallTime minute : {0, 1, 2, 3})
        history->power.Add(begin + 60 * minute, {100.5F + static_cast<float>(minute), 7, std::nanf("")});
    const ShownChannels shown = {"House", std::nullopt, "Oven, old"};
    EXPECT_EQ(Run(ExportPower(csv, history, shown, begin + 60, begin + 180)).rows.front().front(), "2");
    EXPECT_EQ(Written(),
              "time,House W,\"Oven, old W\"\r\n"
              "2026-05-01 10:01:00,101.5,\r\n2026-05-01 10:02:00,102.5,\r\n");
    const EnergyBar bar = {begin, begin + 3600, {1.5, 7, 0.25}, {0.3, 7, 0.05}, 1800};
    EXPECT_EQ(Run(ExportBars(csv, {bar}, shown)).rows.front().front(), "1");
    EXPECT_EQ(Written(),
              "from,to,seconds known,House kWh,\"Oven, old kWh\",House cost,\"Oven, old cost\"\r\n"
              "2026-05-01 10:00:00,2026-05-01 11:00:00,1800,1.5,0.25,0.3,0.05\r\n");
}

TEST_F(CsvExport, ATableIsFilteredAndReadInPages) {
    Execute(path, sql::kNewPowerTable);
    Execute(path,
            "CREATE TABLE \"foreign\"(RowId TEXT, oid); INSERT INTO \"foreign\" VALUES ('a', 9), ('b', 8), "
            "('a', 7)");
    for (const char* row :
         {"'2026-03-09 23:59', 300001", "'2026-03-10 00:00', 300001", "'2026-03-10 10:00', 300002",
          "'2026-03-10 23:59', 300001", "'2026-03-11 00:00', 300001"})
        Execute(path, std::string("INSERT INTO minute_power(date, deviceaddress) VALUES (") + row + ")");
    const struct {
        TableFilter filter;
        std::vector<std::int64_t> ids;
    } cases[] = {
        {{.table = "minute_power", .address = {}, .firstDay = {}, .endDay = {}}, {5, 4, 3, 2, 1}},
        {{.table = "minute_power", .address = "300001", .firstDay = {}, .endDay = {}}, {5, 4, 2, 1}},
        {{.table = "minute_power", .address = {}, .firstDay = "2026-03-10", .endDay = "2026-03-11"},
         {4, 3, 2}},
        {{.table = "applications", .address = "300001", .firstDay = "2026-03-10", .endDay = {}}, {1}},
        {{.table = "foreign", .address = {}, .firstDay = {}, .endDay = {}}, {3, 2, 1}},
    };
    for (const auto& c : cases) {
        const auto rows = std::make_shared<TableRows>();
        rows->filter = c.filter;
        ASSERT_EQ(Run(FindRows(rows)).errorText, "");
        EXPECT_EQ(rows->ids, c.ids) << c.filter.table << c.filter.address << c.filter.firstDay;
        Execute(path, "INSERT INTO minute_power(date, deviceaddress) VALUES ('2026-03-10 12:00', 300001)");
        EXPECT_EQ(Run(ExportQuery(csv, AllRows(*rows), 0)).rows.front().front(), std::to_string(c.ids.size()))
            << "rows that came later are not among them";
        Execute(path, "DELETE FROM minute_power WHERE date = '2026-03-10 12:00'");
        const QueryResult page = Run(ReadRows(*rows, 1, 2));
        std::vector<std::int64_t> paged;
        for (const auto& row : page.rows)
            paged.push_back(std::stoll(row.front().value_or("0")));
        const auto end = std::min<std::ptrdiff_t>(3, std::ssize(c.ids));
        EXPECT_EQ(paged, std::vector(c.ids.begin() + 1, c.ids.begin() + end));
    }
}

}  // namespace
}  // namespace corvane
