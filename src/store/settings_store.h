// Every choice of the user, kept between runs as named texts.
#pragma once

#include <QHash>
#include <QObject>
#include <QSettings>
#include <QString>
#include <QStringList>

#include <concepts>
#include <optional>
#include <utility>

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

    /// Takes the rights of others from the file, as it may hold keys. Where it could not be read as a whole,
    /// keeps a copy of it under another name; what could be read is in effect. Tells of both through
    /// `Problem`. To be called once, before the first change.
    void CheckFile();

    [[nodiscard]] QString Value(const Setting& setting, const SettingPlace& place = {}) const override;

    // What is kept and is no value of the setting stays in the file, and is told through `Problem`: once, and
    // again only after the value was changed. Where the fallback in its place could lose something, what
    // depends on it is left undone: that is for the `Read...`.

    /// The value of a switch, or the fallback where it cannot be read. "True", "1" and "-1" are on, "False",
    /// "0", "No" and "Off" are off, in any case of letters.
    [[nodiscard]] bool IsOn(const Setting& setting, const SettingPlace& place = {}) const;

    /// The value of a number or a choice, or the fallback where it cannot be read.
    [[nodiscard]] int Number(const Setting& setting, const SettingPlace& place = {}) const;
    [[nodiscard]] QString Choice(const Setting& setting, const SettingPlace& place = {}) const;

    /// The value of a switch or a number; nothing where it cannot be read, which is told with what follows
    /// from it: "Automatic delete does not run".
    [[nodiscard]] std::optional<bool> ReadSwitch(const Setting& setting, const QString& consequence) const;
    [[nodiscard]] std::optional<int> ReadNumber(const Setting& setting, const QString& consequence,
                                                const SettingPlace& place = {}) const;

    /// The same told by an owner who reads a value by itself: it is not `expected`.
    void TellUnreadable(const Setting& setting, const SettingPlace& place, const QString& expected,
                        const QString& consequence) const;

    /// What is told: `The setting DBwriteFrequency is "x", not a whole number from 1 to 60; 10 is used.`
    [[nodiscard]] QString UnreadableText(const Setting& setting, const SettingPlace& place,
                                         const QString& expected, const QString& consequence) const;

    /// The value as it is kept; nothing where none is.
    [[nodiscard]] std::optional<QString> Kept(const Setting& setting, const SettingPlace& place = {}) const;

    /// The same by "section/key".
    [[nodiscard]] std::optional<QString> Kept(const QString& name) const;

    /// Keeps a value that was checked, or that the program itself made, at once. A file that cannot be
    /// written is told through `Problem` and noted (`TakeNotSaved`); the value is in effect all the same, and
    /// is written with the next change that succeeds.
    void Save(const Setting& setting, const QString& value, const SettingPlace& place = {});
    void Save(const Setting& setting, std::same_as<bool> auto on, const SettingPlace& place = {}) {
        Save(setting, BoolText(on), place);
    }
    void Save(const Setting& setting, std::same_as<int> auto number, const SettingPlace& place = {}) {
        Save(setting, QString::number(number), place);
    }

    /// What there is to say of a change that is not in the file yet, as it could not be written; empty where
    /// there is none, and when it was taken.
    [[nodiscard]] QString TakeNotSaved() { return std::exchange(notSaved_, {}); }

    /// Whether all changes so far are in the file.
    [[nodiscard]] bool AllSaved() const { return waiting_.isEmpty(); }

    /// All that is set, as "section/key", in the order of the alphabet.
    [[nodiscard]] QStringList Names() const;

    /// The text form of a boolean: "True" or "False".
    [[nodiscard]] static QString BoolText(bool value);

Q_SIGNALS:
    void Changed(const QString& section, const QString& key);
    void Problem(const QString& text) const;

private:
    void NarrowRights();
    void SetAsideDamagedFile();

    QSettings settings_;
    QString notSaved_;
    QHash<QString, QString> storedNames_;         ///< "section/key" in lower case -> as the file spells it
    QHash<QString, QString> waiting_;             ///< what found no room in the file yet, by its name there
    mutable QHash<QString, QString> unreadable_;  ///< "section/key" -> the value that was told
};

}  // namespace corvane
