#include "app/settings.h"

#include "app/program_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class SettingsTest : public ProgramTest {};

TEST_F(SettingsTest, AnEntryIsCheckedByItsDeclaration) {
    Program& program = Start();
    const struct {
        const char* name;
        const char* value;
        const char* error;  ///< part of it; empty where the value is taken
    } cases[] = {
        {"VoltX2", "true", ""},
        {"startup/VoltX2", "True", ""},
        {"NETmeter", "True", "There is no setting"},
        {"TcpPortA", "8090", ""},
        {"TcpPortA", "abc", "Must be a numeric value"},
        {"TcpPortB", "65535", "Invalid range for TCP/IP Port"},
        {"DBwriteFrequency", "61", "Not within acceptable range of 3 to 60 seconds"},
        {"TcpModeB", "client", ""},
        {"TcpModeB", "Client", "server or client"},
        {"ComPortA", "64", ""},
        {"ComPortC", "65", "No COM port selected"},
        {"ComPortD", "1", "There is no setting"},
        {"BaudRateB", "9601", "The baud rate is one of"},
        {"comdevice64", "/dev/ttyUSB7", ""},
        {"ComDevice2", "ttyUSB0", "ComDevice2 is a full path"},
        {"ComDevice0", "/dev/ttyUSB0", "There is no setting"},
        {"ComDevice65", "/dev/ttyUSB0", "There is no setting"},
        {"DeviceQTY", "6", ""},
        {"DeviceQTY", "7", "whole number from 1 to 6"},
        {"BindDeviceF", "4", ""},
        {"BindDeviceA", "5", "BindDeviceA is a whole number from 0 to 4"},
        {"1/Roll1A", "5", "There is no setting Roll1A that"},
        {"0/DevSerial", "301234", "There is no setting"},
        {"TcpPortHA", "65000", ""},
        {"TcpPortHA", "65001", "Invalid Port value. Try again"},
        {"HAserverPort", "65001", ""},
        {"ClientTCPip", "1.2.3.256", "Invalid IP Address"},
        {"ClientPort", "65535", "Invalid Port Number"},
        {"GetLayout", "3", "1 or 2"},
        {"PacEnable", "True", "Cannot enable. The KEY, FEED or TITLE is not valid."},
        {"PachubeFeed", "5x", "must be a numeric value"},
        {"PachubeKey", "secret", ""},
        {"WebPort", "8781", ""},
        {"WebPort", "9", "Invalid range for TCP/IP Port"},
        {"WebListen", "0.0.0.0", ""},
        {"WebListen", "house.example", "an address of this machine"},
        {"WebToken", "0123456789abcdef", ""},
        {"WebToken", "short", "at least 16"},
        {"WebToken", "0123456789abcdef;", "at least 16"},
        {"0/VoltX2", "True", "There is no setting"},
    };
    Settings& settings = program.userSettings;
    for (const auto& c : cases) {
        const QString name = QString::fromLatin1(c.name);
        const auto kept = [&] {
            return settings.Store().Kept(name.contains(u'/') ? name : u"startup/"_s + name);
        };
        const auto before = kept();
        const Outcome applied = settings.Apply(name, QString::fromLatin1(c.value));
        if (*c.error == '\0') {
            EXPECT_TRUE(applied) << c.name << ": " << applied.Error().toStdString();
            EXPECT_EQ(kept()->toLower(), QString::fromLatin1(c.value).toLower()) << c.name;
        } else {
            EXPECT_TRUE(applied.Error().contains(QLatin1StringView(c.error)))
                << c.name << ": " << applied.Error().toStdString();
            EXPECT_EQ(kept(), before) << c.name;
        }
    }
}

TEST_F(SettingsTest, WhatWasChangedIsToldWithTheMomentFromWhichItIsInEffect) {
    const Settings& settings = Start().userSettings;
    const struct {
        const char* name;
        const char* told;
    } cases[] = {
        {"voltx2", "VoltX2 = 7"},
        {"TcpPortB", "TcpPortB = 7, from the next listen on"},
        {"startup/comdevice7", "ComDevice7 = 7, from the next opening on"},
        {"BindDeviceF", "BindDeviceF = 7, from the next \"target\" on"},
        {"DBfile", "DBfile = 7, from the next start on"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(settings.ChangeText(QString::fromLatin1(c.name), u"7"_s), QString::fromLatin1(c.told));
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
    EXPECT_EQ(settings.ChangeText(u"Key"_s, u"c0ffee"_s), u"Key = (not shown)"_s);
}

TEST_F(SettingsTest, TheSwitchAndTheFrequencyOfWritingActAtOnce) {
    Program& program = Start();
    EXPECT_TRUE(program.userSettings.Apply(kDatabaseEnabled, u"false"_s));
    EXPECT_FALSE(program.dbWriter.Enabled());
    EXPECT_TRUE(program.userSettings.Apply(kWriteFrequency, u"33"_s));
    program.dbWriter.Flush();
    EXPECT_EQ(program.dbWriter.WriteCountdown(), 33);
}

}  // namespace
}  // namespace corvane
