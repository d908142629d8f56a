// The loop that sends a simulated monitor's packets, one per interval.
#pragma once

#include <QCoroTask>

#include <cstdint>

namespace corvane {

class Clock;
class Line;
class SimulatedMonitor;

struct Pace {
    double pause = 8000;  ///< ms from packet to packet, at the monitor's first interval; below 1, packets go
                          ///< as fast as the peer takes them
    std::uint64_t count = 0;  ///< packets to send; 0: without end
};

/// Ends when `pace.count` packets are sent and Line::Unsent is 0, or when the clock's waits are ended. The
/// monitor's time stands still while the line is blocked, so that a peer misses nothing. Over a line that
/// nobody hears it goes on, and the packets are lost; only flat out it waits for a listener, as there is
/// nobody then who would set the pace. A monitor that was told to be silent counts on, and its packets are
/// not sent. All three must outlive the loop.
QCoro::Task<> SendPackets(SimulatedMonitor& monitor, Line& line, Clock& clock, Pace pace);

}  // namespace corvane
