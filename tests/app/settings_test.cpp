#include "app/settings.h"

#include "app/program_fixture.h"
#include "app/setting_notes.h"
#include "support/data_lines.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class SettingsTest : public ProgramTest {};

TEST_F(SettingsTest, AnEntryIsCheckedByItsDeclaration) {
    Program& program = Start();
    Settings& settings = program.userSettings;
    QTcpServer other;
    ASSERT_TRUE(other.listen());
    for (const DataLine& line : LinesOf("Entries")) {
        const QString name = line.Column(0);
        const QString value = line.Column(1)
                                  .replace(u"{free}"_s, QString::number(FreePort()))
                                  .replace(u"{held}"_s, QString::number(other.serverPort()))
                                  .replace(u"{web}"_s, program.settings.Value(kWebPort));
        const std::string refusal = line.Word(2);
        const QString place = name.contains(u'/') ? name : u"startup/"_s + name;
        const auto before = settings.Store().Kept(place);
        const std::string error = settings.Apply(name, value).Error().toStdString();
        const auto kept = settings.Store().Kept(place);
        EXPECT_EQ(error.empty(), refusal.empty()) << line << ": " << error;
        EXPECT_NE(error.find(refusal), std::string::npos) << line << ": " << error;
        if (refusal.empty())
            EXPECT_EQ(kept.value_or(QString()).toLower(), value.toLower()) << line;
        else
            EXPECT_EQ(kept, before) << line;
    }
}

TEST_F(SettingsTest, WhatWasChangedIsToldWithTheMomentFromWhichItIsInEffect) {
    Settings& settings = Start().userSettings;
    const QString port = QString::number(FreePort());
    const std::tuple<QString, QString, QString> cases[] = {
        {u"voltx2"_s, u" true"_s, u"VoltX2 = True"_s},
        {u"TcpPortB"_s, port + u".0"_s, u"TcpPortB = %1, from the next listen on"_s.arg(port)},
        {u"startup/baudrateb"_s, u" 9600.0 "_s, u"BaudRateB = 9600, from the next opening on"_s},
        {u"BindDeviceF"_s, u"4"_s, u"BindDeviceF = 4, from the next \"target\" on"_s},
        {u"AutoOpen"_s, u"TRUE"_s, u"AutoOpen = True, from the next start on"_s},
    };
    for (const auto& [name, entered, told] : cases) {
        EXPECT_TRUE(settings.Apply(name, entered));
        EXPECT_EQ(settings.ChangeText(name), told) << "as it is kept, not as it was entered";
    }
}

TEST_F(SettingsTest, WhatHindersASettingIsToldAsItIsSet) {
    Settings& settings = Start().userSettings;
    settings.Store().Save(kListeningLatch, true);
    settings.Store().Save(kWebListen, u"0.0.0.0"_s);
    settings.Store().Save(kDeviceSerial, u"301234"_s, {.slot = 3});
    for (const DataLine& line : LinesOf("Notes")) {
        ASSERT_TRUE(settings.Apply(line.Column(0), line.Column(1))) << line;
        const QStringList notes = SettingNotes(*settings.Find(line.Column(0)), settings.Store());
        const std::string told = notes.join(u' ').toStdString();
        EXPECT_TRUE(told.starts_with(line.Word(2))) << line << told;
        EXPECT_EQ(told.empty(), line.Word(2).empty()) << line << told;
    }
}

TEST_F(SettingsTest, ASecretIsNeverShown) {
    static constexpr Setting kSecret{.key = "Key", .privacy = SettingPrivacy::Secret};
    SettingsStore store(SettingsFile());
    Settings settings(store, {{&kSecret, 1}});
    EXPECT_EQ(settings.Shown(u"Key"_s), std::nullopt);
    EXPECT_TRUE(settings.Apply(u"Key"_s, u"c0ffee"_s));
    EXPECT_EQ(store.Value(kSecret), u"c0ffee"_s);
    for (const QString& name : {u"Key"_s, u"startup/KEY"_s})
        EXPECT_EQ(settings.Shown(name), kNotShown);
    for (const QString& name : {u"/Key"_s, u"startup//Key"_s, u"Key/"_s})
        EXPECT_EQ(settings.Shown(name), std::nullopt) << "the file knows the same key by these names";
    EXPECT_EQ(settings.ChangeText(u"Key"_s), u"Key = (not shown)"_s);
}

TEST_F(SettingsTest, TheSwitchAndTheFrequencyOfWritingActAtOnce) {
    Program& program = Start();
    EXPECT_TRUE(program.userSettings.Apply(kDatabaseEnabled, u"false"_s));
    EXPECT_FALSE(program.dbWriter.Enabled());
    EXPECT_TRUE(program.userSettings.Apply(kWriteFrequency, u"33"_s));
    EXPECT_TRUE(QCoro::waitFor(program.dbWriter.Drain(0)));
    EXPECT_EQ(program.dbWriter.WriteCountdown(), 33);
}

}  // namespace
}  // namespace corvane
