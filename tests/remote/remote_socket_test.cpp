// The control socket over a real local socket: what a client may do to it, in any order.
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocalSocket>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

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

TEST_F(RemoteSocket, AnswersLineByLine) {
    program_.errorLog.LogError(6, u"Overflow"_s, u"CH1"_s);
    const std::pair<const char*, const char*> lines[] = {
        {R"({"command":"set","arguments":["VoltX2","true"]})",
         R"({"data":{"text":"VoltX2 = True"},"lines":["VoltX2 = True"],"ok":true})"},
        {R"({"command":"get","arguments":["VoltX2"]})",
         R"({"data":{"value":"True"},"lines":["True"],"ok":true})"},
        {"nonsense", R"({"error":"A request is a JSON object on one line: illegal value.","ok":false})"},
        {R"({"command":"none"})", R"({"error":"There is no command none; \"help\" lists all.","ok":false})"},
        {R"({"command":"get"})", R"({"error":"Usage: get KEY","ok":false})"},
        {R"({"command":"get","arguments":["a","b"]})", R"({"error":"Usage: get KEY","ok":false})"},
        {R"({"command":"set-serial","arguments":["B"]})",
         R"({"askText":"Enter the energy monitor's serial number in the box. To clear the current value, hit space-bar to enter a space."})"},
        {R"({"text":"301234"})",
         R"({"data":{"text":"Device B answers to 301234."},"lines":["Device B answers to 301234."],"ok":true})"},
        {R"({"command":"feed","arguments":["set","key"]})", R"({"askText":"key: "})"},
        {R"({"text":"c0ffee"})",
         R"_({"data":{"notes":["The feed is not sent by itself while PacEnable is False."],"text":"PachubeKey = (not shown)"},"lines":["PachubeKey = (not shown)","The feed is not sent by itself while PacEnable is False."],"ok":true})_"},
        {R"({"command":"feed","arguments":["set","key"]})", R"({"askText":"key: "})"},
        {R"({"text":null})",
         R"({"error":"key: \nNot answered, nothing changed. It is entered on a terminal, or given with the command.","ok":false})"},
        {R"({"command":"feed","arguments":["set","key"]})", R"({"askText":"key: "})"},
        {"{}",
         R"({"error":"key: \nNot answered, nothing changed. It is entered on a terminal, or given with the command.","ok":false})"},
        {R"({"command":"log","arguments":["delete"]})",
         R"({"ask":"ErrorsCorvane.log, 35 bytes\n\nAre you sure you want to delete the \"Error Log Fille\" containing the current list of errors?","cancellable":false,"no":"","title":"","yes":""})"},
        {R"({"answer":null})",
         R"({"error":"ErrorsCorvane.log, 35 bytes\n\nAre you sure you want to delete the \"Error Log Fille\" containing the current list of errors?\nNot answered, nothing changed. It is answered on a terminal, or by --yes or --no.","ok":false})"},
        {R"({"command":"log","arguments":["delete"],"answer":"yes"})",
         R"({"message":"ErrorsCorvane.log, 35 bytes\n\nAre you sure you want to delete the \"Error Log Fille\" containing the current list of errors? -> yes"})"},
        {"",
         R"({"data":{"text":"There is no error log now."},"lines":["There is no error log now."],"ok":true})"}};
    Client client(path_);
    for (const auto& [sent, received] : lines) {
        if (*sent != '\0') client.Send(QByteArray(sent) + '\n');
        EXPECT_EQ(QJsonDocument(client.Receive()).toJson(QJsonDocument::Compact).toStdString(), received);
    }
    EXPECT_EQ(program_.settings.Value(kFeedKey), u"c0ffee"_s) << "a text that was not given erases nothing";
}

TEST_F(RemoteSocket, AQuestionThatNobodyAnswersEndsTheCommandAndAnOfferDoesNot) {
    folder.Write(u"vrq1_bak1.db3"_s, "older");
    ASSERT_TRUE(program_.channelGroups.Choose(ChannelGroup::MainPanel, {u"A:CH1"_s}));
    const struct {
        const char* request;
        int questions;  // that it puts
        bool succeeds;
    } cases[] = {
        {R"("installation","arguments":["net"])", 1, false},
        {R"("virtual","arguments":["create"])", 1, false},
        {R"("zero-carries")", 1, false},
        {R"("command-byte","arguments":["B","3"])", 1, false},
        {R"("db","arguments":["empty"])", 1, false},
        {R"("db","arguments":["repair","minute"])", 1, false},
        {R"("db","arguments":["backup"])", 1, true},
    };
    const QString settings = QString::fromStdString(folder.Read(u"corvane.ini"_s));
    Client client(path_);
    for (const auto& c : cases) {
        client.Send(QByteArray(R"({"command":)") + c.request + "}\n");
        int asked = 0;
        QJsonObject line = client.Receive();
        for (; !line.isEmpty() && !line.contains(u"ok"_s); line = client.Receive()) {
            if (!line.contains(u"ask"_s)) continue;
            ++asked;
            client.Send("{\"answer\":null}\n");
        }
        EXPECT_EQ(asked, c.questions) << c.request;
        EXPECT_EQ(line[u"ok"_s].toBool(), c.succeeds) << c.request;
        EXPECT_EQ(line[u"error"_s].toString().contains(u"Not answered, nothing changed."_s), !c.succeeds);
        EXPECT_EQ(QFile::exists(folder.Path(u"vrq1_bak2.db3"_s)), c.succeeds) << c.request;
    }
    EXPECT_EQ(QString::fromStdString(folder.Read(u"corvane.ini"_s)), settings);
}

