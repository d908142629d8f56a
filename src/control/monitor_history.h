// What a monitor was found set to, and when: one text file per read-out that brought something new.
#pragma once

#include <QString>

#include <optional>
#include <string>
#include <vector>

#include "base/local_time.h"
#include "base/outcome.h"
#include "control/settings_block.h"

namespace corvane {

/// A read-out that was kept.
struct KeptSettings {
    QString when;  ///< local time, "2026-03-02_10-20-30"; it names the file
    SettingsBlock block;
};

/// The files are `monitors/SERIALTEXT/WHEN.txt` in the data folder.
class MonitorHistory {
public:
    explicit MonitorHistory(const QString& dataFolder);

    /// Keeps `block`, unless the monitor was last found just so.
    Outcome Keep(const SettingsBlock& block, const LocalTime& time) const;

    /// All that is kept of a monitor, oldest first. A file that is none of ours is left out.
    [[nodiscard]] std::vector<KeptSettings> Of(const QString& serialText) const;

    /// The last one whose `when` begins with `start`.
    [[nodiscard]] std::optional<KeptSettings> Find(const QString& serialText, const QString& start) const;

private:
    [[nodiscard]] QString Folder(const QString& serialText) const;

    QString folder_;
};

/// A field in which two read-outs differ.
struct SettingChange {
    MonitorSetting setting;
    QString text;  ///< "CT1 Type: 163 -> 17"
};

[[nodiscard]] std::vector<SettingChange> Changes(const SettingsBlock& from, const SettingsBlock& to);

/// The lines of a read-out: its labels and values.
[[nodiscard]] std::vector<std::string> MonitorSettingLines(const SettingsBlock& block);

}  // namespace corvane
