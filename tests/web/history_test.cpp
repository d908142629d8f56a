// The past, from the rows of a database to the points of a chart.
#include <QJsonArray>

#include "store/rows.h"
#include "web/web_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class HistoryTest : public WebTest {
protected:
    HistoryTest() : program_(Start()) {}

    void Insert(const std::string& table, const std::string& values) const {
        const char* column = table == "monitordata_hourly" ? "ch2kwh" : "ch2watt, ch2kwh";
        Execute(program_.database.databasePath(),
                "INSERT INTO " + table + " (deviceaddress, date, " + column + ") VALUES " + values);
    }

    /// The points as "time value", with "~" in front of a value that is not complete.
    [[nodiscard]] std::vector<std::string> Points(const QByteArray& arguments) const {
        const QJsonObject reply = GetJson("/history.json?channel=ch2&" + arguments);
        std::vector<std::string> points;
        if (reply.contains(u"error"_s)) points.push_back(reply[u"error"_s].toString().toStdString());
        const QJsonArray found = reply[u"points"_s].toArray();
        for (const auto& each : found) {
            const QJsonObject point = each.toObject();
            const QJsonValue value = point[u"value"_s];
            points.push_back(
                point[u"time"_s].toString().mid(8).toStdString() + " " +
                (point[u"partial"_s].toBool() ? "~" : "") +
                (value.isNull() ? "-" : QString::number(value.toDouble(), 'g', 10).toStdString()));
        }
        return points;
    }

    Program& program_;
};

using Texts = std::vector<std::string>;

TEST_F(HistoryTest, PowerIsTheMeanOfTheMinutesAndGapsAreGaps) {
    Insert("monitordata_minute",
           "(301234, '2026-03-01 10:00:05', 100, 5), (301234, '2026-03-01 10:00:05', 100, 5),"
           "(301234, '2026-03-01 10:01:05', 200, 5), (301234, '2026-03-01 10:04:59', 100.24, 5),"
           "(301235, '2026-03-01 10:02:05', 9999, 5), (301234, '2026-03-01 10:11:00', 50, 5),"
           "(301234, '2026-03-01 10:15:00', 7777, 5), (301234, 'damaged', 7777, 5)");
    EXPECT_EQ(Points("device=A&from=2026-03-01T10:00&to=2026-03-01T10:15&step=5"),
              (Texts{"01 10:00 133.4", "01 10:05 -", "01 10:10 50"}));
    EXPECT_EQ(Points("device=301235&from=2026-03-01T10:02&to=2026-03-01T10:04&step=1"),
              (Texts{"01 10:02 9999", "01 10:03 -"}));
}

TEST_F(HistoryTest, EnergyIsTheDifferenceOfMeterReadings) {
    Insert("monitordata_hourly",
           "(301234, '2026-02-28 23:00:00', 10), (301234, '2026-03-01 00:00:00', 11),"
           "(301234, '2026-03-01 01:00:00', 13), (301234, '2026-03-01 02:00:00', 16),"
           "(301235, '2026-03-01 00:30:00', 900), (301234, '2026-03-01 02:30:00', 17)");
    // Half an hour after the last record of the hour, the minutes know more.
    Insert("monitordata_minute",
           "(301234, '2026-03-01 02:45:00', 0, 17.6666666), (301235, '2026-03-01 02:50:00', 0, 1)");
    EXPECT_EQ(Points("device=a&from=2026-03-01&to=2026-03-01T04:00&step=hour"),
              (Texts{"01 00:00 2", "01 01:00 3", "01 02:00 ~1.666667", "01 03:00 -"}));
    EXPECT_EQ(Points("device=A&from=2026-02-28&to=2026-03-02&step=day"),
              (Texts{"28 00:00 ~1", "01 00:00 ~6.666667"}));
    EXPECT_EQ(Points("device=A&from=2026-01-31&to=2026-03-31&step=month"),
              (Texts{"01 00:00 -", "01 00:00 ~1", "01 00:00 ~6.666667"}));
    EXPECT_EQ(
        Get("/history.json?device=0301234&channel=ch2&from=2026-03-01&to=2026-03-01T01:00&step=hour").body,
        R"({"address":"301234","channel":"CH2","points":[{"time":"2026-03-01 00:00","value":2}],)"
        R"("step":"hour","unit":"kWh"})");
}

TEST_F(HistoryTest, AReadingThatWasSetTo0IsNoEnergy) {
    Insert("monitordata_hourly",
           "(301234, '2026-03-01 00:00:00', 100), (301234, '2026-03-01 01:00:00', 101),"
           "(301234, '2026-03-01 02:00:00', 0), (301234, '2026-03-01 03:00:00', 104)");
    EXPECT_EQ(Points("device=A&from=2026-03-01&to=2026-03-01T03:00&step=hour"),
              (Texts{"01 00:00 1", "01 01:00 0", "01 02:00 3"}));
}

