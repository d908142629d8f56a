// The real service under load and idle: packets a second, start to listening, memory, processor time.
//
//   corvane-service-bench CORVANED CORVANECTL [IDLE-SECONDS]
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "link/device_slots.h"
#include "link/serial_link.h"
#include "link/serial_ports.h"
#include "link/tcp_link.h"
#include "sim/simulated_monitor.h"
#include "store/settings_store.h"
#include "web/web_setup.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr qint64 kBlastMilliseconds = 10'000;
constexpr std::size_t kPacketsPrepared = 1000;
constexpr int kLinks = 5;

std::uint16_t FreePort() {
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

/// Whether somebody listens on the port, told without connecting to it.
bool IsListening(std::uint16_t port) {
    const QByteArray address = ':' + QByteArray::number(port, 16).rightJustified(4, '0').toUpper() + ' ';
    for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        QFile file(QString::fromLatin1(table));
        if (!file.open(QIODevice::ReadOnly)) continue;
        for (const QByteArray& line : file.readAll().split('\n')) {
            if (line.contains(address) && line.contains(" 0A ")) return true;
        }
    }
    return false;
}

int ConnectTo(std::uint16_t port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on,
               sizeof on);  // one packet per write on the wire, too
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        std::perror("connect");
        std::exit(1);
    }
    return descriptor;
}

/// A pseudo terminal: the service opens its path as a serial port, the monitor writes to the returned end.
int MakeTerminal(QString& path) {
    const int farEnd = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (farEnd < 0 || grantpt(farEnd) != 0 || unlockpt(farEnd) != 0) {
        std::perror("pseudo terminal");
        std::exit(1);
    }
    path = QString::fromLocal8Bit(ptsname(farEnd));
    return farEnd;
}

/// The service with a data folder of its own, both TCP servers, and all three serial connections.
struct Service {
    QString ctl;
    QTemporaryDir folder;
    std::array<std::uint16_t, 2> ports = {FreePort(), FreePort()};
    std::array<int, 3> terminals{};
    QProcess process;

