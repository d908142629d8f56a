// Recorded traffic, replayed over every kind of line, must give the readings that were written down beside
// it.
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/console.h"
#include "app/program_fixture.h"
#include "support/loopback.h"
#include "support/pty.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

using Text = std::vector<std::string>;

/// Bytes that came together, on line A or B, at a second of the recording.
struct Piece {
    std::int64_t second;
    std::size_t line;
    QByteArray bytes;
};

Text ReadLines(const QString& name) {
    QFile file(QStringLiteral(CORVANE_TRAFFIC_FOLDER) + u'/' + name);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
    Text lines;
    while (!file.atEnd())
        lines.push_back(file.readLine().chopped(1).toStdString());
    return lines;
}

std::vector<Piece> ReadLog(const std::string& name) {
    std::vector<Piece> pieces;
    for (const std::string& line : ReadLines(QString::fromStdString(name + ".log"))) {
        if (line.empty() || line.front() == '#') continue;
        const QList<QByteArray> parts = QByteArray::fromStdString(line).split(' ');
        const Piece piece{parts[0].toLongLong(), parts.value(1) == "B" ? 1U : 0U,
                          QByteArray::fromHex(parts.value(2))};
        const std::string read =
            std::to_string(piece.second) + " " + "AB"[piece.line] + " " + piece.bytes.toHex().toStdString();
        EXPECT_EQ(read, line);
        EXPECT_TRUE(pieces.empty() || pieces.back().second <= piece.second) << line;
        pieces.push_back(piece);
    }
    EXPECT_FALSE(pieces.empty()) << name;
    return pieces;
}

/// The far end of a line, which sends what it is given.
using FarEndOf = std::function<void(const QByteArray&)>;
using FarEnds = std::array<FarEndOf, 2>;

FarEnds FlatOut(Program& program) {
    const auto into = [&program](int stream) -> FarEndOf {
        return [&framer = program.framer, stream](const QByteArray& bytes) {
            for (const char byte : bytes)
                framer.ProcessByte(stream, static_cast<std::uint8_t>(byte));
        };
    };
    return {into(kStreamTcpA), into(kStreamTcpB)};
}

FarEnds OverTcp(Program& program) {
    const auto to = [](const TcpLink& link) -> FarEndOf {
        return [gateway = std::make_shared<FarEnd>(link.LocalPort())](const QByteArray& bytes) {
            gateway->Send(bytes);
        };
    };
    return {to(program.tcpA), to(program.tcpB)};
}

FarEnds OverSerialPorts(Program& program) {
    const auto to = [&program](SerialLink& link, const QString& number) -> FarEndOf {
        const auto pty = std::make_shared<Pty>();
        program.settings.Save(kComDevice, pty->Path(), {.member = number});
        program.settings.Save(kComPort, number, {.member = link.Letter()});
        link.OpenCOM();
        EXPECT_TRUE(link.IsOpen());
        return [pty](const QByteArray& bytes) { pty->Send(bytes); };
    };
    return {to(program.serialA, u"33"_s), to(program.serialB, u"34"_s)};
}

struct Way {
    const char* name;
    FarEnds (*open)(Program& program);
    std::array<int, 2> streams;  ///< of line A and B
    bool later;                  ///< what is sent comes in some time afterwards
};

const Way kWays[] = {
    {"FlatOut", &FlatOut, {kStreamTcpA, kStreamTcpB}, false},
    {"OverTcp", &OverTcp, {kStreamTcpA, kStreamTcpB}, true},
    {"OverSerialPorts", &OverSerialPorts, {kStreamSerialA, kStreamSerialB}, true},
};

void PrintTo(const Way& way, std::ostream* out) {
    *out << way.name;
}

/// Notes a line per packet, as the service prints it.
class PacketLines final : public ReadingsSink {
public:
    void OnReadings(const DeviceReadings& readings) override {
        text.push_back(PacketLine(readings).toStdString());
    }
    Text text;
};

