// Any bytes from a browser: a real program serves its pages meanwhile, and goes on doing so.
#include <QCoreApplication>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "app/console.h"
#include "app/program.h"
#include "fuzz/quick_folder.h"
#include "fuzz/require.h"
#include "support/fake_clock.h"
#include "support/loopback.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class House {
public:
    House() {
        QCoro::waitFor(Begin());
        REQUIRE(program_.webServer.Serving());
    }

    void Take(std::string_view input) {
        const std::string reply = Exchange(input);
        REQUIRE(reply.empty() || reply.starts_with("HTTP/1.1 ") || reply.starts_with("HTTP/1.0 "));
        if (++inputs_ % 256 != 0) return;
        clock_.AdvanceSeconds(20);  // for those who are owed a reply, and do not wait for it
        REQUIRE(Exchange("GET /live.json HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n")
                    .starts_with("HTTP/1.1 200 "));
    }

private:
    QCoro::Task<> Begin() {
        const Outcome started = co_await program_.Start(nobody_);
        REQUIRE(started);
    }

    [[nodiscard]] Options Setup() const {
        Options options{.dataFolder = folder_.Path(), .settingsFile = folder_.Path(u"corvane.ini"_s)};
        SettingsStore store(options.settingsFile);
        for (const QString& key : {u"TcpPortA"_s, u"TcpPortB"_s})
            KeepByKey(store, key, QString::number(FreePort()), kStartupSection);
        KeepByKey(store, u"WebPort"_s, QString::number(port_), kStartupSection);
        return options;
    }

    /// What comes back, as far as it comes at once; the far end sends no more.
    [[nodiscard]] std::string Exchange(std::string_view bytes) const {
        constexpr int kMostTurns = 50;
        const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port_);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        REQUIRE(connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
        (void)send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        (void)shutdown(socket, SHUT_WR);
        std::string reply;
        char buffer[4096];
        for (int turn = 0; turn < kMostTurns; ++turn) {
            QCoreApplication::processEvents();
            const ssize_t count = recv(socket, buffer, sizeof buffer, MSG_DONTWAIT);
            if (count > 0) reply.append(buffer, static_cast<std::size_t>(count));
            if (count == 0 || (count < 0 && errno != EAGAIN)) break;
        }
        const linger atOnce{.l_onoff = 1, .l_linger = 0};  // or the ports run out
        (void)setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        close(socket);
        return reply;
    }

    QuickFolder folder_;
    FakeClock clock_;
    ServiceOperator nobody_;
    const std::uint16_t port_ = FreePort();
    Program program_{Setup(), clock_};
    std::uint64_t inputs_ = 0;
};

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static int argc = 0;
    static const QCoreApplication application(argc, nullptr);
    static corvane::House house;
    house.Take({reinterpret_cast<const char*>(data), size});
    return 0;
}
