// Doubtful carries as people find them and take them back, in a whole program.
#include <QFile>

#include <string>
#include <vector>

#include "measure/carry_mend.h"
#include "remote/command_fixture.h"
#include "store/rows.h"
#include "store/settle_bursts.h"
#include "support/packets.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using Lines = std::vector<std::string>;

/// Device A is 301234, whose AUX1 is the main panel and twice among the groups; the sums are recorded, too.
class LedgerCommands : public CommandTest {
protected:
    LedgerCommands() {
        Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
        Preset(u"EnableVD1"_s, u"True"_s);
        for (const char* group : {"cbo120_0", "cbo125_0"})
            Preset(QLatin1StringView(group), u"A:AUX1"_s);
        Preset(u"cbo122_0"_s, u"A:CH1"_s);
        program_ = &Start();
        Ask(*program_, u"create-power-tables"_s);
    }

    /// A packet a minute later.
    void Send(std::uint32_t aux1, std::uint32_t seconds) {
        clock.AdvanceSeconds(60);
        program_->measurement.DisplayData(1,
                                          PacketOf({.ch1Absolute = 3600, .seconds = seconds, .aux = {aux1}}));
        SettleBursts(program_->dbWriter);
    }

    /// Three packets, the monitor restarts whole, and three more.
    void Restart() {
        for (std::uint32_t i = 1; i <= 3; ++i)
            Send(900'000'000 + i * 1000, 5000 + i * 60);
        for (std::uint32_t i = 1; i <= 3; ++i)
            Send(i * 1000, i * 60);
    }

    /// All energies of AUX1 and of the sums that it is in; the queue is written before.
    Lines Energies() {
        EXPECT_TRUE(QCoro::waitFor(program_->dbWriter.Drain(0)));
        Lines all;
        for (const char* sql :
             {"SELECT substr(date, 12), deviceaddress, aux1awsc, aux1kwh, ch1awsc, ch1kwh, aux2awsc, aux2kwh "
              "FROM "
              "monitordata_minute",
              "SELECT substr(date, 12), deviceaddress, aux1kwh, ch1kwh, aux2kwh FROM monitordata_hourly",
              "SELECT substr(date, 12), deviceaddress, aux1kwh, ch1Akwh, aux2kwh FROM minute_energy"}) {
            const Lines rows = Rows(program_->database.databasePath(), std::string(sql) + " ORDER BY rowid");
            all.insert(all.end(), rows.begin(), rows.end());
        }
        return all;
    }

    [[nodiscard]] int Carry() const { return program_->measurement.Carry(1, {.channel = 2}); }
    [[nodiscard]] QString Saved() const {
        return program_->settings.Value(kCarry, {.member = u"3"_s, .slot = 1});
    }

    std::string Undo(const QString& arguments, Answer answer) {
        operator_.WillAnswer("and mend these rows?", answer);
        if (answer == Answer::Yes && QFile::exists(folder.Path(u"vrq1_bak1.db3"_s)))
            operator_.WillAnswer("previous backups", Answer::Yes);
        return Ask(*program_, u"ledger undo "_s + arguments);
    }

    Program* program_ = nullptr;
};

