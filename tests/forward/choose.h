// What a user enters for a setting.
#pragma once

#include "base/setting.h"
#include "store/settings_store.h"

namespace corvane {

/// Kept where its check takes it.
inline Outcome Choose(SettingsStore& store, const Setting& setting, QString text) {
    Outcome checked = CheckSetting(setting, text, store);
    if (checked) store.Save(setting, text);
    return checked;
}

}  // namespace corvane
