// The metrics, as programs fetch them: their values, and what readers of both formats say of them.
#include <QProcess>

#include <gmock/gmock.h>

#include "store/channel_labels.h"
#include "web/web_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class MetricsTest : public WebTest {
protected:
    /// A packet of the two-channel monitor 301235, and of the five-channel one 301234.
    void Send(std::uint32_t seconds, int stream = 0) {
        const std::uint64_t given = 200ULL * seconds;
        program_.measurement.DisplayData(stream, PacketOf({.model = Model::TwoChannel,
                                                           .ch1Absolute = 900ULL * seconds,
                                                           .ch1Polarized = given,
                                                           .serialNumber = 1235,
                                                           .ch1Hundredths = 740,
                                                           .seconds = seconds}));
        program_.measurement.DisplayData(
            stream,
            PacketOf({.ch1Absolute = (std::uint64_t{1} << 40) - 1000, .seconds = seconds, .aux = {7}}));
    }

    /// The lines that begin so.
    [[nodiscard]] QByteArrayList Lines(const QByteArray& beginning) const {
        QByteArrayList found;
        for (const QByteArray& line : Get("/metrics").body.split('\n'))
            if (line.startsWith(beginning)) found.append(line);
        return found;
    }

    /// What the program says of the text, and whether it is content with it.
    static std::pair<int, QByteArray> JudgedBy(const QString& program, const QStringList& arguments,
                                               const QByteArray& text) {
        QProcess judge;
        judge.setProcessChannelMode(QProcess::MergedChannels);
        judge.start(program, arguments);
        judge.write(text);
        judge.closeWriteChannel();
        EXPECT_TRUE(SpinUntil([&] { return judge.state() == QProcess::NotRunning; }))
            << program.toStdString();
        return {judge.exitStatus() == QProcess::NormalExit ? judge.exitCode() : -1, judge.readAll()};
    }

    Program& program_ = Start();
};

TEST_F(MetricsTest, AreWhatTheMonitorsTellAndVanishWhereTheyTellNothing) {
    ASSERT_TRUE(SaveChannelText(program_.database, 1, 0, ChannelText::Label, u"My \"roof\" \\ a"_s));
    KeepByKey(program_.settings, u"Roll1A"_s, u"2"_s, u"1"_s);
    Send(100);
    clock.AdvanceSeconds(10);
    Send(110);
    const QByteArray roof = R"({monitor="301235",channel="ch1")";
    const QByteArrayList energy = {
        R"(corvane_energy_joules_total{monitor="301234",channel="ch1",direction="import"} 3298534882328)",
        R"(corvane_energy_joules_total{monitor="301234",channel="ch1",direction="export"} 0)"};
    EXPECT_EQ(Lines(R"(corvane_energy_joules_total{monitor="301234",channel="ch1")"), energy);
    EXPECT_EQ(Lines(R"(corvane_energy_joules_total{monitor="301234",channel="aux1")").size(), 1);
    EXPECT_EQ(Lines("corvane_energy_joules_total" + roof),
              QByteArrayList({"corvane_energy_joules_total" + roof + R"(,direction="import"} 77000)",
                              "corvane_energy_joules_total" + roof + R"(,direction="export"} 22000)"}));
    EXPECT_EQ(Lines("corvane_power_watts" + roof), QByteArrayList({"corvane_power_watts" + roof + "} 500"}));
    EXPECT_EQ(Lines("corvane_current_amperes" + roof),
              QByteArrayList({"corvane_current_amperes" + roof + "} 7.4"}));
    EXPECT_EQ(Lines(R"(corvane_energy_joules_total{monitor="301235",channel="aux)").size(), 0);
    EXPECT_EQ(Lines("corvane_channel_info"),
              QByteArrayList(
                  {R"(corvane_channel_info{monitor="301234",channel="ch1",label="My \"roof\" \\ a"} 1)"}));
    EXPECT_EQ(Lines("corvane_last_packet_timestamp_seconds{monitor=\"301235\"}"),
              QByteArrayList({"corvane_last_packet_timestamp_seconds{monitor=\"301235\"} " +
                              QByteArray::number(qint64{clock.Now().unixSeconds})}));

    clock.AdvanceSeconds(130);
    EXPECT_EQ(Lines("corvane_monitor_online"),
              QByteArrayList({"corvane_monitor_online{monitor=\"301234\"} 0",
                              "corvane_monitor_online{monitor=\"301235\"} 0"}));
    for (const char* gone : {"corvane_power_watts", "corvane_current_amperes", "corvane_voltage_volts"})
        EXPECT_EQ(Get("/metrics").body.indexOf(gone), -1) << gone;
    EXPECT_EQ(Lines(R"(corvane_energy_joules_total{monitor="301234",channel="ch1")"), energy);

    KeepByKey(program_.settings, u"MetricsEnable"_s, false);
    EXPECT_EQ(Get("/metrics").status, 404);
}

TEST_F(MetricsTest, PacketsAreCountedByTheirLink) {
    Bytes packet = PacketOf({.seconds = 5});
    for (const bool whole : {true, false, false}) {
        if (!whole) packet.back() = 0;  // the one checksum that is ever refused
        for (const std::uint8_t byte : packet)
            program_.framer.ProcessByte(kStreamTcpB, byte);
    }
    EXPECT_EQ(Lines("corvane_frames_total{stream=\"tcp-b\""),
              QByteArrayList({R"(corvane_frames_total{stream="tcp-b",result="good"} 1)",
                              R"(corvane_frames_total{stream="tcp-b",result="bad"} 2)"}));
    EXPECT_EQ(program_.framer.BadPackets(), 2U);
}

TEST_F(MetricsTest, TheReadersOfBothFormatsTakeThem) {
    ASSERT_TRUE(SaveChannelText(program_.database, 1, 0, ChannelText::Label, u"\"Größe\" \\"_s));
    Send(100);
    clock.AdvanceSeconds(10);
    Send(110);
    const HttpReply plain = Get("/metrics");
    EXPECT_TRUE(plain.head.contains("text/plain; version=0.0.4; charset=utf-8")) << plain.head.toStdString();
    const std::pair<int, QByteArray> content(0, "");
    EXPECT_EQ(JudgedBy(u"promtool"_s, {u"check"_s, u"metrics"_s}, plain.body), content);

    const HttpReply open =
        Get("/metrics",
            "Host: localhost\r\nAccept: application/openmetrics-text;version=1.0.0,text/plain;q=0.5\r\n");
    EXPECT_TRUE(open.head.contains("application/openmetrics-text; version=1.0.0; charset=utf-8"))
        << open.head.toStdString();
    const QString strict =
        u"import sys; from prometheus_client.openmetrics.parser import text_string_to_metric_families as "
        u"read\n"
        u"for family in read(sys.stdin.buffer.read().decode()): print(family.name, family.type, len(family.samples))"_s;
    const auto [code, families] = JudgedBy(u"/usr/bin/python3"_s, {u"-c"_s, strict}, open.body);
    EXPECT_EQ(code, 0) << families.toStdString();
    EXPECT_TRUE(families.contains("corvane_energy_joules counter 13\n")) << families.toStdString();
    EXPECT_TRUE(families.contains("corvane_channel info 1\n")) << families.toStdString();
    EXPECT_TRUE(families.contains("corvane_event_loop_delay_seconds histogram 11\n"))
        << families.toStdString();
}

}  // namespace
}  // namespace corvane
