// Settings by their keys. The keys are a promise to whoever edits the file, so tests spell them out.
#pragma once

#include <QByteArray>
#include <QString>

#include <concepts>

#include "store/settings_store.h"

namespace corvane {

inline void KeepByKey(SettingsStore& store, const QString& key, const QString& value,
                      const QString& section = kStartupSection) {
    const QByteArray name = key.toLatin1();
    const bool general = section == kStartupSection;
    store.Save(
        {.key = name.constData(), .section = general ? SettingSection::Startup : SettingSection::SlotFromOne},
        value, {.slot = section.toInt()});
}

inline void KeepByKey(SettingsStore& store, const QString& key, std::same_as<bool> auto on) {
    KeepByKey(store, key, SettingsStore::BoolText(on));
}

inline QString KeptByKey(const SettingsStore& store, const QString& key, const QString& fallback = {},
                         const QString& section = kStartupSection) {
    return store.Kept(section + u'/' + key).value_or(fallback);
}

}  // namespace corvane
