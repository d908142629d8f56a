#include "app/command.h"
#include "app/program.h"

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

constexpr Command kCommands[] = {
    {"listen", "A|B", "Lets TCP Server A or B wait for its gateway, now and at every start.", 1, 1, false,
     Listen},
    {"disconnect", "A|B", "Closes TCP Server A or B until it is told to listen again.", 1, 1, false,
     Disconnect},
};

}  // namespace

std::span<const Command> LinkCommands() {
    return kCommands;
}

}  // namespace corvane
