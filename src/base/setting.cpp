#include "base/setting.h"

#include <algorithm>
#include <cmath>

#include "base/number_entry.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

Outcome CheckSwitch(const Setting& setting, QString& text) {
    const QString word = text.trimmed().toLower();
    if (word != "true"_L1 && word != "false"_L1) {
        return Outcome::Failure(u"%1 is True or False."_s.arg(SettingKey(setting)));
    }
    text = word == "true"_L1 ? u"True"_s : u"False"_s;
    return Outcome::Success();
}

Outcome CheckNumber(const Setting& setting, QString& text) {
    const auto number = NumberEntry(text);
    if (!number.has_value() || std::trunc(*number) != *number || *number < setting.least ||
        *number > setting.most) {
        return Outcome::Failure(u"%1 is a whole number from %2 to %3."_s.arg(SettingKey(setting))
                                    .arg(setting.least)
                                    .arg(setting.most));
    }
    text = QString::number(static_cast<int>(*number));
    return Outcome::Success();
}

Outcome CheckChoice(const Setting& setting, const QString& text) {
    const QStringList choices = QString::fromLatin1(setting.choices).split(u' ');
    if (choices.contains(text)) return Outcome::Success();
    return Outcome::Failure(u"%1 is %2."_s.arg(SettingKey(setting), choices.join(u" or "_s)));
}

}  // namespace

QString SettingKey(const Setting& setting, const SettingPlace& place) {
    return QString::fromLatin1(setting.key).replace(u'#', place.member);
}

QString SettingSectionName(const Setting& setting, const SettingPlace& place) {
    return setting.section == SettingSection::Startup ? u"startup"_s : QString::number(place.section);
}

QStringList SettingMembers(const Setting& setting) {
    const QStringList ends = QString::fromLatin1(setting.members).split(u'-');
    if (ends.size() != 2) return {QString()};
    QStringList members;
    bool numbered = false;
    const int first = ends[0].toInt(&numbered);
    if (numbered) {
        for (int number = first; number <= ends[1].toInt(); ++number)
            members.append(QString::number(number));
    } else {
        for (char16_t letter = ends[0].front().unicode(); letter <= ends[1].front().unicode(); ++letter)
            members.append(QChar(letter));
    }
    return members;
}

Outcome CheckSetting(const Setting& setting, QString& text, const SettingValues& values) {
    if (setting.check != nullptr) return setting.check(text, values);
    switch (setting.kind) {
        case SettingKind::Switch:
            return CheckSwitch(setting, text);
        case SettingKind::Number:
            return CheckNumber(setting, text);
        case SettingKind::Choice:
            return CheckChoice(setting, text);
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
