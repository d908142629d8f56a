#include <QCoroTask>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "history/history_reader.h"
#include "store/rows.h"
#include "store/schema.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using testing::ElementsAre;

constexpr double kNull = std::numeric_limits<double>::quiet_NaN();

WallTime At(std::string_view stamp) {
    return ParseStamp(stamp).value();
}

TEST(WallTime, TakesOnlyProperStampsAndKnowsTheCalendar) {
    EXPECT_EQ(At("1970-01-02 00:01:02"), kWallDay + 62);
    EXPECT_EQ(At("2024-02-29 10:20"), At("2024-02-29 10:20:00"));
    EXPECT_EQ(At("2016-12-31 23:59:60"), At("2017-01-01 00:00:00"));
    for (const char* wrong :
         {"", "2026-02-29 00:00:00", "2026-01-01 24:00:00", "2026-01-01 00:60:00", "2026-01-01 00:00:61",
          "2026-01-01T00:00:00", "2026/01-01 00:00:00", "2026-01/01 00:00:00", "2026-01-01 00.00:00",
          "2026-01-01 00:00.00", "2026-01-01 00:00:0", "2026-01-00 00:00:00", "2026-00-01 00:00:00"})
        EXPECT_FALSE(ParseStamp(wrong)) << wrong;
    for (const std::size_t digit : {0U, 1U, 2U, 3U, 5U, 6U, 8U, 9U, 11U, 12U, 14U, 15U, 17U, 18U}) {
        for (const char wrong : {'/', ':'}) {  // the neighbours of the digits
            std::string stamp = "2026-01-01 00:00:00";
            stamp[digit] = wrong;
            EXPECT_FALSE(ParseStamp(stamp)) << stamp;
        }
    }

    const struct {
        CalendarUnit unit;
        const char* time;
        const char* start;
        const char* next;
    } cases[] = {
        {CalendarUnit::Hour, "2026-03-04 05:59:59", "2026-03-04 05:00:00", "2026-03-04 06:00:00"},
        {CalendarUnit::Day, "2024-02-28 23:59:59", "2024-02-28 00:00:00", "2024-02-29 00:00:00"},
        {CalendarUnit::Week, "2026-01-01 12:00:00", "2025-12-29 00:00:00", "2026-01-05 00:00:00"},
        {CalendarUnit::Week, "2026-01-05 00:00:00", "2026-01-05 00:00:00", "2026-01-12 00:00:00"},
        {CalendarUnit::Month, "2026-02-28 23:00:00", "2026-02-01 00:00:00", "2026-03-01 00:00:00"},
        {CalendarUnit::Month, "2026-12-31 00:00:00", "2026-12-01 00:00:00", "2027-01-01 00:00:00"},
        {CalendarUnit::Year, "2025-12-31 23:59:59", "2025-01-01 00:00:00", "2026-01-01 00:00:00"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(StampText(StartOf(c.unit, At(c.time))), c.start) << c.time;
        EXPECT_EQ(StampText(NextStart(c.unit, At(c.time))), c.next) << c.time;
    }
}

/// "time:watts" of each point, or "time:lowest/highest/mean", "-" for a break. Times count from `kBegin` on.
std::string TraceText(const std::vector<std::pair<WallTime, float>>& records, WallTime to, int columns) {
    constexpr WallTime kBegin = 1'000'000;
    PowerHistory history;
    for (const auto& [time, watts] : records)
        history.Add(kBegin + time, {-1, watts});
    history.Sort();
    std::string text;
    for (const TracePoint& point : TraceOf(history, 1, kBegin, kBegin + to, columns)) {
        text += text.empty() ? "" : " ";
        if (std::isnan(point.mean)) {
            text += "-";
            continue;
        }
        text += std::to_string(std::lround(point.time) - kBegin) + ":" +
                std::to_string(std::lround(point.lowest));
        if (point.lowest == point.highest) continue;
        text +=
            "/" + std::to_string(std::lround(point.highest)) + "/" + std::to_string(std::lround(point.mean));
    }
    return text;
}

TEST(PowerTrace, KeepsTheExtremesOfEachColumnAndBridgesNoGap) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const struct {
        const char* what;
        std::vector<std::pair<WallTime, float>> records;
        WallTime to;
        int columns;
        const char* trace;
    } cases[] = {
        {"records fewer than columns come as they are",
         {{0, 5}, {60, 7}, {120, 6}},
         180,
         18,
         "0:5 60:7 120:6"},
        {"more than columns: of each its lowest, highest and mean",
         {{0, 5}, {60, 9}, {120, 1}, {180, 1}, {240, 2}, {300, 3}, {360, 7}},
         480,
         2,
         "120:1/9/4 360:2/7/4"},
        {"180 s is no gap, 181 s is one",
         {{0, 1}, {180, 2}, {361, 3}, {421, 4}},
         600,
         600,
         "0:1 180:2 - 361:3 421:4"},
        {"a gap from column to column, though its records lie deep in them",
         {{0, 1}, {60, 2}, {120, 3}, {900, 4}, {960, 5}, {1020, 6}},
         1200,
         2,
         "300:1/3/2 - 900:4/6/5"},
        {"a record alone stands between breaks",
         {{0, 1}, {1000, 7}, {2000, 1}, {2060, 1}},
         3000,
         300,
         "0:1 - 1000:7 - 2000:1 2060:1"},
        {"a clock set back", {{120, 3}, {0, 1}, {60, 2}}, 180, 180, "0:1 60:2 120:3"},
        {"NULL is no value", {{0, 1}, {60, nan}, {120, 2}}, 180, 180, "0:1 120:2"},
        {"nor part of a mean", {{0, nan}, {60, 4}, {120, nan}, {180, 6}, {240, nan}}, 300, 1, "150:4/6/5"},
        {"one record further at either side",
         {{-160, 9}, {-60, 1}, {0, 2}, {60, 3}, {120, 4}, {180, 9}},
         60,
         60,
         "-60:1 0:2 60:3 120:4"},
        {"as many as columns", {{0, 5}, {60, 7}}, 120, 2, "0:5 60:7"},
        {"a column without a value", {{0, nan}, {30, nan}, {70, 4}, {80, 6}, {90, 5}}, 120, 2, "90:4/6/5"},
        {"nothing", {}, 60, 60, ""},
        {"no time", {{0, 1}}, 0, 60, ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(TraceText(c.records, c.to, c.columns), c.trace) << c.what;
}

TEST(PowerHistory, KnowsTheNearestRecordWithinTheGap) {
    PowerHistory history;
    EXPECT_EQ(history.Nearest(0), -1);
    for (const WallTime time : {0, 100, 1000})
        history.Add(10'000 + time, {});
    for (const auto& [time, nearest] : {std::pair{-181, -1},
                                        {-180, 0},
                                        {49, 0},
                                        {50, 1},
                                        {280, 1},
                                        {281, -1},
                                        {819, -1},
                                        {820, 2},
                                        {1000, 2},
                                        {1180, 2},
                                        {1181, -1}})
        EXPECT_EQ(history.Nearest(10'000 + time), nearest) << time;
}

/// "start=kWh" of the bars of a channel with their cover in minutes, then what lies between them.
std::string BarsText(const EnergyHistory& energy, CalendarUnit unit, const char* from, const char* to,
                     std::size_t channel = 0) {
    std::string text;
    const EnergyBars bars = energy.Bars(unit, At(from), At(to), {});
    const auto number = [](double kwh) { return std::to_string(std::lround(kwh * 1000)); };
    for (const EnergyBar& bar : bars.bars)
        text += StampText(bar.from).substr(5, 8) + "=" + number(bar.kwh[channel]) + "/" +
                std::to_string(bar.covered / 60) + " ";
    return text + "between=" + number(bars.between[channel]);
}

/// Readings of CH1 and CH2, as "month-day time=kWh" one behind the other.
EnergyHistory EnergyOf(const std::string& readings, bool signedCh1) {
    EnergyHistory energy;
    std::istringstream text(readings);
    for (std::string day, reading; text >> day >> reading;) {
        const std::size_t end = reading.find('=');
        const double kwh = std::stod(reading.substr(end + 1));
        energy.Add(At("2026-" + day + " " + reading.substr(0, end)), {kwh, kwh}, signedCh1);
    }
    return energy;
}

TEST(EnergyBars, AreWhatTheMeterCountedWhateverHappenedToIt) {
    using enum CalendarUnit;
    const struct {
        const char* what;
        CalendarUnit unit;
        const char* readings;
        const char* bars;
        const char* from = "2026-01-01 00:00";
        const char* to = "2027-01-01 00:00";
    } cases[] = {
        {"a step across the full hour is divided by time", Hour, "05-01 10:45=100 05-01 11:15=101",
         "05-01 10=500/15 05-01 11=500/15 between=0"},
        {"up to a full hour it is of the hour before", Hour, "05-01 10:30=100 05-01 11:00=101",
         "05-01 10=1000/30 between=0"},
        {"a row that is there twice counts once", Hour,
         "05-01 10:00=100 05-01 10:00=100 05-01 10:30=101 05-01 10:30=101", "05-01 10=1000/30 between=0"},
        {"a reset counts nothing, then goes on", Hour,
         "05-01 10:00=100 05-01 10:20=0 05-01 10:30=0.25 05-01 10:40=0.75", "05-01 10=500/40 between=0"},
        {"a value mended to 0 is stepped over", Hour, "05-01 10:00=100 05-01 10:20=0 05-01 10:40=101",
         "05-01 10=1000/40 between=0"},
        {"an exchanged meter is no energy", Hour, "05-01 10:00=100 05-01 10:20=9000 05-01 10:40=9001",
         "05-01 10=1000/40 between=0"},
        {"1000 kW are energy", Hour, "05-01 10:00=100 05-01 11:00=1100 05-01 12:00=2100.1",
         "05-01 10=1000000/60 05-01 11=0/60 between=0"},
        {"NULL is made up for by the next", Hour, "05-01 10:00=100 05-01 10:20=nan 05-01 10:40=101",
         "05-01 10=1000/40 between=0"},
        {"a gap is in no hour", Hour, "05-01 10:00=100 05-01 11:05:01=105", "between=5000"},
        {"65 minutes are none", Hour, "05-01 10:00=100 05-01 11:05=106.5",
         "05-01 10=6000/60 05-01 11=500/5 between=0"},
        {"but in the day that it lies in", Day, "05-01 10:00=100 05-01 20:00=105",
         "05-01 00=5000/600 between=0"},
        {"up to its very end", Day, "05-01 10:00=100 05-02 00:00=105", "05-01 00=5000/840 between=0"},
        {"from one month into another: in neither", Month, "05-31 10:00=100 06-01 10:00=105 06-01 10:30=106",
         "06-01 00=1000/30 between=5000"},
        {"the hour that comes twice at the end of summer time", Hour,
         "10-25 02:00=100 10-25 02:40=101 10-25 02:00=102 10-25 02:40=103", "10-25 02=3000/80 between=0"},
        {"a clock set back into the hour before", Hour, "05-01 11:10=100 05-01 10:50=101 05-01 11:20=104",
         "05-01 10=2000/10 05-01 11=2000/20 between=0"},
        {"weeks", Week, "05-03 23:30=1 05-04 00:30=2", "04-27 00=500/30 05-04 00=500/30 between=0"},
        {"only what touches the time asked for", Day,
         "05-01 10:00=1 05-02 00:00=2 05-02 01:00=4 05-02 23:00=9 05-03 00:00=10 05-03 00:30=11 "
         "05-03 10:00=20",
         "05-02 00=8000/1440 between=0", "2026-05-02 00:00", "2026-05-03 00:00"},
        {"gaps at its limits are outside", Day,
         "05-01 10:00=1 05-02 00:00=2 05-02 01:00=4 05-03 00:00=9 05-03 10:00=20",
         "05-02 00=7000/1440 between=0", "2026-05-02 00:00", "2026-05-03 00:00"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(BarsText(EnergyOf(c.readings, false), c.unit, c.from, c.to), c.bars) << c.what;

    const EnergyHistory net =
        EnergyOf("05-01 10:00=2 05-01 10:20=-1 05-01 10:40=0 05-01 10:50=1 05-01 10:55=0", true);
    for (const auto& [channel, bars] :
         {std::pair{0U, "05-01 10=-2000/55 between=0"}, {1U, "05-01 10=2000/55 between=0"}})
        EXPECT_EQ(BarsText(net, Hour, "2026-05-01 10:00", "2026-05-01 11:00", channel), bars)
            << "CH1 of the virtual device may fall";
}

TEST(EnergyBars, CostWhatTheTariffSaysOfEachHour) {
    const Tariff tariff{.prices = {1, 10, 100}};
    EnergyHistory energy;
    double meter = 0;
    for (WallTime time = At("2026-05-01 00:00:00"); time <= At("2026-05-02 00:00:00"); time += kWallHour)
        energy.Add(time, {kNull, ++meter}, false);
    energy.Add(At("2026-05-02 06:30:00"), {kNull, meter + 10}, false);
    energy.Add(At("2026-05-02 08:15:00"), {kNull, meter + 20}, false);
    const EnergyBars bars =
        energy.Bars(CalendarUnit::Day, At("2026-05-01 00:00:00"), At("2026-05-03 00:00:00"), tariff);
    ASSERT_EQ(bars.bars.size(), 2U);
    EXPECT_NEAR(bars.bars[0].cost[1], 10 * 1 + 5 * 10 + 9 * 100, 1e-9);
    EXPECT_NEAR(bars.bars[1].cost[1], 10 * 100 + 10 * (0.5 * 100 + 1.25 * 1) / 1.75, 1e-9)
        << "gaps at the mean price";

    const Tariff shifted{.prices = {1, 10, 100}, .begins = {22, 6, 12}};
    EXPECT_EQ(shifted.PriceAt(5), 1);
    EXPECT_EQ(shifted.PriceAt(6), 10);
    EXPECT_EQ(shifted.PriceAt(21), 100);
    for (const auto& [text, hour] : {std::pair{"07:00", 7}, {"0", 0}, {"23:00:00", 23}})
        EXPECT_EQ(FullHour(text), hour) << text;
    for (const char* wrong : {"", "24", "07:30", "-1", "7x"})
        EXPECT_FALSE(FullHour(wrong)) << wrong;
}

struct HistoryReading : testing::Test {
    TempFolder folder;
    std::string path = folder.Path(QStringLiteral("vrq1.db3")).toStdString();
    SqlWorker worker;

    HistoryReading() { EXPECT_TRUE(CreateTables(path)); }

    void Minute(const char* date, double watts, double kwh, const char* address = "300001") const {
        Execute(path, "INSERT INTO monitordata_minute(date, deviceaddress, ch1watt, ch1kwh) VALUES ('" +
                          std::string(date) + "', " + address + ", " + std::to_string(watts) + ", " +
                          std::to_string(kwh) + ")");
    }
    void Hour(const char* date, double kwh, const char* address = "300001") const {
        Execute(path, "INSERT INTO monitordata_hourly(date, deviceaddress, ch1kwh) VALUES ('" +
                          std::string(date) + "', " + address + ", " + std::to_string(kwh) + ")");
    }
    QueryResult Run(SqlJob job) { return QCoro::waitFor(worker.Run(path, std::move(job))); }
};

TEST_F(HistoryReading, HourlyReadingsFillWhatMinuteRecordsLeaveOpenAndNewRowsAreAdded) {
    for (const char* hour : {"2026-05-01 08:10:00", "2026-05-01 10:10:00", "2026-05-01 09:10:00"}) {
        const auto hours = (At(hour) - At("2026-05-01 08:10:00")) / kWallHour;
        Hour(hour, 50 + static_cast<double>(hours));
    }
    Minute("2026-05-01 10:09:00", 100, 52.1);  // between two hourly readings, and ahead of one
    Minute("2026-05-01 10:11:00", 200, 52.2);
    Minute("2026-05-01 10:11:00", 200, 52.2);  // there twice, as the one below is
    Minute("2026-05-01 10:10:00", 150, 52.2);  // by a clock that was set back
    Minute("2026-05-01 10:11:00", 5, 1, "300002");
    Minute("2027-01-01 00:00:00", 5, 60);
    const auto history = std::make_shared<DeviceHistory>();
    history->address = "300001";
    history->from = At("2026-01-01 00:00:00");
    history->to = At("2027-01-01 00:00:00");
    EXPECT_EQ(Run(ReadHistory(history)).errorText, "");
    EXPECT_EQ(BarsText(history->energy, CalendarUnit::Day, "2026-05-01 00:00:00", "2026-05-02 00:00:00"),
              "05-01 00=2200/121 between=0");
    EXPECT_THAT(history->power.watts[0], ElementsAre(100, 150, 200));
    EXPECT_EQ(history->tariff.prices[2], 0.134);

    Execute(path, "UPDATE applications SET kwhtime3 = '21:00'");
    Minute("2026-05-01 10:11:00", 200, 52.2);
    Minute("2026-05-01 10:12:00", 300, 52.3);
    EXPECT_EQ(Run(ReadHistory(history)).errorText, "");
    EXPECT_THAT(history->power.watts[0], ElementsAre(100, 150, 200, 300));
    EXPECT_EQ(history->tariff.begins[2], 21);

    Execute(path, "DELETE FROM monitordata_minute");
    Minute("2026-05-02 00:00:00", 400, 53);
    EXPECT_EQ(Run(ReadHistory(history)).errorText, "");
    EXPECT_THAT(history->power.watts[0], ElementsAre(400)) << "the rows are numbered again";
}

TEST_F(HistoryReading, HourlyReadingsFillGapsAndOnlyNetEnergyOfTheVirtualDeviceFalls) {
    for (const auto& [address, bars] :
         {std::pair{"300001", "05-01 08=0/55 05-01 09=0/60 05-01 10=0/60 05-01 11=0/10 between=0"},
          {kVirtualDevice,
           "05-01 08=-846/55 05-01 09=-987/60 05-01 10=-1000/60 05-01 11=-167/10 between=0"}}) {
        for (const Detail detail : {Detail::Minutes, Detail::Hours}) {
            Execute(path, "DELETE FROM monitordata_hourly; DELETE FROM monitordata_minute");
            Hour("2026-05-01 08:05:00", 5, address);
            Minute("2026-05-01 08:10:00", -1000, 4.923077, address);
            Hour("2026-05-01 09:10:00", 4, address);
            Minute("2026-05-01 10:10:00", -1000, 3, address);
            Minute("2026-05-01 10:10:00", 1000, 90, "300002");
            Hour("2026-05-01 11:10:00", 2, address);
            const auto history = std::make_shared<DeviceHistory>(DeviceHistory{
                .address = address, .from = 0, .to = At("2026-05-02 00:00:00"), .detail = detail});
            EXPECT_EQ(Run(ReadHistory(history)).errorText, "");
            EXPECT_EQ(history->power.times.size(), detail == Detail::Minutes ? 2U : 0U);
            EXPECT_EQ(BarsText(history->energy, CalendarUnit::Hour, "2026-05-01 00:00", "2026-05-02 00:00"),
                      bars);
        }
    }
}

TEST_F(HistoryReading, KnowsDevicesWithRecordsAndTheirLabels) {
    Execute(path, "UPDATE applicationinfo SET deviceaddress = 300002, ch1alias = ' ', ch2alias = 'Kitchen'");
    Hour("2026-05-01 08:10:00", 1);
    const auto devices = DevicesOf(Run(ReadDevices()));
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[0].address, "300002");
    EXPECT_EQ(devices[0].id, 1);
    EXPECT_THAT(devices[0].labels, ElementsAre("", "Kitchen", "", "", "", "", ""));
    EXPECT_EQ(devices[1].address, "300001");
    EXPECT_EQ(devices[1].id, 0);
}

TEST_F(HistoryReading, AWorkerThatEndsResumesWhoAwaitsIt) {
    std::string error;
    const auto endless = [](SqlSession& session) {
        return session.Database().GetTable(
            "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n) SELECT MAX(i) FROM n");
    };
    auto waiting = [](SqlWorker& of, std::string file, SqlJob job, std::string& result) -> QCoro::Task<> {
        result = (co_await of.Run(std::move(file), std::move(job))).errorText;
    }(worker, path, endless, error);
    worker.End();
    EXPECT_EQ(error, SqlWorker::kInterrupted);
    EXPECT_FALSE(worker.Busy());
}

}  // namespace
}  // namespace corvane
