// The settings of the forwarding that can be changed by hand, and what their values must be. All others are
// declared by their owners; see app/settings.h.
#pragma once

#include <QString>

#include "app/settings.h"
#include "base/outcome.h"

namespace corvane {

class Program;

/// "KEY" of the section "startup", or "SECTION/KEY".
struct SettingName {
    QString section;
    QString key;

    static SettingName Parse(const QString& text);
};

/// Whether the value of this key is never told, not even to whoever has just typed it.
[[nodiscard]] bool IsSecret(const QString& key);

struct AppliedSetting {
    Outcome outcome = Outcome::Success();
    QString told = {};  ///< "KEY = VALUE", and from when on it is in effect
};

/// Checks a value by the key's rule and saves it. A key that the program does not know is refused, so that a
/// slip of the pen is no silent loss.
AppliedSetting ApplySetting(Program& program, const SettingName& name, const QString& value);

}  // namespace corvane
