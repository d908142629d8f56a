#include "measure/record_writer.h"

#include <gmock/gmock.h>

#include <string>
#include <tuple>
#include <vector>

#include "measure/measurement_fixture.h"
#include "measure/virtual_channels.h"
#include "store/db_writer.h"
#include "store/rows.h"
#include "store/schema.h"
#include "support/case_file.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

using Tables = std::vector<std::string>;
const Tables kMinute = {"monitordata_minute"};
const Tables kHourly = {"monitordata_hourly"};
const Tables kBoth = {"monitordata_minute", "monitordata_hourly"};

/// Statements gather in the queue until they are written; the clock starts at 2026-03-02 10:20:30.
class RecordWriterTest : public MeasurementFixture {
protected:
    RecordWriterTest() {
        EXPECT_TRUE(CreateTables(database_.databasePath()));
        writer_.SetMaintenanceBusy(true);
        measurement_->AddSink(records_);
    }

    /// The tables that the statements queued since this was last asked go to, in their order.
    Tables TakeTables() {
        Tables tables;
        for (; taken_ < writer_.Pointer(); ++taken_) {
            const std::string& statement = writer_.Buffer().Slot(taken_ + 1);
            const std::string start = "insert into ";
            EXPECT_TRUE(statement.starts_with(start)) << statement;
            tables.push_back(statement.substr(start.size(), statement.find('(') - start.size()));
        }
        return tables;
    }

    DbWriter writer_{database_, settings_, errorLog_, clock_};
    ChannelGroups groups_{settings_};
    VirtualChannels virtualChannels_{groups_, *measurement_, settings_};
    RecordWriter records_{writer_, virtualChannels_, clock_};
    int taken_ = 0;
};

TEST_F(RecordWriterTest, RecordsAreDueInAnotherMinuteOfTheHourAndAfterMoreThanAnHour) {
    const MonitorState a;
    const MonitorState b = {.serialNumber = 5678, .unitId = 4};
    const std::tuple<std::int64_t, MonitorState, Tables> steps[] = {
        {0, a, kHourly},     // 10:20:30, within the minute of the start
        {29, a, {}},         // 10:20:59
        {1, a, kMinute},     // 10:21:00
        {59, a, {}},         // 10:21:59
        {126, a, kMinute},   // 10:24:05, two were missed
        {3385, a, kMinute},  // 11:20:30, 60 minutes and no more
        {0, b, kHourly},     // each slot has its own minute and hour
        {1, a, kHourly},     // 11:20:31
        {3600, a, {}},       // 12:20:31, the same minute of another hour
        {36'000, a, kHourly}, {29, b, kBoth}, {0, a, kMinute},
    };
    for (const auto& [waited, state, tables] : steps) {
        clock_.AdvanceSeconds(waited);
        Send(state);
        EXPECT_EQ(TakeTables(), tables) << DateTimeText(clock_.Now());
    }
}

TEST_F(RecordWriterTest, ARowCountsAllWrapsAndHoldsNoPowerOfAnEarlierPacket) {
    int carry = 0;
    for (const char* key :
         {"Roll1A", "Roll2A", "Roll1P", "Roll2P", "Roll3", "Roll4", "Roll5", "Roll6", "Roll7"})
        Set(QString::fromLatin1(key), QString::number(++carry), u"1"_s);
    Send({.seconds = 100});
    Send({.ch1Absolute = 8000, .seconds = 108});
    ASSERT_EQ(A().channels[0].absolute.lastWatts, 1000);
    Send({.ch1Absolute = 8000, .seconds = 108});  // the same second again
    for (const CaseLine& part : CasesOf("RowOfWraps"))
        EXPECT_THAT(sql::MinuteRow(A()), testing::HasSubstr(part.text.toStdString()));
}

TEST_F(RecordWriterTest, ADisabledDatabaseGetsNothing) {
    settings_.Save(kDatabaseEnabled, false);
    clock_.AdvanceSeconds(60);
    Send({});
    EXPECT_EQ(writer_.Pointer(), 0);
    settings_.Save(kDatabaseEnabled, true);
    Send({});
    EXPECT_EQ(TakeTables(), kBoth);
}

TEST_F(RecordWriterTest, PowerAndEnergyRecordsAreWrittenWhereTheirTablesExist) {
    const std::pair<const char*, Tables> steps[] = {
        {"SELECT 1", kBoth},
        {sql::kNewEnergyTable, {"monitordata_minute", "minute_energy"}},
        {sql::kNewPowerTable, {"monitordata_minute", "minute_power", "minute_energy"}},
        {"DROP TABLE minute_energy", {"monitordata_minute", "minute_power"}},
    };
    for (const auto& [change, tables] : steps) {
        Execute(database_.databasePath(), change);
        records_.LookForMinuteTables(database_);
        clock_.AdvanceSeconds(60);
        Send({});
        EXPECT_EQ(TakeTables(), tables) << change;
    }
}

TEST_F(RecordWriterTest, StatementsAndRowsAreAsTheReadersOfTheDatabaseKnowThem) {
    Execute(database_.databasePath(), sql::kNewPowerTable);
    Execute(database_.databasePath(), sql::kNewEnergyTable);
    records_.LookForMinuteTables(database_);
    Send({.ch1Absolute = 7200, .ch2Absolute = 14'400, .seconds = 100, .aux = {36'000, 72'000, 0, 0, 18'000}});
    clock_.AdvanceSeconds(60);
    Send({.voltTenths = 1217,
          .ch1Absolute = 14'400,
          .ch2Absolute = 18'000,
          .ch1Polarized = 3'600'000,
          .ch2Polarized = 5'400'000,
          .ch1Hundredths = 123,
          .ch2Hundredths = 1000,
          .seconds = 136,
          .aux = {36'036, 72'072, 108, 144, 18'180}});
    // ch2Pkwh stands in that of the energy twice, with the same value, and ch1Pkwh not at all: on purpose.
    const std::vector<CaseLine> statements = CasesOf("Statements");
    EXPECT_EQ(sql::MinuteRow(A()), statements.at(0).text.toStdString());
    EXPECT_EQ(sql::PowerRow(A()), statements.at(1).text.toStdString());
    EXPECT_EQ(sql::EnergyRow(A()), statements.at(2).text.toStdString());
    EXPECT_EQ(sql::HourlyRow(A()), statements.at(3).text.toStdString());
    writer_.SetMaintenanceBusy(false);
    writer_.WriteSQL("");  // what stays behind in the queue, instead of a record
    for (const CaseLine& line : CasesOf("RowsWritten"))
        EXPECT_EQ(Rows(database_.databasePath(), line.Word(0)),
                  Tables{line.Column(1).replace(u", "_s, u"|"_s).toStdString()})
            << line;
}

}  // namespace
}  // namespace corvane
