#include <QCoroTask>

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <new>
#include <sstream>

#include "base/number_format.h"
#include "history/history_reader.h"
#include "store/rows.h"
#include "store/schema.h"
#include "support/data_lines.h"
#include "support/loopback.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;

constexpr double kNull = std::numeric_limits<double>::quiet_NaN();

WallTime At(std::string_view stamp) {
    return ParseStamp(stamp).value();
}

CalendarUnit UnitOf(const QString& name) {
    const QStringList names = {u"Hour"_s, u"Day"_s, u"Week"_s, u"Month"_s, u"Year"_s};
    return static_cast<CalendarUnit>(names.indexOf(name));
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

    for (const DataLine& line : LinesOf("Calendar")) {
        const CalendarUnit unit = UnitOf(line.left.section(u' ', 0, 0));
        const WallTime time = At(line.left.section(u' ', 1).toStdString());
        EXPECT_EQ(StampText(StartOf(unit, time)) + " to " + StampText(NextStart(unit, time)),
                  line.right.toStdString())
            << line.place;
    }
}

/// "time:watts" of each point, or "time:lowest/highest/mean", "-" for a break. Times count from `begin` on.
std::string TraceText(const std::vector<TracePoint>& trace, WallTime begin) {
    std::string text;
    const auto rounded = [](double number) { return std::to_string(std::lround(number)); };
    for (const TracePoint& point : trace) {
        text += text.empty() ? "" : " ";
        if (std::isnan(point.mean)) {
            text += "-";
            continue;
        }
        text += rounded(point.time - static_cast<double>(begin)) + ":" + rounded(point.lowest);
        if (point.lowest == point.highest) continue;
        text.append("/").append(rounded(point.highest)).append("/").append(rounded(point.mean));
    }
    return text;
}

TEST(PowerTrace, KeepsTheExtremesOfEachColumnAndBridgesNoGap) {
    constexpr WallTime kBegin = 1'000'000;
    for (const DataLine& line : LinesOf("Traces")) {
        const QStringList words = line.left.split(u' ');
        PowerHistory history;
        for (const QString& record : words.mid(2))
            history.Add(kBegin + record.section(u'=', 0, 0).toInt(), {-1, record.section(u'=', 1).toFloat()});
        history.Sort();
        const auto trace = TraceOf(history, 1, kBegin, kBegin + words[0].toInt(), words[1].toInt());
        EXPECT_EQ(TraceText(trace, kBegin), line.right.toStdString()) << line.place;
    }
}

TEST(PowerHistory, KnowsTheNearestRecordWithinTheGap) {
    PowerHistory history;
    EXPECT_EQ(history.Nearest(0), -1);
    for (const WallTime time : {0, 100, 1000})
        history.Add(10'000 + time, {});
    for (const DataLine& line : LinesOf("Nearest"))
        EXPECT_EQ(history.Nearest(10'000 + line.left.toInt()), line.right.toInt()) << line.place;
}

/// "start=kWh" of the bars of a channel with their cover in minutes, then what lies between them.
std::string BarsText(const EnergyHistory& energy, CalendarUnit unit, const std::string& from,
                     const std::string& to, std::size_t channel = 0) {
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
        const double kwh = QByteArray::fromStdString(reading.substr(end + 1)).toDouble();
        energy.Add(At("2026-" + day + " " + reading.substr(0, end)), {kwh, kwh}, signedCh1);
    }
    return energy;
}

TEST(EnergyBars, AreWhatTheMeterCountedWhateverHappenedToIt) {
    for (const DataLine& line : LinesOf("Bars")) {
        const auto day = [&line](int word) {
            return u"2026-%1 00:00"_s.arg(line.left.section(u' ', word, word)).toStdString();
        };
        const EnergyHistory energy = EnergyOf(line.left.section(u' ', 3).toStdString(), false);
        EXPECT_EQ(BarsText(energy, UnitOf(line.left.section(u' ', 0, 0)), day(1), day(2)),
                  line.right.toStdString())
            << line.place;
    }

    const EnergyHistory net =
        EnergyOf("05-01 10:00=2 05-01 10:20=-1 05-01 10:40=0 05-01 10:50=1 05-01 10:55=0", true);
    for (const auto& [channel, bars] :
         {std::pair{0U, "05-01 10=-2000/55 between=0"}, {1U, "05-01 10=2000/55 between=0"}})
        EXPECT_EQ(BarsText(net, CalendarUnit::Hour, "2026-05-01 10:00", "2026-05-01 11:00", channel), bars)
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
                          std::string(date) + "', " + address + ", " + ShortestText(watts) + ", " +
                          ShortestText(kwh) + ")");
    }
    void Hour(const char* date, double kwh, const char* address = "300001") const {
        Execute(path, "INSERT INTO monitordata_hourly(date, deviceaddress, ch1kwh) VALUES ('" +
                          std::string(date) + "', " + address + ", " + ShortestText(kwh) + ")");
    }
    QueryResult Run(SqlJob job) { return QCoro::waitFor(worker.Run(path, std::move(job))); }
};

