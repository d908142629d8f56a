#include "forward/get_upload.h"

#include <algorithm>
#include <functional>

#include "base/clock.h"
#include "base/wait_until.h"
#include "forward/value_fields.h"
#include "link/host_port.h"
#include "measure/readings.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// Whether `text` would stay one word within a request.
bool IsOneWord(const QString& text) {
    return std::ranges::none_of(text, [](QChar c) { return c.isSpace() || !c.isPrint(); });
}

constexpr OutputNames kGetNames = {
    .word = "get", .name = "GET upload", .title = "GET requests", .log = "Requests", .ownCommands = true};

constexpr Setting kGetSettings[] = {kGetEnable, kGetHost, kGetPath, kGetLayout, kInternetCheckUrl};

constexpr OutputChoice kGetChoices[] = {
    {.setting = &kGetEnable, .word = "on", .offWord = "off", .label = "Send a request for every packet"},
    {.setting = &kGetHost, .word = "url", .label = "Web server", .hint = "HOST or HOST:PORT"},
    {.setting = &kGetPath, .word = "path", .label = "Path"},
    {.setting = &kGetLayout, .word = "layout", .label = "Layout"},
};

}  // namespace

Outcome CheckGetHost(QString& text, const SettingValues&) {
    if (text.isEmpty()) return Outcome::Success();
    const auto parsed = ParseHostPort(text);
    if (!parsed.has_value()) {
        return Outcome::Failure(
            u"The host is a name or address alone, or followed by a colon and its port: example.org:8080."_s);
    }
    if (parsed->port == 0) text = BracketedHost(parsed->host);  // as it stands in a request
    return Outcome::Success();
}

Outcome CheckGetPath(QString& text, const SettingValues&) {
    if (!IsOneWord(text)) return Outcome::Failure(u"The path must not have blanks in it."_s);
    return Outcome::Success();
}

Outcome CheckGetLayout(QString& text, const SettingValues&) {
    if (text != "1"_L1 && text != "2"_L1) return Outcome::Failure(u"The layout is 1 or 2."_s);
    return Outcome::Success();
}

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
    : settings_(settings), clock_(clock), socket_(clock), check_(settings, clock) {
    socket_.DropAnswers();
    connect(&socket_, &TcpSocket::AnswerTooLong, this, [this] {
        log_.AddLine(u"The answer of %1 is longer than %2 KiB and was cut off."_s.arg(
            host_, QString::number(TcpSocket::kMostOfAnswer / 1024)));
    });
    connect(&socket_, &TcpSocket::PeerTooSlow, this, [this](const QString& peer) {
        log_.AddLine(u"The web server at %1 does not read what is sent to it."_s.arg(peer));
    });
    connect(&settings, &SettingsStore::Changed, this, [this](const QString&, const QString& key) {
        if (key.startsWith("Get"_L1, Qt::CaseInsensitive)) LoadChoices();
    });
    LoadChoices();
}

void GetUpload::LoadChoices() {
    enabled_ = settings_.IsOn(kGetEnable);
    secondLayout_ = settings_.Number(kGetLayout) == 2;
    path_ = settings_.Value(kGetPath);
    const QString host = settings_.Value(kGetHost);
    if (host == host_) return;
    host_ = host;
    socket_.Close();  // it led to the host of before
    failed_ = false;
}

const OutputNames& GetUpload::Names() const {
    return kGetNames;
}

std::span<const Setting> GetUpload::Settings() const {
    return kGetSettings;
}

std::span<const OutputChoice> GetUpload::Choices() const {
    return kGetChoices;
}

std::vector<OutputAction> GetUpload::Actions() {
    return {{.word = "check",
             .caption = u"Check the internet"_s,
             .done = ConnectionCheck::kReached,
             .awaited = [this](Operator& op) { return check_.Check(op); }}};
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
        const QString asked = host_;
        const HostPort server = ParseHostPort(asked).value_or(HostPort{});
        const int deadline = SecondFromNow(clock_, kConnectSeconds);
        socket_.Connect(server.host, server.port == 0 ? kDefaultPort : server.port);
        const std::function<bool()> over = [this, &asked] {
            return State() == SocketState::Connected || host_ != asked;
        };
        const WaitEnd end = co_await WaitUntilSecond(clock_, deadline, over);
        connecting_ = false;
        if (end == WaitEnd::Closing || host_ != asked) co_return;
    }
    failed_ = State() != SocketState::Connected;
    if (!failed_) {
        if (socket_.SendText(request + "\r\n")) log_.AddLine(QString::fromStdString(request));
        co_return;
    }
    QString line = u"No connection to %1 within %2 seconds"_s.arg(host_, QString::number(kConnectSeconds));
    if (State() == SocketState::Error) line += u": "_s + socket_.ErrorText();
    log_.AddLine(line);
}

OutputState GetUpload::Standing() const {
    if (!enabled_ || host_.isEmpty()) return OutputState::Off;
    if (connecting_) return OutputState::Connecting;
    return failed_ ? OutputState::Backoff : OutputState::Up;
}

OutputStatus GetUpload::Status() const {
    const QString layout = settings_.Value(kGetLayout);
    return {.lines = {u"%1: %2, http://%3%4, layout %5, %6"_s.arg(Name(), OnOff(enabled_), host_, path_,
                                                                  layout, StateText())},
            .data = {{u"host"_s, host_},
                     {u"path"_s, path_},
                     {u"layout"_s, layout},
                     {u"state"_s, static_cast<int>(State())}}};
}

}  // namespace corvane
