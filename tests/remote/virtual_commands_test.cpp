// Groups, the virtual device, the installation type and pulses, as a user sets them up and reads them.
#include <QJsonArray>

#include <map>
#include <string>
#include <vector>

#include "remote/command_fixture.h"
#include "store/rows.h"
#include "support/data_lines.h"
#include "support/packets.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class VirtualCommands : public CommandTest {
protected:
    VirtualCommands() {
        Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
        program_ = &Start();
    }

    Reply Run(const QString& line) { return CommandTest::Run(*program_, line); }
    /// The names of the virtual device in the database; none where it has no row.
    [[nodiscard]] std::string Labels() const {
        const auto rows =
            Rows(program_->database.databasePath(),
                 "SELECT ch1alias || ', ' || ch2alias || ', ' || aux1alias || ', ' || aux2alias || "
                 "', ' || aux3alias || ', ' || aux4alias || ', ' || aux5alias FROM "
                 "applicationinfo WHERE deviceaddress = '999999'");
        return rows.empty() ? "" : rows.front();
    }

    void Send(const MonitorState& state) { program_->measurement.DisplayData(0, PacketOf(state)); }

    Program* program_;
};

TEST_F(VirtualCommands, TheVirtualDeviceIsMadeChangedAndDeletedAsAnswered) {
    EXPECT_EQ(Run(u"virtual create"_s).outcome.Error(),
              u"No Device and Device Channel has been selected. Make selection and try again"_s);
    ASSERT_TRUE(Run(u"group set main A:CH1"_s).outcome);
    std::map<QString, std::string> questions;
    for (const DataLine& line : LinesOf("Questions"))
        questions[line.Column(0)] = line.Column(1).replace(u'¶', u'\n').toStdString();
    for (const DataLine& line : LinesOf("TheVirtualDevice")) {
        SCOPED_TRACE(line);
        for (const char answer : line.Word(1))
            operator_.WillAnswer("", answer == 'y' ? Answer::Yes : Answer::No);
        const std::size_t before = operator_.Questions().size();
        const Reply reply = Run(line.Column(0));
        EXPECT_TRUE(reply.outcome) << reply.outcome.Error().toStdString();
        EXPECT_EQ(reply.data[u"installation"_s].toString(), line.Column(3));
        EXPECT_EQ(reply.data[u"virtualDevice"_s].toBool(), !line.Column(4).isEmpty());
        EXPECT_EQ(Labels(), line.Word(4));
        const QString asked = line.Column(2);
        ASSERT_EQ(operator_.Questions().size(), before + static_cast<std::size_t>(asked.size()));
        for (qsizetype i = 0; i < asked.size(); ++i)
            EXPECT_EQ(operator_.Questions()[before + static_cast<std::size_t>(i)].text.toStdString(),
                      questions.at(asked[i]));
    }
    EXPECT_EQ(
        operator_.Messages(),
        (std::vector<std::string>{"Your solar generated power will be plotted as a positive amount in the "
                                  "dashboard. If you would like to change this option, you must do it now "
                                  "during the setup."}));
    EXPECT_TRUE(program_->database.Run("UPDATE applications SET totalpanelchannel = 'CH1'").Ok());
    const QStringList told = Run(u"groups"_s).lines;
    const std::vector<DataLine> groups = LinesOf("Groups");
    ASSERT_EQ(told.size(), std::ssize(groups));
    for (qsizetype i = 0; i < told.size(); ++i)
        EXPECT_EQ(told[i], groups[static_cast<std::size_t>(i)].text);
}

TEST_F(VirtualCommands, AVirtualDeviceThatTheDatabaseRefusesIsNoneAndSaysWhy) {
    ASSERT_TRUE(Run(u"group set main A:CH1"_s).outcome);
    const auto other = program_->database.Open();
    ASSERT_TRUE(
        other
            .GetTable("CREATE TRIGGER no BEFORE UPDATE ON applicationinfo BEGIN SELECT RAISE(FAIL, 'no'); "
                      "END")
            .Ok());
    operator_.WillAnswer("This will created", Answer::Yes);
    EXPECT_EQ(Run(u"virtual create"_s).outcome.Error(),
              u"The database could not be told the names of the virtual channels: no"_s);
    EXPECT_FALSE(program_->virtualDevice.Exists());
    ASSERT_TRUE(other.GetTable("BEGIN EXCLUSIVE").Ok());
    operator_.WillAnswer("This will created", Answer::Yes);
    EXPECT_FALSE(Run(u"virtual create"_s).outcome);
    EXPECT_EQ(operator_.Messages(), (std::vector<std::string>{"database is locked"}));
    EXPECT_FALSE(program_->virtualDevice.Exists());
    operator_.WillAnswer("Are you sure you want to delete", Answer::Yes);
    EXPECT_EQ(Run(u"virtual delete"_s).outcome.Error(), u"database is locked"_s);
}

