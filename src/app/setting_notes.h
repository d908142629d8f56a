// What keeps a setting from doing what its name promises: the values of others.
#pragma once

#include <QStringList>

namespace corvane {

struct FoundSetting;
class SettingsStore;

/// A line for each thing that still hinders what was just set, and says what to do; none where nothing does.
[[nodiscard]] QStringList SettingNotes(const FoundSetting& changed, SettingsStore& settings);

}  // namespace corvane
