// The program itself: its options, what it sends, and how it ends.
#include <QFileInfo>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <string>
#include <utility>
#include <variant>

#include "expected_packets.h"
#include "sim/sim_options.h"
#include "support/data_lines.h"
#include "support/loopback.h"
#include "support/pty.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kPatience = 10'000;  // ms

struct LineText {
    QString operator()(const ConnectTo& to) const { return u"connect %1 %2"_s.arg(to.host).arg(to.port); }
    QString operator()(const ListenOn& on) const { return u"listen %1"_s.arg(on.port); }
    QString operator()(const LinkPty& pty) const { return u"pty "_s + pty.link; }
    QString operator()(const OpenPort& port) const { return u"port %1 %2"_s.arg(port.device).arg(port.baud); }
};

/// What became of the options, as `program_test.txt` writes it.
QString TextOf(const std::variant<SimOptions, SimOptionsExit>& parsed) {
    if (const auto* exit = std::get_if<SimOptionsExit>(&parsed)) {
        EXPECT_EQ(exit->code, 64);
        return exit->text.section(u"\nTry --help."_s, 0, 0);
    }
    const auto& [monitor, faults, line, pace] = std::get<SimOptions>(parsed);
    QString faultText = u"lose %1"_s.arg(faults.loseAcknowledgement);
    for (const auto& [on, name] : {std::pair(faults.shortBlock, " short"),
                                   {faults.late, " late"},
                                   {faults.garbled, " garbled"},
                                   {faults.halves, " halves"},
                                   {faults.mute, " mute"},
                                   {faults.busy, " busy"},
                                   {monitor.commandByte == 255, " at 255"}})
        faultText += QLatin1StringView(on ? name : "");
    return u"%1 %2/%3 %4 s %5@%6 seed %7 %8 ms x %9 "_s.arg(QString::fromUtf8(monitor.model->name))
               .arg(monitor.serial.unitId)
               .arg(monitor.serial.number)
               .arg(monitor.interval)
               .arg(QString::fromUtf8(monitor.scenario->name))
               .arg(monitor.startSecondOfDay)
               .arg(monitor.seed)
               .arg(pace.pause)
               .arg(pace.count) +
           faultText + u' ' + std::visit(LineText(), line);
}

TEST(SimOptions, AreTakenAsGivenOrRefused) {
    SimOptions defaults;
    defaults.line = ListenOn();
    EXPECT_EQ(TextOf(defaults), LinesOf("Options")[0].right);
    for (const DataLine& line : LinesOf("Options")) {
        const QString options = u"corvane-sim "_s + line.left;
        const QString text = TextOf(ParseSimOptions(options.split(u' ', Qt::SkipEmptyParts)));
        EXPECT_EQ(text.toStdString(), line.right.toStdString()) << line;
    }
}

class Program : public QProcess {
public:
    explicit Program(const QString& options) {
        start(QStringLiteral(CORVANE_SIM_PROGRAM), options.split(u' ', Qt::SkipEmptyParts));
    }
    /// Ends it, should a test leave it running.
    ~Program() override {
        kill();
        waitForFinished(kPatience);
    }

    /// A line that it says while it runs.
    QString Line() {
        return waitForReadyRead(kPatience) ? QString::fromUtf8(readLine()).trimmed() : QString();
    }

