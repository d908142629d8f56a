#include "sim/packet_sender.h"

#include <cmath>
#include <limits>

#include "base/clock.h"
#include "sim/connection.h"
#include "sim/simulated_monitor.h"

namespace corvane {

QCoro::Task<> SendPackets(SimulatedMonitor& monitor, Connection& connection, Clock& clock, Pace pace) {
    const bool flatOut = pace.pause < 1;
    // Never 0: a pause that ends at once would let no other event through.
    const std::int64_t pause = flatOut ? 1 : std::llround(pace.pause);
    std::uint64_t left = pace.count == 0 ? std::numeric_limits<std::uint64_t>::max() : pace.count;

    // The awaits stand alone: GCC 12 awaits before it looks at what stands left of them in a loop's
    // condition.
    while (left > 0) {
        if (!co_await clock.DLY(pause)) co_return;
        std::uint64_t due = flatOut ? left : 1;
        for (; due > 0 && connection.HasRoom(); --due, --left)
            connection.Send(monitor.NextPacket());
    }
    while (connection.Unsent() > 0) {
        if (!co_await clock.DLY(1)) co_return;
    }
}

}  // namespace corvane
