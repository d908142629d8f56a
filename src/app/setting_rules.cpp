#include "app/setting_rules.h"

#include <array>
#include <cmath>

#include "app/program.h"
#include "base/number_entry.h"
#include "web/web_setup.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

Outcome SaveBool(Program& program, const SettingName& name, const QString& value) {
    const QString text = value.trimmed().toLower();
    if (text != "true"_L1 && text != "false"_L1) {
        return Outcome::Failure(u"%1 is True or False."_s.arg(name.key));
    }
    program.settings.SaveSetting(name.key, text == "true"_L1);
    return Outcome::Success();
}

Outcome SaveText(Program& program, const SettingName& name, const QString& value) {
    program.settings.SaveSetting(name.key, value, name.section);
    return Outcome::Success();
}

Outcome SaveEnabled(Program& program, const SettingName& name, const QString& value) {
    Outcome saved = SaveBool(program, name, value);
    if (saved) program.dbWriter.SetEnabled(program.settings.GetBool(name.key, true));
    return saved;
}

Outcome SaveTcpMode(Program& program, const SettingName& name, const QString& value) {
    if (value != "server"_L1 && value != "client"_L1) {
        return Outcome::Failure(u"%1 is server or client."_s.arg(name.key));
    }
    return SaveText(program, name, value);
}

// The letter of a serial connection ends its keys.
Outcome SaveComPort(Program& program, const SettingName& name, const QString& value) {
    return LinkOf(program.SerialLinks(), name.key.last(1))->SetPort(value);
}

Outcome SaveBaudRate(Program& program, const SettingName& name, const QString& value) {
    return LinkOf(program.SerialLinks(), name.key.last(1))->SetBaudRate(value);
}

Outcome SaveComDevice(Program& program, const SettingName& name, const QString& value) {
    if (!value.isEmpty() && !value.startsWith(u'/')) {
        return Outcome::Failure(
            u"%1 is a full path, such as /dev/ttyUSB0, or empty for the usual one."_s.arg(name.key));
    }
    return SaveText(program, name, value);
}

Outcome SaveWeb(Program& program, const SettingName& name, const QString& value) {
    const Outcome checked = CheckWebSetting(name.key, value);
    return checked ? SaveText(program, name, value) : checked;
}

struct Rule {
    const char* key;     ///< "#" at the end stands for the number of a COM port
    const char* effect;  ///< from when on the value is in force
    Outcome (*apply)(Program& program, const SettingName& name, const QString& value);
};

constexpr const char* kNow = "";
constexpr const char* kNextListen = ", from the next listen on";
constexpr const char* kNextConnect = ", from the next connect on";
constexpr const char* kNextOpen = ", from the next opening on";
constexpr const char* kNextTarget = ", from the next \"target\" on";
constexpr const char* kNextStart = ", from the next start on";

Outcome SavePortA(Program& program, const SettingName&, const QString& value) {
    return program.tcpA.SetPort(value);
}

Outcome SavePortB(Program& program, const SettingName&, const QString& value) {
    return program.tcpB.SetPort(value);
}

Outcome SaveWriteFrequency(Program& program, const SettingName&, const QString& value) {
    return program.dbWriter.SetWriteFrequency(value);
}

Outcome SaveWholeNumber(Program& program, const SettingName& name, const QString& value, int least,
                        int most) {
    const auto number = NumberEntry(value);
    if (!number.has_value() || std::trunc(*number) != *number || *number < least || *number > most) {
        return Outcome::Failure(u"%1 is a whole number from %2 to %3."_s.arg(name.key).arg(least).arg(most));
    }
    return SaveText(program, name, QString::number(static_cast<int>(*number)));
}

Outcome SaveDeviceCount(Program& program, const SettingName& name, const QString& value) {
    return SaveWholeNumber(program, name, value, 1, kSlots);
}

Outcome SaveDeviceLink(Program& program, const SettingName& name, const QString& value) {
    return SaveWholeNumber(program, name, value, 0, kStreams - 1);
}

template <Outcome (ForwardingServer::*set)(const QString&), ForwardingServer TcpForwarding::*server>
Outcome OfServer(Program& program, const SettingName&, const QString& value) {
    return (program.forwarding.*server.*set)(value);
}

template <Outcome (ForwardingClient::*set)(const QString&)>
Outcome OfClient(Program& program, const SettingName&, const QString& value) {
    return (program.forwarding.client.*set)(value);
}

template <Outcome (GetUpload::*set)(const QString&)>
Outcome OfGet(Program& program, const SettingName&, const QString& value) {
    return (program.getUpload.*set)(value);
}

template <Outcome (FeedUpload::*set)(const QString&)>
Outcome OfFeed(Program& program, const SettingName&, const QString& value) {
    return (program.feedUpload.*set)(value);
}

Outcome SaveFeedEnabled(Program& program, const SettingName& name, const QString& value) {
    const bool on = value.trimmed().toLower() == "true"_L1;
    return on ? program.feedUpload.SetEnabled(true) : SaveBool(program, name, value);
}

