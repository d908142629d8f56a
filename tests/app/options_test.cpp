#include "app/options.h"

#include <QDir>

#include <gtest/gtest.h>

#include "app/folder_lock.h"
#include "base/exit_codes.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST(Options, DataDirHoldsTheSettingsToo) {
    const auto parsed = ParseOptions({u"corvaned"_s, u"--data-dir"_s, u"/tmp/house"_s, u"-v"_s});
    const auto& options = std::get<Options>(parsed);
    EXPECT_EQ(options.dataFolder, u"/tmp/house"_s);
    EXPECT_EQ(options.settingsFile, u"/tmp/house/corvane.ini"_s);
    EXPECT_TRUE(options.verbose);
}

TEST(Options, RelativePathsAreThoseOfTheStart) {
    const auto parsed = ParseOptions({u"corvaned"_s, u"--data-dir=house"_s, u"--settings=my.ini"_s});
    const auto& options = std::get<Options>(parsed);
    EXPECT_EQ(options.dataFolder, QDir::currentPath() + u"/house"_s);
    EXPECT_EQ(options.settingsFile, QDir::currentPath() + u"/my.ini"_s);
}

TEST(Options, HelpVersionAndRefusals) {
    const struct {
        QStringList arguments;
        int code;
        QString part;
    } cases[] = {
        {{u"--help"_s}, kExitOk, u"--data-dir"_s},  {{u"--version"_s}, kExitOk, u"Corvane"_s},
        {{u"--bogus"_s}, kExitUsage, u"bogus"_s},   {{u"--data-dir"_s}, kExitUsage, u"data-dir"_s},
        {{u"surplus"_s}, kExitUsage, u"surplus"_s},
    };
    for (const auto& c : cases) {
        const auto parsed = ParseOptions(QStringList{u"corvaned"_s} + c.arguments);
        const auto* exit = std::get_if<OptionsExit>(&parsed);
        ASSERT_NE(exit, nullptr) << c.part.toStdString();
        EXPECT_EQ(exit->code, c.code) << c.part.toStdString();
        EXPECT_TRUE(exit->text.contains(c.part)) << exit->text.toStdString();
    }
}

TEST(FolderLock, OneProgramPerFolder) {
    const TempFolder folder;
    FolderLock second(folder.Path());
    {
        FolderLock first(folder.Path());
        EXPECT_EQ(first.TryLock(), FolderLock::Result::Locked);
        EXPECT_EQ(second.TryLock(), FolderLock::Result::InUse);
        EXPECT_TRUE(second.Holder().contains(u"test_app"_s)) << second.Holder().toStdString();
    }
    EXPECT_EQ(second.TryLock(), FolderLock::Result::Locked);
}

TEST(FolderLock, ADeadProgramsLockIsTakenOver) {
    const TempFolder folder;
    // As the lock file stands after a kill: the process number is one that no process can have.
    folder.Write(u"corvane.lock"_s, "2147483646\ncorvaned\nvm\n");
    EXPECT_EQ(FolderLock(folder.Path()).TryLock(), FolderLock::Result::Locked);
}

TEST(FolderLock, ALockLeftEmptyByAKillIsTakenOver) {
    const TempFolder folder;
    folder.Write(u"corvane.lock"_s, "");
    EXPECT_EQ(FolderLock(folder.Path()).TryLock(), FolderLock::Result::Locked);
}

}  // namespace
}  // namespace corvane