TEST_F(LedgerCommands, TakeACarryBackWithAllRowsOfItAndPutItBack) {
    Restart();
    const Lines high = Energies();
    Ask(*program_, u"ledger"_s);
    const QJsonArray entries = data_[u"entries"_s].toArray();
    ASSERT_EQ(entries.size(), 3);
    EXPECT_EQ(
        QJsonDocument(entries[2].toObject()).toJson(QJsonDocument::Compact).toStdString(),
        R"({"carryAfter":1,"carryBefore":0,"channel":"AUX1","counterAfter":1000,"counterBefore":900003000,)"
        R"("elapsedClock":60,"elapsedMonitor":16772096,"id":3,"judgement":"doubtful","kind":"wrap","note":"",)"
        R"("polarized":false,"serial":"301234","slot":"A","text":"counted as wrapped from 900003000 to 1000, )"
        R"(carry 0 to 1; 16772096 s by the monitor, 60 s by this machine","time":"2026-03-02 10:24:30",)"
        R"("undone":false})");
    EXPECT_NE(Ask(*program_, u"status"_s).find("Entry 3 of the ledger: Device A (301234), AUX1"),
              std::string::npos);

    EXPECT_EQ(Undo(u"3"_s, Answer::Cancel), "Nothing was changed.");
    EXPECT_EQ(
        operator_.Questions().back().text.toStdString(),
        "Device A, AUX1: carry 1 becomes 0, the total of 1,193.047 kWh 0.001 kWh\n"
        "monitordata_minute: 3 rows of 301234, 2026-03-02 10:24:30 to 2026-03-02 10:26:30\n"
        "monitordata_minute: 3 rows of the sums, 999999, 2026-03-02 10:24:30 to 2026-03-02 10:26:30\n"
        "minute_energy: 3 rows of 301234, 2026-03-02 10:24 to 2026-03-02 10:26\n"
        "minute_energy: 3 rows of the sums, 999999, 2026-03-02 10:24 to 2026-03-02 10:26\n"
        "Rows become lower by 2^40 or 2^32 Ws for each carry; those of the sums by the groups that are "
        "chosen "
        "now. A backup is made before.\n\nDo you want to take back the carry, and mend these rows? No takes "
        "back the carry alone.");
    EXPECT_EQ(Energies(), high);

    Undo(u"3"_s, Answer::Yes);
    EXPECT_EQ(Carry(), 0);
    EXPECT_EQ(Saved(), u"0"_s);
    EXPECT_TRUE(QFile::exists(folder.Path(u"vrq1_bak1.ledger.db3"_s)));
    EXPECT_EQ(Ask(*program_, u"status"_s).find("of the ledger"), std::string::npos);
    Send(4000, 240);
    const std::string file = program_->database.databasePath();
    EXPECT_EQ(Rows(file,
                   "SELECT DISTINCT deviceaddress, ch1kwh = ch1awsc / 3600000.0, aux1kwh = aux1awsc / "
                   "3600000.0, aux2kwh = aux2awsc / 3600000.0 FROM monitordata_minute ORDER BY 1"),
              (Lines{"301234|1|1|1", "999999|1|1|1"}))
        << "to the last digit";
    const Lines sum = {"900002000|0", "900003000|0", "1000|0", "2000|0", "3000|0", "4000|0"};
    EXPECT_EQ(Rows(file, "SELECT ch1awsc, aux2awsc FROM monitordata_minute WHERE deviceaddress = 999999"),
              sum);
    Lines own;
    for (const std::string& row : sum)
        own.push_back(row.substr(0, row.find('|')));
    EXPECT_EQ(Rows(file, "SELECT DISTINCT aux1awsc FROM monitordata_minute WHERE deviceaddress = 301234"),
              own);
    EXPECT_EQ(Rows(file,
                   "SELECT DISTINCT a.aux1kwh = b.aux1kwh AND a.ch1Akwh = b.ch1kwh FROM minute_energy a JOIN "
                   "monitordata_minute b ON a.date = substr(b.date, 1, 16) AND a.deviceaddress = "
                   "b.deviceaddress"),
              Lines{"1"});

    Undo(u"3"_s, Answer::Yes);
    EXPECT_EQ(Carry(), 1);
    const Lines again = Energies();
    for (const std::string& row : high)
        EXPECT_NE(std::ranges::find(again, row), again.end()) << row;
    EXPECT_EQ(Rows(file, "SELECT aux1awsc FROM monitordata_minute WHERE deviceaddress = 301234").back(),
              "4294971296")
        << "what was written meanwhile has it, too";
}

TEST_F(LedgerCommands, AnUndoThatWasKilledIsFinishedAtTheNextStart) {
    Restart();
    EXPECT_TRUE(QCoro::waitFor(program_->dbWriter.Drain(0)));
    const Ledger::Listing history = QCoro::waitFor(program_->ledger.List({}));
    const auto mend = MendOf(3, history.entries);
    ASSERT_TRUE(mend.has_value());
    ScriptedOperator op;
    const MendMark mark{.entry = 3, .undoneFrom = mend->rows.front().from, .carryFrom = 1, .carryDue = 0};
    const auto mendRows = [&] {
        return QCoro::waitFor(program_->databaseWork.Run(
            u"Test"_s, program_->database.databasePath(),
            MendRows(program_->ledger.Path().toStdString(), {*mend}, {mark}, true), op));
    };
    op.cancelled = true;
    EXPECT_FALSE(mendRows().Ok());
    op.cancelled = false;
    EXPECT_TRUE(mendRows().Ok());
    EXPECT_FALSE(mendRows().Ok()) << "the entry is marked";
    program_ = &Start();
    EXPECT_EQ(Carry(), 0);
    EXPECT_EQ(Saved(), u"0"_s);
    program_->measurement.SetCarry(1, {.channel = 2}, 1);
    program_ = &Start();
    EXPECT_EQ(Carry(), 1) << "once";
}

