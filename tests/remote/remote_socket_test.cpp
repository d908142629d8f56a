// The control socket over a real local socket: what a client may do to it, in any order.
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocalSocket>

#include <memory>

#include "app/program_fixture.h"
#include "remote/remote_server.h"
#include "support/loopback.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class Client {
public:
    explicit Client(const QString& path) { socket_.connectToServer(path); }

    void Send(const QByteArray& bytes) { socket_.write(bytes); }
    void Leave() { socket_.abort(); }

    /// The next line, or an empty object where none comes.
    QJsonObject Receive() {
        if (!SpinUntil([this] { return socket_.canReadLine(); })) return {};
        return QJsonDocument::fromJson(socket_.readLine()).object();
    }
    [[nodiscard]] bool IsClosed() const { return socket_.state() == QLocalSocket::UnconnectedState; }

private:
    QLocalSocket socket_;
};

class RemoteSocket : public ProgramTest {
protected:
    RemoteSocket() : program_(Start()), server_(program_) { EXPECT_TRUE(server_.Listen(path_)); }

    const QString path_ = folder.Path(u"control.sock"_s);
    Program& program_;
    RemoteServer server_;
};

TEST_F(RemoteSocket, AnswersRequestsInTheirOrder) {
    Client client(path_);
    client.Send(
        "{\"command\":\"set\",\"arguments\":[\"VoltX2\",\"true\"]}\n"
        "{\"command\":\"get\",\"arguments\":[\"VoltX2\"]}\nnonsense\n{\"command\":\"none\"}\n"
        "{\"command\":\"get\"}\n");
    EXPECT_TRUE(client.Receive()[u"ok"_s].toBool());
    EXPECT_EQ(client.Receive()[u"data"_s].toObject()[u"value"_s].toString(), u"True"_s);
    for (const char* part : {"JSON object", "no command none", "Usage: get KEY"}) {
        const QJsonObject reply = client.Receive();
        EXPECT_FALSE(reply[u"ok"_s].toBool(true));
        EXPECT_TRUE(reply[u"error"_s].toString().contains(QLatin1StringView(part))) << part;
    }
}

TEST_F(RemoteSocket, ALineMayComeInPieces) {
    Client client(path_);
    for (const char c : QByteArray("{\"command\":\"slots\"}\n")) {
        client.Send(QByteArray(1, c));
        QCoreApplication::processEvents();
    }
    EXPECT_EQ(client.Receive()[u"data"_s].toObject()[u"slots"_s].toArray().size(), 6);
}

TEST_F(RemoteSocket, ATextIsAskedForAndTheAnswerUsed) {
    Client client(path_);
    client.Send("{\"command\":\"set-serial\",\"arguments\":[\"B\"]}\n");
    EXPECT_TRUE(client.Receive()[u"askText"_s].toString().startsWith(u"Enter the energy monitor's"_s));
    client.Send("{\"text\":\"301234\"}\n");
    EXPECT_TRUE(client.Receive()[u"ok"_s].toBool());
    EXPECT_EQ(program_.deviceSlots.Bound(2), u"301234"_s);
}

TEST_F(RemoteSocket, WhileACommandAsksOthersMayLookButNotChange) {
    Client asked(path_);
    asked.Send("{\"command\":\"set-serial\",\"arguments\":[\"B\"]}\n");
    ASSERT_TRUE(asked.Receive().contains(u"askText"_s));

    Client other(path_);
    other.Send("{\"command\":\"slots\"}\n{\"command\":\"disconnect\",\"arguments\":[\"A\"]}\n");
    EXPECT_TRUE(other.Receive()[u"ok"_s].toBool());
    EXPECT_TRUE(other.Receive()[u"error"_s].toString().contains(u"set-serial is still running"_s));
    EXPECT_EQ(program_.tcpA.State(), SocketState::Listening);

    asked.Send("{\"text\":null}\n");
    EXPECT_TRUE(asked.Receive()[u"ok"_s].toBool());
    other.Send("{\"command\":\"disconnect\",\"arguments\":[\"A\"]}\n");
    EXPECT_TRUE(other.Receive()[u"ok"_s].toBool());
}

TEST_F(RemoteSocket, AClientThatLeavesInAQuestionFreesTheNextCommand) {
    auto leaving = std::make_unique<Client>(path_);
    leaving->Send("{\"command\":\"set-serial\",\"arguments\":[\"B\"]}\n");
    ASSERT_TRUE(leaving->Receive().contains(u"askText"_s));
    leaving->Leave();

    Client next(path_);
    bool freed = false;
    for (int i = 0; i < 100 && !freed; ++i) {  // the program may hear of the leaving later than of this
        next.Send("{\"command\":\"set-serial\",\"arguments\":[\"B\",\"301234\"]}\n");
        freed = next.Receive()[u"ok"_s].toBool();
    }
    EXPECT_TRUE(freed);
    EXPECT_EQ(program_.deviceSlots.Bound(2), u"301234"_s);
}

TEST_F(RemoteSocket, ALineWithoutEndIsCutOff) {
    Client client(path_);
    client.Send(QByteArray(kLongestRemoteLine + 10, 'x'));
    EXPECT_TRUE(client.Receive()[u"error"_s].toString().contains(u"too long"_s));
    EXPECT_TRUE(SpinUntil([&client] { return client.IsClosed(); }));
}

TEST_F(RemoteSocket, ClosingEndsAnOpenQuestionWithoutChangingAnything) {
    Client client(path_);
    client.Send("{\"command\":\"set-serial\",\"arguments\":[\"B\"]}\n");
    ASSERT_TRUE(client.Receive().contains(u"askText"_s));
    server_.Close();
    EXPECT_TRUE(SpinUntil([&client] { return client.IsClosed(); }));
    EXPECT_TRUE(program_.deviceSlots.Bound(2).isEmpty());
}

TEST_F(RemoteSocket, ReplacesTheSocketOfAProgramThatWasKilled) {
    server_.Close();
    folder.Write(u"control.sock"_s, "left over");
    EXPECT_TRUE(server_.Listen(path_));
    Client client(path_);
    client.Send("{\"command\":\"slots\"}\n");
    EXPECT_TRUE(client.Receive()[u"ok"_s].toBool());
}

}  // namespace
}  // namespace corvane
