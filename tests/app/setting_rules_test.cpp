#include "app/setting_rules.h"

#include "app/program_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class SettingRules : public ProgramTest {};

TEST_F(SettingRules, ValuesAreCheckedByTheirRule) {
    Program& program = Start();
    const struct {
        const char* name;
        const char* value;
        const char* error;  ///< part of it; empty where the value is taken
    } cases[] = {
        {"VoltX2", "true", ""},
        {"voltx2", "FALSE", ""},
        {"startup/VoltX2", "True", ""},
        {"VoltX2", "maybe", "True or False"},
        {"NegGen", "true", ""},
        {"CurrentAvg", "true", ""},
        {"Other", "false", ""},
        {"NETmeter", "True", "There is no setting"},
        {"TcpPortA", "8090", ""},
        {"TcpPortA", "abc", "Must be a numeric value"},
        {"TcpPortB", "65535", "Invalid range for TCP/IP Port"},
        {"DBwriteFrequency", "61", "Not within acceptable range of 3 to 60 seconds"},
        {"TcpModeB", "client", ""},
        {"TcpModeB", "Client", "server or client"},
        {"AutoOpen", "true", ""},
        {"ComPortA", "64", ""},
        {"comportb", "33", ""},
        {"ComPortC", "65", "No COM port selected"},
        {"ComPortD", "1", "There is no setting"},
        {"BaudRateA", "9600", ""},
        {"BaudRateB", "9601", "The baud rate is one of"},
        {"BaudRateC", "115200", ""},
        {"ComDevice1", "/dev/serial/by-id/usb-monitor", ""},
        {"comdevice64", "/dev/ttyUSB7", ""},
        {"ComDevice64", "", ""},
        {"ComDevice2", "ttyUSB0", "full path"},
        {"ComDevice0", "/dev/ttyUSB0", "There is no setting"},
        {"ComDevice65", "/dev/ttyUSB0", "There is no setting"},
        {"ComDevice01", "/dev/ttyUSB0", "There is no setting"},
        {"ComDevice", "/dev/ttyUSB0", "There is no setting"},
        {"XomDevice1", "/dev/ttyUSB0", "There is no setting"},
        {"DeviceQTY", "6", ""},
        {"DeviceQTY", "7", "whole number from 1 to 6"},
        {"DeviceQTY", "1.5", "whole number from 1 to 6"},
        {"BindDeviceF", "4", ""},
        {"BindDeviceA", "5", "whole number from 0 to 4"},
        {"serverenable", "True", ""},
        {"TcpPortHA", "65000", ""},
        {"TcpPortHA", "65001", "Invalid Port value. Try again"},
        {"HAserverPort", "65001", ""},
        {"ClientTCPip", "1.2.3.256", "Invalid IP Address"},
        {"ClientPort", "65535", "Invalid Port Number"},
        {"GetLayout", "3", "1 or 2"},
        {"PacEnable", "True", "Cannot enable. The KEY, FEED or TITLE is not valid."},
        {"PachubeFeed", "5x", "must be a numeric value"},
        {"PachubeKey", "secret", ""},
        {"WebEnable", "false", ""},
        {"WebPort", "8781", ""},
        {"WebPort", "9", "Invalid range for TCP/IP Port"},
        {"WebPort", "http", "Must be a numeric value"},
        {"WebListen", "0.0.0.0", ""},
        {"WebListen", "house.example", "an address of this machine"},
        {"WebToken", "0123456789abcdef", ""},
        {"WebToken", "short", "at least 16"},
        {"WebToken", "0123456789abcdef;", "at least 16"},
        {"DBenabeld", "True", "There is no setting"},
        {"0/VoltX2", "True", "There is no setting"},
    };
    for (const auto& c : cases) {
        const auto name = SettingName::Parse(QString::fromLatin1(c.name));
        const QString before = program.settings.GetSetting(name.key, u"-"_s, name.section);
        const AppliedSetting reply = ApplySetting(program, name, QString::fromLatin1(c.value));
        const QString after = program.settings.GetSetting(name.key, u"-"_s, name.section);
        if (*c.error == '\0') {
            EXPECT_TRUE(reply.outcome) << c.name << ": " << reply.outcome.Error().toStdString();
            EXPECT_EQ(after.toLower(), QString::fromLatin1(c.value).toLower());
            EXPECT_FALSE(reply.told.contains(u"secret"_s));
        } else {
            EXPECT_TRUE(reply.outcome.Error().contains(QLatin1StringView(c.error))) << c.name;
            EXPECT_EQ(after, before) << c.name;
        }
    }
}

TEST_F(SettingRules, TheWriteSwitchActsAtOnce) {
    Program& program = Start();
    EXPECT_TRUE(ApplySetting(program, SettingName::Parse(u"DBenabled"_s), u"False"_s).outcome);
    EXPECT_FALSE(program.dbWriter.Enabled());
}

}  // namespace
}  // namespace corvane
