// The program itself: its options, what it sends, and how it ends.
#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "expected_packets.h"
#include "listener.h"
#include "sim/sim_options.h"
#include "sim/simulated_monitor.h"
#include "support/loopback.h"
#include "support/pty.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kPatience = 10'000;  // ms

QStringList CommandLine(const char* options) {
    return (u"corvane-sim "_s + QLatin1StringView(options)).split(u' ', Qt::SkipEmptyParts);
}

TEST(SimOptions, SaysWhatIsWrong) {
    struct {
        const char* arguments;
        const char* told;
    } const cases[] = {
        {"", "one of --connect HOST:PORT, --listen PORT"},
        {"--listen 1 --connect a:1", "one of --connect HOST:PORT, --listen PORT"},
        {"--listen 1 --pty a", "one of --connect HOST:PORT, --listen PORT"},
        {"--pty a --port b", "one of --connect HOST:PORT, --listen PORT"},
        {"--pty=", "--pty : expected a path"},
        {"--port=", "--port : expected a path"},
        {"--port a --baud 1199", "1200 to 115200"},
        {"--port a --baud 115201", "1200 to 115200"},
        {"--listen 1 --baud 9600", "--baud 9600: goes with --port"},
        {"--listen 65536", "--listen 65536"},
        {"--connect host", "--connect host"},
        {"--connect :1", "--connect :1"},
        {"--connect a:0", "--connect a:0"},
        {"--connect a:b", "--connect a:b"},
        {"--listen 1 --model VRQ-5811", "--model VRQ-5811"},
        {"--listen 1 --serial 01234", "--serial 01234"},
        {"--listen 1 --interval 0", "1 to 255"},
        {"--listen 1 --interval 256", "1 to 255"},
        {"--listen 1 --interval 1.5", "1 to 255"},
        {"--listen 1 --speed 0", "--speed 0"},
        {"--listen 1 --speed nan", "--speed nan"},
        {"--listen 1 --scenario calm", "--scenario calm"},
        {"--listen 1 --start 24:00", "--start 24:00"},
        {"--listen 1 --seed -1", "--seed -1"},
        {"--listen 1 --count x", "--count x"},
        {"--listen 1 --fault lose-ack-0", "--fault lose-ack-0"},
        {"--listen 1 --fault late --fault deaf", "--fault deaf"},
        {"--listen 1 --pace 3", "pace"},
        {"--listen 1 more", "'more'"},
        {"--listen", "--listen"},
    };
    for (const auto& c : cases) {
        const auto parsed = ParseSimOptions(CommandLine(c.arguments));
        const auto* exit = std::get_if<SimOptionsExit>(&parsed);
        ASSERT_NE(exit, nullptr) << c.arguments;
        EXPECT_EQ(exit->code, 64) << c.arguments;
        EXPECT_TRUE(exit->text.contains(QLatin1StringView(c.told))) << qPrintable(exit->text);
    }
}

TEST(SimOptions, AreTakenAsGiven) {
    const auto parsed = ParseSimOptions(
        CommandLine("--model VRQ-5806 --serial 25565535 --connect ::1:8000 --interval 10 --speed 40"
                    " --scenario wrap --start 13:30 --seed 4294967295 --count 12"));
    ASSERT_TRUE(std::holds_alternative<SimOptions>(parsed));
    const auto& options = std::get<SimOptions>(parsed);
    EXPECT_EQ(options.monitor.model, &kTwoChannel);
    EXPECT_EQ(options.monitor.serial.unitId, 255);
    EXPECT_EQ(options.monitor.serial.number, 65535);
    ASSERT_TRUE(std::holds_alternative<ConnectTo>(options.line));
    EXPECT_EQ(std::get<ConnectTo>(options.line).host, u"::1"_s);
    EXPECT_EQ(std::get<ConnectTo>(options.line).port, 8000);
    EXPECT_EQ(options.monitor.interval, 10);
    EXPECT_EQ(options.pace.pause, 250);
    EXPECT_EQ(options.monitor.scenario->name, "wrap");
    EXPECT_EQ(options.monitor.startSecondOfDay, 13 * 3600 + 30 * 60);
    EXPECT_EQ(options.monitor.seed, 4294967295U);
    EXPECT_EQ(options.pace.count, 12U);
}

