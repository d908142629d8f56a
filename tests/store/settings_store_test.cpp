#include "store/settings_store.h"

#include <QDateTime>
#include <QLockFile>

#include <gmock/gmock.h>

#include "store/app_folder.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const QString kFile = u"corvane.ini"_s;

constexpr Setting kName{.key = "DBfile"};
constexpr Setting kTitle{.key = "PacTitle", .fallback = "default"};
constexpr Setting kAddress{.key = "GetURL"};
constexpr Setting kOnSwitch{.key = "AutoOpen", .kind = SettingKind::Switch, .fallback = "True"};
constexpr Setting kOffSwitch{.key = "GetEnable", .kind = SettingKind::Switch, .fallback = "False"};
constexpr Setting kPort{
    .key = "TcpPortA", .kind = SettingKind::Number, .fallback = "8080", .least = 10, .most = 65534};
constexpr Setting kMode{
    .key = "TcpModeB", .kind = SettingKind::Choice, .fallback = "server", .choices = "server client"};
constexpr Setting kOtherPort{.key = "TcpPortB"};
constexpr Setting kCount{.key = "Roll#", .members = "1A 1P", .section = SettingSection::SlotFromOne};
constexpr Setting kSerial{.key = "DevSerial", .section = SettingSection::SlotFromZero};

struct SettingsStoreTest : testing::Test {
    TempFolder folder;
    std::vector<std::string> problems;

    /// Keeps the problems that `store` tells.
    SettingsStore& Watch(SettingsStore& store) {
        QObject::connect(&store, &SettingsStore::Problem,
                         [this](const QString& text) { problems.push_back(text.toStdString()); });
        return store;
    }

    /// What a program started now would find. A copy of the file is asked, because all stores of one file in
    /// one program share what they hold in memory.
    [[nodiscard]] std::string Reread(const QString& name) {
        const TempFolder restarted;
        restarted.Write(kFile, folder.Read(kFile));
        return SettingsStore(restarted.Path(kFile)).Kept(name).value_or(u"absent"_s).toStdString();
    }
};

TEST_F(SettingsStoreTest, KeysAndSectionsAreComparedWithoutCaseAndSectionsAreApart) {
    folder.Write(kFile, "[Startup]\nDBFILE=first.db3\n");
    SettingsStore store(folder.Path(kFile));
    EXPECT_EQ(store.Value(kName), u"first.db3"_s);
    store.Save(kName, u"second.db3"_s);
    EXPECT_EQ(store.Kept(u"StartUp/dbFile"_s), u"second.db3"_s);
    EXPECT_EQ(folder.Read(kFile), "[Startup]\nDBFILE=second.db3\n") << "in the spelling of the file, once";

    for (const int slot : {1, 2})
        store.Save(kCount, slot, {.member = u"1A"_s, .slot = slot});
    EXPECT_EQ(Reread(u"1/Roll1A"_s), "1");
    EXPECT_EQ(Reread(u"2/ROLL1A"_s), "2");
    EXPECT_EQ(Reread(u"startup/Roll1A"_s), "absent");
    EXPECT_EQ(store.Kept(kCount, {.member = u"1P"_s, .slot = 1}), std::nullopt);
    store.Save(kSerial, u"301234"_s, {.slot = 1});
    EXPECT_EQ(Reread(u"0/DevSerial"_s), "301234") << "these sections count from 0";
}

TEST_F(SettingsStoreTest, AnyTextIsOnDiskBeforeSaveReturnsAndComesBackAsItWas) {
    SettingsStore store(folder.Path(kFile));
    EXPECT_EQ(store.Value(kTitle), u"default"_s);
    EXPECT_THAT(folder.Entries(), IsEmpty()) << "reading makes no file";
    for (const QString& text : {u"a,b, c,,"_s, uR"(say "yes"; or C:\new)"_s, u"Zähler €"_s, u"1\n2\r\n\t3"_s,
                                u"  blanks  "_s, u"# [startup]=%41"_s, u"@Invalid()"_s, u"007"_s, u""_s}) {
        store.Save(kTitle, text);
        EXPECT_EQ(store.Value(kTitle), text) << text.toStdString();
        EXPECT_EQ(Reread(u"startup/PacTitle"_s), text.toStdString());
    }
    for (const auto& [line, value] :
         std::vector<std::pair<std::string, const char*>>{{"PacTitle = Home ", "Home"},
                                                          {"PacTitle=one,two,three", "one,two,three"},
                                                          {"PacTitle=\"one, two\"", "one, two"},
                                                          {"; PacTitle=off", "absent"}}) {
        folder.Write(kFile, "[startup]\n" + line + "\n");
        EXPECT_EQ(Reread(u"startup/PacTitle"_s), value) << "written by hand";
    }
}

