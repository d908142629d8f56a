// What the ledger records of packets, and what becomes of its file.
#include "measure/ledger.h"

#include <QCoroTask>
#include <QFile>

#include "base/status_board.h"
#include "measure/carry_mend.h"
#include "measure/ledger_document.h"
#include "measure/measurement_fixture.h"
#include "store/rows.h"
#include "support/loopback.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class LedgerTest : public MeasurementFixture {
protected:
    LedgerTest() { StartLedger(); }
    void StartLedger() {
        ledger_ = std::make_unique<Ledger>(folder_.Path(), *measurement_, board_, errorLog_, clock_);
        measurement_->AddSink(*ledger_);
    }

    /// The program ends, or is killed, and starts again.
    void Restart(bool killed = false) {
        if (!killed) QCoro::waitFor(ledger_->Close());
        ledger_.reset();
        StartMeasurement();
        StartLedger();
    }

    /// A packet that comes so many seconds after the one before.
    void SendAfter(std::int64_t seconds, const MonitorState& state) {
        clock_.AdvanceSeconds(seconds);
        Send(state);
    }

    /// Lets the file learn of all there is.
    void Settle() { (void)QCoro::waitFor(ledger_->Write()); }

    /// What was recorded since the last look: "kind judgement: what".
    std::vector<std::string> News() {
        std::vector<std::string> news;
        const Ledger::Listing listing = QCoro::waitFor(ledger_->List({}));
        EXPECT_EQ(listing.error, QString());
        for (const LedgerEntry& entry : listing.entries) {
            if (entry.id <= seen_) continue;
            seen_ = entry.id;
            std::string& line = news.emplace_back(JudgementText(entry.judgement));
            line.append(" ").append(KindText(entry.kind)).append(" ");
            if (entry.counter) line.append(CounterText(*entry.counter)).append(" ");
            line += EventText(entry).toStdString();
        }
        return news;
    }

    /// A monitor that restarts whole, its AUX1 having stood at 500 million.
    void SendDoubtfulWrap() {
        Send({.seconds = 100'000, .aux = {500'000'000}});
        SendAfter(8, {.seconds = 20, .aux = {1000}});
    }

    StatusBoard board_;
    std::unique_ptr<Ledger> ledger_;
    std::int64_t seen_ = 0;
};

using Lines = std::vector<std::string>;

TEST_F(LedgerTest, RecordsEachEventOfACounterAndHowFarItMayBeBelieved) {
    const struct {
        const char* what;
        MonitorState before;
        std::int64_t seconds;
        MonitorState after;
        Lines entries;
    } cases[] = {
        {"a counter that wraps",
         {.ch1Absolute = 1'099'511'627'000, .seconds = 100, .aux = {0, 4'294'960'000}},
         8,
         {.ch1Absolute = 1000, .seconds = 108, .aux = {0, 1000}},
         {"sure wrap CH1 counted as wrapped from 1099511627000 to 1000, carry 0 to 1",
          "sure wrap AUX2 counted as wrapped from 4294960000 to 1000, carry 0 to 1"}},
        {"a monitor that restarts whole",
         {.ch1Polarized = 9'000'000'000, .seconds = 100'000, .aux = {500'000'000}},
         8,
         {.ch1Polarized = 5, .seconds = 20, .aux = {1000}},
         {"doubtful seconds-wrap the seconds counted as wrapped from 100000 to 20; 16677236 s by the "
          "monitor, 8 "
          "s by this machine",
          "doubtful reset CH1 polarized began again, from 9000000000 to 5; 16677236 s by the monitor, 8 s by "
          "this machine",
          "doubtful wrap AUX1 counted as wrapped from 500000000 to 1000, carry 0 to 1; 16677236 s by the "
          "monitor, 8 s by this machine"}},
        {"a late packet",
         {.seconds = 1008, .aux = {8000}},
         1,
         {.seconds = 1000, .aux = {7000}},
         {"doubtful seconds-wrap the seconds counted as wrapped from 1008 to 1000; 16777208 s by the "
          "monitor, 1 "
          "s by this machine",
          "doubtful wrap AUX1 counted as wrapped from 8000 to 7000, carry 1 to 2; 16777208 s by the monitor, "
          "1 "
          "s by this machine"}},
        {"a seconds counter that wraps, over a silence",
         {.seconds = 16'776'900},
         300,
         {.seconds = 5},
         {"likely seconds-wrap the seconds counted as wrapped from 16776900 to 5; 321 s by the monitor, 300 "
          "s by "
          "this machine",
          "sure gap nothing was heard for 300 s"}},
        {"a restart near the top",
         {.seconds = 16'777'000},
         8,
         {.seconds = 5},
         {"likely restart the monitor counted as restarted, its seconds from 16777000 to 5"}},
        {"a reset at the monitor's own buttons",
         {.seconds = 100, .aux = {500}},
         8,
         {.seconds = 108},
         {"sure reset AUX1 began again, from 500 to 0"}},
        {"a monitor of another model",
         {.seconds = 108},
         8,
         {.model = Model::TwoChannel, .seconds = 116},
         {"sure swap another monitor: before it was 301234, VRQ-5810; now it is a VRQ-5806"}},
    };
    for (const auto& row : cases) {
        StartMeasurement();
        StartLedger();
        Send(row.before);
        SendAfter(row.seconds, row.after);
        EXPECT_EQ(News(), row.entries) << row.what;
    }
    measurement_->ZeroCarries(1, "by a person");
    measurement_->ZeroCarries(2, "by a person");
    Set(u"DevSerial"_s, u"309999"_s, u"0"_s);
    Send({.serialNumber = 9999, .seconds = 108});
    EXPECT_EQ(News(), (Lines{"sure zeroed CH1 carry 1 was set to 0: by a person",
                             "sure zeroed AUX1 carry 2 was set to 0: by a person",
                             "sure zeroed AUX2 carry 1 was set to 0: by a person",
                             "sure zeroed carry 0 was set to 0: by a person",
                             "sure swap another monitor: before it was 301234, VRQ-5806"}));
    Set(u"DevSerial"_s, u""_s, u"0"_s);
    Set(u"DevSerial"_s, u"309999"_s, u"0"_s);
    EXPECT_EQ(News(), (Lines{"sure swap another monitor: before it was 309999, VRQ-5810",
                             "sure swap another monitor: before it was none"}))
        << "what happened between is not known, though it is the same one again";
}

TEST_F(LedgerTest, ADoubtfulCarryIsToldAtOnceWithTheTotalThatItWouldBeOtherwise) {
    SendDoubtfulWrap();
    ASSERT_EQ(board_.Lines().size(), 1U);
    EXPECT_EQ(ledger_->Doubtful().size(), 1U) << "for the live data, before it is in the file";
    EXPECT_EQ(
        board_.Lines().front(),
        u"     Device A (301234), AUX1: the counter stepped back and counts as wrapped, but 16677236 s went "
        "by for the monitor and 8 s here: that is doubtful. The total is 1,193.047 kWh with this carry, "
        "0.000 kWh without it. \"corvanectl ledger\" lists it, and \"corvanectl ledger undo ID\" takes it "
        "back."_s);
    EXPECT_EQ(errorLog_.Load().lines.size(), 1);
    for (int i = 0; i < 20; ++i)
        SendDoubtfulWrap();  // as two monitors with one serial text bring about
    EXPECT_EQ(board_.Lines().size(), 1U) << "each counter once an hour";
    Restart();
    Settle();
    EXPECT_EQ(ledger_->Doubtful().size(), 21U) << "they stand after a start, too";
}

TEST_F(LedgerTest, AGapSpansTheEndOfTheProgram) {
    Send({.seconds = 100});
    SendAfter(120, {.seconds = 220});
    EXPECT_EQ(News(), Lines()) << "two minutes are none";
    Restart();
    SendAfter(121, {.seconds = 341});
    EXPECT_EQ(News(), (Lines{"sure stop the program ended", "sure gap nothing was heard for 121 s"}));
    clock_.AdvanceSeconds(59);
    SendAfter(1, {.seconds = 401});  // the file knows of this minute
    Settle();
    Restart(true);
    clock_.AdvanceSeconds(3600);
    clock_.Jump(-7200);
    Send({.seconds = 4000});
    EXPECT_EQ(News(), Lines()) << "as far as the wall clock tells";
    clock_.Jump(7200);
    Restart(true);
    SendAfter(400, {.seconds = 4400});
    const Lines news = News();
    ASSERT_EQ(news.size(), 1U);
    EXPECT_TRUE(news[0].starts_with("sure gap nothing was heard for ")) << news[0];
}

TEST_F(LedgerTest, TheFileMayBeDeletedDamagedOrLockedAndTheCaptureGoesOn) {
    const QString path = ledger_->Path();
    const std::string file = path.toStdString();
    SendDoubtfulWrap();
    EXPECT_EQ(News().size(), 2U);
    EXPECT_EQ(QFile::permissions(path) & (QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther), 0);

    ASSERT_TRUE(QFile::remove(path));
    seen_ = 0;
    SendAfter(8, {.seconds = 10, .aux = {2000}});
    EXPECT_EQ(News().size(), 1U) << "a new one was begun";
    EXPECT_TRUE(ledger_->Doubtful().empty()) << "of the one that is gone";

    for (const bool locked : {true, false}) {
        const auto other = CaptureDatabase::OpenFile(file, false);
        ASSERT_TRUE(other.GetTable(locked ? "BEGIN EXCLUSIVE" : "PRAGMA application_id = 1").Ok());
        const std::size_t told = board_.Lines().size();
        measurement_->BeginAnew(1);
        for (int i = 0; i < 2; ++i)
            EXPECT_FALSE(QCoro::waitFor(ledger_->Write()).Ok());
        EXPECT_EQ(board_.Lines().size(), told + 1) << "once";
        EXPECT_TRUE(ledger_->ProblemText().contains(locked ? u"database is locked"_s : u"it is no ledger"_s));
        if (locked) {
            EXPECT_TRUE(other.GetTable("COMMIT").Ok());
        } else {
            EXPECT_TRUE(QFile::remove(path));
        }
        clock_.Advance(Ledger::kRetry);
        EXPECT_TRUE(SpinUntil([this] { return ledger_->ProblemText().isEmpty(); }));
        EXPECT_EQ(Rows(file, "SELECT kind, note FROM entries ORDER BY id DESC LIMIT 1"),
                  Lines{"reset|the monitor was told to set its counters to 0"});
    }
}

TEST_F(LedgerTest, KeepsNoMoreThanItHasRoomForAndTheCarriesLongest) {
    SendDoubtfulWrap();
    Settle();
    const std::string file = ledger_->Path().toStdString();
    Execute(file,
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 50010) INSERT INTO "
            "entries(unix, time, kind, judgement, slot) SELECT i, 'then', 'start', 'sure', 0 FROM n");
    measurement_->BeginAnew(1);
    Settle();
    EXPECT_EQ(Rows(file, "SELECT COUNT(*), MIN(id), (SELECT entries FROM dropped) FROM entries"),
              Lines{"50000|2|13"});
    for (std::size_t i = 0; i < Ledger::kMostWaiting + 7; ++i)
        measurement_->BeginAnew(1);
    EXPECT_TRUE(ledger_->ProblemText().startsWith(u"7 events"_s)) << ledger_->ProblemText().toStdString();
}

TEST(CarryMend, FollowsACarryThroughTheMonitorsOfItsSlotUntilItIsSetToZero) {
    using enum LedgerKind;
    std::vector<LedgerEntry> history;
    const auto add = [&history](LedgerKind kind, const char* serial, std::size_t channel,
                                bool undone = false) {
        LedgerEntry& entry = history.emplace_back();
        entry.id = static_cast<std::int64_t>(history.size());
        entry.kind = kind;
        entry.serial = serial;
        if (channel < kChannels) entry.counter = {.channel = channel};
        entry.carryAfter = 3;
        entry.undone = undone;
        entry.undoneFrom = undone ? "2000-01-01 00:00:00" : "";
        entry.time = {.year = 2000 + static_cast<int>(entry.id)};
    };
    const auto stamp = [](int year) {
        std::string text = "2000-01-01 00:00:00";
        text[3] = static_cast<char>('0' + year);
        return text;
    };
    add(Wrap, "301234", 2, true);      // 1
    add(Zeroed, "301234", 2);          // 2
    add(Wrap, "301234", 2, true);      // 3
    add(Wrap, "301234", 3, true);      // 4
    add(Wrap, "301234", 2);            // 5
    add(Swap, "301234", kChannels);    // 6, another model
    add(Swap, "405678", kChannels);    // 7
    add(Zeroed, "405678", 3);          // 8
    add(Zeroed, "405678", kChannels);  // 9, all
    add(Swap, "309999", kChannels);    // 10
    const auto mend = MendOf(5, history);
    ASSERT_TRUE(mend.has_value());
    EXPECT_EQ(mend->least, 2) << "one before it is in no row any more";
    EXPECT_FALSE(mend->stands);
    EXPECT_EQ(mend->rows,
              (std::vector<RowSpan>{{"301234", stamp(5), stamp(7)}, {"405678", stamp(7), stamp(9)}}));
    EXPECT_EQ(MendOf(7, history), std::nullopt);
    history[2].undoneFrom = stamp(8);
    const auto putBack = MendOf(3, history);
    ASSERT_TRUE(putBack.has_value());
    EXPECT_FALSE(putBack->back);
    EXPECT_EQ(putBack->rows, (std::vector<RowSpan>{{"405678", stamp(8), stamp(9)}}))
        << "rows of before were never corrected";
    history.resize(7);
    EXPECT_TRUE(MendOf(5, history)->stands);
    EXPECT_EQ(MendOf(5, history)->rows.back().to, "");
}

}  // namespace
}  // namespace corvane
