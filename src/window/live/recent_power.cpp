#include "window/live/recent_power.h"

#include <algorithm>

#include "base/clock.h"
#include "measure/readings.h"

namespace corvane {

void RecentPower::OnReadings(const DeviceReadings& readings) {
    Sample sample;
    sample.at = clock_.Monotonic();
    std::ranges::transform(readings.channels, sample.watts.begin(),
                           [](const ChannelReadings& channel) { return channel.absolute.watts; });
    auto& samples = samples_[static_cast<std::size_t>(readings.slot - 1)];
    samples.push_back(sample);
    // One that is just too old stays: the line comes in from the edge.
    while (samples.size() > kMostSamples || (samples.size() > 2 && samples[1].at < sample.at - kSpan))
        samples.pop_front();
}

}  // namespace corvane
