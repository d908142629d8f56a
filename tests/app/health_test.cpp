// What the program finds wrong with itself, and when it says so.
#include <QTcpServer>

#include <filesystem>
#include <fstream>

#include "app/program_fixture.h"
#include "store/settle_bursts.h"
#include "support/packets.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

std::string TextOf(const Health& health) {
    std::string text;
    for (const HealthState& state : health.States())
        text.append(text.empty() ? "" : ", ")
            .append(SeverityText(state.finding.severity).toStdString())
            .append(" ")
            .append(state.finding.id.toStdString());
    return text;
}

TEST(HealthTest, AStateComesWhenItHasStoodAndGoesWhenItStaysAway) {
    struct Case {
        Steadiness steadiness;
        const char* found;  // every ten seconds: whether the look finds it
        const char* shown;
        int logged;  // lines
    };
    const Case cases[] = {
        {{}, "x.xx.", "x.xx.", 4},
        {{.after = 20}, "xx.xxxx.", ".....xx.", 2},
        {{.gone = 30}, "x..x...x...", "xxxxxx.xxx.", 4},
        {{.after = 30, .gone = 60}, "x.x.x.x.x......x", "....xxxxxxxxxx..", 2},
    };
    for (const auto& row : cases) {
        const TempFolder folder;
        FakeClock clock;
        ErrorLog log(folder.Path(), u"Test"_s, clock);
        bool found = false;
        Health health(
            [&found, &row] {
                HealthReport report;
                if (found)
                    report.findings = {{u"a"_s, Severity::Error, u"Broken."_s, u"Mend it."_s, row.steadiness},
                                       {u"b"_s, Severity::Info, u"Fine."_s, {}, row.steadiness}};
                return report;
            },
            log, clock);
        std::string shown;
        for (const char* step = row.found; *step != '\0'; ++step) {
            found = *step == 'x';
            clock.AdvanceSeconds(10);
            shown += health.States().empty() ? '.' : 'x';
        }
        EXPECT_EQ(shown, row.shown) << row.found;
        EXPECT_EQ(log.LastLines(99).size(), row.logged) << row.found;
    }
}

class HealthOfAProgram : public ProgramTest {
protected:
    HealthOfAProgram() { Preset(u"DevSerial"_s, u"301234"_s, u"0"_s); }

    /// Lets time pass in which Device A sends, as far as it does.
    void Pass(Program& program, int seconds, bool sends = true) {
        for (int second = 0; second < seconds; ++second) {
            if (sends && second % 8 == 0) {
                monitor_.seconds += 8;
                monitor_.ch1Absolute += 800;
                for (const std::uint8_t byte : PacketOf(monitor_))
                    program.framer.ProcessByte(0, byte);
            }
            clock.AdvanceSeconds(1);
            SettleBursts(program.dbWriter);
        }
    }

    [[nodiscard]] static std::string Of(const Program& program) {
        return (program.health.Figures().recording ? "recording: " : "not recording: ") +
               TextOf(program.health);
    }

    [[nodiscard]] std::string Database() const { return folder.Path(u"vrq1.db3"_s).toStdString(); }

    MonitorState monitor_{.seconds = 1000};
};

TEST_F(HealthOfAProgram, TellsWhetherPacketsCome) {
    Preset(u"DevSerial"_s, u"305678"_s, u"1"_s);
    Program& program = Start();
    EXPECT_EQ(Of(program), "not recording: info backup, info no-packets") << "they may take their time";
    Pass(program, 140, false);
    EXPECT_EQ(Of(program),
              "not recording: error no-packets, warning silent-a, warning silent-b, info backup");
    Pass(program, 20);
    EXPECT_EQ(Of(program), "recording: warning silent-b, info backup");
    EXPECT_TRUE(program.health.Figures().lastRecord.has_value());
    Pass(program, 150, false);
    EXPECT_EQ(Of(program),
              "not recording: error no-packets, warning silent-b, warning silent-a, info backup");
    KeepByKey(program.settings, u"DevSerial"_s, u""_s, u"0"_s);
    KeepByKey(program.settings, u"DevSerial"_s, u""_s, u"1"_s);
    Pass(program, 1);
    EXPECT_EQ(Of(program), "not recording: warning no-device, info backup, info unbound");
    QStringList log = program.errorLog.LastLines(9);
    for (QString& line : log)
        line = line.section(u'\t', 1, 1);
    EXPECT_EQ(log.filter(u"Device B (305678) is silent: no packet of it comes."_s).size(), 2)
        << "once as it came, once as it went";
}

