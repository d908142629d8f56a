// The program with a window as it is started, on a screen that nobody sees.
#include <QCoreApplication>
#include <QDir>
#include <QLockFile>
#include <QProcess>

#include <gtest/gtest.h>

#include "support/loopback.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

struct Desktop : testing::Test {
    TempFolder temporary;
    TempFolder runtime;
    QProcess program;

    void Start(const QStringList& arguments) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        environment.insert(u"TMPDIR"_s, temporary.Path());
        environment.insert(u"XDG_RUNTIME_DIR"_s, runtime.Path());
        program.setProcessEnvironment(environment);
        program.setProcessChannelMode(QProcess::MergedChannels);
        program.start(QDir(QCoreApplication::applicationDirPath()).filePath(u"corvane"_s), arguments);
        ASSERT_TRUE(program.waitForStarted());
    }
    /// -1 where it does not end by itself.
    int ExitCode() {
        const bool ended = SpinUntil([this] { return program.state() == QProcess::NotRunning; }, 30'000);
        return ended && program.exitStatus() == QProcess::NormalExit ? program.exitCode() : -1;
    }
    ~Desktop() override {
        program.kill();
        program.waitForFinished();
    }
};

TEST_F(Desktop, SaysWhatItTakesAndRefusesWhatItDoesNotKnow) {
    Start({u"--help"_s});
    EXPECT_EQ(ExitCode(), 0);
    EXPECT_TRUE(program.readAll().contains("--demo          Show simulated monitors"));
    Start({u"--no-such-option"_s});
    EXPECT_EQ(ExitCode(), 64);
}

TEST_F(Desktop, SaysThatItsFolderIsInUse) {
    QLockFile lock(temporary.Path(u"corvane.lock"_s));
    ASSERT_TRUE(lock.tryLock(0));
    Start({u"--data-dir"_s, temporary.Path()});
    QByteArray said;
    EXPECT_TRUE(SpinUntil([&] { return (said += program.readAll()).contains("is in use by"); }));
    EXPECT_EQ(program.state(), QProcess::Running) << "until the message is closed";
    program.terminate();
    EXPECT_EQ(ExitCode(), 69);
}

TEST_F(Desktop, TheDemoEndsWithItsFolderAlsoWhileThatIsBeingMade) {
    for (const QString& made : {u"vrq1.db3"_s, u"control.sock"_s}) {
        Start({u"--demo"_s});
        EXPECT_TRUE(SpinUntil(
            [&] {
                const QStringList folders =
                    QDir(temporary.Path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
                return folders.size() == 1 && QFile::exists(temporary.Path(folders.front() + u'/' + made));
            },
            30'000));  // it makes up a week of records first
        program.terminate();
        EXPECT_EQ(ExitCode(), 0) << program.readAll().toStdString();
        EXPECT_EQ(temporary.Entries(), std::vector<std::string>()) << made.toStdString();
    }
}

}  // namespace
}  // namespace corvane
