// The words of the commands: what they do, and what people are told.
#include <QDateTime>
#include <QFileInfo>
#include <QJsonArray>

#include "remote/command_fixture.h"
#include "store/rows.h"
#include "store/settle_bursts.h"
#include "support/data_lines.h"
#include "support/packets.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class Commands : public CommandTest {
protected:
    Commands() { Preset(u"DevSerial"_s, u"301234"_s, u"0"_s); }
};

TEST_F(Commands, DoWhatTheyTell) {
    Program& program = Start();
    for (const DataLine& line : LinesOf("Commands")) {
        for (const char answer : line.Word(1))
            operator_.WillAnswer("", answer == 'y' ? Answer::Yes : Answer::No);
        const QString told = QString::fromStdString(Ask(program, line.Column(0)));
        EXPECT_TRUE(told.split(u'\n').join(u" / "_s).endsWith(line.Column(2)))
            << line << "\nbut told: " << told.toStdString();
    }
    EXPECT_EQ(program.settings.Value(kWriteFrequency), u"10"_s);
    const std::string off =
        ", data older than 7 days. This task is performed automatically at 12:00 am (midinight) when "
        "enabled.\n";
    EXPECT_EQ(Ask(program, u"db auto delete ON 30"_s),
              "Automatic condense: off" + off +
                  "Automatic delete: on, data older than 30 days. This task is performed automatically at "
                  "1:00 am when enabled.");
    Ask(program, u"db auto condense on"_s);
    Ask(program, u"db auto Delete off"_s);
    EXPECT_EQ(
        Data(),
        R"({"condense":{"days":7,"hindrance":"","on":true},"delete":{"days":30,"hindrance":"","on":false}})");
    Ask(program, u"db auto delete on"_s);
    program.settings.Save(kAutoDeleteDays, u"2000"_s);
    const QString hindrance =
        u"The setting AutoDeleteDays is \"2000\", not a whole number from 1 to 1500; Automatic delete does not run."_s;
    for (const QString& command : {u"status"_s, u"db auto"_s})
        EXPECT_TRUE(QString::fromStdString(Ask(program, command)).contains(hindrance))
            << command.toStdString();
    const QJsonObject task{{u"days"_s, QJsonValue()}, {u"hindrance"_s, hindrance}, {u"on"_s, true}};
    EXPECT_EQ(data_[u"delete"_s], task);
    Ask(program, u"status"_s);
    EXPECT_EQ(data_[u"nightly"_s][u"delete"_s], task);
}

TEST_F(Commands, CompareTheReadOutsThatAreKept) {
    Program& program = Start();
    const char* const none = R"(There are no two read-outs to compare; "monitor history" lists them.)";
    SettingsBlock block;
    block.Set(MonitorSetting::UnitId, 3);
    block.Set(MonitorSetting::SerialNumber, 1234);
    const auto keep = [&](int seconds) {
        block.Set(MonitorSetting::SendFrequency, seconds);
        EXPECT_TRUE(program.monitorHistory.Keep(block, clock.Now()));
        clock.AdvanceSeconds(1);
    };
    EXPECT_EQ(Ask(program, u"monitor diff 2026"_s), none);
    keep(8);
    EXPECT_EQ(Ask(program, u"monitor diff"_s), none);
    EXPECT_EQ(Ask(program, u"monitor diff 2026"_s), "From 2026-03-02_10-20-30 to 2026-03-02_10-20-30:");
    keep(9);
    EXPECT_EQ(Ask(program, u"monitor diff"_s),
              "From 2026-03-02_10-20-30 to 2026-03-02_10-20-31:\nPacket Send Frequency: 8 -> 9");
}

