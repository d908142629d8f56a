// Groups, the virtual device, the installation type and pulses, as a user sets them up and reads them.
#include <QJsonArray>

#include <map>
#include <string>
#include <vector>

#include "remote/command_fixture.h"
#include "store/rows.h"
#include "support/packets.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

const std::vector<std::string> kConsumptionLabels = {
    "Main Panel Consumption|Not Used|Not Used|Other (Un-Monitored) Loads|Virtual Channel 1|Virtual Channel 2|"
    "Virtual Channel 3"};
const std::vector<std::string> kNetLabels = {
    "Main Panel NET value|Energy to the Grid|Energy from the Grid|Energy Generated|Total Energy Consumed|"
    "Virtual Channel 2|Virtual Channel 3"};
const std::string kChange = "Are you sure you wish to change the \"Installation Type\"?\n\n";
const std::string kCleared =
    "\n\nIf changing this setting, the database should be cleared which would begin the monitoring session "
    "from the start.  Do you wish to continue?";
const std::string kCreate = "This will created a new group of seven channels representing:\n\n";
const std::string kNow = "\n\nWould you like to create this new group now?";

const std::map<char, std::string> kQuestions = {
    {'c', kCreate +
              "Total Main Panel\nN/A\nN/A\nOther\nVirtual Channel 1\nVirtual Channel 2\n"
              "Virtual Channel 3" +
              kNow},
    {'C', kCreate +
              "Net Energy\nEnergy To Grid\nEnergy From Grid\nEnergy Generated\nEnergy Consumed\n"
              "Virtual Channel 2\nVirtual Channel 3" +
              kNow},
    {'n', kChange +
              "If you proceed with this option, the current \"Consumption Only\" setup will be "
              "re-configured for \"Net Metering\"." +
              kCleared},
    {'N', kChange +
              "If you proceed with this option, the current \"Net Metering\" setup will be re-configured as "
              "a \"Consumption only\" system." +
              kCleared},
    {'w',
     "Warning! If activating this option, it is recomended to backup your current database and reset all "
     "devices to zero.\n\nAre you sure you wish to continue?"},
    {'d', "Are you sure you want to delete the virtual channel and all of its records?"},
};

class VirtualCommands : public CommandTest {
protected:
    VirtualCommands() {
        Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
        program_ = &Start();
    }

    Reply Run(const QString& line) { return CommandTest::Run(*program_, line); }
    /// The names of the virtual device in the database; none where it has no row.
    [[nodiscard]] std::vector<std::string> Labels() const {
        return Rows(program_->database.databasePath(),
                    "SELECT ch1alias, ch2alias, aux1alias, aux2alias, aux3alias, aux4alias, aux5alias FROM "
                    "applicationinfo WHERE deviceaddress = '999999'");
    }

    void Send(const MonitorState& state) { program_->measurement.DisplayData(0, PacketOf(state)); }

    Program* program_;
};

TEST_F(VirtualCommands, TheVirtualDeviceIsMadeChangedAndDeletedAsAnswered) {
    EXPECT_EQ(Run(u"virtual create"_s).outcome.Error(),
              u"No Device and Device Channel has been selected. Make selection and try again"_s);
    ASSERT_TRUE(Run(u"group set main A:CH1"_s).outcome);
    const struct {
        const char* command;
        const char* answers;    ///< "y" or "n" for each question
        const char* questions;  ///< by their first letters below
        bool net, exists;
        std::vector<std::string> labels;
    } steps[] = {
        {"virtual create", "n", "c", false, false, {}},
        {"virtual create", "y", "c", false, true, kConsumptionLabels},
        {"installation consumption", "", "", false, true, kConsumptionLabels},
        {"installation net", "n", "n", false, true, kConsumptionLabels},
        {"installation net", "yn", "nw", false, true, kConsumptionLabels},
        {"installation net", "yy", "nw", true, true, kNetLabels},
        {"virtual delete", "n", "d", true, true, kNetLabels},
        {"virtual delete", "y", "d", true, false, {}},
        {"virtual create", "y", "C", true, true, kNetLabels},
        {"installation consumption", "y", "N", false, true, kConsumptionLabels},
    };
    for (const auto& step : steps) {
        for (const char* answer = step.answers; *answer != '\0'; ++answer)
            operator_.WillAnswer("", *answer == 'y' ? Answer::Yes : Answer::No);
        const std::size_t before = operator_.Questions().size();
        const Reply reply = Run(QString::fromLatin1(step.command));
        EXPECT_TRUE(reply.outcome) << step.command << ": " << reply.outcome.Error().toStdString();
        EXPECT_EQ(reply.data[u"installation"_s].toString(), step.net ? u"net"_s : u"consumption"_s);
        EXPECT_EQ(reply.data[u"virtualDevice"_s].toBool(), step.exists);
        EXPECT_EQ(Labels(), step.labels) << step.command;
        const std::string expected = step.questions;
        ASSERT_EQ(operator_.Questions().size(), before + expected.size()) << step.command;
        for (std::size_t i = 0; i < expected.size(); ++i)
            EXPECT_EQ(operator_.Questions()[before + i].text.toStdString(), kQuestions.at(expected[i]));
    }
    EXPECT_EQ(
        operator_.Messages(),
        (std::vector<std::string>{"Your solar generated power will be plotted as a positive amount in the "
                                  "dashboard. If you would like to change this option, you must do it now "
                                  "during the setup."}));
    EXPECT_TRUE(program_->database.Run("UPDATE applications SET totalpanelchannel = 'CH1'").Ok());
    EXPECT_EQ(Run(u"groups"_s).lines.join(u'\n').toStdString(),
              "Main Panel: A:CH1\nSOLAR/WIND INVERTER CHANNELS: None\nVirtual Channel 1: None\n"
              "Virtual Channel 2: None\nVirtual Channel 3: None\nOTHER (Un-monitored Loads): None\n"
              "Main panel by the database: CH1\nInstallation Type: Standard Residential Monitoring Setup\n"
              "The virtual device 999999 is recorded.");
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
    for (const char* wrong :
         {"pulse set G AUX1 2 hour 0.5", "pulse set A AUX1 2 hour", "pulse enable A now", "pulse count A",
          "pulse set A CH1 0 hour 1", "pulse set A AUX5 0 hour 1", "pulse set A AUX1 4 hour 1",
          "pulse set A AUX1 0 day 1", "pulse set A AUX1 0 hour 0", "pulse set A AUX1 0 hour 1e99",
          "virtual make", "installation gross", "group set mains A:CH1", "group clear main A:CH1",
          "group set main A:CH9"})
        EXPECT_FALSE(Run(QString::fromLatin1(wrong)).outcome) << wrong;

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