/// What the program holds at the end: the counters of its devices, each channel on a line, and its own
/// counts.
Text Summary(const Program& program) {
    Text text;
    const QJsonObject document = program.Readings();
    for (const QJsonValue device : document[u"devices"_s].toArray()) {
        text.push_back(u"Device %1 %2, %3, seconds %4, elapsed %5"_s
                           .arg(device[u"slot"_s].toString(), device[u"serial"_s].toString(),
                                device[u"model"_s].toString())
                           .arg(device[u"seconds"_s].toInt())
                           .arg(device[u"elapsed"_s].toInt())
                           .toStdString());
        for (const QJsonValue value : device[u"channels"_s].toArray()) {
            QJsonObject channel = value.toObject();
            channel.remove(u"label"_s);  // which is not of the traffic
            text.push_back("  " + QJsonDocument(channel).toJson(QJsonDocument::Compact).toStdString());
        }
    }
    std::vector<std::string> unbound;
    for (const UnboundMonitor& monitor : program.measurement.Unbound())
        unbound.push_back("bound to no device: " + monitor.serial);
    std::ranges::sort(unbound);
    std::ranges::move(unbound, std::back_inserter(text));
    text.push_back("good packets: " + std::to_string(program.framer.GoodPackets()));
    text.push_back("bad packets: " + std::to_string(program.framer.BadPackets()));
    return text;
}

class Replay : public ProgramTest, public testing::WithParamInterface<std::tuple<std::string, Way>> {
protected:
    Replay() {
        Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
        Preset(u"DevSerial"_s, u"405678"_s, u"1"_s);
    }

    Text Play(const std::vector<Piece>& log, const Way& way) {
        Program& program = Start();
        PacketLines lines;
        program.measurement.AddSink(lines);
        program.SetRawDisplay(way.later);
        const FarEnds farEnds = way.open(program);
        clock.Advance(SerialLink::kSettleTime);
        std::int64_t second = 0;
        std::array<std::size_t, 2> sent{};
        for (const Piece& piece : log) {
            clock.AdvanceSeconds(piece.second - second);
            second = piece.second;
            farEnds[piece.line](piece.bytes);
            sent[piece.line] += static_cast<std::size_t>(piece.bytes.size());
            const std::string& raw = program.framer.RawText(way.streams[piece.line]);
            if (way.later && !SpinUntil([&] { return raw.size() == sent[piece.line]; })) {
                ADD_FAILURE() << raw.size() << " bytes of " << sent[piece.line] << " came at second "
                              << second;
                return {};
            }
        }
        Text text = Summary(program);
        text.insert(text.begin(), lines.text.begin(), lines.text.end());
        return text;
    }
};

TEST_P(Replay, GivesTheReadingsWrittenDownBesideTheLog) {
    const auto& [name, way] = GetParam();
    const QString expectedName = QString::fromStdString(name + ".expected");
    const Text played = Play(ReadLog(name), way);
    if (qEnvironmentVariableIsSet("REWRITE_EXPECTED")) {
        QFile file(QStringLiteral(CORVANE_TRAFFIC_FOLDER) + u'/' + expectedName);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        for (const std::string& line : played)
            file.write(QByteArray::fromStdString(line + '\n'));
    }
    const Text expected = ReadLines(expectedName);
    const auto [was, is] = std::ranges::mismatch(expected, played);
    EXPECT_TRUE(was == expected.end() && is == played.end())
        << name << ".expected, line " << was - expected.begin() + 1
        << "\nexpected: " << (was == expected.end() ? "no more" : *was)
        << "\n     got: " << (is == played.end() ? "no more" : *is);
}

std::vector<std::string> LogNames() {
    std::vector<std::string> names;
    for (const QString& log : QDir(QStringLiteral(CORVANE_TRAFFIC_FOLDER)).entryList({u"*.log"_s}))
        names.push_back(log.chopped(4).toStdString());
    return names;
}

INSTANTIATE_TEST_SUITE_P(Traffic, Replay,
                         testing::Combine(testing::ValuesIn(LogNames()), testing::ValuesIn(kWays)),
                         [](const auto& replay) {
                             std::string name =
                                 std::get<0>(replay.param) + "_" + std::get<1>(replay.param).name;
                             std::ranges::replace(name, '-', '_');
                             return name;
                         });

}  // namespace
}  // namespace corvane
