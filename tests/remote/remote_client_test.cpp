// corvanectl on a terminal, told by a program that the test plays.
#include <QCoreApplication>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QProcess>

#include <csignal>
#include <memory>
#include <optional>

#include "remote/remote_client.h"
#include "remote/remote_protocol.h"
#include "support/pty.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class RemoteClientTest : public testing::Test {
protected:
    /// Starts corvanectl, its input and standard error on a terminal where there is to be one.
    void Start(const QStringList& arguments, bool onTerminal = true) {
        terminal_ = std::make_unique<Pty>();
        ctl_ = std::make_unique<QProcess>();
        if (onTerminal) {
            ctl_->setChildProcessModifier([path = terminal_->Path().toLocal8Bit()] {
                setsid();
                signal(SIGINT, SIG_DFL);  // ignored, and so inherited, where the tests run in the background
                const int line = open(path.constData(), O_RDWR);
                termios settings{};
                tcgetattr(line, &settings);
                settings.c_lflag |= ICANON | ISIG;
                tcsetattr(line, TCSANOW, &settings);
                dup2(line, STDIN_FILENO);
                dup2(line, STDERR_FILENO);
            });
        }
        ctl_->start(QDir(QCoreApplication::applicationDirPath()).filePath(u"corvanectl"_s),
                    QStringList{u"--data-dir"_s, folder_.Path()} + arguments);
    }

    /// The same, with a program that runs; what that is asked.
    QByteArray Call(const QStringList& arguments, bool onTerminal = true) {
        EXPECT_TRUE(server_.isListening() || server_.listen(RemoteSocketPath(folder_.Path())));
        Start(arguments, onTerminal);
        EXPECT_TRUE(SpinUntil([this] { return server_.hasPendingConnections(); }));
        program_.reset(server_.nextPendingConnection());
        return Sent();
    }

    /// The next line that corvanectl sends; nothing where it ends.
    QByteArray Sent() {
        EXPECT_TRUE(SpinUntil([this] {
            return program_->canReadLine() || program_->state() == QLocalSocket::UnconnectedState;
        }));
        return program_->readLine().trimmed();
    }

    /// -1: a signal ended it.
    int ExitCode() {
        EXPECT_TRUE(SpinUntil([this] { return ctl_->state() == QProcess::NotRunning; }));
        return ctl_->exitStatus() == QProcess::NormalExit ? ctl_->exitCode() : -1;
    }

    TempFolder folder_;
    QLocalServer server_;
    std::unique_ptr<QLocalSocket> program_;
    std::unique_ptr<Pty> terminal_;
    std::unique_ptr<QProcess> ctl_;
};

TEST_F(RemoteClientTest, APersonIsAskedUntilTheAnswerIsOne) {
    const struct {
        const char *question, *typed, *answer;
        int asked;
        const char* choices;
    } cases[] = {
        {R"({"ask":"Sure?"})", "y\n", R"({"answer":"yes"})", 1, " [yes/no] "},
        {R"({"ask":"Sure?"})", "\n NO \n", R"({"answer":"no"})", 2, " [yes/no] "},
        {R"({"ask":"Sure?"})", "yesterday\nc\nyes\n", R"({"answer":"yes"})", 3, " [yes/no] "},
        {R"({"ask":"Sure?","cancellable":true})", "c\n", R"({"answer":"cancel"})", 1, " [yes/no/cancel] "},
        {R"({"ask":"Sure?","yes":"Keep","no":"Drop"})", "y\nk\n", R"({"answer":"yes"})", 2, " [keep/drop] "},
        {R"({"askText":"Sure?"})", "a b\n", R"({"text":"a b"})", 1, " "},
        {R"({"askText":"Sure?"})", "\n", R"({"text":""})", 1, " "},
        {R"({"ask":"Sure?"})", "\n\x04", R"({"answer":null})", 2, " [yes/no] "},
        {R"({"askText":"Sure?"})", "", R"({"text":null})", 1, " "},  // the file has ended
        {R"({"ask":"Sure?"})", "\x03", "", 1, " [yes/no] "},
    };
    EXPECT_EQ(Call({u"db"_s, u"empty"_s}), R"({"arguments":["empty"],"command":"db"})");
    for (const auto& c : cases) {
        if (*c.answer == '\0') (void)Call({u"status"_s});
        const auto before = terminal_->Received().size();
        program_->write(QByteArray(c.question) + '\n');
        EXPECT_TRUE(SpinUntil([&] { return terminal_->Received().size() > before; }));
        terminal_->Send(c.typed);
        EXPECT_EQ(Sent(), c.answer) << c.typed;
        EXPECT_EQ(terminal_->Received().mid(before), ("Sure?" + QByteArray(c.choices)).repeated(c.asked))
            << c.typed;
    }
    EXPECT_EQ(ExitCode(), -1) << "Ctrl-C answers nothing";
}

