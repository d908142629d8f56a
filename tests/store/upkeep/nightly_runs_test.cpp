#include "store/upkeep/nightly_runs.h"

#include <QDateTime>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "base/status_board.h"
#include "store/upkeep/maintenance_fixture.h"
#include "support/loopback.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::int64_t kHour = 3600;

struct NightlyTest : MaintenanceFixture {
    StatusBoard board;
    std::optional<FakeClock> wall;
    std::optional<NightlyRuns> runs;
    std::string condensed;  ///< "c" for each condense and "d" for each delete since last asked
    QObject listening;

    NightlyTest() {
        QObject::connect(&board, &StatusBoard::LineAdded, &listening, [this](const QString& line) {
            if (line.contains("gone"_L1)) condensed += line.contains("Condensed"_L1) ? 'c' : 'd';
        });
    }

    /// A program that starts at this local time; the one before has ended.
    void StartAt(const char* time) {
        runs.reset();
        wall.emplace(QDateTime::fromString(QString::fromLatin1(time), Qt::ISODate).toSecsSinceEpoch());
        runs.emplace(maintenance, database, work, settings, board, errorLog, *wall);
        runs->StartUp();
    }

    /// The tasks that run during so many seconds, in their order, a second at a time where it matters.
    std::string During(std::int64_t seconds) {
        for (std::int64_t passed = 0; passed < seconds; passed += 600) {
            wall->AdvanceSeconds(std::min<std::int64_t>(600, seconds - passed));
            EXPECT_TRUE(SpinUntil([this] { return !work.Running(); }));
        }
        return std::exchange(condensed, {});
    }

    void SwitchBothOn() {
        ASSERT_TRUE(runs->Switch(NightlyRuns::kCondense, true, u"2"_s));
        ASSERT_TRUE(runs->Switch(NightlyRuns::kDelete, true, u"4"_s));
    }
};

TEST_F(NightlyTest, EachTaskRunsOnceANightAtItsHourOnWhatIsOldEnough) {
    for (const char* row : {"(1, '2026-02-24 23:59:00', 301)", "(2, '2026-02-24 23:59:50', 301)",
                            "(3, '2026-02-25 00:00:30', 301)", "(4, '2026-02-26 23:59:01', 301)",
                            "(5, '2026-02-26 23:59:02', 301)", "(6, '2026-02-27 00:00:01', 301)",
                            "(7, '2026-02-27 00:00:02', 301)"})
        Execute(path, std::string("INSERT INTO monitordata_minute(id, date, deviceaddress) VALUES ") + row);
    StartAt("2026-02-28T20:00:00");
    EXPECT_EQ(During(6 * kHour), "") << "both are off";
    StartAt("2026-02-28T20:00:00");
    SwitchBothOn();
    EXPECT_EQ(During(4 * kHour - 1), "") << "what is switched on waits for its hour";
    EXPECT_EQ(During(1), "c");
    EXPECT_THAT(All("SELECT id FROM monitordata_minute"), ElementsAre("2", "3", "5", "6", "7"));
    EXPECT_EQ(During(kHour - 1), "");
    EXPECT_EQ(During(1), "d");
    EXPECT_THAT(All("SELECT id FROM monitordata_minute"), ElementsAre("3", "5", "6", "7"));
    EXPECT_EQ(During(22 * kHour), "");
    EXPECT_EQ(During(3 * kHour), "cd");
    EXPECT_THAT(All("SELECT id FROM monitordata_minute"), ElementsAre("5", "7"))
        << "the condense goes on where it was";
}

TEST_F(NightlyTest, ANightIsNeitherMissedNorDoneTwice) {
    Fill(1);
    StartAt("2026-02-28T23:00:00");
    SwitchBothOn();
    EXPECT_EQ(During(3 * kHour), "cd");
    wall->Jump(-3 * kHour);  // the clock is set back over midnight
    EXPECT_EQ(During(4 * kHour), "");
    wall->Jump(22 * kHour);  // the machine sleeps until one in the night
    EXPECT_EQ(During(1200), "cd");
    StartAt("2026-03-03T00:30:00");
    EXPECT_EQ(During(60), "c") << "the program was not there at midnight";
    EXPECT_EQ(During(kHour), "d");
    StartAt("2026-03-06T12:00:00");
    EXPECT_EQ(During(6 * kHour), "cd") << "one run makes up for two nights";
    wall->Jump(5 * 365 * 24 * kHour);  // a clock that went wrong, and was mended
    EXPECT_EQ(During(1200), "cd");
    Fill(1);
    wall->Jump(-5 * 365 * 24 * kHour);
    EXPECT_EQ(During(1200), "cd");
    EXPECT_EQ(During(5 * kHour), "");
}

TEST_F(NightlyTest, ARunThatFailsIsLoggedAndTheNextNightTriesAgain) {
    Fill(1);
    StartAt("2026-02-28T23:59:00");
    ASSERT_TRUE(runs->Switch(NightlyRuns::kCondense, true, u"1"_s));
    database.UseFile(folder.Path(u"missing.db3"_s).toStdString());
    EXPECT_EQ(During(kHour), "");
    EXPECT_THAT(errorLog.Load().lines.join(u'\n').toStdString(), HasSubstr("Automatic condense"));
    EXPECT_EQ(errorLog.Load().lines.size(), 1) << "once a night";
    database.UseFile(path);
    EXPECT_EQ(During(24 * kHour), "c");
}

TEST_F(NightlyTest, DayCountsAreCheckedBeforeATaskIsSwitchedOn) {
    StartAt("2026-02-28T12:00:00");
    for (const auto& [days, part] :
         {std::pair{u"x"_s, "Must be a numeric value"}, {u"1501"_s, "Number of days is too high."}}) {
        const Outcome refused = runs->Switch(NightlyRuns::kDelete, true, days);
        EXPECT_THAT(refused.Error().toStdString(), HasSubstr(part));
        EXPECT_THAT(refused.Error().toStdString(),
                    HasSubstr("Improper day value. Please correct and try again."));
        EXPECT_FALSE(runs->IsOn(NightlyRuns::kDelete));
    }
    EXPECT_EQ(runs->Days(NightlyRuns::kDelete), 31);
}

}  // namespace
}  // namespace corvane
