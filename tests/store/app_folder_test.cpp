#include "store/app_folder.h"

#include <QFileInfo>

#include <gtest/gtest.h>

#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST(AppFolder, IsMadeForThisUserAlone) {
    const TempFolder folder;
    const QString path = folder.Path(u"a/b"_s);
    for (const char* time : {"first", "second"})
        EXPECT_EQ(CreateAppDataFolder(path).Error().toStdString(), "") << time;
    EXPECT_EQ((QFileInfo(path).permissions() & 0x77).toInt(), 0) << "group and others";
    EXPECT_TRUE(QDir(path).isEmpty());
}

}  // namespace
}  // namespace corvane
