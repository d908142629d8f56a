// The words of the commands: what they do, and what people are told.
#include <QDateTime>
#include <QFileInfo>
#include <QJsonArray>

#include "remote/command_fixture.h"
#include "store/rows.h"
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
    const struct {
        const char* line;
        const char* answers;  ///< "y" or "n" for each question
        const char* told;     ///< or its end
    } cases[] = {
        {"no help", "", "no such command"},
        {"readings", "", "No packet of a bound monitor has come yet."},
        {"get VoltX2", "", "The setting VoltX2 is not set."},
        {"set VoltX2 true", "", "VoltX2 = true"},
        {"get VoltX2", "", "True"},
        {"set VoltX2 7", "", "VoltX2 is True or False."},
        {"database maybe", "", "The database is switched on or off."},
        {"database OFF", "", "Database is Disabled"},
        {"database On", "", "Database is Enabled"},
        {"write-frequency 61", "", "Not within acceptable range of 3 to 60 seconds"},
        {"write-frequency 10", "", "Records are written every 10 seconds at the most."},
        {"create-power-tables", "", "are there; rows follow with each minute."},
        {"create-power-tables", "", "error creating energy table\nNot both tables were made."},
        {"create-minute-table", "", "The new \"Minute\" table has been created successfuly."},
        {"create-minute-table", "", "The table already exists."},
        {"set-serial g 1", "", "Select desired Unit."},
        {"set-serial B 400123", "", "Device B answers to 400123."},
        {"listen c", "", "There are TCP Server A and B."},
        {"disconnect c", "", "There are TCP Server A and B."},
        {"disconnect A", "", "TCP Server A: Disconnected"},
        {"listen a", "", "TCP Server A: Listening"},
        {"raw x", "", "There are the streams tcp-a, tcp-b, serial-a, serial-b and serial-c."},
        {"raw TCP-A", "", "Nothing was kept; \"raw on\" begins."},
        {"raw on", "", "Received bytes are kept for \"raw STREAM\"."},
        {"raw off", "", "Received bytes are not kept."},
        {"log x", "", "Usage: log show|delete"},
        {"log show", "", "The error log is empty."},
        {"db verify", "y", "The serial numbers of Device A to F have been compared."},
        {"db restore", "", "There are no backups of this database."},
        {"db backup", "", "The database has been backed up:  DIR/vrq1_bak1.db3"},
        {"db restore x", "", "A backup is chosen by its number."},
        {"db restore 1", "n", "The current database file has not been replaced."},
        {"db restore 1", "y", "The database has been restored from:  DIR/vrq1_bak1.db3"},
        {"db condense 2026-3-1 x", "", "Dates are entered as yyyy-mm-dd."},
        {"db delete-minutes x 2026-3-1", "", "Dates are entered as yyyy-mm-dd."},
        {"db condense 2026-3-1 2026-3-2", "", "Condensed: 0 rows are gone."},
        {"db delete-minutes 2026-3-1 2026-3-2", "", "Deleted: 0 rows are gone."},
        {"db delete-older x", "", "Must be a numeric value"},
        {"db delete-older 1", "y", "Deleted: 0 rows are gone."},
        {"db empty", "yny", "Your database is now empty."},
        {"db outliers", "", "Select a kWh value!"},
        {"db outliers 5", "", "Completed !"},
        {"db test-types", "", "Test Results: Passed........, fields are proper \"DOUBLE\" type."},
        {"db repair all", "", "There are the tables hourly and minute."},
        {"db repair Hourly", "ny", "The hourly table has been repaired."},
        {"db repair minute", "ny", "The minute table has been repaired."},
        {"db repair-serials", "", "Valid serial numbers found. No changes required."},
        {"db reset-labels", "y", "The labels have been reset."},
        {"db auto condense", "", "Say on or off, and a count of days."},
        {"db auto all on", "", "There are the tasks condense and delete."},
        {"db auto delete maybe", "", "A task is switched on or off."},
        {"db auto condense on 0", "", "Improper day value. Please correct and try again."},
        {"db open nowhere", "", "The selected file is not a valid VRQ database file."},
        {"target", "", "Device A is the command target, on TCP Server A, command byte 252."},
        {"target G", "", "There are Device A to F."},
        {"target C", "",
         "Device B is the command target, on TCP Server A, command byte 252. It is the last of 2 in use; "
         "\"set DeviceQTY\" puts more in use."},
        {"command-byte G 0", "", "There are Device A to F."},
        {"command-byte A x", "", "The list has the positions 0 to 3, for the bytes 252 to 255."},
        {"command-byte B 0", "", "Device B listens to command byte 252."},
        {"realtime on", "", "Realtime data are to start, to stop or to come once."},
        {"realtime once", "", "This port is not Open or Connected"},
        {"bind", "", "Select desired Unit."},
        {"find-device", "", "Select Device to be Found"},
        {"find-device A", "", "Device \"A\" not found."},
        {"zero-carries", "y", "Aborted"},
        {"zero-carries", "n", "All carries are 0."},
        {"reset-accumulated", "n", "Reset aborted!"},
        {"reset-accumulated", "y", "This port is not Open or Connected"},
        {"reboot", "", "This port is not Open or Connected"},
        {"thru", "n", "Pass-through mode was not entered."},
        {"erase-logger", "n", "Nothing was erased."},
        {"memory 256", "", "Addresses and values are numbers from 0 to 255."},
        {"memory 1 -1", "", "Addresses and values are numbers from 0 to 255."},
        {"memory 255 255", "y", "This port is not Open or Connected"},
        {"monitor set trim 4 8", "",
         "More than seven CTs on one AUX channel is not allowed. Correct and try again"},
        {"monitor set iv9 4", "", "ng1, ng2, identity SERIAL UNITID."},
        {"monitor history", "", "No settings are kept of 400123; \"monitor read\" reads some."},
        {"monitor diff", "", "There are no two read-outs to compare; \"monitor history\" lists them."},
        {"monitor restore 2026", "", "This port is not Open or Connected"},
        {"db new x", "yy", "Database: DIR/x.db3"},
        {"db open vrq1.db3", "y", "Database: DIR/vrq1.db3"}};
    for (const auto& c : cases) {
        for (const char* answer = c.answers; *answer != '\0'; ++answer)
            operator_.WillAnswer("", *answer == 'y' ? Answer::Yes : Answer::No);
        const std::string told = Ask(program, QString::fromLatin1(c.line));
        EXPECT_TRUE(told.ends_with(c.told)) << c.line << ": " << told;
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
    EXPECT_EQ(Data(), R"({"condense":{"days":7,"on":true},"delete":{"days":30,"on":false}})");
}

