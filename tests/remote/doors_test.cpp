// What strangers and forgotten programs do to the doors of the whole program: they stay open for everybody
// else.
#include <QLocalSocket>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "app/program_fixture.h"
#include "remote/remote_server.h"
#include "support/loopback.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// As long as it lives, this process gets no further descriptor.
class NoDescriptorsLeft {
public:
    NoDescriptorsLeft() {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before_), 0);
        const int next = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
        close(next);
        rlimit none = before_;
        none.rlim_cur = static_cast<rlim_t>(next);
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoDescriptorsLeft() { setrlimit(RLIMIT_NOFILE, &before_); }
    NoDescriptorsLeft(const NoDescriptorsLeft&) = delete;
    NoDescriptorsLeft& operator=(const NoDescriptorsLeft&) = delete;

private:
    rlimit before_{};
};

class Doors : public ProgramTest {
protected:
    Doors() : program_(Start()), server_(program_) { EXPECT_TRUE(server_.Listen(path_)); }

    /// How many lines of the status list end so.
    [[nodiscard]] auto Told(const QString& end) const {
        return std::ranges::count_if(program_.statusBoard.Lines(),
                                     [&end](const QString& line) { return line.endsWith(end); });
    }

    const QString path_ = folder.Path(u"control.sock"_s);
    Program& program_;
    RemoteServer server_;
};

TEST_F(Doors, OpenAgainWhenThereAreDescriptorsAgain) {
    const auto port = static_cast<std::uint16_t>(program_.settings.Number(kWebPort));
    const QString refused = u" takes no connections: Too many open files. It is tried again every second."_s;
    std::optional<FarEnd> gateway;
    std::optional<FarEnd> browser;
    QLocalSocket client;
    const auto served = [&] {
        return program_.tcpA.State() == SocketState::Connected &&
               browser->Received().startsWith("HTTP/1.1 200") && client.canReadLine();
    };
    {
        // The system connects them; the program has no descriptor to take them with.
        gateway.emplace(program_.tcpA.LocalPort());
        browser.emplace(port);
        client.connectToServer(path_);
        const NoDescriptorsLeft none;
        browser->Send("GET /live.json HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
        client.write("{\"command\":\"slots\"}\n");
        ASSERT_TRUE(SpinUntil([&] { return Told(refused) == 3; })) << Told(refused);
        clock.AdvanceSeconds(3);
        QCoreApplication::processEvents();
        EXPECT_EQ(Told(refused), 3) << "it is said once";
        EXPECT_FALSE(served());
    }
    clock.AdvanceSeconds(1);
    EXPECT_TRUE(SpinUntil(served));
    EXPECT_EQ(Told(u"takes connections again."_s), 3);
}

}  // namespace
}  // namespace corvane
