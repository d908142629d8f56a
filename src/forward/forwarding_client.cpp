#include "forward/forwarding_client.h"

#include <array>
#include <cstdint>
#include <optional>

#include "base/clock.h"
#include "base/number_entry.h"
#include "base/status_board.h"
#include "link/host_port.h"
#include "store/error_log.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

using AddressFields = std::array<int, 4>;

/// The fields of "192.168.1.10"; nothing where there are not four numbers, each at most 255.
std::optional<AddressFields> ParseAddress(const QString& text) {
    const QStringList parts = text.trimmed().split(u'.');
    AddressFields fields{};
    if (parts.size() != 4) return std::nullopt;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        bool isNumber = false;
        const uint field = parts[static_cast<qsizetype>(i)].toUInt(&isNumber, 10);
        if (!isNumber || field > 255) return std::nullopt;
        fields[i] = static_cast<int>(field);
    }
    return fields;
}

/// The fields with at least `digits` digits each: 192.168.001.010 with three.
QString AddressText(const AddressFields& fields, int digits) {
    QStringList parts;
    for (const int field : fields)
        parts.append(u"%1"_s.arg(field, digits, 10, QChar(u'0')));
    return parts.join(u'.');
}

struct Remote {
    QString shown;  ///< as it is kept as the address last used
    QString host;   ///< as the system takes it: to it 010 is an octal 8
};

/// Four numbers and dots, or an IPv6 address.
std::optional<Remote> ParseRemote(const QString& text) {
    if (const auto fields = ParseAddress(text))
        return Remote{AddressText(*fields, 3), AddressText(*fields, 1)};
    const auto host = ParseHost(text.trimmed());
    if (!host.has_value() || !host->contains(u':')) return std::nullopt;
    return Remote{*host, *host};
}

std::optional<std::uint16_t> ParsePort(const QString& text) {
    const auto port = WholeNumberEntry(text, 1, ForwardingClient::kMostPort);
    if (text.size() > ForwardingClient::kLongestPort || !port.has_value()) return std::nullopt;
    return static_cast<std::uint16_t>(*port);
}

constexpr OutputNames kClientNames = {.word = "client", .name = "Client"};

constexpr Setting kClientSettings[] = {kClientEnable, kClientAddress, kClientPort, kRemoteHost};

constexpr OutputChoice kClientChoices[] = {
    {.setting = &kClientEnable,
     .word = "on",
     .offWord = "off",
     .label = "Forward through the client connection"},
    {.setting = &kClientAddress, .word = "address", .argument = "IP", .label = "Remote address"},
    {.setting = &kClientPort, .word = "port", .argument = "PORT", .label = "Remote port"},
};

}  // namespace

Outcome CheckClientAddress(QString& text, const SettingValues&) {
    if (!ParseRemote(text).has_value()) return Outcome::Failure(u"Invalid IP Address"_s);
    text = text.trimmed();
    return Outcome::Success();
}

Outcome CheckClientPort(QString& text, const SettingValues&) {
    if (!ParsePort(text).has_value()) return Outcome::Failure(u"Invalid Port Number"_s);
    text = text.trimmed();
    return Outcome::Success();
}

ForwardingClient::ForwardingClient(SettingsStore& settings, StatusBoard& board, ErrorLog& errorLog,
                                   Clock& clock)
    : settings_(settings),
      board_(board),
      errorLog_(errorLog),
      socket_(clock),
      backoff_(u"     Forwarding client: "_s,
               {.first = kRetrySeconds, .most = kRetrySeconds, .spread = false}, board, clock),
      enabled_(settings.IsOn(kClientEnable)) {
    socket_.DropInput();
    connect(&socket_, &TcpSocket::Connected, this,
            [this] { board_.AddLine(u"      Connected to Ethernet"_s); });
    connect(&socket_, &TcpSocket::PeerTooSlow, this, [this](const QString& peer) {
        const QString text = u"The forwarding peer at %1 does not read what is sent to it."_s.arg(peer);
        board_.AddLine(u"     "_s + text);
        errorLog_.LogError(0, text, u"Forwarding client"_s);
    });
    connect(&socket_, &TcpSocket::StateChanged, this, &ForwardingClient::OnStateChanged);
    connect(&backoff_, &ConnectionBackoff::Due, this, &ForwardingClient::TryAgain);
    connect(&settings, &SettingsStore::Changed, this,
            [this](const QString&, const QString& key) { OnSettingChanged(key); });
}

