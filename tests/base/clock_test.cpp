#include "base/clock.h"

#include <QCoroTask>
#include <QStringList>

#include <gtest/gtest.h>

#include <csignal>
#include <ctime>
#include <vector>

#include "base/status_board.h"
#include "base/termination.h"
#include "base/wait_until.h"
#include "support/fake_clock.h"
#include "support/loopback.h"

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
    Wait(clock, 900, log);
    clock.EndWaits();
    Wait(clock, 500, log);
    EXPECT_EQ(log, (std::vector<Woken>{{0, false}, {0, false}, {0, false}}));
    EXPECT_FALSE(clock.SomeoneWaits());
}

TEST(Clock, WaitsForConditionsAndForASecondOfTheMinute) {
    FakeClock clock;  // at second 30
    EXPECT_EQ(SecondFromNow(clock, 29), 59);
    EXPECT_EQ(SecondFromNow(clock, 30), 0);
    bool done = false;
    std::vector<WaitEnd> ends;
    const auto begin = [&](int second) {
        WaitUntilSecond(clock, second, [&done] { return done; }).then([&ends](WaitEnd end) {
            ends.push_back(end);
        });
    };
    begin(33);
    clock.Advance(2990);
    EXPECT_TRUE(ends.empty());
    clock.Advance(10);
    EXPECT_EQ(ends, std::vector{WaitEnd::Deadline});
    begin(60);
    clock.AdvanceSeconds(120);
    done = true;
    EXPECT_EQ(ends.size(), 1U);
    clock.Advance(10);
    begin(33);
    EXPECT_EQ(ends, (std::vector{WaitEnd::Deadline, WaitEnd::Held, WaitEnd::Held}));
    EXPECT_FALSE(clock.SomeoneWaits());
    done = false;
    begin(60);
    clock.EndWaits();
    EXPECT_EQ(ends.back(), WaitEnd::Closing);
}

TEST(SystemClock, PausesWithoutHoldingTheEventLoop) {
    SystemClock clock;
    std::vector<Woken> log;
    bool otherEventHandled = false;
    Wait(clock, 30, log);
    Wait(clock, 20, log);
    QTimer::singleShot(0, &clock, [&otherEventHandled] { otherEventHandled = true; });
    ASSERT_TRUE(SpinUntil([&log] { return log.size() == 2; })) << "each pause ends by itself";
    EXPECT_GE(log[0].at, 20);
    EXPECT_GE(log[1].at, 30);
    EXPECT_TRUE(otherEventHandled);
}

TEST(SystemClock, TicksOncePerSecondAndTellsTheTimeOfTheMachine) {
    bool onTime = false;
    for (int attempt = 0; attempt < 5 && !onTime; ++attempt) {  // the machine may be held up now and then
        const SystemClock clock;
        bool ticked = false;
        QObject::connect(&clock, &Clock::SecondPassed, [&ticked] { ticked = true; });
        ASSERT_TRUE(SpinUntil([&ticked] { return ticked; }));
        EXPECT_GE(clock.Monotonic(), 900);
        onTime = clock.Monotonic() < 1500 && clock.Now() == LocalTimeAt(std::time(nullptr));
    }
    EXPECT_TRUE(onTime);
}

TEST(Termination, IsAnEventOnceAndTheEndAtOnceTheSecondTime) {
    for (const int signal : {SIGTERM, SIGINT}) {
        int requested = 0;
        {
            const Termination termination;
            QObject::connect(&termination, &Termination::Requested, [&requested] { ++requested; });
            std::raise(signal);
            EXPECT_TRUE(SpinUntil([&requested] { return requested > 0; }));
            EXPECT_EXIT(std::raise(signal), testing::KilledBySignal(signal), "");
        }
        EXPECT_EQ(requested, 1);
        EXPECT_EXIT({ const Termination anew; } std::raise(signal), testing::KilledBySignal(signal), "");
    }
}

TEST(StatusBoard, TellsEachLineAndKeepsTheLastThousand) {
    StatusBoard board;
    QStringList told;
    QObject::connect(&board, &StatusBoard::LineAdded, [&told](const QString& line) { told.append(line); });
    for (int i = 0; i <= 1000; ++i)
        board.AddLine(QString::number(i));
    EXPECT_EQ(told.size(), 1001);
    EXPECT_EQ(QStringList(board.Lines().begin(), board.Lines().end()), told.sliced(1));
}

TEST(LocalTime, BreaksDownInTheTimeZoneOfTheMachineThoughTheClockIsSetBack) {
    qputenv("TZ", "Asia/Kolkata");  // five and a half hours ahead: the minute differs from UTC's
    tzset();
    LastLocalTime clock;
    for (const std::int64_t at : {1772446830, 1772446830, 1772446831, 1772446770, 0})
        EXPECT_EQ(clock.At(at), LocalTimeAt(at)) << at;
    const LocalTime time = LocalTimeAt(1772446830);
    qputenv("TZ", "UTC");
    tzset();
    EXPECT_EQ(DateTimeText(time), "2026-03-02 15:50:30");
    EXPECT_EQ(time.unixSeconds, 1772446830);
}

}  // namespace
}  // namespace corvane