TEST_F(HistoryReading, HourlyReadingsFillWhatMinuteRecordsLeaveOpenAndNewRowsAreAdded) {
    for (const char* hour : {"2026-05-01 08:10:00", "2026-05-01 10:10:00", "2026-05-01 09:10:00"}) {
        const auto hours = (At(hour) - At("2026-05-01 08:10:00")) / kWallHour;
        Hour(hour, 50 + static_cast<double>(hours));
    }
    Minute("2026-05-01 10:09:00", 100, 52.1);  // 180 s until the next: no gap to be filled
    Minute("2026-05-01 10:12:00", 200, 52.2);
    Minute("2026-05-01 10:12:00", 200, 52.2);  // there twice, as the one below is
    Minute("2026-05-01 10:10:00", 150, 52.2);  // by a clock that was set back
    Minute("2026-05-01 10:12:00", 5, 1, "300002");
    Minute("2027-01-01 00:00:00", 5, 60);
    const auto history = std::make_shared<DeviceHistory>();
    history->address = "300001";
    history->from = At("2026-01-01 00:00:00");
    history->to = At("2027-01-01 00:00:00");
    EXPECT_EQ(Run(ReadHistory(history)).errorText, "");
    EXPECT_EQ(BarsText(history->energy, CalendarUnit::Day, "2026-05-01 00:00:00", "2026-05-02 00:00:00"),
              "05-01 00=2200/122 between=0");
    EXPECT_THAT(history->power.watts[0], ElementsAre(100, 150, 200));
    EXPECT_EQ(history->tariff.prices[2], 0.134);

    Execute(path, "UPDATE applications SET kwhtime3 = '21:00'");
    Minute("2026-05-01 10:12:00", 200, 52.2);
    Minute("2026-05-01 10:13:00", 300, 52.3);
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
    Execute(path, "INSERT INTO applicationinfo(id, deviceaddress) VALUES (7, NULL), (99999999999, 300009)");
    Hour("2026-05-01 08:10:00", 1);
    const auto devices = DevicesOf(Run(ReadDevices()));
    ASSERT_EQ(devices.size(), 3U);
    EXPECT_EQ(devices[1].address, "300009");
    EXPECT_EQ(devices[1].id, 0) << "no number of a device";
    EXPECT_EQ(devices[0].address, "300002");
    EXPECT_EQ(devices[0].id, 1);
    EXPECT_THAT(devices[0].labels, ElementsAre("", "Kitchen", "", "", "", "", ""));
    EXPECT_EQ(devices[2].address, "300001");
    EXPECT_EQ(devices[2].id, 0);
    for (int other = 0; other < 250; ++other)
        Hour("2026-05-01 08:10:00", 1, std::to_string(400'000 + other).c_str());
    EXPECT_EQ(DevicesOf(Run(ReadDevices())).size(), 200U) << "no household has more";
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

TEST_F(HistoryReading, AWorkerWaitsForALockOfOthersSaysSoAndAlwaysHasAnAnswer) {
    using namespace std::chrono_literals;
    const SqlJob read = [](SqlSession& session) {
        return session.Database().GetTable("SELECT id FROM applications");
    };
    const auto other = CaptureDatabase::OpenFile(path, false);
    ASSERT_TRUE(other.GetTable("BEGIN EXCLUSIVE").Ok());
    std::vector<bool> held;
    QObject::connect(&worker, &SqlWorker::HeldChanged, [&] { held.push_back(worker.Held()); });
    const auto wait = [&](auto end) {
        auto waiting = worker.Run(path, read, 1h);
        EXPECT_TRUE(SpinUntil([this] { return worker.Held(); }));
        end();
        return QCoro::waitFor(waiting);
    };
    const SqlJob twice = [&read](SqlSession& session) {
        (void)read(session);
        session.Tell(50);
        return read(session);
    };
    EXPECT_EQ(QCoro::waitFor(worker.Run(path, twice, 1ms)).errorText, QueryResult::kLocked);
    EXPECT_THAT(held, ElementsAre(true, false)) << "waits once";
    EXPECT_EQ(wait([this] { worker.Interrupt(); }).errorText, SqlWorker::kInterrupted);
    EXPECT_EQ(wait([&] { EXPECT_TRUE(other.GetTable("COMMIT").Ok()); }).rows.size(), 1U);

    const SqlJob tooMuch = [](SqlSession&) -> QueryResult { throw std::bad_alloc(); };
    EXPECT_EQ(Run(tooMuch).errorText, "std::bad_alloc");
    worker.EndForGood();
    EXPECT_EQ(Run(read).errorText, SqlWorker::kInterrupted);
}

}  // namespace
}  // namespace corvane
