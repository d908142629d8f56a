// What takes finished readings: records, forwarding, window and pages are such sinks.
#pragma once

namespace corvane {

struct DeviceReadings;

class ReadingsSink {
public:
    virtual ~ReadingsSink() = default;

    /// Called once per packet of a bound slot, in the order in which the sinks were added. Sinks that show
    /// something format it when somebody looks, not here.
    virtual void OnReadings(const DeviceReadings& readings) = 0;
};

}  // namespace corvane
