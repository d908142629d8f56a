// corvane: the program with its window.
#include <QApplication>
#include <QIcon>
#include <QMessageBox>
#include <QTimer>

#include <cstdio>
#include <optional>
#include <utility>
#include <variant>

#include "app/folder_lock.h"
#include "app/options.h"
#include "app/program.h"
#include "base/clock.h"
#include "base/exit_codes.h"
#include "base/termination.h"
#include "demo/demo.h"
#include "remote/remote_protocol.h"
#include "remote/remote_server.h"
#include "window/main_window.h"

using namespace Qt::StringLiterals;

namespace corvane {
namespace {

/// Before there is a window, and after it.
void Complain(const QString& text) {
    std::fprintf(stderr, "%s\n", text.toUtf8().constData());
    auto* box = new QMessageBox(QMessageBox::Warning, u"Corvane"_s, text);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->open();
}

class Desktop {
public:
    Desktop(const Options& options, const Termination& termination)
        : program_(options, clock_), remote_(program_), window_(program_) {
        QObject::connect(&termination, &Termination::Requested, &window_, [this] {
            window_.Person().EndQuestions();  // nobody is asked then
            Close();
        });
        QObject::connect(&window_, &MainWindow::CloseWanted, [this] { Close(); });
        window_.show();
    }

    QCoro::Task<> Start(SocketFor control) {
        const Outcome started = co_await program_.Start(window_.Person());
        if (closing_) co_return;
        if (!started) {
            window_.hide();
            exitCode_ = kExitNoDatabase;
            Complain(started.Error());
            QObject::connect(qApp, &QGuiApplication::lastWindowClosed,
                             [this] { QCoreApplication::exit(exitCode_); });
            co_return;
        }
        const Outcome listening = remote_.Listen(RemoteSocketPath(program_.DataFolder()), control);
        if (!listening) program_.statusBoard.AddLine(u"     "_s + listening.Error());
        window_.ShowProgram();
    }

    void ShowDemo(std::vector<SimulatedMonitor> monitors) {
        demo_.emplace(program_.framer, clock_, std::move(monitors));
        window_.SayItIsADemo();
    }

private:
    QCoro::Task<> Close() {
        if (std::exchange(closing_, true)) co_return;
        remote_.Close();
        co_await program_.Close(window_.Person());
        window_.PrepareToEnd();
        QCoreApplication::exit(exitCode_);
    }

    SystemClock clock_;
    Program program_;
    RemoteServer remote_;
    MainWindow window_;
    std::optional<DemoMonitors> demo_;
    bool closing_ = false;
    int exitCode_ = kExitOk;
};

int RunDesktop(const Options& options, const DemoFolder* demo, const Termination& termination) {
    QApplication::setQuitOnLastWindowClosed(false);
    Desktop desktop(options, termination);
    if (demo != nullptr) desktop.ShowDemo(demo->Monitors());
    QTimer::singleShot(0, [&] { desktop.Start(options.control); });
    return QApplication::exec();
}

/// Shows the text until it is closed.
int Refuse(const QString& text, int exitCode, const Termination& termination) {
    QObject::connect(&termination, &Termination::Requested, qApp, &QCoreApplication::quit);
    Complain(text);
    QApplication::exec();
    return exitCode;
}

int Run() {
    QStringList arguments = QCoreApplication::arguments();
    const bool demo = arguments.removeAll(u"--demo"_s) > 0;
    const auto parsed = ParseOptions(arguments);
    if (const auto* exit = std::get_if<OptionsExit>(&parsed)) {
        std::puts(exit->text.toUtf8().constData());
        if (exit->code == kExitOk)
            std::puts("  --demo          Show simulated monitors, in a folder that goes again.");
        return exit->code;
    }
    const Termination termination;  // from here on: a demo that is being prepared has a folder to remove
    if (demo) {
        DemoFolder folder;
        const Outcome prepared = folder.Prepare(SystemClock().Now());
        return prepared ? RunDesktop(folder.Where(), &folder, termination)
                        : Refuse(prepared.Error(), kExitNoFolder, termination);
    }
    const Options& options = std::get<Options>(parsed);
    FolderLock lock(options.dataFolder);
    const FolderTaken taken = TakeFolder(options.dataFolder, lock);
    return taken.exitCode == kExitOk ? RunDesktop(options, nullptr, termination)
                                     : Refuse(taken.problem, taken.exitCode, termination);
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    corvane::SetUpApplication();
    QApplication::setWindowIcon(QIcon(u":/corvane.svg"_s));
    QGuiApplication::setDesktopFileName(u"corvane"_s);
    return corvane::Run();
}
