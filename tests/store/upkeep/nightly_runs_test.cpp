#include "store/upkeep/nightly_runs.h"

#include <QDateTime>

#include <gmock/gmock.h>

#include <optional>

#include "base/status_board.h"
#include "store/clock_changes.h"
#include "store/upkeep/maintenance_fixture.h"
#include "support/loopback.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::int64_t kHour = 3600;

MATCHER_P(Says, part, "") {
    return arg.toStdString().find(part) != std::string::npos;
}

struct NightlyTest : MaintenanceFixture {
    StatusBoard board;
    std::optional<FakeClock> wall;
    std::optional<ClockChanges> changes;
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
        changes.reset();
        wall.emplace(QDateTime::fromString(QString::fromLatin1(time), Qt::ISODate).toSecsSinceEpoch());
        changes.emplace(settings, board, errorLog, *wall);
        runs.emplace(maintenance, database, work, *changes, settings, board, errorLog, *wall);
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

    /// The tasks that run after so many hours, in which nothing ticks.
    std::string Slept(std::int64_t hours) {
        wall->Sleep(hours * kHour);
        for (int second = 0; second < 4; ++second) {
            wall->AdvanceSeconds(1);
            EXPECT_TRUE(SpinUntil([this] { return !work.Running(); }));
        }
        return std::exchange(condensed, {});
    }

    void SwitchBothOn() {
        ASSERT_TRUE(runs->Switch(NightlyRuns::kCondense, true, u"2"_s));
        ASSERT_TRUE(runs->Switch(NightlyRuns::kDelete, true, u"4"_s));
    }
};

TEST_F(NightlyTest, ATaskThatWouldTakeMoreThanBeforeTellsWhatAndAsks) {
    StartAt("2026-03-02T10:20:30");
    Execute(path,
            "INSERT INTO monitordata_minute(date, deviceaddress) VALUES ('2026-02-24 10:00:00', 301), "
            "('2026-02-24 10:00:30', 301), ('2026-02-27 10:00:00', 301)");
    const struct {
        const NightlyRuns::Task& task;
        bool on;
        const char* days;
        const char* rows;  // that it asks about; empty: it does not ask
        Answer answer = Answer::Yes;
    } cases[] = {
        {NightlyRuns::kDelete, true, "4", "2 of 3", Answer::No},
        {NightlyRuns::kDelete, true, "30", ""},
        {NightlyRuns::kDelete, true, "4", "2 of 3"},
        {NightlyRuns::kDelete, true, "5", ""},
        {NightlyRuns::kDelete, true, "2", "3 of 3", Answer::No},
        {NightlyRuns::kDelete, false, "2", ""},
        {NightlyRuns::kCondense, true, "1", "1 of 3"},
    };
    for (const auto& c : cases) {
        const QString kept = runs->DaysText(c.task);
        if (*c.rows != '\0')
            op.WillAnswer(std::string(c.rows) + " rows\n\nThese rows will be deleted in the next night",
                          c.answer);
        const std::string error = Result(runs->AskAndSwitch(c.task, c.on, QString::fromLatin1(c.days), op));
        const bool agreed = c.answer == Answer::Yes;
        EXPECT_EQ(error, agreed ? "" : "The task of the night stays as it was.") << c.days;
        EXPECT_EQ(runs->DaysText(c.task), agreed ? QString::fromLatin1(c.days) : kept);
        EXPECT_TRUE(!agreed || runs->IsOn(c.task) == c.on);
    }
}