TEST_F(SettingsStoreTest, BooleansAreKeptAsWordsAndReadInEveryUsualForm) {
    SettingsStore store(folder.Path(kFile));
    EXPECT_TRUE(store.IsOn(kOnSwitch)) << "absent";
    EXPECT_FALSE(store.IsOn(kOffSwitch)) << "absent";
    for (const bool value : {true, false}) {
        store.Save(kOffSwitch, value);
        EXPECT_EQ(Reread(u"startup/GetEnable"_s), value ? "True" : "False");
    }
    for (const auto& [text, value] : std::vector<std::pair<QString, bool>>{{u"true"_s, true},
                                                                           {u" TRUE "_s, true},
                                                                           {u"1"_s, true},
                                                                           {u"-1"_s, true},
                                                                           {u"FALSE"_s, false},
                                                                           {u"0"_s, false},
                                                                           {u"off"_s, false},
                                                                           {u"No"_s, false}}) {
        const Setting& setting = value ? kOffSwitch : kOnSwitch;
        store.Save(setting, text);
        EXPECT_EQ(store.IsOn(setting), value) << text.toStdString();
    }
    Watch(store);
    for (const auto& [setting, fallback] : {std::pair{&kOnSwitch, true}, {&kOffSwitch, false}}) {
        store.Save(*setting, u"ja"_s);
        EXPECT_EQ(store.IsOn(*setting), fallback);
        EXPECT_EQ(store.ReadSwitch(*setting, u"nothing is done"_s), std::nullopt);
    }
    EXPECT_THAT(problems, ElementsAre("The setting AutoOpen is \"ja\", not True or False; True is used.",
                                      "The setting GetEnable is \"ja\", not True or False; False is used."));
}

TEST_F(SettingsStoreTest, NumbersOutOfRangeAreToldOnceReplacedAndLeftInTheFile) {
    SettingsStore store(folder.Path(kFile));
    Watch(store);
    EXPECT_EQ(store.Number(kPort), 8080) << "absent";
    for (const auto& [text, value] : std::vector<std::pair<QString, int>>{{u"10"_s, 10},
                                                                          {u" 65534 "_s, 65534},
                                                                          {u"8081.0"_s, 8081},
                                                                          {u"9"_s, 0},
                                                                          {u"65535"_s, 0},
                                                                          {u"80.5"_s, 0},
                                                                          {u""_s, 0}}) {
        SCOPED_TRACE(text.toStdString());
        problems.clear();
        store.Save(kPort, text);
        for (int reading = 0; reading < 3; ++reading)
            EXPECT_EQ(store.Number(kPort), value != 0 ? value : 8080);
        EXPECT_EQ(Reread(u"startup/TcpPortA"_s), text.toStdString());
        std::vector<std::string> expected;
        if (value == 0) {
            expected.push_back("The setting TcpPortA is \"" + text.toStdString() +
                               "\", not a whole number from 10 to 65534; 8080 is used.");
        }
        EXPECT_EQ(problems, expected);
    }
    store.Save(kPort, u"9"_s);
    EXPECT_EQ(store.ReadNumber(kPort, u"nothing listens"_s), std::nullopt);
    EXPECT_THAT(problems.back(), HasSubstr("to 65534; nothing listens.")) << "another value than before";
    store.Save(kMode, u"Client"_s);
    EXPECT_EQ(store.Choice(kMode), u"server"_s);
    EXPECT_EQ(problems.back(), "The setting TcpModeB is \"Client\", not server or client; server is used.");
}

// The folder of the settings is a file, so that not even an administrator can write in it.
TEST_F(SettingsStoreTest, WhatCannotBeSavedIsToldHoldsAndIsSavedWithTheNextChangeThatCan) {
    folder.Write(u"place"_s, "mine");
    SettingsStore store(folder.Path(u"place/corvane.ini"_s));
    Watch(store).Save(kAddress, u"example.org"_s);
    ASSERT_EQ(problems.size(), 1U);
    for (const char* part : {"place/corvane.ini", "GetURL"})
        EXPECT_THAT(problems.front(), HasSubstr(part));
    EXPECT_THAT(problems.front(), testing::Not(HasSubstr("example.org"))) << "it may be a secret";
    EXPECT_EQ(store.TakeNotSaved().toStdString(), problems.front());
    EXPECT_EQ(store.TakeNotSaved(), QString()) << "taken";
    EXPECT_EQ(store.Value(kAddress), u"example.org"_s);
    EXPECT_EQ(folder.Read(u"place"_s), "mine");

    ASSERT_TRUE(QFile::remove(folder.Path(u"place"_s)));
    store.Save(kOffSwitch, true);
    EXPECT_EQ(problems.size(), 1U) << "no more than before";
    EXPECT_EQ(store.TakeNotSaved(), QString());
    EXPECT_EQ(folder.Read(u"place/corvane.ini"_s), "[startup]\nGetEnable=True\nGetURL=example.org\n");
}