const OutputNames& ForwardingClient::Names() const {
    return kClientNames;
}

std::span<const Setting> ForwardingClient::Settings() const {
    return kClientSettings;
}

std::span<const OutputChoice> ForwardingClient::Choices() const {
    return kClientChoices;
}

void ForwardingClient::OnSettingChanged(const QString& key) {
    if (!IsKeyOf(kClientEnable, key)) return;
    enabled_ = settings_.IsOn(kClientEnable);
    if (enabled_) return StartUp();
    Close();
}

void ForwardingClient::StartUp() {
    if (!wanted_ && enabled_ && !settings_.Value(kClientAddress).isEmpty()) TryAgain();
}

void ForwardingClient::Close() {
    wanted_ = false;
    socket_.Close();
    backoff_.SetOff();
}

void ForwardingClient::TryAgain() {
    const Outcome begun = Begin();
    if (begun) return;
    board_.AddLine(u"     Forwarding client: "_s + begun.Error());
    backoff_.SetOff();
}

Outcome ForwardingClient::Connect() {
    if (State() == SocketState::Connected) {
        Close();
        return Outcome::Success();
    }
    backoff_.ForgetFailure();
    return Begin();
}

Outcome ForwardingClient::Begin() {
    const auto remote = ParseRemote(settings_.Value(kClientAddress));
    if (!remote.has_value()) return Outcome::Failure(u"Invalid IP Address"_s);
    if (settings_.Value(kRemoteHost) != remote->shown) settings_.Save(kRemoteHost, remote->shown);
    const auto port = ParsePort(settings_.Value(kClientPort));
    if (!port.has_value()) return Outcome::Failure(u"Invalid Port Number"_s);
    wanted_ = true;
    socket_.Connect(remote->host, *port);
    return Outcome::Success();
}

void ForwardingClient::Forward(QByteArrayView packet) {
    if (enabled_) socket_.SendText(packet);
}

void ForwardingClient::OnStateChanged(SocketState state) {
    const QString why = state == SocketState::Error ? socket_.ErrorText() : QString();
    switch (state) {
        case SocketState::Connected:
            return backoff_.SetUp();
        case SocketState::ResolvingHost:
            return backoff_.SetTrying(OutputState::Resolving);
        case SocketState::Closed:
        case SocketState::Error:
            backoff_.Tell(why);
            return wanted_ ? backoff_.Fail(why) : backoff_.SetOff();
        default:
            backoff_.SetTrying();
    }
}

std::vector<OutputAction> ForwardingClient::Actions() {
    return {{.word = "connect", .caption = Caption(), .atOnce = [this] { return Connect(); }}};
}

QString ForwardingClient::Caption() const {
    return State() == SocketState::Connected ? u"Disconnect"_s : u"Connect"_s;
}

QString ForwardingClient::Notice() const {
    if (State() == SocketState::Error && socket_.AddressInUse()) return u"Wait 4 Minutes to Release Port"_s;
    if (backoff_.SecondsLeft() > 0) return u"Reconnecting in %1 sec."_s.arg(backoff_.SecondsLeft());
    return {};
}

OutputStatus ForwardingClient::Status() const {
    const QString host = settings_.Value(kRemoteHost);
    const QString port = settings_.Value(kClientPort);
    QString line = u"%1: %2, %3"_s.arg(Name(), OnOff(enabled_), StateText());
    if (!host.isEmpty()) line += u", %1:%2"_s.arg(BracketedHost(host), port);
    if (!Notice().isEmpty()) line += u", "_s + Notice();
    return {.lines = {line},
            .data = {{u"state"_s, static_cast<int>(State())},
                     {u"stateText"_s, StateText()},
                     {u"host"_s, host},
                     {u"port"_s, port},
                     {u"notice"_s, Notice()},
                     {u"caption"_s, Caption()}}};
}

}  // namespace corvane
