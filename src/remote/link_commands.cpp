#include <QJsonArray>

#include "app/program.h"
#include "app/setting_notes.h"
#include "link/port_finder.h"
#include "link/raw_view.h"
#include "remote/command.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kNoSuchLink = u"There are TCP Server A and B."_s;

QCoro::Task<Reply> Listen(Program& program, QStringList arguments, Operator&) {
    TcpLink* link = LinkOf(program.TcpLinks(), arguments.first());
    if (link == nullptr) co_return Reply::Failure(kNoSuchLink);
    link->Listen();
    if (link->State() == SocketState::Error)
        co_return Reply::Failure(u"%1: %2"_s.arg(link->Name(), link->ErrorText()));
    co_return Reply::Line(u"%1: %2"_s.arg(link->Name(), link->WinsockStateDisplay()));
}

QCoro::Task<Reply> Disconnect(Program& program, QStringList arguments, Operator&) {
    TcpLink* link = LinkOf(program.TcpLinks(), arguments.first());
    if (link == nullptr) co_return Reply::Failure(kNoSuchLink);
    link->Disconnect();
    co_return Reply::Line(u"%1: %2"_s.arg(link->Name(), link->Notice()));
}

const QString kNoSuchSerialLink = u"There are Serial Connection A, B and C."_s;

QCoro::Task<Reply> OpenLink(Program& program, QStringList arguments, Operator&) {
    SerialLink* link = LinkOf(program.SerialLinks(), arguments.first());
    if (link == nullptr) co_return Reply::Failure(kNoSuchSerialLink);
    const SettingPlace place{.member = link->Letter()};
    const QString port = arguments.size() > 1 ? arguments[1] : program.settings.Value(kComPort, place);
    const QString rate = arguments.size() > 2 ? arguments[2] : program.settings.Value(kBaudRate, place);
    const Outcome opened = co_await link->OpenCOM(port, rate);
    Reply reply = Reply::Of(opened, u"%1: Open, port %2"_s.arg(link->Name()).arg(link->Port()));
    if (opened) reply.lines += SettingNotes({&kComPort, place}, program.settings);
    co_return reply;
}

QCoro::Task<Reply> CloseLink(Program& program, QStringList arguments, Operator&) {
    SerialLink* link = LinkOf(program.SerialLinks(), arguments.first());
    if (link == nullptr) co_return Reply::Failure(kNoSuchSerialLink);
    link->CloseCOM();
    co_return Reply::Line(u"%1: Closed"_s.arg(link->Name()));
}

constexpr const char* StateName(PortState state) {
    switch (state) {
        case PortState::Free:
            return "free";
        case PortState::Busy:
            return "busy";
        case PortState::Denied:
            return "denied";
        case PortState::OwnLink:
            return "own";
        case PortState::Missing:
            break;
    }
    return "missing";
}

QCoro::Task<Reply> FindPorts(Program& program, QStringList, Operator&) {
    const auto links = program.SerialLinks();
    const auto found = co_await FindPort(program.serialPorts, program.settings, links, program.clock);
    Reply reply;
    QJsonArray ports;
    bool anyUsable = false;
    for (const FoundPort& port : found) {
        anyUsable |= port.Usable();
        QString line = u"COM %1: %2"_s.arg(port.number).arg(port.path);
        if (!port.product.isEmpty()) line += u" (%1)"_s.arg(port.product);
        reply.lines.append(line + u' ' + PortStateText(port.state, port.path));
        ports.append(QJsonObject{{u"port"_s, port.number},
                                 {u"path"_s, port.path},
                                 {u"state"_s, QLatin1StringView(StateName(port.state))},
                                 {u"product"_s, port.product}});
    }
    if (!anyUsable) reply.lines.append(kNoPortFound);
    reply.data = {{u"ports"_s, ports}};
    co_return reply;
}

QCoro::Task<Reply> Raw(Program& program, QStringList arguments, Operator&) {
    const QString word = arguments.first().toLower();
    if (word == "on"_L1 || word == "off"_L1) {
        program.SetRawDisplay(word == "on"_L1);
        co_return Reply::Line(word == "on"_L1 ? u"Received bytes are kept for \"raw STREAM\"."_s
                                              : u"Received bytes are not kept."_s);
    }
    for (const MonitorLink* link : program.Links()) {
        if (word != link->Word()) continue;
        Reply reply;
        for (const std::string& line : RawView(program.framer.RawText(link->Stream()))) {
            reply.lines.append(QString::fromStdString(line));
        }
        reply.data = {{u"lines"_s, QJsonArray::fromStringList(reply.lines)}};
        if (reply.lines.isEmpty()) reply.lines.append(u"Nothing was kept; \"raw on\" begins."_s);
        co_return reply;
    }
    co_return Reply::Failure(u"There are the streams tcp-a, tcp-b, serial-a, serial-b and serial-c."_s);
}

}  // namespace

std::span<const Command> LinkCommands() {
    static constexpr Command commands[] = {
        {"listen", "A|B", "Lets TCP Server A or B wait for its gateway, now and at every start.", 1, 1, false,
         Listen},
        {"disconnect", "A|B", "Closes TCP Server A or B until it is told to listen again.", 1, 1, false,
         Disconnect},
        {"open", "A|B|C [PORT [BAUD]]",
         "Opens a serial connection; a port and rate given are kept once it is open.", 1, 3, false, OpenLink},
        {"close", "A|B|C", "Closes a serial connection.", 1, 1, false, CloseLink},
        {"find-ports", "", "Tries COM port 1 to 64 and tells what is there.", 0, 0, false, FindPorts},
        {"raw", "on|off|tcp-a|tcp-b|serial-a|serial-b|serial-c",
         "Keeps received bytes; shows those of a stream by fields.", 1, 1, false, Raw},
    };
    return commands;
}

}  // namespace corvane
