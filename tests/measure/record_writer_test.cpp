#include "measure/record_writer.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "base/number_format.h"
#include "measure/measurement_fixture.h"
#include "measure/virtual_channels.h"
#include "measure/virtual_texts.h"
#include "store/db_writer.h"
#include "store/rows.h"
#include "store/schema.h"
#include "support/data_lines.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// Statements gather in the queue until they are written; the clock starts at 2026-03-02 10:20:30.
class RecordWriterTest : public MeasurementFixture {
protected:
    RecordWriterTest() {
        EXPECT_TRUE(CreateTables(database_.databasePath()));
        writer_.SetMaintenanceBusy(true);
        measurement_->AddSink(records_);
    }

    /// Of a monitor that counts the seconds, so that a second packet gives power.
    void Send(MonitorState state) {
        if (state.seconds == MonitorState().seconds)
            state.seconds = static_cast<std::uint32_t>(clock_.Monotonic() / 1000);
        MeasurementFixture::Send(state);
    }

    /// The tables that the statements queued since this was last asked go to, in their order.
    std::string TakeTables() {
        QStringList tables;
        for (; taken_ < writer_.Pointer(); ++taken_) {
            const QString statement = QString::fromStdString(writer_.Buffer().Slot(taken_ + 1));
            tables.append(statement.section(u'(', 0, 0).replace(u"insert into "_s, u""_s));
        }
        return tables.join(u", "_s).toStdString();
    }

    DbWriter writer_{database_, settings_, errorLog_, clock_};
    ChannelGroups groups_{settings_};
    StoredEnergies stored_{database_, slots_, clock_};
    VirtualChannels virtualChannels_{groups_, *measurement_, stored_, settings_};
    RecordWriter records_{writer_, database_, virtualChannels_, clock_};
    int taken_ = 0;
};

