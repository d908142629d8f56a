// The names that the user gave to the channels.
#pragma once

#include <QString>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "base/channels.h"
#include "base/outcome.h"

namespace corvane {

class CaptureDatabase;

using ChannelLabels = std::array<QString, kChannels>;

/// The label that a text of the database stands for: empty where that is blank, or what a new database says.
[[nodiscard]] std::string ChannelLabelOf(const std::string& text);

/// What is kept of a channel: its name, the path of a picture, and what else there is to say.
enum class ChannelText : std::uint8_t { Label, Picture, Comment };
inline constexpr std::size_t kChannelTexts = 3;

/// By `ChannelText`.
using ChannelTexts = std::array<QString, kChannelTexts>;

/// By slot 1..6, from the database, empty where the user gave none; without an entry for a slot that has
/// none, or while the database is locked.
[[nodiscard]] std::map<int, ChannelLabels> ReadChannelLabels(const CaptureDatabase& database);

/// All that is kept of the channels of slot 1..6, empty where the slot has no row; nothing while the database
/// is locked.
[[nodiscard]] std::optional<std::array<ChannelTexts, kChannels>> ReadChannelTexts(
    const CaptureDatabase& database, int slot);

/// Keeps one text of a channel, index 0 to 6, of slot 1..6. It may be empty.
Outcome SaveChannelText(const CaptureDatabase& database, int slot, std::size_t channel, ChannelText which,
                        const QString& text);

/// Keeps the names of a slot's channels in its row of the database, which is there once the slot was bound.
Outcome SaveChannelLabels(const CaptureDatabase& database, int slot, const ChannelLabels& labels);

}  // namespace corvane
