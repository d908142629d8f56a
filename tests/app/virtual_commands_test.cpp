// Groups, the virtual device, the installation type and pulses, as a user sets them up and reads them.
#include <QJsonArray>

#include <string>
#include <vector>

#include "app/command.h"
#include "app/program_fixture.h"
#include "support/packets.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

const std::string kConsumptionLabels =
    "Main Panel Consumption|Not Used|Not Used|Other (Un-Monitored) Loads|Virtual Channel 1|Virtual Channel 2|"
    "Virtual Channel 3";
const std::string kNetLabels =
    "Main Panel NET value|Energy to the Grid|Energy from the Grid|Energy Generated|Total Energy Consumed|"
    "Virtual Channel 2|Virtual Channel 3";
constexpr const char* kConsumptionChannels =
    "Total Main Panel\nN/A\nN/A\nOther\nVirtual Channel 1\nVirtual Channel 2\nVirtual Channel 3";
constexpr const char* kNetChannels =
    "Net Energy\nEnergy To Grid\nEnergy From Grid\nEnergy Generated\nEnergy Consumed\nVirtual Channel 2\n"
    "Virtual Channel 3";

class VirtualCommands : public ProgramTest {
protected:
    VirtualCommands() {
        Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
        program_ = &Start();
    }

    Reply Run(const QString& line) {
        QStringList words = line.split(u' ');
        const Command* command = FindCommand(words.takeFirst());
        return QCoro::waitFor(command->run(*program_, words, operator_));
    }
    QString Refusal(const QString& line) { return Run(line).outcome.Error(); }

    /// The names of the virtual device in the database, or nothing where it has no row.
    [[nodiscard]] std::string Labels() const {
        const QueryResult found = program_->database.Run(
            "SELECT ch1alias, ch2alias, aux1alias, aux2alias, aux3alias, aux4alias, aux5alias FROM "
            "applicationinfo WHERE deviceaddress = '999999'");
        std::string labels;
        for (const auto& row : found.rows) {
            for (const auto& cell : row)
                labels += (labels.empty() ? "" : "|") + cell.value_or("NULL");
        }
        return labels;
    }

    void Send(const MonitorState& state) { program_->measurement.DisplayData(0, PacketOf(state)); }

    ScriptedOperator operator_;
    Program* program_;
};

