#include "web/web_setup.h"

#include <algorithm>

#include "link/host_port.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// Letters that need no escape in an address or a cookie.
bool IsTokenLetter(QChar letter) {
    return (letter.unicode() < 128 && letter.isLetterOrNumber()) || letter == u'-' || letter == u'_';
}

bool HasTokenLetters(const QString& text) {
    return std::ranges::all_of(text, IsTokenLetter);
}

const QString kGoodToken = u"corvanectl set WebToken \"$(openssl rand -hex 12)\""_s;

Outcome TokenFailure() {
    return Outcome::Failure(
        u"WebToken is at least %1 letters, digits, - or _, or empty where none is asked for. A good one: %2"_s
            .arg(QString::number(WebSetup::kLeastToken), kGoodToken));
}

}  // namespace

Outcome CheckWebListen(QString& text, const SettingValues&) {
    text = ParseHost(text.trimmed()).value_or(text);
    if (!QHostAddress(text).isNull()) return Outcome::Success();
    return Outcome::Failure(u"WebListen is an address of this machine, such as 127.0.0.1 or 0.0.0.0."_s);
}

Outcome CheckWebToken(QString& text, const SettingValues&) {
    const bool good = text.size() >= WebSetup::kLeastToken && HasTokenLetters(text);
    return text.isEmpty() || good ? Outcome::Success() : TokenFailure();
}

WebSetup WebSetup::Load(SettingsStore& settings) {
    return {.enabled = settings.IsOn(kWebEnabled),
            .address = QHostAddress(settings.Value(kWebListen).trimmed()),
            .port = static_cast<std::uint16_t>(settings.Number(kWebPort)),
            .token = settings.Value(kWebToken).trimmed()};
}

Outcome WebSetup::Check() const {
    if (address.isNull()) {
        return Outcome::Failure(
            u"WebListen is no address of this machine, such as 127.0.0.1, or 0.0.0.0 for all of them."_s);
    }
    if (!HasTokenLetters(token)) return TokenFailure();
    if (token.isEmpty() && !address.isLoopback()) {
        return Outcome::Failure(
            u"WebListen lets the network in, and that takes a WebToken which its readers must know: "_s +
            kGoodToken);
    }
    return Outcome::Success();
}

QString WebSetup::Warning() const {
    if (!enabled || token.isEmpty() || token.size() >= kLeastToken) return {};
    return u"The WebToken of the pages is short enough to be guessed. A good one: "_s + kGoodToken;
}

QString WebSetup::Location() const {
    const bool everywhere = address == QHostAddress::AnyIPv4 || address == QHostAddress::AnyIPv6;
    const QString host = everywhere ? u"127.0.0.1"_s : address.toString();
    return (host.contains(u':') ? u"http://[%1]:%2"_s : u"http://%1:%2"_s).arg(host).arg(port);
}

}  // namespace corvane
