#include "forward/feed_channels.h"

#include <QStringList>

#include <algorithm>

#include "link/device_slots.h"
#include "measure/readings.h"

namespace corvane {

using namespace Qt::StringLiterals;

std::optional<FeedChannel> ParseFeedChannel(const QString& text) {
    const auto colon = text.indexOf(u':');
    const auto slot = SlotOfLetter(text.left(colon).trimmed());
    if (colon < 0 || !slot.has_value()) return std::nullopt;
    const QString name = text.mid(colon + 1).trimmed().toUpper();
    for (std::size_t i = 0; i < kChannels; ++i) {
        if (name == QLatin1StringView(kChannelNames[i])) return FeedChannel{.slot = *slot, .channel = i};
    }
    return std::nullopt;
}

QString FeedChannelText(const FeedChannel& channel) {
    return SlotLetter(channel.slot) + u':' + QLatin1StringView(kChannelNames[channel.channel]);
}

FeedChannels ParseFeedChannels(const QString& text) {
    FeedChannels channels;
    const QStringList items = text.split(u';');
    const auto count = std::min(channels.size(), static_cast<std::size_t>(items.size()));
    for (std::size_t id = 0; id < count; ++id)
        channels[id] = ParseFeedChannel(items[static_cast<qsizetype>(id)]);
    return channels;
}

QString FeedChannelsText(const FeedChannels& channels) {
    QStringList items;
    for (int id = 0; id <= LastAssigned(channels); ++id) {
        const auto& channel = channels[static_cast<std::size_t>(id)];
        items.append(channel.has_value() ? FeedChannelText(*channel) : QString());
    }
    return items.join(u';');
}

int LastAssigned(const FeedChannels& channels) {
    int last = static_cast<int>(channels.size()) - 1;
    while (last >= 0 && !channels[static_cast<std::size_t>(last)].has_value())
        --last;
    return last;
}

}  // namespace corvane
