#include "store/settings_store.h"

#include <QFile>
#include <QLockFile>
#include <QVariant>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// A program killed while it saved may leave the lock of the file empty. Nobody holds it then, but every save
/// would wait for half a minute before it finds that out.
void RemoveLeftLock(const QString& path) {
    QLockFile lock(path + u".lock"_s);
    qint64 pid = 0;
    QString host;
    QString application;
    if (!lock.getLockInfo(&pid, &host, &application)) lock.removeStaleLockFile();
}

bool MeansOn(const QString& text) {
    const QString word = text.trimmed();
    return word.compare("true"_L1, Qt::CaseInsensitive) == 0 || word == "1"_L1 || word == "-1"_L1;
}

}  // namespace

SettingsStore::SettingsStore(const QString& path)
#ifdef Q_OS_WIN
    : settings_(u"Corvane"_s, u"Corvane"_s)
#else
    : settings_(path, QSettings::IniFormat)
#endif
{
#ifdef Q_OS_WIN
    Q_UNUSED(path)
#endif
    RemoveLeftLock(path);
    const QStringList names = settings_.allKeys();
    for (const QString& name : names)
        storedNames_.insert(name.toLower(), name);
}

void SettingsStore::SetAsideDamagedFile() {
    if (settings_.status() != QSettings::FormatError) return;
    const QString path = settings_.fileName();
    QString aside;
    for (int number = 1; aside.isEmpty() || QFile::exists(aside); ++number) {
        aside = u"%1.damaged-%2"_s.arg(path).arg(number);
    }
    const bool kept = QFile::copy(path, aside);
    Q_EMIT Problem(
        kept ? u"The settings file %1 is damaged. It is kept as %2; what could be read of it is used."_s.arg(
                   path, aside)
             : u"The settings file %1 is damaged, and no copy of it could be made."_s.arg(path));
}

std::optional<QString> SettingsStore::Kept(const QString& name) const {
    const auto stored = storedNames_.constFind(name.toLower());
    if (stored == storedNames_.cend()) return std::nullopt;
    const QVariant value = settings_.value(*stored);
    if (!value.isValid()) return std::nullopt;
    // A line of the file with commas in it, written by hand without quotes, arrives as a list.
    return value.toStringList().join(u',');
}

std::optional<QString> SettingsStore::Kept(const Setting& setting, const SettingPlace& place) const {
    return Kept(SettingSectionName(setting, place) + u'/' + SettingKey(setting, place));
}

QString SettingsStore::Value(const Setting& setting, const SettingPlace& place) const {
    return Kept(setting, place).value_or(QString::fromLatin1(setting.fallback));
}

bool SettingsStore::IsOn(const Setting& setting, const SettingPlace& place) const {
    return MeansOn(Value(setting, place));
}

int SettingsStore::Number(const Setting& setting, const SettingPlace& place) {
    const QString text = Value(setting, place);
    bool isNumber = false;
    const int number = text.trimmed().toInt(&isNumber);
    if (isNumber && number >= setting.least && number <= setting.most) return number;
    Q_EMIT Problem(u"The setting %1 is \"%2\", not a whole number from %3 to %4; %5 is used."_s
                       .arg(SettingKey(setting, place), text)
                       .arg(setting.least)
                       .arg(setting.most)
                       .arg(QLatin1StringView(setting.fallback)));
    return QByteArrayView(setting.fallback).toInt();
}

QStringList SettingsStore::Names() const {
    QStringList names = storedNames_.values();
    names.sort(Qt::CaseInsensitive);
    return names;
}

void SettingsStore::Save(const Setting& setting, const QString& value, const SettingPlace& place) {
    const QString section = SettingSectionName(setting, place);
    const QString key = SettingKey(setting, place);
    QString name = section + u'/' + key;
    name = storedNames_.value(name.toLower(), name);
    storedNames_.insert(name.toLower(), name);
    // An error sticks to its QSettings object; a passing one of the same file tells how this change went.
    QSettings writing(settings_.fileName(), settings_.format());
    writing.setValue(name, value);
    writing.sync();
    if (writing.status() == QSettings::AccessError) {
        // The value is left out: it may be a secret, and this text goes to the log.
        Q_EMIT Problem(
            u"The settings could not be saved in %1; what was chosen for %2 holds for this run only."_s.arg(
                settings_.fileName(), key));
    }
    Q_EMIT Changed(section, key);
}

QString SettingsStore::BoolText(bool value) {
    return value ? u"True"_s : u"False"_s;
}

}  // namespace corvane
