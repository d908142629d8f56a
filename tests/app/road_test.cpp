// The whole road of a packet inside one program: from a gateway's socket to the rows of the database.
#include <QTcpServer>
#include <QTcpSocket>

#include "app/bug_report.h"
#include "app/program_fixture.h"
#include "store/schema.h"
#include "store/settle_bursts.h"
#include "support/loopback.h"
#include "support/packets.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class Road : public ProgramTest {
protected:
    Road() { Preset(u"DevSerial"_s, u"301234"_s, u"0"_s); }

    void ConnectGateway(std::uint16_t port) {
        gateway_.connectToHost(QHostAddress::LocalHost, port);
        ASSERT_TRUE(SpinUntil([this] { return gateway_.state() == QAbstractSocket::ConnectedState; }));
    }

    void Send(Program& program, const MonitorState& state) {
        const auto before = program.framer.GoodPackets();
        const Bytes packet = PacketOf(state);
        gateway_.write(reinterpret_cast<const char*>(packet.data()), static_cast<qint64>(packet.size()));
        ASSERT_TRUE(SpinUntil([&] { return program.framer.GoodPackets() == before + 1; }));
        SettleBursts(program.dbWriter);
    }

    static void Close(Program& program) {
        ScriptedOperator op;
        QCoro::waitFor(program.Close(op));
    }

    QTcpSocket gateway_;
};

std::vector<std::vector<QueryResult::Cell>> Rows(const Program& program, const std::string& sql) {
    const QueryResult result = program.database.Run(sql);
    EXPECT_TRUE(result.Ok()) << result.errorText;
    return result.rows;
}

using Row = std::vector<QueryResult::Cell>;

