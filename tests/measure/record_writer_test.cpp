#include "measure/record_writer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "measure/measurement_fixture.h"
#include "store/db_writer.h"
#include "store/rows.h"
#include "store/schema.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr double kTop40 = 1099511627776.0;
constexpr double kTop32 = 4294967296.0;

/// Statements gather in the queue until they are written; the clock starts at 2026-03-02 10:20:30.
class RecordWriterTest : public MeasurementFixture {
protected:
    RecordWriterTest() {
        EXPECT_TRUE(CreateTables(database_.databasePath()));
        writer_.SetMaintenanceBusy(true);
        measurement_->AddSink(records_);
    }

    void AddMinuteTables() {
        Execute(database_.databasePath(), sql::kNewPowerTable);
        Execute(database_.databasePath(), sql::kNewEnergyTable);
    }

    /// The tables that the statements queued since this was last asked go to, in their order.
    std::vector<std::string> TakeTables() {
        std::vector<std::string> tables;
        for (; taken_ < writer_.Pointer(); ++taken_) {
            const std::string& statement = writer_.Buffer().Slot(taken_ + 1);
            const std::string start = "insert into ";
            EXPECT_TRUE(statement.starts_with(start)) << statement;
            tables.push_back(statement.substr(start.size(), statement.find('(') - start.size()));
        }
        return tables;
    }

    /// Has the queue written; each record once, because an empty statement is the one that stays behind.
    void Write() {
        writer_.SetMaintenanceBusy(false);
        writer_.WriteSQL("");
        ASSERT_EQ(writer_.Pointer(), 1) << writer_.LastDbMessage().toStdString();
        ASSERT_EQ(writer_.Buffer().Slot(1), ";");
    }

    /// Compares the row of `date` in `table`, but for its id; a column with nothing expected must be NULL.
    void ExpectRow(const std::string& table, const std::string& date,
                   const std::map<std::string, double>& expected) const {
        std::size_t compared = 0;
        for (const std::string& column :
             Rows(database_.databasePath(), "SELECT name FROM pragma_table_info('" + table + "')")) {
            if (column == "id" || column == "date") continue;
            const auto cell = Rows(database_.databasePath(), "SELECT quote(" + column + ") FROM " + table +
                                                                 " WHERE date = '" + date + "'");
            ASSERT_EQ(cell.size(), 1U) << table;
            const auto value = expected.find(column);
            if (value == expected.end()) {
                EXPECT_EQ(cell[0], "NULL") << column;
            } else {
                EXPECT_EQ(std::strtod(cell[0].c_str(), nullptr), value->second) << column << ": " << cell[0];
                ++compared;
            }
        }
        EXPECT_EQ(compared, expected.size());
    }

    DbWriter writer_{database_, settings_, errorLog_, clock_};
    RecordWriter records_{writer_, clock_};
    int taken_ = 0;
};

using Tables = std::vector<std::string>;
const Tables kMinute = {"monitordata_minute"};
const Tables kHourly = {"monitordata_hourly"};
const Tables kBoth = {"monitordata_minute", "monitordata_hourly"};

TEST_F(RecordWriterTest, AMinuteRecordIsDueWhenTheMinuteOfTheHourIsAnotherThanAtTheLastOne) {
    const struct {
        std::int64_t waited;  ///< seconds
        Tables tables;
    } steps[] = {
        {0, kHourly},     // 10:20:30, within the minute of the start
        {29, {}},         // 10:20:59
        {1, kMinute},     // 10:21:00
        {59, {}},         // 10:21:59
        {1, kMinute},     // 10:22:00
        {125, kMinute},   // 10:24:05, one was missed
        {3600, kHourly},  // 11:24:05, the same minute of another hour
        {55, kMinute},    // 11:25:00
    };
    for (const auto& step : steps) {
        clock_.AdvanceSeconds(step.waited);
        Send({});
        EXPECT_EQ(TakeTables(), step.tables) << DateTimeText(clock_.Now());
    }
}

