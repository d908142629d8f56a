// corvaned: the program as a service, without a window.
#include <QCoreApplication>
#include <QTimer>

#include <variant>

#include "app/console.h"
#include "app/folder_lock.h"
#include "app/options.h"
#include "app/program.h"
#include "base/clock.h"
#include "base/exit_codes.h"
#include "base/termination.h"
#include "remote/remote_protocol.h"
#include "remote/remote_server.h"

using namespace Qt::StringLiterals;

namespace corvane {
namespace {

class Service {
public:
    explicit Service(const Options& options) : program_(options, clock_), remote_(program_) {
        QObject::connect(&termination_, &Termination::Requested, [this] { Close(); });
        if (options.verbose) program_.measurement.AddSink(printer_);
    }

    QCoro::Task<> Start(SocketFor control) {
        Say(u"Corvane %1, data in %2"_s.arg(QCoreApplication::applicationVersion(), program_.DataFolder()));
        for (const QString& line : program_.statusBoard.Lines())
            Say(line);  // what building the program gave
        QObject::connect(&program_.statusBoard, &StatusBoard::LineAdded, &Say);
        const Outcome started = co_await program_.Start(operator_);
        if (!started) {
            Say(started.Error());
            QCoreApplication::exit(kExitNoDatabase);
            co_return;
        }
        const Outcome listening = remote_.Listen(RemoteSocketPath(program_.DataFolder()), control);
        if (!listening) Say(listening.Error());  // the capture goes on without it
        for (const TcpLink* link : program_.TcpLinks()) {
            if (link->State() != SocketState::Listening) continue;
            Say(u"%1 listens on port %2."_s.arg(link->Name()).arg(link->LocalPort()));
        }
    }

private:
    QCoro::Task<> Close() {
        if (std::exchange(closing_, true)) co_return;
        remote_.Close();
        co_await program_.Close(operator_);
        QCoreApplication::exit(kExitOk);
    }

    SystemClock clock_;
    ServiceOperator operator_;
    PacketPrinter printer_;
    Program program_;
    RemoteServer remote_;
    Termination termination_;
    bool closing_ = false;
};

int Run() {
    const auto parsed = ParseOptions(QCoreApplication::arguments());
    if (const auto* exit = std::get_if<OptionsExit>(&parsed)) {
        Say(exit->text);
        return exit->code;
    }
    const Options& options = std::get<Options>(parsed);
    FolderLock lock(options.dataFolder);
    const FolderTaken taken = TakeFolder(options.dataFolder, lock);
    if (taken.exitCode != kExitOk) {
        Say(taken.problem);
        return taken.exitCode;
    }

    Service service(options);
    QTimer::singleShot(0, [&] { service.Start(options.control); });
    return QCoreApplication::exec();
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    corvane::SetUpApplication();
    return corvane::Run();
}
