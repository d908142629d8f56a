// The loop that sends a simulated monitor's packets, one per interval.
#pragma once

#include <QCoroTask>

#include <cstdint>

namespace corvane {

class Clock;
class Connection;
class SimulatedMonitor;

struct Pace {
    double pause = 8000;  ///< ms from packet to packet; below 1, packets go as fast as the peer takes them
    std::uint64_t count = 0;  ///< packets to send; 0: without end
};

/// Ends when `pace.count` packets are sent and the system has taken all their bytes, or when the clock's
/// waits are ended. The monitor's time stands still while no peer is there that keeps up, so that a peer
/// misses nothing. All three must outlive the loop.
QCoro::Task<> SendPackets(SimulatedMonitor& monitor, Connection& connection, Clock& clock, Pace pace);

}  // namespace corvane
