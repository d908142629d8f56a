#include "store/app_folder.h"

#include <QFileInfo>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::HasSubstr;

TEST(AppFolder, IsMadeWithWhatLeadsToItForThisUserAloneAndLeftEmpty) {
    const TempFolder folder;
    const QString path = folder.Path(u"a/b"_s);
    EXPECT_EQ(CreateAppDataFolder(path).Error().toStdString(), "");
    EXPECT_EQ(CreateAppDataFolder(path).Error().toStdString(), "") << "the second time";
    const QFileInfo made(path);
    ASSERT_TRUE(made.isDir());
    constexpr auto kOthers = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther |
                             QFile::WriteOther | QFile::ExeOther;
    EXPECT_EQ((made.permissions() & kOthers).toInt(), 0);
    EXPECT_TRUE(QDir(path).isEmpty());
}

TEST(AppFolder, WhatCannotBeMadeIsNamed) {
    const TempFolder folder;
    folder.Write(u"file"_s, "mine");
    const Outcome below = CreateAppDataFolder(folder.Path(u"file/below"_s));
    EXPECT_THAT(below.Error().toStdString(), HasSubstr("Unable to create AppData Folder."));
    EXPECT_THAT(below.Error().toStdString(), HasSubstr(folder.Path(u"file/below"_s).toStdString()));
    const Outcome itself = CreateAppDataFolder(folder.Path(u"file"_s));
    EXPECT_THAT(itself.Error().toStdString(), HasSubstr("Appdata folder doesn't exist"));
    EXPECT_EQ(folder.Read(u"file"_s), "mine");
}

}  // namespace
}  // namespace corvane