TEST_F(RemoteSocket, ALineMayComeInPieces) {
    Client client(path_);
    for (const char c : QByteArray("{\"command\":\"slots\"}\n")) {
        client.Send(QByteArray(1, c));
        QCoreApplication::processEvents();
    }
    EXPECT_EQ(client.Receive()[u"data"_s].toObject()[u"slots"_s].toArray().size(), 6);
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
    EXPECT_FALSE(asked.Receive()[u"ok"_s].toBool());
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

TEST_F(RemoteSocket, ACommandThatThrowsFailsAndFreesTheNext) {
    static constexpr Setting kBroken[] = {
        {.key = "Broken",
         .check = [](QString&, const SettingValues&) -> Outcome { throw std::bad_alloc(); }}};
    program_.userSettings.Add(kBroken);
    Client client(path_);
    for (int i = 0; i < 2; ++i) {
        client.Send("{\"command\":\"set\",\"arguments\":[\"Broken\",\"1\"]}\n");
        EXPECT_EQ(client.Receive()[u"error"_s], u"The command set failed: std::bad_alloc"_s);
    }
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

TEST_F(RemoteSocket, ReplacesTheSocketOfAProgramThatWasKilledAndNothingElse) {
    const auto answers = [this] {
        Client client(path_);
        client.Send("{\"command\":\"slots\"}\n");
        return client.Receive()[u"ok"_s].toBool();
    };
    RemoteServer second(program_);
    EXPECT_TRUE(second.Listen(path_).Error().endsWith(u"another program listens there."_s));
    EXPECT_TRUE(answers());
    server_.Close();
    folder.Write(u"control.sock"_s, "mine");
    EXPECT_TRUE(server_.Listen(path_).Error().endsWith(
        u"something else has that name. Move it away, and start again."_s));
    EXPECT_EQ(folder.Read(u"control.sock"_s), "mine");

    ASSERT_TRUE(QFile::remove(path_));
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    qstrncpy(address.sun_path, QFile::encodeName(path_).constData(), sizeof address.sun_path);
    const int killed = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(killed, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(killed);
    EXPECT_TRUE(server_.Listen(path_));
    EXPECT_TRUE(answers());
}

TEST_F(RemoteSocket, IsForItsOwnerOrForTheGroupWhateverTheMaskSays) {
    const mode_t before = umask(0027);
    server_.Close();
    for (const auto& [whom, rights] : {std::pair(SocketFor::Owner, 0600U), {SocketFor::Group, 0660U}}) {
        RemoteServer server(program_);
        EXPECT_TRUE(server.Listen(path_, whom));
        struct stat found {};
        EXPECT_EQ(stat(QFile::encodeName(path_).constData(), &found), 0);
        EXPECT_EQ(found.st_mode & ALLPERMS, rights);
    }
    umask(before);
}

// A folder in the place of the file, so that not even an administrator can write it.
TEST_F(RemoteSocket, ACommandWhoseChangeCannotBeSavedFails) {
    Client client(path_);
    for (const bool writable : {false, true}) {
        ASSERT_TRUE(writable ? QDir().rmdir(SettingsFile())
                             : QFile::remove(SettingsFile()) && QDir().mkpath(SettingsFile()));
        for (const char* request : {R"({"command":"set","arguments":["VoltX2","true"]})",
                                    R"({"command":"database","arguments":["off"]})"}) {
            client.Send(QByteArray(request) + '\n');
            const QJsonObject reply = client.Receive();
            EXPECT_EQ(reply[u"ok"_s].toBool(), writable);
            EXPECT_EQ(reply[u"error"_s].toString().startsWith(u"The settings could not be saved in"_s),
                      !writable);
        }
        client.Send("{\"command\":\"slots\"}\n{\"command\":\"raw\",\"arguments\":[\"tcp-a\"]}\n");
        EXPECT_TRUE(client.Receive()[u"ok"_s].toBool()) << "one that changes nothing succeeds";
        EXPECT_TRUE(client.Receive()[u"ok"_s].toBool());
    }
}

}  // namespace
}  // namespace corvane
