// Every choice of the user, kept between runs as named texts.
#pragma once

#include <QHash>
#include <QObject>
#include <QSettings>
#include <QString>
#include <QStringList>

#include <concepts>
#include <optional>

#include "base/setting.h"

namespace corvane {

/// Settings are addressed by section and key, both without regard to case. General settings live in the
/// section "startup", per-device ones in sections named by a number. On Windows they are the user's registry,
/// elsewhere an INI file. What a change gives is on disk before `Save` returns, and a file is replaced
/// in one step: a reader finds the old one or the new one.
class SettingsStore : public QObject, public SettingValues {
    Q_OBJECT

public:
    /// The settings of the file at `path`, which is made at the first change.
    explicit SettingsStore(const QString& path);

    /// Where the file could not be read as a whole, keeps a copy of it under another name and tells so
    /// through `Problem`; what could be read is in effect. To be called once, before the first change.
    void SetAsideDamagedFile();

    [[nodiscard]] QString Value(const Setting& setting, const SettingPlace& place = {}) const override;

    /// The value of a switch. "True", "1" and "-1" are on, in any case of letters; anything else is off.
    [[nodiscard]] bool IsOn(const Setting& setting, const SettingPlace& place = {}) const;

    /// The value of a number. One that is none, or out of its range, is told through `Problem`, stays in the
    /// file, and the fallback is used.
    [[nodiscard]] int Number(const Setting& setting, const SettingPlace& place = {});

    /// The value as it is kept; nothing where none is.
    [[nodiscard]] std::optional<QString> Kept(const Setting& setting, const SettingPlace& place = {}) const;

    /// The same by "section/key".
    [[nodiscard]] std::optional<QString> Kept(const QString& name) const;

    /// Keeps a value that was checked, or that the program itself made, at once. A file that cannot be
    /// written is told through `Problem`; the value is in effect all the same, and is written with the next
    /// change that succeeds.
    void Save(const Setting& setting, const QString& value, const SettingPlace& place = {});
    void Save(const Setting& setting, std::same_as<bool> auto on, const SettingPlace& place = {}) {
        Save(setting, BoolText(on), place);
    }
    void Save(const Setting& setting, std::same_as<int> auto number, const SettingPlace& place = {}) {
        Save(setting, QString::number(number), place);
    }

    /// All that is set, as "section/key", in the order of the alphabet.
    [[nodiscard]] QStringList Names() const;

    /// The text form of a boolean: "True" or "False".
    [[nodiscard]] static QString BoolText(bool value);

Q_SIGNALS:
    void Changed(const QString& section, const QString& key);
    void Problem(const QString& text);

private:
    QSettings settings_;
    QHash<QString, QString> storedNames_;  ///< "section/key" in lower case -> as the file spells it
};

}  // namespace corvane