    explicit Service(QString ctlPath) : ctl(std::move(ctlPath)) {
        SettingsStore settings(folder.filePath(u"corvane.ini"_s));
        settings.Save(kTcpPortA, int{ports[0]});
        settings.Save(kTcpPortB, int{ports[1]});
        settings.Save(kWebPort, int{FreePort()});
        settings.Save(kAutoOpen, true);
        for (int i = 0; i < 3; ++i) {
            QString path;
            terminals[static_cast<std::size_t>(i)] = MakeTerminal(path);
            settings.Save(kComDevice, path, {.member = QString::number(i + 1)});
            settings.Save(kComPort, i + 1, {.member = SlotLetter(i + 1)});
        }
        for (int slot = 0; slot < kLinks; ++slot)
            settings.Save(kDeviceSerial, u"30000%1"_s.arg(slot), {.slot = slot + 1});
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    }
    ~Service() {
        process.terminate();
        process.waitForFinished();
        for (const int terminal : terminals)
            close(terminal);
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// Starts the service; milliseconds until both ports take connections.
    double Start(const QString& program) {
        QElapsedTimer elapsed;
        elapsed.start();
        process.start(program, {u"--data-dir"_s, folder.path()});
        while (!IsListening(ports[0]) || !IsListening(ports[1]))
            QThread::usleep(200);
        return static_cast<double>(elapsed.nsecsElapsed()) / 1e6;
    }

    [[nodiscard]] qint64 GoodPackets() const {
        QProcess asking;
        asking.start(ctl, {u"--json"_s, u"--data-dir"_s, folder.path(), u"status"_s});
        asking.waitForFinished();
        return QJsonDocument::fromJson(asking.readAllStandardOutput())[u"goodPackets"_s].toInteger();
    }

    [[nodiscard]] QByteArray Proc(const char* name) const {
        QFile file(u"/proc/%1/%2"_s.arg(process.processId()).arg(QLatin1StringView(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    [[nodiscard]] double ResidentMiB() const {
        const QByteArray status = Proc("status");
        const auto at = status.indexOf("VmRSS:");
        return status.mid(at + 6).trimmed().split(' ').first().toDouble() / 1024;
    }

    [[nodiscard]] double ProcessorSeconds() const {
        const QList<QByteArray> fields = Proc("stat").split(' ');
        return (fields[13].toDouble() + fields[14].toDouble()) / static_cast<double>(sysconf(_SC_CLK_TCK));
    }
};

/// Packets of one monitor, encoded beforehand.
std::vector<std::vector<char>> Prepare(std::uint16_t number) {
    SimulatedMonitor monitor({.serial = {.unitId = 3, .number = number}, .interval = 1});
    std::vector<std::vector<char>> packets;
    for (std::size_t i = 0; i < kPacketsPrepared; ++i) {
        const auto packet = monitor.NextPacket();
        packets.emplace_back(packet.begin(), packet.end());
    }
    return packets;
}

/// Sends packets over one connection, one per write, as fast as the service takes them; how many they were.
qint64 Blast(int descriptor, const std::vector<std::vector<char>>& packets, qint64 milliseconds) {
    QElapsedTimer elapsed;
    elapsed.start();
    qint64 sent = 0;
    for (std::size_t i = 0; !elapsed.hasExpired(milliseconds); i = (i + 1) % packets.size()) {
        for (std::size_t taken = 0; taken < packets[i].size();) {
            const ssize_t count = write(descriptor, packets[i].data() + taken, packets[i].size() - taken);
            if (count <= 0) return sent;
            taken += static_cast<std::size_t>(count);
        }
        ++sent;
    }
    return sent;
}

void Run(const QString& program, const QString& ctl, int idleSeconds) {
    double best = 1e9;
    for (int i = 0; i < 5; ++i)
        best = std::min(best, Service(ctl).Start(program));
    std::printf("start to listening, fresh data folder: %.1f ms (aim: under 50)\n", best);

    Service service(ctl);
    service.Start(program);
    const double before = service.ProcessorSeconds();
    QThread::sleep(static_cast<unsigned long>(idleSeconds));
    const double idle = (service.ProcessorSeconds() - before) / idleSeconds * 100;
    std::printf("idle without a monitor: %.3f %% of a core over %d s (aim: under 0.1)\n", idle, idleSeconds);
    std::printf("resident memory, idle: %.1f MiB (aim: under 20)\n", service.ResidentMiB());

    std::vector<int> lines(service.terminals.begin(), service.terminals.end());
    for (const std::uint16_t port : service.ports)
        lines.push_back(ConnectTo(port));
    std::vector<std::vector<std::vector<char>>> packets;
    for (std::size_t i = 0; i < lines.size(); ++i)
        packets.push_back(Prepare(static_cast<std::uint16_t>(i)));
    std::vector<qint64> sentOver(lines.size());
    QElapsedTimer elapsed;
    elapsed.start();
    {
        std::vector<std::jthread> monitors;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            monitors.emplace_back([&, i] { sentOver[i] = Blast(lines[i], packets[i], kBlastMilliseconds); });
        }
    }
    const qint64 sent = std::accumulate(sentOver.begin(), sentOver.end(), qint64{0});
    while (service.GoodPackets() < sent && !elapsed.hasExpired(3 * kBlastMilliseconds))
        QThread::msleep(20);
    const double seconds = static_cast<double>(elapsed.elapsed()) / 1000;
    const qint64 good = service.GoodPackets();
    std::printf("fan-in over %zu connections, one packet per write: %.0f packets/s (aim: at least 200000)\n",
                lines.size(), static_cast<double>(good) / seconds);
    for (std::size_t i = 0; i < lines.size(); ++i)
        std::printf("  %s: %lld packets\n", isatty(lines[i]) != 0 ? "pseudo terminal" : "TCP",
                    static_cast<long long>(sentOver[i]));
    std::printf("of %lld packets sent, %lld arrived\n", static_cast<long long>(sent),
                static_cast<long long>(good));
    std::printf("resident memory after it: %.1f MiB (aim: under 20)\n", service.ResidentMiB());
    for (std::size_t i = service.terminals.size(); i < lines.size(); ++i)
        close(lines[i]);
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 3) {
        std::fputs("usage: corvane-service-bench CORVANED CORVANECTL [IDLE-SECONDS]\n", stderr);
        return 64;
    }
    corvane::Run(arguments[1], arguments[2], arguments.value(3, QStringLiteral("60")).toInt());
    return 0;
}