TEST_F(VirtualCommands, TheVirtualDeviceIsMadeChangedAndDeletedAsAnswered) {
    EXPECT_EQ(Refusal(u"virtual create"_s),
              u"No Device and Device Channel has been selected. Make selection and try again"_s);
    ASSERT_TRUE(Run(u"group set main A:CH1"_s).outcome);
    const std::string create = "This will created a new group of seven channels representing:\n\n";
    const std::string now = "\n\nWould you like to create this new group now?";
    const std::string change = "Are you sure you wish to change the \"Installation Type\"?\n\n";
    const std::string cleared =
        "\n\nIf changing this setting, the database should be cleared which would begin the monitoring "
        "session "
        "from the start.  Do you wish to continue?";
    const std::string toNet = change +
                              "If you proceed with this option, the current \"Consumption Only\" setup will "
                              "be re-configured for \"Net "
                              "Metering\"." +
                              cleared;
    const std::string toConsumption =
        change +
        "If you proceed with this option, the current \"Net Metering\" setup will be re-configured as a "
        "\"Consumption only\" system." +
        cleared;
    const std::string warning =
        "Warning! If activating this option, it is recomended to backup your current database and reset all "
        "devices to zero.\n\nAre you sure you wish to continue?";
    const std::string remove = "Are you sure you want to delete the virtual channel and all of its records?";
    const struct {
        const char* command;
        std::vector<std::pair<std::string, Answer>> questions;
        bool net, exists;
        std::string labels;
    } steps[] = {
        {"virtual create", {{create + kConsumptionChannels + now, Answer::No}}, false, false, ""},
        {"virtual create",
         {{create + kConsumptionChannels + now, Answer::Yes}},
         false,
         true,
         kConsumptionLabels},
        {"installation consumption", {}, false, true, kConsumptionLabels},
        {"installation net", {{toNet, Answer::No}}, false, true, kConsumptionLabels},
        {"installation net", {{toNet, Answer::Yes}, {warning, Answer::No}}, false, true, kConsumptionLabels},
        {"installation net", {{toNet, Answer::Yes}, {warning, Answer::Yes}}, true, true, kNetLabels},
        {"virtual delete", {{remove, Answer::No}}, true, true, kNetLabels},
        {"virtual delete", {{remove, Answer::Yes}}, true, false, ""},
        {"virtual create", {{create + kNetChannels + now, Answer::Yes}}, true, true, kNetLabels},
        {"installation consumption", {{toConsumption, Answer::Yes}}, false, true, kConsumptionLabels},
    };
    for (const auto& step : steps) {
        for (const auto& [question, answer] : step.questions)
            operator_.WillAnswer(question, answer);
        const Reply reply = Run(QString::fromLatin1(step.command));
        EXPECT_TRUE(reply.outcome) << step.command << ": " << reply.outcome.Error().toStdString();
        EXPECT_EQ(reply.data[u"installation"_s].toString(), step.net ? u"net"_s : u"consumption"_s);
        EXPECT_EQ(reply.data[u"virtualDevice"_s].toBool(), step.exists);
        EXPECT_EQ(Labels(), step.labels) << step.command;
    }
    EXPECT_EQ(
        operator_.Messages(),
        (std::vector<std::string>{"Your solar generated power will be plotted as a positive amount in the "
                                  "dashboard. If you would like to change this option, you must do it now "
                                  "during the setup."}));
    for (const char* wrong : {"virtual make", "installation gross", "group set mains A:CH1", "group set main",
                              "group clear main A:CH1", "group set main A:CH9"})
        EXPECT_FALSE(Run(QString::fromLatin1(wrong)).outcome) << wrong;
    EXPECT_TRUE(program_->database.Run("UPDATE applications SET totalpanelchannel = 'CH1'").Ok());
    EXPECT_EQ(
        Run(u"groups"_s).lines,
        (QStringList{u"Main Panel: A:CH1"_s, u"SOLAR/WIND INVERTER CHANNELS: None"_s,
                     u"Virtual Channel 1: None"_s, u"Virtual Channel 2: None"_s, u"Virtual Channel 3: None"_s,
                     u"OTHER (Un-monitored Loads): None"_s, u"Main panel by the database: CH1"_s,
                     u"Installation Type: Standard Residential Monitoring Setup"_s,
                     u"The virtual device 999999 is recorded."_s}));
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
    EXPECT_EQ(Refusal(u"virtual create"_s),
              u"The database could not be told the names of the virtual channels: no"_s);
    EXPECT_FALSE(program_->virtualDevice.Exists());
    ASSERT_TRUE(other.GetTable("BEGIN EXCLUSIVE").Ok());
    operator_.WillAnswer("This will created", Answer::Yes);
    EXPECT_FALSE(Run(u"virtual create"_s).outcome);
    EXPECT_EQ(operator_.Messages(), (std::vector<std::string>{"database is locked"}));
    EXPECT_FALSE(program_->virtualDevice.Exists());
    operator_.WillAnswer("Are you sure you want to delete", Answer::Yes);
    EXPECT_EQ(Refusal(u"virtual delete"_s), u"database is locked"_s);
}