TEST_F(NightlyTest, EachTaskRunsOnceANightAtItsHourOnWhatIsOldEnough) {
    for (const char* row : {"(1, '2026-02-24 23:59:00', 301)", "(2, '2026-02-24 23:59:50', 301)",
                            "(3, '2026-02-25 00:00:30', 301)", "(4, '2026-02-26 23:59:01', 301)",
                            "(5, '2026-02-26 23:59:02', 301)", "(6, '2026-02-27 00:00:01', 301)",
                            "(7, '2026-02-27 00:00:02', 301)", "(8, '2025-12-01 00:00:01', 301)",
                            "(9, '2025-12-01 00:00:02', 301)"})  // written in later
        Execute(path, std::string("INSERT INTO monitordata_minute(id, date, deviceaddress) VALUES ") + row);
    StartAt("2026-02-28T20:00:00");
    EXPECT_EQ(During(6 * kHour), "") << "both are off";
    StartAt("2026-02-28T20:00:00");
    SwitchBothOn();
    EXPECT_EQ(During(4 * kHour - 1), "") << "what is switched on waits for its hour";
    EXPECT_EQ(During(1), "c");
    EXPECT_THAT(All("SELECT id FROM monitordata_minute"), ElementsAre("2", "3", "5", "6", "7", "9"));
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
    wall->Sleep(22 * kHour);  // until one in the night
    EXPECT_EQ(During(1200), "cd");
    StartAt("2026-03-03T00:30:00");
    EXPECT_EQ(During(60), "c") << "the program was not there at midnight";
    EXPECT_EQ(During(kHour), "d");
    StartAt("2026-03-06T12:00:00");
    EXPECT_EQ(During(6 * kHour), "cd") << "one run makes up for two nights";
    Fill(1);
    for (const Setting& ofWrongClock : {kLastCondense, kCondensedTo})
        settings.Save(ofWrongClock, u"2031-03-01"_s);
    EXPECT_EQ(During(1200), "c");
    EXPECT_EQ(During(5 * kHour), "");
}

TEST_F(NightlyTest, HowFarTheCondenseIsBelongsToOneFile) {
    Fill(1);
    StartAt("2026-02-28T23:00:00");
    ASSERT_TRUE(runs->Switch(NightlyRuns::kCondense, true, u"2"_s));
    EXPECT_EQ(During(2 * kHour), "c");
    const std::string other = folder.Path(u"other.db3"_s).toStdString();
    ASSERT_TRUE(CreateTables(other));
    Execute(other,
            "INSERT INTO monitordata_minute(date) VALUES ('2026-01-01 10:00:01'), ('2026-01-01 10:00:02')");
    database.UseFile(other);
    StartAt("2026-03-01T23:00:00");
    EXPECT_EQ(During(2 * kHour), "c");
    EXPECT_THAT(Rows(other, "SELECT date FROM monitordata_minute"), ElementsAre("2026-01-01 10:00:02"));
}

/// The clock is set by so many days, and hours pass; it is set again, or the program starts again, and hours
/// pass.
struct SetClock {
    const char* start;
    std::int64_t days;
    std::int64_t hours;
    std::int64_t daysAgain;
    const char* startAgain;  ///< null where the program goes on
    std::int64_t hoursMore;
    std::string runs;  ///< after these
};

TEST_F(NightlyTest, AClockThatWasSetForwardDeletesNothingUntilItHasStoodForADay) {
    const char* noon = "2026-02-28T12:00";
    const SetClock cases[] = {
        {noon, 1, 23, 0, nullptr, 2, "cd"},
        {"1970-01-01T12:00", 20515, 23, 0, nullptr, 2, "cd"},
        {noon, 1800, 1, -1800, nullptr, 14, "cd"},  // as it was: trusted at once
        {noon, 1800, 1, -900, nullptr, 23, ""},
        {noon, 1, 20, 1, nullptr, 23, ""},  // the day begins again
        {noon, -1, 1, 1, nullptr, 14, "cd"},
        {noon, 1, 1, 0, "2026-03-01T13:10", 22, ""},
        {noon, 1, 1, 0, "2026-03-01T13:10", 24, "cd"},
        {noon, 1800, 1, 0, "2026-02-28T13:10", 14, "cd"},  // mended while the program did not run
    };
    for (const SetClock& each : cases) {
        SCOPED_TRACE(&each - cases);
        Fill(1);
        for (const Setting& kept : {kClockSetForward, kCondensedTo, kAutoCondense, kAutoDelete})
            settings.Save(kept, u""_s);
        StartAt(each.start);
        SwitchBothOn();
        for (const std::int64_t days : {std::int64_t{0}, each.days}) {
            wall->Jump(days * 24 * kHour);
            EXPECT_EQ(Slept(0), "");
        }
        EXPECT_EQ(Slept(each.hours), "");
        wall->Jump(each.daysAgain * 24 * kHour);
        EXPECT_EQ(Slept(0), "");
        if (each.startAgain != nullptr) StartAt(each.startAgain);
        EXPECT_EQ(Slept(each.hoursMore), each.runs);
    }
}