TEST_F(RemoteClientTest, WhatIsNoAnswerIsNotMixedWithIt) {
    const struct {
        QStringList options;
        bool onTerminal;
        const char* reply;
        int code;
        const char *out, *error;
    } cases[] = {
        {{}, true, R"({"ok":true,"lines":["one","zwö"],"data":{"n":1}})", 0, "Working\none\nzwö\n", ""},
        {{u"--json"_s}, true, R"({"ok":true,"lines":["one"],"data":{"n":1}})", 0, "{\"n\":1}\n", "Working\n"},
        {{u"--json"_s}, false, R"({"ok":false,"error":"No."})", 1, "", "Working\nNo.\n"},
        {{}, true, "", 1, "Working\n", "The program ended before it answered.\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Call(c.options + QStringList{u"--no"_s, u"status"_s}, c.onTerminal),
                  R"({"answer":"no","arguments":[],"command":"status"})");
        program_->write(
            "{\"progress\":\"Backup\",\"seconds\":2,\"percent\":null}\n"
            "{\"progress\":\"Backup\",\"seconds\":3,\"percent\":40}\n{\"message\":\"Working\"}\n");
        if (!c.onTerminal) {
            program_->write("{\"ask\":\"Sure?\"}\n");
            EXPECT_EQ(Sent(), R"({"answer":null})") << "there is nobody to ask";
        }
        if (*c.reply != '\0') program_->write(QByteArray(c.reply) + '\n');
        program_->disconnectFromServer();
        EXPECT_EQ(ExitCode(), c.code);
        EXPECT_EQ(ctl_->readAllStandardOutput(), c.out);
        const char* const progress =
            c.onTerminal ? "\r\033[KBackup  2 s\r\033[KBackup  3 s, 40 %\r\033[K" : "";
        EXPECT_EQ(terminal_->Received() + ctl_->readAllStandardError(), QByteArray(progress) + c.error);
    }
}

TEST_F(RemoteClientTest, TurnsToTheFirstFolderOnWhichAProgramRuns) {
    const QString silent = folder_.Path(u"silent"_s);
    ASSERT_TRUE(QDir().mkpath(silent));
    for (const bool runs : {true, false}) {
        RemoteClient client({.command = u"status"_s, .arguments = {}, .answer = std::nullopt}, false);
        std::optional<bool> succeeded;
        QObject::connect(&client, &RemoteClient::Ended, [&](bool ended) { succeeded = ended; });
        ASSERT_TRUE(!runs || server_.listen(RemoteSocketPath(folder_.Path())));
        testing::internal::CaptureStderr();
        client.Start({silent, folder_.Path(), silent});
        if (runs) {
            ASSERT_TRUE(SpinUntil([this] { return server_.hasPendingConnections(); }));
            program_.reset(server_.nextPendingConnection());
            EXPECT_EQ(Sent(), R"({"arguments":[],"command":"status"})");
            program_->write("{\"ok\":true}\n");
            server_.close();
        }
        EXPECT_TRUE(SpinUntil([&] { return succeeded.has_value(); }));
        EXPECT_EQ(succeeded, runs);
        EXPECT_EQ(
            QString::fromStdString(testing::internal::GetCapturedStderr()),
            runs ? QString()
                 : u"No Corvane program runs on %1, nor on %2, nor on %1.\n"_s.arg(silent, folder_.Path()));
    }
}

TEST_F(RemoteClientTest, SaysWhatIsWrongWithACall) {
    const struct {
        QStringList arguments;
        int code;
        QString told;
    } cases[] = {
        {{u"status"_s}, 1, u"No Corvane program runs on "_s + folder_.Path() + u".\n"_s},
        {{}, 64, u"No command given.\nTry --help.\n"_s},
        {{u"--yes"_s, u"--no"_s, u"x"_s},
         64,
         u"--yes, --no and --cancel exclude each other.\nTry --help.\n"_s},
        {{u"--maybe"_s}, 64, u"Unknown option 'maybe'.\nTry --help.\n"_s},
        {{u"--version"_s}, 0, u"corvanectl 0."_s},
        {{u"help"_s}, 0, u"Usage: "_s},
    };
    for (const auto& c : cases) {
        Start(c.arguments, false);
        EXPECT_EQ(ExitCode(), c.code);
        const QString told = QString::fromUtf8(ctl_->readAllStandardOutput() + ctl_->readAllStandardError());
        EXPECT_TRUE(told.startsWith(c.told)) << told.toStdString();
    }
}

}  // namespace
}  // namespace corvane
