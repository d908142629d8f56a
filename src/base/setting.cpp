#include "base/setting.h"

#include <algorithm>

#include "base/number_entry.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// The text in the form in which it is kept; nothing where the kind of the setting does not allow it.
std::optional<QString> OfItsKind(const Setting& setting, const QString& text) {
    switch (setting.kind) {
        case SettingKind::Switch:
            if (text.trimmed().compare("true"_L1, Qt::CaseInsensitive) == 0) return u"True"_s;
            if (text.trimmed().compare("false"_L1, Qt::CaseInsensitive) == 0) return u"False"_s;
            return std::nullopt;
        case SettingKind::Number: {
            const auto number = SettingNumber(setting, text);
            return number.has_value() ? std::optional(QString::number(*number)) : std::nullopt;
        }
        case SettingKind::Choice: {
            const bool listed = QString::fromLatin1(setting.choices).split(u' ').contains(text);
            return listed ? std::optional(text) : std::nullopt;
        }
        case SettingKind::Text:
            break;
    }
    return text;
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

QString SettingValueText(const Setting& setting) {
    switch (setting.kind) {
        case SettingKind::Switch:
            return u"True or False"_s;
        case SettingKind::Number:
            return u"a whole number from %1 to %2"_s.arg(setting.least).arg(setting.most);
        case SettingKind::Choice:
            return QString::fromLatin1(setting.choices).replace(u' ', u" or "_s);
        case SettingKind::Text:
            break;
    }
    return {};
}

std::optional<int> SettingNumber(const Setting& setting, const QString& text) {
    return WholeNumberEntry(text, setting.least, setting.most);
}

bool IsKeyOf(const Setting& setting, const QString& key) {
    return std::ranges::any_of(SettingMembers(setting), [&](const QString& member) {
        return key.compare(SettingKey(setting, {.member = member}), Qt::CaseInsensitive) == 0;
    });
}

Outcome CheckSetting(const Setting& setting, QString& text, const SettingValues& values,
                     const SettingPlace& place) {
    if (setting.check != nullptr) return CheckByOwner(setting, text, values, place.member);
    const auto kept = OfItsKind(setting, text);
    if (!kept) {
        return Outcome::Failure(u"%1 is %2."_s.arg(SettingKey(setting, place), SettingValueText(setting)));
    }
    text = *kept;
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
