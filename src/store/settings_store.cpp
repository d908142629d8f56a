#include "store/settings_store.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QSaveFile>
#include <QTemporaryFile>
#include <QVariant>

#include <algorithm>

#include "store/app_folder.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 kLongestSave = 1000;  // ms, from the lock to the last byte

/// Whether a save of the file `saved` that was not finished is called `name`: like it, with six letters more.
bool IsNameOfUnfinished(const QString& name, const QString& saved) {
    const QString end = name.mid(saved.size());
    return name.startsWith(saved) && end.size() == 7 && end.front() == u'.' &&
           std::all_of(end.begin() + 1, end.end(),
                       [](QChar letter) { return letter.unicode() < 128 && letter.isLetter(); });
}

/// Removes what a program leaves that is killed while it saves. That is its lock, which every save would wait
/// for half a minute for where it is empty; and, between two steps of the file system, the new file under a
/// name of its own. People give such names to their copies, so only one that was written while the lock was
/// held goes.
void RemoveLeftovers(const QString& path) {
    const QFileInfo left(path + u".lock"_s);
    if (!left.exists()) return;
    const QDateTime locked = left.lastModified();
    QLockFile lock(left.filePath());
    lock.setStaleLockTime(0);  // by its process only
    qint64 pid = 0;
    QString host;
    QString application;
    if (!lock.getLockInfo(&pid, &host, &application)) lock.removeStaleLockFile();
    if (!lock.tryLock(0)) return;
    const QFileInfo settings(path);
    for (const QFileInfo& file : settings.absoluteDir().entryInfoList(QDir::Files)) {
        if (!IsNameOfUnfinished(file.fileName(), settings.fileName())) continue;
        const qint64 after = locked.msecsTo(file.lastModified());
        if (after >= 0 && after <= kLongestSave) QFile::remove(file.filePath());
    }
}

/// Some editors begin a file with a mark of its encoding, which would be taken for damage.
void RemoveByteOrderMark(const QString& path) {
    static const QByteArray kMark = "\xEF\xBB\xBF";
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.read(kMark.size()) != kMark) return;
    const QByteArray bytes = file.readAll();
    QSaveFile rest(path);
    const bool whole = kMark.size() + bytes.size() == file.size() && rest.open(QIODevice::WriteOnly);
    if (whole && rest.write(bytes) == bytes.size()) rest.commit();
}

/// Puts the file in order before it is read.
const QString& Prepared(const QString& path) {
    RemoveLeftovers(path);
    RemoveByteOrderMark(path);
    return path;
}

/// A new file takes its rights from the one whose place it takes.
void MakeForOwner(const QString& path) {
    if (QFile::exists(path)) return;
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    (void)file.open(QIODevice::WriteOnly | QIODevice::NewOnly, kForOwner);
}

/// Whether a file that replaces the settings finds room. It could be cut short on a full disk, and nothing
/// would tell.
bool HasRoom(const QString& path) {
    constexpr qint64 kMore = 8192;
    QTemporaryFile probe(path + u".XXXXXX"_s);
    if (!probe.open()) return true;  // why not is found by the saving
    const QByteArray bytes(QFileInfo(path).size() + kMore, 'x');
    return probe.write(bytes) == bytes.size() && probe.flush();
}

std::optional<bool> SwitchOf(const QString& text) {
    static const QStringList on = {u"true"_s, u"1"_s, u"-1"_s};
    static const QStringList off = {u"false"_s, u"0"_s, u"no"_s, u"off"_s};
    const QString word = text.trimmed().toLower();
    if (on.contains(word)) return true;
    return off.contains(word) ? std::optional(false) : std::nullopt;
}

QString UsedInstead(const Setting& setting) {
    return u"%1 is used"_s.arg(QLatin1StringView(setting.fallback));
}

}  // namespace

SettingsStore::SettingsStore(const QString& path)
#ifdef Q_OS_WIN
    : settings_(u"Corvane"_s, u"Corvane"_s)
#else
    : settings_(Prepared(path), QSettings::IniFormat)
#endif
{
#ifdef Q_OS_WIN
    Q_UNUSED(path)
#endif
    const QStringList names = settings_.allKeys();
    for (const QString& name : names)
        storedNames_.insert(name.toLower(), name);
}

void SettingsStore::CheckFile() {
    NarrowRights();
    SetAsideDamagedFile();
}

