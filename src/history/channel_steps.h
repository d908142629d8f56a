// One channel in steps of time: its mean power, or its energy, for those who want points and no records.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "history/wall_time.h"
#include "store/sql_worker.h"

namespace corvane {

/// Which steps are wanted: all that touch the time from `from` up to `to`.
struct ChannelSteps {
    std::string address;  ///< as in the column `deviceaddress`
    std::size_t channel = 0;
    WallTime from = 0;
    WallTime to = 0;         ///< later than `from`
    WallTime powerStep = 0;  ///< seconds of a step of power; 0 where energy is asked for
    CalendarUnit energyStep = CalendarUnit::Hour;

    /// Where each step starts, and where the last one ends.
    [[nodiscard]] std::vector<WallTime> Bounds() const;
};

struct StepValue {
    WallTime start;
    std::optional<double> value = {};  ///< W or kWh; nothing where no record tells of it
    bool partial = false;              ///< of energy: only a part of the step is known
};

/// A job that makes `values` those of all steps, in their order. Power is the mean of the minute records.
/// Energy is what `EnergyHistory` makes of the hourly records and the newest minute record: years of minute
/// records are not read for it. It keeps no more than a number for each step or hour. The caller leaves
/// `values` alone until the job has ended. Without rows; an error text where it fails.
[[nodiscard]] SqlJob ReadSteps(ChannelSteps steps, std::shared_ptr<std::vector<StepValue>> values);

}  // namespace corvane