TEST_F(RecordWriterTest, AnHourlyRecordIsDueAtFirstAndThenAfterMoreThanAnHour) {
    const struct {
        std::int64_t waited;
        Tables tables;
    } steps[] = {
        {600, kBoth},  // 10:30:30
        {3600, {}},    // 11:30:30, 60 minutes and no more
        {1, kHourly},  // 11:30:31
        {3600, {}},    // 12:30:31
        {36'000, kHourly},
    };
    for (const auto& step : steps) {
        clock_.AdvanceSeconds(step.waited);
        Send({});
        EXPECT_EQ(TakeTables(), step.tables) << DateTimeText(clock_.Now());
    }
}

TEST_F(RecordWriterTest, EachSlotHasItsOwnMinuteAndHour) {
    const MonitorState ofB = {.serialNumber = 5678, .unitId = 4};
    Send({});
    EXPECT_EQ(TakeTables(), kHourly);
    clock_.AdvanceSeconds(3600);
    Send(ofB);
    EXPECT_EQ(TakeTables(), kHourly);
    clock_.AdvanceSeconds(60);
    Send({});
    EXPECT_EQ(TakeTables(), kBoth);
    Send(ofB);
    EXPECT_EQ(TakeTables(), kMinute);
}

TEST_F(RecordWriterTest, ADisabledDatabaseGetsNothing) {
    writer_.SetEnabled(false);
    clock_.AdvanceSeconds(60);
    Send({});
    EXPECT_EQ(writer_.Pointer(), 0);
    writer_.SetEnabled(true);
    Send({});
    EXPECT_EQ(TakeTables(), kBoth);
}

TEST_F(RecordWriterTest, PowerAndEnergyRecordsAreWrittenWhereTheirTablesExist) {
    const struct {
        const char* added;
        Tables tables;
    } steps[] = {
        {nullptr, kBoth},
        {sql::kNewEnergyTable, {"monitordata_minute", "minute_energy"}},
        {sql::kNewPowerTable, {"monitordata_minute", "minute_power", "minute_energy"}},
        {"DROP TABLE minute_energy", {"monitordata_minute", "minute_power"}},
    };
    for (const auto& step : steps) {
        if (step.added != nullptr) Execute(database_.databasePath(), step.added);
        records_.LookForMinuteTables(database_);
        clock_.AdvanceSeconds(60);
        Send({});
        EXPECT_EQ(TakeTables(), step.tables) << (step.added != nullptr ? step.added : "");
    }
}

TEST_F(RecordWriterTest, StatementsAreAsTheReadersOfTheDatabaseKnowThem) {
    clock_.AdvanceSeconds(60);
    Send({.voltTenths = 1205,
          .ch1Absolute = 7200,
          .ch2Absolute = 14'400,
          .ch1Polarized = 3'600'000,
          .ch2Polarized = 5'400'000,
          .ch1Hundredths = 123,
          .ch2Hundredths = 1000,
          .seconds = 100,
          .aux = {36'000, 72'000, 108'000, 144'000, 0}});
    Send({.voltTenths = 1200,
          .ch1Absolute = 14'400,
          .ch2Absolute = 18'000,
          .ch1Polarized = 3'600'000,
          .ch2Polarized = 5'400'000,
          .ch1Hundredths = 123,
          .ch2Hundredths = 1000,
          .seconds = 136,
          .aux = {36'036, 72'072, 108'000, 144'000, 0}});
    EXPECT_EQ(sql::MinuteRow(A()),
              "insert into monitordata_minute(date,ch1watt,ch2watt,aux1watt,aux2watt,aux3watt,aux4watt,"
              "aux5watt,ch1kwh,ch2kwh,ch1amps,ch2amps,volt,aux1kwh,aux2kwh,aux3kwh,aux4kwh,aux5kwh,ch1awsc,"
              "ch2awsc,ch1pwsc,ch2pwsc,aux1awsc,aux2awsc,aux3awsc,aux4awsc,aux5awsc,secondscounter,online,"
              "deviceaddress) values ('2026-03-02 10:21:30',200,100,1,2,0,0,0,0.004,0.005,1.2,10,120,0.01001,"
              "0.02002,0.03,0.04,0,14400,18000,3600000,5400000,36036,72072,108000,144000,0,136,1,301234)");
    EXPECT_EQ(sql::PowerRow(A()),
              "insert into minute_power(date,deviceaddress,ch1watt,ch2watt,aux1watt,aux2watt,aux3watt,"
              "aux4watt,aux5watt,volt) values ('2026-03-02 10:21',301234,200,100,1,2,0,0,0,120)");
    // ch2Pkwh stands in it twice, with the same value, and ch1Pkwh not at all: on purpose.
    EXPECT_EQ(sql::EnergyRow(A()),
              "insert into minute_energy(date,deviceaddress,ch1Akwh,ch2Pkwh,ch2Akwh,ch2Pkwh,aux1kwh,aux2kwh,"
              "aux3kwh,aux4kwh,aux5kwh) values ('2026-03-02 10:21',301234,0.004,1.5,0.005,1.5,0.01001,"
              "0.02002,0.03,0.04,0)");
    EXPECT_EQ(sql::HourlyRow(A()),
              "insert into monitordata_hourly(date,deviceaddress,ch1kwh,ch2kwh,ch1kwhp,ch2kwhp,aux1kwh,"
              "aux2kwh,aux3kwh,aux4kwh,aux5kwh,online) values ('2026-03-02 10:21:30',301234,0.004,0.005,1,"
              "1.5,0.01001,0.02002,0.03,0.04,0,1)");
}

/// The rows of one packet in the database, with every counter past a wrap.
class EveryColumn : public RecordWriterTest {
protected:
    using Values = std::map<std::string, double>;

    EveryColumn() {
        AddMinuteTables();
        records_.LookForMinuteTables(database_);
        const char* const keys[] = {"Roll1A", "Roll2A", "Roll1P", "Roll2P", "Roll3",
                                    "Roll4",  "Roll5",  "Roll6",  "Roll7"};
        for (int i = 0; i < 9; ++i)
            Set(QString::fromLatin1(keys[i]), QString::number(i + 1), u"1"_s);
        Send({.ch1Absolute = 1'000'000'000'001,
              .ch2Absolute = 2'000'003,
              .ch1Polarized = 3'000'000,
              .ch2Polarized = 4'000'000,
              .seconds = 4'000'000,
              .aux = {10'002, 20'004, 30'003, 40'004, 4'000'000'000}});
        clock_.AdvanceSeconds(3700);
        Send({.voltTenths = 1217,
              .ch1Absolute = 1'000'000'373'701,
              .ch2Absolute = 2'747'403,
              .ch1Polarized = 3'000'007,
              .ch2Polarized = 4'000'011,
              .ch1Hundredths = 5555,
              .ch2Hundredths = 15,
              .seconds = 4'003'700,
              .aux = {13'702, 27'404, 30'003, 54'804, 4'000'018'500}});
        Write();
    }

    static double Kwh(double wattSeconds) { return wattSeconds / 3'600'000; }

    static Values WithAux(Values values) {
        values["deviceaddress"] = 301234;
        for (std::size_t i = 0; i < kAux.size(); ++i)
            values["aux" + std::to_string(i + 1) + "kwh"] = Kwh(kAux[i]);
        return values;
    }
    static Values WithPower(Values values) {
        values.insert({{"ch1watt", 101},
                       {"ch2watt", 202},
                       {"aux1watt", 1},
                       {"aux2watt", 2},
                       {"aux3watt", 0},
                       {"aux4watt", 4},
                       {"aux5watt", 5},
                       {"volt", 121.7}});
        return values;
    }

    static constexpr double kCh1 = 1 * kTop40 + 1'000'000'373'701;
    static constexpr double kCh2 = 2 * kTop40 + 2'747'403;
    static constexpr double kCh1Polarized = 3 * kTop40 + 3'000'007;
    static constexpr double kCh2Polarized = 4 * kTop40 + 4'000'011;
    static constexpr std::array<double, 5> kAux = {5 * kTop32 + 13'702, 6 * kTop32 + 27'404,
                                                   7 * kTop32 + 30'003, 8 * kTop32 + 54'804,
                                                   9 * kTop32 + 4'000'018'500};
};

TEST_F(EveryColumn, OfTheMinuteTableHoldsItsValueExactly) {
    ExpectRow("monitordata_minute", "2026-03-02 11:22:10",
              WithPower(WithAux({{"ch1kwh", Kwh(kCh1)},
                                 {"ch2kwh", Kwh(kCh2)},
                                 {"ch1amps", 55.6},
                                 {"ch2amps", 0.2},
                                 {"ch1awsc", kCh1},
                                 {"ch2awsc", kCh2},
                                 {"ch1pwsc", kCh1Polarized},
                                 {"ch2pwsc", kCh2Polarized},
                                 {"aux1awsc", kAux[0]},
                                 {"aux2awsc", kAux[1]},
                                 {"aux3awsc", kAux[2]},
                                 {"aux4awsc", kAux[3]},
                                 {"aux5awsc", kAux[4]},
                                 {"secondscounter", 4'003'700},
                                 {"online", 1}})));
}

TEST_F(EveryColumn, OfTheHourlyTableHoldsItsValueExactly) {
    ExpectRow("monitordata_hourly", "2026-03-02 11:22:10",
              WithAux({{"ch1kwh", Kwh(kCh1)},
                       {"ch2kwh", Kwh(kCh2)},
                       {"ch1kwhp", Kwh(kCh1Polarized)},
                       {"ch2kwhp", Kwh(kCh2Polarized)},
                       {"online", 1}}));
}

TEST_F(EveryColumn, OfThePowerTableHoldsItsValueExactly) {
    ExpectRow("minute_power", "2026-03-02 11:22", WithPower({{"deviceaddress", 301234}}));
}

TEST_F(EveryColumn, OfTheEnergyTableHoldsItsValueExactly) {
    ExpectRow("minute_energy", "2026-03-02 11:22",
              WithAux({{"ch1Akwh", Kwh(kCh1)}, {"ch2Akwh", Kwh(kCh2)}, {"ch2Pkwh", Kwh(kCh2Polarized)}}));
}

TEST_F(RecordWriterTest, ARecordOfAPacketWithoutPowerHoldsZero) {
    const std::string watts =
        "SELECT ch1watt, ch2watt, aux1watt, aux2watt, aux3watt, aux4watt, aux5watt FROM monitordata_minute";
    clock_.AdvanceSeconds(60);
    Send({.ch1Absolute = 1000, .seconds = 100, .aux = {10, 20, 30, 40, 50}});
    Send({.ch1Absolute = 9000, .seconds = 108, .aux = {18, 20, 30, 40, 50}});
    clock_.AdvanceSeconds(60);
    Send({.ch1Absolute = 9000, .seconds = 108, .aux = {26, 20, 30, 40, 50}});  // the same second again
    clock_.AdvanceSeconds(60);
    Send({.ch1Absolute = 400, .seconds = 116, .aux = {34, 20, 30, 40, 50}});  // CH1 was reset
    Write();
    EXPECT_EQ(Rows(database_.databasePath(), watts),
              (std::vector<std::string>{"0|0|0|0|0|0|0", "0|0|0|0|0|0|0", "0|0|2|0|0|0|0"}));
}

}  // namespace
}  // namespace corvane