void SettingsStore::NarrowRights() {
    const auto wide = [this] { return QFile::permissions(settings_.fileName()) & kOfOthers; };
    if (!wide()) return;
    QFile::setPermissions(settings_.fileName(), kForOwner);
    Q_EMIT Problem(
        (wide()
             ? u"The settings file %1, which may hold keys, is open to others, and that cannot be changed."_s
             : u"The settings file %1, which may hold keys, was open to others; now it is its owner's alone."_s)
            .arg(settings_.fileName()));
}

void SettingsStore::SetAsideDamagedFile() {
    if (settings_.status() != QSettings::FormatError) return;
    const QString path = settings_.fileName();
    QString aside;
    for (int number = 1; aside.isEmpty() || QFile::exists(aside); ++number) {
        aside = path + u".damaged-%1"_s.arg(number);
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
    if (const auto waits = waiting_.constFind(*stored); waits != waiting_.cend()) return *waits;
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
    if (const auto on = SwitchOf(Value(setting, place))) return *on;
    TellUnreadable(setting, place, SettingValueText(setting), UsedInstead(setting));
    return SwitchOf(QString::fromLatin1(setting.fallback)).value_or(false);
}

int SettingsStore::Number(const Setting& setting, const SettingPlace& place) const {
    if (const auto number = SettingNumber(setting, Value(setting, place))) return *number;
    TellUnreadable(setting, place, SettingValueText(setting), UsedInstead(setting));
    return QByteArrayView(setting.fallback).toInt();
}

QString SettingsStore::Choice(const Setting& setting, const SettingPlace& place) const {
    QString value = Value(setting, place);
    if (QString::fromLatin1(setting.choices).split(u' ').contains(value)) return value;
    TellUnreadable(setting, place, SettingValueText(setting), UsedInstead(setting));
    return QString::fromLatin1(setting.fallback);
}

std::optional<bool> SettingsStore::ReadSwitch(const Setting& setting, const QString& consequence) const {
    const auto on = SwitchOf(Value(setting));
    if (!on) TellUnreadable(setting, {}, SettingValueText(setting), consequence);
    return on;
}

std::optional<int> SettingsStore::ReadNumber(const Setting& setting, const QString& consequence,
                                             const SettingPlace& place) const {
    const auto number = SettingNumber(setting, Value(setting, place));
    if (!number) TellUnreadable(setting, place, SettingValueText(setting), consequence);
    return number;
}

QString SettingsStore::UnreadableText(const Setting& setting, const SettingPlace& place,
                                      const QString& expected, const QString& consequence) const {
    return u"The setting %1 is \"%2\", not %3; %4."_s.arg(SettingKey(setting, place), Value(setting, place),
                                                          expected, consequence);
}

void SettingsStore::TellUnreadable(const Setting& setting, const SettingPlace& place, const QString& expected,
                                   const QString& consequence) const {
    const QString name = SettingSectionName(setting, place) + u'/' + SettingKey(setting, place);
    const QString value = Value(setting, place);
    const auto told = unreadable_.constFind(name);
    if (told != unreadable_.cend() && *told == value) return;
    unreadable_.insert(name, value);
    Q_EMIT Problem(UnreadableText(setting, place, expected, consequence));
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
    waiting_.insert(name, value);
    MakeForOwner(settings_.fileName());
    bool saved = HasRoom(settings_.fileName());
    if (saved) {
        // An error sticks to its QSettings object; a passing one of the same file tells how this change went.
        QSettings writing(settings_.fileName(), settings_.format());
        for (auto waits = waiting_.cbegin(); waits != waiting_.cend(); ++waits)
            writing.setValue(waits.key(), waits.value());
        writing.sync();
        saved = writing.status() != QSettings::AccessError;
    }
    notSaved_.clear();
    if (saved) {
        waiting_.clear();
    } else {
        // The value is left out: it may be a secret, and this text goes to the log.
        notSaved_ =
            u"The settings could not be saved in %1; what was chosen for %2 holds for this run only."_s.arg(
                settings_.fileName(), key);
        Q_EMIT Problem(notSaved_);
    }
    Q_EMIT Changed(section, key);
}

QString SettingsStore::BoolText(bool value) {
    return value ? u"True"_s : u"False"_s;
}

}  // namespace corvane
