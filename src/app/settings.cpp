#include "app/settings.h"

#include "link/device_slots.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// Where this setting lies whose section has this name: its slot, or 0 where it has none; nothing where the
/// setting is not of that section.
std::optional<int> SlotOfSection(const Setting& setting, const QString& name) {
    const bool general = setting.section == SettingSection::Startup;
    for (int slot = general ? 0 : 1; slot <= (general ? 0 : kSlots); ++slot) {
        if (name.compare(SettingSectionName(setting, {.slot = slot}), Qt::CaseInsensitive) == 0) return slot;
    }
    return std::nullopt;
}

}  // namespace

QStringList Settings::Names(const Setting& setting) {
    QStringList names;
    const bool general = setting.section == SettingSection::Startup;
    for (int slot = general ? 0 : 1; slot <= (general ? 0 : kSlots); ++slot) {
        const QString section = general ? QString() : SettingSectionName(setting, {.slot = slot}) + u'/';
        for (const QString& member : SettingMembers(setting))
            names.append(section + SettingKey(setting, {.member = member, .slot = slot}));
    }
    return names;
}

std::optional<FoundSetting> Settings::Find(const QString& name) const {
    const auto slash = name.indexOf(u'/');
    const QString section = slash < 0 ? kStartupSection : name.left(slash);
    const QString key = name.mid(slash + 1);
    for (const List list : lists_) {
        for (const Setting& setting : list) {
            const auto slot = SlotOfSection(setting, section);
            if (!slot.has_value()) continue;
            for (const QString& member : SettingMembers(setting)) {
                const SettingPlace place{.member = member, .slot = *slot};
                if (key.compare(SettingKey(setting, place), Qt::CaseInsensitive) == 0)
                    return FoundSetting{&setting, place};
            }
        }
    }
    return std::nullopt;
}

Outcome Settings::Apply(const QString& name, const QString& text) {
    const auto found = Find(name);
    if (!found.has_value() || found->setting->by != SettingBy::Hand) {
        return Outcome::Failure(
            u"There is no setting %1 that can be set by hand."_s.arg(name.mid(name.indexOf(u'/') + 1)));
    }
    return Apply(*found->setting, text, found->place);
}

Outcome Settings::Apply(const Setting& setting, QString text, const SettingPlace& place) {
    Outcome checked = CheckSetting(setting, text, store_, place);
    for (const auto& [of, check] : checks_)
        if (checked && IsKeyOf(*of, SettingKey(setting, place))) checked = check(text);
    if (!checked) return checked;
    store_.Save(setting, text, place);
    const QString notSaved = store_.TakeNotSaved();
    return notSaved.isEmpty() ? Outcome::Success() : Outcome::Failure(notSaved);
}

std::optional<QString> Settings::Shown(const QString& name) const {
    auto kept = store_.Kept(name.contains(u'/') ? name : kStartupSection + u'/' + name);
    const auto found = Find(name);
    const bool secret = !found.has_value() || found->setting->privacy == SettingPrivacy::Secret;
    if (secret && kept.has_value() && !kept->isEmpty()) kept = kNotShown;
    return kept;
}

QString Settings::ChangeText(const QString& name) const {
    const auto found = Find(name);
    if (!found.has_value()) return {};
    const auto& [setting, place] = *found;
    const bool shown = setting->privacy != SettingPrivacy::Secret;
    return u"%1 = %2%3"_s.arg(SettingKey(*setting, place), shown ? store_.Value(*setting, place) : kNotShown,
                              SettingEffectText(setting->effect));
}

}  // namespace corvane
