// The past, from the rows of a database to the points of a chart.
#include <QJsonArray>

#include "store/rows.h"
#include "support/data_lines.h"
#include "web/web_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class HistoryTest : public WebTest, public testing::WithParamInterface<DataSection> {
protected:
    /// The points as "time value", with "~" in front of a value that is not complete.
    [[nodiscard]] QString Points(const QString& arguments) const {
        const QJsonObject reply = GetJson("/history.json?channel=ch2&" + arguments.toUtf8());
        QStringList points;
        const QJsonArray found = reply[u"points"_s].toArray();
        for (const auto& each : found) {
            const QJsonObject point = each.toObject();
            const QJsonValue value = point[u"value"_s];
            points.append(point[u"time"_s].toString().mid(8) + u' ' +
                          (point[u"partial"_s].toBool() ? u"~"_s : QString()) +
                          (value.isNull() ? u"-"_s : QString::number(value.toDouble(), 'g', 10)));
        }
        return points.join(u", "_s) + reply[u"error"_s].toString();
    }

    Program& program_ = Start();
};

TEST_P(HistoryTest, Is) {
    for (const DataLine& line : GetParam().lines) {
        const QString verb = line.left.section(u' ', 0, 0);
        const QString what = line.left.section(u' ', 1);
        QString found;
        if (verb == u"sql")
            Execute(program_.database.databasePath(), what.toStdString());
        else if (verb == u"points")
            found = Points(what);
        else if (verb == u"count")
            found = QString::number(Points(what).count(u", "_s) + 1);
        else if (verb == u"get")
            found = QString::fromUtf8(Get(what.toUtf8()).body);
        else
            found = u"no verb "_s + verb;
        EXPECT_EQ(found.toStdString(), line.right.toStdString()) << line.place;
    }
}

INSTANTIATE_TEST_SUITE_P(Web, HistoryTest, testing::ValuesIn(SectionsOf()),
                         [](const auto& section) { return section.param.title; });

TEST_F(WebTest, EightQuestionsWaitForTheirTurnAndTheRestAreRefused) {
    Program& program = Start();
    const auto query = HistoryQuery::Parse({{u"device"_s, u"A"_s},
                                            {u"channel"_s, u"CH1"_s},
                                            {u"from"_s, u"2026-03-01"_s},
                                            {u"to"_s, u"2026-03-02"_s},
                                            {u"step"_s, u"hour"_s}},
                                           program.deviceSlots);
    std::vector<QCoro::Task<WebReply>> asked;
    const auto ask = [&] { asked.push_back(program.history.Read(std::get<HistoryQuery>(query))); };
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
    const QCoro::Task<> stopped = program.history.Stop();
    ask();
    EXPECT_FALSE(stopped.isReady());
    ASSERT_TRUE(SpinUntil([&] { return allAnswered() && stopped.isReady(); }));
    EXPECT_EQ(answer(1).body, R"({"error":"The program closes."})");
    EXPECT_EQ(answer(2).status, 503U);

    const auto other = CaptureDatabase::OpenFile(program.database.databasePath(), false);
    ASSERT_TRUE(other.GetTable("BEGIN EXCLUSIVE").Ok());
    History brief(program.database, clock, std::chrono::milliseconds(1));
    asked.clear();
    for (int i = 0; i < 3; ++i)
        asked.push_back(brief.Read(std::get<HistoryQuery>(query)));
    ASSERT_TRUE(SpinUntil(allAnswered));
    const std::string locked = R"({"error":"Another program holds the database locked; ask again soon."})";
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(answer(i).body.toStdString(), locked);
}

}  // namespace
}  // namespace corvane
