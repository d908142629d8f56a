#include "forward/feed_channels.h"

#include <QStringList>

#include <algorithm>

namespace corvane {

FeedChannels ParseFeedChannels(const QString& text) {
    FeedChannels channels;
    const QStringList items = text.split(u';');
    const auto count = std::min(channels.size(), static_cast<std::size_t>(items.size()));
    for (std::size_t id = 0; id < count; ++id)
        channels[id] = ChannelChoice::Parse(items[static_cast<qsizetype>(id)]);
    return channels;
}

QString FeedChannelsText(const FeedChannels& channels) {
    QStringList items;
    for (int id = 0; id <= LastAssigned(channels); ++id) {
        const auto& channel = channels[static_cast<std::size_t>(id)];
        items.append(channel.has_value() ? channel->Text() : QString());
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
