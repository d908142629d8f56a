// Charts and CSV files of a year of minute records, beside the bare reading of them and the sqlite3 shell.
#include <QApplication>
#include <QCoroTask>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

#include "history/channel_steps.h"
#include "history/csv_export.h"
#include "history/table_rows.h"
#include "store/schema.h"
#include "store/sql_cursor.h"
#include "window/past/chart_view.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kMinutesOfAYear = 365 * 24 * 60;
constexpr int kFrames = 60;

void Require(bool condition, const std::string& what) {
    if (condition) return;
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(1);
}

class Stopwatch {
public:
    Stopwatch() { elapsed_.start(); }
    [[nodiscard]] double Seconds() const { return static_cast<double>(elapsed_.nsecsElapsed()) / 1e9; }

private:
    QElapsedTimer elapsed_;
};

/// A year of minute records of two devices, whose powers turn at every record.
void Fill(const std::string& path) {
    Require(bool(CreateTables(path)), "no database");
    const auto database = CaptureDatabase::OpenFile(path, false);
    const QueryResult filled = database.GetTable(
        "PRAGMA synchronous=OFF; WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n LIMIT " +
        std::to_string(2 * kMinutesOfAYear) +
        ") INSERT INTO monitordata_minute(date,deviceaddress,secondscounter,volt,ch1watt,ch2watt,aux1watt,"
        "aux2watt,aux3watt,aux4watt,aux5watt,ch1amps,ch2amps,ch1kwh,ch2kwh,aux1kwh,aux2kwh,aux3kwh,aux4kwh,"
        "aux5kwh,online) SELECT datetime('2025-01-01', (i / 2) || ' minutes'),300001 + i % 2,i,121.3,"
        "abs(random()) % 3000,abs(random()) % 2000,i % 90,i % 400,300,40,5,12.5,3.4,34.29355 + i / 70.0,"
        "i / 90.0,i / 110.0,i / 130.0,i / 170.0,i / 190.0,i / 230.0,1 FROM n");
    Require(filled.Ok(), filled.errorText);
    const QueryResult hours = database.GetTable(
        "INSERT INTO monitordata_hourly(date,deviceaddress,ch1kwh,ch2kwh) SELECT date,deviceaddress,ch1kwh,"
        "ch2kwh FROM monitordata_minute WHERE id % 120 < 2");
    Require(hours.Ok(), hours.errorText);
}

/// Seconds for stepping over what a chart is made of, and nothing else.
double BareReading(const std::string& path) {
    const auto database = CaptureDatabase::OpenFile(path, false);
    const Stopwatch watch;
    SqlCursor rows(database,
                   "SELECT rowid,date,ch1watt,ch2watt,aux1watt,aux2watt,aux3watt,aux4watt,aux5watt,ch1kwh,"
                   "ch2kwh,aux1kwh,aux2kwh,aux3kwh,aux4kwh,aux5kwh FROM monitordata_minute WHERE "
                   "deviceaddress = '300001' ORDER BY rowid");
    double sum = 0;
    while (rows.Next()) {
        sum += static_cast<double>(rows.Text(1).size());
        for (int column = 2; column < rows.Columns(); ++column)
            sum += rows.Number(column);
    }
    Require(sum > 0, rows.ErrorText());
    return watch.Seconds();
}

std::shared_ptr<const DeviceHistory> Read(SqlWorker& worker, const std::string& path) {
    auto history = std::make_shared<DeviceHistory>();
    history->address = "300001";
    history->from = ParseStamp("2024-12-31 00:00:00").value();
    history->to = ParseStamp("2026-01-02 00:00:00").value();
    const QueryResult result = QCoro::waitFor(worker.Run(path, ReadHistory(history)));
    Require(result.Ok() && history->power.times.size() == kMinutesOfAYear, "the year is not there");
    return history;
}

void MeasureCharts(SqlWorker& worker, const std::string& path) {
    const double bare = BareReading(path);
    const Stopwatch reading;
    const auto history = Read(worker, path);
    const double read = reading.Seconds();
    std::printf("first read of a year of one device: %.2f s, %.2f times the bare reading\n", read,
                read / bare);

    ChartView view;
    view.resize(1200, 700);
    view.show();
    ChartView::Choice choice;
    choice.channels = {true, true, true};
    view.Choose(choice);
    view.SetSpan(ParseStamp("2025-01-01 00:00:00").value(), ParseStamp("2026-01-01 00:00:00").value());
    const Stopwatch opening;
    view.Show(history);
    view.replot(QCustomPlot::rpImmediateRefresh);
    std::printf("the year opens in %.0f ms (aim: under 1000)\n", 1000 * opening.Seconds());
    const Stopwatch moving;
    for (int frame = 0; frame < kFrames; ++frame) {
        view.xAxis->moveRange((frame % 2 == 0 ? -2.0 : 2.0) * kWallDay);
        view.replot(QCustomPlot::rpImmediateRefresh);
    }
    std::printf("moved by mouse, three channels at 1200 x 700: %.0f frames/s (aim: 30)\n",
                kFrames / moving.Seconds());
}

