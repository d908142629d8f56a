// The queries that the page on the database gives to its readers.
#include <QFile>
#include <QRegularExpression>

#include <gmock/gmock.h>

#include "store/rows.h"
#include "store/schema.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;

/// The queries of the page, oldest first.
std::vector<std::string> Queries() {
    QFile page(QStringLiteral(DATABASE_PAGE));
    EXPECT_TRUE(page.open(QIODevice::ReadOnly));
    static const QRegularExpression block(u"```sql\n(.*?)```"_s,
                                          QRegularExpression::DotMatchesEverythingOption);
    std::vector<std::string> queries;
    for (const auto& match : block.globalMatch(QString::fromUtf8(page.readAll())))
        queries.push_back(match.captured(1).toStdString());
    return queries;
}

std::string QueryWith(const std::string& part) {
    for (const std::string& query : Queries()) {
        if (query.find(part) != std::string::npos) return query;
    }
    ADD_FAILURE() << "no query holds " << part;
    return {};
}

TEST(DatabaseQueries, OfThePageRunAndGiveWhatTheySay) {
    const TempFolder folder;
    const std::string path = folder.Path(u"vrq1.db3"_s).toStdString();
    ASSERT_TRUE(CreateTables(path));
    // Two devices from the evening of a month's last day on: a record each hour, the first one twice.
    for (const char* row : {
             "'2026-01-31 21:59:50',301,10.0,1,0",
             "'2026-01-31 21:59:50',301,10.0,1,0",
             "'2026-01-31 22:59:50',301,12.0,1,0",
             "'2026-01-31 23:59:50',301,13.0,1,0",
             "'2026-02-01 00:00:10',301,13.5,2,0",  // still of the day before
             "'2026-02-01 08:00:00',301,14.5,2,7",
             "'2026-02-01 09:00:00',301,0.5,2,7",  // reset
             "'2026-01-31 22:00:00',302,100,0,0",
             "'2026-01-31 23:00:00',302,101,0,0",
         }) {
        Execute(
            path,
            std::string("INSERT INTO monitordata_hourly(date,deviceaddress,ch1kwh,ch2kwh,aux5kwh) VALUES (") +
                row + ")");
    }
    Execute(path, "UPDATE monitordata_hourly SET aux1kwh=0,aux2kwh=0,aux3kwh=0,aux4kwh=0");
    EXPECT_GE(Queries().size(), 7U);
    for (const std::string& query : Queries())
        (void)Rows(path, query);  // none fails

    EXPECT_THAT(Rows(path, QueryWith("as aux5\nfrom steps")),
                ElementsAre("2026-01-31|301|3.5|1.0|0.0|0.0|0.0|0.0|0.0",
                            "2026-01-31|302|1.0|0.0|0.0|0.0|0.0|0.0|0.0",
                            "2026-02-01|301|-13.0|0.0|0.0|0.0|0.0|0.0|7.0"));
    // 21:59 to 22:59 is mostly of the night: 3.5 x 0.134; the hour to 8 o'clock is of the day: 1 x 0.126.
    EXPECT_THAT(Rows(path, QueryWith("kwhcost1")),
                ElementsAre("2026-01|301|3.5|0.47", "2026-01|302|1.0|0.13", "2026-02|301|1.0|0.13"));
}

}  // namespace
}  // namespace corvane
