// What peers and web servers get of a packet: names and values, joined by "&". Every layout is a table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "base/local_time.h"

namespace corvane {

struct DeviceReadings;

/// What stands behind a name. Those of a channel are of the absolute counter unless they say otherwise.
enum class FieldValue : std::uint8_t {
    Watts,  ///< whole watts as last measured; 0 before the first time
    WattsPolarized,
    Kwh,          ///< over all wraps of the counter
    WattSeconds,  ///< the monitor's counter, as sent
    WattSecondsPolarized,
    Amps,
    Volt,
    Seconds,  ///< the monitor's seconds counter
    Serial,
    Slot,  ///< 1..6
    Time,  ///< "hh:nn:ss"
    Zero,  ///< kept for readers of old
};

struct ValueField {
    const char* name;
    FieldValue value;
    std::size_t channel = 0;  ///< index into `DeviceReadings::channels`
};

/// The line that TCP peers in text mode get, and its longer form for net metering.
extern const std::span<const ValueField> kTextLine;
extern const std::span<const ValueField> kNetMeteringTextLine;

/// The query of the GET upload in layout 1 and 2.
extern const std::span<const ValueField> kGetLayout1;
extern const std::span<const ValueField> kGetLayout2;

/// "CH1P=120&CH2P=0&..." in the order of the table; numbers in their shortest decimal form.
[[nodiscard]] std::string FieldsText(std::span<const ValueField> fields, const DeviceReadings& readings,
                                     const LocalTime& time);

}  // namespace corvane