TEST_F(Commands, TellWhatCameAndHowItStands) {
    Program& program = Start();
    Ask(program, u"create-power-tables"_s);
    Ask(program, u"raw on"_s);
    for (const auto& [number, seconds] : {std::pair{1234, 100}, {1234, 140}, {1235, 140}}) {
        clock.AdvanceSeconds(20);
        for (const std::uint8_t byte : PacketOf({.voltTenths = 1213,
                                       .ch1Absolute = seconds * 200ULL,
                                       .serialNumber = static_cast<std::uint16_t>(number),
                                       .seconds = static_cast<std::uint32_t>(seconds)}))
            program.framer.ProcessByte(kStreamTcpB, byte);
    }
    const std::string readings =
        "10:21:10  Device A 301234  121.3 V  CH1 200 W 0.008 kWh  CH2 0 W 0.000 kWh  AUX1 0 W 0.000 kWh  "
        "AUX2 0 W 0.000 kWh  AUX3 0 W 0.000 kWh  AUX4 0 W 0.000 kWh  AUX5 0 W 0.000 kWh";
    EXPECT_EQ(Ask(program, u"readings"_s), readings);
    clock.AdvanceSeconds(120);
    EXPECT_EQ(Ask(program, u"readings"_s), readings + "  (off line)");
    EXPECT_EQ(Ask(program, u"slots"_s),
              "Device A: 301234, off line\nDevice B: not bound\nDevice C: not bound\nDevice D: not bound\n"
              "Device E: not bound\nDevice F: not bound\nHeard, but bound to no device: 301235");
    EXPECT_TRUE(Data().ends_with(R"("unbound":["301235"]})"));
    EXPECT_TRUE(Ask(program, u"raw tcp-b"_s).starts_with("VRQ-5810 packet, serial text 301234"));
    const std::string portA = std::to_string(program.tcpA.LocalPort());
    const std::string portB = std::to_string(program.tcpB.LocalPort());
    Ask(program, u"database off"_s);
    for (int i = 1; i <= 10; ++i)
        program.statusBoard.AddLine(QString::number(i));
    EXPECT_EQ(
        Ask(program, u"status"_s),
        "Corvane , data in DIR\nPackets: 3 good, 0 bad\nTCP Server A: Listening, port " + portA +
            "\nTCP Server B: Listening, port " + portB +
            "\nSerial Connection A: Closed\nSerial Connection B: Closed\nSerial Connection C: "
            "Closed\nDatabase: DIR/vrq1.db3\nDatabase is Disabled\nDB Buffer = 2\nPreparing to write to "
            "db\nDB Write OK\n1\n2\n3\n4\n5\n6\n7\n8\n9\n10");
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
                                     {u"message"_s, u""_s},
                                     {u"pending"_s, 3},
                                     {u"state"_s, u"Preparing to write to db"_s}}));
    program.dbWriter.Flush();
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
    EXPECT_TRUE(Ask(program, u"log show"_s).starts_with("6\tOverflow\tCH1\t"));
    EXPECT_EQ(data_[u"lines"_s].toArray().size(), 1);
    operator_.WillAnswer("Are you sure you want to delete", Answer::No);
    EXPECT_EQ(Ask(program, u"log delete"_s), "The error log was kept.");
    operator_.WillAnswer("Are you sure you want to delete", Answer::Yes);
    EXPECT_EQ(Ask(program, u"log delete"_s), "There is no error log now.");
}

}  // namespace
}  // namespace corvane
