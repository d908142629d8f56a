#include <QJsonArray>

#include <algorithm>
#include <optional>

#include "app/program.h"
#include "app/setting_rules.h"
#include "base/operator.h"
#include "remote/command.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t kShownConnectionLines = 5;

QString OnOff(bool on) {
    return on ? u"on"_s : u"off"_s;
}

/// The last lines of a log box.
QStringList LastLines(const StatusBoard& log) {
    const auto& all = log.Lines();
    const auto shown = std::min(kShownConnectionLines, all.size());
    return {all.end() - static_cast<std::ptrdiff_t>(shown), all.end()};
}

/// What `forward status` tells of one part, as lines and as data.
struct Section {
    QStringList lines;
    QJsonObject data;
};

Section ServerStatus(const ForwardingServer& server) {
    const QString mode = server.Mode() == ForwardMode::Binary ? u"binary"_s : u"text"_s;
    QString line = u"%1: %2, %3, %4"_s.arg(server.Name(), OnOff(server.Enabled()), mode,
                                           SocketStateText(server.State()));
    if (server.LocalPort() != 0) line += u", port %1"_s.arg(server.LocalPort());
    return {.lines = {line + u", "_s + server.Notice()},
            .data = {{u"name"_s, server.Name()},
                     {u"enabled"_s, server.Enabled()},
                     {u"mode"_s, mode},
                     {u"state"_s, static_cast<int>(server.State())},
                     {u"stateText"_s, SocketStateText(server.State())},
                     {u"port"_s, server.LocalPort()},
                     {u"notice"_s, server.Notice()},
                     {u"caption"_s, server.Caption()}}};
}

Section ClientStatus(const Program& program) {
    const ForwardingClient& client = program.forwarding.client;
    const QString host = program.settings.GetSetting(u"RemoteHost"_s);
    const QString port = program.settings.GetSetting(u"ClientPort"_s);
    QString line = u"Client: %1, %2"_s.arg(OnOff(client.Enabled()), SocketStateText(client.State()));
    if (!host.isEmpty()) line += u", %1:%2"_s.arg(host, port);
    if (!client.Notice().isEmpty()) line += u", "_s + client.Notice();
    return {.lines = {line},
            .data = {{u"enabled"_s, client.Enabled()},
                     {u"state"_s, static_cast<int>(client.State())},
                     {u"stateText"_s, SocketStateText(client.State())},
                     {u"host"_s, host},
                     {u"port"_s, port},
                     {u"notice"_s, client.Notice()},
                     {u"caption"_s, client.Caption()}}};
}

Section GetStatus(const Program& program) {
    const GetUpload& upload = program.getUpload;
    const QString path = program.settings.GetSetting(u"GetURLext"_s);
    const QString layout = program.settings.GetSetting(u"GetLayout"_s, u"1"_s);
    const QStringList log = LastLines(upload.Log());
    Section section{
        .lines = {u"GET upload: %1, http://%2%3, layout %4, %5"_s.arg(
            OnOff(upload.Enabled()), upload.Host(), path, layout, SocketStateText(upload.State()))},
        .data = {{u"enabled"_s, upload.Enabled()},
                 {u"host"_s, upload.Host()},
                 {u"path"_s, path},
                 {u"layout"_s, layout},
                 {u"state"_s, static_cast<int>(upload.State())},
                 {u"log"_s, QJsonArray::fromStringList(log)}}};
    for (const QString& line : log)
        section.lines.append(u"    "_s + line.trimmed().replace("\r\n"_L1, "\n    "_L1));
    return section;
}

Section FeedStatus(const Program& program) {
    const FeedUpload& upload = program.feedUpload;
    const QString feed = program.settings.GetSetting(u"PachubeFeed"_s);
    const QString title = program.settings.GetSetting(u"PacTitle"_s);
    const QStringList log = LastLines(upload.Log());
    const FeedChannels channels = upload.Channels();
    QStringList assigned;
    QJsonArray datastreams;
    for (int id = 0; id <= LastAssigned(channels); ++id) {
        const auto& channel = channels[static_cast<std::size_t>(id)];
        if (!channel.has_value()) continue;
        assigned.append(u"    %1 is %2"_s.arg(id).arg(channel->Text()));
        datastreams.append(QJsonObject{{u"id"_s, id}, {u"channel"_s, channel->Text()}});
    }
    Section section{.lines = {u"Feed: %1, feed %2, title \"%3\", the key is %4"_s.arg(
                        OnOff(upload.Enabled()), feed, title, upload.HasKey() ? u"set"_s : u"not set"_s)},
                    .data = {{u"enabled"_s, upload.Enabled()},
                             {u"feed"_s, feed},
                             {u"title"_s, title},
                             {u"keySet"_s, upload.HasKey()},
                             {u"datastreams"_s, datastreams},
                             {u"log"_s, QJsonArray::fromStringList(log)}}};
    section.lines += assigned;
    for (const QString& line : log)
        section.lines.append(u"    "_s + line);
    return section;
}