TEST_F(SettingsStoreTest, OnlyADamagedFileIsKeptAsideUnderAFreeNameAndWhatCanBeReadHolds) {
    folder.Write(kFile, "\xEF\xBB\xBF; a remark after the mark of an editor\n\n[startup]\nTcpPortA=8081\n");
    QFile::setPermissions(folder.Path(kFile), kForOwner);
    {
        SettingsStore sound(folder.Path(kFile));
        Watch(sound).CheckFile();
        EXPECT_EQ(sound.Value(kPort), u"8081"_s);
        EXPECT_THAT(problems, IsEmpty());
        EXPECT_THAT(folder.Entries(), ElementsAre("corvane.ini"));
    }
    const std::string damaged = "[startup]\nTcpPortA=8081\nno equals sign\nTcpPortC=8085\n";
    folder.Write(u"other.ini"_s, damaged);
    QFile::setPermissions(folder.Path(u"other.ini"_s), kForOwner);
    folder.Write(u"other.ini.damaged-1"_s, "an earlier one");
    SettingsStore store(folder.Path(u"other.ini"_s));
    Watch(store).CheckFile();
    folder.Write(u"other.ini"_s, damaged + "half a li");  // damage by hand meanwhile is no failed save
    store.Save(kOtherPort, u"8084"_s);
    EXPECT_EQ(folder.Read(u"other.ini.damaged-1"_s), "an earlier one");
    EXPECT_EQ(folder.Read(u"other.ini.damaged-2"_s), damaged);
    EXPECT_EQ(folder.Read(u"other.ini"_s), "[startup]\nTcpPortA=8081\nTcpPortB=8084\nTcpPortC=8085\n");
    ASSERT_EQ(problems.size(), 1U);
    for (const char* part : {"other.ini is damaged", "other.ini.damaged-2"})
        EXPECT_THAT(problems.front(), HasSubstr(part));
}

TEST_F(SettingsStoreTest, TheFileIsItsOwnersAloneAndAWiderRightIsTakenOnceAndTold) {
    SettingsStore store(folder.Path(kFile));
    Watch(store).Save(kPort, u"8081"_s);
    EXPECT_EQ(Rights(folder.Path(kFile)), "600") << "made so";
    QFile::setPermissions(folder.Path(kFile), QFile::Permissions(0x6644));
    store.CheckFile();
    EXPECT_EQ(Rights(folder.Path(kFile)), "600");
    ASSERT_EQ(problems.size(), 1U);
    EXPECT_THAT(problems.front(), HasSubstr("was open to others; now it is its owner's alone"));
    store.CheckFile();
    store.Save(kPort, u"8082"_s);
    EXPECT_EQ(Rights(folder.Path(kFile)), "600") << "and stays so";
    EXPECT_EQ(problems.size(), 1U);
}

TEST_F(SettingsStoreTest, OnlyWhatAKilledSaveLeftIsRemoved) {
    const QString lock = kFile + u".lock"_s;
    const auto write = [this](const QString& name, int secondsAfterTheLock, const char* bytes = "left") {
        folder.Write(name, bytes);
        QFile file(folder.Path(name));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        const auto time = QDateTime::fromSecsSinceEpoch(1'790'000'000 + secondsAfterTheLock);
        ASSERT_TRUE(file.setFileTime(time, QFileDevice::FileModificationTime));
    };
    write(lock, 0, "");
    write(u"corvane.ini.vXEdpQ"_s, 0);
    write(u"corvane.ini.backup"_s, 2);  // by people, who have such names for it, too
    write(u"corvane.ini.before"_s, -1);
    write(u"corvane.ini.copy-1"_s, 0);
    const SettingsStore afterAKill(folder.Path(kFile));
    EXPECT_THAT(folder.Entries(),
                ElementsAre("corvane.ini.backup", "corvane.ini.before", "corvane.ini.copy-1"));

    QLockFile held(folder.Path(lock));
    ASSERT_TRUE(held.tryLock());
    const SettingsStore besideAnother(folder.Path(kFile));
    EXPECT_TRUE(QFile::exists(folder.Path(lock)));
}

}  // namespace
}  // namespace corvane
