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
        {"--pty=", "--pty : expected a path"},
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
    EXPECT_EQ(options.monitor.kind, &kTwoChannel);
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

// The monitor's defaults but for unit id and serial number are the same in the program.
const QString kNoisy = u"--serial 100001 --scenario noise --seed 5 --speed 1e9 --count 20000"_s;

TEST(SimProgram, ConnectsSendsAllAndEnds) {
    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    Program program(kNoisy.split(u' ') << u"--connect"_s << u"127.0.0.1:%1"_s.arg(server.serverPort()));
    ASSERT_TRUE(server.waitForNewConnection(kPatience));
    const std::unique_ptr<QTcpSocket> socket(server.nextPendingConnection());
    EXPECT_TRUE(ReadToEnd(*socket) == NoisyPackets(20'000));
    ASSERT_TRUE(program.waitForFinished(kPatience));
    EXPECT_EQ(program.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_EQ(program.readAllStandardError(), QByteArray());
}

TEST(SimProgram, ListensOnThePortItTells) {
    Program program(kNoisy.split(u' ') << u"--listen"_s << u"0"_s);
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
    PtyProgram program(link, kNoisy.split(u' '));
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

}  // namespace
}  // namespace corvane
