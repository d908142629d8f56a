// The one way in for values that people enter: window, browser and command line change settings through it.
#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "base/outcome.h"
#include "base/setting.h"

namespace corvane {

class SettingsStore;

/// A declared setting, and which one of its family.
struct FoundSetting {
    const Setting* setting;
    SettingPlace place;
};

class Settings {
public:
    using List = std::span<const Setting>;

    /// `lists`: what the owners of settings declare.
    Settings(SettingsStore& store, std::vector<List> lists) : store_(store), lists_(std::move(lists)) {}

    /// Adds the settings of an owner that is made later, such as a page of the window. They must live as long
    /// as this does.
    void Add(List list) { lists_.push_back(list); }

    /// Has entries of `setting` checked by more than the values of others, such as the files that there are.
    /// It may put the text into the form in which it is kept.
    void AddCheck(const Setting& setting, std::function<Outcome(QString& text)> check) {
        checks_.emplace_back(&setting, std::move(check));
    }

    [[nodiscard]] const std::vector<List>& Lists() const { return lists_; }

    /// The names of a setting, or of its whole family in all its sections, as `Find` takes them.
    [[nodiscard]] static QStringList Names(const Setting& setting);

    /// The setting of a name, "KEY" or "SECTION/KEY" in any case of letters; nothing where none is declared.
    [[nodiscard]] std::optional<FoundSetting> Find(const QString& name) const;

    /// Checks a text that was entered and keeps it. Refused, with a text, where the check says so, where no
    /// such setting is declared, so that a slip of the pen is no silent loss, and where it is not for the
    /// hand.
    Outcome Apply(const QString& name, const QString& text);

    /// The same of a declared setting.
    Outcome Apply(const Setting& setting, QString text, const SettingPlace& place = {});

    /// The value that is kept under a name, as it may be shown; nothing where none is kept. Of a key that
    /// nobody declares nobody knows whether it is a secret: it is not shown.
    [[nodiscard]] std::optional<QString> Shown(const QString& name) const;

    /// "KEY = VALUE" as it is kept, and from when on that is in effect; a secret is not told.
    [[nodiscard]] QString ChangeText(const QString& name) const;

    [[nodiscard]] SettingsStore& Store() { return store_; }

private:
    SettingsStore& store_;
    std::vector<List> lists_;
    std::vector<std::pair<const Setting*, std::function<Outcome(QString&)>>> checks_;
};

/// What stands for a value that is not shown.
inline const QString kNotShown = QStringLiteral("(not shown)");

}  // namespace corvane
