// The commands of the outputs: what they change and what they answer.
#include <QTcpServer>

#include "app/made_up_output.h"
#include "remote/command_fixture.h"
#include "support/data_lines.h"
#include "support/packets.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class ForwardCommandsTest : public CommandTest {
protected:
    void Built(Program& program) override {
        if (!withDisplay_) return;
        auto display = std::make_unique<MadeUpOutput>(program.settings);
        display_ = display.get();
        program.AddOutput(std::move(display));
    }

    bool withDisplay_ = false;
    MadeUpOutput* display_ = nullptr;
};

TEST_F(ForwardCommandsTest, EachWordChangesItsSettingAndIsAnsweredByIt) {
    Program& program = Start();
    QTcpServer holder;
    ASSERT_TRUE(holder.listen());
    const QString held = QString::number(holder.serverPort());
    const QString free = QString::number(FreePort());
    KeepByKey(program.settings, u"TcpPortHA"_s, held);  // by hand, or before another program took it
    for (const DataLine& line : LinesOf("Commands")) {
        const auto filled = [&](QString text) {
            return text.replace(u"%held"_s, held).replace(u"%free"_s, free);
        };
        const QString told = QString::fromStdString(Ask(program, filled(line.left)));
        EXPECT_TRUE(told.split(u'\n').join(u" / "_s).startsWith(filled(line.right)))
            << line << "\nbut told: " << told.toStdString();
    }
    operator_.WillEnter("title: ", u"Home"_s);
    EXPECT_TRUE(Ask(program, u"feed set title"_s).starts_with("PacTitle = Home\n"));
}

TEST_F(ForwardCommandsTest, TheStatusTellsOfAllOutputsInTheirOrder) {
    Program& program = Start();
    Ask(program, u"forward set client address 192.168.1.10"_s);
    Ask(program, u"forward set client port 7000"_s);
    Ask(program, u"feed assign 3 B:AUX1"_s);
    EXPECT_EQ(Ask(program, u"forward status"_s),
              "Listening Server: off, text, Socket Closed, Disconnected\n"
              "TCP Server B: off, text, Socket Closed, Disconnected\n"
              "Client: off, Socket Closed\n"
              "GET upload: off, http://, layout 1, Socket Closed\n"
              "Feed: off, feed , title \"\", the key is not set\n"
              "    3 is B:AUX1");
    EXPECT_EQ(Data(),
              R"({"client":{"caption":"Connect","enabled":false,"host":"","notice":"","port":"7000",)"
              R"("state":0,"stateText":"Socket Closed"},)"
              R"("feed":{"datastreams":[{"channel":"B:AUX1","id":3}],"enabled":false,"feed":"",)"
              R"("keySet":false,"log":[],"title":""},)"
              R"("get":{"enabled":false,"host":"","layout":"1","log":[],"path":"","state":0},)"
              R"("servers":[{"caption":"Listen","enabled":false,"mode":"text","name":"Listening Server",)"
              R"("notice":"Disconnected","port":0,"state":0,"stateText":"Socket Closed"},)"
              R"({"caption":"Listen","enabled":false,"mode":"text","name":"TCP Server B",)"
              R"("notice":"Disconnected","port":0,"state":0,"stateText":"Socket Closed"}]})");
}

TEST_F(ForwardCommandsTest, AnOutputThatIsOnTheListNeedsNothingElse) {
    withDisplay_ = true;
    Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
    Program& program = Start();
    EXPECT_EQ(display_->started, 1);
    program.measurement.DisplayData(kStreamTcpA, PacketOf({.serialNumber = 1234}));
    EXPECT_EQ(display_->shown, 1);

    EXPECT_EQ(Ask(program, u"forward set wall on"_s), "WallDisplayEnable = True");
    EXPECT_EQ(Ask(program, u"forward set wall brightness 10"_s),
              "WallDisplayBrightness is a whole number from 1 to 9.");
    EXPECT_EQ(Ask(program, u"set WallDisplayBrightness 9"_s), "WallDisplayBrightness = 9");
    EXPECT_EQ(Ask(program, u"forward set wall pin 4711"_s), "WallDisplayPin = (not shown)");
    operator_.WillEnter("pin: ", u"4712"_s);
    EXPECT_EQ(Ask(program, u"forward set wall pin"_s), "WallDisplayPin = (not shown)");
    EXPECT_EQ(program.settings.Value(kDisplayPin), u"4712"_s) << "typed where no history of a shell keeps it";
    EXPECT_TRUE(Ask(program, u"forward set wall mirror"_s)
                    .ends_with("For wall: on, off, brightness NUMBER, pin PIN."));
    display_->Flash();
    EXPECT_TRUE(Ask(program, u"forward status"_s).ends_with("\nWall Display: on\n    on\n    off"));
    EXPECT_EQ(QJsonDocument(data_[u"wall"_s].toObject()).toJson(QJsonDocument::Compact).toStdString(),
              R"({"brightness":"9","enabled":true,"log":["on\r\noff\r\n"]})");

    QCoro::waitFor(program.Close(operator_));
    EXPECT_EQ(display_->closed, 1);
}

TEST_F(ForwardCommandsTest, APortThatBothServersHaveIsThatOfB) {
    for (const QString& key : {u"ServerEnable"_s, u"HAServerEnable"_s})
        Preset(key, u"True"_s);
    const QString port = QString::number(FreePort());
    for (const QString& key : {u"TcpPortHA"_s, u"HAserverPort"_s})
        Preset(key, port);
    Program& program = Start();
    EXPECT_EQ(program.forwarding.serverB.State(), SocketState::Listening);
    EXPECT_EQ(program.forwarding.listeningServer.State(), SocketState::Error);
    QCoro::waitFor(program.Close(operator_));
    EXPECT_EQ(program.forwarding.serverB.State(), SocketState::Closed);
}

}  // namespace
}  // namespace corvane