constexpr auto kRules = std::to_array<Rule>({
    {"DBfile", kNextStart, SaveText},
    {"DBenabled", kNow, SaveEnabled},
    {"DBwriteFrequency", kNow, SaveWriteFrequency},
    {"TcpPortA", kNextListen, SavePortA},
    {"TcpPortB", kNextListen, SavePortB},
    {"TcpModeB", kNextListen, SaveTcpMode},
    {"TcpHostB", kNextListen, SaveText},
    {"AutoOpen", kNextStart, SaveBool},
    {"ComPortA", kNextOpen, SaveComPort},
    {"ComPortB", kNextOpen, SaveComPort},
    {"ComPortC", kNextOpen, SaveComPort},
    {"BaudRateA", kNextOpen, SaveBaudRate},
    {"BaudRateB", kNextOpen, SaveBaudRate},
    {"BaudRateC", kNextOpen, SaveBaudRate},
    {"ComDevice#", kNextOpen, SaveComDevice},
    {"DeviceQTY", kNow, SaveDeviceCount},
    {"BindDeviceA", kNextTarget, SaveDeviceLink},
    {"BindDeviceB", kNextTarget, SaveDeviceLink},
    {"BindDeviceC", kNextTarget, SaveDeviceLink},
    {"BindDeviceD", kNextTarget, SaveDeviceLink},
    {"BindDeviceE", kNextTarget, SaveDeviceLink},
    {"BindDeviceF", kNextTarget, SaveDeviceLink},
    {"VoltX2", kNow, SaveBool},
    {"VRQ5806", kNow, SaveBool},
    {"NegGen", kNow, SaveBool},
    {"CurrentAvg", kNow, SaveBool},
    {"Other", kNow, SaveBool},
    {"ServerEnable", kNow, SaveBool},
    {"BinaryData", kNow, SaveBool},
    {"TcpPortHA", kNextListen, OfServer<&ForwardingServer::SetPort, &TcpForwarding::listeningServer>},
    {"HAServerEnable", kNow, SaveBool},
    {"HAbinaryData", kNow, SaveBool},
    {"HAserverPort", kNextListen, OfServer<&ForwardingServer::SetPort, &TcpForwarding::serverB>},
    {"ClientEnable", kNow, SaveBool},
    {"ClientTCPip", kNextConnect, OfClient<&ForwardingClient::SetAddress>},
    {"ClientPort", kNextConnect, OfClient<&ForwardingClient::SetPort>},
    {"GetEnable", kNow, SaveBool},
    {"GetURL", kNow, OfGet<&GetUpload::SetHost>},
    {"GetURLext", kNow, OfGet<&GetUpload::SetPath>},
    {"GetLayout", kNow, OfGet<&GetUpload::SetLayout>},
    {"InternetCheckUrl", kNow, SaveText},
    {"PacEnable", kNow, SaveFeedEnabled},
    {"PachubeKey", kNow, OfFeed<&FeedUpload::SetKey>},
    {"PachubeFeed", kNow, OfFeed<&FeedUpload::SetFeed>},
    {"PacTitle", kNow, OfFeed<&FeedUpload::SetTitle>},
    {"PacHost", kNow, OfFeed<&FeedUpload::SetHost>},
    {"PacInterval", kNow, OfFeed<&FeedUpload::SetInterval>},
    {"WebEnable", kNow, SaveBool},
    {"WebPort", kNow, SaveWeb},
    {"WebListen", kNow, SaveWeb},
    {"WebToken", kNow, SaveWeb},
});

/// The key that `text` names by this rule, as the rule spells it; empty where it names none.
QString NamedKey(const Rule& rule, const QString& text) {
    QString key = QString::fromLatin1(rule.key);
    if (key.endsWith(u'#')) {
        key.chop(1);
        const int number = text.mid(key.size()).toInt();
        if (number < 1 || number > kComPorts) return {};
        key += QString::number(number);
    }
    return text.compare(key, Qt::CaseInsensitive) == 0 ? key : QString();
}

}  // namespace

bool IsSecret(const QString& key) {
    // Slashes around it name the same key.
    return key.contains(FeedUpload::kKeyKey, Qt::CaseInsensitive);
}

SettingName SettingName::Parse(const QString& text) {
    const auto slash = text.indexOf(u'/');
    if (slash < 0) return {SettingsStore::kStartup, text};
    return {text.left(slash), text.mid(slash + 1)};
}

AppliedSetting ApplySetting(Program& program, const SettingName& name, const QString& value) {
    const bool general = name.section.compare(SettingsStore::kStartup, Qt::CaseInsensitive) == 0;
    for (const Rule& rule : kRules) {
        const QString key = NamedKey(rule, name.key);
        if (!general || key.isEmpty()) continue;
        return {rule.apply(program, {name.section, key}, value),
                u"%1 = %2%3"_s.arg(key, IsSecret(key) ? kNotShown : value, QLatin1StringView(rule.effect))};
    }
    return {Outcome::Failure(u"There is no setting %1 that can be set by hand."_s.arg(name.key))};
}

}  // namespace corvane
