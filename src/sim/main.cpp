// corvane-sim: a simulated monitor at the other end of a TCP connection.
#include <QCoreApplication>
#include <QCoroTask>

#include <cstdio>

#include "base/clock.h"
#include "base/exit_codes.h"
#include "base/termination.h"
#include "sim/connection.h"
#include "sim/packet_sender.h"
#include "sim/sim_options.h"
#include "sim/simulated_monitor.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

void Print(std::FILE* file, const QString& text) {
    std::fputs(qPrintable(text + u'\n'), file);
    std::fflush(file);
}

QCoro::Task<> SendAndQuit(SimulatedMonitor& monitor, Connection& connection, Clock& clock, Pace pace) {
    co_await SendPackets(monitor, connection, clock, pace);
    QCoreApplication::quit();
}

int Run(const SimOptions& options) {
    const Termination termination;
    SystemClock clock;
    Connection connection(clock);
    SimulatedMonitor monitor(options.monitor);
    QObject::connect(&termination, &Termination::Requested, [] { QCoreApplication::quit(); });
    QObject::connect(&connection, &Connection::Trouble, [](const QString& text) { Print(stderr, text); });

    if (!options.host.isEmpty()) {
        connection.KeepConnected(options.host, options.port);
    } else if (const Outcome listening = connection.Listen(options.port)) {
        Print(stdout, u"Listening on port %1"_s.arg(connection.ListeningPort()));
    } else {
        Print(stderr, listening.Error());
        return kExitOther;
    }

    SendAndQuit(monitor, connection, clock, options.pace);
    const int code = QCoreApplication::exec();
    clock.EndWaits();
    return code;
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral(CORVANE_VERSION));
    const auto parsed = corvane::ParseSimOptions(QCoreApplication::arguments());
    if (const auto* exit = std::get_if<corvane::SimOptionsExit>(&parsed)) {
        corvane::Print(exit->code == 0 ? stdout : stderr, exit->text);
        return exit->code;
    }
    return corvane::Run(std::get<corvane::SimOptions>(parsed));
}
