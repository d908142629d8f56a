#include "store/settings_store.h"

#include <QLockFile>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const QString kFile = u"corvane.ini"_s;

struct SettingsStoreTest : testing::Test {
    TempFolder folder;
    std::vector<std::string> problems;

    /// Keeps the problems that `store` tells.
    SettingsStore& Watch(SettingsStore& store) {
        QObject::connect(&store, &SettingsStore::Problem,
                         [this](const QString& text) { problems.push_back(text.toStdString()); });
        return store;
    }

    /// What a program started now would read. A copy of the file is asked, because all stores of one file in
    /// one program share what they hold in memory.
    [[nodiscard]] std::string Reread(const QString& key, const QString& section = SettingsStore::kStartup) {
        const TempFolder restarted;
        restarted.Write(kFile, folder.Read(kFile));
        return SettingsStore(restarted.Path(kFile)).GetSetting(key, u"absent"_s, section).toStdString();
    }
};

TEST_F(SettingsStoreTest, KeysAndSectionsAreComparedWithoutCase) {
    SettingsStore store(folder.Path(kFile));
    store.SaveSetting(u"dbfile"_s, u"new.db3"_s);
    EXPECT_EQ(store.GetSetting(u"DBfile"_s).toStdString(), "new.db3");
    store.SaveSetting(u"DBfile"_s, u"newer.db3"_s);
    EXPECT_EQ(store.GetSetting(u"DBFILE"_s, {}, u"StartUp"_s).toStdString(), "newer.db3");
    EXPECT_EQ(Reread(u"dbfile"_s, u"STARTUP"_s), "newer.db3");
}

TEST_F(SettingsStoreTest, AValueKeepsTheSpellingOfTheFileAndIsHeldOnce) {
    folder.Write(kFile, "[Startup]\nDBFILE=first.db3\n");
    SettingsStore store(folder.Path(kFile));
    EXPECT_EQ(store.GetSetting(u"DBfile"_s).toStdString(), "first.db3");
    store.SaveSetting(u"dbfile"_s, u"second.db3"_s);
    EXPECT_EQ(folder.Read(kFile), "[Startup]\nDBFILE=second.db3\n");
}

TEST_F(SettingsStoreTest, SectionsAreApart) {
    {
        SettingsStore store(folder.Path(kFile));
        store.SaveSetting(u"Roll1A"_s, u"1"_s, u"1"_s);
        store.SaveSetting(u"Roll1A"_s, u"2"_s, u"2"_s);
        store.SaveSetting(u"Roll1A"_s, u"general"_s);
    }
    EXPECT_EQ(Reread(u"Roll1A"_s, u"1"_s), "1");
    EXPECT_EQ(Reread(u"Roll1A"_s, u"2"_s), "2");
    EXPECT_EQ(Reread(u"Roll1A"_s), "general");
    EXPECT_EQ(Reread(u"Roll1A"_s, u"0"_s), "absent");
}

TEST_F(SettingsStoreTest, AnAbsentKeyIsItsDefaultAndAnEmptyValueIsNone) {
    SettingsStore store(folder.Path(kFile));
    EXPECT_EQ(store.GetSetting(u"BaudRateA"_s, u"19200"_s).toStdString(), "19200");
    EXPECT_THAT(folder.Entries(), IsEmpty()) << "reading makes no file";
    store.SaveSetting(u"BaudRateA"_s, u""_s);
    EXPECT_EQ(store.GetSetting(u"BaudRateA"_s, u"19200"_s).toStdString(), "");
    EXPECT_EQ(Reread(u"BaudRateA"_s), "");
}

TEST_F(SettingsStoreTest, AChangeIsOnDiskBeforeSaveReturns) {
    SettingsStore store(folder.Path(kFile));
    store.SaveSetting(u"TcpPortA"_s, u"8080"_s);
    EXPECT_EQ(Reread(u"TcpPortA"_s), "8080");
}

TEST_F(SettingsStoreTest, AnyTextComesBackAsItWas) {
    const QString texts[] = {
        u"a,b, c,,"_s,
        u", "_s,
        uR"(say "yes"; or 'no')"_s,
        uR"(C:\new\table.db3)"_s,
        u"Zähler Küche €"_s,
        u"first\nsecond\r\n\tthird"_s,
        u"  blanks around  "_s,
        u"key=value"_s,
        u"[startup]"_s,
        u"; no comment"_s,
        u"# none either"_s,
        u"%1 %41 &amp;"_s,
        u"@Invalid()"_s,
        u"@Variant(x)"_s,
        u"007"_s,
    };
    for (const QString& text : texts) {
        SettingsStore store(folder.Path(kFile));
        store.SaveSetting(u"PacTitle"_s, text);
        EXPECT_EQ(store.GetSetting(u"PacTitle"_s), text) << text.toStdString();
        EXPECT_EQ(Reread(u"PacTitle"_s), text.toStdString());
    }
}