QCoro::Task<Reply> ForwardStatus(Program& program, QStringList, Operator&) {
    const Section serverB = ServerStatus(program.forwarding.serverB);
    const Section listening = ServerStatus(program.forwarding.listeningServer);
    const Section client = ClientStatus(program);
    const Section get = GetStatus(program);
    const Section feed = FeedStatus(program);
    Reply reply;
    reply.lines = listening.lines + serverB.lines + client.lines + get.lines + feed.lines;
    reply.data = {{u"servers"_s, QJsonArray{listening.data, serverB.data}},
                  {u"client"_s, client.data},
                  {u"get"_s, get.data},
                  {u"feed"_s, feed.data}};
    co_return reply;
}

/// What a word of `forward set` changes; without a value of its own it takes one from the user.
struct RoleChoice {
    QLatin1StringView role;
    QLatin1StringView word;
    const char* key;
    const char* value;
};

constexpr RoleChoice kRoleChoices[] = {
    {"server"_L1, "on"_L1, "ServerEnable", "True"},      {"server"_L1, "off"_L1, "ServerEnable", "False"},
    {"server"_L1, "binary"_L1, "BinaryData", "True"},    {"server"_L1, "text"_L1, "BinaryData", "False"},
    {"server"_L1, "port"_L1, "TcpPortHA", nullptr},      {"b"_L1, "on"_L1, "HAServerEnable", "True"},
    {"b"_L1, "off"_L1, "HAServerEnable", "False"},       {"b"_L1, "binary"_L1, "HAbinaryData", "True"},
    {"b"_L1, "text"_L1, "HAbinaryData", "False"},        {"b"_L1, "port"_L1, "HAserverPort", nullptr},
    {"client"_L1, "on"_L1, "ClientEnable", "True"},      {"client"_L1, "off"_L1, "ClientEnable", "False"},
    {"client"_L1, "address"_L1, "ClientTCPip", nullptr}, {"client"_L1, "port"_L1, "ClientPort", nullptr},
};

Reply Save(Program& program, const char* key, const QString& value) {
    const auto [outcome, told] =
        ApplySetting(program, {SettingsStore::kStartup, QString::fromLatin1(key)}, value);
    return Reply::Of(outcome, told);
}

QCoro::Task<Reply> ForwardSet(Program& program, QStringList arguments, Operator&) {
    const QString role = arguments[0].toLower();
    const QString word = arguments[1].toLower();
    for (const RoleChoice& choice : kRoleChoices) {
        if (role != choice.role || word != choice.word) continue;
        if ((choice.value == nullptr) != (arguments.size() == 3)) break;
        co_return Save(program, choice.key,
                       choice.value != nullptr ? QString::fromLatin1(choice.value) : arguments[2]);
    }
    co_return Reply::Failure(
        u"For server and b: on, off, binary, text, port PORT. For client: on, off, address IP, port PORT."_s);
}

ForwardingServer* ServerOf(Program& program, const QString& word) {
    if (word.toLower() == "server"_L1) return &program.forwarding.listeningServer;
    if (word.toLower() == "b"_L1) return &program.forwarding.serverB;
    return nullptr;
}

const QString kNoSuchServer = u"There are the servers server and b."_s;

QCoro::Task<Reply> ForwardListen(Program& program, QStringList arguments, Operator&) {
    ForwardingServer* server = ServerOf(program, arguments.first());
    if (server == nullptr) co_return Reply::Failure(kNoSuchServer);
    server->Listen();
    if (server->State() == SocketState::Error) {
        co_return Reply::Failure(u"%1: %2"_s.arg(server->Name(), server->ErrorText()));
    }
    co_return Reply::Line(ServerStatus(*server).lines.first());
}

QCoro::Task<Reply> ForwardStop(Program& program, QStringList arguments, Operator&) {
    ForwardingServer* server = ServerOf(program, arguments.first());
    if (server == nullptr) co_return Reply::Failure(kNoSuchServer);
    server->Stop();
    co_return Reply::Line(ServerStatus(*server).lines.first());
}

QCoro::Task<Reply> ForwardConnect(Program& program, QStringList, Operator&) {
    const Outcome begun = program.forwarding.client.Connect();
    co_return Reply::Of(begun, ClientStatus(program).lines.first());
}

QCoro::Task<Reply> ForwardCheck(Program& program, QStringList, Operator& op) {
    const bool available = co_await program.connectionCheck.InternetConnectionAvailable(op);
    co_return available ? Reply::Line(u"The internet can be reached."_s)
                        : Reply::Failure(u"The internet cannot be reached."_s);
}

QCoro::Task<Reply> GetOn(Program& program, QStringList, Operator&) {
    co_return Save(program, "GetEnable", u"True"_s);
}

QCoro::Task<Reply> GetOff(Program& program, QStringList, Operator&) {
    co_return Save(program, "GetEnable", u"False"_s);
}

QCoro::Task<Reply> GetUrl(Program& program, QStringList arguments, Operator&) {
    co_return Save(program, "GetURL", arguments.first());
}

QCoro::Task<Reply> GetPath(Program& program, QStringList arguments, Operator&) {
    co_return Save(program, "GetURLext", arguments.first());
}

