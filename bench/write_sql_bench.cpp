// A burst of the database writer, beside a bare loop that opens, inserts and closes.
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "ratios.h"
#include "store/capture_database.h"
#include "store/db_writer.h"
#include "store/error_log.h"
#include "store/schema.h"
#include "store/settings_store.h"
#include "store/settle_bursts.h"
#include "support/fake_clock.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kStatements = 200;
constexpr const char* kInsert =
    "insert into monitordata_minute(date,ch1watt,ch2watt,volt,deviceaddress) values "
    "('2026-03-02 10:20:30',1000,500,121.3,301234)";

/// A fresh database in a folder that goes with it.
struct Folder {
    QTemporaryDir dir;
    std::string path = dir.filePath(u"vrq1.db3"_s).toStdString();

    Folder() { (void)CreateTables(path); }
};

void WriteSqlBurst(benchmark::State& state) {
    const Folder folder;
    FakeClock clock;
    SettingsStore settings(folder.dir.filePath(u"corvane.ini"_s));
    CaptureDatabase database(folder.path);
    ErrorLog errorLog(folder.dir.path(), u"Bench"_s, clock);
    DbWriter writer(database, settings, errorLog, clock);
    for (auto _ : state) {
        state.PauseTiming();
        writer.SetMaintenanceBusy(true);
        while (writer.Pointer() < kStatements)
            writer.WriteSQL(kInsert);
        writer.SetMaintenanceBusy(false);
        writer.ForceNextBurst();
        state.ResumeTiming();
        writer.WriteSQL(kInsert);  // runs as many as were queued, and leaves the newest
        SettleBursts(writer);
    }
    state.SetItemsProcessed(state.iterations() * kStatements);
    if (writer.Pointer() != 1) state.SkipWithError("the burst did not empty the queue");
}
BENCHMARK(WriteSqlBurst)->Unit(benchmark::kMillisecond)->Repetitions(9)->UseRealTime();

void OpenInsertClose(benchmark::State& state) {
    const Folder folder;
    for (auto _ : state) {
        for (int i = 0; i < kStatements; ++i) {
            sqlite3* handle = nullptr;
            if (sqlite3_open_v2(folder.path.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK ||
                sqlite3_exec(handle, kInsert, nullptr, nullptr, nullptr) != SQLITE_OK) {
                state.SkipWithError("the bare loop failed");
            }
            sqlite3_close(handle);
        }
    }
    state.SetItemsProcessed(state.iterations() * kStatements);
}
BENCHMARK(OpenInsertClose)->Unit(benchmark::kMillisecond)->Repetitions(9)->UseRealTime();

const Ratio kRatio("WriteSqlBurst", "OpenInsertClose", 1.05);

}  // namespace
}  // namespace corvane
