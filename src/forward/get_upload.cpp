#include "forward/get_upload.h"

#include <algorithm>
#include <functional>

#include "base/clock.h"
#include "base/wait_until.h"
#include "forward/value_fields.h"
#include "measure/readings.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kGetEnableKey = u"GetEnable"_s;
const QString kGetHostKey = u"GetURL"_s;
const QString kPathKey = u"GetURLext"_s;
const QString kLayoutKey = u"GetLayout"_s;

struct HostPort {
    QString host;
    std::uint16_t port;
};

HostPort SplitHost(const QString& text) {
    const auto colon = text.lastIndexOf(u':');
    if (colon < 0) return {text, GetUpload::kDefaultPort};
    return {text.left(colon), text.mid(colon + 1).toUShort()};
}

/// Whether `text` would stay one word within a request.
bool IsOneWord(const QString& text) {
    return std::ranges::none_of(text, [](QChar c) { return c.isSpace() || !c.isPrint(); });
}

}  // namespace

std::string GetRequest(const std::string& path, const std::string& query, const std::string& host) {
    std::string request = "GET ";
    request += path;
    request += '?';
    request += query;
    request += " HTTP/1.0\r\nHost: ";
    request += host;
    return request += "\r\n";
}

GetUpload::GetUpload(SettingsStore& settings, Clock& clock)
    : settings_(settings), clock_(clock), socket_(clock) {
    socket_.DropInput();
    connect(&socket_, &TcpSocket::PeerTooSlow, this, [this](const QString& peer) {
        log_.AddLine(u"The web server at %1 does not read what is sent to it."_s.arg(peer));
    });
    connect(&settings, &SettingsStore::Changed, this, [this](const QString&, const QString& key) {
        if (key.startsWith("Get"_L1, Qt::CaseInsensitive)) LoadChoices();
    });
    LoadChoices();
}

void GetUpload::LoadChoices() {
    enabled_ = settings_.GetBool(kGetEnableKey, false);
    secondLayout_ = settings_.GetNumber(kLayoutKey, 1, 1, 2) == 2;
    path_ = settings_.GetSetting(kPathKey);
    const QString host = settings_.GetSetting(kGetHostKey);
    if (host == host_) return;
    host_ = host;
    socket_.Close();  // it led to the host of before
}

void GetUpload::OnReadings(const DeviceReadings& readings) {
    if (!enabled_ || host_.isEmpty()) return;
    PostToGET(FieldsText(secondLayout_ ? kGetLayout2 : kGetLayout1, readings, clock_.Now()));
}

QCoro::Task<> GetUpload::PostToGET(std::string query) {
    if (connecting_) co_return;
    const std::string request = GetRequest(path_.toStdString(), query, host_.toStdString());
    if (State() != SocketState::Connected) {
        connecting_ = true;
        const auto [host, port] = SplitHost(host_);
        const int deadline = SecondFromNow(clock_, kConnectSeconds);
        socket_.Connect(host, port);
        const std::function<bool()> connected = [this] { return State() == SocketState::Connected; };
        const WaitEnd end = co_await WaitUntilSecond(clock_, deadline, connected);
        connecting_ = false;
        if (end == WaitEnd::Closing) co_return;
    }
    if (State() == SocketState::Connected) {
        if (socket_.SendText(request + "\r\n")) log_.AddLine(QString::fromStdString(request));
        co_return;
    }
    QString line = u"No connection to %1 within %2 seconds"_s.arg(host_).arg(kConnectSeconds);
    if (State() == SocketState::Error) line += u": "_s + socket_.ErrorText();
    log_.AddLine(line);
}

Outcome GetUpload::SetHost(const QString& text) {
    const auto [host, port] = SplitHost(text);
    if (!text.isEmpty() && (host.isEmpty() || port == 0 || !IsOneWord(text) || host.contains(u'/'))) {
        return Outcome::Failure(
            u"The host is a name or address alone, or followed by a colon and its port: example.org:8080."_s);
    }
    settings_.SaveSetting(kGetHostKey, text);
    return Outcome::Success();
}

Outcome GetUpload::SetPath(const QString& text) {
    if (!IsOneWord(text)) return Outcome::Failure(u"The path must not have blanks in it."_s);
    settings_.SaveSetting(kPathKey, text);
    return Outcome::Success();
}

Outcome GetUpload::SetLayout(const QString& text) {
    if (text != "1"_L1 && text != "2"_L1) return Outcome::Failure(u"The layout is 1 or 2."_s);
    settings_.SaveSetting(kLayoutKey, text);
    return Outcome::Success();
}

}  // namespace corvane
