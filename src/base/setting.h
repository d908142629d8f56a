// A setting, as its owner declares it, once. Whatever reads, shows, checks, hides, reports or documents
// settings walks these declarations.
#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

#include "base/outcome.h"

namespace corvane {

struct Setting;

/// The section of the settings that the program has once.
inline const QString kStartupSection = QStringLiteral("startup");

/// Which one of a setting that there is more than one of.
struct SettingPlace {
    QString member = {};  ///< what stands in the key in the place of "#": "A", "12"
    int slot = 0;         ///< 1 to 6, of a setting that each device slot has
};

/// What the checks of a setting may look at: the values of others.
class SettingValues {
public:
    virtual ~SettingValues() = default;

    /// The value as text, or the setting's fallback where none is kept.
    [[nodiscard]] virtual QString Value(const Setting& setting, const SettingPlace& place = {}) const = 0;
};

enum class SettingKind : std::uint8_t {
    Switch,  ///< "True" or "False"
    Number,  ///< a whole number from `least` to `most`
    Choice,  ///< one of the words of `choices`
    Text,
};

enum class SettingSection : std::uint8_t {
    Startup,       ///< "startup": one for the program
    SlotFromZero,  ///< "0" to "5": Device A to F
    SlotFromOne,   ///< "1" to "6": Device A to F
};

/// From when on a changed value is in effect.
enum class SettingEffect : std::uint8_t {
    AtOnce,
    NextListen,
    NextConnect,
    NextOpening,
    NextTarget,
    NextStart
};

/// Who changes it.
enum class SettingBy : std::uint8_t {
    Hand,     ///< `set`, and the pages of window and browser
    Command,  ///< a command of its own, which does more than keep the value
    Program,  ///< the program, for itself
};

enum class SettingPrivacy : std::uint8_t {
    Open,
    Personal,  ///< left out of what is handed on to others, such as a bug report
    Secret,    ///< never shown again, not even to whoever has just typed it
};

// The fields stand in the order in which a declaration is read, not in that which packs them best.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct Setting {
    const char* key;           ///< with "#" where the keys of a family differ: "BindDevice#"
    const char* members = "";  ///< of a family, in their order: "A-F", "1-64", "1A 1P 2-7"
    SettingSection section = SettingSection::Startup;
    SettingKind kind = SettingKind::Text;
    const char* fallback = "";  ///< the value where none is kept
    int least = 0;
    int most = 0;
    const char* choices = "";  ///< separated by blanks

    /// Checks a text that was entered, beyond what the kind says, or in its stead where the texts of the
    /// refusal are to be others; it may put the text into the form in which it is kept. "#" in a refusal
    /// stands for the member, as in the key. Null: the kind says it all.
    Outcome (*check)(QString& text, const SettingValues& values) = nullptr;

    SettingPrivacy privacy = SettingPrivacy::Open;
    SettingEffect effect = SettingEffect::AtOnce;
    SettingBy by = SettingBy::Hand;
    const char* help = "";  ///< one line
};

/// The key of one of a family, or of the setting itself.
[[nodiscard]] QString SettingKey(const Setting& setting, const SettingPlace& place = {});

/// Whether `key` is that of the setting, or of one of its family, in any case of letters.
[[nodiscard]] bool IsKeyOf(const Setting& setting, const QString& key);

/// The name of the section: "startup", or the number that it has for the slot of `place`.
[[nodiscard]] QString SettingSectionName(const Setting& setting, const SettingPlace& place = {});

/// What stands for "#" in the keys of a family, in their order; one empty text for a setting alone.
[[nodiscard]] QStringList SettingMembers(const Setting& setting);

/// What a value of the setting is: "a whole number from 1 to 60", "True or False", "server or client". Empty
/// for a text.
[[nodiscard]] QString SettingValueText(const Setting& setting);

/// The number that `text` stands for; nothing where it is no whole one, or out of the range of the setting.
[[nodiscard]] std::optional<int> SettingNumber(const Setting& setting, const QString& text);

/// Checks a text that was entered, and puts it into the form in which it is kept.
Outcome CheckSetting(const Setting& setting, QString& text, const SettingValues& values,
                     const SettingPlace& place = {});

/// ", from the next listen on" and the like; empty where a change is in effect at once.
[[nodiscard]] QString SettingEffectText(SettingEffect effect);

}  // namespace corvane
