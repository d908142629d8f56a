#include "app/options.h"

#include <QCoroTask>
#include <QDir>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <optional>

#include <sys/file.h>
#include <unistd.h>

#include "app/console.h"
#include "app/folder_lock.h"
#include "base/exit_codes.h"
#include "store/app_folder.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST(Options, NameFoldersAsTheyAreSeenAtTheStart) {
    const QString here = QDir::currentPath();
    const QString own = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    const struct {
        QStringList arguments;
        QString folder, settings;
        bool verbose, forGroup;
    } cases[] = {
        {{u"--data-dir"_s, u"/tmp/house"_s, u"-v"_s},
         u"/tmp/house"_s,
         u"/tmp/house/corvane.ini"_s,
         true,
         false},
        {{u"--data-dir=house"_s, u"--settings=my.ini"_s, u"--group-control"_s},
         here + u"/house"_s,
         here + u"/my.ini"_s,
         false,
         true},
        {{u"--verbose"_s}, GetAppDataFolder(), own + u"/corvane.ini"_s, true, false},
    };
    for (const auto& c : cases) {
        const auto options = std::get<Options>(ParseOptions(QStringList{u"corvaned"_s} + c.arguments));
        EXPECT_EQ(options.dataFolder, c.folder);
        EXPECT_EQ(options.settingsFile, c.settings);
        EXPECT_EQ(options.verbose, c.verbose);
        EXPECT_EQ(options.control == SocketFor::Group, c.forGroup);
    }
}

TEST(Options, HelpVersionAndRefusals) {
    const struct {
        QString argument;
        int code;
        QString text;  ///< or its beginning
    } cases[] = {
        {u"--help"_s, kExitOk, u"Usage: "_s},
        {u"--version"_s, kExitOk, u"Corvane "_s + QCoreApplication::applicationVersion()},
        {u"--bogus"_s, kExitUsage, u"Unknown option 'bogus'.\nTry --help."_s},
        {u"--data-dir"_s, kExitUsage, u"Missing value after '--data-dir'.\nTry --help."_s},
        {u"surplus"_s, kExitUsage, u"Unexpected argument 'surplus'.\nTry --help."_s},
    };
    for (const auto& c : cases) {
        const auto parsed = ParseOptions({u"corvaned"_s, c.argument});
        const auto* exit = std::get_if<OptionsExit>(&parsed);
        ASSERT_NE(exit, nullptr) << c.argument.toStdString();
        EXPECT_EQ(exit->code, c.code) << c.argument.toStdString();
        EXPECT_TRUE(exit->text.startsWith(c.text)) << exit->text.toStdString();
    }
}

TEST(FolderLock, OfADeadProgramIsTakenOver) {
    const TempFolder folder;
    // As a kill leaves the file: with the number of no process, or empty.
    for (const char* left : {"2147483646\ncorvaned\nvm\n", ""}) {
        folder.Write(u"corvane.lock"_s, left);
        EXPECT_EQ(FolderLock(folder.Path()).TryLock(), FolderLock::Result::Locked);
    }
}

TEST(FolderLock, TellsWhyAFolderCannotBeTaken) {
    const TempFolder folder;
    std::optional<FolderLock> first(folder.Path(u"new"_s));
    FolderLock second(folder.Path(u"new"_s));
    FolderLock astray(folder.Path(u"missing"_s));
    EXPECT_EQ(TakeFolder(folder.Path(u"new"_s), *first).exitCode, kExitOk);
    const FolderTaken taken = TakeFolder(folder.Path(u"new"_s), second);
    EXPECT_EQ(taken.exitCode, kExitAlreadyRunning);
    const QString user = QFileInfo(folder.Path()).owner();
    EXPECT_EQ(taken.problem,
              u"The data folder %1 is in use by test_app (process %2 on %3) of the user %4."_s.arg(
                  folder.Path(u"new"_s), QString::number(getpid()), QSysInfo::machineHostName(), user));
    first.reset();
    EXPECT_EQ(second.TryLock(), FolderLock::Result::Locked);
    EXPECT_EQ(TakeFolder(folder.Path(), astray).exitCode, kExitNoFolder);
    EXPECT_EQ(astray.Holder().program, u"another program"_s);

    // A lock that a killed program left, and that cannot be taken over: as if it were another user's.
    const QString path = folder.Path(u"corvane.lock"_s);
    const std::string host = QSysInfo::machineHostName().toStdString();
    folder.Write(u"corvane.lock"_s, "2147483646\ncorvaned\n" + host + "\n");
    QFile held(path);
    ASSERT_TRUE(held.open(QFile::ReadWrite));
    ASSERT_EQ(flock(held.handle(), LOCK_EX), 0);
    FolderLock stale(folder.Path());
    EXPECT_EQ(TakeFolder(folder.Path(), stale).problem,
              u"The data folder %1 is locked by corvaned (process 2147483646 on %2) of the user %3, which "
              u"does not run "
              "any more. Only that user can take the lock over: start Corvane as %3, or delete %4."_s.arg(
                  folder.Path(), QString::fromStdString(host), user, path));
}

TEST(Service, SaysWhatItIsAskedAndGivesTheSafeAnswer) {
    ServiceOperator op;
    testing::internal::CaptureStdout();
    op.Show(u"Working"_s);
    EXPECT_EQ(QCoro::waitFor(op.Ask({.text = u"Sure\nof it?"_s, .safe = Answer::Cancel})), Answer::Cancel);
    EXPECT_EQ(QCoro::waitFor(op.AskText(u"Which?"_s)), std::nullopt);
    EXPECT_EQ(QCoro::waitFor(op.AskFile({.prompt = u"Where?"_s})), std::nullopt);
    EXPECT_EQ(QCoro::waitFor(op.AskFile({.prompt = u"Where?"_s, .suggestion = u"/a"_s})), u"/a"_s);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Working\nSure of it? -> cancel\nWhich? -> no answer\nWhere? -> none\nWhere? -> /a\n");
}

}  // namespace
}  // namespace corvane
