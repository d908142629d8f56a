// Widgets that show a setting and save it as soon as it is changed.
#pragma once

#include <QString>

class QCheckBox;
class QFormLayout;
class QLineEdit;

namespace corvane {

class Actions;
class Program;

/// An entry for a setting. A refused text is said, and the value that is in force comes back.
QLineEdit* AddSettingEntry(QFormLayout* form, const QString& label, Program& program, Actions& actions,
                           const QString& key, const QString& fallback = {});

/// A switch for a setting.
QCheckBox* AddSettingSwitch(QFormLayout* form, const QString& label, Program& program, Actions& actions,
                            const QString& key);

}  // namespace corvane