TEST_F(Road, ClosingWritesWhatIsQueuedAndSaysWhatALockedDatabaseCost) {
    Program& program = Start();
    ConnectGateway(program.tcpA.LocalPort());
    MonitorState state{.ch1Absolute = 100, .seconds = 10};
    Send(program, state);
    clock.AdvanceSeconds(60);
    state.seconds = 70;

    const auto reader = program.database.Open();
    ASSERT_TRUE(reader.GetTable("BEGIN EXCLUSIVE").Ok());
    Send(program, state);
    ScriptedOperator op;
    op.WillAnswer("There are database records to be stored. Would you like to store them now?", Answer::Yes);
    const std::int64_t begun = clock.Monotonic();
    bool closed = false;
    auto closing = program.Close(op).then([&closed] { closed = true; });
    EXPECT_TRUE(SpinUntil([&] {
        clock.AdvanceSeconds(1);
        return closed;
    }));
    EXPECT_GE(clock.Monotonic() - begun, 20'000) << "not all of the patience";
    auto log = program.errorLog.Load().lines;
    // The program may still look at itself once before it is closed.
    log.removeIf([](const QString& line) { return line.contains("\tHealth\t"_L1); });
    ASSERT_EQ(log.size(), 1) << log.join(u'\n').toStdString();
    EXPECT_TRUE(log[0].contains(u"database is locked"_s)) << log[0].toStdString();
    EXPECT_TRUE(log[0].contains(u"1 record could not be written to the database and is kept in "_s))
        << log[0].toStdString();
    EXPECT_TRUE(folder.Read(u"unwritten.sql"_s).starts_with("insert into monitordata_minute("));
}

TEST_F(Road, ADatabaseLockedForMinutesDelaysRecordsAndLosesNone) {
    Program& program = Start();
    ConnectGateway(program.tcpA.LocalPort());
    constexpr int kMinutes = 5;
    MonitorState state{.ch1Absolute = 100, .seconds = 10};
    const auto aMinutePasses = [&] {
        clock.AdvanceSeconds(60);
        state.seconds += 60;
        state.ch1Absolute += 60'000;
        Send(program, state);  // sees the packet framed: the lock holds up nothing
    };
    Send(program, state);
    {
        const auto reader = program.database.Open();
        ASSERT_TRUE(reader.GetTable("BEGIN EXCLUSIVE").Ok());
        for (int i = 0; i < kMinutes; ++i)
            aMinutePasses();
        EXPECT_EQ(program.dbWriter.WriteIndicator(), DbWriter::Indicator::Yellow);
        EXPECT_EQ(program.dbWriter.LastDbMessage(), u"database is locked"_s);
        EXPECT_EQ(program.dbWriter.Pointer(), 1 + kMinutes);
    }
    aMinutePasses();
    Close(program);
    const auto rows =
        Rows(program, "SELECT count(*), count(DISTINCT date), min(ch1watt) FROM monitordata_minute");
    EXPECT_EQ(rows[0], (Row{"6", "6", "1000"}));
}

TEST_F(Road, AForwardingPortHeldByOthersDelaysPacketsAndLosesNone) {
    QTcpServer holder;
    ASSERT_TRUE(holder.listen(QHostAddress::Any));
    Preset(u"HAServerEnable"_s, u"True"_s);
    Preset(u"HAbinaryData"_s, u"True"_s);
    Preset(u"HAserverPort"_s, QString::number(holder.serverPort()));
    Program& program = Start();
    ConnectGateway(program.tcpA.LocalPort());
    QByteArray packets;
    for (const std::uint32_t seconds : {10U, 70U, 130U}) {
        const Bytes packet = PacketOf({.ch1Absolute = seconds * 1000ULL, .seconds = seconds});
        packets.append(reinterpret_cast<const char*>(packet.data()), static_cast<qsizetype>(packet.size()));
    }
    gateway_.write(packets);
    gateway_.flush();
    ASSERT_TRUE(SpinUntil([&] { return program.framer.GoodPackets() == 1; }));
    EXPECT_FALSE(program.measurement.Readings(1).Seen());
    gateway_.disconnectFromHost();
    ASSERT_TRUE(SpinUntil([&] { return program.tcpA.State() == SocketState::Closed; }));
    clock.AdvanceSeconds(7);
    EXPECT_EQ(program.framer.GoodPackets(), 1U);
    clock.AdvanceSeconds(1);
    EXPECT_EQ(program.framer.GoodPackets(), 3U);
    EXPECT_EQ(program.measurement.Readings(1).channels[0].absolute.watts, std::optional(1000));
    EXPECT_TRUE(program.errorLog.Load().lines[0].contains(u"HAWinsock3 could not reconnect"_s));
}

TEST_F(Road, APacketHeldOnClosingIsRecordedAllTheSame) {
    QTcpServer holder;
    ASSERT_TRUE(holder.listen(QHostAddress::Any));
    Preset(u"HAServerEnable"_s, u"True"_s);
    Preset(u"HAbinaryData"_s, u"True"_s);
    Preset(u"HAserverPort"_s, QString::number(holder.serverPort()));
    Program& program = Start();
    ConnectGateway(program.tcpA.LocalPort());
    Send(program, {.seconds = 10});
    Close(program);
    EXPECT_EQ(Rows(program, "SELECT DISTINCT deviceaddress FROM monitordata_hourly"),
              (std::vector<Row>{{"301234"}}));
    EXPECT_TRUE(program.errorLog.Load().lines.isEmpty());
}

TEST_F(Road, WhatWasSwitchedOnActsFromTheStartAndWithAnotherFile) {
    ScriptedOperator op;
    Program& first = Start();
    ASSERT_TRUE(CreatePowerTables(first.database, first.dbWriter, op));
    Preset(u"DisplayHex"_s, u"True"_s);
    Preset(u"AutoDelete"_s, u"True"_s);
    Program& program = Start();
    clock.AdvanceSeconds(2);
    EXPECT_TRUE(
        SpinUntil([&] { return program.settings.Kept(u"startup/LastDeleteDate"_s) == u"2026-03-02"_s; }));
    EXPECT_TRUE(SpinUntil([&] { return !program.databaseWork.Running(); }));
    auto aMinutePasses = [&, seconds = 0U]() mutable {
        clock.AdvanceSeconds(60);
        for (const std::uint8_t byte : PacketOf({.seconds = seconds += 60}))
            program.framer.ProcessByte(kStreamSerialC, byte);
        EXPECT_TRUE(QCoro::waitFor(program.dbWriter.Drain(0)));
    };
    aMinutePasses();
    aMinutePasses();
    EXPECT_FALSE(program.framer.RawText(kStreamSerialC).empty());
    const auto before = Rows(program, "SELECT * FROM minute_power").size();
    EXPECT_GE(before, 1U);

    op.WillEnter("Enter a database filename", folder.Path(u"other.db3"_s));
    op.WillAnswer("set it as the default system file", Answer::Yes);
    op.WillAnswer("Would you like to proceed?", Answer::Yes);
    EXPECT_TRUE(QCoro::waitFor(program.databaseFiles.NewDatabase(op)));
    aMinutePasses();
    EXPECT_EQ(program.dbWriter.LastDbMessage(), u""_s) << "the other file has no such tables";
    EXPECT_EQ(Rows(program, "SELECT * FROM monitordata_minute").size(), 1U);
}

TEST_F(Road, TheBugReportTellsWhatMatters) {
    Preset(u"PachubeKey"_s, u"c0ffee"_s);
    Program& program = Start();
    for (int i = 0; i <= 200; ++i)
        program.errorLog.LogError(i, u"Overflow"_s, u"CH1"_s);
    const QStringList log = program.errorLog.Load().lines;
    const QString report = BugReport(program);
    const QString links =
        u"\nPackets: 0 good, 0 bad\nDatabase: DB Buffer = -1\nTCP Server A: Listening, port %1\nTCP Server B: Listening, port %2\nSerial Connection A: Closed\nSerial Connection B: Closed\nSerial Connection C: Closed\n\nSettings\n"_s
            .arg(program.tcpA.LocalPort())
            .arg(program.tcpB.LocalPort());
    EXPECT_TRUE(report.contains(links)) << report.toStdString();
    EXPECT_TRUE(report.contains(u"\n0/DevSerial=301234\n"_s) &&
                report.contains(u"PachubeKey=(not shown)\n"_s));
    const QString end = u"\n\nStatus list\n     Pages are served at %1\n\nError log\n%2\n"_s.arg(
        program.webServer.Location(), log.sliced(1).join(u'\n'));
    EXPECT_TRUE(report.endsWith(end)) << report.toStdString();
}

TEST_F(Road, TheFirstStartAfterTheFileIsGoneScattersNoData) {
    Preset(u"DBestablished"_s, u"True"_s);
    Options options{.dataFolder = folder.Path(), .settingsFile = SettingsFile()};
    Program program(options, clock);
    ScriptedOperator op;
    op.WillAnswer("Database Not Found", Answer::Yes);
    op.WillEnter("Select Database File", std::nullopt);
    op.WillAnswer("Search or Create a new one?", Answer::No);
    const Outcome started = QCoro::waitFor(program.Start(op));
    EXPECT_TRUE(started.Error().contains(folder.Path(u"vrq1.db3"_s))) << started.Error().toStdString();
    EXPECT_FALSE(QFile::exists(folder.Path(u"vrq1.db3"_s)));
    EXPECT_EQ(program.tcpA.State(), SocketState::Closed);
}

}  // namespace
}  // namespace corvane
