#include "base/setting.h"

#include <algorithm>
#include <cmath>

#include "base/number_entry.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

Outcome CheckSwitch(const QString& key, QString& text) {
    const QString word = text.trimmed().toLower();
    if (word != "true"_L1 && word != "false"_L1) {
        return Outcome::Failure(u"%1 is True or False."_s.arg(key));
    }
    text = word == "true"_L1 ? u"True"_s : u"False"_s;
    return Outcome::Success();
}

Outcome CheckNumber(const Setting& setting, const QString& key, QString& text) {
    const auto number = NumberEntry(text);
    if (!number.has_value() || std::trunc(*number) != *number || *number < setting.least ||
        *number > setting.most) {
        return Outcome::Failure(
            u"%1 is a whole number from %2 to %3."_s.arg(key).arg(setting.least).arg(setting.most));
    }
    text = QString::number(static_cast<int>(*number));
    return Outcome::Success();
}

Outcome CheckChoice(const Setting& setting, const QString& key, const QString& text) {
    const QStringList choices = QString::fromLatin1(setting.choices).split(u' ');
    if (choices.contains(text)) return Outcome::Success();
    return Outcome::Failure(u"%1 is %2."_s.arg(key, choices.join(u" or "_s)));
}

Outcome CheckByOwner(const Setting& setting, QString& text, const SettingValues& values,
                     const QString& member) {
    Outcome checked = setting.check(text, values);
    if (checked || member.isEmpty()) return checked;
    return Outcome::Failure(QString(checked.Error()).replace(u'#', member));
}

/// "3-7" and "A-C" with all that lies between; anything else stands for itself.
void AppendMembers(QStringList& members, const QString& range) {
    const QStringList ends = range.split(u'-');
    bool numbered = false;
    const int first = ends.first().toInt(&numbered);
    if (ends.size() != 2) {
        members.append(range);
    } else if (numbered) {
        for (int number = first; number <= ends[1].toInt(); ++number)
            members.append(QString::number(number));
    } else {
        for (char16_t letter = ends[0].front().unicode(); letter <= ends[1].front().unicode(); ++letter)
            members.append(QChar(letter));
    }
}

}  // namespace

QString SettingKey(const Setting& setting, const SettingPlace& place) {
    return QString::fromLatin1(setting.key).replace(u'#', place.member);
}

QString SettingSectionName(const Setting& setting, const SettingPlace& place) {
    switch (setting.section) {
        case SettingSection::Startup:
            break;
        case SettingSection::SlotFromZero:
            return QString::number(place.slot - 1);
        case SettingSection::SlotFromOne:
            return QString::number(place.slot);
    }
    return kStartupSection;
}

QStringList SettingMembers(const Setting& setting) {
    QStringList members;
    for (const QString& range : QString::fromLatin1(setting.members).split(u' '))
        AppendMembers(members, range);
    return members;
}

bool IsKeyOf(const Setting& setting, const QString& key) {
    return std::ranges::any_of(SettingMembers(setting), [&](const QString& member) {
        return key.compare(SettingKey(setting, {.member = member}), Qt::CaseInsensitive) == 0;
    });
}

Outcome CheckSetting(const Setting& setting, QString& text, const SettingValues& values,
                     const SettingPlace& place) {
    if (setting.check != nullptr) return CheckByOwner(setting, text, values, place.member);
    const QString key = SettingKey(setting, place);
    switch (setting.kind) {
        case SettingKind::Switch:
            return CheckSwitch(key, text);
        case SettingKind::Number:
            return CheckNumber(setting, key, text);
        case SettingKind::Choice:
            return CheckChoice(setting, key, text);
        case SettingKind::Text:
            break;
    }
    return Outcome::Success();
}

QString SettingEffectText(SettingEffect effect) {
    switch (effect) {
        case SettingEffect::AtOnce:
            break;
        case SettingEffect::NextListen:
            return u", from the next listen on"_s;
        case SettingEffect::NextConnect:
            return u", from the next connect on"_s;
        case SettingEffect::NextOpening:
            return u", from the next opening on"_s;
        case SettingEffect::NextTarget:
            return u", from the next \"target\" on"_s;
        case SettingEffect::NextStart:
            return u", from the next start on"_s;
    }
    return {};
}

}  // namespace corvane
