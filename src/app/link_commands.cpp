#include <QJsonArray>

#include "app/command.h"
#include "app/program.h"
#include "link/raw_view.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

TcpLink* LinkOf(Program& program, const QString& letter) {
    for (TcpLink* link : {&program.tcpA, &program.tcpB}) {
        if (letter.compare(link->Letter(), Qt::CaseInsensitive) == 0) return link;
    }
    return nullptr;
}

const QString kNoSuchLink = u"There are TCP Server A and B."_s;

QCoro::Task<Reply> Listen(Program& program, QStringList arguments, Operator&) {
    TcpLink* link = LinkOf(program, arguments.first());
    if (link == nullptr) co_return Reply::Failure(kNoSuchLink);
    link->Listen();
    if (link->State() == SocketState::Error) {
        co_return Reply::Failure(u"TCP Server %1: %2"_s.arg(link->Letter()).arg(link->ErrorText()));
    }
    co_return Reply::Line(u"TCP Server %1: %2"_s.arg(link->Letter()).arg(link->WinsockStateDisplay()));
}

QCoro::Task<Reply> Disconnect(Program& program, QStringList arguments, Operator&) {
    TcpLink* link = LinkOf(program, arguments.first());
    if (link == nullptr) co_return Reply::Failure(kNoSuchLink);
    link->Disconnect();
    co_return Reply::Line(u"TCP Server %1: %2"_s.arg(link->Letter()).arg(link->Notice()));
}

struct StreamName {
    QLatin1StringView name;
    int stream;
};

constexpr StreamName kStreamNames[] = {
    {"tcp-a"_L1, kStreamTcpA},
    {"tcp-b"_L1, kStreamTcpB},
};

QCoro::Task<Reply> Raw(Program& program, QStringList arguments, Operator&) {
    const QString word = arguments.first().toLower();
    if (word == "on"_L1 || word == "off"_L1) {
        program.SetRawDisplay(word == "on"_L1);
        co_return Reply::Line(word == "on"_L1 ? u"Received bytes are kept for \"raw STREAM\"."_s
                                              : u"Received bytes are not kept."_s);
    }
    for (const StreamName& known : kStreamNames) {
        if (word != known.name) continue;
        Reply reply;
        for (const std::string& line : RawView(program.framer.RawText(known.stream))) {
            reply.lines.append(QString::fromStdString(line));
        }
        reply.data = {{u"lines"_s, QJsonArray::fromStringList(reply.lines)}};
        if (reply.lines.isEmpty()) reply.lines.append(u"Nothing was kept; \"raw on\" begins."_s);
        co_return reply;
    }
    co_return Reply::Failure(u"There are the streams tcp-a and tcp-b."_s);
}

constexpr Command kCommands[] = {
    {"listen", "A|B", "Lets TCP Server A or B wait for its gateway, now and at every start.", 1, 1, false,
     Listen},
    {"disconnect", "A|B", "Closes TCP Server A or B until it is told to listen again.", 1, 1, false,
     Disconnect},
    {"raw", "on|off|tcp-a|tcp-b", "Keeps received bytes; shows those of a stream by fields.", 1, 1, false,
     Raw},
};

}  // namespace

std::span<const Command> LinkCommands() {
    return kCommands;
}

}  // namespace corvane
