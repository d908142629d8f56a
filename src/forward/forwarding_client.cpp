#include "forward/forwarding_client.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <optional>

#include "base/clock.h"
#include "base/number_entry.h"
#include "base/status_board.h"
#include "store/error_log.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kClientEnableKey = u"ClientEnable"_s;
const QString kTypedKey = u"ClientTCPip"_s;
const QString kClientHostKey = u"RemoteHost"_s;
const QString kClientPortKey = u"ClientPort"_s;

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

std::optional<std::uint16_t> ParsePort(const QString& text) {
    const auto port = NumberEntry(text);
    if (text.size() > ForwardingClient::kLongestPort || !port.has_value() || *port < 1 ||
        *port > ForwardingClient::kMostPort || std::trunc(*port) != *port) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(*port);
}

}  // namespace

ForwardingClient::ForwardingClient(SettingsStore& settings, StatusBoard& board, ErrorLog& errorLog,
                                   Clock& clock)
    : settings_(settings),
      board_(board),
      errorLog_(errorLog),
      socket_(clock),
      enabled_(settings.GetBool(kClientEnableKey, false)) {
    socket_.DropInput();
    connect(&socket_, &TcpSocket::Connected, this, [this] {
        lastFailure_.clear();
        board_.AddLine(u"      Connected to Ethernet"_s);
    });
    connect(&socket_, &TcpSocket::PeerTooSlow, this, [this](const QString& peer) {
        const QString text = u"The forwarding peer at %1 does not read what is sent to it."_s.arg(peer);
        board_.AddLine(u"     "_s + text);
        errorLog_.LogError(0, text, u"Forwarding client"_s);
    });
    connect(&socket_, &TcpSocket::StateChanged, this, &ForwardingClient::OnStateChanged);
    connect(&clock, &Clock::SecondPassed, this, &ForwardingClient::OnSecond);
    connect(&settings, &SettingsStore::Changed, this,
            [this](const QString&, const QString& key) { OnSettingChanged(key); });
}

void ForwardingClient::OnSettingChanged(const QString& key) {
    if (key.compare(kClientEnableKey, Qt::CaseInsensitive) != 0) return;
    enabled_ = settings_.GetBool(kClientEnableKey, false);
    if (enabled_ && !wanted_) StartUp();
    if (!enabled_) {
        wanted_ = false;
        socket_.Close();
    }
}

void ForwardingClient::StartUp() {
    if (enabled_ && !settings_.GetSetting(kTypedKey).isEmpty()) TryAgain();
}

void ForwardingClient::TryAgain() {
    const Outcome begun = Begin();
    if (!begun) board_.AddLine(u"     Forwarding client: "_s + begun.Error());
}

Outcome ForwardingClient::Connect() {
    if (State() == SocketState::Connected) {
        wanted_ = false;
        socket_.Close();
        return Outcome::Success();
    }
    lastFailure_.clear();
    return Begin();
}

Outcome ForwardingClient::Begin() {
    const auto fields = ParseAddress(settings_.GetSetting(kTypedKey));
    if (!fields.has_value()) return Outcome::Failure(u"Invalid IP Address"_s);
    const QString host = AddressText(*fields, 3);
    if (settings_.GetSetting(kClientHostKey) != host) settings_.SaveSetting(kClientHostKey, host);
    const auto port = ParsePort(settings_.GetSetting(kClientPortKey));
    if (!port.has_value()) return Outcome::Failure(u"Invalid Port Number"_s);
    wanted_ = true;
    // Without the leading zeros: to the system 010 is an octal 8.
    socket_.Connect(AddressText(*fields, 1), *port);
    return Outcome::Success();
}

Outcome ForwardingClient::SetAddress(const QString& text) {
    const auto fields = ParseAddress(text);
    if (!fields.has_value()) return Outcome::Failure(u"Invalid IP Address"_s);
    settings_.SaveSetting(kTypedKey, text.trimmed());
    return Outcome::Success();
}

Outcome ForwardingClient::SetPort(const QString& text) {
    if (!ParsePort(text).has_value()) return Outcome::Failure(u"Invalid Port Number"_s);
    settings_.SaveSetting(kClientPortKey, text.trimmed());
    return Outcome::Success();
}

void ForwardingClient::Forward(QByteArrayView packet) {
    if (enabled_) socket_.SendText(packet);
}

void ForwardingClient::OnStateChanged(SocketState state) {
    const bool down = state == SocketState::Closed || state == SocketState::Error;
    countdown_ = down && wanted_ ? kRetrySeconds : 0;
    // Tried again every few seconds, but said once.
    if (state == SocketState::Error && socket_.ErrorText() != lastFailure_) {
        lastFailure_ = socket_.ErrorText();
        board_.AddLine(u"     Forwarding client: "_s + lastFailure_);
    }
}

void ForwardingClient::OnSecond() {
    if (countdown_ == 0) return;
    --countdown_;
    if (countdown_ == 0) TryAgain();
}

QString ForwardingClient::Caption() const {
    return State() == SocketState::Connected ? u"Disconnect"_s : u"Connect"_s;
}

QString ForwardingClient::Notice() const {
    if (State() == SocketState::Error && socket_.AddressInUse()) return u"Wait 4 Minutes to Release Port"_s;
    if (countdown_ > 0) return u"Reconnecting in %1 sec."_s.arg(countdown_);
    return {};
}

}  // namespace corvane
