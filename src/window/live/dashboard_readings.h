// What the gauges of the dashboard show.
#pragma once

#include <map>
#include <vector>

#include "measure/channel_groups.h"
#include "store/channel_labels.h"
#include "window/live/live_parts.h"
#include "window/parts/gauge.h"

namespace corvane {

class VirtualChannels;
struct Palette;

/// The sums of the groups that are in use, then the flows of the inputs that count pulses, then `channels`;
/// those of devices that have not sent anything are left out. `labels` are by slot.
[[nodiscard]] std::vector<GaugeReading> DashboardReadings(const LiveParts& parts,
                                                          const VirtualChannels& virtualChannels,
                                                          const std::vector<ChannelChoice>& channels,
                                                          const std::map<int, ChannelLabels>& labels,
                                                          const Palette& palette);

}  // namespace corvane
