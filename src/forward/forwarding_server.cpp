#include "forward/forwarding_server.h"

#include <cmath>
#include <functional>

#include "base/clock.h"
#include "base/number_entry.h"
#include "base/status_board.h"
#include "base/wait_until.h"
#include "store/error_log.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

// The upper limits of the two ports differ on purpose.
const ForwardingServer::Identity ForwardingServer::kListening = {
    .name = "Listening Server",
    .letter = u'C',
    .enableKey = "ServerEnable"_L1,
    .binaryKey = "BinaryData"_L1,
    .portKey = "TcpPortHA"_L1,
    .latchKey = "LatchDisconnectC"_L1,
    .defaultPort = 5000,
    .mostPort = 65000,
    .notNumeric = "Invalid Port value. Must be numeric",
    .outOfRange = "Invalid Port value. Try again",
};
const ForwardingServer::Identity ForwardingServer::kB = {
    .name = "TCP Server B",
    .letter = u'B',
    .enableKey = "HAServerEnable"_L1,
    .binaryKey = "HAbinaryData"_L1,
    .portKey = "HAserverPort"_L1,
    .latchKey = "LatchDisconnectD"_L1,
    .defaultPort = 5001,
    .mostPort = 65534,
    .notNumeric = "Must be a numeric value",
    .outOfRange = "Invalid range for TCP/IP Port",
};

ForwardingServer::ForwardingServer(const Identity& identity, SettingsStore& settings, StatusBoard& board,
                                   ErrorLog& errorLog, Clock& clock)
    : identity_(identity),
      settings_(settings),
      board_(board),
      errorLog_(errorLog),
      clock_(clock),
      socket_(clock) {
    socket_.KeepListening();
    socket_.DropInput();
    connect(&socket_, &TcpSocket::Connected, this, [this] { board_.AddLine(u"         Connected"_s); });
    connect(&socket_, &TcpSocket::PeerClosed, this, [this] {
        board_.AddLine(u"     TCP Server Closing"_s);
        board_.AddLine(u"      TCP Server %1 Closed"_s.arg(identity_.letter));
    });
    connect(&socket_, &TcpSocket::PeerTooSlow, this, [this](const QString& peer) {
        const QString text = u"The forwarding peer at %1 does not read what is sent to it."_s.arg(peer);
        board_.AddLine(u"     "_s + text);
        errorLog_.LogError(0, text, Name());
    });
    connect(&socket_, &TcpSocket::StateChanged, this, &ForwardingServer::OnStateChanged);
    connect(&clock, &Clock::SecondPassed, this, &ForwardingServer::OnSecond);
    connect(&settings, &SettingsStore::Changed, this,
            [this](const QString&, const QString& key) { OnSettingChanged(key); });
    LoadChoices();
}

void ForwardingServer::LoadChoices() {
    enabled_ = settings_.GetBool(identity_.enableKey, false);
    mode_ = settings_.GetBool(identity_.binaryKey, false) ? ForwardMode::Binary : ForwardMode::Text;
}

void ForwardingServer::OnSettingChanged(const QString& key) {
    const bool wasEnabled = enabled_;
    if (key.compare(identity_.enableKey, Qt::CaseInsensitive) == 0 ||
        key.compare(identity_.binaryKey, Qt::CaseInsensitive) == 0) {
        LoadChoices();
    }
    if (enabled_ && !wasEnabled && !wanted_) StartUp();
    if (!enabled_ && wasEnabled) {
        wanted_ = false;
        socket_.Close();
    }
}

void ForwardingServer::StartUp() {
    if (!enabled_ || settings_.GetBool(identity_.latchKey, false)) return;
    wanted_ = true;
    LoadPort();
    socket_.Listen(port_);
}

void ForwardingServer::Listen() {
    settings_.SaveSetting(identity_.latchKey, false);
    wanted_ = true;
    lastFailure_.clear();
    LoadPort();
    socket_.Listen(port_);
}

void ForwardingServer::Stop() {
    settings_.SaveSetting(identity_.latchKey, true);
    wanted_ = false;
    socket_.Close();
}

void ForwardingServer::LoadPort() {
    port_ = static_cast<std::uint16_t>(
        settings_.GetNumber(identity_.portKey, identity_.defaultPort, kLeastPort, identity_.mostPort));
}

Outcome ForwardingServer::SetPort(const QString& text) {
    const auto port = NumberEntry(text);
    if (!port.has_value()) return Outcome::Failure(QString::fromLatin1(identity_.notNumeric));
    if (*port < kLeastPort || *port > identity_.mostPort || std::trunc(*port) != *port) {
        return Outcome::Failure(QString::fromLatin1(identity_.outOfRange));
    }
    settings_.SaveSetting(identity_.portKey, QString::number(static_cast<int>(*port)));
    return Outcome::Success();
}

QCoro::Task<ForwardingServer::Recovery> ForwardingServer::Recover(int targetSecond,
                                                                  bool (*ended)(SocketState)) {
    recovering_ = true;
    const std::int64_t limit = clock_.Monotonic() + TcpSocket::kConnectTimeout;
    Recovery recovery{};
    const std::function<bool()> over = [&] {
        if (clock_.Monotonic() >= limit && State() != SocketState::Connected) socket_.Close();
        recovery = {.byState = ended(State()) || clock_.Monotonic() >= limit, .state = State()};
        return recovery.byState || clock_.Now().second == targetSecond;
    };
    socket_.Listen(port_);
    const bool waited = co_await WaitUntil(clock_, over);
    if (!waited) recovery.byState = true;  // the program closes; it is not the peer that is late
    recovering_ = false;
    // Said and done with: a socket left in this state would hold up the next packet as well.
    if (recovery.state == SocketState::Error) socket_.Close();
    OnStateChanged(State());
    co_return recovery;
}

void ForwardingServer::OnStateChanged(SocketState state) {
    const bool down = state == SocketState::Closed || state == SocketState::Error;
    countdown_ = down && wanted_ && !recovering_ ? kRetrySeconds : 0;
    if (state == SocketState::Listening) lastFailure_.clear();
    // Tried again every few seconds, but said once.
    if (state == SocketState::Error && socket_.ErrorText() != lastFailure_) {
        lastFailure_ = socket_.ErrorText();
        board_.AddLine(u"     Forwarding, %1: %2"_s.arg(Name(), lastFailure_));
    }
}

void ForwardingServer::OnSecond() {
    if (countdown_ == 0) return;
    --countdown_;
    // The error state is for the first failure alone: each packet that finds it waits for the socket.
    if (countdown_ == 0 && !socket_.Listen(port_)) socket_.Close();
}

QString ForwardingServer::Caption() const {
    const bool down = State() == SocketState::Closed || State() == SocketState::Error;
    return down ? u"Listen"_s : u"Stop Listening"_s;
}

QString ForwardingServer::Notice() const {
    if (State() == SocketState::Connected) return u"Connected"_s;
    if (State() == SocketState::Listening) return u"Listening"_s;
    if (socket_.AddressInUse()) return u"Wait 4 Minutes to Release Port"_s;
    if (countdown_ > 0) return u"Reconnecting in %1 sec."_s.arg(countdown_);
    return u"Disconnected"_s;
}

}  // namespace corvane
