// The program itself: its options, what it sends, and how it ends.
#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <memory>
#include <tuple>

#include "sim/sim_options.h"
#include "sim/simulated_monitor.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kPatience = 10'000;  // ms

QStringList CommandLine(const char* options) {
    return (u"corvane-sim "_s + QLatin1StringView(options)).split(u' ', Qt::SkipEmptyParts);
}

TEST(SimOptions, SaysWhatIsWrong) {
    const std::tuple<const char*, const char*> cases[] = {
        {"", "--connect HOST:PORT or --listen PORT"},
        {"--listen 1 --connect a:1", "--connect HOST:PORT or --listen PORT"},
        {"--listen 65536", "--listen 65536"},
        {"--connect :1", "--connect :1"},
        {"--connect a:0", "--connect a:0"},
        {"--listen 1 --model VRQ-5811", "--model VRQ-5811"},
        {"--listen 1 --serial 01234", "--serial 01234"},
        {"--listen 1 --interval 0", "1 to 255"},
        {"--listen 1 --interval 256", "1 to 255"},
        {"--listen 1 --speed 0", "--speed 0"},
        {"--listen 1 --speed nan", "--speed nan"},
        {"--listen 1 --scenario calm", "--scenario calm"},
        {"--listen 1 --start 24:00", "--start 24:00"},
        {"--listen 1 --seed -1", "--seed -1"},
        {"--listen 1 --count x", "--count x"},
        {"--listen 1 --pace 3", "pace"},
        {"--listen 1 more", "'more'"},
    };
    for (const auto& [arguments, told] : cases) {
        const auto parsed = ParseSimOptions(CommandLine(arguments));
        const auto* exit = std::get_if<SimOptionsExit>(&parsed);
        ASSERT_NE(exit, nullptr) << arguments;
        EXPECT_EQ(exit->code, 64) << arguments;
        EXPECT_TRUE(exit->text.contains(QLatin1StringView(told))) << qPrintable(exit->text);
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
    EXPECT_EQ(options.host, u"::1"_s);
    EXPECT_EQ(options.port, 8000);
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

TEST(SimProgram, ConnectsOrListensSendsAllAndEnds) {
    // The monitor's defaults but for unit id and serial number are the same in the program.
    constexpr int kCount = 20'000;
    SimulatedMonitor monitor({.scenario = FindScenario("noise"), .seed = 5});
    QByteArray expected;
    for (int i = 0; i < kCount; ++i) {
        for (const std::uint8_t byte : monitor.NextPacket())
            expected.append(static_cast<char>(byte));
    }
    const QStringList options =
        u"--serial 100001 --scenario noise --seed 5 --speed 1e9 --count %1"_s.arg(kCount).split(u' ');
    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    const QString address = u"127.0.0.1:%1"_s.arg(server.serverPort());
    for (const bool connects : {true, false}) {
        Program program(
            options + (connects ? QStringList{u"--connect"_s, address} : QStringList{u"--listen"_s, u"0"_s}));
        std::unique_ptr<QTcpSocket> socket;
        if (connects) {
            ASSERT_TRUE(server.waitForNewConnection(kPatience));
            socket.reset(server.nextPendingConnection());
        } else {
            ASSERT_TRUE(program.waitForReadyRead(kPatience));
            const QByteArray line = program.readLine().trimmed();
            ASSERT_TRUE(line.startsWith("Listening on port ")) << line.constData();
            socket = std::make_unique<QTcpSocket>();
            socket->connectToHost(QHostAddress::LocalHost, line.split(' ').last().toUShort());
            ASSERT_TRUE(socket->waitForConnected(kPatience));
        }
        while (socket->state() == QAbstractSocket::ConnectedState && socket->waitForReadyRead(kPatience)) {
        }
        EXPECT_TRUE(socket->readAll() == expected);
        ASSERT_TRUE(program.waitForFinished(kPatience));
        EXPECT_EQ(program.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(program.exitCode(), 0);
        EXPECT_EQ(program.readAllStandardError(), QByteArray());
    }
}

TEST(SimProgram, EndsWithTextAndCode) {
    QTcpServer holder;
    ASSERT_TRUE(holder.listen(QHostAddress::Any));
    const std::tuple<QString, int, const char*> cases[] = {
        {u"--help"_s, 0, "--scenario"},
        {u"--version"_s, 0, "corvane-sim "},
        {u"--speed -1"_s, 64, "--speed -1"},
        {u"--listen %1"_s.arg(holder.serverPort()), 70, "Cannot listen on port"}};
    for (const auto& [arguments, code, text] : cases) {
        Program program(arguments.split(u' '));
        ASSERT_TRUE(program.waitForFinished(kPatience)) << qPrintable(arguments);
        EXPECT_EQ(program.exitCode(), code) << qPrintable(arguments);
        const QByteArray told = program.readAllStandardOutput();
        const QByteArray complained = program.readAllStandardError();
        EXPECT_TRUE((code == 0 ? told : complained).contains(text)) << text;
        EXPECT_TRUE((code == 0 ? complained : told).isEmpty()) << text;
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

}  // namespace
}  // namespace corvane
