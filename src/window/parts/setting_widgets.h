// Widgets that show a setting and save it as soon as it is changed.
#pragma once

#include <QString>

#include "base/setting.h"

class QCheckBox;
class QFormLayout;
class QLineEdit;

namespace corvane {

class Actions;
class Settings;

/// An entry for a setting, with its help line as tool tip. A refused text is said, and the value that is in
/// effect comes back.
QLineEdit* AddSettingEntry(QFormLayout* form, const QString& label, Settings& settings, Actions& actions,
                           const Setting& setting, const SettingPlace& place = {});

/// A switch for a setting, with its help line as tool tip.
QCheckBox* AddSettingSwitch(QFormLayout* form, const QString& label, Settings& settings, Actions& actions,
                            const Setting& setting, const SettingPlace& place = {});

}  // namespace corvane
