// Which channel of which monitor each datastream of the feed carries.
#pragma once

#include <QString>

#include <array>
#include <cstddef>
#include <optional>

#include "measure/channel_groups.h"

namespace corvane {

inline constexpr std::size_t kDatastreams = 51;

/// By datastream id; nothing where none is assigned.
using FeedChannels = std::array<std::optional<ChannelChoice>, kDatastreams>;

/// The list as the settings keep it: "A:CH1;;B:AUX3", datastream 1 being unassigned. What cannot be read
/// counts as unassigned.
[[nodiscard]] FeedChannels ParseFeedChannels(const QString& text);
[[nodiscard]] QString FeedChannelsText(const FeedChannels& channels);

/// The id of the last datastream that is assigned; -1 where none is.
[[nodiscard]] int LastAssigned(const FeedChannels& channels);

}  // namespace corvane