    /// Its code, and what it said since on stdout and, behind a bar, on stderr.
    std::string End() {
        if ((state() != NotRunning && !waitForFinished(kPatience)) || exitStatus() != NormalExit)
            return "no end of its own";
        return std::to_string(exitCode()) + " " + readAllStandardOutput().toStdString() + "|" +
               readAllStandardError().toStdString();
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
const QString kNoisy = u"--serial 100001 --scenario noise --seed 5 --speed 1e9 --count 20000 "_s;

TEST(SimProgram, ListensOnThePortItTells) {
    Program program(kNoisy + u"--listen 0"_s);
    const QString line = program.Line();
    ASSERT_TRUE(line.startsWith(u"Listening on port "_s)) << line.toStdString();
    FarEnd peer(line.section(u' ', -1).toUShort());
    EXPECT_TRUE(ReadToEnd(peer.Socket()) == NoisyPackets(20'000));
    EXPECT_EQ(program.End(), "0 |");
}

TEST(SimProgram, SendsAListenerAtItsTerminalAllAndRemovesTheLink) {
    const TempFolder folder;
    const QString link = folder.Path(u"meter"_s);
    Program program(kNoisy + u"--pty "_s + link);
    EXPECT_EQ(program.Line(), u"Pseudo terminal at "_s + link);
    Listener listener(link);
    QByteArray bytes;
    while (listener.WaitForBytes(kPatience))
        bytes += listener.Read(4096);
    EXPECT_TRUE(bytes == NoisyPackets(20'000)) << bytes.size();
    EXPECT_EQ(program.End(), "0 |");
    EXPECT_FALSE(QFileInfo(link).isSymLink());
}

TEST(SimProgram, SendsOutOfASerialPortAndEndsWhenThatIsGone) {
    Pty pty;
    Program program(kNoisy + u"--count 2000 --port "_s + pty.Path());
    const QByteArray expected = NoisyPackets(2000);
    EXPECT_TRUE(SpinUntil([&] { return pty.Received().size() >= expected.size(); }));
    EXPECT_TRUE(pty.Received() == expected) << pty.Received().size();
    EXPECT_EQ(program.End(), "0 |");

    Program endless(u"--speed 100 --port "_s + pty.Path());
    ASSERT_TRUE(SpinUntil([&] { return pty.Received().size() > expected.size(); }));
    pty.HangUp();
    const std::string end = endless.End();
    EXPECT_TRUE(end.starts_with("70 |" + pty.Path().toStdString() + " is gone: ")) << end;
    EXPECT_EQ(std::ranges::count(end, '\n'), 1) << end;
}

TEST(SimProgram, EndsWithTextAndCode) {
    QTcpServer holder;
    ASSERT_TRUE(holder.listen(QHostAddress::Any));
    const TempFolder folder;
    const std::pair<QString, const char*> cases[] = {
        {u"--help"_s, "0 Usage: "},
        {u"--version"_s, "0 corvane-sim "},
        {u"--speed -1"_s, "64 |--speed -1: "},
        {u"--listen %1"_s.arg(holder.serverPort()), "70 |Cannot listen on port "},
        {u"--pty "_s + folder.Path(), "70 |Cannot make the link "},
        {u"--port "_s + folder.Path(u"port"_s), "70 |Cannot open "},
    };
    for (const auto& [options, expected] : cases) {
        const std::string end = Program(options).End();
        EXPECT_TRUE(end.starts_with(expected)) << end;
        EXPECT_TRUE(end.ends_with('|') || end[0] != '0') << end;
    }
}

TEST(SimProgram, ASignalEndsItEvenWhileItSendsFlatOut) {
    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    const TempFolder folder;
    const QString link = folder.Path(u"meter"_s);
    for (const int signal : {SIGTERM, SIGINT}) {
        Program busy(u"--speed 1e9 --connect 127.0.0.1:%1"_s.arg(server.serverPort()));
        ASSERT_TRUE(server.waitForNewConnection(kPatience));
        const std::unique_ptr<QTcpSocket> socket(server.nextPendingConnection());
        ASSERT_TRUE(socket->waitForReadyRead(kPatience));
        Program linked(u"--pty "_s + link);
        EXPECT_EQ(linked.Line(), u"Pseudo terminal at "_s + link);
        EXPECT_TRUE(QFileInfo(link).isSymLink());
        for (Program* program : {&busy, &linked}) {
            ASSERT_EQ(kill(static_cast<pid_t>(program->processId()), signal), 0);
            EXPECT_EQ(program->End(), "0 |") << signal;
        }
        EXPECT_FALSE(QFileInfo(link).isSymLink()) << signal;
    }
}

}  // namespace
}  // namespace corvane
