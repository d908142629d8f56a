// A database with everything that works on it, on a clock that the test steps.
#pragma once

#include <QCoroTask>

#include <gtest/gtest.h>

#include <string>

#include "store/capture_database.h"
#include "store/db_writer.h"
#include "store/error_log.h"
#include "store/rows.h"
#include "store/schema.h"
#include "store/settings_store.h"
#include "store/upkeep/database_backups.h"
#include "store/upkeep/database_work.h"
#include "store/upkeep/maintenance.h"
#include "support/fake_clock.h"
#include "support/scripted_operator.h"
#include "support/temp_folder.h"

namespace corvane {

struct MaintenanceFixture : testing::Test {
    TempFolder folder;
    TempFolder elsewhere;
    FakeClock clock;
    SettingsStore settings{elsewhere.Path(QStringLiteral("corvane.ini"))};
    ErrorLog errorLog{elsewhere.Path(), QStringLiteral("Test"), clock};
    std::string path = folder.Path(QStringLiteral("vrq1.db3")).toStdString();
    CaptureDatabase database{path};
    DbWriter writer{database, settings, errorLog, clock};
    DatabaseWork work{writer, clock};
    DatabaseBackups backups{database, settings, writer, work};
    Maintenance maintenance{database, settings, work, backups, clock};
    ScriptedOperator op;

    MaintenanceFixture() { EXPECT_TRUE(CreateTables(path)); }

    /// What an operation fails with; empty where it succeeds.
    static std::string Result(QCoro::Task<Outcome> operation) {
        std::string error = "never ended";
        QCoro::waitFor([](QCoro::Task<Outcome> awaited, std::string& result) -> QCoro::Task<> {
            result = (co_await std::move(awaited)).Error().toStdString();
        }(std::move(operation), error));
        return error;
    }

    /// Adds so many minute rows of one device, ten seconds apart, from the beginning of 2026 on.
    void Fill(int rows) const {
        Execute(path, "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n LIMIT " +
                          std::to_string(rows) +
                          ") INSERT INTO monitordata_minute(date, deviceaddress, ch1watt) "
                          "SELECT datetime('2026-01-01', (10 * i) || ' seconds'), 300001, i FROM n");
    }

    [[nodiscard]] std::vector<std::string> All(const std::string& sql) const { return Rows(path, sql); }
};

}  // namespace corvane
