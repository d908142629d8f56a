#include "link/tcp_socket.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <vector>

#include "support/fake_clock.h"
#include "support/loopback.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// Bytes that differ from their neighbours, so that a piece lost or swapped shows.
QByteArray Pattern(qsizetype size) {
    QByteArray bytes(size, '\0');
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i % 251);
    return bytes;
}

class TcpSocketTest : public testing::Test {
protected:
    TcpSocketTest() {
        QObject::connect(&socket_, &TcpSocket::StateChanged,
                         [this](SocketState state) { states_.push_back(state); });
        QObject::connect(&socket_, &TcpSocket::Connected, [this] { ++connected_; });
        QObject::connect(&socket_, &TcpSocket::DataArrival,
                         [this](QByteArrayView data) { data_.append(data.data(), data.size()); });
        QObject::connect(&socket_, &TcpSocket::PeerClosed, [this] { dataAtClose_.push_back(data_.size()); });
    }

    [[nodiscard]] bool BecomesOf(SocketState state) {
        return SpinUntil([this, state] { return socket_.State() == state; });
    }

    /// The far end of the socket, which listens for it.
    FarEnd& Peer() {
        EXPECT_TRUE(socket_.Listen(0));
        peer_.emplace(socket_.LocalPort());
        EXPECT_TRUE(SpinUntil([this] { return connected_ == 1; }));
        return *peer_;
    }

    /// Lets events pass that should change nothing.
    static void Settle() {
        const QDeadlineTimer enough(50);
        ASSERT_TRUE(SpinUntil([&enough] { return enough.hasExpired(); }));
    }

    FakeClock clock_;
    TcpSocket socket_{clock_};
    std::optional<FarEnd> peer_;
    std::vector<SocketState> states_;
    int connected_ = 0;
    QByteArray data_;
    std::vector<qsizetype> dataAtClose_;  ///< bytes that had come in at each close by the peer
};

TEST(SocketStates, HaveNumbersAndTexts) {
    const std::array<const char*, 10> texts = {
        "Socket Closed", "Socket Open", "Listening", "Connection Pending",         "Resolving Host",
        "Host Resolved", "Connecting",  "Connected", "Peer is Closing Connection", "Socket Error"};
    for (std::size_t number = 0; number < texts.size(); ++number)
        EXPECT_EQ(SocketStateText(static_cast<SocketState>(number)).toStdString(), texts[number]);
}

TEST_F(TcpSocketTest, AServerTakesAPeerAndEverythingItSentBeforeItClosed) {
    FarEnd& peer = Peer();
    const QByteArray sent = Pattern(500'000);
    peer.Send(sent);
    peer.Close();
    ASSERT_TRUE(BecomesOf(SocketState::Closed));
    EXPECT_EQ(data_, sent);
    EXPECT_EQ(dataAtClose_, (std::vector<qsizetype>{sent.size()}));
    EXPECT_EQ(states_, (std::vector<SocketState>{SocketState::Listening, SocketState::Connected,
                                                 SocketState::PeerClosing, SocketState::Closed}));
}

TEST_F(TcpSocketTest, APeerThatBreaksOffIsToldAsOneThatCloses) {
    FarEnd& peer = Peer();
    peer.Socket().setReadBufferSize(1);
    ASSERT_TRUE(socket_.SendText(Pattern(10'000)));
    ASSERT_TRUE(SpinUntil([&peer] { return peer.Socket().bytesAvailable() > 0; }));
    peer.Socket().abort();  // with data unread, this is a reset rather than a close
    ASSERT_TRUE(BecomesOf(SocketState::Closed));
    EXPECT_EQ(dataAtClose_.size(), 1U);
}

#ifdef Q_OS_LINUX
TEST_F(TcpSocketTest, AConnectThatGetsNoAnswerIsClosedAfterTwentySeconds) {
    // A server that accepts nobody and whose queue is full: the system drops further attempts unanswered.
    QTcpServer full;
    full.setListenBacklogSize(0);
    ASSERT_TRUE(full.listen(QHostAddress::LocalHost));
    full.pauseAccepting();
    std::array<QTcpSocket, 3> queue;
    for (QTcpSocket& waiting : queue)
        waiting.connectToHost(QHostAddress::LocalHost, full.serverPort());
    Settle();
    clock_.AdvanceSeconds(7);
    socket_.Connect(u"127.0.0.1"_s, full.serverPort());
    Settle();
    clock_.Advance(19'999);
    ASSERT_EQ(socket_.State(), SocketState::Connecting);
    clock_.Advance(1);
    EXPECT_EQ(socket_.State(), SocketState::Closed);
    Settle();
    EXPECT_EQ(states_, (std::vector<SocketState>{SocketState::ResolvingHost, SocketState::Connecting,
                                                 SocketState::Closed}));
}
#endif

TEST_F(TcpSocketTest, WhatComesWhileReadingIsOffStaysOutsideAndIsHandedOverLater) {
    FarEnd& peer = Peer();
    socket_.SetReading(false);
    const QByteArray sent = Pattern(16 << 20);
    peer.Send(sent);
    Settle();
    EXPECT_TRUE(data_.isEmpty());
    EXPECT_GT(peer.Socket().bytesToWrite(), 0);  // it did not go into this program's memory
    socket_.SetReading(true);
    ASSERT_TRUE(SpinUntil([&] { return data_.size() == sent.size(); }));
    EXPECT_EQ(data_, sent);

    socket_.SetReading(false);
    peer.Send("last words");
    peer.Close();
    ASSERT_TRUE(BecomesOf(SocketState::Closed));
    EXPECT_TRUE(data_.endsWith("last words"));
}

TEST_F(TcpSocketTest, AReceiverMayCloseWhileDataArrive) {
    int arrivals = 0;
    QObject::connect(&socket_, &TcpSocket::DataArrival, [this, &arrivals](QByteArrayView) {
        ++arrivals;
        socket_.Close();
    });
    FarEnd& peer = Peer();
    peer.Send(Pattern(300'000));
    ASSERT_TRUE(SpinUntil([&peer] { return peer.IsGone(); }));
    EXPECT_EQ(arrivals, 1);
    EXPECT_EQ(socket_.State(), SocketState::Closed);
    EXPECT_TRUE(dataAtClose_.empty());  // it was not the peer that closed
}

}  // namespace
}  // namespace corvane