TEST(SimOptions, ASerialPortHasTheMonitorsOwnSpeedUnlessTold) {
    for (const auto& [arguments, baud] :
         {std::pair("--port /dev/ttyS0", 19200), {"--baud 115200 --port /dev/ttyS0", 115200}}) {
        const auto parsed = ParseSimOptions(CommandLine(arguments));
        ASSERT_TRUE(std::holds_alternative<SimOptions>(parsed)) << arguments;
        const OpenPort& port = std::get<OpenPort>(std::get<SimOptions>(parsed).line);
        EXPECT_EQ(port.device, u"/dev/ttyS0"_s);
        EXPECT_EQ(port.baud, baud);
    }
}

/// Ends the program, should a test leave it running.
class Program : public QProcess {
public:
    explicit Program(const QStringList& arguments) { start(QStringLiteral(CORVANE_SIM_PROGRAM), arguments); }
    ~Program() override {
        kill();
        waitForFinished(kPatience);
    }
};

QByteArray ReadToEnd(QTcpSocket& socket) {
    while (socket.state() == QAbstractSocket::ConnectedState && socket.waitForReadyRead(kPatience)) {
    }
    return socket.readAll();
}

QByteArray NoisyPackets(int count) {
    return PacketsOf({.scenario = FindScenario("noise"), .seed = 5}, count);
}

/// The options for the same packets: the monitor's other defaults are the program's, too.
QStringList Noisy(int count) {
    return u"--serial 100001 --scenario noise --seed 5 --speed 1e9 --count %1"_s.arg(count).split(u' ');
}