TEST_F(HistoryTest, QuestionsWithoutBoundsOrSenseAreRefused) {
    const QByteArray day = "&from=2026-03-01&to=2026-03-02";
    const std::string device = "device is the letter of a device that is bound, or an address.";
    const std::string step =
        "step is hour, day or month for energy, or a count of minutes, 1 to 1440, for power.";
    const std::string time = "from and to are days, yyyy-mm-dd, or times, yyyy-mm-ddThh:mm, and to is later.";
    const std::string many = "These are more than 1500 steps; ask for a shorter time, or a longer step.";
    const struct {
        QByteArray arguments;
        std::size_t points;
        std::string told;  ///< where one point or text is told
    } cases[] = {
        {"device=C&step=5" + day, 1, device},
        {"device=301234'--&step=5" + day, 1, device},
        {"device=A&step=0" + day, 1, step},
        {"device=A&step=1" + day, 1440, ""},
        {"device=A&step=1440" + day, 1, "01 00:00 -"},
        {"device=A&step=1441" + day, 1, step},
        {"device=A&step=week" + day, 1, step},
        {"device=A&step=5&from=2026-03-02&to=2026-03-02", 1, time},
        {"device=A&step=5&from=2026-02-30&to=2026-03-02", 1, time},
        {"device=A&step=5&from=2026-03-01&to=tomorrow", 1, time},
        {"device=A&step=5&from=2026-03-01+00:00&to=2026-03-02", 1, time},
        {"device=A&step=1&from=2026-03-01&to=2026-03-02T00:59", 1499, ""},
        {"device=A&step=1&from=2026-03-01&to=2026-03-02T01:00", 1, many},
        {"device=A&step=hour&from=2026-01-01&to=2026-03-04T11:00", 1499, ""},
        {"device=A&step=hour&from=2026-01-01&to=2026-03-04T12:00", 1, many},
        {"device=A&step=day&from=2026-01-01&to=2030-02-08", 1499, ""},
        {"device=A&step=day&from=2026-01-01&to=2030-02-09", 1, many},
        {"device=A&step=month&from=1970-01-01&to=2084-12-01", 1379, ""},
        {"device=A&step=month&from=1970-01-01&to=2085-01-01", 1, many},
    };
    for (const auto& c : cases) {
        const Texts points = Points(c.arguments);
        EXPECT_EQ(points.size(), c.points) << c.arguments.toStdString();
        EXPECT_EQ(c.points == 1 ? points[0] : "", c.told) << c.arguments.toStdString();
    }
}

TEST_F(HistoryTest, EightWaitForTheirTurnAndTheRestAreRefused) {
    const auto query = HistoryQuery::Parse({{u"device"_s, u"A"_s},
                                            {u"channel"_s, u"CH1"_s},
                                            {u"from"_s, u"2026-03-01"_s},
                                            {u"to"_s, u"2026-03-02"_s},
                                            {u"step"_s, u"hour"_s}},
                                           program_.deviceSlots);
    std::vector<QCoro::Task<WebReply>> asked;
    const auto ask = [&] { asked.push_back(program_.history.Read(std::get<HistoryQuery>(query))); };
    const auto allAnswered = [&] {
        clock.Advance(10);
        return std::ranges::all_of(asked, [](const auto& each) { return each.isReady(); });
    };
    const auto answer = [&](std::size_t i) { return QCoro::waitFor(asked[i]); };
    for (int i = 0; i < 10; ++i)
        ask();
    EXPECT_TRUE(asked[9].isReady());
    EXPECT_FALSE(asked[8].isReady());
    ASSERT_TRUE(SpinUntil(allAnswered));
    EXPECT_EQ(answer(8).status, 200U);
    const WebReply refused = answer(9);
    EXPECT_EQ(refused.status, 503U);
    EXPECT_EQ(refused.body, R"({"error":"Too much is asked for at once."})");

    asked.clear();
    ask();
    ask();
    const QCoro::Task<> stopped = program_.history.Stop();
    ask();
    EXPECT_FALSE(stopped.isReady());
    ASSERT_TRUE(SpinUntil([&] { return allAnswered() && stopped.isReady(); }));
    EXPECT_EQ(answer(1).body, R"({"error":"The program closes."})");
    EXPECT_EQ(answer(2).status, 503U);
}

}  // namespace
}  // namespace corvane
