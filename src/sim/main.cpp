// corvane-sim: a simulated monitor at the other end of a line.
#include <QCoreApplication>
#include <QCoroTask>

#include <clocale>
#include <cstdio>
#include <memory>
#include <variant>

#include "base/clock.h"
#include "base/exit_codes.h"
#include "base/termination.h"
#include "sim/command_listener.h"
#include "sim/packet_sender.h"
#include "sim/pty_line.h"
#include "sim/serial_port_line.h"
#include "sim/sim_options.h"
#include "sim/simulated_monitor.h"
#include "sim/tcp_line.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

void Print(std::FILE* file, const QString& text) {
    std::fputs(qPrintable(text + u'\n'), file);
    std::fflush(file);
}

QCoro::Task<> SendAndQuit(SimulatedMonitor& monitor, Line& line, Clock& clock, Pace pace) {
    co_await SendPackets(monitor, line, clock, pace);
    QCoreApplication::quit();
}

/// Makes the line that the options ask for; nothing, after saying why, where that fails.
class LineMaker {
public:
    explicit LineMaker(Clock& clock) : clock_(clock) {}

    std::unique_ptr<Line> operator()(const ConnectTo& to) const {
        auto line = std::make_unique<TcpLine>(clock_);
        QObject::connect(line.get(), &TcpLine::Trouble, [](const QString& text) { Print(stderr, text); });
        line->KeepConnected(to.host, to.port);
        return line;
    }

    std::unique_ptr<Line> operator()(const ListenOn& on) const {
        auto line = std::make_unique<TcpLine>(clock_);
        if (!Succeeded(line->Listen(on.port))) return nullptr;
        Print(stdout, u"Listening on port %1"_s.arg(line->ListeningPort()));
        return line;
    }

    std::unique_ptr<Line> operator()(const LinkPty& pty) const {
        auto line = std::make_unique<PtyLine>();
        if (!Succeeded(line->Open(pty.link))) return nullptr;
        Print(stdout, u"Pseudo terminal at %1"_s.arg(pty.link));
        return line;
    }

    std::unique_ptr<Line> operator()(const OpenPort& port) const {
        auto line = std::make_unique<SerialPortLine>();
        if (!Succeeded(line->Open(port.device, port.baud))) return nullptr;
        QObject::connect(line.get(), &SerialPortLine::Failed, [](const QString& text) {
            Print(stderr, text);
            QCoreApplication::exit(kExitOther);
        });
        return line;
    }

private:
    static bool Succeeded(const Outcome& outcome) {
        if (!outcome) Print(stderr, outcome.Error());
        return bool{outcome};
    }

    Clock& clock_;
};

int Run(const SimOptions& options) {
    const Termination termination;
    QObject::connect(&termination, &Termination::Requested, [] { QCoreApplication::quit(); });
    SystemClock clock;
    const std::unique_ptr<Line> line = std::visit(LineMaker(clock), options.line);
    if (line == nullptr) return kExitOther;

    SimulatedMonitor monitor(options.monitor);
    const CommandListener listener(monitor, *line, clock, options.faults);
    SendAndQuit(monitor, *line, clock, options.pace);
    const int code = QCoreApplication::exec();
    clock.EndWaits();
    return code;
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    std::setlocale(LC_NUMERIC, "C");
    QCoreApplication::setApplicationVersion(QStringLiteral(CORVANE_VERSION));
    const auto parsed = corvane::ParseSimOptions(QCoreApplication::arguments());
    if (const auto* exit = std::get_if<corvane::SimOptionsExit>(&parsed)) {
        corvane::Print(exit->code == 0 ? stdout : stderr, exit->text);
        return exit->code;
    }
    return corvane::Run(std::get<corvane::SimOptions>(parsed));
}
