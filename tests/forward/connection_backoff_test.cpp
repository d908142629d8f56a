#include "forward/connection_backoff.h"

#include <gtest/gtest.h>

#include <set>

#include "base/status_board.h"
#include "support/fake_clock.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class ConnectionBackoffTest : public testing::Test {
protected:
    ConnectionBackoffTest() {
        QObject::connect(&backoff_, &ConnectionBackoff::Due, &backoff_, [this] { ++attempts_; });
    }

    /// Seconds until the next attempt is made.
    int SecondsToDue() {
        const int before = attempts_;
        int seconds = 0;
        for (; attempts_ == before && seconds < 1000; ++seconds)
            clock_.AdvanceSeconds(1);
        return seconds;
    }

    FakeClock clock_;
    StatusBoard board_;
    ConnectionBackoff backoff_{u"Somewhere: "_s, {.spread = false}, board_, clock_};
    int attempts_ = 0;
};

TEST_F(ConnectionBackoffTest, EachFailureDoublesTheWaitUpToAMinuteAndSuccessEndsThat) {
    for (int round = 0; round < 2; ++round) {
        for (const int most : {1, 2, 4, 8, 16, 32, 60, 60, 60}) {
            backoff_.SetTrying(OutputState::Resolving);
            backoff_.Fail(u"no route"_s);
            backoff_.Fail(
                u"no route"_s);  // of the same attempt, such as a socket that closes after its error
            EXPECT_EQ(backoff_.State(), OutputState::Backoff);
            EXPECT_EQ(SecondsToDue(), most);
            EXPECT_EQ(backoff_.State(), OutputState::Connecting);
        }
        backoff_.SetUp();
        EXPECT_EQ(backoff_.State(), OutputState::Up);
    }
    std::set<int> waits;
    ConnectionBackoff spread({}, {.first = 60}, board_, clock_);
    for (int i = 0; i < 100; ++i) {
        spread.SetTrying();
        spread.Fail({});
        waits.insert(spread.SecondsLeft());
    }
    EXPECT_GT(waits.size(), 3U) << "many that lost one server must not come back as one";
    EXPECT_GE(*waits.begin(), 45);
    EXPECT_LT(*waits.begin(), 53) << "shortened by up to a quarter";
}

TEST_F(ConnectionBackoffTest, AFailureIsToldOnceAndAgainOnlyAfterSuccessOrWhenItIsAnother) {
    const auto fail = [this](const QString& why) {
        backoff_.Fail(why);
        SecondsToDue();
    };
    for (int i = 0; i < 20; ++i)
        fail(u"no route"_s);
    fail({});
    fail(u"no route"_s);
    EXPECT_EQ(board_.Lines(), std::deque<QString>{u"Somewhere: no route"_s});
    fail(u"connection refused"_s);
    fail(u"no route"_s);
    backoff_.SetUp();
    fail(u"no route"_s);
    backoff_.ForgetFailure();  // somebody pressed the button
    fail(u"no route"_s);
    EXPECT_EQ(board_.Lines().size(), 5U);
}

TEST_F(ConnectionBackoffTest, OneThatIsTurnedAwayComesAgainEveryFiveMinutesAndOneThatIsOffNever) {
    for (int i = 0; i < 3; ++i) {
        backoff_.Refuse(u"wrong password"_s);
        EXPECT_EQ(backoff_.State(), OutputState::Refused);
        EXPECT_EQ(SecondsToDue(), 300);
    }
    EXPECT_EQ(board_.Lines().size(), 1U);
    backoff_.Fail({});
    EXPECT_EQ(backoff_.SecondsLeft(), 1);
    backoff_.SetTrying();
    backoff_.Fail({});
    EXPECT_EQ(backoff_.SecondsLeft(), 2);
    backoff_.SetOff();
    backoff_.Fail({});
    EXPECT_EQ(backoff_.SecondsLeft(), 1) << "from the beginning";
    backoff_.SetOff();
    attempts_ = 0;
    clock_.AdvanceSeconds(1000);
    EXPECT_EQ(attempts_, 0);
}

}  // namespace
}  // namespace corvane
