// Every setting that is declared has its row in docs/settings.md, with the same default, and there are no
// others.
#include <QFile>
#include <QMap>

#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// "0/DevSerial" -> what is said of it.
using Told = QMap<QString, QString>;

QString About(const QString& fallback, bool byHand, const QString& effect) {
    return u"default %1; %2%3"_s.arg(fallback.isEmpty() ? u"none"_s : fallback,
                                     byHand ? u"set"_s : u"not set"_s, byHand ? effect : QString());
}

Told Declared(const Settings& settings) {
    Told told;
    for (const Settings::List list : settings.Lists()) {
        for (const Setting& setting : list) {
            for (const QString& member : SettingMembers(setting)) {
                const QString name =
                    SettingSectionName(setting, {.slot = 1}) + u'/' + SettingKey(setting, {.member = member});
                EXPECT_FALSE(told.contains(name)) << name.toStdString() << " is declared twice";
                EXPECT_STRNE(setting.help, "") << name.toStdString();
                told[name] = About(QString::fromLatin1(setting.fallback), setting.by == SettingBy::Hand,
                                   SettingEffectText(setting.effect).replace(u'"', u'`'));
            }
        }
    }
    return told;
}

/// "`A1`, `B`" gives A1 and B, "`A1` .. `A3`" gives A1, A2 and A3.
QStringList KeysOf(QString cell) {
    QStringList keys;
    cell.remove(u'`');
    for (const QString& part : cell.split(u", "_s)) {
        const QString first = part.section(u" .. "_s, 0, 0);
        const QString last = part.section(u" .. "_s, -1);
        qsizetype common = 0;
        while (common < first.size() && first[common] == last[common])
            ++common;
        const QByteArray members = (first.mid(common) + u'-' + last.mid(common)).toLatin1();
        const Setting family{.key = "#", .members = first == last ? "" : members.constData()};
        for (const QString& member : SettingMembers(family))
            keys.append(first.left(common) + member);
    }
    return keys;
}

/// The section that a heading of the page is about, as that of its first slot; empty where it is about none.
QString SectionOf(const QString& heading) {
    if (!heading.startsWith("## Section"_L1)) return {};
    return heading.section(u'`', 1, 1);
}

Told Documented() {
    QFile page(QStringLiteral(SETTINGS_PAGE));
    EXPECT_TRUE(page.open(QIODevice::ReadOnly));
    Told told;
    QString section;
    bool saysWho = false;
    for (const QString& line : QString::fromUtf8(page.readAll()).split(u'\n')) {
        if (line.startsWith("## "_L1)) section = SectionOf(line);
        const QStringList cells = line.split(u" | "_s);
        if (line.startsWith("| key "_L1)) saysWho = line.endsWith("| changed by |"_L1);
        if (section.isEmpty() || !line.startsWith("| `"_L1) || cells.size() < 3) continue;
        const QString who = saysWho ? QString(cells.last()).remove(" |"_L1) : QString();
        const auto from = who.indexOf(", from the"_L1);
        for (const QString& key : KeysOf(cells[0].mid(2))) {
            EXPECT_FALSE(told.contains(section + u'/' + key)) << key.toStdString() << " has two rows";
            told[section + u'/' + key] =
                About(cells[1] == "none"_L1 ? QString() : cells[1], who.startsWith("`set`"_L1),
                      from < 0 ? QString() : who.mid(from).section(u';', 0, 0));
        }
    }
    return told;
}

TEST_F(WindowTest, TheSettingsThatAreDeclaredAreThoseOfThePageOnSettings) {
    Open();
    const Told declared = Declared(program_->userSettings);
    const Told documented = Documented();
    EXPECT_GT(declared.size(), 150);
    for (const QString& name : declared.keys())
        EXPECT_EQ(documented.value(name, u"no row"_s).toStdString(), declared[name].toStdString())
            << name.toStdString();
    for (const QString& name : documented.keys())
        EXPECT_TRUE(declared.contains(name)) << name.toStdString() << " is not declared";
}

}  // namespace
}  // namespace corvane