TEST_F(SettingsStoreTest, LinesWrittenByHand) {
    const struct {
        const char* line;
        const char* value;
    } cases[] = {
        {"PacTitle=Home", "Home"},
        {"PacTitle = Home ", "Home"},
        {"PacTitle=one,two,three", "one,two,three"},
        {"PacTitle=\"one, two\"", "one, two"},
        {"PacTitle=Zähler", "Zähler"},
        {"PacTitle=", ""},
        {"pactitle=lower", "lower"},
        {"; PacTitle=off", "absent"},
    };
    for (const auto& c : cases) {
        const TempFolder own;
        own.Write(kFile, std::string("[startup]\n") + c.line + "\n");
        const SettingsStore store(own.Path(kFile));
        EXPECT_EQ(store.GetSetting(u"PacTitle"_s, u"absent"_s).toStdString(), c.value) << c.line;
    }
}

TEST_F(SettingsStoreTest, BooleansAreKeptAsWordsAndReadInEveryUsualForm) {
    SettingsStore store(folder.Path(kFile));
    store.SaveSetting(u"GetEnable"_s, true);
    EXPECT_EQ(Reread(u"GetEnable"_s), "True");
    store.SaveSetting(u"GetEnable"_s, false);
    EXPECT_EQ(Reread(u"GetEnable"_s), "False");

    const struct {
        QString text;
        bool value;
    } cases[] = {
        {u"True"_s, true}, {u"true"_s, true},   {u" TRUE "_s, true}, {u"1"_s, true},
        {u"-1"_s, true},   {u"False"_s, false}, {u"false"_s, false}, {u"0"_s, false},
        {u""_s, false},    {u"yes"_s, false},   {u"2"_s, false},
    };
    for (const auto& c : cases) {
        store.SaveSetting(u"AutoOpen"_s, c.text);
        EXPECT_EQ(store.GetBool(u"AutoOpen"_s, !c.value), c.value) << c.text.toStdString();
    }
    EXPECT_TRUE(store.GetBool(u"NETmeter"_s, true));
    EXPECT_FALSE(store.GetBool(u"NETmeter"_s, false));
}

TEST_F(SettingsStoreTest, NumbersOutOfRangeAreToldReplacedAndLeftInTheFile) {
    const struct {
        QString text;
        int value;
        bool refused;
    } cases[] = {
        {u"10"_s, 10, false},           {u"65534"_s, 65534, false}, {u" 8083 "_s, 8083, false},
        {u"9"_s, 8080, true},           {u"65535"_s, 8080, true},   {u"-1"_s, 8080, true},
        {u"80.5"_s, 8080, true},        {u"many"_s, 8080, true},    {u""_s, 8080, true},
        {u"99999999999"_s, 8080, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text.toStdString());
        problems.clear();
        SettingsStore store(folder.Path(kFile));
        Watch(store).SaveSetting(u"TcpPortA"_s, c.text);
        EXPECT_EQ(store.GetNumber(u"TcpPortA"_s, 8080, 10, 65534), c.value);
        EXPECT_EQ(Reread(u"TcpPortA"_s), c.text.toStdString());
        if (c.refused) {
            EXPECT_THAT(problems, ElementsAre("The setting TcpPortA is \"" + c.text.toStdString() +
                                              "\", not a whole number from 10 to 65534; 8080 is used."));
        } else {
            EXPECT_THAT(problems, IsEmpty());
        }
    }
    SettingsStore store(folder.Path(kFile));
    EXPECT_EQ(store.GetNumber(u"TcpPortB"_s, 8083, 10, 65534), 8083) << "absent";
}

TEST_F(SettingsStoreTest, EveryChangeIsTold) {
    SettingsStore store(folder.Path(kFile));
    std::vector<std::string> changes;
    QObject::connect(&store, &SettingsStore::Changed, [&](const QString& section, const QString& key) {
        // Whoever hears of a change can read it.
        changes.push_back((section + u'/' + key + u'=' + store.GetSetting(key, {}, section)).toStdString());
    });
    store.SaveSetting(u"NETmeter"_s, true);
    store.SaveSetting(u"DevSerial"_s, u"301234"_s, u"0"_s);
    EXPECT_THAT(changes, ElementsAre("startup/NETmeter=True", "0/DevSerial=301234"));
}

