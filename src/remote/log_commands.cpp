#include <QFile>
#include <QJsonArray>

#include "app/program.h"
#include "remote/command.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

Reply ShowLog(const Program& program) {
    const ErrorLog::Listing listing = program.errorLog.Load();
    Reply reply;
    reply.lines = listing.lines;
    if (!listing.message.isEmpty()) reply.lines.append(listing.message);
    if (reply.lines.isEmpty()) reply.lines.append(u"The error log is empty."_s);
    reply.data = {{u"lines"_s, QJsonArray::fromStringList(listing.lines)}, {u"message"_s, listing.message}};
    return reply;
}

QCoro::Task<Reply> Log(Program& program, QStringList arguments, Operator& op) {
    if (arguments.first() == "show"_L1) co_return ShowLog(program);
    if (arguments.first() != "delete"_L1) co_return Reply::Failure(u"Usage: log show|delete"_s);
    const Outcome done = co_await program.errorLog.Delete(op);
    co_return Reply::Of(done, QFile::exists(program.errorLog.Path()) ? u"The error log was kept."_s
                                                                     : u"There is no error log now."_s);
}

}  // namespace

std::span<const Command> LogCommands() {
    static constexpr Command commands[] = {
        {"log", "show|delete", "The log of errors and lost data.", 1, 1, false, Log},
    };
    return commands;
}

}  // namespace corvane
