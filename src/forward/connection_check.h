// Whether the internet can be reached from this machine.
#pragma once

#include <QCoroTask>
#include <QNetworkAccessManager>

#include <cstdint>

namespace corvane {

class Clock;
class Operator;
class SettingsStore;

class ConnectionCheck {
public:
    static constexpr std::int64_t kTimeLimit = 5000;  ///< ms

    ConnectionCheck(const SettingsStore& settings, Clock& clock) : settings_(settings), clock_(clock) {}

    /// Tells that it is checking, and tries to open a well-known page (setting `InternetCheckUrl`). True
    /// where that was there within five seconds.
    QCoro::Task<bool> InternetConnectionAvailable(Operator& op);

private:
    const SettingsStore& settings_;
    Clock& clock_;
    QNetworkAccessManager network_;
};

}  // namespace corvane
