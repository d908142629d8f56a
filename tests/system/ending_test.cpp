// How the service starts and ends, and what it says when it cannot.
#include <csignal>

#include "store/capture_database.h"
#include "support/settings_by_key.h"
#include "system/programs.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST(Ending, RefusalsHaveATextAndTheirExitCode) {
    const TempFolder folder;
    folder.Write(u"file"_s, "");
    QDir(folder.Path()).mkdir(u"damaged"_s);
    folder.Write(u"damaged/vrq1.db3"_s, "this is no database, but somebody may want it");
    QDir(folder.Path()).mkdir(u"lost"_s);
    folder.Write(u"lost/corvane.ini"_s, "[startup]\nDBestablished=True\nDBfile=gone.db3\n");

    const struct {
        QStringList arguments;
        int code;
        QString part;
    } cases[] = {
        {{u"--help"_s}, 0, u"--data-dir"_s},
        {{u"--version"_s}, 0, u"Corvane 0."_s},
        {{u"--bogus"_s}, 64, u"bogus"_s},
        {{u"--data-dir"_s, folder.Path(u"file"_s)}, 73, folder.Path(u"file"_s)},
        {{u"--data-dir"_s, folder.Path(u"file/below"_s)}, 73, u"Unable to create AppData Folder."_s},
        {{u"--data-dir"_s, folder.Path(u"damaged"_s)}, 66, u"file is not a database"_s},
        {{u"--data-dir"_s, folder.Path(u"lost"_s)}, 66, u"gone.db3"_s},
    };
    for (const auto& c : cases) {
        Started service(u"corvaned"_s, c.arguments);
        EXPECT_EQ(service.ExitCode(), c.code) << c.arguments.join(u' ').toStdString();
        EXPECT_TRUE(service.Output().contains(c.part)) << service.Output().toStdString();
    }
    EXPECT_EQ(folder.Read(u"damaged/vrq1.db3"_s), "this is no database, but somebody may want it");
    EXPECT_FALSE(QFile::exists(folder.Path(u"lost/gone.db3"_s)));
}

TEST(Ending, OneServicePerFolderAndSignalsEndItCleanly) {
    const ServiceFolder house;
    Started first(u"corvaned"_s, house.Arguments());
    ASSERT_TRUE(first.Says(u"TCP Server B listens"_s)) << first.Output().toStdString();

    Started second(u"corvaned"_s, house.Arguments());
    EXPECT_EQ(second.ExitCode(), 69);
    EXPECT_TRUE(second.Output().contains(u"in use by corvaned"_s)) << second.Output().toStdString();

    first.Terminate();
    EXPECT_EQ(first.ExitCode(), 0);
    Started again(u"corvaned"_s, house.Arguments());
    ASSERT_TRUE(again.Says(u"TCP Server B listens"_s)) << again.Output().toStdString();
    kill(static_cast<pid_t>(again.Pid()), SIGINT);
    EXPECT_EQ(again.ExitCode(), 0);
    EXPECT_FALSE(QFile::exists(house.folder.Path(u"control.sock"_s)));
}

TEST(Ending, AZoneThatCannotBeReadIsToldAndLogged) {
    const ServiceFolder house;
    Started service(u"/usr/bin/env"_s,
                    QStringList{u"TZ=Atlantis/Capital"_s,
                                QDir(QCoreApplication::applicationDirPath()).filePath(u"corvaned"_s)} +
                        house.Arguments());
    ASSERT_TRUE(service.Says(u"The time zone cannot be read (TZ is \"Atlantis/Capital\")"_s))
        << service.Output().toStdString();
    EXPECT_NE(house.folder.Read(u"ErrorsCorvane.log"_s).find("Atlantis/Capital"), std::string::npos);
}

TEST(Ending, AKilledServiceStartsAgain) {
    const ServiceFolder house;
    {
        Started killed(u"corvaned"_s, house.Arguments());
        ASSERT_TRUE(killed.Says(u"TCP Server B listens"_s));
        killed.Kill();
    }
    Started again(u"corvaned"_s, house.Arguments());
    EXPECT_TRUE(again.Says(u"TCP Server B listens"_s)) << again.Output().toStdString();
    EXPECT_EQ(house.Ask({u"status"_s})[u"dataFolder"_s].toString(), house.folder.Path());
}

TEST(Ending, APortInUseAndABadSettingAreSaidAndTheRestWorks) {
    const ServiceFolder house;
    QTcpServer holder;
    ASSERT_TRUE(holder.listen(QHostAddress::Any, house.portA));
    house.Preset(u"DBwriteFrequency"_s, u"often"_s);
    Started service(u"corvaned"_s, house.Arguments());
    EXPECT_TRUE(service.Says(u"TCP Server A: "_s)) << service.Output().toStdString();
    EXPECT_TRUE(service.Says(u"The setting DBwriteFrequency is \"often\""_s))
        << service.Output().toStdString();
    EXPECT_TRUE(service.Says(u"TCP Server B listens"_s));
    EXPECT_EQ(KeptByKey(SettingsStore(house.folder.Path(u"corvane.ini"_s)), u"DBwriteFrequency"_s),
              u"often"_s);
}

TEST(Ending, DamagedSettingsAreKeptAsideAndSaid) {
    const ServiceFolder house;
    const std::string damaged = house.folder.Read(u"corvane.ini"_s) + "half a li";
    house.folder.Write(u"corvane.ini"_s, damaged);
    Started service(u"corvaned"_s, house.Arguments());
    EXPECT_TRUE(service.Says(u"is damaged. It is kept as"_s)) << service.Output().toStdString();
    EXPECT_TRUE(service.Says(u"TCP Server A listens on port %1"_s.arg(house.portA)))
        << "what could be read is in effect: " << service.Output().toStdString();
    EXPECT_EQ(house.folder.Read(u"corvane.ini.damaged-1"_s), damaged);
}

}  // namespace
}  // namespace corvane