TEST_F(RecordWriterTest, RecordsAreDueInAnotherMinuteOfTheHourAndAfterMoreThanAnHour) {
    for (const DataLine& line : CasesOf("RecordsDue")) {
        const QString passed = line.Column(0);
        if (passed.startsWith(u"set "_s)) clock_.Jump(passed.mid(4).toLongLong());
        clock_.AdvanceSeconds(passed.toLongLong());
        Send(line.Column(1) == u"A" ? MonitorState{} : MonitorState{.serialNumber = 5678, .unitId = 4});
        EXPECT_EQ(DateTimeText(clock_.Now()).substr(11), line.Word(2)) << line;
        EXPECT_EQ(TakeTables(), line.Word(3)) << line;
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
    for (const DataLine& part : CasesOf("RowOfWraps"))
        EXPECT_THAT(sql::MinuteRow(A()), testing::HasSubstr(part.text.toStdString()));
}

TEST_F(RecordWriterTest, TheSumsWaitForAnEnergyThatNobodyKnowsAndAreWrittenOnceItIsKnown) {
    const MonitorState b = {.serialNumber = 5678, .unitId = 4};
    Set(u"EnableVD1"_s, u"True"_s);
    Set(u"cbo120_0"_s, u"A:CH1"_s);
    Set(u"cbo120_1"_s, u"B:CH1"_s);
    Send({});
    EXPECT_EQ(TakeTables(), "monitordata_hourly");
    EXPECT_EQ(SumsWaitText(virtualChannels_.Read()),
              u"The virtual device 999999 is not recorded until Device B is "
              "heard: nothing is known of its energy."_s);
    Send(b);
    EXPECT_EQ(TakeTables(), "monitordata_hourly") << "of B: the sums go with A";
    EXPECT_EQ(SumsWaitText(virtualChannels_.Read()), u""_s);
    Send({});
    EXPECT_EQ(TakeTables(), "monitordata_hourly");
    EXPECT_TRUE(writer_.Buffer().Slot(writer_.Pointer()).ends_with(",999999,0,0,0,0,0,0,0,0,0,1);"))
        << "the sums";
    clock_.AdvanceSeconds(60);
    Send({});
    EXPECT_EQ(TakeTables(), "monitordata_minute, monitordata_minute");
}

TEST_F(RecordWriterTest, ADeviceNotHeardYetCountsInTheSumsWithItsNewestRow) {
    Set(u"EnableVD1"_s, u"True"_s);
    Set(u"cbo120_0"_s, u"B:CH1"_s);
    Set(u"cbo121_0"_s, u"B:AUX5"_s);
    // Without net metering, the generator is in no row: only what the row has is waited for.
    for (const DataLine& line : CasesOf("StoredEnergies")) {
        Execute(database_.databasePath(), line.Word(0));
        stored_.Forget();
        Send({});
        const auto row = virtualChannels_.RowWith(A());
        const std::string text = row.has_value() ? ShortestText(row->channels[0].absolute.Lifetime()) + " " +
                                                       ShortestText(row->channels[0].polarized.Lifetime())
                                                 : "none";
        EXPECT_EQ(text, line.Word(1)) << line;
    }
}

TEST_F(RecordWriterTest, ADisabledDatabaseGetsNothing) {
    settings_.Save(kDatabaseEnabled, false);
    clock_.AdvanceSeconds(60);
    Send({});
    EXPECT_EQ(writer_.Pointer(), 0);
    settings_.Save(kDatabaseEnabled, true);
    clock_.AdvanceSeconds(1);
    Send({});
    EXPECT_EQ(TakeTables(), "monitordata_minute, monitordata_hourly");
}

TEST_F(RecordWriterTest, PowerAndEnergyRecordsAreWrittenWhereTheirTablesExist) {
    const std::pair<const char*, const char*> steps[] = {
        {"SELECT 1", "monitordata_hourly, monitordata_minute"},
        {sql::kNewEnergyTable, "monitordata_minute, minute_energy"},
        {sql::kNewPowerTable, "monitordata_minute, minute_power, minute_energy"},
        {"DROP TABLE minute_energy", "monitordata_minute, minute_power"},
    };
    Send({});
    for (const auto& [change, tables] : steps) {
        Execute(database_.databasePath(), change);
        records_.LookForMinuteTables();
        clock_.AdvanceSeconds(60);
        Send({});
        EXPECT_EQ(TakeTables(), tables) << change;
    }
}

TEST_F(RecordWriterTest, RecordsOfPowerAndEnergyWaitUntilTheirTablesCanBeLookedForOrAreGivenUp) {
    Execute(database_.databasePath(), sql::kNewPowerTable);
    Send({});
    const auto aMinuteWhileLocked = [this](auto afterwards) {
        const auto other = CaptureDatabase::OpenFile(database_.databasePath(), false);
        EXPECT_TRUE(other.GetTable("BEGIN EXCLUSIVE").Ok());
        records_.LookForMinuteTables();
        clock_.AdvanceSeconds(60);
        Send({});
        afterwards();
    };
    aMinuteWhileLocked([this] { EXPECT_EQ(TakeTables(), "monitordata_hourly, monitordata_minute"); });
    clock_.AdvanceSeconds(60);
    Send({});
    EXPECT_EQ(TakeTables(), "minute_power, monitordata_minute, minute_power");
    std::vector<std::string> givenUp;
    QObject::connect(&writer_, &DbWriter::GivenUp,
                     [&](const std::string& statement) { givenUp.push_back(statement.substr(0, 25)); });
    aMinuteWhileLocked([this] { records_.GiveUpUndecided(); });
    EXPECT_EQ(givenUp, (std::vector<std::string>{"insert into minute_power(", "insert into minute_energy"}));
}

TEST_F(RecordWriterTest, StatementsAndRowsAreAsTheReadersOfTheDatabaseKnowThem) {
    Execute(database_.databasePath(), sql::kNewPowerTable);
    Execute(database_.databasePath(), sql::kNewEnergyTable);
    records_.LookForMinuteTables();
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
    const std::vector<DataLine> statements = CasesOf("Statements");
    EXPECT_EQ(sql::MinuteRow(A()), statements.at(0).text.toStdString());
    EXPECT_EQ(sql::PowerRow(A()), statements.at(1).text.toStdString());
    EXPECT_EQ(sql::EnergyRow(A()), statements.at(2).text.toStdString());
    EXPECT_EQ(sql::HourlyRow(A()), statements.at(3).text.toStdString());
    writer_.SetMaintenanceBusy(false);
    EXPECT_TRUE(QCoro::waitFor(writer_.Drain(0)));
    for (const DataLine& line : CasesOf("RowsWritten"))
        EXPECT_EQ(Rows(database_.databasePath(), line.Word(0)),
                  std::vector<std::string>{line.Column(1).replace(u", "_s, u"|"_s).toStdString()})
            << line;
}

}  // namespace
}  // namespace corvane
