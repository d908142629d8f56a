// Which channels the sums of the virtual device are made of: chosen by the user, kept in the settings.
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/outcome.h"
#include "base/setting.h"

namespace corvane {

class SettingsStore;

/// In the order of their rows in the settings.
enum class ChannelGroup : std::uint8_t { MainPanel, Generator, Virtual1, Virtual2, Virtual3, Loads };

inline constexpr std::array kChannelGroups = {ChannelGroup::MainPanel, ChannelGroup::Generator,
                                              ChannelGroup::Virtual1,  ChannelGroup::Virtual2,
                                              ChannelGroup::Virtual3,  ChannelGroup::Loads};
inline constexpr std::array kVirtualChannels = {ChannelGroup::Virtual1, ChannelGroup::Virtual2,
                                                ChannelGroup::Virtual3};

/// The channels of one group, each as a text such as "A:CH1".
[[nodiscard]] constexpr Setting GroupSetting(const char* key) {
    return {.key = key,
            .members = "0-13",
            .fallback = "None",
            .by = SettingBy::Command,
            .help = "A channel of the group, such as A:CH1."};
}

/// By `ChannelGroup`.
inline constexpr std::array kChannelGroupsSettings = {
    GroupSetting("cbo120_#"), GroupSetting("cbo121_#"), GroupSetting("cbo122_#"),
    GroupSetting("cbo123_#"), GroupSetting("cbo124_#"), GroupSetting("cbo125_#"),
};
static_assert(kChannelGroupsSettings.size() == kChannelGroups.size());

/// One channel of one device.
struct ChannelChoice {
    int slot = 1;             ///< 1..6
    std::size_t channel = 0;  ///< index into `kChannelTable`

    bool operator==(const ChannelChoice&) const = default;

    /// Of a text such as "A:CH1" or "b:aux3"; nothing for any other.
    [[nodiscard]] static std::optional<ChannelChoice> Parse(const QString& text);
    [[nodiscard]] QString Text() const;
};

struct GroupWords {
    const char* name;   ///< in commands
    const char* title;  ///< as people see it
    const char* note;   ///< what the group stands for
};

[[nodiscard]] const GroupWords& WordsOf(ChannelGroup group);
[[nodiscard]] std::optional<ChannelGroup> GroupOfName(const QString& name);

/// Keeps the choices of `kChannelGroupsSettings` as plain lists.
class ChannelGroups : public QObject {
    Q_OBJECT

public:
    static constexpr qsizetype kMostChannels = 14;  ///< of a group

    explicit ChannelGroups(SettingsStore& settings);

    /// Each channel once, however often it is chosen.
    [[nodiscard]] const std::vector<ChannelChoice>& Of(ChannelGroup group) const {
        return chosen_[static_cast<std::size_t>(group)];
    }

    /// As texts such as "A:CH1".
    [[nodiscard]] QStringList TextsOf(ChannelGroup group) const;

    [[nodiscard]] bool Empty() const;
    [[nodiscard]] bool Empty(ChannelGroup group) const { return Of(group).empty(); }

    /// The slots, 1 to 6, of which a channel is in a group.
    [[nodiscard]] std::vector<int> Slots() const;

    /// Makes the group consist of these channels; a text that names none, or no text at all, is refused.
    Outcome Choose(ChannelGroup group, const QStringList& channels);

    void Clear(ChannelGroup group);

private:
    void Refresh(ChannelGroup group);
    void Save(ChannelGroup group, const QStringList& channels);

    SettingsStore& settings_;
    std::array<std::vector<ChannelChoice>, kChannelGroups.size()> chosen_;
};

}  // namespace corvane
