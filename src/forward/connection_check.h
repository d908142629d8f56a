// Whether the internet can be reached from this machine.
#pragma once

#include <QCoroTask>
#include <QNetworkAccessManager>

#include <cstdint>

#include "base/outcome.h"
#include "base/setting.h"

namespace corvane {

class Clock;
class Operator;
class SettingsStore;

Outcome CheckInternetCheckUrl(QString& text, const SettingValues& values);

inline constexpr Setting kInternetCheckUrl{
    .key = "InternetCheckUrl",
    .fallback = "http://www.example.com/",
    .check = CheckInternetCheckUrl,
    .privacy = SettingPrivacy::Personal,
    .help = "The page that is opened to see whether the internet is there."};

class ConnectionCheck {
public:
    static constexpr const char* kReached = "The internet can be reached.";
    static constexpr std::int64_t kTimeLimit = 5000;  ///< ms

    ConnectionCheck(const SettingsStore& settings, Clock& clock) : settings_(settings), clock_(clock) {}

    /// Tells that it is checking, and tries to open a well-known page (setting `InternetCheckUrl`). True
    /// where that was there within five seconds.
    QCoro::Task<bool> InternetConnectionAvailable(Operator& op);

    /// The same as an action of a user, who is to be told `kReached` where it succeeded.
    QCoro::Task<Outcome> Check(Operator& op);

private:
    const SettingsStore& settings_;
    Clock& clock_;
    QNetworkAccessManager network_;
};

}  // namespace corvane
