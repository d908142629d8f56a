#include "forward/get_upload.h"

#include <memory>

#include "forward/checked_entries.h"
#include "measure/measurement_fixture.h"
#include "support/loopback.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class GetUploadTest : public MeasurementFixture {
protected:
    GetUploadTest() {
        EXPECT_TRUE(server_.listen(QHostAddress::LocalHost));
        EXPECT_TRUE(Choose(settings_, kGetHost, u"127.0.0.1:%1"_s.arg(server_.serverPort())));
        EXPECT_TRUE(Choose(settings_, kGetPath, u"/in.php"_s));
        host_ = "127.0.0.1:" + QByteArray::number(server_.serverPort());
    }

    /// The server's end of the next connection, once the upload has noticed it, too.
    std::unique_ptr<QTcpSocket> Accept() {
        EXPECT_TRUE(SpinUntil([this] {
            clock_.Advance(1);
            return server_.hasPendingConnections() && upload_.State() == SocketState::Connected;
        }));
        clock_.Advance(50);
        return std::unique_ptr<QTcpSocket>(server_.nextPendingConnection());
    }

    [[nodiscard]] QByteArray Request(const QByteArray& query) const {
        return "GET /in.php?" + query + " HTTP/1.0\r\nHost: " + host_ + "\r\n\r\n";
    }
    [[nodiscard]] static bool Receives(QTcpSocket& socket, const QByteArray& text) {
        return SpinUntil([&] { return socket.bytesAvailable() >= text.size(); }) && socket.readAll() == text;
    }

    GetUpload upload_{settings_, clock_};
    QTcpServer server_;
    QByteArray host_;
};

TEST_F(GetUploadTest, ConnectsOnceThenSendsEveryQueryAtOnceAndDropsTheOnesInBetween) {
    upload_.PostToGET("a=1");
    upload_.PostToGET("a=2");  // the first still waits for its connection
    const auto server = Accept();
    EXPECT_TRUE(Receives(*server, Request("a=1")));
    upload_.PostToGET("a=3");
    upload_.PostToGET("a=4");
    EXPECT_TRUE(Receives(*server, Request("a=3") + Request("a=4")));
    EXPECT_FALSE(server_.hasPendingConnections());
    ASSERT_EQ(upload_.Log()->Lines().size(), 3U);
    EXPECT_EQ(upload_.Log()->Lines()[0], QString::fromLatin1(Request("a=1").chopped(2)));
}

TEST_F(GetUploadTest, AnAnswerWithoutEndIsCutOffAndLosesNoRequest) {
    server_.close();
    ASSERT_TRUE(server_.listen(QHostAddress::LocalHostIPv6));
    EXPECT_TRUE(Choose(settings_, kGetHost, u"[::1]:%1"_s.arg(server_.serverPort())));
    host_ = "[::1]:" + QByteArray::number(server_.serverPort());
    upload_.PostToGET("a=1");
    const auto first = Accept();
    EXPECT_TRUE(Receives(*first, Request("a=1")));
    first->write(QByteArray(8 << 20, 'x'));
    ASSERT_TRUE(SpinUntil([&] { return first->state() == QAbstractSocket::UnconnectedState; }));
    EXPECT_EQ(upload_.Log()->Lines().back(),
              u"The answer of %1 is longer than 64 KiB and was cut off."_s.arg(QString::fromLatin1(host_)));
    upload_.PostToGET("a=2");
    const auto second = Accept();
    EXPECT_TRUE(Receives(*second, Request("a=2")));
    for (const char* query : {"a=3", "a=4"}) {  // each may be answered as long as is allowed
        second->write(QByteArray(64 << 10, 'x'));
        ASSERT_TRUE(SpinUntil([&] { return second->bytesToWrite() == 0; }));
        clock_.AdvanceSeconds(1);
        upload_.PostToGET(query);
        EXPECT_TRUE(Receives(*second, Request(query)));
    }
}