// The folder of the settings is a file, so that not even an administrator can write in it.
TEST_F(SettingsStoreTest, WhatCannotBeSavedIsToldAndHoldsAllTheSame) {
    folder.Write(u"blocked"_s, "mine");
    SettingsStore store(folder.Path(u"blocked/corvane.ini"_s));
    Watch(store).SaveSetting(u"GetURL"_s, u"example.org"_s);
    ASSERT_EQ(problems.size(), 1U);
    for (const char* part : {"blocked/corvane.ini", "GetURL", "example.org"})
        EXPECT_THAT(problems.front(), HasSubstr(part));
    EXPECT_EQ(store.GetSetting(u"geturl"_s, u"absent"_s).toStdString(), "example.org");
    EXPECT_EQ(folder.Read(u"blocked"_s), "mine");
}

TEST_F(SettingsStoreTest, WhatCouldNotBeSavedIsSavedWithTheNextChangeThatCan) {
    folder.Write(u"place"_s, "");
    SettingsStore store(folder.Path(u"place/corvane.ini"_s));
    Watch(store).SaveSetting(u"GetURL"_s, u"example.org"_s);
    EXPECT_THAT(problems, SizeIs(1));
    ASSERT_TRUE(QFile::remove(folder.Path(u"place"_s)));

    store.SaveSetting(u"GetEnable"_s, true);
    EXPECT_THAT(problems, SizeIs(1)) << "no more than before";
    EXPECT_EQ(folder.Read(u"place/corvane.ini"_s), "[startup]\nGetEnable=True\nGetURL=example.org\n");
}

TEST_F(SettingsStoreTest, ADamagedLineCostsNothingButItself) {
    folder.Write(kFile, "[startup]\nTcpPortA=8081\nno equals sign\nTcpPortB=8084\n");
    SettingsStore store(folder.Path(kFile));
    Watch(store);
    EXPECT_EQ(store.GetSetting(u"TcpPortA"_s).toStdString(), "8081");
    EXPECT_EQ(store.GetSetting(u"TcpPortB"_s).toStdString(), "8084");
    store.SaveSetting(u"NETmeter"_s, true);
    EXPECT_THAT(problems, IsEmpty()) << "it was saved";
    EXPECT_EQ(Reread(u"NETmeter"_s), "True");
    EXPECT_EQ(Reread(u"TcpPortB"_s), "8084");
}

TEST_F(SettingsStoreTest, ALineDamagedByHandMeanwhileIsNoFailedSave) {
    SettingsStore store(folder.Path(kFile));
    Watch(store).SaveSetting(u"TcpPortA"_s, u"8081"_s);
    folder.Write(kFile, "[startup]\nTcpPortA=8090\nno equals sign\n");
    store.SaveSetting(u"TcpPortB"_s, u"8084"_s);
    EXPECT_THAT(problems, IsEmpty()) << "it was saved";
    EXPECT_EQ(folder.Read(kFile), "[startup]\nTcpPortA=8090\nTcpPortB=8084\n");
}

TEST_F(SettingsStoreTest, ADamagedFileIsKeptAsideUnderAFreeName) {
    const std::string damaged = "[startup]\nTcpPortA=8081\nno equals sign\n";
    folder.Write(kFile, damaged);
    folder.Write(kFile + u".damaged-1"_s, "an earlier one");
    SettingsStore store(folder.Path(kFile));
    Watch(store).SetAsideDamagedFile();
    store.SaveSetting(u"TcpPortB"_s, u"8084"_s);
    EXPECT_EQ(folder.Read(kFile + u".damaged-1"_s), "an earlier one");
    EXPECT_EQ(folder.Read(kFile + u".damaged-2"_s), damaged);
    EXPECT_EQ(Reread(u"TcpPortA"_s), "8081");
    ASSERT_EQ(problems.size(), 1U);
    for (const char* part : {"corvane.ini is damaged", "corvane.ini.damaged-2"})
        EXPECT_THAT(problems.front(), HasSubstr(part));
}

TEST_F(SettingsStoreTest, NothingIsKeptAsideOfASoundFile) {
    folder.Write(kFile, "; a remark\n\n[startup]\nTcpPortA=8081\n");
    SettingsStore store(folder.Path(kFile));
    Watch(store).SetAsideDamagedFile();
    SettingsStore absent(folder.Path(u"absent.ini"_s));
    Watch(absent).SetAsideDamagedFile();
    EXPECT_THAT(folder.Entries(), ElementsAre("corvane.ini"));
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(SettingsStoreTest, OnlyALockThatNobodyHoldsIsRemoved) {
    folder.Write(kFile + u".lock"_s, "");  // what a program leaves that is killed while it saves
    const SettingsStore afterAKill(folder.Path(kFile));
    EXPECT_THAT(folder.Entries(), IsEmpty());

    QLockFile held(folder.Path(kFile + u".lock"_s));
    ASSERT_TRUE(held.tryLock());
    const SettingsStore besideAnother(folder.Path(kFile));
    EXPECT_THAT(folder.Entries(), ElementsAre("corvane.ini.lock"));
}

}  // namespace
}  // namespace corvane
