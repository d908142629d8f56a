// The names that the user gave to the channels.
#pragma once

#include <QString>

#include <array>
#include <map>

#include "measure/readings.h"

namespace corvane {

class CaptureDatabase;

using ChannelLabels = std::array<QString, kChannels>;

/// By slot 1..6, from the database; without an entry for a slot that has none, or while the database is
/// locked.
[[nodiscard]] std::map<int, ChannelLabels> ReadChannelLabels(const CaptureDatabase& database);

}  // namespace corvane