TEST_F(GetUploadTest, AHostChangedDuringAConnectIsThatOfTheNextRequest) {
    server_.close();
    upload_.PostToGET("a=1");
    ASSERT_TRUE(server_.listen(QHostAddress(u"127.0.0.2"_s)));
    host_ = "127.0.0.2:" + QByteArray::number(server_.serverPort());
    EXPECT_TRUE(Choose(settings_, kGetHost, QString::fromLatin1(host_)));
    clock_.Advance(50);
    upload_.PostToGET("a=2");
    const auto server = Accept();
    EXPECT_TRUE(Receives(*server, Request("a=2")));
    EXPECT_EQ(upload_.Log()->Lines().size(), 1U) << "what was given up is no failure";
}

TEST_F(GetUploadTest, TheWaitForAConnectionEndsWithTheClocksSecond) {
    server_.close();
    const struct {
        int second;
        int milliseconds;  ///< into that second
        int waited;        ///< ms
    } cases[] = {{30, 0, 3000}, {58, 0, 3000}, {58, 400, 2600}};
    for (const auto& c : cases) {
        clock_.Advance(1000 - clock_.Monotonic() % 1000 + c.milliseconds);
        clock_.AdvanceSeconds((60 + c.second - clock_.Now().second) % 60);
        upload_.PostToGET("a=1");
        const auto before = upload_.Log()->Lines().size();
        clock_.Advance(c.waited - 50);
        EXPECT_EQ(upload_.Log()->Lines().size(), before) << c.second;
        clock_.Advance(50);
        ASSERT_EQ(upload_.Log()->Lines().size(), before + 1) << c.second;
        EXPECT_TRUE(upload_.Log()->Lines().back().startsWith(u"No connection to 127.0.0.1"_s));
    }
    EXPECT_FALSE(clock_.SomeoneWaits());
}

TEST_F(GetUploadTest, EveryPacketIsSentInTheLayoutChosenWhileItIsOn) {
    measurement_->AddSink(upload_);
    Send({.serialNumber = 1234, .seconds = 5});
    EXPECT_EQ(upload_.State(), SocketState::Closed);
    Set(u"GetEnable"_s, u"True"_s);
    EXPECT_TRUE(Choose(settings_, kGetPath, u""_s));
    Send({.serialNumber = 1234, .seconds = 6});
    const auto server = Accept();
    ASSERT_TRUE(SpinUntil([&] { return server->bytesAvailable() > 0; }));
    EXPECT_TRUE(server->readAll().startsWith("GET ?v=120.5&sec=6&c1w=0&"));
    EXPECT_TRUE(Choose(settings_, kGetLayout, u"2"_s));
    Send({.serialNumber = 1234, .seconds = 7});
    ASSERT_TRUE(SpinUntil([&] { return server->bytesAvailable() > 0; }));
    EXPECT_TRUE(server->readAll().startsWith("GET ?volt=120.5&sn=301234&ch1w=0&"));

    server_.close();
    ASSERT_TRUE(server_.listen(QHostAddress(u"127.0.0.2"_s)));
    EXPECT_TRUE(Choose(settings_, kGetHost, u"127.0.0.2:%1"_s.arg(server_.serverPort())));
    Send({.serialNumber = 1234, .seconds = 8});
    const auto other = Accept();
    ASSERT_TRUE(SpinUntil([&] { return other->bytesAvailable() > 0; }));
    EXPECT_EQ(server->readAll(), "") << "the server of before hears no more";
    Set(u"GetEnable"_s, u"False"_s);
    Send({.serialNumber = 1234, .seconds = 9});
    EXPECT_EQ(upload_.Log()->Lines().size(), 3U);
    ExpectChecks("GetEntries", settings_);
    EXPECT_FALSE(Choose(settings_, kGetHost, u"a\r\nb"_s));
}

}  // namespace
}  // namespace corvane
