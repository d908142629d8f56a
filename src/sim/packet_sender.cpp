#include "sim/packet_sender.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/clock.h"
#include "sim/line.h"
#include "sim/simulated_monitor.h"

namespace corvane {
namespace {

constexpr std::int64_t kLookForListener = 50;  // ms
constexpr std::uint64_t kBurst = 4096;         // packets flat out, before other events have their turn

}  // namespace

QCoro::Task<> SendPackets(SimulatedMonitor& monitor, Line& line, Clock& clock, Pace pace) {
    const bool flatOut = pace.pause < 1;
    // Never 0: a pause that ends at once would let no other event through.
    const double perSecond = pace.pause / monitor.Interval();
    const auto pause = [&] { return flatOut ? 1 : std::llround(perSecond * monitor.Interval()); };
    std::uint64_t left = pace.count == 0 ? std::numeric_limits<std::uint64_t>::max() : pace.count;
    bool waitsForListener = false;

    // The awaits stand alone: GCC 12 awaits before it looks at what stands left of them in a loop's
    // condition.
    while (left > 0) {
        if (!co_await clock.DLY(waitsForListener ? kLookForListener : pause())) co_return;
        waitsForListener = false;
        for (std::uint64_t due = flatOut ? std::min(left, kBurst) : 1; due > 0; --due, --left) {
            const LineState state = line.State();
            waitsForListener = flatOut && state == LineState::Unheard;
            if (waitsForListener || state == LineState::Blocked) break;
            const auto packet = monitor.NextPacket();
            if (state == LineState::Ready && monitor.SendsRealtime()) line.Send(packet);
        }
    }
    while (line.Unsent() > 0) {
        const bool goesOn = co_await clock.DLY(1);
        if (!goesOn) co_return;
    }
}

}  // namespace corvane
