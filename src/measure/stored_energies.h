// The meter readings at which each device was recorded last, for those that were not heard since the start.
#pragma once

#include <QObject>

#include <array>
#include <cstdint>
#include <optional>

#include "base/channels.h"
#include "link/device_slots.h"

namespace corvane {

class CaptureDatabase;
class Clock;

/// Watt-seconds over all wraps.
struct StoredChannel {
    double absolute = 0;
    double polarized = 0;  ///< of the main channels
};
using StoredReadings = std::array<StoredChannel, kChannels>;

/// Looks for the newest row of a device when somebody asks for it, and remembers what was found.
class StoredEnergies : public QObject {
public:
    static constexpr std::int64_t kRetryTime = 60'000;  ///< ms, where the database could not be read

    StoredEnergies(const CaptureDatabase& database, const DeviceSlots& slots, const Clock& clock);

    /// Of slot 1..6; nothing where its monitor has none among the newest rows, or the database cannot be
    /// read.
    [[nodiscard]] const std::optional<StoredReadings>& Of(int slot) const;

    /// Looks again when asked. To be called when the database is another one.
    void Forget() { known_ = {}; }

private:
    struct Known {
        std::optional<StoredReadings> readings;
        std::optional<std::int64_t> lookAgain = 0;  ///< from this monotonic time on, ms; nothing: it is known
    };

    const CaptureDatabase& database_;
    const DeviceSlots& slots_;
    const Clock& clock_;
    mutable std::array<Known, kSlots> known_;
};

}  // namespace corvane
