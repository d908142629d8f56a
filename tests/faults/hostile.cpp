// Everything at once, against a service that captures six monitors behind two gateways:
//
//   fault_hostile SECONDS
//
// Gateways that come and go, damaged packets, readers who do not read, floods of connections and of nonsense,
// tokens that are guessed, another program that locks the database, and too few descriptors. In the end every
// good packet was counted, every row is there, the service takes no more than at the beginning, and its log
// can be read.
#include <QDir>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QJsonArray>
#include <QLocalSocket>
#include <QTcpSocket>
#include <QTimer>

#include <sys/resource.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "base/local_time.h"
#include "faults/fault.h"
#include "link/packet.h"
#include "remote/remote_protocol.h"
#include "support/packets.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kMonitors = 6;
constexpr int kOfOneGateway = 3;
constexpr rlim_t kDescriptors = 128;

// Sanitizers take descriptors themselves, and keep what was freed for a while.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

const QString kToken = u"hostile-evening-0123456789"_s;

/// Three monitors behind a gateway that sends what they say, a packet a second each, and now and then a
/// damaged one; it hangs up and comes back.
class Gateway : public QObject {
public:
    Gateway(std::uint16_t port, std::uint16_t firstSerial, int hangUpEvery)
        : port_(port), firstSerial_(firstSerial), hangUpEvery_(hangUpEvery) {
        second_.callOnTimeout(this, &Gateway::OnSecond);
        second_.start(1000);
        OnSecond();
    }

    [[nodiscard]] std::int64_t Sent() const { return sent_; }

    /// From now on it stays.
    void Settle() { hangUpEvery_ = 0; }
    void HangUp() {
        second_.stop();
        if (socket_ != nullptr) socket_->disconnectFromHost();
    }

private:
    void OnSecond() {
        ++seconds_;
        if (socket_ == nullptr || socket_->state() == QAbstractSocket::UnconnectedState) return Call();
        if (socket_->state() != QAbstractSocket::ConnectedState || ++connected_ < 2) return;
        if (hangUpEvery_ > 0 && connected_ % hangUpEvery_ == 0) return socket_->disconnectFromHost();
        for (std::uint16_t monitor = 0; monitor < kOfOneGateway; ++monitor) {
            const MonitorState state{.ch1Absolute = seconds_ * 1000ULL,
                                     .serialNumber = static_cast<std::uint16_t>(firstSerial_ + monitor),
                                     .seconds = seconds_};
            Bytes packet = PacketOf(state);
            if (random_() % 5 == 0) {
                Bytes damaged = packet;
                damaged.back() = 0;
                if (!IsAccepted(PacketChecksum(damaged), 0)) Write(damaged);
            }
            Write(packet);
            ++sent_;
        }
    }

    void Call() {
        connected_ = 0;
        socket_ = std::make_unique<QTcpSocket>();
        socket_->connectToHost(QHostAddress::LocalHost, port_);
    }

    void Write(const Bytes& bytes) {
        socket_->write(reinterpret_cast<const char*>(bytes.data()), static_cast<qint64>(bytes.size()));
    }

    std::uint16_t port_;
    std::uint16_t firstSerial_;
    int hangUpEvery_;
    std::unique_ptr<QTcpSocket> socket_;
    QTimer second_;
    std::mt19937 random_{firstSerial_};
    std::uint32_t seconds_ = 1000;
    int connected_ = 0;  ///< seconds
    std::int64_t sent_ = 0;
};

/// Does something over and over, and holds what it opened: so many, the oldest goes for a new one.
template <typename Socket>
class Crowd : public QObject {
public:
    Crowd(int every, std::size_t most, std::function<std::unique_ptr<Socket>()> come)
        : most_(most), come_(std::move(come)) {
        timer_.callOnTimeout(this, [this] {
            if (sockets_.size() == most_) sockets_.erase(sockets_.begin());
            sockets_.push_back(come_());
        });
        timer_.start(every);
    }

private:
    std::size_t most_;
    std::function<std::unique_ptr<Socket>()> come_;
    std::vector<std::unique_ptr<Socket>> sockets_;
    QTimer timer_;
};

/// A connection from one of the machine's other addresses, which says `bytes` and reads no more than a
/// little.
std::unique_ptr<QTcpSocket> Caller(std::uint16_t port, const QString& from, const QByteArray& bytes) {
    auto socket = std::make_unique<QTcpSocket>();
    socket->setReadBufferSize(64);
    (void)socket->bind(QHostAddress(from));
    QObject::connect(socket.get(), &QTcpSocket::connected,
                     [self = socket.get(), bytes] { self->write(bytes); });
    socket->connectToHost(QHostAddress::LocalHost, port);
    return socket;
}

