// The names that the user gave to the channels.
#pragma once

#include <QString>

#include <array>
#include <map>

#include "base/outcome.h"
#include "measure/readings.h"

namespace corvane {

class CaptureDatabase;

using ChannelLabels = std::array<QString, kChannels>;

/// By slot 1..6, from the database; without an entry for a slot that has none, or while the database is
/// locked.
[[nodiscard]] std::map<int, ChannelLabels> ReadChannelLabels(const CaptureDatabase& database);

/// Keeps the names of a slot's channels in its row of the database, which is there once the slot was bound.
Outcome SaveChannelLabels(const CaptureDatabase& database, int slot, const ChannelLabels& labels);

}  // namespace corvane
