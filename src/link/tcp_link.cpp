#include "link/tcp_link.h"

#include <utility>

#include "base/clock.h"
#include "base/number_entry.h"
#include "base/status_board.h"
#include "link/host_port.h"
#include "store/error_log.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

Outcome CheckTcpPort(QString& text, const SettingValues&) {
    if (!NumberEntry(text).has_value()) return Outcome::Failure(u"Must be a numeric value"_s);
    const auto port = WholeNumberEntry(text, kLeastTcpPort, kMostTcpPort);
    if (!port.has_value()) return Outcome::Failure(u"Invalid range for TCP/IP Port"_s);
    text = QString::number(*port);
    return Outcome::Success();
}

Outcome CheckTcpHost(QString& text, const SettingValues&) {
    text = text.trimmed();
    if (ParseHost(text).has_value()) return Outcome::Success();
    return Outcome::Failure(u"The host is a name or address alone; its port is that of TCP Server B."_s);
}

const TcpLink::Identity TcpLink::kA = {u'A', kStreamTcpA, kTcpPortA, false};
const TcpLink::Identity TcpLink::kB = {u'B', kStreamTcpB, kTcpPortB, true};

TcpLink::TcpLink(const Identity& identity, Framer& framer, SettingsStore& settings, StatusBoard& board,
                 ErrorLog& errorLog, Clock& clock)
    : MonitorLink(framer, identity.stream),
      identity_(identity),
      settings_(settings),
      board_(board),
      errorLog_(errorLog),
      socket_(clock),
      watch_(*this, framer, board, errorLog, clock),
      latched_(settings.IsOn(kTcpLatch, Place())) {
    socket_.ReplaceSilentPeerAfter(kSilentPeer);
    connect(&socket_, &TcpSocket::Connected, this, &TcpLink::OnConnected);
    connect(&socket_, &TcpSocket::DataArrival, this, &TcpLink::OnData);
    connect(&socket_, &TcpSocket::PeerClosed, this, &TcpLink::OnPeerClosed);
    connect(&socket_, &TcpSocket::StateChanged, this, &TcpLink::OnStateChanged);
    connect(&socket_, &TcpSocket::PeerTooSlow, this, [this](const QString& peer) {
        errorLog_.LogError(0, u"The gateway at %1 does not read what is sent to it."_s.arg(peer), Name());
    });
    connect(&socket_, &TcpSocket::AcceptorTold, this, [this](const QString& text) {
        board_.AddLine(u"     %1 %2"_s.arg(Name(), text));
        errorLog_.LogError(0, text, Name());
    });
    connect(&clock, &Clock::SecondPassed, this, &TcpLink::OnSecond);
}

void TcpLink::StartUp() {
    LoadPort();
    if (!latched_) Begin();
}

void TcpLink::Listen() {
    latched_ = false;
    settings_.Save(kTcpLatch, false, Place());
    lastFailure_.clear();
    LoadPort();
    Begin();
}

void TcpLink::Disconnect() {
    latched_ = true;
    settings_.Save(kTcpLatch, true, Place());
    countdown_ = 0;
    socket_.Close();
}

bool TcpLink::ConnectsOut() const {
    return identity_.canConnectOut && settings_.Choice(kTcpModeB) == "client"_L1;
}

void TcpLink::LoadPort() {
    port_ = static_cast<std::uint16_t>(settings_.Number(identity_.port));
}

void TcpLink::Begin() {
    if (ConnectsOut()) {
        socket_.Connect(settings_.Value(kTcpHostB), port_);
    } else {
        socket_.Listen(port_);
    }
}

void TcpLink::OnConnected() {
    CountConnection();
    watch_.Begin();
    sawData_ = false;
    lastFailure_.clear();
    board_.AddLine(u"         Connected"_s);
}

void TcpLink::OnData(QByteArrayView data) {
    if (!sawData_) {
        sawData_ = true;
        board_.AddLine(u"     Connected to Ethernet Gateway."_s);
    }
    activity_ = true;
    // What comes while a command holds the stream is the command's, and never a packet.
    if (ReplyCapture()) {
        Q_EMIT ReplyArrived(data);
    } else if (!framer_.PacketHold(Stream())) {
        watch_.NoteBytes();
        Frame(data);
    }
}

void TcpLink::OnPeerClosed() {
    board_.AddLine(u"TCP Server Closing"_s);
    board_.AddLine(u"      %1 Closing"_s.arg(Name()));
    board_.AddLine(u"      %1 Closed"_s.arg(Name()));
}

void TcpLink::OnStateChanged(SocketState state) {
    if (latched_) return;
    const bool down = state == SocketState::Closed || state == SocketState::Error;
    countdown_ = down ? kReconnectSeconds : 0;
    // Tried again every few seconds, but said once.
    if (state == SocketState::Error && socket_.ErrorText() != lastFailure_) {
        lastFailure_ = socket_.ErrorText();
        board_.AddLine(u"     %1: %2"_s.arg(Name(), lastFailure_));
    }
}

void TcpLink::OnSecond() {
    if (countdown_ == 0) return;
    --countdown_;
    if (countdown_ == 0) Begin();
}

QString TcpLink::Caption() const {
    switch (socket_.State()) {
        case SocketState::Closed:
        case SocketState::Error:
            return u"Listen"_s;
        case SocketState::Connected:
            return u"Connected"_s;
        default:
            return u"Stop Listening"_s;
    }
}

LinkStatus TcpLink::Status() const {
    return {socket_.State(), WinsockStateDisplay(), LocalPort(), ErrorText(), Notice()};
}

QString TcpLink::Notice() const {
    if (latched_) return u"Disconnected"_s;
    if (socket_.State() == SocketState::Error && socket_.AddressInUse())
        return u"Wait 4 Minutes to Release Port"_s;
    if (countdown_ > 0) return u"Reconnecting in %1 sec."_s.arg(countdown_);
    return socket_.State() == SocketState::Connected ? watch_.Notice() : QString();
}

bool TcpLink::TakeActivity() {
    return std::exchange(activity_, false);
}

}  // namespace corvane