TEST_F(VirtualCommands, ReadingsTellTheSumsAndTheFlow) {
    EXPECT_TRUE(Run(u"readings"_s).data[u"virtual"_s].isNull());
    EXPECT_EQ(Run(u"group set main a:ch1"_s).lines, QStringList{u"Main Panel: A:CH1"_s});
    EXPECT_EQ(Run(u"group set generator A:CH2"_s).lines,
              QStringList{u"SOLAR/WIND INVERTER CHANNELS: A:CH2"_s});
    ASSERT_TRUE(Run(u"group set virtual3 A:AUX5"_s).outcome);
    ASSERT_TRUE(Run(u"group set other A:AUX4 B:AUX4"_s).outcome);
    EXPECT_EQ(Run(u"pulse set A AUX1 2 hour 0.5"_s).lines,
              (QStringList{u"Device A: pulses on AUX1 are not counted"_s,
                           u"One Pulse Equals: 0.5 Gals, rate in GPH"_s}));
    operator_.WillAnswer("enable pulse counting", Answer::Yes);
    EXPECT_EQ(Run(u"pulse enable A"_s).lines.first(), u"Device A: pulses on AUX1 are counted"_s);
    program_->settings.SaveSetting(u"NETmeter"_s, true);
    Send({.ch1Absolute = 7'200'000, .ch1Polarized = 1'800'000, .seconds = 100, .aux = {10, 0, 0, 1000}});
    Send({.ch1Absolute = 7'210'000,
          .ch2Absolute = 20'000,
          .ch1Polarized = 1'807'000,
          .ch1Hundredths = 420,
          .seconds = 110,
          .aux = {12, 0, 0, 4000, 500}});
    EXPECT_EQ(Run(u"pulse preset A 100"_s).lines.last(), u"Flow 360.00 GPH, 100.00 Gals"_s);
    EXPECT_EQ(Refusal(u"pulse preset A abc"_s), u"You must use a numeric value"_s);
    for (const char* wrong :
         {"pulse set G AUX1 2 hour 0.5", "pulse set A AUX1 2 hour", "pulse enable A now", "pulse count A"})
        EXPECT_FALSE(Run(QString::fromLatin1(wrong)).outcome) << wrong;

    const Reply reply = Run(u"readings"_s);
    EXPECT_EQ(
        reply.data[u"devices"_s].toArray()[0].toObject()[u"pulse"_s].toObject(),
        (QJsonObject{
            {u"rate"_s, 360}, {u"rateUnit"_s, u"GPH"_s}, {u"total"_s, 100}, {u"totalUnit"_s, u"Gals"_s}}));
    const auto channel = [](double power, double kwh) {
        return QJsonObject{{u"power"_s, power}, {u"kwh"_s, kwh}};
    };
    EXPECT_EQ(
        reply.data[u"virtual"_s].toObject(),
        (QJsonObject{{u"mainPower"_s, 1000},
                     {u"mainAmps"_s, 4.2},
                     {u"netPower"_s, -400},
                     {u"netKwh"_s, 3'596'000 / 3.6e6},
                     {u"powerGen"_s, 2000},
                     {u"kwhGen"_s, 20'000 / 3.6e6},
                     {u"powerUsed"_s, 1600},
                     {u"kwhUsed"_s, 3'616'000 / 3.6e6},
                     {u"powerBought"_s, 0},
                     {u"powerSold"_s, 400},
                     {u"kwhBought"_s, 5'403'000 / 3.6e6},
                     {u"kwhSold"_s, 1'807'000 / 3.6e6},
                     {u"other"_s, 700},
                     {u"otherKwh"_s, 7'206'000 / 3.6e6},
                     {u"channels"_s, QJsonArray{channel(0, 0), channel(0, 0), channel(50, 500 / 3.6e6)}},
                     {u"missing"_s, QJsonArray{u"B"_s}}}));
    EXPECT_TRUE(reply.lines.contains(u"Device A  Flow 360.00 GPH, 100.00 Gals"_s));
    EXPECT_TRUE(reply.lines.contains(u"Sending Power to the Grid  -400 W"_s));

    for (const QString& group : {u"main"_s, u"generator"_s, u"virtual3"_s, u"other"_s})
        EXPECT_TRUE(Run(u"group clear "_s + group).outcome);
    EXPECT_TRUE(Run(u"readings"_s).data[u"virtual"_s].isNull());
}

}  // namespace
}  // namespace corvane
