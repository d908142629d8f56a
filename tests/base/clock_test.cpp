#include "base/clock.h"

#include <QCoroTask>
#include <QEventLoop>

#include <gtest/gtest.h>

#include <vector>

#include "support/fake_clock.h"

namespace corvane {
namespace {

struct Woken {
    std::int64_t at;
    bool elapsed;
    bool operator==(const Woken&) const = default;
};

QCoro::Task<> Wait(Clock& clock, std::int64_t milliseconds, std::vector<Woken>& log) {
    const bool elapsed = co_await clock.DLY(milliseconds);
    log.push_back({clock.Monotonic(), elapsed});
}

TEST(Clock, PausesEndAtTheirMillisecondInTheOrderOfTheirDeadlines) {
    FakeClock clock;
    std::vector<Woken> log;
    Wait(clock, 1600, log);
    Wait(clock, 840, log);
    clock.Advance(839);
    EXPECT_TRUE(log.empty());
    clock.Advance(5000);
    EXPECT_EQ(log, (std::vector<Woken>{{840, true}, {1600, true}}));
}

TEST(Clock, APauseMayStartAnother) {
    FakeClock clock;
    std::vector<Woken> log;
    [](Clock& c, std::vector<Woken>& l) -> QCoro::Task<> {
        for (int i = 0; i < 3; ++i)
            co_await Wait(c, 1600, l);
    }(clock, log);
    clock.Advance(10'000);
    EXPECT_EQ(log, (std::vector<Woken>{{1600, true}, {3200, true}, {4800, true}}));
}

TEST(Clock, ClosingEndsRunningAndLaterPausesAtOnce) {
    FakeClock clock;
    std::vector<Woken> log;
    Wait(clock, 500, log);
    clock.EndWaits();
    Wait(clock, 500, log);
    EXPECT_EQ(log, (std::vector<Woken>{{0, false}, {0, false}}));
    EXPECT_FALSE(clock.SomeoneWaits());
}

TEST(Clock, TicksOncePerSecond) {
    FakeClock clock;
    int ticks = 0;
    QObject::connect(&clock, &Clock::SecondPassed, [&ticks] { ++ticks; });
    clock.Advance(999);
    EXPECT_EQ(ticks, 0);
    clock.Advance(2001);
    EXPECT_EQ(ticks, 3);
}

TEST(SystemClock, PausesWithoutHoldingTheEventLoop) {
    SystemClock clock;
    std::vector<Woken> log;
    QEventLoop loop;
    bool otherEventHandled = false;
    [](Clock& c, std::vector<Woken>& l, QEventLoop& e) -> QCoro::Task<> {
        co_await Wait(c, 30, l);
        e.quit();
    }(clock, log, loop);
    QTimer::singleShot(0, &loop, [&otherEventHandled] { otherEventHandled = true; });
    loop.exec();
    ASSERT_EQ(log.size(), 1U);
    EXPECT_GE(log[0].at, 30);
    EXPECT_TRUE(otherEventHandled);
}

TEST(LocalTime, TextsOfRecords) {
    const LocalTime time{.year = 2026, .month = 3, .day = 2, .hour = 7, .minute = 5, .second = 9};
    EXPECT_EQ(DateTimeText(time), "2026-03-02 07:05:09");
    EXPECT_EQ(DateMinuteText(time), "2026-03-02 07:05");
    EXPECT_EQ(ClockText(time), "07:05:09");
}

TEST(LocalTime, BreaksDownInTheTimeZoneOfTheMachine) {
    qputenv("TZ", "Asia/Kolkata");  // five and a half hours ahead: the minute differs from UTC's
    tzset();
    const LocalTime time = LocalTimeAt(1772446830);
    qputenv("TZ", "UTC");
    tzset();
    EXPECT_EQ(DateTimeText(time), "2026-03-02 15:50:30");
    EXPECT_EQ(time.unixSeconds, 1772446830);
}

}  // namespace
}  // namespace corvane