QByteArray Request(const QByteArray& path) {
    return "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
}

QByteArray Nonsense(std::mt19937& random) {
    QByteArray bytes(1 + static_cast<int>(random() % 3000), '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

/// Holds the database locked from time to time.
class Locker : public QObject {
public:
    Locker(QString path, int every) : path_(std::move(path)) {
        timer_.callOnTimeout(this, [this] {
            if (connection_ != nullptr) return connection_.reset();
            connection_ = std::make_unique<CaptureDatabase::Connection>(
                CaptureDatabase::OpenFile(path_.toStdString(), false));
            (void)connection_->GetTable("BEGIN EXCLUSIVE");
        });
        timer_.start(every);
    }

private:
    QString path_;
    std::unique_ptr<CaptureDatabase::Connection> connection_;
    QTimer timer_;
};

/// All who mean no good, as long as it lives.
class Evening {
public:
    Evening(const RenewedFolder& house, std::uint16_t forwarding, int seconds)
        : house_(house), forwarding_(forwarding), locker_(house.DatabasePath(), 1000 * seconds / 15) {}

private:
    std::unique_ptr<QLocalSocket> Visitor(const QByteArray& line) const {
        auto socket = std::make_unique<QLocalSocket>();
        socket->setReadBufferSize(64);
        socket->connectToServer(RemoteSocketPath(house_.folder.Path()));
        if (socket->isOpen()) socket->write(line);
        return socket;
    }

    const RenewedFolder& house_;
    std::uint16_t forwarding_;
    std::mt19937 random_{1};
    Locker locker_;
    Crowd<QTcpSocket> listeners_{100, 30, [this] {
                                     return Caller(house_.webPort, u"127.0.0.2"_s,
                                                   Request("/events?token=" + kToken.toLatin1()));
                                 }};
    Crowd<QTcpSocket> guessers_{50, 10, [this] {
                                    return Caller(
                                        house_.webPort, u"127.0.0.3"_s,
                                        Request("/live.json?token=" + QByteArray::number(random_())));
                                }};
    Crowd<QTcpSocket> babblers_{50, 10,
                                [this] { return Caller(house_.webPort, u"127.0.0.4"_s, Nonsense(random_)); }};
    Crowd<QTcpSocket> idlers_{20, 150, [this] { return Caller(house_.webPort, u"127.0.0.5"_s, {}); }};
    Crowd<QTcpSocket> strangers_{200, 5,
                                 [this] { return Caller(house_.portA, u"127.0.0.6"_s, Nonsense(random_)); }};
    Crowd<QTcpSocket> receivers_{500, 20,
                                 [this] { return Caller(forwarding_, u"127.0.0.7"_s, Nonsense(random_)); }};
    Crowd<QLocalSocket> visitors_{100, 40, [this] { return Visitor({}); }};
    Crowd<QLocalSocket> askers_{100, 5, [this] {
                                    return Visitor(RemoteLine({{u"command"_s, u"status"_s}}).repeated(200));
                                }};
    Crowd<QLocalSocket> mumblers_{100, 5, [this] { return Visitor(Nonsense(random_) + '\n'); }};
};

/// What the service takes of the machine.
struct Taken {
    qsizetype descriptors = 0;
    qint64 memory = 0;  ///< KiB
};

Taken TakenBy(const Started& service) {
    const QString process = u"/proc/%1/"_s.arg(service.Pid());
    QFile status(process + u"status"_s);
    Require(status.open(QIODevice::ReadOnly), "the service is gone");
    const QString text = QString::fromLatin1(status.readAll());
    return {.descriptors = QDir(process + u"fd"_s).entryList(QDir::System | QDir::Files).size(),
            .memory = text.section(u"VmRSS:"_s, 1).simplified().section(u' ', 0, 0).toLongLong()};
}

void Pass(int seconds) {
    QElapsedTimer time;
    time.start();
    (void)SpinUntil([&] { return time.hasExpired(1000LL * seconds); }, 1000 * seconds + 1000);
}

std::int64_t Counted(const ServiceFolder& house) {
    return house.Ask({u"status"_s})[u"goodPackets"_s].toInteger(-1);
}

void Spend(int seconds) {
    constexpr qint64 kMoreMemory = 16 * 1024;  // KiB; what an allocator keeps for the next time
    constexpr int kMostLines = 200;
    constexpr int kSettling = 90'000;  // ms
    RenewedFolder house;
    const std::uint16_t forwarding = FreePort();
    for (int slot = 0; slot < kMonitors; ++slot)
        house.Preset(u"DevSerial"_s, u"30%1"_s.arg(1001 + slot), QString::number(slot));
    house.Preset(u"WebToken"_s, kToken);
    house.Preset(u"ServerEnable"_s, u"True"_s);
    house.Preset(u"TcpPortHA"_s, QString::number(forwarding));
    Service service(house);
    const rlimit few{.rlim_cur = kDescriptors, .rlim_max = kDescriptors};
    if (!kSanitized)
        Require(prlimit(static_cast<pid_t>(service.Pid()), RLIMIT_NOFILE, &few, nullptr) == 0, "no limit");
    Gateway gatewayA(house.portA, 1001, 20);
    Gateway gatewayB(house.portB, 1001 + kOfOneGateway, 31);
    Pass(5);
    const Taken before = TakenBy(service);
    const QString start = QString::fromStdString(DateMinuteText(LocalTimeAt(time(nullptr) + 60)));
    Taken most = before;
    {
        const Evening evening(house, forwarding, seconds);
        for (int second = 0; second < seconds; ++second) {
            Pass(1);
            const Taken now = TakenBy(service);
            most = {.descriptors = std::max(most.descriptors, now.descriptors),
                    .memory = std::max(most.memory, now.memory)};
        }
    }
    const QString end = QString::fromStdString(DateMinuteText(LocalTimeAt(time(nullptr) - 60)));
    gatewayA.Settle();
    gatewayB.Settle();
    const auto calm = [&] {
        Pass(1);
        if (TakenBy(service).descriptors > before.descriptors) return false;
        return house.Ask({u"status"_s})[u"health"_s][u"queue"_s].toInt(99) <=
               1;  // the newest waits for the next one
    };
    const bool rests = SpinUntil(calm, kSettling);
    Require(rests, u"it does not come to rest: %1 descriptors, %2 at the beginning"_s
                       .arg(TakenBy(service).descriptors)
                       .arg(before.descriptors));
    gatewayA.HangUp();
    gatewayB.HangUp();
    const std::int64_t sent = gatewayA.Sent() + gatewayB.Sent();
    const bool counted = SpinUntil([&] { return Counted(house) == sent; });
    Require(counted, u"%1 good packets were sent, and %2 counted"_s.arg(sent).arg(Counted(house)));
    const Taken after = TakenBy(service);
    Require(kSanitized || after.memory <= before.memory + kMoreMemory,
            u"memory rose from %1 to %2 KiB"_s.arg(before.memory).arg(after.memory));
    service.End();

    const std::string between =
        " WHERE substr(date, 1, 16) BETWEEN '" + start.toStdString() + "' AND '" + end.toStdString() + "'";
    const std::string rows = RowOfWhole(house.DatabasePath(),
                                        "SELECT count(DISTINCT substr(date, 1, 16) || "
                                        "deviceaddress) FROM monitordata_minute" +
                                            between);
    const std::string minutes = RowOfWhole(
        house.DatabasePath(), "SELECT count(DISTINCT substr(date, 1, 16)) FROM monitordata_minute" + between);
    Require(std::stoi(rows) == kMonitors * std::stoi(minutes) && std::stoi(minutes) >= seconds / 60 - 2,
            QString::fromStdString(rows + " rows in " + minutes + " minutes"));
    Require(RowOfWhole(house.DatabasePath(),
                       "SELECT count(DISTINCT deviceaddress) FROM monitordata_hourly") == "6",
            "a device has no hourly row");
    const QString log = QString::fromStdString(house.folder.Read(u"ErrorsCorvane.log"_s));
    const auto lines = log.count(u'\n');
    Require(lines < kMostLines, u"the log has %1 lines:\n%2"_s.arg(lines).arg(log));
    Tell(u"a hostile evening of %1 s"_s.arg(seconds),
         u"%1 packets, all counted; %2 rows in %3 minutes, none missing; descriptors %4, at most %5, then "
         u"%6; memory "
         "%7, at most %8, then %9 MiB; the log has %10 lines"_s.arg(sent)
             .arg(QString::fromStdString(rows), QString::fromStdString(minutes))
             .arg(before.descriptors)
             .arg(most.descriptors)
             .arg(after.descriptors)
             .arg(before.memory / 1024)
             .arg(most.memory / 1024)
             .arg(after.memory / 1024)
             .arg(lines));
    if (qEnvironmentVariableIsSet("CORVANE_SHOW_LOG")) std::printf("%s", qPrintable(log));
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    return corvane::RunWith(argc, argv, "SECONDS",
                            [](const QStringList& words) { corvane::Spend(words[1].toInt()); });
}
