#include "web/web_setup.h"

#include <algorithm>
#include <cmath>

#include "base/number_entry.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kLeastPort = 10;
constexpr int kMostPort = 65534;

/// Letters that need no escape in an address or a cookie.
bool IsTokenLetter(QChar letter) {
    return (letter.unicode() < 128 && letter.isLetterOrNumber()) || letter == u'-' || letter == u'_';
}

bool IsToken(const QString& text) {
    return text.size() >= WebSetup::kLeastToken && std::ranges::all_of(text, IsTokenLetter);
}

Outcome TokenFailure() {
    return Outcome::Failure(
        u"WebToken is at least %1 letters, digits, - or _, or empty where none is asked for."_s.arg(
            WebSetup::kLeastToken));
}

}  // namespace

WebSetup WebSetup::Load(SettingsStore& settings) {
    WebSetup setup;
    setup.enabled = settings.GetBool(u"WebEnable"_s, true);
    setup.address = QHostAddress(settings.GetSetting(u"WebListen"_s, u"127.0.0.1"_s).trimmed());
    setup.port =
        static_cast<std::uint16_t>(settings.GetNumber(u"WebPort"_s, setup.port, kLeastPort, kMostPort));
    setup.token = settings.GetSetting(u"WebToken"_s).trimmed();
    return setup;
}

Outcome WebSetup::Check() const {
    if (address.isNull()) {
        return Outcome::Failure(
            u"WebListen is no address of this machine, such as 127.0.0.1, or 0.0.0.0 for all of them."_s);
    }
    if (!token.isEmpty() && !IsToken(token)) return TokenFailure();
    if (token.isEmpty() && !address.isLoopback()) {
        return Outcome::Failure(
            u"WebListen lets the network in, and that takes a WebToken which its readers must know."_s);
    }
    return Outcome::Success();
}

QString WebSetup::Location() const {
    const bool everywhere = address == QHostAddress::AnyIPv4 || address == QHostAddress::AnyIPv6;
    const QString host = everywhere ? u"127.0.0.1"_s : address.toString();
    return (host.contains(u':') ? u"http://[%1]:%2"_s : u"http://%1:%2"_s).arg(host).arg(port);
}

Outcome CheckWebSetting(const QString& key, const QString& value) {
    if (key == "WebPort"_L1) {
        const auto port = NumberEntry(value);
        if (!port.has_value()) return Outcome::Failure(u"Must be a numeric value"_s);
        if (*port < kLeastPort || *port > kMostPort || std::trunc(*port) != *port)
            return Outcome::Failure(u"Invalid range for TCP/IP Port"_s);
    }
    if (key == "WebListen"_L1 && QHostAddress(value).isNull())
        return Outcome::Failure(u"WebListen is an address of this machine, such as 127.0.0.1 or 0.0.0.0."_s);
    if (key == "WebToken"_L1 && !value.isEmpty() && !IsToken(value)) return TokenFailure();
    return Outcome::Success();
}

}  // namespace corvane