QCoro::Task<Reply> GetLayout(Program& program, QStringList arguments, Operator&) {
    co_return Save(program, "GetLayout", arguments.first());
}

QCoro::Task<Reply> FeedSet(Program& program, QStringList arguments, Operator& op) {
    constexpr struct {
        QLatin1StringView word;
        const char* key;
    } kChoices[] = {{"key"_L1, "PachubeKey"},
                    {"feed"_L1, "PachubeFeed"},
                    {"title"_L1, "PacTitle"},
                    {"host"_L1, "PacHost"},
                    {"interval"_L1, "PacInterval"}};
    for (const auto& choice : kChoices) {
        if (arguments.first().toLower() != choice.word) continue;
        std::optional<QString> value;
        if (arguments.size() > 1) {
            value = arguments[1];
        } else {
            // Asked for, a key leaves no trace in the history of a shell.
            value = co_await op.AskText(choice.word + u": "_s);
        }
        if (!value.has_value()) co_return Reply::Failure(u"Nothing was entered."_s);
        co_return Save(program, choice.key, *value);
    }
    co_return Reply::Failure(u"There are key, feed, title, host and interval."_s);
}

/// The assignment of a datastream as it is now.
QString AssignmentLine(const Program& program, const QString& id) {
    const auto channel = program.feedUpload.Channels()[id.toUInt()];
    return u"Datastream %1: %2"_s.arg(id, channel.has_value() ? channel->Text() : u"none"_s);
}

QCoro::Task<Reply> FeedAssign(Program& program, QStringList arguments, Operator& op) {
    const Outcome assigned = co_await program.feedUpload.Assign(arguments[0], arguments[1], op);
    if (!assigned) co_return Reply::Failure(assigned.Error());
    co_return Reply::Line(AssignmentLine(program, arguments[0]));
}

QCoro::Task<Reply> FeedClear(Program& program, QStringList arguments, Operator& op) {
    const Outcome cleared = co_await program.feedUpload.Assign(arguments[0], std::nullopt, op);
    if (!cleared) co_return Reply::Failure(cleared.Error());
    co_return Reply::Line(AssignmentLine(program, arguments[0]));
}

QCoro::Task<Reply> FeedEnable(Program& program, QStringList arguments, Operator&) {
    const QString word = arguments.first().toLower();
    if (word != "on"_L1 && word != "off"_L1) co_return Reply::Failure(u"The feed is switched on or off."_s);
    co_return Save(program, "PacEnable", word == "on"_L1 ? u"True"_s : u"False"_s);
}

QCoro::Task<Reply> FeedSend(Program& program, QStringList, Operator&) {
    const Outcome sent = co_await program.feedUpload.SendNow();
    co_return Reply::Of(sent, sent ? program.feedUpload.Log().Lines().back() : QString());
}

QCoro::Task<Reply> FeedSetup(Program& program, QStringList, Operator&) {
    const Outcome sent = co_await program.feedUpload.SetUpNow();
    co_return Reply::Of(sent, sent ? program.feedUpload.Log().Lines().back() : QString());
}

}  // namespace

std::span<const Command> ForwardCommands() {
    static constexpr Command commands[] = {
        {"forward status", "", "What is forwarded, to whom, and how the uploads go.", 0, 0, true,
         ForwardStatus},
        {"forward set", "server|b|client WHAT [VALUE]",
         "Switches a role on or off, or sets its mode, port, address.", 2, 3, false, ForwardSet},
        {"forward listen", "server|b", "Lets a forwarding server wait for its peer, now and at every start.",
         1, 1, false, ForwardListen},
        {"forward stop", "server|b", "Closes a forwarding server until it is told to listen again.", 1, 1,
         false, ForwardStop},
        {"forward connect", "", "Connects the forwarding client; disconnects it where it is connected.", 0, 0,
         false, ForwardConnect},
        {"forward check", "", "Whether the internet can be reached.", 0, 0, false, ForwardCheck},
        {"get on", "", "Sends every packet's values to a web server, as a GET request.", 0, 0, false, GetOn},
        {"get off", "", "Ends that.", 0, 0, false, GetOff},
        {"get url", "HOST[:PORT]", "The web server of the GET requests.", 1, 1, false, GetUrl},
        {"get path", "PATH", "The path on it.", 1, 1, false, GetPath},
        {"get layout", "1|2", "The layout of the GET query.", 1, 1, false, GetLayout},
        {"feed set", "key|feed|title|host|interval [VALUE]", "Chooses a property of the feed.", 1, 2, false,
         FeedSet},
        {"feed assign", "ID CHANNEL", "Lets datastream 0 to 50 carry a channel such as A:CH1.", 2, 2, false,
         FeedAssign},
        {"feed clear", "ID", "Lets a datastream carry nothing.", 1, 1, false, FeedClear},
        {"feed enable", "on|off", "Whether the feed is sent by itself, every so often.", 1, 1, false,
         FeedEnable},
        {"feed send", "", "Sends the feed's values now.", 0, 0, false, FeedSend},
        {"feed setup", "", "Sends the document that sets up the feed's datastreams.", 0, 0, false, FeedSetup},
    };
    return commands;
}

}  // namespace corvane