TEST_F(NightlyTest, AClockThatWasSetIsToldOnceAndSoIsATaskThatWaitsForIt) {
    StartAt("2026-02-28T12:00");
    SwitchBothOn();
    ASSERT_TRUE(runs->Switch(NightlyRuns::kDelete, false, u"4"_s));
    Slept(0);
    wall->Jump(ClockChanges::kLeast - 2);  // as a time server does
    Slept(0);
    EXPECT_TRUE(board.Lines().empty());
    wall->Jump(24 * kHour);
    for (const int hours : {0, 1, 22})
        Slept(hours);
    const std::string set = "The clock was set forward, from 2026-02-28 12:30:07 to 2026-03-01 12:30:07.";
    const std::string waits =
        "Automatic condense waits until 2026-03-02 12:30:07, since the clock was set forward.";
    EXPECT_THAT(board.Lines(), ElementsAre(Says(set), Says(waits)));
    EXPECT_THAT(errorLog.Load().lines, ElementsAre(Says(set), Says(waits)));
    wall->Jump(-24 * kHour);
    Slept(0);
    EXPECT_THAT(board.Lines(), testing::Contains(Says("The clock was set back, from")));
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

TEST_F(NightlyTest, ATaskWhoseDaysCannotBeReadDoesNotRunAndThatIsToldOnce) {
    std::vector<std::string> problems;
    QObject::connect(&settings, &SettingsStore::Problem, &listening,
                     [&](const QString& text) { problems.push_back(text.toStdString()); });
    Fill(1);
    const std::tuple<NightlyRuns::Task, const char*, const char*> cases[] = {
        {NightlyRuns::kDelete, "2000", "Number of days is too high. Try different value."},
        {NightlyRuns::kDelete, "0", "Must be 1 day or greater."},
        {NightlyRuns::kDelete, "2.5", "Must be a whole number of days."},
        {NightlyRuns::kCondense, "", "Must be a numeric value"},
        {NightlyRuns::kCondense, "3O", "Must be a numeric value"}};
    for (const auto& [task, days, refusal] : cases) {
        SCOPED_TRACE(days);
        problems.clear();
        settings.Save(task.days, QString::fromLatin1(days));
        settings.Save(task.enabled, true);
        StartAt("2026-03-01T00:59:30");
        const std::string told = "The setting " + std::string(task.days.key) + " is \"" + days +
                                 "\", not a whole number from 1 to 1500; " + task.name.toStdString() +
                                 " does not run.";
        EXPECT_THAT(problems, ElementsAre(told)) << "at the start";
        EXPECT_EQ(During(60), "");
        EXPECT_THAT(All("SELECT COUNT(*) FROM monitordata_minute"), ElementsAre("1"));
        EXPECT_EQ(problems.size(), 1U);
        EXPECT_EQ(runs->Hindrance(task).toStdString(), told);
        const std::string refused = runs->Switch(task, true, std::nullopt).Error().toStdString();
        EXPECT_EQ(refused, std::string(refusal) + "\nImproper day value. Please correct and try again.");
        EXPECT_TRUE(runs->Switch(task, false, std::nullopt)) << "off it may go";
        EXPECT_EQ(runs->Hindrance(task), QString());
        EXPECT_EQ(runs->DaysText(task), QString::fromLatin1(days)) << "what was meant is for people to say";
    }
    SwitchBothOn();
    EXPECT_EQ(Slept(24), "cd");
}

}  // namespace
}  // namespace corvane
