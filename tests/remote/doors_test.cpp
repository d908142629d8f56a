// What strangers and forgotten programs do to the doors of the whole program: they stay open for everybody
// else.
#include <QLocalSocket>

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <memory>
#include <vector>

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

TEST_F(Doors, AClientThatDoesNotReadIsCutOffBeforeItCostsMuch) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    qstrncpy(address.sun_path, QFile::encodeName(path_).constData(), sizeof address.sun_path);
    const int mute = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    ASSERT_EQ(::connect(mute, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    const QByteArray request = "{\"command\":\"help\"}\n";
    ASSERT_EQ(send(mute, request.repeated(2000).constData(), 2000 * std::size_t(request.size()), 0),
              2000 * request.size());
    const std::size_t before = mallinfo2().uordblks;

    // One that reads gets everything, however much it asks for at once.
    QLocalSocket reader;
    reader.connectToServer(path_);
    reader.write(request.repeated(2000));
    int replies = 0;
    ASSERT_TRUE(SpinUntil([&] {
        for (; reader.canReadLine(); ++replies)
            reader.readLine();
        return replies == 2000;
    }));
    EXPECT_LT(mallinfo2().uordblks, before + (4U << 20));
    clock.AdvanceSeconds(11);
    EXPECT_EQ(Told(u"does not read what it is sent: cut off."_s), 1);
    EXPECT_EQ(reader.state(), QLocalSocket::ConnectedState);
    close(mute);
}

TEST_F(Doors, IdleClientsGiveWayToTheNextAndAreLetGoAfterTenMinutes) {
    std::vector<std::unique_ptr<QLocalSocket>> clients;
    const auto come = [&](const QByteArray& request) {
        clients.push_back(std::make_unique<QLocalSocket>());
        clients.back()->connectToServer(path_);
        clients.back()->write(request);
        return SpinUntil([&] { return request.isEmpty() || clients.back()->canReadLine(); });
    };
    ASSERT_TRUE(come("{\"command\":\"set-serial\",\"arguments\":[\"B\"]}\n"));  // it is asked for the text
    while (clients.size() < RemoteServer::kMostSessions) {
        clock.AdvanceSeconds(1);
        ASSERT_TRUE(come({}));
        QCoreApplication::processEvents();
    }
    const auto gone = [&] {
        return std::ranges::count(clients, QLocalSocket::UnconnectedState, &QLocalSocket::state);
    };
    EXPECT_TRUE(come("{\"command\":\"slots\"}\n"));
    ASSERT_TRUE(SpinUntil([&] { return gone() == 1; }));
    EXPECT_EQ(clients[1]->state(), QLocalSocket::UnconnectedState)
        << "the one that has been idle for longest";
    clock.AdvanceSeconds(10 * 60 - 32);
    EXPECT_EQ(gone(), 1);
    clock.AdvanceSeconds(1);
    ASSERT_TRUE(SpinUntil([&] { return gone() == 2; }));
    EXPECT_TRUE(clients[0]->readAll().contains("Nothing came for 10 minutes"));
    EXPECT_EQ(program_.runningCommand.Refusal(), QString());
    clock.AdvanceSeconds(31);
    EXPECT_TRUE(SpinUntil([&] { return gone() == 33; })) << gone();
}

TEST_F(Doors, OpenAgainWhenThereAreDescriptorsAgain) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "This machine cannot run it: the sanitizers themselves take descriptors";
#endif
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
    EXPECT_EQ(Told(u"takes connections again."_s), 0) << "it may be over for a moment only";
    clock.AdvanceSeconds(60);
    EXPECT_EQ(Told(u"takes connections again."_s), 3);
}

}  // namespace
}  // namespace corvane
