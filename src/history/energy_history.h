// Energy per hour and longer, and what it costs, from the meter readings of one device.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <vector>

#include "history/power_history.h"
#include "history/wall_time.h"

namespace corvane {

using ChannelEnergies = std::array<double, kChannels>;  ///< kWh

/// Prices of a kWh in three bands of the day, as the row of `applications` has them. A band begins at its
/// full hour and lasts until the next one begins.
struct Tariff {
    std::array<double, 3> prices{};
    std::array<int, 3> begins = {7, 17, 22};

    [[nodiscard]] double PriceAt(int hour) const;
};

/// The hour that a text such as "7" or "07:00" names; nothing where it names no full hour.
[[nodiscard]] std::optional<int> FullHour(std::string_view text);

/// The energy of one unit of the calendar.
struct EnergyBar {
    WallTime from = 0;
    WallTime to = 0;  ///< where the next unit begins
    ChannelEnergies kwh{};
    ChannelEnergies cost{};
    WallTime covered = 0;  ///< seconds of it that the readings tell of; all of it at most
};

struct EnergyBars {
    std::vector<EnergyBar> bars;  ///< in the order of their times; none where no reading tells of a unit
    ChannelEnergies between{};    ///< energy of gaps that reach from one unit into another: it is in no bar
};

/// What the readings of the meters of a device tell, an hour at a time.
class EnergyHistory {
public:
    /// Readings further apart leave a gap. An hourly record is written with the first packet after 60 minutes
    /// are over; of readings that are nearer, the energy is divided at the full hour by time.
    static constexpr WallTime kGap = 65 * 60;

    /// A higher power is none: the meter was exchanged, or what it is made up of was.
    static constexpr double kHighestKilowatts = 1000;

    /// Adds the readings of one record, in kWh, NaN for NULL. Records come in the order in which they were
    /// written. A meter that fell was reset, and counts nothing from the reading before; only CH1 of the
    /// virtual device, with `signedCh1`, may fall. A reading of 0 after another is one that was mended away,
    /// or follows a reset: the next one tells.
    void Add(WallTime time, const ChannelEnergies& readings, bool signedCh1);

    /// The time of the newest record added; nothing before the first.
    [[nodiscard]] std::optional<WallTime> LastTime() const { return lastTime_; }

    /// The units that touch the span from `from` up to `to`. A unit has the energy of a gap only if the gap
    /// lies within it; its cost is calculated by the hours it spans.
    [[nodiscard]] EnergyBars Bars(CalendarUnit unit, WallTime from, WallTime to, const Tariff& tariff) const;

private:
    struct Step {
        ChannelEnergies kwh{};
        WallTime covered = 0;
    };
    struct Gap {
        WallTime from;
        WallTime to;
        ChannelEnergies kwh;
    };

    void AddTo(WallTime hour, const ChannelEnergies& kwh, double share, WallTime covered);

    std::optional<WallTime> lastTime_;
    ChannelEnergies last_{};
    std::map<WallTime, Step> hours_;
    std::vector<Gap> gaps_;
};

}  // namespace corvane
