// How the service starts and ends, and what it says when it cannot.
#include <csignal>

#include "store/capture_database.h"
#include "support/settings_by_key.h"
#include "system/programs.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

using Ending = ServiceTest;

TEST_F(Ending, RefusalsHaveATextAndTheirExitCode) {
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

TEST_F(Ending, OneServicePerFolderAndSignalsEndItCleanly) {
    StartService();

    Started second(u"corvaned"_s, house_.Arguments());
    EXPECT_EQ(second.ExitCode(), 69);
    EXPECT_TRUE(second.Output().contains(u"in use by corvaned"_s)) << second.Output().toStdString();

    EndService();
    StartService();
    kill(static_cast<pid_t>(service_->Pid()), SIGINT);
    EXPECT_EQ(service_->ExitCode(), 0);
    EXPECT_FALSE(QFile::exists(house_.folder.Path(u"control.sock"_s)));
}

TEST_F(Ending, AZoneThatCannotBeReadIsToldAndLogged) {
    StartService({u"TZ=Atlantis/Capital"_s});
    EXPECT_TRUE(service_->Says(u"The time zone cannot be read (TZ is \"Atlantis/Capital\")"_s));
    EXPECT_NE(house_.folder.Read(u"ErrorsCorvane.log"_s).find("Atlantis/Capital"), std::string::npos);
}

TEST_F(Ending, AKilledServiceStartsAgain) {
    StartService();
    service_->Kill();
    StartService();
    EXPECT_EQ(house_.Ask({u"status"_s})[u"dataFolder"_s].toString(), house_.folder.Path());
}

TEST_F(Ending, APortInUseAndABadSettingAreSaidAndTheRestWorks) {
    QTcpServer holder;
    ASSERT_TRUE(holder.listen(QHostAddress::Any, house_.portA));
    house_.Preset(u"DBwriteFrequency"_s, u"often"_s);
    StartService();
    EXPECT_TRUE(service_->Says(u"TCP Server A: "_s));
    EXPECT_TRUE(service_->Says(u"The setting DBwriteFrequency is \"often\""_s));
    EXPECT_EQ(KeptByKey(SettingsStore(house_.folder.Path(u"corvane.ini"_s)), u"DBwriteFrequency"_s),
              u"often"_s);
}

TEST_F(Ending, DamagedSettingsAreKeptAsideAndSaid) {
    const std::string damaged = house_.folder.Read(u"corvane.ini"_s) + "half a li";
    house_.folder.Write(u"corvane.ini"_s, damaged);
    StartService();
    EXPECT_TRUE(service_->Says(u"is damaged. It is kept as"_s));
    EXPECT_TRUE(service_->Says(u"TCP Server A listens on port %1"_s.arg(house_.portA)))
        << "what could be read is in effect";
    EXPECT_EQ(house_.folder.Read(u"corvane.ini.damaged-1"_s), damaged);
}

}  // namespace
}  // namespace corvane