TEST_F(HealthOfAProgram, TellsWhatHindersTheDatabase) {
    Program& program = Start();
    Pass(program, 61);
    ASSERT_EQ(Of(program), "recording: info backup");

    program.settings.Save(kDatabaseEnabled, false);
    Pass(program, 1);
    EXPECT_EQ(Of(program), "not recording: error database-off, info backup");
    program.settings.Save(kDatabaseEnabled, true);
    Pass(program, 1);
    EXPECT_EQ(Of(program), "recording: info backup") << "what a person does counts at once";
    {
        const auto other = program.database.Open();
        ASSERT_TRUE(other.GetTable("BEGIN EXCLUSIVE").Ok());
        Pass(program, 90);
        EXPECT_EQ(Of(program), "recording: info backup") << "a moment is nothing";
        Pass(program, 90);
        EXPECT_EQ(Of(program), "recording: warning database-locked, info backup");
        Pass(program, 600);
        EXPECT_EQ(Of(program), "not recording: error database-locked, info backup");
        EXPECT_GT(program.health.Figures().queue, 5);
    }
    Pass(program, 130);
    EXPECT_EQ(Of(program), "recording: info backup");

    std::filesystem::rename(Database(), Database() + ".away");
    Pass(program, 70);
    EXPECT_EQ(Of(program), "not recording: error database-missing, info backup");
    std::ofstream(Database()) << std::string(5000, 'x');
    Pass(program, 70);
    EXPECT_EQ(Of(program), "not recording: error database-damaged, warning records-unwritten, info backup");
    std::filesystem::rename(Database() + ".away", Database());
    Pass(program, 130);
    EXPECT_EQ(Of(program), "recording: warning records-unwritten, info backup");
}

TEST_F(HealthOfAProgram, TellsOfTheDisk) {
    Program& program = Start();
    Pass(program, 1);
    const auto space = std::filesystem::space(folder.Path().toStdString());
    if (static_cast<std::int64_t>(space.available) < HealthChecks::kLittleFree)
        GTEST_SKIP() << "This machine cannot run it: its disk is full";
    EXPECT_FALSE(program.health.Figures().diskDays.has_value()) << "nothing is known of the growth yet";
    // A hole costs no room, and looks like growth.
    std::filesystem::resize_file(Database(), space.available / 10);
    clock.AdvanceSeconds(3700);
    EXPECT_EQ(program.health.Figures().diskDays, 0);
    EXPECT_NE(TextOf(program.health).find("error disk"), std::string::npos) << TextOf(program.health);
}

TEST_F(HealthOfAProgram, TellsOfLinksOutputsPagesAndBackups) {
    QTcpServer other;
    ASSERT_TRUE(other.listen(QHostAddress::Any));
    QTcpServer nobody;
    ASSERT_TRUE(nobody.listen(QHostAddress::LocalHost));
    const QString refusing = QString::number(nobody.serverPort());
    nobody.close();
    Preset(u"TcpPortB"_s, QString::number(other.serverPort()));
    Preset(u"WebPort"_s, QString::number(other.serverPort()));
    Preset(u"ComPortA"_s, u"64"_s);
    Preset(u"ComDevice64"_s, folder.Path(u"no such port"_s));
    Preset(u"AutoOpen"_s, u"True"_s);
    Preset(u"ClientEnable"_s, u"True"_s);
    Preset(u"ClientTCPip"_s, u"127.0.0.1"_s);
    Preset(u"ClientPort"_s, refusing);
    Preset(u"AutoDelete"_s, u"True"_s);
    Preset(u"AutoDeleteDays"_s, u"2000"_s);
    Program& program = Start();
    ASSERT_TRUE(SpinUntil([&] {
        Pass(program, 10);
        return TextOf(program.health).find("output-") != std::string::npos;
    }));
    EXPECT_EQ(Of(program),
              "recording: warning nightly-delete, warning pages, warning link-serial-connection-a, warning "
              "link-tcp-server-b, warning output-client, info backup");

    clock.Jump(40 * 86'400LL);
    ScriptedOperator op;
    EXPECT_TRUE(QCoro::waitFor(program.backups.BackupDBfile(op)));
    Pass(program, 3600);
    EXPECT_EQ(Of(program),
              "recording: warning nightly-delete, warning pages, warning link-serial-connection-a, warning "
              "link-tcp-server-b, warning output-client, warning clock");
    EXPECT_TRUE(program.health.Figures().lastBackup.has_value());
}

}  // namespace
}  // namespace corvane