TEST_F(VirtualCommands, ReadingsTellTheSumsAndTheFlow) {
    EXPECT_TRUE(Run(u"readings"_s).data[u"virtual"_s].isNull());
    for (const char* command : {"group set main a:ch1", "group set generator A:CH2",
                                "group set virtual3 A:AUX5", "group set other A:AUX4 B:AUX4"})
        ASSERT_TRUE(Run(QString::fromLatin1(command)).outcome) << command;
    EXPECT_EQ(Run(u"pulse set A AUX1 2 hour 0.5"_s).lines,
              (QStringList{u"Device A: pulses on AUX1 are not counted"_s,
                           u"One Pulse Equals: 0.5 Gals, rate in GPH"_s,
                           u"Flow page: "_s + program_->webServer.Location() + u"/flow_gph.html"_s}));
    KeepByKey(program_->settings, u"WebPort"_s, u"8999"_s);
    EXPECT_EQ(KeptByKey(program_->settings, u"FlowPage"_s, {}, u"1"_s),
              u"http://127.0.0.1:8999/flow_gph.html"_s);
    operator_.WillAnswer("enable pulse counting", Answer::Yes);
    EXPECT_EQ(Run(u"pulse enable A"_s).lines.first(), u"Device A: pulses on AUX1 are counted"_s);
    KeepByKey(program_->settings, u"NETmeter"_s, true);
    Send({.seconds = 100, .aux = {10}});
    Send({.ch1Absolute = 36'000,
          .ch2Absolute = 18'000,
          .ch1Polarized = 27'000,
          .ch1Hundredths = 420,
          .seconds = 110,
          .aux = {12, 0, 0, 7200, 3600}});
    EXPECT_EQ(Run(u"pulse preset A 100"_s).lines.last(), u"Flow 360.00 GPH, 100.00 Gals"_s);
    EXPECT_EQ(Run(u"pulse preset A abc"_s).outcome.Error(), u"You must use a numeric value"_s);
    for (const DataLine& line : LinesOf("Refused"))
        EXPECT_FALSE(Run(line.text).outcome) << line;

    const Reply reply = Run(u"readings"_s);
    const QJsonObject pulse = reply.data[u"devices"_s].toArray()[0].toObject()[u"pulse"_s].toObject();
    EXPECT_EQ(QJsonDocument(pulse).toJson(QJsonDocument::Compact).toStdString(),
              R"({"page":"/flow_gph.html","rate":360,"rateUnit":"GPH","total":100,"totalUnit":"Gals"})");
    const QJsonObject sums = reply.data[u"virtual"_s].toObject();
    EXPECT_EQ(
        QJsonDocument(sums).toJson(QJsonDocument::Compact).toStdString(),
        R"({"bipolarMain":false,"channels":[{"kwh":0,"power":0},{"kwh":0,"power":0},{"kwh":0.001,"power":360}],)"
        R"("kwhBought":0.0025,"kwhGen":0.005,"kwhSold":0.0075,"kwhUsed":0,"mainAmps":4.2,"mainKwh":0.01,"mainPower":3600,)"
        R"("missing":["B"],"netKwh":-0.005,"netMetering":true,"netPower":-1800,"other":2880,"otherKwh":0.008,"powerBought":0,)"
        R"("powerGen":1800,"powerSold":1800,"powerUsed":0,"stale":true})");
    EXPECT_TRUE(reply.lines.contains(u"Device A  Flow 360.00 GPH, 100.00 Gals"_s));
    EXPECT_TRUE(reply.lines.contains(u"Sending Power to the Grid  -1800 W"_s));

    for (const QString& group : {u"main"_s, u"generator"_s, u"virtual3"_s, u"other"_s})
        EXPECT_TRUE(Run(u"group clear "_s + group).outcome);
    EXPECT_TRUE(Run(u"readings"_s).data[u"virtual"_s].isNull());
}

}  // namespace
}  // namespace corvane