TEST_F(LedgerCommands, RowsThatComeWhileACarryIsTakenBackAreRightTooAndWhatCannotBeChangesNothing) {
    Restart();
    for (const auto& [arguments, why] : std::initializer_list<std::pair<QString, std::string>>{
             {u"x"_s, "An entry is named by its number."},
             {u"77"_s, "The ledger has no entry 77."},
             {u"1"_s, "Entry 1 is no carry: only those are taken back."}})
        EXPECT_EQ(Ask(*program_, u"ledger undo "_s + arguments), why);
    program_->records.Hold();
    Send(4000, 240);
    program_->records.Release([](DeviceReadings& row) {
        if (row.serial == "301234") --row.Counter({.channel = 2}).carry;
    });
    EXPECT_TRUE(QCoro::waitFor(program_->dbWriter.Drain(0)));
    EXPECT_EQ(
        Rows(program_->database.databasePath(),
             "SELECT aux1awsc FROM monitordata_minute WHERE deviceaddress = 301234 ORDER BY id DESC LIMIT 1"),
        Lines{"4000"});

    const auto other = CaptureDatabase::OpenFile(program_->ledger.Path().toStdString(), false);
    // As soon as what came is written.
    ASSERT_TRUE(SpinUntil([&] { return other.GetTable("BEGIN IMMEDIATE").Ok(); }));
    const std::string told = Undo(u"3"_s, Answer::No);
    EXPECT_EQ(Carry(), 1);
    EXPECT_TRUE(told.ends_with("The ledger cannot be written: nothing was changed.")) << told;
    ASSERT_TRUE(other.GetTable("COMMIT").Ok());
    const Lines high = Energies();
    Undo(u"3"_s, Answer::No);
    EXPECT_EQ(Carry(), 0);
    EXPECT_EQ(Energies(), high) << "the carry alone";
    EXPECT_TRUE(Ask(*program_, u"ledger keep 3"_s).ends_with("The carry stands."));
}

TEST_F(LedgerCommands, TellHowMuchOfEachDayWasHeard) {
    Send(1000, 60);  // at 10:21:30
    Send(1000, 120);
    clock.AdvanceSeconds(13 * 3600);
    Send(2000, 47'000);
    clock.Sleep(3600);
    EXPECT_EQ(Ask(*program_, u"gaps"_s),
              "2026-03-02  Device A (301234): 0.1 % heard of 13 h 39 min\n"
              "2026-03-03  Device A (301234): 0.0 % heard of 24 min\n"
              "Device A (301234): nothing from 2026-03-02 10:22:30 to 2026-03-02 23:23:30, 13 h 1 min\n"
              "Device A (301234): nothing from 2026-03-02 23:23:30 to now, 1 h 0 min");
    EXPECT_EQ(Data(),
              R"({"days":[{"day":"2026-03-02","heard":60,"of":49110,"serial":"301234","slot":"A"},)"
              R"({"day":"2026-03-03","heard":0,"of":1410,"serial":"301234","slot":"A"}],)"
              R"("gaps":[{"from":"2026-03-02 10:22:30","open":false,"seconds":46860,"serial":"301234",)"
              R"("slot":"A","to":"2026-03-02 23:23:30"},{"from":"2026-03-02 23:23:30","open":true,)"
              R"("seconds":3600,"serial":"301234","slot":"A","to":"2026-03-03 00:23:30"}]})");
    EXPECT_EQ(Ask(*program_, u"gaps 2026-3-3 2026-3-9"_s),
              "2026-03-03  Device A (301234): 0.0 % heard of 24 min\n"
              "Device A (301234): nothing from 2026-03-02 23:23:30 to now, 1 h 0 min");
    EXPECT_EQ(Ask(*program_, u"gaps 2026-3-1 2026-3-1"_s), "The ledger knows of no monitor in that time.");
}

}  // namespace
}  // namespace corvane
