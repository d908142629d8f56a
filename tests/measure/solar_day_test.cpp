// A day from midnight to midnight in a house that sells power, against what its simulated monitor produced.
#include <algorithm>
#include <string>

#include "measure/measurement_fixture.h"
#include "measure/record_writer.h"
#include "measure/virtual_channels.h"
#include "sim/simulated_monitor.h"
#include "store/db_writer.h"
#include "store/rows.h"
#include "store/schema.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr std::int32_t kInterval = 8;
constexpr int kPackets = 24 * 3600 / kInterval;  // the last one comes at midnight
constexpr double kShedBefore = 7.2e9;            // watt-seconds on CH1 of a simulated monitor that starts

class SolarDay : public MeasurementFixture {
protected:
    SolarDay() {
        Set(u"cbo120_0"_s, u"A:CH1"_s);
        Set(u"cbo121_0"_s, u"A:CH2"_s);
        Set(u"cbo123_0"_s, u"B:CH1"_s);
        Set(u"NETmeter"_s, u"True"_s);
        Set(u"EnableVD1"_s, u"True"_s);
        EXPECT_TRUE(CreateTables(database_.databasePath()));
        const LocalTime start = clock_.Now();
        clock_.AdvanceSeconds(24 * 3600 - start.hour * 3600 - start.minute * 60 - start.second);
        records_ = std::make_unique<RecordWriter>(writer_, database_, virtualChannels_, clock_);
        writer_.SetMaintenanceBusy(true);  // the day's records gather in the queue
        measurement_->AddSink(*records_);
    }

    /// Runs all that was queued in one go.
    void WriteRecords() {
        const auto connection = database_.Open();
        std::string all = "BEGIN;";
        for (int i = 1; i <= writer_.Pointer(); ++i)
            all += writer_.Buffer().Slot(i);
        EXPECT_EQ(connection.GetTable(all + "COMMIT").errorText, "");
    }

    [[nodiscard]] double Number(const std::string& expression) const {
        return QByteArray::fromStdString(Rows(database_.databasePath(), "SELECT " + expression).front())
            .toDouble();
    }

    DbWriter writer_{database_, settings_, errorLog_, clock_};
    ChannelGroups groups_{settings_};
    StoredEnergies stored_{database_, slots_, clock_};
    VirtualChannels virtualChannels_{groups_, *measurement_, stored_, settings_};
    std::unique_ptr<RecordWriter> records_;
};

TEST_F(SolarDay, EnergiesAgreeWithWhatTheMonitorProduced) {
    SimulatedMonitor house({.serial = {.unitId = 3, .number = 1234},
                            .scenario = FindScenario("solar-day"),
                            .interval = kInterval,
                            .startSecondOfDay = 0});
    SimulatedMonitor shed({.serial = {.unitId = 4, .number = 5678}, .interval = kInterval});
    // What the house buys, sells and generates by the power of its monitor, in watt-seconds.
    double bought = 0, sold = 0, generated = 0;
    VirtualReadings first;

    for (int i = 0; i < kPackets; ++i) {
        SCOPED_TRACE(i);
        clock_.AdvanceSeconds(kInterval);
        measurement_->DisplayData(2, shed.NextPacket());
        measurement_->DisplayData(0, house.NextPacket());
        const VirtualReadings now = virtualChannels_.Read();
        ASSERT_EQ(now.virtuals[1].wattSeconds, kShedBefore + (i + 1) * 3000.0 * kInterval);
        if (i == 0) {
            first = now;
            continue;
        }
        const double main = house.Watts()[kMainPanel];
        const double inverter = house.Watts()[kGenerator];
        bought += std::max(main, 0.0) * kInterval;
        sold += std::max(-main, 0.0) * kInterval;
        generated += inverter * kInterval;
        ASSERT_EQ(now.net.watts, main);
        ASSERT_EQ(now.generated.watts, inverter);
        ASSERT_EQ(now.used.watts, main + inverter);
        ASSERT_EQ(now.bought.wattSeconds - first.bought.wattSeconds, bought);
        ASSERT_EQ(now.sold.wattSeconds - first.sold.wattSeconds, sold);
        ASSERT_EQ(now.generated.wattSeconds - first.generated.wattSeconds, generated);
        ASSERT_EQ(now.used.wattSeconds - first.used.wattSeconds, bought - sold + generated);
    }
    EXPECT_GT(sold, 0);

    WriteRecords();
    for (const std::string table : {"monitordata_minute", "monitordata_hourly"}) {
        const std::string rows = " FROM " + table + " WHERE deviceaddress = ";
        EXPECT_EQ(Number("count(*)" + rows + "999999"), Number("count(*)" + rows + "301234")) << table;
        EXPECT_EQ(Number("sum(abs(ch1kwh + aux2kwh - aux3kwh) > 1e-9)" + rows + "999999"), 0) << table;
        EXPECT_EQ(Number("sum(abs(aux1kwh - ch2kwh - ch1kwh) > 1e-9)" + rows + "999999"), 0) << table;
    }
    // The day as a reader of the records adds it up, from the first hour record to the last minute record.
    const std::pair<std::string, double> totals[] = {
        {"ch2kwh", sold},
        {"aux1kwh", bought},
        {"aux2kwh", generated},
        {"aux3kwh", bought - sold + generated},
    };
    for (const auto& [column, wattSeconds] : totals) {
        const double kwh = wattSeconds / 3'600'000;
        const std::string of999999 = " WHERE deviceaddress = 999999 ORDER BY id ";
        EXPECT_NEAR(Number("(SELECT " + column + " FROM monitordata_minute" + of999999 + "DESC) - (SELECT " +
                           column + " FROM monitordata_hourly" + of999999 + "ASC)"),
                    kwh, kwh / 1000)
            << column;
    }
}

}  // namespace
}  // namespace corvane
