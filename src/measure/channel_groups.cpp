#include "measure/channel_groups.h"

#include <algorithm>

#include "link/device_slots.h"
#include "measure/readings.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr std::array<GroupWords, kChannelGroups.size()> kWords = {{
    {"main", "Main Panel", "The channels that measure the whole panel."},
    {"generator", "SOLAR/WIND INVERTER CHANNELS",
     "The channels selected below represent the sum of all connected inverters."},
    {"virtual1", "Virtual Channel 1", "The sum of the channels chosen."},
    {"virtual2", "Virtual Channel 2", "The sum of the channels chosen."},
    {"virtual3", "Virtual Channel 3", "The sum of the channels chosen."},
    {"other", "OTHER (Un-monitored Loads)",
     "The data represented by this Virtual Channel represent the difference between the total panel power "
     "and "
     "the sum of monitored loads."},
}};

const QString kUnused = u"None"_s;

const Setting& SettingOf(ChannelGroup group) {
    return kChannelGroupsSettings[static_cast<std::size_t>(group)];
}

}  // namespace

std::optional<ChannelChoice> ChannelChoice::Parse(const QString& text) {
    const QStringList parts = text.trimmed().split(u':');
    const auto slot = SlotOfLetter(parts.first());
    if (parts.size() != 2 || !slot.has_value()) return std::nullopt;
    const auto channel = FindChannel(parts[1].toStdString());
    if (!channel.has_value()) return std::nullopt;
    return ChannelChoice{.slot = *slot, .channel = *channel};
}

QString ChannelChoice::Text() const {
    return SlotLetter(slot) + u':' + QLatin1StringView(ChannelName(channel));
}

const GroupWords& WordsOf(ChannelGroup group) {
    return kWords[static_cast<std::size_t>(group)];
}

std::optional<ChannelGroup> GroupOfName(const QString& name) {
    for (const ChannelGroup group : kChannelGroups) {
        if (name.compare(QLatin1StringView(WordsOf(group).name), Qt::CaseInsensitive) == 0) return group;
    }
    return std::nullopt;
}

ChannelGroups::ChannelGroups(SettingsStore& settings) : settings_(settings) {
    for (const ChannelGroup group : kChannelGroups)
        Refresh(group);
    connect(&settings, &SettingsStore::Changed, this, [this](const QString&, const QString& key) {
        for (const ChannelGroup group : kChannelGroups) {
            if (IsKeyOf(SettingOf(group), key)) Refresh(group);
        }
    });
}

void ChannelGroups::Refresh(ChannelGroup group) {
    auto& chosen = chosen_[static_cast<std::size_t>(group)];
    chosen.clear();
    const Setting& setting = SettingOf(group);
    for (const QString& member : SettingMembers(setting)) {
        const QString text = settings_.Value(setting, {.member = member}).trimmed();
        if (text.isEmpty() || text.compare(kUnused, Qt::CaseInsensitive) == 0) continue;
        const auto choice = ChannelChoice::Parse(text);
        if (!choice.has_value()) {
            settings_.TellUnreadable(setting, {.member = member}, u"None or a channel such as A:CH1"_s,
                                     u"None is used"_s);
        } else if (std::ranges::find(chosen, *choice) == chosen.end()) {
            chosen.push_back(*choice);
        }
    }
}

QStringList ChannelGroups::TextsOf(ChannelGroup group) const {
    QStringList texts;
    for (const ChannelChoice& choice : Of(group))
        texts.append(choice.Text());
    return texts;
}

bool ChannelGroups::Empty() const {
    return std::ranges::all_of(chosen_, [](const auto& choices) { return choices.empty(); });
}

std::vector<int> ChannelGroups::Slots() const {
    std::vector<int> chosen;
    for (int slot = 1; slot <= kSlots; ++slot) {
        const auto isOfSlot = [slot](const ChannelChoice& choice) { return choice.slot == slot; };
        const bool isChosen = std::ranges::any_of(
            kChannelGroups, [&](ChannelGroup group) { return std::ranges::any_of(Of(group), isOfSlot); });
        if (isChosen) chosen.push_back(slot);
    }
    return chosen;
}

Outcome ChannelGroups::Choose(ChannelGroup group, const QStringList& channels) {
    QStringList texts;
    for (const QString& channel : channels) {
        const auto choice = ChannelChoice::Parse(channel);
        if (!choice.has_value()) {
            return Outcome::Failure(
                u"%1 is no channel. Name them as A:CH1, the letter of the device first; the "
                "channels are CH1, CH2 and AUX1 to AUX5."_s.arg(channel));
        }
        if (!texts.contains(choice->Text())) texts.append(choice->Text());
    }
    if (texts.isEmpty()) {
        return Outcome::Failure(
            u"No Device and Device Channel has been selected. Make selection and try again"_s);
    }
    if (texts.size() > kMostChannels)
        return Outcome::Failure(u"A group has room for %1 channels."_s.arg(kMostChannels));
    Save(group, texts);
    return Outcome::Success();
}

void ChannelGroups::Clear(ChannelGroup group) {
    Save(group, {});
}

void ChannelGroups::Save(ChannelGroup group, const QStringList& channels) {
    const Setting& setting = SettingOf(group);
    for (qsizetype column = 0; column < kMostChannels; ++column) {
        const SettingPlace place{.member = QString::number(column)};
        const QString text = channels.value(column, kUnused);
        if (settings_.Value(setting, place) != text) settings_.Save(setting, text, place);
    }
}

}  // namespace corvane
