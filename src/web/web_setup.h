// Where the pages are served, and to whom: the settings whose names begin with "Web".
#pragma once

#include <QHostAddress>
#include <QString>

#include <array>
#include <cstdint>
#include <string>

#include "base/outcome.h"
#include "base/setting.h"
#include "link/tcp_link.h"

namespace corvane {

class SettingsStore;

Outcome CheckWebListen(QString& text, const SettingValues& values);
Outcome CheckWebToken(QString& text, const SettingValues& values);

inline constexpr Setting kWebEnabled{
    .key = "WebEnable", .kind = SettingKind::Switch, .fallback = "True", .help = "Whether pages are served."};
inline constexpr Setting kWebPort{.key = "WebPort",
                                  .kind = SettingKind::Number,
                                  .fallback = "8780",
                                  .least = kLeastTcpPort,
                                  .most = kMostTcpPort,
                                  .check = CheckTcpPort,
                                  .help = "Port of the pages, 10 to 65534."};
inline constexpr Setting kWebListen{
    .key = "WebListen",
    .fallback = "127.0.0.1",
    .check = CheckWebListen,
    .help = "Address of this machine at which the pages are served; 0.0.0.0 is all of them."};
inline constexpr Setting kWebToken{.key = "WebToken",
                                   .check = CheckWebToken,
                                   .privacy = SettingPrivacy::Personal,
                                   .help = "What the readers of the pages must know."};
inline constexpr Setting kMetricsEnabled{.key = "MetricsEnable",
                                         .kind = SettingKind::Switch,
                                         .fallback = "True",
                                         .help = "Whether /metrics is served beside the pages."};
inline constexpr std::array kWebSettings = {kWebEnabled, kWebPort, kWebListen, kWebToken, kMetricsEnabled};

struct WebSetup {
    static constexpr int kLeastToken = 16;  ///< characters

    bool enabled;
    QHostAddress address;  ///< null where the setting is none
    std::uint16_t port;
    QString token;  ///< empty: nobody is asked for one

    static WebSetup Load(SettingsStore& settings);

    /// Whether these settings may be served by: what others can reach needs a token.
    [[nodiscard]] Outcome Check() const;

    /// What is not well with them, though they are served by; empty where nothing is.
    [[nodiscard]] QString Warning() const;

    /// Cookies know hosts, not ports: the name tells programs on one machine apart.
    [[nodiscard]] std::string CookieName() const { return "corvane-" + std::to_string(port); }

    /// Where a browser on this machine finds the pages, without a "/" at its end.
    [[nodiscard]] QString Location() const;
};

}  // namespace corvane
