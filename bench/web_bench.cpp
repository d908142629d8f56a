// The pages under load: requests a second, the road of a packet while browsers listen, and idle connections.
//
//   corvane-web-bench CORVANED
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "link/tcp_link.h"
#include "sim/simulated_monitor.h"
#include "store/device_serial.h"
#include "store/settings_store.h"
#include "web/web_setup.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kListeners = 50;
constexpr int kIdleConnections = 500;
constexpr int kRounds = 5;
constexpr int kPacketsOfRound = 60;
constexpr int kPause = 110;  // ms between two packets: each is an event of its own
constexpr int kRequests = 20'000;

std::uint16_t FreePort() {
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

int ConnectTo(std::uint16_t port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (int tries = 0; tries < 500; ++tries) {
        if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
            return descriptor;
        QThread::msleep(10);
    }
    std::perror("connect");
    std::exit(1);
}

void Send(int descriptor, std::span<const char> bytes) {
    if (write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        std::perror("write");
        std::exit(1);
    }
}

/// Browsers that listen to the events, on a thread that takes what comes.
class Listeners {
public:
    Listeners(std::uint16_t port, int count) {
        for (int i = 0; i < count; ++i) {
            const int descriptor = ConnectTo(port);
            Send(descriptor, std::string_view("GET /events HTTP/1.1\r\nHost: localhost\r\n\r\n"));
            waiting_.push_back({.fd = descriptor, .events = POLLIN, .revents = 0});
        }
        taking_ = std::jthread([this](const std::stop_token& stop) {
            std::vector<char> buffer(1 << 16);
            while (!stop.stop_requested()) {
                poll(waiting_.data(), waiting_.size(), 50);
                for (const pollfd& each : waiting_) {
                    if ((each.revents & POLLIN) != 0) bytes_ += read(each.fd, buffer.data(), buffer.size());
                }
            }
        });
    }
    ~Listeners() {
        taking_ = {};
        for (const pollfd& each : waiting_)
            close(each.fd);
    }
    Listeners(const Listeners&) = delete;
    Listeners& operator=(const Listeners&) = delete;

    [[nodiscard]] qint64 Bytes() const { return bytes_; }

private:
    std::vector<pollfd> waiting_;
    std::atomic<qint64> bytes_ = 0;
    std::jthread taking_;
};

/// The service, which prints a line for every packet at the end of its road.
class Service {
public:
    explicit Service(const QString& program) {
        SettingsStore settings(folder_.filePath(u"corvane.ini"_s));
        settings.Save(kTcpPortA, int{port_});
        settings.Save(kTcpLatch, true, {.member = u"B"_s});
        settings.Save(kWebPort, int{webPort});
        settings.Save(kDeviceSerial, u"301234"_s, {.slot = 1});
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process_.start(program, {u"-v"_s, u"--data-dir"_s, folder_.path()});
        gateway_ = ConnectTo(port_);
        close(ConnectTo(webPort));  // both are there
    }
    ~Service() {
        close(gateway_);
        process_.terminate();
        process_.waitForFinished();
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// Microseconds from the writing of a packet to the line that tells of it, of each packet.
    std::vector<double> Road(int packets) {
        std::vector<double> roads;
        for (int i = 0; i < packets; ++i) {
            QThread::msleep(kPause);
            process_.readAll();
            const auto packet = monitor_.NextPacket();
            const std::vector<char> bytes(packet.begin(), packet.end());
            QElapsedTimer elapsed;
            elapsed.start();
            Send(gateway_, bytes);
            QByteArray said;
            while (!said.contains("Device A") && process_.waitForReadyRead(5000))
                said += process_.readAll();
            roads.push_back(static_cast<double>(elapsed.nsecsElapsed()) / 1000);
        }
        return roads;
    }

    [[nodiscard]] double ResidentMiB() const {
        QFile file(u"/proc/%1/status"_s.arg(process_.processId()));
        if (!file.open(QIODevice::ReadOnly)) return 0;
        const QByteArray status = file.readAll();
        return status.mid(status.indexOf("VmRSS:") + 6).trimmed().split(' ').first().toDouble() / 1024;
    }

    const std::uint16_t webPort = FreePort();

private:
    QTemporaryDir folder_;
    std::uint16_t port_ = FreePort();
    QProcess process_;
    int gateway_ = -1;
    SimulatedMonitor monitor_{{.serial = {.unitId = 3, .number = 1234}, .interval = 1}};
};

double Median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

void MeasureRequests(const Service& service) {
    const int descriptor = ConnectTo(service.webPort);
    std::vector<char> buffer(1 << 16);
    QElapsedTimer elapsed;
    elapsed.start();
    for (int i = 0; i < kRequests; ++i) {
        Send(descriptor, std::string_view("GET /live.json HTTP/1.1\r\nHost: localhost\r\n\r\n"));
        std::string reply;
        std::size_t whole = std::string::npos;
        while (reply.size() < whole) {
            const ssize_t count = read(descriptor, buffer.data(), buffer.size());
            if (count <= 0) std::exit(1);
            reply.append(buffer.data(), static_cast<std::size_t>(count));
            const auto end = reply.find("\r\n\r\n");
            const auto length = reply.find("Content-Length: ");
            if (end != std::string::npos) whole = end + 4 + std::stoul(reply.substr(length + 16));
        }
    }
    std::printf("/live.json, one after the other: %.0f requests/s\n",
                kRequests * 1000.0 / static_cast<double>(elapsed.elapsed()));
    close(descriptor);
}

void Run(const QString& program) {
    Service service(program);
    (void)service.Road(kPacketsOfRound);  // warms up
    std::vector<double> alone;
    std::vector<double> listened;
    qint64 bytes = 0;
    for (int round = 0; round < kRounds;
         ++round) {  // in turns, so that what else the machine does falls on both
        std::ranges::copy(service.Road(kPacketsOfRound), std::back_inserter(alone));
        const Listeners listeners(service.webPort, kListeners);
        std::ranges::copy(service.Road(kPacketsOfRound), std::back_inserter(listened));
        bytes += listeners.Bytes();
    }
    std::printf(
        "road of a packet, socket to printed line, median: %.0f us alone, %.0f us while %d browsers listen\n"
        "  (%+.1f %%; aim: less than 10), %.1f MiB of events taken\n",
        Median(alone), Median(listened), kListeners, (Median(listened) / Median(alone) - 1) * 100,
        static_cast<double>(bytes) / (1 << 20));
    MeasureRequests(service);
    const double before = service.ResidentMiB();
    std::vector<int> idle;
    for (int i = 0; i < kIdleConnections; ++i)
        idle.push_back(ConnectTo(service.webPort));
    const double road = Median(service.Road(kPacketsOfRound));
    std::printf("%d idle connections: resident %.1f MiB, %.1f before; road of a packet %.0f us\n",
                kIdleConnections, service.ResidentMiB(), before, road);
    for (const int descriptor : idle)
        close(descriptor);
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a service that is gone is told by the failing write
    const QCoreApplication application(argc, argv);
    if (argc != 2) {
        std::fputs("usage: corvane-web-bench CORVANED\n", stderr);
        return 64;
    }
    corvane::Run(QString::fromLocal8Bit(argv[1]));
    return 0;
}
