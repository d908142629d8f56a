// The powers of the last minutes, kept in memory for the traces.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>

#include "link/device_slots.h"
#include "measure/readings.h"
#include "measure/readings_sink.h"

namespace corvane {

class Clock;

/// Keeps a bounded number of samples of each slot; only numbers, nothing that is shown.
class RecentPower final : public ReadingsSink {
public:
    static constexpr std::int64_t kSpan = 5 * 60 * 1000;  ///< milliseconds
    static constexpr std::size_t kMostSamples = 600;      ///< of a slot; monitors send once a second at most

    struct Sample {
        std::int64_t at = 0;  ///< by the clock that is never set back
        std::array<std::optional<std::int32_t>, kChannels> watts;
    };

    explicit RecentPower(const Clock& clock) : clock_(clock) {}

    void OnReadings(const DeviceReadings& readings) override;

    /// Of slot 1..6, oldest first. Samples older than the span may still be there.
    [[nodiscard]] const std::deque<Sample>& Of(int slot) const {
        return samples_[static_cast<std::size_t>(slot - 1)];
    }

    [[nodiscard]] const Clock& Time() const { return clock_; }

private:
    const Clock& clock_;
    std::array<std::deque<Sample>, kSlots> samples_;
};

}  // namespace corvane
