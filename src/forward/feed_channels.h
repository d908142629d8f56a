// Which channel of which monitor each datastream of the feed carries.
#pragma once

#include <QString>

#include <array>
#include <cstddef>
#include <optional>

namespace corvane {

inline constexpr std::size_t kDatastreams = 51;

struct FeedChannel {
    int slot = 1;             ///< 1..6
    std::size_t channel = 0;  ///< index into `kChannelNames`

    bool operator==(const FeedChannel&) const = default;
};

/// By datastream id; nothing where none is assigned.
using FeedChannels = std::array<std::optional<FeedChannel>, kDatastreams>;

/// "A:CH1".."F:AUX5", in either case; nothing for any other text.
[[nodiscard]] std::optional<FeedChannel> ParseFeedChannel(const QString& text);
[[nodiscard]] QString FeedChannelText(const FeedChannel& channel);

/// The list as the settings keep it: "A:CH1;;B:AUX3", datastream 1 being unassigned. What cannot be read
/// counts as unassigned.
[[nodiscard]] FeedChannels ParseFeedChannels(const QString& text);
[[nodiscard]] QString FeedChannelsText(const FeedChannels& channels);

/// The id of the last datastream that is assigned; -1 where none is.
[[nodiscard]] int LastAssigned(const FeedChannels& channels);

}  // namespace corvane
