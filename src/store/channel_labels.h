// The names that the user gave to the channels.
#pragma once

#include <QString>

#include <array>
#include <cstdint>
#include <map>
#include <optional>

#include "base/channels.h"
#include "base/outcome.h"

namespace corvane {

class CaptureDatabase;

using ChannelLabels = std::array<QString, kChannels>;

/// What is kept of a channel: its name, the path of a picture, and what else there is to say.
enum class ChannelText : std::uint8_t { Label, Picture, Comment };
inline constexpr std::size_t kChannelTexts = 3;

/// By `ChannelText`.
using ChannelTexts = std::array<QString, kChannelTexts>;

/// What the database says at first of a channel that nobody has named yet.
inline constexpr const char* kNoLabel = "no label";

/// The label that the database has as `stored`, without blanks around it; empty where nobody named the
/// channel.
[[nodiscard]] QString GivenLabel(const QString& stored);

/// The labels that were given, by slot 1..6; without an entry for a slot that has none, or while the database
/// is locked.
[[nodiscard]] std::map<int, ChannelLabels> ReadChannelLabels(const CaptureDatabase& database);

/// The same as they are stored, `kNoLabel` among them: for those whose readers are to get just that. Nothing
/// while the database cannot be read.
[[nodiscard]] std::optional<std::map<int, ChannelLabels>> ReadStoredLabels(const CaptureDatabase& database);

/// All that was given to the channels of slot 1..6, empty where the slot has no row; nothing while the
/// database is locked.
[[nodiscard]] std::optional<std::array<ChannelTexts, kChannels>> ReadChannelTexts(
    const CaptureDatabase& database, int slot);

/// Keeps one text of a channel, index 0 to 6, of slot 1..6. It may be empty.
Outcome SaveChannelText(const CaptureDatabase& database, int slot, std::size_t channel, ChannelText which,
                        const QString& text);

/// Keeps the names of a slot's channels in its row of the database, which is there once the slot was bound.
Outcome SaveChannelLabels(const CaptureDatabase& database, int slot, const ChannelLabels& labels);

}  // namespace corvane