TEST(SimProgram, ConnectsSendsAllAndEnds) {
    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    Program program(Noisy(20'000) << u"--connect"_s << u"127.0.0.1:%1"_s.arg(server.serverPort()));
    ASSERT_TRUE(server.waitForNewConnection(kPatience));
    const std::unique_ptr<QTcpSocket> socket(server.nextPendingConnection());
    EXPECT_TRUE(ReadToEnd(*socket) == NoisyPackets(20'000));
    ASSERT_TRUE(program.waitForFinished(kPatience));
    EXPECT_EQ(program.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_EQ(program.readAllStandardError(), QByteArray());
}

TEST(SimProgram, ListensOnThePortItTells) {
    Program program(Noisy(20'000) << u"--listen"_s << u"0"_s);
    ASSERT_TRUE(program.waitForReadyRead(kPatience));
    const QByteArray line = program.readLine().trimmed();
    ASSERT_TRUE(line.startsWith("Listening on port ")) << line.constData();
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, line.split(' ').last().toUShort());
    ASSERT_TRUE(socket.waitForConnected(kPatience));
    EXPECT_TRUE(ReadToEnd(socket) == NoisyPackets(20'000));
    ASSERT_TRUE(program.waitForFinished(kPatience));
    EXPECT_EQ(program.exitCode(), 0);
}

TEST(SimProgram, EndsWithTextAndCode) {
    QTcpServer holder;
    ASSERT_TRUE(holder.listen(QHostAddress::Any));
    const TempFolder folder;
    struct {
        QStringList arguments;
        int code;
        bool onStdout;
        const char* text;
    } const cases[] = {
        {{u"--help"_s}, 0, true, "--scenario"},
        {{u"--version"_s}, 0, true, "corvane-sim "},
        {{u"--speed"_s, u"-1"_s}, 64, false, "--speed -1"},
        {{u"--listen"_s, QString::number(holder.serverPort())}, 70, false, "Cannot listen on port"},
        {{u"--pty"_s, folder.Path()}, 70, false, "Cannot make the link"},
        {{u"--port"_s, folder.Path(u"port"_s)}, 70, false, "Cannot open "},
    };
    for (const auto& c : cases) {
        Program program(c.arguments);
        ASSERT_TRUE(program.waitForFinished(kPatience)) << c.text;
        EXPECT_EQ(program.exitCode(), c.code) << c.text;
        const QByteArray told = program.readAllStandardOutput();
        const QByteArray complained = program.readAllStandardError();
        EXPECT_TRUE((c.onStdout ? told : complained).contains(c.text)) << c.text;
        EXPECT_TRUE((c.onStdout ? complained : told).isEmpty()) << c.text;
    }
}

TEST(SimProgram, ASignalEndsItWhileItSendsFlatOut) {
    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    Program program({u"--speed"_s, u"1e9"_s, u"--connect"_s, u"127.0.0.1:%1"_s.arg(server.serverPort())});
    ASSERT_TRUE(server.waitForNewConnection(kPatience));
    const std::unique_ptr<QTcpSocket> socket(server.nextPendingConnection());
    ASSERT_TRUE(socket->waitForReadyRead(kPatience));
    program.terminate();
    ASSERT_TRUE(program.waitForFinished(kPatience));
    EXPECT_EQ(program.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(program.exitCode(), 0);
}

/// Starts a program that makes a terminal, and waits until it is there.
class PtyProgram : public Program {
public:
    PtyProgram(const QString& link, const QStringList& arguments)
        : Program(arguments + QStringList{u"--pty"_s, link}) {
        EXPECT_TRUE(waitForReadyRead(kPatience));
        EXPECT_EQ(readLine().trimmed(), "Pseudo terminal at " + link.toUtf8());
    }
};

TEST(SimProgram, SendsAPtyListenerAllAndRemovesTheLink) {
    const TempFolder folder;
    const QString link = folder.Path(u"meter"_s);
    PtyProgram program(link, Noisy(20'000));
    Listener listener(link);
    QByteArray bytes;
    while (listener.WaitForBytes(kPatience))
        bytes += listener.Read(4096);
    EXPECT_TRUE(bytes == NoisyPackets(20'000)) << bytes.size();
    ASSERT_TRUE(program.waitForFinished(kPatience));
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_EQ(program.readAllStandardError(), QByteArray());
    EXPECT_TRUE(folder.Entries().empty());
}

TEST(SimProgram, RemovesThePtyLinkWhenASignalEndsIt) {
    for (const int signal : {SIGTERM, SIGINT}) {
        const TempFolder folder;
        const QString link = folder.Path(u"meter"_s);
        PtyProgram program(link, {});
        EXPECT_EQ(folder.Entries(), std::vector<std::string>{"meter"});
        ASSERT_EQ(kill(static_cast<pid_t>(program.processId()), signal), 0);
        ASSERT_TRUE(program.waitForFinished(kPatience));
        EXPECT_EQ(program.exitStatus(), QProcess::NormalExit) << signal;
        EXPECT_EQ(program.exitCode(), 0) << signal;
        EXPECT_TRUE(folder.Entries().empty()) << signal;
    }
}

TEST(SimProgram, SendsOutOfASerialPort) {
    Pty pty;
    Program program(Noisy(2000) << u"--port"_s << pty.Path());
    const QByteArray expected = NoisyPackets(2000);
    EXPECT_TRUE(SpinUntil([&] { return pty.Received().size() >= expected.size(); }));
    EXPECT_TRUE(pty.Received() == expected) << pty.Received().size();
    ASSERT_TRUE(program.waitForFinished(kPatience));
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_EQ(program.readAllStandardError(), QByteArray());
}

TEST(SimProgram, EndsWhenItsSerialPortIsGone) {
    Pty pty;
    Program program({u"--speed"_s, u"100"_s, u"--port"_s, pty.Path()});
    ASSERT_TRUE(SpinUntil([&] { return !pty.Received().isEmpty(); }));
    pty.HangUp();
    ASSERT_TRUE(program.waitForFinished(kPatience));
    EXPECT_EQ(program.exitCode(), 70);
    const QByteArray told = program.readAllStandardError();
    EXPECT_TRUE(told.contains(" is gone: ")) << told.constData();
    EXPECT_EQ(told.count('\n'), 1);
}

}  // namespace
}  // namespace corvane
