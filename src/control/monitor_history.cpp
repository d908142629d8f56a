#include "control/monitor_history.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

#include <algorithm>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QByteArray kBytesLine = "Bytes: ";

QString Latin(std::string_view text) {
    return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
}

QString WhenText(const LocalTime& time) {
    return QString::fromStdString(DateTimeText(time)).replace(u' ', u'_').replace(u':', u'-');
}

/// The block of a file's last line; what stands above it is for people.
std::optional<SettingsBlock> ReadBlock(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    const QByteArray text = file.readAll();
    const qsizetype start = text.lastIndexOf(kBytesLine);
    if (start < 0) return std::nullopt;
    const QByteArray bytes = QByteArray::fromHex(text.sliced(start + kBytesLine.size()));
    SettingsBlock block;
    if (bytes.size() != static_cast<qsizetype>(block.bytes.size())) return std::nullopt;
    std::ranges::copy(bytes, block.bytes.begin());
    return block;
}

QByteArray FileText(const SettingsBlock& block, const LocalTime& time) {
    std::string text = "Monitor " + block.SerialText() + ", as read on " + DateTimeText(time) + ".\n\n";
    for (const std::string& line : MonitorSettingLines(block))
        text.append(line).append("\n");
    const QByteArray bytes(reinterpret_cast<const char*>(block.bytes.data()),
                           static_cast<qsizetype>(block.bytes.size()));
    return QByteArray::fromStdString(text) + '\n' + kBytesLine + bytes.toHex(' ').toUpper() + '\n';
}

}  // namespace

MonitorHistory::MonitorHistory(const QString& dataFolder)
    : folder_(QDir(dataFolder).filePath(u"monitors"_s)) {}

QString MonitorHistory::Folder(const QString& serialText) const {
    return QDir(folder_).filePath(serialText);
}

Outcome MonitorHistory::Keep(const SettingsBlock& block, const LocalTime& time) const {
    const QString serialText = QString::fromStdString(block.SerialText());
    const auto kept = Of(serialText);
    if (!kept.empty() && Changes(kept.back().block, block).empty()) return Outcome::Success();
    const QString path = QDir(Folder(serialText)).filePath(WhenText(time) + u".txt"_s);
    QSaveFile file(path);
    const bool written = QDir().mkpath(Folder(serialText)) && file.open(QIODevice::WriteOnly) &&
                         file.write(FileText(block, time)) > 0 && file.commit();
    if (written) return Outcome::Success();
    return Outcome::Failure(u"The settings could not be kept as %1: %2"_s.arg(path, file.errorString()));
}

std::vector<KeptSettings> MonitorHistory::Of(const QString& serialText) const {
    std::vector<KeptSettings> all;
    const QDir folder(Folder(serialText));
    for (const QString& name : folder.entryList({u"*.txt"_s}, QDir::Files, QDir::Name)) {
        if (const auto block = ReadBlock(folder.filePath(name))) all.push_back({name.chopped(4), *block});
    }
    return all;
}

std::optional<KeptSettings> MonitorHistory::Find(const QString& serialText, const QString& start) const {
    std::optional<KeptSettings> found;
    for (const KeptSettings& kept : Of(serialText)) {
        if (kept.when.startsWith(start)) found = kept;
    }
    return found;
}

std::vector<SettingChange> Changes(const SettingsBlock& from, const SettingsBlock& to) {
    std::vector<SettingChange> changes;
    for (std::size_t i = 0; i < kSettingsFields.size(); ++i) {
        const auto setting = static_cast<MonitorSetting>(i);
        if (from.Raw(setting) == to.Raw(setting)) continue;
        changes.push_back({setting, u"%1%2 -> %3"_s.arg(Latin(Layout(setting).label),
                                                        Latin(from.Text(setting)), Latin(to.Text(setting)))});
    }
    return changes;
}

std::vector<std::string> MonitorSettingLines(const SettingsBlock& block) {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < kSettingsFields.size(); ++i) {
        std::string line(kSettingsFields[i].label);
        line += block.Text(static_cast<MonitorSetting>(i));
        lines.push_back(line);
    }
    return lines;
}

}  // namespace corvane
