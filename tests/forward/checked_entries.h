// What a user enters for settings.
#pragma once

#include <gtest/gtest.h>

#include "base/setting.h"
#include "forward/feed_upload.h"
#include "forward/get_upload.h"
#include "forward/tcp_forwarding.h"
#include "store/settings_store.h"
#include "support/data_lines.h"

namespace corvane {

/// Kept where its check takes it.
inline Outcome Choose(SettingsStore& store, const Setting& setting, QString text) {
    Outcome checked = CheckSetting(setting, text, store);
    if (checked) store.Save(setting, text);
    return checked;
}

/// Enters what the cases of that name have: key, text, and why it is refused, if it is.
inline void ExpectChecks(const char* name, SettingsStore& store) {
    const Setting* const settings[] = {&kFeedEnable, &kFeedKey,       &kFeedNumber,    &kFeedTitle,
                                       &kFeedHost,   &kFeedInterval,  &kListeningPort, &kServerBPort,
                                       &kClientPort, &kClientAddress, &kGetHost,       &kGetPath,
                                       &kGetLayout};
    for (const DataLine& line : CasesOf(name)) {
        const Setting& setting = **std::ranges::find(settings, line.Word(0), &Setting::key);
        EXPECT_EQ(Choose(store, setting, line.Column(1)).Error().toStdString(), line.Word(2)) << line;
    }
}

}  // namespace corvane
