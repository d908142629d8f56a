#include "forward/forwarding_server.h"

#include <array>
#include <functional>

#include "base/clock.h"
#include "base/number_entry.h"
#include "base/status_board.h"
#include "base/wait_until.h"
#include "store/error_log.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

Outcome CheckPort(QString& text, const Setting& port, const char* notNumeric, const char* outOfRange) {
    if (!NumberEntry(text).has_value()) return Outcome::Failure(QString::fromLatin1(notNumeric));
    const auto number = WholeNumberEntry(text, port.least, port.most);
    if (!number.has_value()) return Outcome::Failure(QString::fromLatin1(outOfRange));
    text = QString::number(*number);
    return Outcome::Success();
}

constexpr Setting kListeningSettings[] = {kListeningEnable, kListeningBinary, kListeningPort,
                                          kListeningLatch};
constexpr Setting kSettingsOfB[] = {kServerBEnable, kServerBBinary, kServerBPort, kServerBLatch};

constexpr std::array<OutputChoice, 3> ServerChoices(const Setting& enable, const Setting& binary,
                                                    const Setting& port) {
    return {{{.setting = &enable, .word = "on", .offWord = "off", .label = "Forward through this server"},
             {.setting = &binary,
              .word = "binary",
              .offWord = "text",
              .label = "Packets as they come, rather than lines of text"},
             {.setting = &port, .word = "port", .argument = "PORT", .label = "Port"}}};
}

constexpr auto kListeningChoices = ServerChoices(kListeningEnable, kListeningBinary, kListeningPort);
constexpr auto kChoicesOfB = ServerChoices(kServerBEnable, kServerBBinary, kServerBPort);

}  // namespace

Outcome CheckListeningPort(QString& text, const SettingValues&) {
    return CheckPort(text, kListeningPort, "Invalid Port value. Must be numeric",
                     "Invalid Port value. Try again");
}

Outcome CheckPortOfB(QString& text, const SettingValues&) {
    return CheckPort(text, kServerBPort, "Must be a numeric value", "Invalid range for TCP/IP Port");
}

const ForwardingServer::Identity ForwardingServer::kListening = {
    .names = {.word = "server", .name = "Listening Server", .group = "servers"},
    .letter = u'C',
    .enable = kListeningEnable,
    .binary = kListeningBinary,
    .port = kListeningPort,
    .latch = kListeningLatch,
    .settings = kListeningSettings,
    .choices = kListeningChoices,
};
const ForwardingServer::Identity ForwardingServer::kB = {
    .names = {.word = "b", .name = "TCP Server B", .group = "servers"},
    .letter = u'B',
    .enable = kServerBEnable,
    .binary = kServerBBinary,
    .port = kServerBPort,
    .latch = kServerBLatch,
    .settings = kSettingsOfB,
    .choices = kChoicesOfB,
};

ForwardingServer::ForwardingServer(const Identity& identity, SettingsStore& settings, StatusBoard& board,
                                   ErrorLog& errorLog, Clock& clock)
    : identity_(identity),
      settings_(settings),
      board_(board),
      errorLog_(errorLog),
      clock_(clock),
      socket_(clock),
      backoff_(u"     Forwarding, %1: "_s.arg(Name()),
               {.first = kRetrySeconds, .most = kRetrySeconds, .spread = false}, board, clock) {
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
    connect(&socket_, &TcpSocket::AcceptorTold, this, [this](const QString& text) {
        board_.AddLine(u"     Forwarding, %1 %2"_s.arg(Name(), text));
        errorLog_.LogError(0, text, Name());
    });
    connect(&socket_, &TcpSocket::StateChanged, this, &ForwardingServer::OnStateChanged);
    connect(&backoff_, &ConnectionBackoff::Due, this, &ForwardingServer::TryAgain);
    connect(&settings, &SettingsStore::Changed, this,
            [this](const QString&, const QString& key) { OnSettingChanged(key); });
    LoadChoices();
}