/// What the pages of the browser ask for, beside the sum in SQL alone.
void MeasureSteps(SqlWorker& worker, const std::string& path) {
    const WallTime day = ParseStamp("2025-07-01 00:00:00").value();
    const WallTime year = ParseStamp("2025-01-01 00:00:00").value();
    const struct {
        const char* what;
        ChannelSteps steps;
        const char* alone;
    } cases[] = {
        {"power of a day in steps of 5 minutes",
         {.address = "300001", .channel = 1, .from = day, .to = day + kWallDay, .powerStep = 300},
         "SELECT strftime('%s', date) / 300, AVG(watts) FROM (SELECT DISTINCT date, ch2watt AS watts FROM "
         "monitordata_minute WHERE deviceaddress = 300001 AND date >= '2025-07-01' AND date < "
         "'2025-07-02') GROUP BY 1"},
        {"power of a year in steps of a day",
         {.address = "300001", .channel = 1, .from = year, .to = year + 365 * kWallDay, .powerStep = 86'400},
         "SELECT strftime('%s', date) / 86400, AVG(watts) FROM (SELECT DISTINCT date, ch2watt AS watts FROM "
         "monitordata_minute WHERE deviceaddress = 300001 AND date >= '2025-01-01' AND date < "
         "'2026-01-01') GROUP BY 1"},
        {"energy of a year in months",
         {.address = "300001",
          .channel = 1,
          .from = year,
          .to = year + 365 * kWallDay,
          .energyStep = CalendarUnit::Month},
         "SELECT date, ch2kwh FROM monitordata_hourly WHERE deviceaddress = 300001 AND date >= '2025-01-01' "
         "AND date < '2026-01-01' ORDER BY date"},
    };
    for (const auto& c : cases) {
        const Stopwatch alone;
        Require(CaptureDatabase::OpenFile(path, false).GetTable(c.alone).Ok(), "SQL fails");
        const double bare = alone.Seconds();
        const auto values = std::make_shared<std::vector<StepValue>>();
        const Stopwatch watch;
        const QueryResult read = QCoro::waitFor(worker.Run(path, ReadSteps(c.steps, values)));
        Require(read.Ok() && values->front().value.has_value(), "no steps");
        std::printf("%s: %.0f ms, %.2f times the SQL alone\n", c.what, 1000 * watch.Seconds(),
                    watch.Seconds() / bare);
    }
}

void MeasureCsv(SqlWorker& worker, const QString& folder, const std::string& path) {
    const auto rows = std::make_shared<TableRows>();
    rows->filter.table = "monitordata_minute";
    const Stopwatch finding;
    Require(QCoro::waitFor(worker.Run(path, FindRows(rows))).Ok(), "no rows");
    std::printf("a table of %zu rows opens in %.2f s\n", rows->ids.size(), finding.Seconds());

    const auto count = static_cast<std::int64_t>(rows->ids.size());
    const Stopwatch writing;
    const std::string csv = (folder + u"/ours.csv"_s).toStdString();
    const QueryResult written = QCoro::waitFor(worker.Run(path, ExportQuery(csv, AllRows(*rows), count)));
    Require(written.Ok(), written.errorText);
    const double seconds = writing.Seconds();

    QProcess shell;
    shell.setStandardOutputFile(folder + u"/shell.csv"_s);
    const Stopwatch shellWriting;
    shell.start(u"sqlite3"_s, {u"-csv"_s, u"-header"_s, QString::fromStdString(path),
                               QString::fromStdString(AllRows(*rows))});
    shell.waitForFinished(-1);
    Require(shell.exitCode() == 0, "the sqlite3 shell fails");
    std::printf("%lld rows (%lld MiB) as CSV: %.1f s (aim: under 15), %.2f times the sqlite3 shell\n",
                static_cast<long long>(count), QFileInfo(folder + u"/ours.csv"_s).size() / (1 << 20), seconds,
                seconds / shellWriting.Seconds());
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const QTemporaryDir folder;
    const std::string path = folder.filePath(QStringLiteral("vrq1.db3")).toStdString();
    corvane::Fill(path);
    corvane::SqlWorker worker;
    corvane::MeasureCharts(worker, path);
    corvane::MeasureSteps(worker, path);
    corvane::MeasureCsv(worker, folder.path(), path);
    return 0;
}
