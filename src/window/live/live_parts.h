// The parts of the program that the live tabs look at.
#pragma once

namespace corvane {

class CaptureDatabase;
class Clock;
class DeviceSlots;
class Measurement;
class PulseCounters;

/// They outlive whoever gets them.
struct LiveParts {
    Measurement& measurement;
    const PulseCounters& pulses;
    const DeviceSlots& deviceSlots;
    const CaptureDatabase& database;
    const Clock& clock;
};

}  // namespace corvane