void ForwardingServer::LoadChoices() {
    enabled_ = settings_.IsOn(identity_.enable);
    mode_ = settings_.IsOn(identity_.binary) ? ForwardMode::Binary : ForwardMode::Text;
}

void ForwardingServer::OnSettingChanged(const QString& key) {
    const bool wasEnabled = enabled_;
    if (IsKeyOf(identity_.enable, key) || IsKeyOf(identity_.binary, key)) LoadChoices();
    if (enabled_ && !wasEnabled) StartUp();
    if (!enabled_ && wasEnabled) Close();
}

void ForwardingServer::StartUp() {
    if (wanted_ || !enabled_ || settings_.IsOn(identity_.latch)) return;
    wanted_ = true;
    LoadPort();
    socket_.Listen(port_);
}

void ForwardingServer::Listen() {
    settings_.Save(identity_.latch, false);
    wanted_ = true;
    backoff_.ForgetFailure();
    LoadPort();
    socket_.Listen(port_);
}

void ForwardingServer::Stop() {
    settings_.Save(identity_.latch, true);
    Close();
}

void ForwardingServer::Close() {
    wanted_ = false;
    socket_.Close();
    backoff_.SetOff();
}

void ForwardingServer::LoadPort() {
    port_ = static_cast<std::uint16_t>(settings_.Number(identity_.port));
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

bool ForwardingServer::IsDown() const {
    return State() == SocketState::Closed || State() == SocketState::Error;
}

void ForwardingServer::OnStateChanged(SocketState state) {
    if (!IsDown()) return backoff_.SetUp();
    const QString why = state == SocketState::Error ? socket_.ErrorText() : QString();
    backoff_.Tell(why);
    if (!wanted_) return backoff_.SetOff();
    if (recovering_) return backoff_.SetTrying();
    backoff_.Fail(why);
}

void ForwardingServer::TryAgain() {
    // The error state is for the first failure alone: each packet that finds it waits for the socket.
    if (!socket_.Listen(port_)) socket_.Close();
}

std::vector<OutputAction> ForwardingServer::Actions() {
    return {{.word = "listen",
             .caption = u"Listen"_s,
             .offered = IsDown(),
             .atOnce =
                 [this] {
                     Listen();
                     return Outcome::Success();
                 }},
            {.word = "stop", .caption = u"Stop Listening"_s, .offered = !IsDown(), .atOnce = [this] {
                 Stop();
                 return Outcome::Success();
             }}};
}

QString ForwardingServer::Notice() const {
    if (State() == SocketState::Connected) return u"Connected"_s;
    if (State() == SocketState::Listening) return u"Listening"_s;
    if (socket_.AddressInUse()) return u"Wait 4 Minutes to Release Port"_s;
    if (backoff_.SecondsLeft() > 0) return u"Reconnecting in %1 sec."_s.arg(backoff_.SecondsLeft());
    return u"Disconnected"_s;
}

QString ForwardingServer::Problem() const {
    return State() == SocketState::Error ? socket_.ErrorText() : QString();
}

OutputStatus ForwardingServer::Status() const {
    const QString mode = mode_ == ForwardMode::Binary ? u"binary"_s : u"text"_s;
    QString line = u"%1: %2, %3, %4"_s.arg(Name(), OnOff(enabled_), mode, StateText());
    const int port = socket_.LocalPort();
    if (port != 0) line += u", port %1"_s.arg(port);
    return {.lines = {line + u", "_s + Notice()},
            .data = {{u"name"_s, Name()},
                     {u"mode"_s, mode},
                     {u"state"_s, static_cast<int>(State())},
                     {u"stateText"_s, StateText()},
                     {u"port"_s, port},
                     {u"notice"_s, Notice()},
                     {u"caption"_s, IsDown() ? u"Listen"_s : u"Stop Listening"_s}}};
}

}  // namespace corvane
