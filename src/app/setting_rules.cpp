#include "app/setting_rules.h"

#include <array>

#include "app/program.h"
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
    return program.SerialLinkOf(name.key.last(1))->SetPort(value);
}

Outcome SaveBaudRate(Program& program, const SettingName& name, const QString& value) {
    return program.SerialLinkOf(name.key.last(1))->SetBaudRate(value);
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
constexpr const char* kNextOpen = ", from the next opening on";
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
    {"VoltX2", kNow, SaveBool},
    {"VRQ5806", kNow, SaveBool},
    {"NegGen", kNow, SaveBool},
    {"CurrentAvg", kNow, SaveBool},
    {"Other", kNow, SaveBool},
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

SettingName SettingName::Parse(const QString& text) {
    const auto slash = text.indexOf(u'/');
    if (slash < 0) return {SettingsStore::kStartup, text};
    return {text.left(slash), text.mid(slash + 1)};
}

Reply ApplySetting(Program& program, const SettingName& name, const QString& value) {
    const bool general = name.section.compare(SettingsStore::kStartup, Qt::CaseInsensitive) == 0;
    for (const Rule& rule : kRules) {
        const QString key = NamedKey(rule, name.key);
        if (!general || key.isEmpty()) continue;
        return Reply::Of(rule.apply(program, {name.section, key}, value),
                         u"%1 = %2%3"_s.arg(key, value, QLatin1StringView(rule.effect)));
    }
    return Reply::Failure(u"There is no setting %1 that can be set by hand."_s.arg(name.key));
}

}  // namespace corvane
