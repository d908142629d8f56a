// Where the pages are served, and to whom: the settings whose names begin with "Web".
#pragma once

#include <QHostAddress>
#include <QString>

#include <cstdint>

#include "base/outcome.h"

namespace corvane {

class SettingsStore;

struct WebSetup {
    static constexpr int kLeastToken = 16;  ///< characters

    bool enabled = true;                                           ///< `WebEnable`
    QHostAddress address = QHostAddress(QHostAddress::LocalHost);  ///< `WebListen`; null where it is none
    std::uint16_t port = 8780;                                     ///< `WebPort`
    QString token;  ///< `WebToken`; empty: nobody is asked for one

    static WebSetup Load(SettingsStore& settings);

    /// Whether these settings may be served by: what others can reach needs a token.
    [[nodiscard]] Outcome Check() const;

    /// Where a browser on this machine finds the pages, without a "/" at its end.
    [[nodiscard]] QString Location() const;
};

/// Checks the entry for one of these settings, by its key.
[[nodiscard]] Outcome CheckWebSetting(const QString& key, const QString& value);

}  // namespace corvane
