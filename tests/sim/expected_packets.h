// What a simulated monitor sends, to be compared with what arrived.
#pragma once

#include <QByteArray>

#include "sim/simulated_monitor.h"

namespace corvane {

/// The first `count` packets of a monitor with this configuration, noise and all.
inline QByteArray PacketsOf(const MonitorConfig& config, int count) {
    SimulatedMonitor monitor(config);
    QByteArray bytes;
    for (int i = 0; i < count; ++i) {
        const auto packet = monitor.NextPacket();
        bytes.append(reinterpret_cast<const char*>(packet.data()), static_cast<qsizetype>(packet.size()));
    }
    return bytes;
}

}  // namespace corvane
