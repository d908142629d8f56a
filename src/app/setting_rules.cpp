#include "app/setting_rules.h"

#include <array>

#include "app/program.h"

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

struct Rule {
    const char* key;
    const char* effect;  ///< from when on the value is in effect
    Outcome (*apply)(Program& program, const SettingName& name, const QString& value);
};

constexpr const char* kNow = "";
constexpr const char* kNextListen = ", from the next listen on";
constexpr const char* kNextConnect = ", from the next connect on";

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
});

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
        const QString key = QString::fromLatin1(rule.key);
        if (!general || name.key.compare(key, Qt::CaseInsensitive) != 0) continue;
        return {rule.apply(program, {name.section, key}, value),
                u"%1 = %2%3"_s.arg(key, IsSecret(key) ? kNotShown : value, QLatin1StringView(rule.effect))};
    }
    return {Outcome::Failure(u"There is no setting %1 that can be set by hand."_s.arg(name.key))};
}

}  // namespace corvane
