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
            points.push_back(point[u"time"_s].toString().mid(8).toStdString() + " " +
                             (point[u"partial"_s].toBool() ? "~" : "") +
                             (value.isNull() ? "-" : QString::number(value.toDouble()).toStdString()));
        }
        return points;
    }

    Program& program_;
};

using Texts = std::vector<std::string>;

TEST_F(HistoryTest, PowerIsTheMeanOfTheMinutesAndGapsAreGaps) {
    Insert("monitordata_minute",
           "(301234, '2026-03-01 10:00:05', 100, 5), (301234, '2026-03-01 10:00:05', 100, 5),"
           "(301234, '2026-03-01 10:01:05', 200, 5), (301234, '2026-03-01 10:04:59', 600, 5),"
           "(301235, '2026-03-01 10:02:05', 9999, 5), (301234, '2026-03-01 10:11:00', 50, 5),"
           "(301234, '2026-03-01 10:15:00', 7777, 5), (301234, 'damaged', 7777, 5)");
    EXPECT_EQ(Points("device=A&from=2026-03-01T10:00&to=2026-03-01T10:15&step=5"),
              (Texts{"01 10:00 300", "01 10:05 -", "01 10:10 50"}));
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
           "(301234, '2026-03-01 02:45:00', 0, 17.5), (301235, '2026-03-01 02:50:00', 0, 1)");
    EXPECT_EQ(Points("device=a&from=2026-03-01&to=2026-03-01T04:00&step=hour"),
              (Texts{"01 00:00 2", "01 01:00 3", "01 02:00 ~1.5", "01 03:00 -"}));
    EXPECT_EQ(Points("device=A&from=2026-02-28&to=2026-03-02&step=day"),
              (Texts{"28 00:00 ~1", "01 00:00 ~6.5"}));
    EXPECT_EQ(Points("device=A&from=2026-01-31&to=2026-03-31&step=month"),
              (Texts{"01 00:00 -", "01 00:00 ~1", "01 00:00 ~6.5"}));
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
    const struct {
        QByteArray arguments;
        const char* error;
    } cases[] = {
        {"device=C&step=5" + day, "device is the letter"},
        {"device=301234'--&step=5" + day, "device is the letter"},
        {"device=A&step=0" + day, "step is hour, day or month"},
        {"device=A&step=week" + day, "step is hour, day or month"},
        {"device=A&step=5&from=2026-03-02&to=2026-03-02", "from and to are days"},
        {"device=A&step=5&from=2026-02-30&to=2026-03-02", "from and to are days"},
        {"device=A&step=1&from=2026-03-01&to=2026-03-03", "more than 1500 steps"},
        {"device=A&step=month&from=1970-01-01&to=9999-12-31", "more than 1500 steps"},
    };
    for (const auto& c : cases) {
        const Texts points = Points(c.arguments);
        ASSERT_EQ(points.size(), 1U) << c.arguments.toStdString();
        EXPECT_NE(points[0].find(c.error), std::string::npos) << points[0];
    }
}

TEST_F(HistoryTest, ManyWhoAskAtOnceAreAnsweredInTurnAndTheRestAreRefused) {
    std::vector<std::unique_ptr<FarEnd>> crowd;
    for (int i = 0; i < 12; ++i) {
        crowd.push_back(std::make_unique<FarEnd>(WebPort()));
        crowd.back()->Send(
            "GET /history.json?device=A&channel=CH1&from=2026-03-01&to=2026-03-02&step=hour HTTP/1.1\r\n"
            "Host: localhost\r\nConnection: close\r\n\r\n");
    }
    int answered = 0;
    int refused = 0;
    for (const auto& each : crowd) {
        ASSERT_TRUE(SpinUntil([&] {
            clock.Advance(10);
            return each->IsGone();
        }));
        const int status = HttpReply(each->Received()).status;
        answered += status == 200 ? 1 : 0;
        refused += status == 503 ? 1 : 0;
    }
    EXPECT_EQ(answered + refused, 12);
    EXPECT_GE(answered, 1 + History::kMostWaiting);
}

}  // namespace
}  // namespace corvane