TEST_F(Commands, TellWhatCameAndHowItStands) {
    Program& program = Start();
    Ask(program, u"create-power-tables"_s);
    Ask(program, u"raw on"_s);
    for (const auto& [number, seconds] :
         std::vector<std::pair<std::uint16_t, std::uint32_t>>{{1234, 100}, {1234, 140}, {1235, 140}}) {
        clock.AdvanceSeconds(20);
        for (const std::uint8_t byte : PacketOf({.voltTenths = 1213,
                                       .ch1Absolute = seconds * 200ULL,
                                       .serialNumber = number,
                                       .seconds = seconds}))
            program.framer.ProcessByte(kStreamTcpB, byte);
        SettleBursts(program.dbWriter);
    }
    const std::string readings =
        "10:21:10  Device A 301234  121.3 V  CH1 200 W 0.008 KWh  CH2 0 W 0.000 KWh  AUX1 0 W 0.000 KWh  "
        "AUX2 0 W 0.000 KWh  AUX3 0 W 0.000 KWh  AUX4 0 W 0.000 KWh  AUX5 0 W 0.000 KWh";
    EXPECT_EQ(Ask(program, u"readings"_s), readings);
    clock.AdvanceSeconds(120);
    EXPECT_EQ(Ask(program, u"readings"_s), readings + "  (off line)");
    EXPECT_EQ(
        Ask(program, u"slots"_s),
        "Device A: 301234, off line\nDevice B: not bound\nDevice C: not bound\nDevice D: not bound\n"
        "Device E: not bound\nDevice F: not bound\nHeard, but bound to no device: 301235 (VRQ-5810, TCP "
        "Server B, 10:21:30)");
    EXPECT_TRUE(Data().ends_with(R"("unbound":["301235"]})"));
    operator_.WillAnswer("serial number 301235 to \"Device B\"", Answer::No);
    EXPECT_EQ(Ask(program, u"bind B heard"_s), "Device B was not bound.");
    operator_.WillAnswer("serial number 301235 to \"Device B\"", Answer::Yes);
    EXPECT_EQ(Ask(program, u"bind B heard"_s), "Device B answers to 301235.");
    EXPECT_EQ(Ask(program, u"bind C heard"_s), "No monitor was heard that no device answers to.");
    EXPECT_TRUE(program.deviceSlots.SaveSerial(2, {}));
    EXPECT_NE(Ask(program, u"forget-unbound"_s), "");
    EXPECT_EQ(Ask(program, u"slots"_s).find("Heard"), std::string::npos);
    EXPECT_TRUE(Ask(program, u"raw tcp-b"_s).starts_with("VRQ-5810 packet, serial text 301234"));
    const std::string portA = std::to_string(program.tcpA.LocalPort());
    const std::string portB = std::to_string(program.tcpB.LocalPort());
    Ask(program, u"database off"_s);
    for (int i = 1; i <= 10; ++i)
        program.statusBoard.AddLine(QString::number(i));
    const QStringList status = QString::fromStdString(Ask(program, u"status"_s)).split(u'\n');
    EXPECT_TRUE(status[1].startsWith(u"Not recording; last record 2026-03-02 10:21:10; 1 waiting; "_s));
    EXPECT_EQ(
        (status.first(1) + status.sliced(2)).join(u'\n').toStdString(),
        "Corvane , data in DIR\n"
        "ERROR: No packet comes from any monitor: nothing is recorded.\n"
        "    See whether monitor and gateway have power, and whether the cable or the network is as it was.\n"
        "ERROR: The database is switched off: nothing is recorded.\n"
        "    Switch it on (Database tab, or \"corvanectl database on\").\n"
        "INFO: There is no backup of the database.\n"
        "    Make one (Database tab, or \"corvanectl db backup\"), and keep a copy elsewhere.\n"
        "Packets: 3 good, 0 bad\nTCP Server A: Listening, port " +
            portA + "\nTCP Server B: Listening, port " + portB +
            "\nSerial Connection A: Closed\nSerial Connection B: Closed\nSerial Connection C: "
            "Closed\nDatabase: DIR/vrq1.db3\nDatabase is Disabled\nDB Buffer = 0\nPreparing to write to "
            "db\nDB Write OK\n1\n2\n3\n4\n5\n6\n7\n8\n9\n10");
    EXPECT_FALSE(Run(program, u"status"_s).well);
    EXPECT_EQ(data_[u"health"_s][u"recording"_s], false);
    EXPECT_EQ(data_[u"health"_s][u"queue"_s], 1);
    const QJsonObject off{{u"id"_s, u"database-off"_s},
                          {u"severity"_s, u"error"_s},
                          {u"text"_s, u"The database is switched off: nothing is recorded."_s},
                          {u"remedy"_s, u"Switch it on (Database tab, or \"corvanectl database on\")."_s},
                          {u"since"_s, u"2026-03-02 10:23:30"_s}};
    EXPECT_EQ(data_[u"health"_s][u"states"_s][1], off);
    const QJsonObject link{{u"name"_s, u"TCP Server A"_s},
                           {u"state"_s, 2},
                           {u"stateText"_s, u"Listening"_s},
                           {u"port"_s, program.tcpA.LocalPort()},
                           {u"notice"_s, u""_s}};
    EXPECT_EQ(data_[u"links"_s][0], link);
    EXPECT_EQ(data_[u"goodPackets"_s], 3);
    EXPECT_EQ(data_[u"badPackets"_s], 0);
    EXPECT_EQ(data_[u"statusList"_s].toArray().size(), 10);
    QJsonObject database = data_[u"database"_s].toObject();
    EXPECT_EQ(database.take(u"path"_s), folder.Path(u"vrq1.db3"_s));
    EXPECT_EQ(database, (QJsonObject{{u"countdown"_s, 0},
                                     {u"enabled"_s, false},
                                     {u"indicator"_s, u"green"_s},
                                     {u"lost"_s, 0},
                                     {u"message"_s, u""_s},
                                     {u"pending"_s, 1},
                                     {u"state"_s, u"Preparing to write to db"_s},
                                     {u"unwritten"_s, 0},
                                     {u"waits"_s, u""_s}}));
    EXPECT_TRUE(QCoro::waitFor(program.dbWriter.Drain(0)));
    const std::string size = std::to_string(QFileInfo(folder.Path(u"vrq1.db3"_s)).size());
    EXPECT_EQ(Ask(program, u"db info"_s),
              "Database: DIR/vrq1.db3\nSize: " + size +
                  " bytes\nmonitordata_minute, device 301234: 1 rows, 2026-03-02 10:21:10 to 2026-03-02 "
                  "10:21:10\nmonitordata_hourly, device 301234: 2 rows, 2026-03-02 10:20:50 to 2026-03-02 "
                  "10:20:50\nJournal: delete\nIntegrity: ok");
    EXPECT_EQ(
        QJsonDocument(data_[u"devices"_s][0].toObject()).toJson(QJsonDocument::Compact),
        R"({"device":"301234","first":"2026-03-02 10:21:10","last":"2026-03-02 10:21:10","rows":1,"table":"monitordata_minute"})");
    EXPECT_EQ(Rows(program.database.databasePath(), "SELECT date, ch1watt FROM minute_power"),
              std::vector<std::string>{"2026-03-02 10:21|200"});

    Ask(program, u"db backup"_s);
    operator_.WillEnter("Which backup is to be restored: 1?", std::nullopt);
    const QFileInfo backup(folder.Path(u"vrq1_bak1.db3"_s));
    EXPECT_EQ(Ask(program, u"db restore"_s),
              "1: vrq1_bak1.db3, " + std::to_string(backup.size()) + " bytes, " +
                  backup.lastModified().toString(u"yyyy-MM-dd HH:mm:ss"_s).toStdString() +
                  "\nNo backup was chosen.");
    operator_.WillEnter("Which backup is to be restored: 1?", u" 1 "_s);
    operator_.WillAnswer("With this file?", Answer::No);
    EXPECT_EQ(Run(program, u"db restore"_s).outcome.Error(),
              u"The current database file has not been replaced."_s);

    program.errorLog.LogError(6, u"Overflow"_s, u"CH1"_s);
    EXPECT_NE(Ask(program, u"log show"_s).find("\n6\tOverflow\tCH1\t"), std::string::npos);
    EXPECT_EQ(data_[u"lines"_s].toArray().size(), 3) << "and what is wrong with the program";
    operator_.WillAnswer("Are you sure you want to delete", Answer::No);
    EXPECT_EQ(Ask(program, u"log delete"_s), "The error log was kept.");
    operator_.WillAnswer("Are you sure you want to delete", Answer::Yes);
    EXPECT_EQ(Ask(program, u"log delete"_s), "There is no error log now.");
}

}  // namespace
}  // namespace corvane
